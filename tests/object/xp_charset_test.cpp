#include "object/xp_charset.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

namespace {

// All bytes of the set, by asking for each one alone.
std::string members(const char* set) {
  std::string all;
  for (int byte = 0; byte < 256; byte++) {
    const char text = static_cast<char>(byte);
    if (xp_text_find_set(&text, 1, set, 0) == 0) all += text;
  }
  return all;
}

}  // namespace

TEST(Charset, FindsTheFirstMember) {
  struct {
    const char* text;
    const char* set;
    int32_t start;
    int32_t index;
  } const rows[] = {
      {"XbY", "[abc]", 0, 1},   {"XBY", "[abc]", 0, 1},  // brackets ignore case
      {"XBY", "abc", 0, -1},                             // a list doesn't
      {"abc1", "[^a-z]", 0, 3}, {"ABC", "[^a-z]", 0, -1}, {"abc", "[^]", 1, 1},
      {"\x80", "[^a]", 0, 0},   {"a]", "[]", 0, 1},  // too short for brackets
      {"abcabc", "c", 3, 5},    {"abc", "a", 3, -1},      {"abc", "a", -1, -1},
      {"", "[^]", 0, -1},       {"abc", "", 0, -1},       {"abc", nullptr, 0, -1},
      {nullptr, "a", 0, -1},
  };
  for (const auto& row : rows)
    EXPECT_EQ(xp_text_find_set(row.text, -1, row.set, row.start), row.index)
        << (row.text ? row.text : "(null)") << " in " << (row.set ? row.set : "(null)");
  EXPECT_EQ(xp_text_find_set("a\0b", 3, "b", 0), 2);
}

TEST(Charset, LongTextsAndListsGiveWhatShortOnesGive) {
  const std::string set = "$&`:<>[]{}\"+#%@/;=?\\^|' ";
  std::string text(1000, 'x');
  EXPECT_EQ(xp_text_find_set(text.c_str(), -1, set.c_str(), 0), -1);
  text[777] = '|';
  EXPECT_EQ(xp_text_find_set(text.c_str(), -1, set.c_str(), 0), 777);
  EXPECT_EQ(xp_text_find_set(text.c_str(), -1, set.c_str(), 778), -1);
}

TEST(Charset, ItemsOfABracketExpression) {
  const std::string digits = "0123456789";
  const std::string lower = "abcdefghijklmnopqrstuvwxyz";
  const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const std::string punct = "!\"#$%&'()*+,-./:;<=>?@[]^_`{|}~";
  struct {
    const char* set;
    std::string bytes;
  } const rows[] = {
      {"[[:alnum:]]", digits + upper + lower},
      {"[[:alpha:]]", upper + lower},
      {"[[:blank:]]", "\t "},
      {"[[:digit:]x]", digits + "Xx"},
      {"[[:lower:]]", lower},
      {"[[:upper:]]", upper},
      {"[a-z]", upper + lower},
      {"[[:punct:]]", punct},
      {"[[:space:]]", "\t\n\r "},
      {"[[:word:]]", digits + upper + "_" + lower},
      {"[[:xdigit:]]", digits + "ABCDEFabcdef"},
      {"[z-x]", "XYZxyz"},
      {"[+\\--.]", "+-."},  // from an escaped hyphen to the point
      {"[-a]", "-Aa"},
      {"[a-]", "-Aa"},
      {"[\\]\\\\]", "\\]"},
      {"[a[]]", "A[]a"},
      {"[a\\]", "A\\a"},  // a backslash as the last byte
      {"[\xFE-\xFF]", "\xFE\xFF"},
      {"[[:nosuch:]]", ":CHNOSU[]chnosu"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(members(row.set), row.bytes) << row.set;
  EXPECT_EQ(members("[[:ascii:]]").size(), 95u);
  EXPECT_EQ(members("[[:cntrl:]]").size(), 33u);
  EXPECT_EQ(members("[[:graph:]]").size(), 62u + 31u);
  EXPECT_EQ(members("[[:print:]]").size(), 62u + 31u + 2u);
  EXPECT_EQ(punct.size(), 31u);
}

TEST(Charset, CompileMarksUpToANul) {
  uint8_t table[256] = {};
  EXPECT_EQ(xp_charset_compile("a\0b", 3, 0, 7, table), -1);
  EXPECT_EQ(table[uint8_t{'A'}], 7);
  EXPECT_EQ(table[uint8_t{'b'}], 0);
  memset(table, 0, sizeof(table));
  EXPECT_EQ(xp_charset_compile("a[:word:]", 9, 1, 1, table), 0);
  EXPECT_EQ(table[uint8_t{'Z'}], 1);
  EXPECT_EQ(table[uint8_t{'z'}], 0);  // the class follows the case rule
}
