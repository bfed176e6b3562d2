// The kinds of ASCII characters, in any locale. Bytes of other characters are of none.
#pragma once

#include <stdint.h>

constexpr bool xp_ascii_is_digit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool xp_ascii_is_letter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The value of a hexadecimal digit of either case, -1 for another character.
constexpr int32_t xp_ascii_hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
