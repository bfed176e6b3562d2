#include "document/xp_plist.h"

#include <gtest/gtest.h>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

std::string in_plist(const std::string& value) {
  return parsed(("<plist>" + value + "</plist>").c_str());
}

}  // namespace

TEST(Plist, EachElementBecomesItsValue) {
  struct {
    const char* text;
    const char* tree;
  } const rows[] = {
      {"<dict/>", "{}"},
      {"<DICT></Dict>", "{}"},
      {"<array/>", "[]"},
      {"<array><array/><dict/><true/></array>", "[[], {}, true]"},
      {"<dict><key>b</key><string>x</string><key>a</key><true/></dict>",
       R"({"a": true, "b": "x"})"},
      {"<dict><key>A</key><true/><key>a</key><false/></dict>", R"({"A": false})"},
      // Text as it stands.
      {"<string>a</string>", R"("a")"},
      {"<string/>", R"("")"},
      {"<string></string>", R"("")"},
      {"<string> \n</string>", "\" \n\""},
      {"<string>a&amp;b&#65;</string>", R"("a&amp;b&#65;")"},
      {"<string><![CDATA[a<b]]></string>", R"("a<b")"},
      {"<string> <![CDATA[a]]></string>", R"("")"},  // a section behind text is passed over
      {"<string>a<!-- c -->b</string>", R"("b")"},
      {"<string>a<!-- c --></string>", R"("")"},
      {"<string><!-- c -->b</string>", R"("b")"},
      // Numbers.
      {"<integer>12</integer>", "12"},
      {"<integer>12x</integer>", "12"},
      {"<integer> 5</integer>", "0"},
      {"<integer>-1</integer>", "4294967295"},
      {"<integer>4294967297</integer>", "1"},
      {"<integer>0x10</integer>", "16"},
      {"<integer/>", "0"},
      {"<real>1.5</real>", "1.5"},
      {"<real>-2</real>", "-2"},
      {"<real/>", "0"},
      // Truth.
      {"<boolean>TRUE</boolean>", "true"},
      {"<boolean>yes</boolean>", "false"},
      {"<boolean>true </boolean>", "false"},
      {"<true></true>", "true"},
      {"<True/>", "true"},
      {"<false/>", "false"},
      // Bytes.
      {"<data>QUJD</data>", "<414243>"},
      {"<data>\n QU\tJD\n</data>", "<414243>"},
      {"<data base=\"16\">41424</data>", "<4142>"},
      {"<data BASE=16>4x</data>", "<40>"},
      {"<data base=\"64\">QUJD</data>", "<414243>"},
      {"<data base=\"64\" base=\"16\">4142</data>", "<4142>"},  // the last of two attributes
      {"<data base=\"16\" base>QUJD</data>", "<414243>"},
      {"<data/>", "<>"},
      // Passed over.
      {"<!-- c --> <?pi x='1'?><array version='1'> <!-- c --> <true/> </array>", "[true]"},
      // The scan ends behind the root value, whatever follows.
      {"<true/><false/>", "true"},
      {"<true/>junk", "true"},
      {"<true/></oops>", "true"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(in_plist(row.text), row.tree) << row.text;
  EXPECT_EQ(parsed("<PLIST version='9'><string>a</string></plist>junk"), R"("a")");
  EXPECT_EQ(parsed("<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY e '>'>]><plist><true/>"),
            "true");
}

TEST(Plist, WhatIsOutOfPlaceRefusesTheDocument) {
  static const char* const rows[] = {
      "",
      " ",
      "x",
      "<true>x</true>",
      "<boolean/>",
      "<integer> </integer>",
      "<data> </data>",
      "<data>!</data>",
      "<date>2012-01-01T00:00:00Z</date>",
      "<array><date>2012-01-01T00:00:00Z</date></array>",
      "<plist/>",
      "<array><plist/></array>",
      "<array>x</array>",
      "<dict>x</dict>",
      "<dict><true/></dict>",
      "<dict><key>k</key></array></dict>",
      "<dict><key></key><true/></dict>",
      "<array><key>x</key></array>",
      "<key>x</key>",
      "<array><true/>",
  };
  for (const char* row : rows)
    EXPECT_EQ(in_plist(row), "") << row;
  EXPECT_EQ(parsed("<list2><true/></list2>"), "");
  EXPECT_EQ(parsed("<true/>"), "");
  EXPECT_EQ(parsed("\xEF\xBB\xBF<plist><true/></plist>"), "");
}

TEST(Plist, AKeyWithoutAValueServesTheNextValueInADictionary) {
  EXPECT_EQ(in_plist("<dict><key>a</key><key>b</key><true/></dict>"), R"({"b": true})");
  EXPECT_EQ(in_plist("<dict><key>a</key><key>b</key><dict><true/></dict></dict>"),
            R"({"a": {"b": true}})");
  EXPECT_EQ(in_plist("<dict><key>a</key><key>b</key><key>c</key><dict><true/></dict></dict>"),
            R"({"b": {"c": true}})");
}

TEST(Plist, LongKeysAreCutAndLongArraysTrimmed) {
  const std::string key(300, 'k');
  EXPECT_EQ(in_plist("<dict><key>" + key + "</key><true/></dict>"),
            "{\"" + key.substr(0, 255) + "\": true}");

  std::string elements;
  for (int i = 0; i < 1000; i++)
    elements += "<true/>";
  xp_ref<xp_plst> document(xp_plst_parse(("<plist><array>" + elements + "</array>").c_str()));
  xp_array* array = xp_as_array(document->root);
  ASSERT_TRUE(array);
  EXPECT_EQ(array->count, 1000);
  EXPECT_EQ(array->capacity, 1000u);
}

TEST(Plist, DepthIsBoundedByTheRecords) {
  std::string deep;
  for (int i = 0; i < 39; i++)
    deep += "<array>";
  // "plist" and 38 arrays, and one more record for the end of an empty element.
  EXPECT_NE(in_plist(deep.substr(0, 7 * 37) + "<array/>" +
                     [] {
                       std::string closes;
                       for (int i = 0; i < 37; i++)
                         closes += "</array>";
                       return closes;
                     }()),
            "");
  EXPECT_EQ(in_plist(deep + "<array/>"), "");
}

TEST(Plist, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    xp_ref<xp_plst> document(xp_plst_parse(
        "<plist><dict><key>array</key><array><string>a</string><string/><integer>9999</integer>"
        "<real>1.5</real><real/><integer/><true/><false/><boolean>true</boolean></array>"
        "<key>data</key><array><data>QUJD</data><data base='16'>41</data><data/></array>"
        "<key>a long enough key to need another block of the dictionary's pool, it is to be "
        "hoped, for which a hundred bytes and more are needed</key><dict/></dict></plist>"));
    EXPECT_TRUE(document || watch.failed());
  });
}
