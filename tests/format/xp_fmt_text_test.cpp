#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/format/print.h"
#include "tests/support/fakes.h"

namespace {

// An object that shows its bytes only by its render slot, and can't be asked for them.
int32_t render_markup(xp_object*, char* buffer, uint32_t size) {
  static const char text[] = "<a b>";
  if (!buffer) return 5;
  const uint32_t length = size < 5 ? size : 5;
  memcpy(buffer, text, length);
  return static_cast<int32_t>(length);
}

xp_object* new_rendered() {
  xp_object* object = xp_object_alloc(sizeof(xp_object), xp_tag("rend"));
  if (object) object->render = render_markup;
  return object;
}

}  // namespace

TEST(FmtText, PaddingAndCase) {
  EXPECT_EQ(print("%5s|%-5s|%05s|%2s", "ab", "ab", "ab", "abc"), "   ab|ab   |000ab|abc");
  EXPECT_EQ(print("%s{:^}%s{:_}%s{:^_}", "a\xC3\xA9Z", "BC", "dE"),
            "A\xC3\xA9Z"
            "bcDE");
  EXPECT_EQ(print("%5s|%-3s|%.*s", "", nullptr, 0, "abc"), "     ||");
  char buffer[4];
  EXPECT_EQ(xp_fmt_text(buffer, 4, nullptr, -1, 0, 2), 2) << "null is the empty text";
  EXPECT_EQ(xp_fmt_text(buffer, -1, "abc", -1, 0, 0), 0);
  EXPECT_EQ(xp_fmt_text(nullptr, 0, "abc", -1, 0, 0), 3);
}

TEST(FmtText, EveryEscapingScheme) {
  struct row {
    const char* format;
    const char* text;
    const char* expected;
  };
  const row rows[] = {
      {"%+s", "a b/c-._~Z9\xC3\xA9", "a%20b%2Fc-._~Z9%C3%A9"},
      {"%+s{:_}", "A/B", "a%2Fb"},
      {"%s{:~}", "\"\\\t\n\r\r\nx\x01\x7F", "\\\"\\\\\\t\\n\\n\\nx \x7F"},
      {"%s{:~}", "\n\n\r\r", "\\n\\n\\n\\n"},
      {"%s{:<}", "plain ]]", "plain ]]"},
      {"%s{:<}", "a&b", "<![CDATA[a&b]]>"},
      {"%s{:<}", "]]>>]>", "<![CDATA[]] >]>]]>"},
      {"%s{:`}", "it's\t\x01\n", "it`s\t  "},
      {"%s{:'}", "it's \\ \"", "it\\'s \\\\ \""},
      {"%s{:''}", "it's \\ \"", "it''s \\ \""},
      {"%s{:'''}", "it's \\ \"", "it's \\\\ \\\""},
      {"%s{:''''}", "it's \"", "it's \\\""},
      {"%+s{:~<'}", "\"", "%22"},  // the first scheme of the table wins
      {"%s{:~<'}", "<\"", "<\\\""},
      {"%s{:<`'}", "<'", "<![CDATA[<']]>"},
  };
  for (const row& r : rows)
    EXPECT_EQ(print(r.format, r.text), r.expected) << r.format << " of " << r.text;
}

TEST(FmtText, PaddingCountsWhatTheSchemeAdds) {
  EXPECT_EQ(print("%5s{:'}|%-5s{:'}|", "a'", "a'"), "  a\\'|a\\'  |");
  EXPECT_EQ(print("%6+s|%+6s|", "a ", "a "), "+s|  a%20|") << "flags stand before the width";
  EXPECT_EQ(print("%18s{:<}|%-18s{:<}|", "a&b", "a&b"), "<![CDATA[   a&b]]>|<![CDATA[a&b]]>   |");
}

TEST(FmtText, EscapesAreNeverCut) {
  EXPECT_EQ(print_into(64, "%+.5s", "a b c").text, "a%20b");
  EXPECT_EQ(print_into(64, "%+.7s", "a b c").text, "a%20b");
  EXPECT_EQ(print_into(64, "%.2s{:'}", "a'b").text, "a");
  EXPECT_EQ(print_into(64, "%.2s{:''}", "a'b").text, "a");
  EXPECT_EQ(print_into(64, "%.11s{:<}", "a&b").text, "") << "no room for the two marks";
  EXPECT_EQ(print_into(64, "%.12s{:<}", "a&b").text, "<![CDATA[]]>");
  EXPECT_EQ(print_into(64, "%.14s{:<}", "a&b").text, "<![CDATA[a&]]>");
}

TEST(FmtText, ObjectsRenderStraightAndWidthIsTheirMost) {
  xp_ref string(xp_str_new("abcdefgh"));
  EXPECT_EQ(
      print("%p{O}|%O|%5p{O}|%20p{O}", string.get(), string.get(), string.get(), string.get()),
      "abcdefgh|abcdefgh|abcde|abcdefgh");
  EXPECT_EQ(print("%p{O:^}|%0p{O}|%#'p{O}", string.get(), string.get(), string.get()),
            "abcdefgh|abcdefgh|abcdefgh");
  xp_ref accent(xp_str_new("a\xC3\xA9"));
  EXPECT_EQ(print_into(64, "%.2p{O}", accent.get()).text, "a") << "whole characters";
  EXPECT_EQ(print_into(64, "%-.2p{O}", accent.get()).text, "a\xC3") << "bytes";
  EXPECT_EQ(print_into(3, "%p{O}", accent.get()).text, "a");
}

