#include "document/xp_xml.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

std::string text_of(const xp_xml_record* record) {
  return std::string(record->text, record->length);
}

std::string attributes_of(const xp_xml_record* element) {
  std::string all;
  for (const xp_xml_record* attr = element->attrs; attr; attr = attr->attrs)
    all += " " + text_of(attr) + (attr->link ? "=" + text_of(attr->link) : "");
  return all;
}

// The events as text: a sign for the kind, the text, and behind "@" the enclosing element.
struct trace {
  std::string events;
  int32_t answer_to_attributes = 0;
  int stop_after = -1;
  int32_t stop_with = 0;

  int32_t add(xp_xml_kind kind, const xp_xml_record* record) {
    static const char signs[] = "T<>D?E-=S";
    if (!events.empty()) events += ' ';
    events += signs[kind];
    events += kind == XML_ATTRIBUTE ? attributes_of(record).substr(1) : text_of(record);
    if (kind == XML_CLOSE) events += attributes_of(record);
    if (record->link) events += "@" + text_of(record->link);
    if (stop_after >= 0 && stop_after-- == 0) return stop_with;
    return kind == XML_ATTRIBUTE ? answer_to_attributes : 0;
  }
};

int32_t add_to_trace(xp_xml_kind kind, xp_xml_record* record, void* context) {
  return static_cast<trace*>(context)->add(kind, record);
}

int32_t scan(const std::string& text, trace& into, size_t records = 40) {
  std::vector<xp_xml_record> pool(records + 1);
  return xp_xml_scan(text.c_str(), pool.data(), pool.data() + records, add_to_trace, &into);
}

std::string repeat(const char* text, int count) {
  std::string all;
  while (count-- > 0)
    all += text;
  return all;
}

}  // namespace

TEST(Xml, EventsOfEachConstruct) {
  struct {
    const char* text;
    int32_t result;
    const char* events;
  } const rows[] = {
      {"", 0, ""},
      {"   ", 0, ""},
      {"abc", XML_E_TEXT, ""},
      {"<a>x", XML_E_TEXT, "E <a"},
      {"<a>x</a>", 0, "E <a Tx@a >a"},
      {"<a></a>", 0, "E <a E@a >a"},
      {"<a/>", 0, "E <a E@a >a"},
      {"<a />", 0, "E <a E@a >a"},
      {"< a></ a >", 0, "E <a E@a >a"},
      {"<a>\n<b/>\n</a>", 0, "E <a S\n@a <b@a E@b >b@a S\n@a >a"},
      {" x <a/>", 0, "T x  <a E@a >a"},
      // Bytes from 0x80 up are text, but gaps inside a tag, and no part of a name.
      {"<a>\xC3\xA4</a>", 0, "E <a T\xC3\xA4@a >a"},
      {"<a\xC2\xA0"
       "b='1'/>",
       0, "E =b=1 <a E@a >a b=1"},
      {"<date.iso>", XML_E_OPEN, "E <date"},
      // Names.
      {"<A></a>", 0, "E <A E@A >A"},
      {"<a></ab>", XML_E_NAME, "E <a E@a"},
      {"<a></b>", XML_E_NAME, "E <a E@a"},
      {"</a>", XML_E_NOT_OPEN, "E"},
      {"<a>", XML_E_OPEN, "E <a"},
      {"<", XML_E_OPEN, "E <"},
      {"<></>", 0, "E < E@ >"},
      {"<s:a-1_b></S:A-1_B>", 0, "E <s:a-1_b E@s:a-1_b >s:a-1_b"},
      // Sections: only right behind other markup.
      {"<a><![CDATA[x]]></a>", 0, "E <a Tx@a >a"},
      {"<a><![cdata[<]]]]></a>", 0, "E <a T<]]@a >a"},
      {"<a><![CDATA[x]]>y</a>", 0, "E <a Tx@a Ty@a >a"},
      {"<a> <![CDATA[x]]></a>", 0, "E <a S @a E@a >a"},
      {"<a>y<![CDATA[x<b>'\"]]></a>", 0, "E <a Ty@a E@a >a"},
      {"<a><![CDATA[x]]><![CDATA[y]]></a>", 0, "E <a Tx@a E@a >a"},
      {"<a><![CDATA[x", XML_E_OPEN, "E <a Tx@a"},
      {"<![CDATA[x", 0, "Tx"},
      // Attributes.
      {"<a b='1' c=2 d/>", 0, "E =b=1 =c=2 b=1 =d c=2 b=1 <a E@a >a d c=2 b=1"},
      {"<a b = \"1\" B=2>", XML_E_OPEN, "E =b=1 =B=2 b=1 <a"},
      {"<a b=\"<![CDATA[x\"y]]>\"/>", 0, "E =b=x\"y <a E@a >a b=x\"y"},
      {"<a b='<![CDATA[x]]>'/>", 0, "E =b=<![CDATA[x]]> <a E@a >a b=<![CDATA[x]]>"},
      {"<a x=\">\"></a>", 0, "E =x=> <a E@a >a x=>"},
      {"<a b=/>", 0, "E =b= <a E@a >a b="},
      {"<a b='x", XML_E_OPEN, "E =b=x <a"},
      {"<a $ b='1'></a>", 0, "E <a E@a >a"},
      {"<a b='1'$/></a>", 0, "E =b=1 <a E@a >a b=1"},
      {"<a b.c='>'></a>", 0, "E =b <a E@a >a b"},
      // Instructions, comments, declarations.
      {"<?xml version=\"1.0\"?>", 0, "E =version=1.0 ?xml"},
      {"<a><? p b=\"<![CDATA[\"?></a>", 0, "E <a E@a =b=<![CDATA[@a ?p@a E@a >a"},
      {"<a><!-- - -- <b> --></a>", 0, "E <a E@a - - -- <b> @a E@a >a"},
      {"<!-->", 0, "E ->"},
      {"<!-- x", 0, "E - x"},
      {"<!DOCTYPE p [<!ENTITY e \"]>\">]><p/>", 0, "E Dp [<!ENTITY e \"]>\">] E <p E@p >p"},
      {"<! docType  x>", 0, "E Dx"},
      {"<!DOCTYPE>", 0, "E D"},
      {"<a><!DOCTYPE x></a>", 0, "E <a E@a Dx E@a >a"},
      {"<!DOCTYPE x '>", 0, "E Dx '>"},
      {"<!DOCTYPES x><!ELEMENT (a|b)>", 0, "E E"},
  };
  for (const auto& row : rows) {
    trace got;
    EXPECT_EQ(scan(row.text, got), row.result) << row.text;
    EXPECT_EQ(got.events, row.events) << row.text;
  }
}

