#include "document/xp_section.h"

#include <string>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

// What a read made, as "code tree".
std::string read_by(xp_plst_reader reader, const std::string& text) {
  xp_plst_builder builder = {};
  const int32_t code = reader(text.c_str(), &builder);
  const std::string made = builder.result ? tree_text(builder.result) : "-";
  xp_plst_builder_clear(&builder);
  return std::to_string(code) + " " + made;
}

struct row {
  const char* text;
  const char* made;
};

}  // namespace

TEST(Sections, ReadsLinesIntoSections) {
  const row rows[] = {
      {"", "0 -"},
      {"[s]\nhost=h:80\n", R"(0 {"s": {"host": "h:80"}})"},
      {"a:b=1\n[s]\nk=2\n", R"(0 {"a:b": "1", "s": {"k": "2"}})"},
      {"[s]\r\n k \t= v \r\n", R"(0 {"s": {"k": "v "}})"},  // blanks behind a value stay
      {"; one\n# two\nk=v", R"(0 {"k": "v"})"},
      {"[s]\nk=\nm=1:2\n", R"(0 {"s": {"m": "1:2"}})"},  // no value, no pair
      {"[s]\nk=;c\n", R"(0 {"s": {}})"},
      {"[s]\nk=a ; b:c\n", R"(0 {"s": {"k": "a ; b:c"}})"},
      {"k='a b' ; c", R"(0 {"k": "a b"})"},
      {"k=''\n", R"(0 {"k": ""})"},
      {"k='open\nm=1", R"(0 {"k": "open", "m": "1"})"},  // a quote ends with its line
      {"k=\"a'b\"#", R"(0 {"k": "a'b"})"},
      {"a\\=b=c\\", R"(0 {"a\=b": "c\"})"},  // a backslash protects, and stays
      {"k='a\\'b'", R"(0 {"k": "a\'b"})"},
      {"[a\\]b]\nk=v", R"(0 {"a\]b": {"k": "v"}})"},
      {"[s] # c\nk=1\n[t]\n[S]\nm=2", R"(0 {"s": {"k": "1", "m": "2"}, "t": {}})"},
      {"s=1\n[s]\nk=2", R"(0 {"s": {"k": "2"}})"},  // a section replaces a pair
      {"[s]\nk=1\nK=2", R"(0 {"s": {"k": "2"}})"},
      {"[s]\nk='a b' ; c:d\nx", R"(-5 {"s": {"k": "a b"}})"},
      {"[s] x\nk=a:b", R"(-4 {"s": {}})"},
      {"k='a'b", R"(-4 {"k": "a"})"},
      {"[s\nk=v", "-5 -"},
      {"k", "-5 -"},
      {"=v", "-5 -"},
      {"]", "-5 -"},
      {"'k'=v", "-5 -"},
      {"[]\nk=v", "0 {}"},  // a section without a name is nowhere
  };
  for (const row& each : rows)
    EXPECT_EQ(read_by(xp_sections_read, each.text), each.made) << each.text;
}

TEST(Rules, ReadsDeclarationsIntoRules) {
  const row rows[] = {
      {"", "0 -"},
      {"a { b: c; d: e }", R"(0 {"a": {"b": "c", "d": "e"}})"},
      {"a { b: c }\na { d: e }", R"(0 {"a": {"b": "c", "d": "e"}})"},
      {"h1, p > b{b:c d;}", R"(0 {"h1, p > b": {"b": "c d"}})"},
      {"/* x */ a { /* ; } */ b: c /* in the value */ }",
       R"(0 {"a": {"b": "c /* in the value */"}})"},
      {"a { b: x\\;y; c\\:d: z }", R"(0 {"a": {"b": "x\;y", "c\:d": "z"}})"},
      {"a { }", R"(0 {"a": {}})"},
      {"a {", R"(0 {"a": {}})"},
      {"/* unclosed", "0 -"},
      {"a {}", "-5 -"},
      {"a }", "-5 -"},
      {"a", "-5 -"},
      {"{ b: c }", "-5 -"},
      {"}", "-5 -"},
      {":", "-5 -"},
      {"a { b }", R"(-5 {"a": {}})"},
      {"a { b: }", R"(-5 {"a": {}})"},
      {"a { b: ; }", R"(-5 {"a": {}})"},
      {"a { b: c", R"(-5 {"a": {}})"},
      {"a { ; }", R"(-5 {"a": {}})"},
      {"a { b: c; } junk", R"(-5 {"a": {"b": "c"}})"},
  };
  for (const row& each : rows)
    EXPECT_EQ(read_by(xp_rules_read, each.text), each.made) << each.text;
}

TEST(Sections, KindIsToldByTheDocumentReader) {
  struct {
    const char* text;
    const xp_style* style;
  } const rows[] = {
      {"[s]\nk=c:\\x", &xp_style_sections},
      {"[s]\nk=v", nullptr},  // without a colon it isn't taken for section text
      {"a { b: c }", &xp_style_rules},
      {"/* x */ a { b: c }", &xp_style_rules},
      {"/* x: */ a { b: c }", nullptr},
  };
  for (const auto& each : rows) {
    xp_ref document(xp_plst_parse(each.text));
    EXPECT_EQ(document ? document->style : nullptr, each.style) << each.text;
  }
}

TEST(Sections, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    const std::string made = read_by(xp_sections_read, "a=1\n[s]\nk='v'\n[t]\n");
    if (!watch.failed()) {
      EXPECT_EQ(made, R"(0 {"a": "1", "s": {"k": "v"}, "t": {}})");
    }
  });
  sweep_allocations([](heap_watch& watch) {
    const std::string made = read_by(xp_rules_read, "a { b: c } d { e: f }");
    if (!watch.failed()) {
      EXPECT_EQ(made, R"(0 {"a": {"b": "c"}, "d": {"e": "f"}})");
    }
  });
}
