#include "document/xp_json.h"

#include <string>

#include "document/xp_plst_builder.h"
#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

// What a read made, as "code tree".
std::string read(const std::string& text) {
  xp_plst_builder builder = {};
  const int32_t code = xp_json_read(text.c_str(), &builder);
  const std::string made = builder.result ? tree_text(builder.result) : "-";
  xp_plst_builder_clear(&builder);
  return std::to_string(code) + " " + made;
}

std::string repeated(const char* piece, int count) {
  std::string text;
  for (int i = 0; i < count; i++)
    text += piece;
  return text;
}

}  // namespace

TEST(Json, ReadsItsGrammar) {
  struct {
    const char* text;
    const char* made;
  } const rows[] = {
      {"", "0 -"},
      {"{}", "0 {}"},
      {"[\"a\"]", "0 [\"a\"]"},
      {" {\"b\" : [1, -2.50, []] ,\n\"a\":{\"c\":null}}",
       "0 {\"a\": {\"c\": null}, \"b\": [1, -2.50, []]}"},
      {"[\"x\", TRUE, False, NULL]", "0 [\"x\", true, false, null]"},
      // Commas are spaces.
      {"{\"a\":1,}", "0 {\"a\": 1}"},
      {"{\"a\":1 \"b\":2}", "0 {\"a\": 1, \"b\": 2}"},
      {"[1,,2]", "0 [1, 2]"},
      // Escapes.
      {R"(["a\"b\\", "\u0041\x41\101\/", "\\"])", R"(0 ["a"b\", "u0041AA/", "\"])"},
      {R"({"a\"b":1})", R"(0 {"a\"b": 1})"},
      // No exponents; a number token takes all that may stand in one.
      {"[1e5,1-2]", "0 [1, 1]"},
      {"\xEF\xBB\xBF[1]", "0 [1]"},
      // A later value of a key counts; keys fold case.
      {"{\"Key\":1,\"kEY\":2}", "0 {\"Key\": 2}"},
      // What stands behind the root doesn't undo it.
      {"{\"a\":1}x", "-5 {\"a\": 1}"},
      {"{\"a\":1}{\"b\":2}", "-1 {\"a\": 1}"},
      {"[1]]", "-2 [1]"},
      // What goes wrong inside the root does.
      {"{\"a\":1", "-3 -"},
      {"[\"a", "-3 -"},
      {"[\"a\\", "-3 -"},
      {"{\"a\"}", "-5 -"},
      {"{\"a\"", "-5 -"},
      {"{1:2}", "-5 -"},
      {"{\"a\":,}", "-5 -"},
      {"{\"a\":]", "-5 -"},
      {"[1}", "-5 -"},
      {"{\"\":1}", "-1 -"},
      {"{{}}", "-1 -"},
      {"[nul]", "-4 -"},
      {"[tru", "-4 -"},
      {"[:]", "-4 -"},
      {"1", "-5 -"},
      {"\"a\"", "-5 -"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(read(row.text), row.made) << row.text;
}

TEST(Json, DepthIsBoundedByTheRecords) {
  EXPECT_EQ(read(repeated("[", 32) + repeated("]", 32)),
            "0 " + repeated("[", 32) + repeated("]", 32));
  EXPECT_EQ(read(repeated("[", 33)), "-1 -");
  EXPECT_EQ(read(repeated("[", 31) + "1" + repeated("]", 31)).substr(0, 3), "0 [");
  EXPECT_EQ(read(repeated("[", 32) + "1"), "-1 -");
  EXPECT_EQ(read(repeated("{\"a\":", 15) + "{}" + repeated("}", 15)).substr(0, 3), "0 {");
  EXPECT_EQ(read(repeated("{\"a\":", 16) + "1"), "-1 -");
  // Records come back: what is closed doesn't count.
  EXPECT_EQ(read("[" + repeated("{\"a\":[]}", 1000) + "]").substr(0, 3), "0 [");
}

TEST(Json, LongStringsEndAtTheirQuote) {
  for (size_t length = 0; length < 70; length++) {
    const std::string body(length, 'x');
    EXPECT_EQ(read("[\"" + body + "\"]"), "0 [\"" + body + "\"]");
    EXPECT_EQ(read("[\"" + body + "\\\"\"]"), "0 [\"" + body + "\"\"]");
    EXPECT_EQ(read("[\"" + body), "-3 -");
  }
}

TEST(Json, HostileTextsTakeLinearTime) {
  // A million of each: the test's time limit is the assertion's second half.
  const int count = 1000000;
  EXPECT_EQ(read("[" + repeated("\"\\\\\",", count) + "]").substr(0, 3), "0 [");
  EXPECT_EQ(read("[" + repeated("-", count) + "]"), "0 [0]");
  EXPECT_EQ(read("[\"" + repeated("\\\"", count)), "-3 -");
  EXPECT_EQ(read("[" + repeated("[],", count) + "]").substr(0, 3), "0 [");
}

TEST(Json, IsFoundByTheDocumentReader) {
  struct {
    const char* text;
    const char* tree;
  } const rows[] = {
      {"  {\"a\":1}", "{\"a\": 1}"},
      {"[{\"a\":1}]", "[{\"a\": 1}]"},
      {"[1,2]", nullptr},  // no quote or brace tells that it is JSON
      {"\"a\"", nullptr},
      {"a:b { c: d }", nullptr},
  };
  for (const auto& row : rows) {
    xp_ref document(xp_plst_parse(row.text));
    EXPECT_EQ(static_cast<bool>(document), row.tree != nullptr) << row.text;
    if (!document) continue;
    EXPECT_EQ(tree_text(document->root), row.tree);
    EXPECT_EQ(document->style, &xp_style_json);
  }
}

TEST(Json, EveryAllocationMayFail) {
  xp_ref one(xp_num_new(1));
  xp_ref yes(xp_bool_new(1));
  sweep_allocations([](heap_watch& watch) {
    const std::string made = read(R"({"a":["x\n",1.5,true,null,{"bc":{}}],"d":"y"})");
    if (watch.failed()) return;
    EXPECT_EQ(made, "0 {\"a\": [\"x\n\", 1.5, true, null, {\"bc\": {}}], \"d\": \"y\"}");
  });
}
