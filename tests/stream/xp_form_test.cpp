#include "stream/xp_form.h"

#include <string>

#include "document/xp_plst_builder.h"
#include "object/xp_ref.h"
#include "tests/support/fakes.h"

namespace {

// Owns what a run leaves behind.
struct run {
  explicit run(const char* text) : code(xp_form_read(text, &builder)) {}
  ~run() { xp_plst_builder_clear(&builder); }
  run(const run&) = delete;
  run& operator=(const run&) = delete;

  // The value of a key; of an array its texts, joined by "|".
  std::string value(const char* key) const {
    const xp_ref<> object(xp_dict_get(xp_as_dict(builder.result), key, -1));
    if (const xp_str* text = xp_as_str(object.get()))
      return std::string(text->text, static_cast<size_t>(text->length));
    xp_array* array = xp_as_array(object.get());
    if (!array) return "-";
    std::string all;
    for (int32_t i = 0; i < array->count; i++) {
      const xp_ref<> cell(xp_array_get(array, i));
      all += std::string(i ? "|" : "") + xp_str_text(xp_as_str(cell.get()));
    }
    return all;
  }

  xp_plst_builder builder = {};
  int32_t code;
};

struct pair_row {
  const char* reason;
  const char* text;
  const char* key;
  const char* value;  // "-" when the key is absent
};

constexpr pair_row pair_rows[] = {
    {"plain", "a=1&b=2", "b", "2"},
    {"keys ignore case", "Name=x", "nAME", "x"},
    {"decoded", "a=%41+b&c=%4", "a", "A b"},
    {"a cut escape stays", "a=%41+b&c=%4", "c", "%4"},
    {"no digits", "a=%4g%zz%", "a", "%4g%zz%"},
    {"an escape of an escape", "a=%2541", "a", "%41"},
    {"lower case digits", "a=%c3%A4", "a", "\xc3\xa4"},
    {"keys aren't decoded", "%41=1", "%41", "1"},
    {"an ampersand in front of the sign", "a&b=1", "a&b", "1"},
    {"the first sign divides", "a=b=c", "a", "b=c"},
    {"no value", "a=&b=1", "a", ""},
    {"blanks in front of a key", "  a=1&  b=2", "b", "2"},
    {"the rest has no sign", "a=1&b", "b", "-"},
    {"repeated", "a=1&b=x&a=2&A=3", "a", "1|2|3"},
    {"an empty key is no key", "=1&b=2", "b", "2"},
};

TEST(XpForm, ReadsPairsIntoADictionary) {
  for (const pair_row& row : pair_rows) {
    const std::string before = row.text;
    const run reading(row.text);
    EXPECT_EQ(reading.code, 0) << row.reason;
    EXPECT_EQ(reading.value(row.key), row.value) << row.reason;
    EXPECT_EQ(before, row.text) << row.reason;
  }
}

TEST(XpForm, MakesNothingOfNothing) {
  for (const char* text : {static_cast<const char*>(nullptr), "", "  ", "abc", "a&b&c"}) {
    const run reading(text);
    EXPECT_EQ(reading.code, 0);
    EXPECT_EQ(reading.builder.result, nullptr);
  }
}

TEST(XpForm, TakesAFloodOfOneKeyInLinearTime) {
  std::string text;
  for (int i = 0; i < 100000; i++)
    text += "k=1&";
  const run reading(text.c_str());
  const xp_ref<> values(xp_dict_get(xp_as_dict(reading.builder.result), "k", -1));
  EXPECT_EQ(xp_array_count(xp_as_array(values.get())), 100000);
}

TEST(XpForm, SurvivesEveryFailedAllocation) {
  sweep_allocations([](heap_watch& watch) {
    const run reading("a=%41&b=2&a=3&a=4");
    ASSERT_EQ(reading.code, watch.failed() ? -1 : 0);
    if (reading.code != 0) return;
    ASSERT_EQ(reading.value("a"), "A|3|4");
  });
}

}  // namespace
