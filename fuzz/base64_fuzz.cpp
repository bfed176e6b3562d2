// Base64 text of any kind: measuring and writing agree, a smaller buffer gets the beginning of the
// same bytes, and what has been decoded encodes to a text that decodes to it again.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "document/xp_base64.h"

static void require(bool holds) {
  if (!holds) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const xp_byte_span text = {data, static_cast<int32_t>(size)};
  const int32_t length = xp_base64_decode(text, nullptr, 0);
  require(length >= -1 && length <= static_cast<int32_t>(size));
  const int32_t room = length < 0 ? static_cast<int32_t>(size) : length;
  std::vector<uint8_t> bytes(static_cast<size_t>(room) + 1);
  require(xp_base64_decode(text, bytes.data(), room) == length);

  // Blocks of the very size.
  const int32_t half = room / 2;
  std::vector<uint8_t> beginning(static_cast<size_t>(half) + (half == 0));
  const int32_t written = xp_base64_decode(text, beginning.data(), half);
  require(written == (length < 0 ? -1 : half));
  if (length < 0) return 0;
  require(memcmp(beginning.data(), bytes.data(), static_cast<size_t>(half)) == 0);

  const xp_byte_span spans[2] = {{bytes.data(), half}, {bytes.data() + half, length - half}};
  const int32_t encoded = xp_base64_encode(spans, 2, nullptr, 0);
  require(encoded == (length + 2) / 3 * 4);
  std::vector<char> again(static_cast<size_t>(encoded) + 1);
  require(xp_base64_encode(spans, 2, again.data(), encoded) == encoded);
  std::vector<uint8_t> decoded(static_cast<size_t>(length) + 1);
  require(xp_base64_decode({again.data(), encoded}, decoded.data(), length) == length);
  require(memcmp(decoded.data(), bytes.data(), static_cast<size_t>(length)) == 0);
  return 0;
}
