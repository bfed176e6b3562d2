// Floating conversions, with a digit generator of the system's own: digits come from double
// arithmetic, and rounding adds 5 to the digit behind the last one shown, so ties go up. The
// platform's printf would give other digits; these are the ones that every build gives.
#include <math.h>
#include <string.h>

#include "format/xp_fmt.h"
#include "format/xp_fmt_engine.h"
#include "time/xp_locale.h"

namespace {

constexpr int32_t DIGITS = 80;
constexpr int32_t NOT_PRINTABLE = 0x7FFFFFFF;
constexpr int32_t DEFAULT_PRECISION = 6;
// No digit lies behind, and sums with an exponent don't overflow.
constexpr int32_t MOST_PRECISION = 1 << 30;

// ---- the digit generator ---------------------------------------------------------------------

// A value as 0.d1d2d3... times 10 to the `point`. Digits are made on demand, as far as somebody
// reads them.
struct decimal {
  char digits[DIGITS + 4];  // 0 to 9; a fill may run over by a group of four
  int32_t count;            // digits made
  int32_t point;
  double fraction;  // what is left for the digits to come, below 1
};

constexpr xp_fmt_digit_pairs pairs = xp_fmt_make_digit_pairs(0);

// Below this a whole number divided by 10 in double arithmetic gives the same digits as integer
// division: the quotient's error stays well inside of the 0.03 that the method adds.
constexpr double SURELY_EXACT = 0x1p50;

// Divides by 10 while nothing but zeros fall off, each time rounding as double arithmetic does:
// value / 10 as a 53-bit number times a power of two. The 53 bits stand above 2 or 3 zero bits
// when they are divided by 5, so a tie can't arise, and 2 added before rounds to the nearest.
// A chain of integer multiplications has half the latency of a chain of divisions.
double drop_zeros(double whole, int32_t* point) {
  constexpr uint64_t HALF = uint64_t{1} << 52;
  int32_t exponent = 0;
  auto bits = static_cast<uint64_t>(ldexp(frexp(whole, &exponent), 53));
  exponent -= 53;
  // Above 2^57 a tenth is above 2^53 and has no fraction.
  for (; exponent > 4; (*point)++) {
    const bool large = bits >= HALF + HALF / 4;
    const uint64_t wide = (bits * 8 + 2) / 5;
    const uint64_t narrow = (bits * 4 + 2) / 5;
    bits = large ? narrow : wide;
    exponent -= large ? 3 : 4;
  }
  return ldexp(static_cast<double>(bits), exponent);
}

// The digits of the whole part from the right: the one that falls off is judged by the fraction
// of a tenth. Beyond 2^53 there is no fraction left, and what falls off is a 0; zeros at the right
// end need no room, as later digits of a whole number are 0 anyway.
void make_whole_digits(decimal* d, double whole) {
  char stack[DIGITS];
  int32_t start = DIGITS;
  if (whole >= 0x1p58) whole = drop_zeros(whole, &d->point);
  while (whole >= SURELY_EXACT) {
    const double tenth = whole / 10;
    const double rest = tenth < 0x1p52 ? static_cast<double>(static_cast<uint64_t>(tenth)) : tenth;
    const auto digit = static_cast<char>((tenth - rest + 0.03) * 10);
    if (digit != 0 || start < DIGITS || d->fraction > 0) stack[--start] = digit;
    d->point++;
    whole = rest;
  }
  auto number = static_cast<uint64_t>(whole);
  for (; number >= 10; number /= 100) {
    start -= 2;
    memcpy(stack + start, pairs.of[number % 100], 2);
    d->point += 2;
  }
  if (number > 0) {
    stack[--start] = static_cast<char>(number);
    d->point++;
  }
  d->count = DIGITS - start;
  memcpy(d->digits, stack + start, static_cast<size_t>(d->count));
}

// Skips the zeros behind the point and begins with one 0, into which a rounding can carry.
void skip_zeros(decimal* d) {
  for (double next; (next = d->fraction * 10) < 1; d->point--)
    d->fraction = next;
  d->point++;
  d->digits[d->count++] = 0;
}

// Everything but the digits of the fraction; those come from make_digits. `value` is finite.
void start_decimal(decimal* d, double value) {
  value = fabs(value);
  d->count = 0;
  d->point = 0;
  const double whole = value < 0x1p52 ? static_cast<double>(static_cast<uint64_t>(value)) : value;
  d->fraction = value - whole;
  if (whole > 0)
    make_whole_digits(d, whole);
  else if (d->fraction > 0)
    skip_zeros(d);
}

// Makes the digits up to `count`: each one is the whole part of ten times the fraction. A fraction
// of at most 50 bits stays exact under that, so from there on four digits at once are the same
// four digits. Called once a value.
void make_digits(decimal* d, int32_t count) {
  constexpr uint64_t ONE = uint64_t{1} << 50;
  if (count > DIGITS) count = DIGITS;
  while (d->count < count) {
    const double scaled = d->fraction * 0x1p50;
    auto bits = static_cast<uint64_t>(scaled);
    if (static_cast<double>(bits) == scaled) {
      for (; bits != 0 && d->count < count; d->count += 4) {
        bits *= 10000;
        const uint64_t four = bits / ONE;
        memcpy(d->digits + d->count, pairs.of[four / 100], 2);
        memcpy(d->digits + d->count + 2, pairs.of[four % 100], 2);
        bits %= ONE;
      }
      if (d->count < count) {
        memset(d->digits + d->count, 0, static_cast<size_t>(count - d->count));
        d->count = count;
      }
      return;
    }
    d->fraction *= 10;
    const auto digit = static_cast<char>(d->fraction);
    d->digits[d->count++] = digit;
    d->fraction -= digit;
  }
}

// Whether 5 more at `index` carries into the digit before `first`.
bool rounds_over(const decimal* d, int32_t first, int32_t index) {
  if (index >= DIGITS || d->digits[index] < 5) return false;
  for (int32_t i = index - 1; i >= first; i--)
    if (d->digits[i] != 9) return false;
  return true;
}

// Adds 5 to the digit at `index` and carries to the left. A carry off the front leaves a 1 there
// and zeros behind it, and the result is 1: all digits have moved by one place.
int32_t round_at(decimal* d, int32_t index) {
  if (index >= DIGITS || d->digits[index] < 5) return 0;
  for (int32_t i = index; i > 0;) {
    d->digits[i--] = 0;
    if (++d->digits[i] <= 9) return 0;
  }
  d->digits[0] = 1;
  return 1;
}

// The exponent by the digits as they stand; a value of 0 has none.
int32_t exponent_of(const decimal* d, double value, int32_t precision) {
  if (value == 0) return 0;
  const int32_t first = d->digits[0] == 0 ? 1 : 0;
  int32_t exponent = d->point - 1 - first;
  if (precision > 0 && precision < DIGITS && rounds_over(d, first, first + precision)) exponent++;
  return exponent;
}

// ---- output ----------------------------------------------------------------------------------

void put_char(xp_fmt_sink* out, char c) {
  xp_fmt_put(out, &c, 1);
}

void put_digits(xp_fmt_sink* out, const char* digits, int32_t count) {
  if (out->at) {
    if (count > out->room) count = out->room;
    for (int32_t i = 0; i < count; i++)
      out->at[i] = static_cast<char>('0' + digits[i]);
  }
  xp_fmt_advance(out, count);
}

void put_zeros(xp_fmt_sink* out, int32_t count) {
  if (out->at) {
    if (count > out->room) count = out->room;
    memset(out->at, '0', static_cast<size_t>(count));
  }
  xp_fmt_advance(out, count);
}

void put_sign(xp_fmt_sink* out, bool negative, uint32_t flags) {
  if (negative)
    xp_fmt_put_characters(out, xp_locale_get()->negative_sign);
  else if (flags & XP_FMT_PLUS)
    xp_fmt_put_characters(out, xp_locale_get()->positive_sign);
  else if (flags & XP_FMT_SPACE)
    put_char(out, ' ');
}

const char* decimal_point(uint32_t flags) {
  return flags & (XP_FMT_GROUP | XP_FMT_MONEY) ? xp_locale_get()->decimal_point : ".";
}

// Count without the zeros at the end of `count` digits.
int32_t strip(const char* digits, int32_t count) {
  while (count > 0 && digits[count - 1] == 0)
    count--;
  return count;
}

int32_t room_of(const xp_fmt_sink* out) {
  return out->at ? out->room : XP_FMT_MOST;
}

// ---- the two forms ---------------------------------------------------------------------------

// `precision` lies between 0 and MOST_PRECISION in both.

void put_fixed(xp_fmt_sink* out, decimal* d, double value, uint32_t flags, int32_t precision) {
  // Digits beyond the buffer aren't known.
  if (d->point > DIGITS) return;
  put_sign(out, value < 0, flags);
  if (flags & XP_FMT_STRIP && value == 0) precision = 0;

  const char* point = decimal_point(flags);
  bool point_written = false;
  int32_t whole = d->point;
  if (whole <= 0) {
    put_char(out, '0');
    point_written = precision != 0 || flags & XP_FMT_ALTERNATE;
    if (point_written) xp_fmt_put_characters(out, point);
    const int32_t zeros = -whole < precision ? -whole : precision;
    put_zeros(out, zeros);
    precision -= zeros;
    // Where the precision is used up by zeros, the digit that rounds is the leading 0.
    whole = 0;
  }

  const int32_t point_size = point_written ? 0 : static_cast<int32_t>(strlen(point));
  int32_t fraction = room_of(out) - whole - point_size;
  if (fraction > DIGITS - whole) fraction = DIGITS - whole;
  if (fraction > precision) fraction = precision;
  if (fraction < 0) fraction = 0;
  make_digits(d, whole + fraction + 1);
  whole += round_at(d, whole + fraction);

  put_digits(out, d->digits, whole);
  if (flags & XP_FMT_STRIP) fraction = strip(d->digits + whole, fraction);
  if (!point_written && (fraction > 0 || flags & XP_FMT_ALTERNATE))
    xp_fmt_put_characters(out, point);
  put_digits(out, d->digits + whole, fraction);
}

// At least two digits.
void put_exponent_number(xp_fmt_sink* out, int32_t exponent) {
  if (exponent >= 100) put_char(out, static_cast<char>('0' + exponent / 100));
  put_char(out, static_cast<char>('0' + exponent / 10 % 10));
  put_char(out, static_cast<char>('0' + exponent % 10));
}

void put_exponent(xp_fmt_sink* out, decimal* d, double value, uint32_t flags, int32_t precision) {
  put_sign(out, value < 0, flags);
  // The digit that rounds stands behind the ones shown, and a leading 0 is not shown.
  make_digits(d, precision + 3 < DIGITS ? precision + 3 : DIGITS);
  int32_t exponent = d->point;
  int32_t first = 0;
  if (value != 0) {
    exponent--;
    if (d->digits[0] == 0) {
      round_at(d, precision + 2);
      if (d->digits[0] == 0) {
        first = 1;
        exponent--;
      }
    } else {
      exponent += round_at(d, precision + 1);
    }
  }

  put_digits(out, d->digits + first, 1);
  int32_t fraction = precision < DIGITS - 1 - first ? precision : DIGITS - 1 - first;
  if (flags & XP_FMT_STRIP) fraction = strip(d->digits + first + 1, fraction);
  if (fraction > 0 || flags & XP_FMT_ALTERNATE) xp_fmt_put_characters(out, decimal_point(flags));
  put_digits(out, d->digits + first + 1, fraction);
  put_char(out, flags & XP_FMT_UPPER ? 'E' : 'e');
  const xp_locale* locale = xp_locale_get();
  xp_fmt_put_characters(out, exponent < 0 ? locale->negative_sign : locale->positive_sign);
  put_exponent_number(out, exponent < 0 ? -exponent : exponent);
}

void put_general(xp_fmt_sink* out, decimal* d, double value, uint32_t flags, int32_t precision) {
  if (precision == 0) precision = 1;
  make_digits(d, precision + 3 < DIGITS ? precision + 3 : DIGITS);
  const int32_t exponent = exponent_of(d, value, precision);
  flags |= XP_FMT_STRIP;
  if (exponent < -4 || exponent >= precision)
    put_exponent(out, d, value, flags, precision - 1);
  else
    put_fixed(out, d, value, flags, precision - 1 - exponent);
}

int32_t clamp_precision(int32_t precision) {
  return precision < 0 ? 0 : precision > MOST_PRECISION ? MOST_PRECISION : precision;
}

}  // namespace

