// `xnum`: an immutable number that remembers whether it was whole and how many decimals it had;
// and the plain conversions between text and numbers.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_NUM = xp_tag("xnum");

struct xp_num : xp_object {
  int64_t integer;    // the value, truncated to a whole number
  double real;        // the value
  uint32_t decimals;  // 0 for a whole number, which `integer` tells; else digits behind the point
};

// A whole number. 0 to 8 are shared objects that live as long as the process.
xp_num* xp_num_new(int64_t value);
// From decimal text (not null): "-", digits, one point; the first other byte ends it. Never
// shared. Digits beyond 64 bits wrap.
xp_num* xp_num_parse(const char* text, int32_t length);

inline xp_num* xp_as_num(xp_object* object) {
  return xp_cast<xp_num>(object, XP_NUM);
}

// A sign, then decimal or ("0x") hexadecimal digits; the first other byte ends it; wraps. The
// length counts bytes and may be larger than a text that ends at its NUL.
int32_t xp_text_to_int(const char* text, int32_t length);
int64_t xp_text_to_int64(const char* text, int32_t length);
// "-", digits, one point; 0 for a length of 0 or below. No exponent.
double xp_text_to_double(const char* text, int32_t length);
// Bytes from pairs of hexadecimal digits, at most `size`. A byte that is no digit counts as 0; a
// last digit alone is the high half. Returns the bytes written; `buffer` null gives length / 2.
int32_t xp_hex_to_bytes(void* buffer, int32_t size, const char* text, int32_t length);
// Decimal text with a NUL, cut to `size` bytes; returns the bytes without the NUL. `buffer` null
// gives the length.
int32_t xp_int64_to_text(char* buffer, int32_t size, int64_t value);
