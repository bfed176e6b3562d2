// The engine beside the C library's printf, where the rules of both coincide.
#include <math.h>
#include <stdio.h>

#include <random>

#include "tests/format/locale_scope.h"
#include "tests/format/print.h"

namespace {

template <class... A>
std::string peer(const char* format, A... arguments) {
  char buffer[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length = snprintf(buffer, sizeof(buffer), format, arguments...);
#pragma GCC diagnostic pop
  return std::string(buffer, static_cast<size_t>(length));
}

// Values of every magnitude.
uint64_t next_value(std::mt19937_64& random) {
  return random() >> (random() & 63);
}

}  // namespace

TEST(FmtPeer, IntegersPrintAsTheCLibraryPrintsThem) {
  std::mt19937_64 random(1);
  for (const char* flags : {"", "-", "0", "#", "#0", "-#"}) {
    for (const char* width : {"", "3", "12", "30"}) {
      for (const char* conversion : {"llu", "llo", "llx", "llX", "u", "o", "x", "X"}) {
        const std::string format = std::string("%") + flags + width + conversion;
        // A 0 has no prefix there, and octal counts its prefix among the zeros.
        for (int i = 0; i < 60; i++) {
          const uint64_t value = i == 0 ? 1 : next_value(random) | 1;
          ASSERT_EQ(print(format.c_str(), value),
                    peer(format.c_str(), static_cast<unsigned long long>(value)))
              << format << " of " << value;
        }
      }
    }
  }
}

TEST(FmtPeer, SignedIntegersPrintAsTheCLibraryPrintsThem) {
  std::mt19937_64 random(2);
  for (const char* format : {"%d", "%lld", "%-12lld", "%+lld", "%012d"}) {
    for (int i = 0; i < 500; i++) {
      int64_t value = static_cast<int64_t>(next_value(random) >> 1);
      // The width does not hold the sign here.
      if (format[1] == '0')
        value &= INT32_MAX;
      else if (format[1] != '-' && (i & 1))
        value = -value;
      ASSERT_EQ(print(format, value), peer(format, static_cast<long long>(value))) << format;
    }
  }
}

TEST(FmtPeer, TextPrintsAsTheCLibraryPrintsIt) {
  for (const char* format : {"%s", "%8s", "%-8s|", "%.3s", "%.9s", "%-2s|"})
    for (const char* text : {"", "a", "abcd", "abcdefghij"})
      EXPECT_EQ(print_into(64, format, text).text, peer(format, text));
}

TEST(FmtPeer, FloatsPrintAsTheCLibraryPrintsThemWhereRoundingCoincides) {
  locale_scope locale;
  std::mt19937_64 random(3);
  // Up to 15 digits in all: further on the digits of double arithmetic are their own. Ties go up
  // here and to even there, so the values are those of a continuous range, where none is met.
  struct row {
    const char* format;
    double least;
    double most;
  };
  const row rows[] = {
      {"%f", 1e-3, 1e8},       {"%.3f", 1e-3, 1e11}, {"%.0f", 1, 1e9},     {"%12.2f", 1e-3, 1e9},
      {"%-12.1f|", 1e-3, 1e9}, {"%+.2f", 1e-3, 1e9}, {"%e", 1e-5, 1e15},   {"%.10e", 1e-4, 1e15},
      {"%.0e", 1e-5, 1e15},    {"%E", 1e-5, 1e15},   {"%g", 1e-12, 1e15},  {"%.12g", 1e-5, 1e15},
      {"%.1g", 1e-9, 1e15},    {"%15g", 1e-9, 1e15}, {"%#.3f", 1e-3, 1e9}, {"%e", 1e-60, 1e60},
      {"%.8g", 1e-30, 1e30},
  };
  for (const row& r : rows) {
    for (int i = 0; i < 3000; i++) {
      const double unit = static_cast<double>(random() >> 11) * 0x1p-53;
      double value = r.least * pow(r.most / r.least, unit);
      if (i & 1) value = -value;
      ASSERT_EQ(print(r.format, value), peer(r.format, value)) << r.format;
    }
  }
}

TEST(FmtPeer, ShortFractionsPrintExactly) {
  locale_scope locale;
  // What a person writes comes back as written.
  for (int32_t value = 0; value < 200000; value += 7) {
    const double real = value / 1000.0;
    ASSERT_EQ(print("%.3f", real), peer("%.3f", real));
    ASSERT_EQ(print("%.6g", real), peer("%.6g", real));
  }
}
