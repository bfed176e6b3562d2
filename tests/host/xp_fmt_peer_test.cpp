// The engine beside the C library's printf, where the rules of both coincide.
#include <inttypes.h>
#include <stdio.h>

#include <random>

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
        // Between prefix and digits, octal has no zeros of its own in either.
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
