// Conversion between UTF-8 and UTF-16 and the comparisons that follow the user's locale.
#pragma once

#include <stdint.h>

struct xp_text_ops {
  // UTF-8 to UTF-16; ill-formed input becomes U+FFFD. `length` is in bytes, negative to measure
  // up to and including the NUL. With `capacity` (UTF-16 units) 0 nothing is written and the
  // result is the number of units needed. Otherwise the result is the number of units written,
  // or 0 when they don't fit. A `length` of 0 gives 0. No terminator is added.
  int32_t (*to_wide)(const char* text, int32_t length, char16_t* out, int32_t capacity);
  // UTF-16 to UTF-8, the same the other way round; a lone surrogate becomes U+FFFD.
  int32_t (*to_utf8)(const char16_t* wide, int32_t length, char* out, int32_t capacity);
  // Order of two UTF-16 texts by the user's locale: -1, 0 or 1. Lengths in units, negative to
  // measure to the NUL.
  int32_t (*compare_wide)(const char16_t* a, int32_t a_length, const char16_t* b, int32_t b_length,
                          bool ignore_case);
  // Order of two 8-bit texts by the user's locale without regard to case, hyphen and apostrophe
  // sorted like other punctuation ("string sort"): -1, 0 or 1. Lengths in bytes, negative to
  // measure to the NUL.
  int32_t (*compare_narrow)(const char* a, int32_t a_length, const char* b, int32_t b_length);
};

int32_t xp_text_to_wide(const char* text, int32_t length, char16_t* out, int32_t capacity);
int32_t xp_text_to_utf8(const char16_t* wide, int32_t length, char* out, int32_t capacity);
