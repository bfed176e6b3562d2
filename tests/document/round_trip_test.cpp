// Random trees, written and read back: what a style can carry comes back as it was.
#include <gtest/gtest.h>

#include <random>

#include "document/xp_writer.h"
#include "tests/document/trees.h"

namespace {

// What may stand in a tree that a style carries whole.
struct carries {
  const xp_style* style;
  const char* letters;  // of strings
  bool negative;        // numbers below 0
  bool data;
  bool dates;
  bool flat;   // dictionaries hold scalars alone
  bool plain;  // strings alone
};

struct forest {
  std::mt19937 random;
  const carries& may;

  int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

  xp_object* string() {
    std::string text;
    const size_t letters = strlen(may.letters);
    for (int length = below(12); length > 0; length--)
      text += may.letters[random() % letters];
    // Text of blanks alone has no meaning in list XML, and "]]>" ends a section too early.
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) text.clear();
    while (text.find("]]>") != std::string::npos)
      text.erase(text.find("]]>"), 3);
    return xp_str_new_n(text.data(), static_cast<int32_t>(text.size()));
  }

  xp_object* number() {
    int64_t value = static_cast<int64_t>(random() >> below(32));
    if (may.negative && below(2)) value = -value;
    return xp_num_new(value);
  }

  xp_object* real() {
    const std::string text = std::to_string(below(2000)) + "." + std::to_string(below(900) + 100);
    return xp_num_parse(text.data(), static_cast<int32_t>(text.size()));
  }

  xp_object* bytes() {
    uint8_t block[20];
    for (uint8_t& byte : block)
      byte = static_cast<uint8_t>(random());
    return xp_data_new(block, static_cast<uint32_t>(below(sizeof(block) + 1)));
  }

  xp_object* scalar() {
    if (may.plain) return string();
    switch (below(7)) {
      case 0:
        return number();
      case 1:
        return real();
      case 2:
        return xp_bool_new(below(2));
      case 3:
        return may.data ? bytes() : string();
      case 4:
        return may.dates ? xp_date_new(1 + (static_cast<uint32_t>(random()) >> 1)) : string();
      default:
        return string();
    }
  }

  // Keys differ by more than their case.
  xp_object* dict(int depth) {
    xp_dict* made = xp_dict_new(XP_DICT_NOCASE);
    for (int i = below(6); i > 0; i--) {
      const std::string key = "Key " + std::to_string(i) + (below(2) ? "." : "_");
      xp_ref<> member(may.flat ? scalar() : value(depth - 1));
      EXPECT_EQ(xp_dict_set(made, key.data(), static_cast<int32_t>(key.size()), member.get()), 0);
    }
    return made;
  }

  xp_object* array(int depth) {
    xp_array* made = xp_array_new(0);
    for (int i = below(5); i > 0; i--) {
      xp_ref<> member(may.flat ? dict(0) : value(depth - 1));
      EXPECT_GE(xp_array_append(made, member.get()), 0);
    }
    return made;
  }

  xp_object* value(int depth) {
    if (depth <= 0 || below(3)) return scalar();
    return below(2) ? dict(depth) : array(depth);
  }
};

std::string written(xp_object* root, const xp_style* style) {
  xp_ref<xp_plst> document(xp_plst_new(root, style));
  xp_ref<xp_str> text(xp_str_from_object(document.get()));
  return tree_text_of_str(text.get());
}

void expect_same(xp_object* root, const xp_style* style) {
  const std::string text = written(root, style);
  xp_ref<xp_plst> document(xp_plst_parse(text.c_str()));
  ASSERT_TRUE(document) << text;
  EXPECT_EQ(document->style, style) << text;
  EXPECT_EQ(tree_text(document->root), tree_text(root)) << text;
  EXPECT_EQ(written(document->root, style), text);
}

constexpr char any_letters[] = "ab Z09.<>&]\"'\\/{}=:;%+\t\n\xC3\xA9";
constexpr char one_line_letters[] = "ab Z09.<>&]\"'\\/{}=:;%+\t\xC3\xA9";

}  // namespace

TEST(RoundTrip, PropertyListsCarryTreesOfAnyShape) {
  constexpr carries may = {&xp_style_plist, any_letters, false, true, false, false, false};
  forest trees = {std::mt19937(1), may};
  for (int i = 0; i < 300; i++) {
    xp_ref<> root(i % 3 ? trees.dict(5) : trees.value(5));
    expect_same(root.get(), may.style);
  }
}

TEST(RoundTrip, JsonCarriesObjectsOfAnyShape) {
  constexpr carries may = {&xp_style_json, any_letters, true, false, false, false, false};
  forest trees = {std::mt19937(2), may};
  for (int i = 0; i < 300; i++) {
    xp_ref<> root(trees.dict(5));
    expect_same(root.get(), may.style);
  }
}

TEST(RoundTrip, ListXmlCarriesListsOfFlatItems) {
  constexpr carries may = {&xp_style_list, any_letters, false, true, true, true, false};
  forest trees = {std::mt19937(3), may};
  for (int i = 0; i < 300; i++) {
    xp_ref<> root(i % 2 ? trees.array(1) : trees.dict(1));
    expect_same(root.get(), may.style);
  }
}

TEST(RoundTrip, FormPairsCarryFlatTexts) {
  // A line feed gets no percent sign, and then the text is no form pairs.
  constexpr carries may = {&xp_style_form, one_line_letters, false, false, false, true, true};
  forest trees = {std::mt19937(4), may};
  for (int i = 0; i < 300; i++) {
    xp_ref<> root(trees.dict(1));
    // Form pairs of nothing are no text at all.
    if (xp_dict_count(xp_as_dict(root.get())) != 0) expect_same(root.get(), may.style);
  }
}

TEST(RoundTrip, WhatAStyleCanNotCarryComesBackChanged) {
  struct {
    const char* text;  // as any document
    const xp_style* style;
    const char* tree;  // what comes back
  } const rows[] = {
      {"<item><field label='a' type='date'>2012-01-02T03:04:05Z</field></item>", &xp_style_plist,
       R"({"a": "2012-01-02T03:04:05.000Z"})"},
      {"<item><link rel='a' href='b:c'/></item>", &xp_style_plist, R"({"a": "b:c"})"},
      {"<item><link rel='a' href='b:c'/></item>", &xp_style_list, R"({"a": "b:c"})"},
      {"{\"a\":-1,\"b\":[null,2],\"c\":null}", &xp_style_plist, R"({"a": 4294967295, "b": [2]})"},
      {"{\"a\":\"x]]>y\"}", &xp_style_plist, R"({"a": "y]]>"})"},
      {"{\"a\":[\"x\"],\"b\":1,\"c\":true}", &xp_style_form,
       R"({"a": "x", "b": "1", "c": "true"})"},
      {"<plist><dict><key>a</key><data>QUJD</data></dict></plist>", &xp_style_json,
       R"({"a": "QUJD"})"},
      {"<plist><array><integer>1</integer></array></plist>", &xp_style_json, ""},
      {"<plist><array/></plist>", &xp_style_json, ""},
  };
  for (const auto& row : rows) {
    xp_ref<xp_plst> document(xp_plst_parse(row.text));
    ASSERT_TRUE(document) << row.text;
    const std::string text = written(document->root, row.style);
    EXPECT_EQ(parsed(text.c_str()), row.tree) << text;
  }
}
