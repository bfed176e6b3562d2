// A set, a NUL, and a text: the search finds the first byte that is a member on its own.
#include "fuzz/object_fuzz.h"
#include "object/xp_charset.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::vector<char> input = text_of_input(bytes, size);
  const char* set = input.data();
  const size_t set_size = strlen(set) + 1;
  if (set_size > size) return 0;
  const std::vector<char> text(input.begin() + static_cast<ptrdiff_t>(set_size), input.end() - 1);
  const auto length = static_cast<int32_t>(text.size());
  bool member[256];
  for (int byte = 0; byte < 256; byte++) {
    const char one = static_cast<char>(byte);
    member[byte] = xp_text_find_set(&one, 1, set, 0) == 0;
  }
  int32_t expected = 0;
  while (expected < length && !member[static_cast<uint8_t>(text[static_cast<size_t>(expected)])])
    expected++;
  if (expected == length) expected = -1;
  if (xp_text_find_set(text.data(), length, set, 0) != expected) abort();
  uint8_t table[256] = {};
  const int32_t compiled = xp_charset_compile(set, static_cast<int32_t>(set_size - 1),
                                              static_cast<int32_t>(size & 1), 1, table);
  if (compiled != 0) abort();
  return 0;
}
