#include "format/xp_fmt.h"

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/format/print.h"
#include "tests/support/fakes.h"

TEST(Fmt, OutputIsCutToTheBufferAndTerminated) {
  EXPECT_EQ(print_into(1, "abc").text, "");
  EXPECT_EQ(print_into(4, "abcdef").text, "abc");
  EXPECT_EQ(print_into(4, "%s%s", "ab", "cd").text, "abc");
  EXPECT_EQ(print_into(4, "%d", 12345).text, "123");
  EXPECT_EQ(print_into(4, "%5d", 1).text, "   ");
  EXPECT_EQ(print_into(4, "abcdef").count, 6);
  char untouched = 'x';
  EXPECT_EQ(xp_fmt_print(&untouched, 0, "abc"), 0);
  EXPECT_EQ(untouched, 'x');
}

TEST(Fmt, PrecisionIsAByteLimitThatCountingIgnores) {
  EXPECT_EQ(print_into(64, "%.3d", 12345).text, "123");
  EXPECT_EQ(print_into(64, "%.3d", -12345).text, "-12");
  EXPECT_EQ(print_into(64, "%.2s", "abc").text, "ab");
  EXPECT_EQ(print_into(64, "%.s|", "abc").text, "|");
  EXPECT_EQ(print_into(64, "%.0c|", 'a').text, "|");
  const printed padded = print_into(64, "%5.2s", "abc");
  EXPECT_EQ(padded.text, "  ");
  EXPECT_EQ(padded.count, 5);
}

TEST(Fmt, StarGivesWidthPrecisionAndAnExactLength) {
  EXPECT_EQ(print_into(64, "%.*s|", 3, "a\0b").text, std::string("a\0b|", 4));
  EXPECT_EQ(print("%*d|", 5, 42), "   42|");
  EXPECT_EQ(print("%*s|", 2, "abc"), "ab|");
  EXPECT_EQ(print_into(64, "%*.*s|", 5, 2, "abc").text, "  |") << "padding comes first";
  // As an unsigned number -1 is no limit, and as a length it measures.
  EXPECT_EQ(print("%.*s|", -1, "abc"), "abc|");
}

TEST(Fmt, PositionsAreSlotNumbers) {
  EXPECT_EQ(print("%2$s %1$s %s", "a", "b"), "b a b");
  EXPECT_EQ(print("%S %3$d", 2, "abc", 7), "ab 7") << "a pair takes two slots";
  EXPECT_EQ(print("%0$d %d", 1, 2), "1 2");
  EXPECT_EQ(print("%1$05d", 42), "00042");
  EXPECT_EQ(print("%05d", 42), "00042") << "no $: flag and width";
  EXPECT_EQ(print("%9$d%4294967297$d%d", 1), "000") << "beyond the slots";
}

TEST(Fmt, MissingArgumentsReadAsZero) {
  EXPECT_EQ(print("%d|%s|%p{O}|%S|%H|%T|%x|%.*s"), "0||||||0|");
}

TEST(Fmt, ArgumentWidthFollowsTheLength) {
  const uint64_t wide = 0x1234567FFFFFFFFu;
  EXPECT_EQ(print("%ld", wide), "-1");
  EXPECT_EQ(print("%lld %I64x %tu", wide, wide, wide),
            "81985531201716223 1234567ffffffff 81985531201716223");
  EXPECT_EQ(print("%u %x %i", wide, wide, wide), "4294967295 ffffffff -1");
  EXPECT_EQ(print("%d %d %u", static_cast<int8_t>(-3), static_cast<uint16_t>(65535), -1),
            "-3 65535 4294967295");
}

