#include "object/xp_str.h"

#include <string.h>

#include <string>

#include "object/xp_ref.h"
#include "tests/support/fakes.h"

namespace {

std::string text_of(const xp_str* string) {
  return string ? std::string(string->text, static_cast<size_t>(string->length)) : "(null)";
}

std::string unescaped(const char* text) {
  xp_ref source(xp_str_new(text));
  xp_ref result(xp_str_unescape(source.get()));
  return text_of(result.get());
}

}  // namespace

TEST(Str, ConstructorsMeasureCopyAndTerminate) {
  xp_ref null(xp_str_new(nullptr));
  EXPECT_EQ(null->length, 0);
  EXPECT_EQ(null->text[0], 0);
  xp_ref room(xp_str_new_n(nullptr, 10));
  EXPECT_EQ(room->length, 0);
  xp_ref with_nul(xp_str_new_n("a\0b", 3));
  EXPECT_EQ(text_of(with_nul.get()), std::string("a\0b", 3));
  EXPECT_EQ(memcmp(with_nul->text + 3, "\0\0\0\0", 4), 0);
  xp_ref wide(xp_str_new_wide(u"\u00E9\u20AC", -1));
  EXPECT_EQ(text_of(wide.get()), "\xC3\xA9\xE2\x82\xAC");
  xp_ref lone(xp_str_new_wide(u"\xD800", 1));
  EXPECT_EQ(text_of(lone.get()), "\xEF\xBF\xBD");
  static const char literal[] = "POST";
  xp_ref constant(xp_str_new_constant(literal));
  EXPECT_EQ(constant->text, literal);
  EXPECT_EQ(constant->length, 4);
}

TEST(Str, AppendKeepsTheSourceAndSharesWhenNothingIsAdded) {
  xp_ref base(xp_str_new("ab"));
  xp_ref same(xp_str_append(base.get(), "", -1));
  EXPECT_EQ(same.get(), base.get());
  xp_ref joined(xp_str_append(base.get(), "cdx", 2));
  EXPECT_EQ(text_of(joined.get()), "abcd");
  EXPECT_EQ(text_of(base.get()), "ab");
  xp_ref fresh(xp_str_append(nullptr, "z", -1));
  EXPECT_EQ(text_of(fresh.get()), "z");
}

TEST(Str, CopyOutNeverCutsACharacter) {
  xp_ref string(xp_str_new("a\xC3\xA9"));
  char buffer[4] = {};
  EXPECT_EQ(xp_str_copy_out(string.get(), nullptr, 0), 3);
  EXPECT_EQ(xp_str_copy_out(string.get(), buffer, 2), 1);
  EXPECT_EQ(xp_str_copy_out(string.get(), buffer, 3), 3);
  EXPECT_EQ(xp_str_copy_out(nullptr, buffer, 3), 0);
  // A lead byte at the very end claims bytes that aren't there; the length still bounds the copy.
  xp_ref cut(xp_str_new("ab\xF0"));
  EXPECT_EQ(xp_str_copy_out(cut.get(), buffer, 2), 2);
}

TEST(Str, UnescapeResolvesEachSequence) {
  struct {
    const char* text;
    std::string result;
  } const rows[] = {
      {"a\\nb\\rc\\td", "a\nb\rc\td"},
      {"\\x41\\x4", "A\x04"},
      {"\\xg", "xg"},  // no digit: the letter itself
      {"\\101\\0", std::string("A\0", 2)},
      {"\\1012", "A2"},  // three octal digits at most
      {"\\4\\q\\\"\\\\", "4q\"\\"},
      {"end\\", "end"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(unescaped(row.text), row.result) << row.text;
}

TEST(Text, ByteCompareByTheSignsOfTheLengths) {
  EXPECT_EQ(xp_text_compare_bytes("abc", 3, "abc", -1), 0);
  EXPECT_EQ(xp_text_compare_bytes("abc", 3, "abcd", -1), -1);
  EXPECT_EQ(xp_text_compare_bytes("abcd", -1, "abc", 3), 1);
  EXPECT_EQ(xp_text_compare_bytes("a\0b", 3, "a\0c", 3), -1);
  EXPECT_EQ(xp_text_compare_bytes("a\0b", -1, "a", 1), 0);
  EXPECT_EQ(xp_text_compare_bytes("\xFF", -1, "a", -1), 1);
  EXPECT_EQ(xp_text_compare_bytes("a", 1, "ab", 2), -1);
  EXPECT_EQ(xp_text_compare_bytes("a", -1, "B", -1), 1);
  EXPECT_EQ(xp_text_compare_nocase("a", -1, "B", -1), -1);
  EXPECT_EQ(xp_text_compare_nocase("\xC3\xA4", -1, "\xC3\x84", -1), 1);  // only ASCII folds
}

TEST(Str, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch&) {
    xp_ref string(xp_str_new("a\\n"));
    xp_ref wide(xp_str_new_wide(u"w", 1));
    xp_ref joined(xp_str_append(string.get(), "b", 1));
    xp_ref plain(xp_str_unescape(joined.get()));
    // Unescaping gives the string itself rather than nothing.
    EXPECT_EQ(static_cast<bool>(plain), static_cast<bool>(joined));
  });
}
