#include <float.h>
#include <math.h>

#include <bit>
#include <random>

#include "tests/format/locale_scope.h"
#include "tests/format/print.h"

namespace {

// The digit generator as it is defined, one digit at a time.
int32_t plain_digits(double value, char* digits) {
  double whole = 0;
  double fraction = modf(fabs(value), &whole);
  const bool has_fraction = fraction > 0;
  int32_t point = 0;
  int32_t count = 0;
  if (whole == 0 && has_fraction) {
    for (; fraction * 10 < 1; point--)
      fraction *= 10;
    point++;
    digits[count++] = 0;
  }
  char reversed[80];
  int32_t start = 80;
  while (whole != 0) {
    double rest = 0;
    const double tenth = modf(whole / 10, &rest);
    const auto digit = static_cast<char>((tenth + 0.03) * 10);
    if (digit != 0 || start < 80 || has_fraction) {
      if (start == 0) return 0x7FFFFFFF;
      reversed[--start] = digit;
    }
    point++;
    whole = rest;
  }
  for (; start < 80; start++)
    digits[count++] = reversed[start];
  while (count < 80) {
    fraction = modf(fraction * 10, &whole);
    digits[count++] = static_cast<char>(whole);
  }
  return point;
}

void expect_same_digits(double value) {
  char expected[80];
  char digits[80];
  ASSERT_EQ(xp_fmt_digits(value, digits), plain_digits(value, expected)) << value;
  ASSERT_EQ(std::string(digits, 80), std::string(expected, 80)) << value;
}

}  // namespace

TEST(FmtFloat, DigitsAreThoseOfTheMethod) {
  for (const double value : {0.0,
                             0.1,
                             0.5,
                             1.0,
                             10.0,
                             100.0,
                             1e15,
                             1e16,
                             1e17,
                             1e21,
                             1e100,
                             1e308,
                             DBL_MAX,
                             DBL_MIN,
                             5e-324,
                             0.3,
                             1.005,
                             3.14159,
                             9007199254740991.0,
                             9007199254740993.0,
                             5629499534213123.0,
                             4503599627370495.5,
                             2251799813685247.75,
                             1125899906842623.875,
                             1125899906842624.25,
                             1125899906842624.0,
                             0.99999999999999989})
    expect_same_digits(value);
  std::mt19937_64 random(3);
  for (int i = 0; i < 20000; i++) {
    // Every exponent; magnitudes people print; whole numbers around the ends of exactness.
    const auto any = std::bit_cast<double>(random() & 0x7FEFFFFFFFFFFFFF);
    expect_same_digits(any);
    expect_same_digits(
        ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 80)));
    expect_same_digits(static_cast<double>(random() >> (random() % 20)));
    expect_same_digits(static_cast<double>(random() % 100000000) / 10000);
  }
}

TEST(FmtFloat, ForgetsValuesThatHaveNoDigits) {
  char digits[80];
  EXPECT_EQ(xp_fmt_digits(INFINITY, digits), 0x7FFFFFFF);
  EXPECT_EQ(xp_fmt_digits(NAN, digits), 0x7FFFFFFF);
  EXPECT_EQ(xp_fmt_decimal_exponent(INFINITY, 3), 0);
  EXPECT_EQ(xp_fmt_fixed(NAN, 0, 2, nullptr, 0), 0);
  EXPECT_EQ(print("[%f]", 1e80), "[]") << "more than 80 whole digits";
  EXPECT_EQ(print("%.0f", 1e79).size(), 80u);
}

