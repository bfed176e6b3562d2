#include "tests/format/print.h"

TEST(FmtNumber, Decimal) {
  EXPECT_EQ(print("%d %d %u %i", 0, -1, 4294967295u, 42), "0 -1 4294967295 42");
  EXPECT_EQ(print("%lld %llu", INT64_MAX, UINT64_MAX), "9223372036854775807 18446744073709551615");
  EXPECT_EQ(print("%lld", INT64_MIN),
            "\xE2\x88\x92"
            "9223372036854775808");
  EXPECT_EQ(print("%24lld|%d", INT64_MIN, INT32_MIN),
            "  \xE2\x88\x92"
            "9223372036854775808|-2147483648");
}

TEST(FmtNumber, TheSignStandsOutsideOfTheWidth) {
  EXPECT_EQ(print("%5d|%05d|%-5d|", -42, -42, -42), "-   42|-00042|-42   |");
  EXPECT_EQ(print("%+d %+d %+d % d", 5, 0, -5, 5), "+5 +0 -5 5");
  EXPECT_EQ(print_into(2, "%d", -42).text, "-");
}

TEST(FmtNumber, OctalAndHexadecimal) {
  EXPECT_EQ(print("%o %#o %#o %x %X %#x %#X %#x", 8, 8, 0, 255, 255, 255, 255, 0),
            "10 010 0 ff FF 0xff 0XFF 0");
  EXPECT_EQ(print("%#06x|%#6x|%#-6x|%#04x|%06x", 255, 255, 255, 0, 255),
            "0x00ff|  0xff|0xff  |0000|0000ff");
  EXPECT_EQ(print("%llo", UINT64_MAX), "1777777777777777777777");
  EXPECT_EQ(print("%p %p", nullptr, reinterpret_cast<void*>(0x1F)), "0 0x1f");
  const std::string wide = print("%#0170x", 255);
  EXPECT_EQ(wide, std::string(10, '0') + "0x" + std::string(156, '0') + "ff");
}
