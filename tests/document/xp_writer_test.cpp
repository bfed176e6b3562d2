#include "document/xp_writer.h"

#include <string>
#include <vector>

#include "object/xp_list.h"
#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

// Measures, writes with room for the NUL, and checks that the two agree.
std::string written(xp_object* root, const xp_style& style) {
  xp_ref document(xp_plst_new(root, &style));
  if (!document) return "(null)";
  const int32_t length = document->render(document.get(), nullptr, 0);
  std::vector<char> buffer(static_cast<size_t>(length) + 1, '?');
  EXPECT_EQ(document->render(document.get(), buffer.data(), static_cast<uint32_t>(buffer.size())),
            length);
  EXPECT_EQ(buffer[static_cast<size_t>(length)], 0);
  return std::string(buffer.data(), static_cast<size_t>(length));
}

std::string body(xp_object* root, const xp_style& style) {
  return written(root, style).substr(strlen(style.header));
}

void put(xp_dict* dict, const char* key, xp_object* value) {
  EXPECT_EQ(xp_dict_give(dict, key, -1, value), 0);
}

void add(xp_array* array, xp_object* value) {
  xp_ref owned(value);
  EXPECT_GE(xp_array_append(array, value), 0);
}

// {a: "x", b: [1, true], c: {d: 1.5}}
xp_dict* small_tree() {
  xp_dict* dict = xp_dict_new(0);
  put(dict, "a", xp_str_new("x"));
  xp_array* array = xp_array_new(0);
  add(array, xp_num_new(1));
  add(array, xp_bool_new(1));
  put(dict, "b", array);
  xp_dict* inner = xp_dict_new(0);
  put(inner, "d", xp_num_parse("1.5", -1));
  put(dict, "c", inner);
  return dict;
}

xp_dict* dict_of(const char* key, xp_object* value) {
  xp_dict* dict = xp_dict_new(0);
  put(dict, key, value);
  return dict;
}

}  // namespace

TEST(Writer, WritesOneTreeInEveryStyle) {
  struct {
    const xp_style& style;
    const char* text;
  } const rows[] = {
      {xp_style_json, "{\"a\":\"x\",\"b\":[1,true],\"c\":{\"d\":1.5}}\n"},
      {xp_style_json_lines,
       "\n{\n\t\"a\" : \"x\",\n\t\"b\" : [1,true\n\t],\n\t\"c\" : {\n\t\t\"d\" : 1.5\n\t}\n}\n"},
      {xp_style_plist,
       "\n<dict>\n\t<key>a</key>\n\t<string>x</string>\n\t<key>b</key>\n\t<array>\n\t\t<integer>1"
       "</integer>\n\t\t<true />\n\t</array>\n\t<key>c</key>\n\t<dict>\n\t\t<key>d</key>\n\t\t"
       "<real>1.5</real>\n\t</dict>\n</dict>\n</plist>\n"},
      {xp_style_sections, "\n[\na=x,\nb=1true\n,\nc=[\nd=1.5\n]\n]\n"},
      {xp_style_form, "a=x&b=1&b=true&c=d=1.5"},
      {xp_style_rules, "\n\n\ta:x\n\tb:1true\n\t\n\tc:{\n\t\td:1.5\n\t}\n\n"},
  };
  xp_ref tree(small_tree());
  for (const auto& row : rows)
    EXPECT_EQ(body(tree.get(), row.style), row.text);
}

TEST(Writer, WritesListsOfRecords) {
  xp_ref list(xp_array_new(0));
  xp_dict* first = dict_of("a", xp_str_new("x"));
  put(first, "b", xp_num_new(2));
  add(list.get(), first);
  add(list.get(), dict_of("a", xp_str_new("y")));
  const char* text =
      "\n<list><item>\n\t\t<field label=\"a\" type=\"text\">x</field>\n\t\t<field label=\"b\" "
      "type=\"long\">2</field>\n\t</item><item>\n\t\t<field label=\"a\" type=\"text\">y</field>"
      "\n\t</item>\n</list>\n";
  EXPECT_EQ(body(list.get(), xp_style_list), text);
  EXPECT_EQ(body(list.get(), xp_style_rpc), text);
  // A ring list is written like an array.
  xp_ref ring(xp_list_new());
  for (int32_t i = 0; i < 2; i++)
    EXPECT_GT(xp_list_append(ring.get(), list->cells[i]), 0);
  EXPECT_EQ(body(ring.get(), xp_style_list), text);
}