TEST(Xml, RecordsBoundDepthAndAttributesTogether) {
  struct {
    std::string text;
    int32_t result;
  } const rows[] = {
      {repeat("<a>", 40), XML_E_OPEN},
      {repeat("<a>", 41), XML_E_RECORDS},
      {repeat("<a b='1'>", 13) + "<a>", XML_E_OPEN},
      {repeat("<a b='1'>", 13) + "<a><a>", XML_E_RECORDS},
      {repeat("<a>", 38) + "<a b>", XML_E_OPEN},
      {repeat("<a>", 39) + "<a b>", XML_E_RECORDS},
      {repeat("<a>", 38) + "<a b=1>", XML_E_RECORDS},
      {repeat("<a>", 39) + "<a/>", XML_E_RECORDS},  // the empty inside takes one, too
      {repeat("<a>", 40) + "<?p?>", XML_E_RECORDS},
      {repeat("<a b=1 c=2></a>", 100), 0},  // closing gives them back
      {repeat("<?p b=1 c=2?>", 100), 0},
      {"<a" + repeat(" b='1'", 300) + ">", XML_E_RECORDS},
  };
  for (const auto& row : rows) {
    trace got;
    EXPECT_EQ(scan(row.text, got), row.result) << row.text;
  }
}

TEST(Xml, TheHandlerStopsTheScanAndDropsAttributes) {
  trace stopped;
  stopped.stop_after = 2;
  stopped.stop_with = 7;
  EXPECT_EQ(scan("<a>x</a>", stopped), 7);
  EXPECT_EQ(stopped.events, "E <a Tx@a");

  trace dropping;
  dropping.answer_to_attributes = 1;
  EXPECT_EQ(scan("<a b='1' c/>", dropping, 3), 0);
  EXPECT_EQ(dropping.events, "E =b=1 =c <a E@a >a");
  // Dropped attributes cost no records, so there may be any number.
  EXPECT_EQ(scan("<a" + repeat(" b='1'", 300) + "/>", dropping, 3), 0);

  trace refusing;
  refusing.answer_to_attributes = -9;
  EXPECT_EQ(scan("<a b='1'/>", refusing), -9);
}

TEST(Xml, SkipMarkupPassesOverPairs) {
  struct {
    const char* text;
    const char* rest;
  } const rows[] = {
      {">x", "x"},
      {"a '>' \">\" x>y", "y"},
      {"('>')>y", "y"},
      {"{[(<>)]}>y", "y"},
      {"'(' >y", "y"},
      {"[a[>\"]>]>y", "y"},  // inside doubled brackets quotes mean nothing
      {"(>", ""},
      {"'>", ""},
      // Behind a declaration that closed, quotes in the same pair of brackets mean nothing.
      {"[<a \"]>\"> \"]> y", " y"},
  };
  for (const auto& row : rows)
    EXPECT_STREQ(xp_xml_skip_markup(row.text), row.rest) << row.text;
  // Pairs beyond the depth of the stack aren't looked for, so the first 255 closers end the walk.
  const std::string deep = repeat("(", 300) + repeat(")", 255) + ">" + repeat(")", 45) + ">";
  EXPECT_EQ(strlen(xp_xml_skip_markup(deep.c_str())), 46u);
}

TEST(Xml, EqualFoldsLettersAndKeepsNul) {
  EXPECT_EQ(xp_xml_equal("aB\0x", "Ab\0X", 4), 0);
  EXPECT_EQ(xp_xml_equal("a", "B", 1), -1);
  EXPECT_EQ(xp_xml_equal("\xFF", "a", 1), 1);
  EXPECT_EQ(xp_xml_equal("_", "a", 1), 1);  // folded to capitals, the letter stands before "_"
  EXPECT_EQ(xp_xml_equal("a", "b", 0), 0);
  EXPECT_EQ(xp_xml_equal("a", "b", -1), 0);
}

TEST(Xml, ATextMayEndAnywhere) {
  const std::string text =
      "<?xml a='1'?><!DOCTYPE p [<!ENTITY e \"]>\">]><!-- c --><p b=\"<![CDATA[x]]>\" c='2' d=e "
      "f><q/><![CDATA[y]]> z </p>";
  for (size_t length = 0; length <= text.size(); length++) {
    trace got;
    const int32_t result = scan(text.substr(0, length), got);
    // Behind "</" and a part of the name, the name is another one.
    const bool in_end_tag = text.substr(0, length).ends_with("</");
    EXPECT_TRUE(result == 0 || result == XML_E_TEXT ||
                result == (in_end_tag ? XML_E_NAME : XML_E_OPEN))
        << length << ": " << result;
  }
}