TEST(FmtFloat, Forms) {
  locale_scope locale;
  struct row {
    const char* format;
    double value;
    const char* expected;
  };
  const row rows[] = {
      {"%f", 3.14159265, "3.141593"},
      {"%f", 0, "0.000000"},
      {"%f", -0.0, "0.000000"},  // below 0 is what shows a sign
      {"%f", -1.5, "-1.500000"},
      {"%+f", 1.5, "+1.500000"},
      {"% f", 1.5, " 1.500000"},
      {"%.2f", 1.005, "1.00"},  // the digits of the double decide
      {"%.0f", 2.5, "3"},       // ties go up
      {"%.0f", 0.5, "1"},
      {"%.0f", 0.05, "0"},
      {"%.1f", 0.05, "0.1"},
      {"%.0f", 9.5, "10"},  // the carry adds a whole digit
      {"%.2f", 99.999, "100.00"},
      {"%.2f", 0.0004, "0.00"},
      {"%.2f", 0.0096, "0.01"},
      {"%.3f", 0.0096, "0.010"},
      {"%.1f", 0.96, "1.0"},
      {"%#.0f", 3.0, "3."},
      {"%#.0f", 0.0, "0."},
      {"%.10f", 1e-7, "0.0000001000"},
      {"%08.3f", 3.14159, "   3.142"},
      {"%-8.3f|", 3.14159, "3.142   |"},
      {"%F", 2.5, "2.500000"},
      {"%e", 0, "0.000000e+00"},
      {"%e", 1500, "1.500000e+03"},
      {"%e", 0.00012, "1.200000e-04"},
      {"%E", 1e100, "1.000000E+100"},
      {"%.2e", 9.999, "1.00e+01"},
      {"%.2e", 0.9999, "1.00e+00"},
      {"%.0e", 0.95, "1e+00"},
      {"%.0e", 1500, "2e+03"},
      {"%#.0e", 1, "1.e+00"},
      {"%.3e", -1e-10, "-1.000e-10"},
      {"%.1e", 9.99e99, "1.0e+100"},
      {"%g", 100000, "100000"},
      {"%g", 1000000, "1e+06"},
      {"%g", 0.0001, "0.0001"},
      {"%g", 0.00001, "1e-05"},
      {"%g", 0, "0"},
      {"%g", 999999.5, "1e+06"},
      {"%g", 123456.7, "123457"},
      {"%g", 0.5, "0.5"},
      {"%.0g", 0.25, "0.3"},
      {"%.3g", 1234.5, "1.23e+03"},
      {"%.17g", 0.1, "0.1"},
      {"%G", 1e-10, "1E-10"},
      {"%#g", 5, "5."},
      {"%f", INFINITY, "inf"},
      {"%F", -INFINITY, "-INF"},
      {"%+e", INFINITY, "+inf"},
      {"% g", INFINITY, " inf"},
      {"%+f", NAN, "nan"},
      {"%6G|", NAN, "   NAN|"},
  };
  for (const row& r : rows)
    EXPECT_EQ(print(r.format, r.value), r.expected) << r.format << " " << r.value;
}

TEST(FmtFloat, SignsAndPointComeFromTheLocale) {
  locale_scope locale;
  strcpy(locale.snapshot->negative_sign, "\xE2\x88\x92");
  strcpy(locale.snapshot->positive_sign, "(+)");
  strcpy(locale.snapshot->decimal_point, ",");
  EXPECT_EQ(print("%.1f %+.1f %.0e %.0e", -1.5, 1.5, 100.0, 0.01),
            "\xE2\x88\x92"
            "1.5 (+)1.5 1e(+)02 1e\xE2\x88\x92"
            "02");
  EXPECT_EQ(print("%'.1f %,.1e %.1f", 12345.5, 1.5, 1.5), "12345,5 1,5e(+)00 1.5");
  EXPECT_EQ(print("%f|%5d", -INFINITY, -1), "\xE2\x88\x92inf|-    1") << "integers have their own";
  EXPECT_EQ(print_into(3, "%f", -1.0).text, "1") << "a sign is never cut";
}

TEST(FmtFloat, TheRoomTrimsTheFractionBeforeRounding) {
  EXPECT_EQ(print_into(5, "%f", 2.71828).text, "2.72");
  EXPECT_EQ(print_into(4, "%f", 2.75).text, "2.8");
  EXPECT_EQ(print_into(3, "%f", 2.75).text, "3");
  EXPECT_EQ(print_into(3, "%f", 12345.678).text, "12");
  EXPECT_EQ(print_into(5, "%e", 2.71828).text, "2.71");
  EXPECT_EQ(print_into(64, "%.1f", 2.75).text, "2.8") << "the precision is no byte limit";
  EXPECT_EQ(print_into(6, "%8.1f", 2.75).text, "     ") << "the padding stays in front";
  EXPECT_EQ(print_into(8, "%8.1f", 2.75).text, "     2.");
  EXPECT_EQ(print_into(4, "%-8.1f", 2.75).text, "2.8");
}

TEST(FmtFloat, HostilePrecisionsStayWithinTheDigits) {
  char buffer[512];
  // Only the digits there are: at most 80 of them.
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%.2000000000f", 0.5), 81);
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%.*e", 0xFFFFFFFE, 1.5), 84 + 1);
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%.2000000000g", 0.5), 3);
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%.*f", -1, 0.5), 8) << "none was given";
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%.500f", 5e-324), 404);
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%.3000000000f", 5e-324), 404);
}

TEST(FmtFloat, ExponentAfterRounding) {
  EXPECT_EQ(xp_fmt_decimal_exponent(9.99, 0), 0);
  EXPECT_EQ(xp_fmt_decimal_exponent(9.99, 3), 0);
  EXPECT_EQ(xp_fmt_decimal_exponent(9.99, 2), 1);
  EXPECT_EQ(xp_fmt_decimal_exponent(0.0999, 2), -1);
  EXPECT_EQ(xp_fmt_decimal_exponent(0.0999, 5), -2);
  EXPECT_EQ(xp_fmt_decimal_exponent(0, 5), 0);
  EXPECT_EQ(xp_fmt_decimal_exponent(-1e300, 1), 300);
}