TEST(Fmt, ExtensionsAreTakenOnlyInTheirForms) {
  EXPECT_EQ(print("%d{abc}", 5), "5{abc}");
  EXPECT_EQ(print("%s{zz}", "t"), "t{zz}");
  EXPECT_EQ(print("%s{z}", "t"), "t");
  EXPECT_EQ(print("%s{:^}|", "t"), "T|");
  EXPECT_EQ(print("%s{z:^?_:x}|", "t"), "T|") << "unknown options are skipped";
  EXPECT_EQ(print("%p{s}%p{s:^", "a", "b"), "aB") << "the end of the format ends the directive";
  EXPECT_EQ(print("%p{O::none}%p{O::", nullptr, nullptr), "none");
  EXPECT_EQ(print("%d{", 5), "5{");
  EXPECT_EQ(print("%d{:", 5), "5");
  EXPECT_EQ(print("%i{T}|%T{d}|", 5, 0x20202020), "5|    |") << "no families of theirs";
  EXPECT_EQ(print("%g{s}|%e{T}|", 0, 7.5), "0|T|") << "a family without members";
}

TEST(Fmt, UnknownConversionsPrintTheirLetter) {
  EXPECT_EQ(print("%q%d", 1), "q1");
  EXPECT_EQ(print("%p{Q}%d", 1, 2), "Q2");
  EXPECT_EQ(print("%u{s}%d", "x", 2), "s2") << "a subtype of the other family";
  EXPECT_EQ(print("%a%A%d", 1.5, 2.5, 3), "aA3");
  EXPECT_EQ(print("100%%%5%|%c%3c", 'a', 'b'), "100%%|ab");
  EXPECT_EQ(print("end%"), "end");
  EXPECT_EQ(print("end%-5.2l"), "end");
}

TEST(Fmt, FlagsWinInAnyOrder) {
  EXPECT_EQ(print("%-05d|%0-5d|", 42, 42), "42   |42   |");
  EXPECT_EQ(print("%++d", 5), "+5");
}

TEST(Fmt, HostileAmountsNeitherOverflowNorWrite) {
  char buffer[8];
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%99999999999d", 1), 7);
  EXPECT_STREQ(buffer, "       ");
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), "%-*d|", -1, 1), 7);
  EXPECT_EQ(xp_fmt_print(nullptr, 0, "%*d%*d%s", -1, 1, -1, 1, "more"), 0x7FFFFFFE);
  EXPECT_EQ(xp_fmt_append(nullptr, 0, 0x7FFFFFF0, "%s", "a text of twenty bytes"), 0x7FFFFFFE);
  EXPECT_EQ(xp_fmt_print(buffer, sizeof(buffer), nullptr), 0);
}

TEST(Fmt, AppendGoesOnBehindTheText) {
  char buffer[8] = "ab";
  EXPECT_EQ(xp_fmt_append(buffer, 8, 2, "%d", 34), 4);
  EXPECT_STREQ(buffer, "ab34");
  EXPECT_EQ(xp_fmt_append(buffer, 8, 4, "%s", "567890"), 7);
  EXPECT_STREQ(buffer, "ab34567");
  EXPECT_EQ(xp_fmt_append(buffer, 8, 8, "x"), 7) << "full: nothing is written";
  EXPECT_STREQ(buffer, "ab34567");
  EXPECT_EQ(xp_fmt_append(nullptr, 0, 40, "%d", 34), 42);
}

TEST(Fmt, StringsHoldLongAndShortTexts) {
  for (const int32_t length : {0, 1, 222, 223, 224, 255, 256, 5000}) {
    xp_ref string(xp_str_format("%*d", length, 1));
    ASSERT_TRUE(string);
    EXPECT_EQ(string->length, length ? length : 1);
    EXPECT_EQ(string->text[string->length - 1], '1');
    EXPECT_EQ(string->text[string->length], 0);
  }
  // Counting ignores the precision; the length is that of the text.
  const std::string text(300, 'x');
  xp_ref cut(xp_str_format("%.250s", text.c_str()));
  EXPECT_EQ(std::string(cut->text), std::string(250, 'x'));
  EXPECT_EQ(cut->length, 250);
}

TEST(Fmt, StringsOfFailedAllocationsAreNull) {
  for (const char* format : {"%d", "%300d"}) {
    sweep_allocations([&](heap_watch& watch) {
      xp_ref string(xp_str_format(format, 7));
      ASSERT_EQ(!string, watch.failed());
    });
  }
}
