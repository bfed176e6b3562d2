#include "object/xp_num.h"

#include <string>
#include <vector>

#include "tests/support/fakes.h"

TEST(TextToNumber, IntegersOfBothBases) {
  struct {
    const char* text;
    int32_t length;
    int64_t value;
  } const rows[] = {
      {"0x1F", 4, 31},
      {"-0x10", 5, -16},
      {"0X1F", 4, 0},
      {"12", 1, 1},
      {"12", 100, 12},
      {"12", -1, 12},
      {"0x", 2, 0},
      {"+7", 2, 7},
      {"-", 1, 0},
      {"\x80", 1, 0},
      {"12a", 3, 12},
      {"0xfFg", 5, 255},
      {"", 0, 0},
      {"-9223372036854775808", 20, INT64_MIN},
      {"18446744073709551616", 20, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(xp_text_to_int64(row.text, row.length), row.value) << row.text;
    EXPECT_EQ(xp_text_to_int(row.text, row.length), static_cast<int32_t>(row.value)) << row.text;
  }
  EXPECT_EQ(xp_text_to_int("4294967297", 10), 1);
  EXPECT_EQ(xp_text_to_int(nullptr, 4), 0);
}

TEST(TextToNumber, DoublesWithOnePointAndNoExponent) {
  EXPECT_EQ(xp_text_to_double("-2.5e3", 6), -2.5);
  EXPECT_EQ(xp_text_to_double("+2", 2), 0);
  EXPECT_EQ(xp_text_to_double("2", 0), 0);
  EXPECT_EQ(xp_text_to_double("2", -1), 0);
  EXPECT_EQ(xp_text_to_double("1.25", 3), 1.2);
}

TEST(TextToNumber, HexadecimalBytes) {
  uint8_t bytes[4] = {1, 1, 1, 1};
  EXPECT_EQ(xp_hex_to_bytes(bytes, 4, "ABC", 3), 2);
  EXPECT_EQ(bytes[0], 0xAB);
  EXPECT_EQ(bytes[1], 0xC0);
  EXPECT_EQ(xp_hex_to_bytes(bytes, 1, "0102", 4), 1);
  EXPECT_EQ(bytes[1], 0xC0);
  EXPECT_EQ(xp_hex_to_bytes(bytes, 4, "zf", 2), 1);
  EXPECT_EQ(bytes[0], 0x0F);
  EXPECT_EQ(xp_hex_to_bytes(nullptr, 0, "ABC", 3), 1);
  EXPECT_EQ(xp_hex_to_bytes(bytes, 4, nullptr, 3), 0);
}

TEST(NumberToText, KeepsTheLeadingDigits) {
  struct {
    int64_t value;
    int32_t size;
    int32_t length;
    const char* text;
  } const rows[] = {
      {0, 2, 1, "0"},
      {-120, 20, 4, "-120"},
      {12345, 3, 2, "12"},
      {-12345, 3, 2, "-1"},
      {INT64_MAX, 32, 19, "9223372036854775807"},
      {INT64_MIN, 32, 22,
       "\xE2\x88\x92"
       "9223372036854775808"},
      {INT64_MIN, 5, 4,
       "\xE2\x88\x92"
       "9"},
  };
  for (const auto& row : rows) {
    char buffer[32] = {};
    EXPECT_EQ(xp_int64_to_text(buffer, row.size, row.value), row.length) << row.value;
    EXPECT_STREQ(buffer, row.text);
  }
  char sign[2] = {'?', '?'};
  EXPECT_EQ(xp_int64_to_text(sign, 1, -5), 1);
  EXPECT_EQ(sign[0], '-');
  EXPECT_EQ(sign[1], '?');  // no room for a NUL
  EXPECT_EQ(xp_int64_to_text(sign, 0, 5), 0);
  EXPECT_EQ(xp_int64_to_text(nullptr, 0, -120), 4);
}

TEST(NumberToText, EveryCountOfDigitsIsMeasuredAndWritten) {
  for (uint64_t power = 1; power <= INT64_MAX / 10; power *= 10)
    for (const uint64_t magnitude : {power - 1, power, power + 7, power * 9}) {
      const auto value = static_cast<int64_t>(magnitude);
      for (const int64_t signed_value : {value, -value}) {
        const std::string expected = std::to_string(signed_value);
        const auto length = static_cast<int32_t>(expected.size());
        EXPECT_EQ(xp_int64_to_text(nullptr, 0, signed_value), length) << expected;
        // A block of the very size, so that AddressSanitizer sees a byte too many.
        std::vector<char> buffer(expected.size() + 1);
        EXPECT_EQ(xp_int64_to_text(buffer.data(), length + 1, signed_value), length);
        EXPECT_EQ(buffer.data(), expected);
      }
    }
}