TEST(FmtText, ObjectsWithAnEscapeGoThroughTheTextRoutine) {
  xp_ref path(xp_str_new("a b/c"));
  EXPECT_EQ(print("%+p{O}|%-7p{O}|%p{O:~}", path.get(), path.get(), path.get()),
            "a%20b%2Fc|a b/c  |a b/c");
  xp_ref rendered(new_rendered());
  EXPECT_EQ(print("%p{O}|%3p{O}|%p{O:<}|%-7p{O}|", rendered.get(), rendered.get(), rendered.get(),
                  rendered.get()),
            "<a b>|<a |<![CDATA[<a b>]]>|<a b>  |");
  xp_ref silent(xp_object_alloc(sizeof(xp_object), xp_tag("none")));
  EXPECT_EQ(
      print("%p{O}|%5p{O}|%-5p{O}|%p{O:<}", silent.get(), silent.get(), silent.get(), silent.get()),
      "||     |");
}

TEST(FmtText, NullObjectsPrintTheSubFormat) {
  EXPECT_EQ(print("[%p{O}][%-5p{O}]%d", nullptr, nullptr, 7), "[][]7");
  EXPECT_EQ(print("%p{O::unknown}|%9p{O::unknown}|%+p{O::a b}|%p{O::}", nullptr, nullptr, nullptr,
                  nullptr),
            "unknown|  unknown|a%20b|");
}

TEST(FmtText, AnAllocationThatFailsPrintsNothing) {
  xp_ref rendered(new_rendered());
  sweep_allocations([&](heap_watch& watch) {
    char buffer[32];
    xp_fmt_print(buffer, sizeof(buffer), "[%-7p{O}]", rendered.get());
    EXPECT_STREQ(buffer, watch.failed() ? "[]" : "[<a b>  ]");
  });
  const std::u16string wide(100, u'w');
  sweep_allocations([&](heap_watch& watch) {
    char buffer[128];
    xp_fmt_print(buffer, sizeof(buffer), "%3ls", wide.c_str());
    EXPECT_EQ(std::string(buffer), watch.failed() ? "   " : std::string(100, 'w'));
  });
}

TEST(FmtText, WideText) {
  EXPECT_EQ(print("%ls|%8ls|%.*ls|%lS|%ls", u"\u00E9\u20AC", u"\U0001F600", 2, u"abc", 1, u"xyz",
                  nullptr),
            "\xC3\xA9\xE2\x82\xAC|    \xF0\x9F\x98\x80|ab|x|");
  EXPECT_EQ(print("%lc|%3lc|%lc", 0xE9, 'a', 0xD800), "\xC3\xA9|  a|\xEF\xBF\xBD");
  const std::u16string longer(200, u'\u20AC');
  std::string expected;
  for (int i = 0; i < 200; i++)
    expected += "\xE2\x82\xAC";
  EXPECT_EQ(print("%ls", longer.c_str()), expected);
  EXPECT_EQ(xp_fmt_wide(nullptr, 0, nullptr, -1, 0, 3), 3) << "the empty text is padded";
}

TEST(FmtText, CountedTextTagsAndGuids) {
  EXPECT_EQ(print("%S|%S|%p{S}|%P|%p{P}|%S", 2, "abc", 0, "abc", 3, "abc", "\003xyz!", nullptr, 5,
                  nullptr),
            "ab||abc|xyz||");
  const uint32_t tag = xp_tag("xstr");
  EXPECT_EQ(print("%T|%d{T}|%6x{T}|%T|%X{T:^}", tag, tag, tag, 0, tag), "xstr|xstr|  xstr||XSTR");
  const uint8_t guid[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                            0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
  const char expected[] = "01234567-89AB-CDEF-FEDC-BA9876543210";
  EXPECT_EQ(print("%p{U}|%p{U}", guid, nullptr), std::string(expected) + "|");
  EXPECT_EQ(print_into(37, "%p{U}", guid).text, expected) << "just enough room";
  EXPECT_EQ(print_into(36, "%p{U}", guid).text, "");
  EXPECT_EQ(print_into(64, "%.36p{U}|", guid).text, "|");
  char buffer[40];
  EXPECT_EQ(xp_fmt_guid(buffer, 37, guid), 36);
  EXPECT_STREQ(buffer, expected);
  EXPECT_EQ(xp_fmt_guid(buffer, 36, guid), 0);
}

TEST(FmtText, BytesInHexadecimal) {
  const uint8_t bytes[] = {0x0A, 0xBC, 0xFF};
  EXPECT_EQ(
      print("%H|%h|% H|%H|%H|% H", 3, bytes, 3, bytes, 3, bytes, 0, bytes, 3, nullptr, 1, bytes),
      "0ABCFF|0abcff|0A BC FF|||0A");
  EXPECT_EQ(print("%4H|%9H|% 4H|", 3, bytes, 3, bytes, 3, bytes), "0ABC|0ABCFF|0A B|");
  EXPECT_EQ(print_into(64, "%.3H", 3, bytes).text, "0AB");
  EXPECT_EQ(print("%*p{H}|%*p{h}|% *p{H}|%p{H}|", 3, bytes, 2, bytes, 3, bytes, bytes),
            "0ABCFF|0abc|0A BC |"
            "|");
  EXPECT_EQ(print("%H|%*p{H}", -1, bytes, -1, bytes), "|") << "no such count";
}
