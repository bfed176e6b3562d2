#include "document/xp_list_xml.h"

#include <gtest/gtest.h>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

std::string item(const std::string& fields) {
  return parsed(("<item>" + fields + "</item>").c_str());
}

std::string field(const std::string& rest) {
  const std::string tree = item("<field label=\"k\" " + rest);
  const std::string head = "{\"k\": ";
  return tree.starts_with(head) ? tree.substr(head.size(), tree.size() - head.size() - 1) : tree;
}

}  // namespace

TEST(ListXml, ListsAndItems) {
  struct {
    const char* text;
    const char* tree;  // "": refused
  } const rows[] = {
      {"<list><item ident=\"7\"><field label=\"a\" type=\"long\">5</field>"
       "<field label=\"b\">x</field></item></list>",
       R"([{"a": 5, "b": "x", "ident": "7"}])"},
      {"<LIST ident='1'>\n<item/>\n<item ident/>\n</LIST>", "[{}, {}]"},
      {"<list/>", "[]"},
      {"<item><field label='A'>1</field><field label='a'>2</field></item>", R"({"A": "2"})"},
      {"<item ident='new'><field label='ident'>old</field></item>", R"({"ident": "new"})"},
      {"<item/>junk", "{}"},
      {"<list><list/></list>", ""},
      {"<list><field label='a'/></list>", ""},
      {"<item><item/></item>", ""},
      {"<list><other/></list>", ""},
      {"<field label='a'/>", ""},
      {"<link href='a:b' rel='c'/>", ""},
      {"<list>x</list>", ""},
      {"<item>x</item>", ""},
      {"<list><item/>", ""},
  };
  for (const auto& row : rows)
    EXPECT_EQ(parsed(row.text), row.tree) << row.text;
}

TEST(ListXml, FieldsOfEachType) {
  struct {
    const char* text;
    const char* tree;
  } const rows[] = {
      {">x</field>", R"("x")"},
      {"/>", R"("")"},
      {"> </field>", "{}"},  // blank text has no meaning, and isn't nothing, either
      {"type='text'><![CDATA[<&>]]></field>", R"("<&>")"},
      {"type='TEXT'/>", R"("")"},
      {"type='link'>a:b</field>", R"("a:b")"},
      {"type='long'>0x1F</field>", "31"},
      {"type='long'>-1</field>", "4294967295"},
      {"type='long'/>", "0"},
      {"type='real'>2.50</field>", "2.50"},
      {"type='real'/>", "0"},
      {"type='boolean'>True</field>", "true"},
      {"type='boolean'>1</field>", "false"},
      {"type='boolean'/>", R"("")"},
      {"type='true'/>", "true"},
      {"type='true'>no</field>", R"("no")"},
      {"type='false'/>", "false"},
      {"type='data'>QUJD</field>", "<414243>"},
      {"type='data' base='16'>4142</field>", "<4142>"},
      {"type='data'/>", "<>"},
      {"type='data'>!</field>", ""},
      {"type='date'>2012-01-02T03:04:05Z</field>", "date(1325473445)"},
      {"type='date'>nonsense</field>", ""},
      {"type>x</field>", R"("x")"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(field(row.text), row.tree) << row.text;
  EXPECT_EQ(item("<field type='text'>x</field>"), "{}");  // no label, no entry
  EXPECT_EQ(item("<field label=''>x</field>"), "{}");
  EXPECT_TRUE(field("type='date'/>").starts_with("date(")) << field("type='date'/>");
}

TEST(ListXml, LinksBecomeUrls) {
  EXPECT_EQ(item("<link href=\"a:b\" rel=\"self\"/>"), R"({"self": url(a:b)})");
  EXPECT_EQ(item("<link href='a:b' rel='self'>text</link>"), R"({"self": url(a:b)})");
  EXPECT_EQ(item("<link href='a:b'/>"), "{}");
  EXPECT_EQ(item("<link rel='self'/>"), R"({"self": null})");
  EXPECT_EQ(item("<link rel='self'>text</link>"), "");
}

TEST(ListXml, AFieldOfTypeDictHoldsFields) {
  EXPECT_EQ(field("type='dict'/>"), "{}");
  EXPECT_EQ(field("type='dict'>\n <field label='a'>1</field>\n dropped <!-- c -->"
                  "<field label='b' type='dict'><field label='c'>2</field></field> </field>"
                  "<field label='l'>3</field>"),
            R"({"a": "1", "b": {"c": "2"}}, "l": "3")");
  EXPECT_EQ(item("<field type='dict'><field label='a'>1</field></field>"), "{}");
}

TEST(ListXml, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    xp_ref<xp_plst> document(xp_plst_parse(
        "<list><item ident='1'><field label='a'>x</field><field label='b'/>"
        "<field label='c' type='long'>99</field><field label='d' type='data'>QUJD</field>"
        "<field label='e' type='dict'><field label='f' type='real'>1.5</field></field>"
        "<link href='a:b' rel='g'/><field label='h' type='date'/></item></list>"));
    EXPECT_TRUE(document || watch.failed());
  });
}
