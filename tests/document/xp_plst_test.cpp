#include "document/xp_plst.h"

#include <gtest/gtest.h>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

TEST(Plst, ANullTextIsAnEmptyDictionary) {
  xp_ref<xp_plst> document(xp_plst_parse(nullptr));
  ASSERT_TRUE(document);
  EXPECT_EQ(tree_text(document->root), "{}");
  EXPECT_EQ(document->style, &xp_style_plist);
}

TEST(Plst, TheStyleIsThatOfTheKind) {
  struct {
    const char* text;
    const xp_style* style;  // null: no document
  } const rows[] = {
      {"<plist><dict/></plist>", &xp_style_plist},
      {"<methodCall/>", &xp_style_rpc},
      {"<e:Envelope/>", &xp_style_rpc},
      {"<list/>", &xp_style_list},
      {"", nullptr},
      {" \t\r\n", nullptr},
      {"plain words", nullptr},
      {"<other/>", nullptr},
      {"\xEF\xBB\xBF<list/>", nullptr},
      {"<\0p\0l\0i\0s\0t\0>", nullptr},  // UTF-16 ends at its first zero byte
      {"[1,2]", nullptr},                // no quote and no brace: not taken for JSON
      {"[]", nullptr},
      {"\"alone\"", nullptr},
      {"[s]\nk=v", nullptr},  // no colon: not taken for section text
      {"a=1\n", nullptr},     // more than a line: not taken for form pairs
      {"a:b { c: d }", nullptr},
  };
  for (const auto& row : rows) {
    xp_ref<xp_plst> document(xp_plst_parse(row.text));
    EXPECT_EQ(document ? document->style : nullptr, row.style) << row.text;
  }
}

TEST(Plst, LookupWalksKeysAndIndexes) {
  xp_ref<xp_plst> document(xp_plst_parse(
      "<plist><dict><key>a</key><array><string>x</string><string>y</string></array>"
      "<key>d</key><dict><key>@k</key><true/></dict><key>s</key><string>t</string></dict>"
      "</plist>"));
  ASSERT_TRUE(document);
  const std::string root = tree_text(document->root);
  struct {
    const char* path;
    std::string tree;  // "null": nothing there
  } const rows[] = {
      {"/@", root},
      {"/", root},
      {"/@/@", "null"},
      {"/#", "null"},
      {"", "null"},
      {"a", "null"},
      {"/a", R"(["x", "y"])"},
      {"/A", R"(["x", "y"])"},
      {"/a/", R"(["x", "y"])"},
      {"/a/#", R"(["x", "y"])"},
      {"/a/#/", "null"},
      {"/a/#1", R"("y")"},
      {"/@a/#0", R"("x")"},
      {"/a/#+1", R"("y")"},
      {"/a/#0x1", R"("y")"},
      {"/a/#1z", R"("y")"},
      {"/a/#z", R"("x")"},
      {"/a/#5", "null"},
      {"/a/#-1", "null"},
      {"/a/#1/", "null"},
      {"/a//#1", "null"},
      {"/a/b", "null"},
      {"/a/@", "null"},
      {"/a/#0/x", "null"},
      {"/b", "null"},
      {"/b/c", "null"},
      {"/d", R"({"@k": true})"},
      {"/d/@@k", "true"},
      {"/d/@k", "null"},
      {"/d/@", R"({"@k": true})"},
      {"/s", R"("t")"},
      {"/s/", "null"},
  };
  for (const auto& row : rows) {
    xp_ref<> found(xp_plst_lookup(document.get(), row.path));
    EXPECT_EQ(tree_text(found.get()), row.tree) << row.path;
  }
  EXPECT_EQ(xp_plst_lookup(nullptr, "/@"), nullptr);
  EXPECT_EQ(xp_plst_lookup(document.get(), nullptr), nullptr);
}

TEST(Plst, TheRootOfAListIsFoundByItsOwnStepOnly) {
  xp_ref<xp_plst> document(xp_plst_parse("<plist><array><true/></array></plist>"));
  xp_ref<> root(xp_plst_lookup(document.get(), "/@"));
  EXPECT_FALSE(root);
  root.reset(xp_plst_lookup(document.get(), "/#"));
  EXPECT_EQ(root.get(), document->root);
}
