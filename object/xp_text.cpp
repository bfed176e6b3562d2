// The bare text routines of object/xp_str.h.
#include <string.h>

#include "object/xp_str.h"

int32_t xp_text_character_size(char first_byte) {
  const auto byte = static_cast<uint8_t>(first_byte);
  if (byte < 0xC0) return 1;
  if (byte < 0xE0) return 2;
  if (byte < 0xF0) return 3;
  if (byte < 0xF8) return 4;
  return byte < 0xFC ? 5 : 6;
}

int32_t xp_text_length(const char* text) {
  return text ? static_cast<int32_t>(strlen(text)) : 0;
}

int32_t xp_wide_length(const char16_t* wide) {
  int32_t length = 0;
  if (wide)
    while (wide[length])
      length++;
  return length;
}

namespace {

struct fold_table {
  uint8_t byte[2][256];  // [ignore_case][byte]
};

consteval fold_table make_fold_table() {
  fold_table table = {};
  for (int i = 0; i < 256; i++) {
    table.byte[0][i] = static_cast<uint8_t>(i);
    table.byte[1][i] = static_cast<uint8_t>(i >= 0x61 && i <= 0x7A ? i - 0x20 : i);
  }
  return table;
}

constexpr fold_table fold = make_fold_table();

// The byte at `position`: 0 behind a counted text's end. A measured text ends the walk at its NUL
// before this reads beyond it.
uint8_t byte_at(const char* text, int32_t length, int32_t position) {
  if (!text || (length >= 0 && position >= length)) return 0;
  return static_cast<uint8_t>(text[position]);
}

int32_t order(int32_t a, int32_t b) {
  return a < b ? -1 : a > b;
}

int32_t compare_folded(const char* a, int32_t a_length, const char* b, int32_t b_length,
                       const uint8_t* table) {
  if (a_length >= 0 && b_length >= 0) {
    const int32_t common = a_length < b_length ? a_length : b_length;
    for (int32_t i = 0; i < common; i++) {
      const uint8_t byte_a = table[static_cast<uint8_t>(a[i])];
      const uint8_t byte_b = table[static_cast<uint8_t>(b[i])];
      if (byte_a != byte_b) return byte_a < byte_b ? -1 : 1;
    }
    return order(a_length, b_length);
  }
  for (int32_t i = 0;; i++) {
    const uint8_t byte_a = table[byte_at(a, a_length, i)];
    const uint8_t byte_b = table[byte_at(b, b_length, i)];
    if (byte_a != byte_b) return byte_a < byte_b ? -1 : 1;
    if (!byte_a) return 0;
  }
}

}  // namespace

int32_t xp_text_compare_bytes(const char* a, int32_t a_length, const char* b, int32_t b_length) {
  return compare_folded(a, a_length, b, b_length, fold.byte[0]);
}

int32_t xp_text_compare_nocase(const char* a, int32_t a_length, const char* b, int32_t b_length) {
  return compare_folded(a, a_length, b, b_length, fold.byte[1]);
}
