#include "tests/format/locale_scope.h"
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

TEST(FmtNumber, GroupsFollowTheLocale) {
  locale_scope locale;
  EXPECT_EQ(print("%'d|%'d|%'d|%'d", 0, 123, 1234567, -1234567), "0|123|1,234,567|-1,234,567");
  EXPECT_EQ(print("%'12d|%'#x|%'llu", 1234567, 0x12345, UINT64_MAX),
            "   1,234,567|0x12,345|18,446,744,073,709,551,615");
  EXPECT_EQ(print("%+'d", 1234), "+1%2C234") << "the flag of text escapes the separator";

  xp_locale* snapshot = locale.snapshot;
  struct row {
    std::string sizes;
    const char* expected;
  };
  const row rows[] = {
      {{"\3\2\0\xFF", 4}, "1.23.45.678"},  // three, then twos
      {{"\3\xFF", 2}, "12345.678"},        // one group
      {{"\0\xFF", 2}, "12345678"},
      {{"\xFF", 1}, "12345678"},
      {{"\2\3\xFF", 3}, "123.456.78"},
      {std::string(16, '\1'), "1.2.3.4.5.6.7.8"},  // no end within the record
  };
  strcpy(snapshot->money_thousands_separator, ".");
  for (const row& r : rows) {
    locale.set_grouping(snapshot->money_grouping, r.sizes.data(), r.sizes.size());
    EXPECT_EQ(print("%,d", 12345678), r.expected);
    EXPECT_EQ(print("%'d", 1234567), "1,234,567") << "the other rule";
  }

  // The longest number there is.
  const std::string separator(15, '-');
  strcpy(snapshot->money_thousands_separator, separator.c_str());
  std::string expected = "01";
  for (int i = 0; i < 21; i++)
    expected += separator + "7";
  EXPECT_EQ(print("%,#llo", UINT64_MAX), expected);
}