int32_t xp_fmt_digits(double value, char* digits) {
  if (!isfinite(value)) return NOT_PRINTABLE;
  decimal d;
  start_decimal(&d, value);
  make_digits(&d, DIGITS);
  memcpy(digits, d.digits, DIGITS);
  return d.point;
}

int32_t xp_fmt_decimal_exponent(double value, int32_t precision) {
  if (!isfinite(value)) return 0;
  decimal d;
  start_decimal(&d, value);
  make_digits(&d, DIGITS);
  return exponent_of(&d, value, precision);
}

int32_t xp_fmt_fixed(double value, uint32_t flags, int32_t precision, char* buffer, int32_t size) {
  if (!isfinite(value) || (buffer && size <= 0)) return 0;
  xp_fmt_sink out = {buffer, size, 0};
  decimal d;
  start_decimal(&d, value);
  put_fixed(&out, &d, value, flags, clamp_precision(precision));
  return out.written;
}

int32_t xp_fmt_exponent(double value, uint32_t flags, int32_t precision, char* buffer,
                        int32_t size) {
  if (!isfinite(value) || (buffer && size <= 0)) return 0;
  xp_fmt_sink out = {buffer, size, 0};
  decimal d;
  start_decimal(&d, value);
  put_exponent(&out, &d, value, flags, clamp_precision(precision));
  return out.written;
}