TEST(Writer, ProtectsTextsThatNeedIt) {
  struct {
    const xp_style& style;
    const char* value;
    const char* text;
  } const rows[] = {
      {xp_style_plist, "x<y&", "\n<string><![CDATA[x<y&]]></string>\n</plist>\n"},
      {xp_style_plist, "\"x\"", "\n<string>\"x\"</string>\n</plist>\n"},
      {xp_style_json, "a\"b\\\t\r\n", "\"a\\\"b\\\\\\t\\n\"\n"},
      {xp_style_json, "a\tb", "\"a\tb\"\n"},  // a tab alone calls for nothing
      {xp_style_form, "a b/c~", "a%20b%2Fc~"},
      {xp_style_form, "a.b", "a.b"},
      {xp_style_rules, "a;b", "\na;b\n"},
  };
  for (const auto& row : rows) {
    xp_ref value(xp_str_new(row.value));
    EXPECT_EQ(body(value.get(), row.style), row.text) << row.value;
  }
}

TEST(Writer, FindsTheByteToProtectWhereverItStands) {
  struct {
    const xp_style& style;
    char byte;
    const char* text;  // what it is written as
  } const rows[] = {{xp_style_json, '"', "\\\""},
                    {xp_style_json, '\n', "\\n"},
                    {xp_style_json, '\\', "\\\\"},
                    {xp_style_form, ' ', "%20"},
                    {xp_style_form, '|', "%7C"}};
  for (const auto& row : rows)
    for (size_t length = 1; length <= 150; length++)
      for (size_t at = 0; at < length; at++) {
        std::string text(length, 'x');
        text[at] = row.byte;
        std::string expected(length, 'x');
        expected.replace(at, 1, row.text);
        if (row.style.kind == XP_STYLE_JSON) expected = "\"" + expected + "\"\n";
        xp_ref value(xp_str_new(text.c_str()));
        ASSERT_EQ(body(value.get(), row.style), expected) << length << " " << at;
      }
}

TEST(Writer, WritesEachKindOfValue) {
  struct {
    xp_object* value;
    const char* plist;
    const char* json;
    const char* list;
  } const rows[] = {
      {xp_bool_new(0), "<false />", "false", "type=\"false\" />"},
      {xp_num_new(-3), "<integer>-3</integer>", "-3", "type=\"long\">-3</field>"},
      {xp_date_new(1325473445), "<string>2012-01-02T03:04:05.000Z</string>",
       "\"2012-01-02T03:04:05.000Z\"", "type=\"date\">2012-01-02T03:04:05.000Z</field>"},
      {xp_url_new("http://h/p", -1), "<string>http://h/p</string>", "\"http://h/p\"",
       "type=\"link\">http://h/p</field>"},
      {xp_data_new("any+old", 7), "<data>YW55K29sZA==</data>", "\"YW55K29sZA==\"",
       "type=\"data\">YW55K29sZA==</field>"},
      {xp_array_new(0), "<array>\n</array>", "[]", "<list>\n</list>"},
      {xp_dict_new(0), "<dict>\n</dict>", "{}", "<item>\n</item>"},
      // A kind that no style knows renders itself; one without a text is an empty string.
      {xp_plst_new(xp_ref(xp_str_new("in")).get(), &xp_style_rules), "<string>\nin\n</string>",
       "\"\\nin\\n\"", "type=\"text\">\nin\n</field>"},
      {xp_crit_new(), "<string></string>", "\"\"", "type=\"text\"></field>"},
  };
  for (const auto& row : rows) {
    xp_ref value(row.value);
    EXPECT_EQ(body(value.get(), xp_style_plist), "\n" + std::string(row.plist) + "\n</plist>\n");
    EXPECT_EQ(body(value.get(), xp_style_json), std::string(row.json) + "\n");
    EXPECT_EQ(body(value.get(), xp_style_list), "\n" + std::string(row.list) + "\n");
  }
}

TEST(Writer, LeavesAbsentValuesOutWhereAStyleHasNoWordForThem) {
  xp_ref dict(dict_of("k", nullptr));
  put(dict.get(), "m", xp_str_new("v"));
  EXPECT_EQ(body(dict.get(), xp_style_json), "{\"k\":null,\"m\":\"v\"}\n");
  EXPECT_EQ(body(dict.get(), xp_style_plist),
            "\n<dict>\n\t<key>m</key>\n\t<string>v</string>\n</dict>\n</plist>\n");
  xp_ref array(xp_array_new(0));
  EXPECT_EQ(xp_array_set(array.get(), nullptr, 1), 1);
  EXPECT_EQ(body(array.get(), xp_style_json), "[null,null]\n");
  EXPECT_EQ(body(array.get(), xp_style_plist), "\n<array>\n</array>\n</plist>\n");
}

