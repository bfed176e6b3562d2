// The one scan of decimal text with a point, which the number object and the plain conversion to
// double share.
#pragma once

#include <stdint.h>

struct xp_decimal {
  uint64_t digits;          // all digits as one number, the point left out; wraps
  uint64_t scale;           // 0 without a point, else 10 to the number of digits behind it; wraps
  int32_t fraction_digits;  // digits behind the point; -1 without a point
  bool negative;
  bool nonzero_fraction;  // one of the digits behind the point is not 0
};

// Reads "-", digits and one point; any other byte ends it, also a plus sign in front.
xp_decimal xp_decimal_scan(const char* text, int32_t length);
// The value: the digits divided by the scale.
double xp_decimal_real(const xp_decimal* decimal);