// ---- the conversion --------------------------------------------------------------------------

static void put_real(xp_fmt_sink* out, double value, uint32_t flags, char form, int32_t precision) {
  if (isnan(value)) {
    xp_fmt_put(out, flags & XP_FMT_UPPER ? "NAN" : "nan", 3);
    return;
  }
  if (isinf(value)) {
    put_sign(out, value < 0, flags);
    xp_fmt_put(out, flags & XP_FMT_UPPER ? "INF" : "inf", 3);
    return;
  }
  decimal d;
  start_decimal(&d, value);
  if (form == 'f')
    put_fixed(out, &d, value, flags, precision);
  else if (form == 'e')
    put_exponent(out, &d, value, flags, precision);
  else
    put_general(out, &d, value, flags, precision);
}

// Blanks up to the width; a field that doesn't fit is cut at its right end. `length` bytes stand
// at `out`.
static int32_t pad_real(char* out, int32_t room, int32_t length, uint32_t flags, uint32_t width) {
  if (width <= static_cast<uint32_t>(length)) return length;
  if (!out) return width > XP_FMT_MOST ? XP_FMT_MOST : static_cast<int32_t>(width);
  const int32_t field = width > static_cast<uint32_t>(room) ? room : static_cast<int32_t>(width);
  const uint32_t blanks = width - static_cast<uint32_t>(length);
  if (flags & XP_FMT_LEFT) {
    memset(out + length, ' ', static_cast<size_t>(field - length));
  } else if (blanks >= static_cast<uint32_t>(field)) {
    memset(out, ' ', static_cast<size_t>(field));
  } else {
    memmove(out + blanks, out, static_cast<size_t>(field) - blanks);
    memset(out, ' ', blanks);
  }
  return field;
}

// The precision is a number of digits here; the limit is always the room left.
int32_t xp_fmt_convert_float(const xp_fmt_directive* directive) {
  const auto value = std::bit_cast<double>(xp_fmt_take(directive->arguments));
  const auto form = static_cast<char>(directive->letter | 0x20);
  const uint32_t flags = directive->flags | (form != directive->letter ? XP_FMT_UPPER : 0u);
  int32_t precision = DEFAULT_PRECISION;
  if (directive->precision != XP_FMT_NO_PRECISION)
    precision = directive->precision > MOST_PRECISION ? MOST_PRECISION
                                                      : static_cast<int32_t>(directive->precision);
  xp_fmt_sink out = {directive->out, directive->room, 0};
  put_real(&out, value, flags, form, precision);
  return pad_real(directive->out, directive->room, out.written, flags, directive->width);
}