TEST(Writer, StreamsAreAbsentValues) {
  xp_ref stream(xp_object_new<xp_object>(xp_tag("test")));
  stream->control = [](xp_object*, int32_t selector, uint32_t argument, void*) -> xp_word {
    return selector == XP_CTL_SUPPORTS && argument == xp_tag("strm");
  };
  xp_ref dict(dict_of("k", xp_retain(stream.get())));
  EXPECT_EQ(body(dict.get(), xp_style_json), "{\"k\":null}\n");
}

TEST(Writer, RepeatsKeysOfFormPairs) {
  xp_ref dict(dict_of("m", xp_str_new("a b")));
  xp_array* array = xp_array_new(0);
  add(array, xp_num_new(1));
  add(array, xp_num_new(2));
  put(dict.get(), "k", array);
  EXPECT_EQ(body(dict.get(), xp_style_form), "k=1&k=2&m=a%20b");
}

TEST(Writer, IndentsNoFurtherThan64) {
  xp_ref tree(xp_dict_new(0));
  for (int depth = 0; depth < 70; depth++) {
    xp_ref outer(xp_dict_new(0));
    put(outer.get(), "k", tree.take());
    tree = std::move(outer);
  }
  const std::string text = body(tree.get(), xp_style_plist);
  EXPECT_NE(text.find("\n" + std::string(64, '\t') + "<"), std::string::npos);
  EXPECT_EQ(text.find(std::string(65, '\t')), std::string::npos);
}

TEST(Writer, CutsWhatDoesntFitAndNeverWritesBeyond) {
  xp_ref tree(small_tree());
  put(tree.get(), "t", xp_str_new("\xC3\xA9\xC3\xA9 <"));
  for (const xp_style* style : {&xp_style_plist, &xp_style_json, &xp_style_form}) {
    xp_ref document(xp_plst_new(tree.get(), style));
    const std::string whole = written(tree.get(), *style);
    for (uint32_t size = 0; size <= whole.size(); size++) {
      std::vector<char> buffer(size + 8, '?');
      const int32_t length = document->render(document.get(), buffer.data(), size);
      ASSERT_LE(length, static_cast<int32_t>(size));
      ASSERT_EQ(std::string(buffer.data() + size, 8), "????????");
      // The header may fill the buffer; behind it, cut pieces leave a beginning of the whole.
      if (size <= strlen(style->header)) {
        ASSERT_EQ(std::string(buffer.data(), static_cast<size_t>(length)), whole.substr(0, size));
      }
    }
  }
  char one[2] = {'?', '?'};
  xp_ref text(xp_str_new("abc"));
  EXPECT_EQ(xp_doc_write(text.get(), &xp_style_rules, XP_WRITE_ITEM, 1, one, 1), 0);
  EXPECT_EQ(one[0], 0);
  EXPECT_EQ(one[1], '?');
  EXPECT_EQ(xp_doc_write(text.get(), &xp_style_rules, XP_WRITE_ITEM, 1, one, 0), 0);
}

TEST(Writer, WhatIsWrittenReadsBack) {
  xp_ref tree(small_tree());
  for (const xp_style* style : {&xp_style_plist, &xp_style_json}) {
    const std::string text = written(tree.get(), *style);
    xp_ref document(xp_plst_parse(text.c_str()));
    ASSERT_TRUE(document) << text;
    EXPECT_EQ(document->style, style);
    EXPECT_EQ(tree_text(document->root), tree_text(tree.get()));
    EXPECT_EQ(written(document->root, *style), text);
  }
}

TEST(Writer, EveryAllocationMayFail) {
  xp_ref tree(small_tree());
  for (int i = 0; i < 20; i++)  // a walk of more than 16 keys asks for memory
    put(tree.get(), ("key" + std::to_string(i)).c_str(), xp_num_new(3));
  put(tree.get(), "other", xp_crit_new());
  put(tree.get(), "escaped", xp_str_new("\"\xC3\xA9\""));
  sweep_allocations([&](heap_watch& watch) {
    char buffer[4096];
    for (const xp_style* style : {&xp_style_json, &xp_style_form}) {
      const int32_t length =
          xp_doc_write(tree.get(), style, 0, 0, buffer, static_cast<int32_t>(sizeof(buffer)));
      if (!watch.failed()) {
        EXPECT_GT(length, 150);
      }
    }
  });
}
