#include "document/xp_translation.h"

#include <string>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

std::string read(const char* text) {
  xp_ref document(xp_plst_parse(text));
  return document ? tree_text(document->root) : "-";
}

}  // namespace

TEST(Translation, PairsTextsWithTranslations) {
  struct {
    const char* text;
    const char* tree;
  } const rows[] = {
      {"<dict><string>Yes</string><translation>Oui</translation></dict>", "{\"Yes\": \"Oui\"}"},
      {"<dict><string>a</string><translation/></dict>", "{\"a\": \"\"}"},
      {"<dict><string>a</string><translation></translation></dict>", "{\"a\": \"\"}"},
      {"<dict><string>a</string><translation>  </translation></dict>", "{\"a\": \"  \"}"},
      {"<dict>\n <string>a</string>\n <translation><![CDATA[<b>]]></translation>\n</dict>",
       "{\"a\": \"<b>\"}"},
      {"<dict/>", "{}"},
      {"<dict><string>a</string><translation>1</translation>"
       "<string>A</string><translation>2</translation></dict>",
       "{\"a\": \"2\"}"},
      // The key goes with the newest text.
      {"<dict><string>a</string><string>b</string><translation>1</translation></dict>",
       "{\"b\": \"1\"}"},
      {"<dict><string></string><translation>x</translation></dict>", "-"},
      {"<dict><translation>x</translation></dict>", "-"},
      {"<dict><dict/></dict>", "-"},
      {"<dict>text</dict>", "-"},
      {"<dict><key>a</key></dict>", "-"},
      {"<string>a</string>", "-"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(read(row.text), row.tree) << row.text;
}

TEST(Translation, LookupsFoldCaseAndTheStyleIsThatOfPropertyLists) {
  xp_ref document(xp_plst_parse("<dict><string>Yes</string><translation>Oui</translation></dict>"));
  EXPECT_EQ(document->style, &xp_style_plist);
  xp_ref found(xp_plst_lookup(document.get(), "/yes"));
  EXPECT_EQ(tree_text(found.get()), "\"Oui\"");
}

TEST(Translation, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    const std::string tree = read(
        "<dict><string>a</string><translation>b</translation>"
        "<string>c</string><translation/></dict>");
    EXPECT_EQ(tree, watch.failed() ? "-" : "{\"a\": \"b\", \"c\": \"\"}");
  });
}
