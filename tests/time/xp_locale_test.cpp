#include "time/xp_locale.h"

#include <map>
#include <string>

#include "tests/time/fake_clock.h"

namespace {

// A locale whose texts a test sets; what isn't set has no value.
struct fake_locale : fake_clock {
  fake_locale() {
    texts().clear();
    reads() = 0;
    locale.item_wide = [](xp_locale_item item, int32_t index, char16_t* out, int32_t size) {
      reads()++;
      const auto row = texts().find({item, index});
      return row == texts().end() ? 0 : put(row->second, out, size);
    };
    locale.item_narrow = [](xp_locale_item item, int32_t index, char* out, int32_t size) {
      reads()++;
      const auto row = texts().find({item, index});
      return row == texts().end()
                 ? 0
                 : put(std::string(row->second.begin(), row->second.end()), out, size);
    };
    locale.date = [](const xp_time_fields* fields, bool long_form, char16_t* out, int32_t size) {
      return put((long_form ? u"long " : u"short ") + digits(fields->year), out, size);
    };
    locale.time = [](const xp_time_fields* fields, bool seconds, char16_t* out, int32_t size) {
      return put((seconds ? u"full " : u"brief ") + digits(fields->hour), out, size);
    };
  }

  void set(xp_locale_item item, int32_t index, std::u16string value) {
    texts()[{item, index}] = std::move(value);
  }
  static int& reads() {
    static int count;
    return count;
  }
  // The snapshot as it is when the next reload is due.
  const xp_locale* reload() {
    // Later than any test before, so that the ten minutes have passed.
    static uint16_t year = 2012;
    set_now(clock_reading(++year, 1, 1));
    while (xp_locale_get()->call_count % 8192 != 1) {
    }
    return xp_locale_get();
  }

 private:
  static std::map<std::pair<int32_t, int32_t>, std::u16string>& texts() {
    static std::map<std::pair<int32_t, int32_t>, std::u16string> map;
    return map;
  }
  static std::u16string digits(int number) {
    const std::string text = std::to_string(number);
    return {text.begin(), text.end()};
  }
  template <class Text, class Unit>
  static int32_t put(const Text& text, Unit* out, int32_t size) {
    const auto needed = static_cast<int32_t>(text.size()) + 1;
    if (!out) return needed;
    if (needed > size) return 0;
    memcpy(out, text.c_str(), static_cast<size_t>(needed) * sizeof(Unit));
    return needed;
  }
};

std::string grouping_of(const xp_locale* locale) {
  std::string out;
  for (int i = 0; i < 16; i++) {
    out += std::to_string(locale->grouping[i]) + " ";
    if (locale->grouping[i] == 0xFF) return out;
  }
  return out + "no end";
}

}  // namespace

TEST(Locale, WithoutAPlatformEverythingIsEnglish) {
  fake_locale fake;
  const xp_locale* locale = fake.reload();
  EXPECT_STREQ(locale->date_separator, "");
  EXPECT_STREQ(locale->time_separator, "");
  EXPECT_STREQ(locale->am, "AM");
  EXPECT_STREQ(locale->pm, "PM");
  EXPECT_STREQ(locale->month_names[0], "Jan");
  EXPECT_STREQ(locale->month_abbreviations[11], "Dec");
  EXPECT_STREQ(locale->day_names[0], "Sun");
  EXPECT_STREQ(locale->day_abbreviations[6], "Sat");
  EXPECT_STREQ(locale->positive_sign, "+");
  EXPECT_STREQ(locale->negative_sign, "-");
  EXPECT_STREQ(locale->decimal_point, ".");
  EXPECT_STREQ(locale->thousands_separator, ",");
  EXPECT_STREQ(locale->money_thousands_separator, ",");
  EXPECT_EQ(grouping_of(locale), "3 0 255 ");
  EXPECT_EQ(memcmp(locale->money_grouping, locale->grouping, 16), 0);
}

TEST(Locale, TakesWhatThePlatformTells) {
  fake_locale fake;
  fake.set(XP_LOCALE_DATE_SEPARATOR, 0, u".");
  fake.set(XP_LOCALE_TIME_SEPARATOR, 0, u":");
  fake.set(XP_LOCALE_AM, 0, u"   ");
  fake.set(XP_LOCALE_PM, 0, u"  in the afternoon  ");
  fake.set(XP_LOCALE_MONTH_NAME, 2, u"M\u00E4rz");
  fake.set(XP_LOCALE_MONTH_NAME, 3, std::u16string(62, u'x') + u'\u00E4');
  fake.set(XP_LOCALE_DAY_NAME, 6, u"Sonntag");
  fake.set(XP_LOCALE_DAY_NAME, 0, u"Montag");
  fake.set(XP_LOCALE_DAY_ABBREVIATION, 5, u"Sa");
  fake.set(XP_LOCALE_DECIMAL_POINT, 0, u",");
  fake.set(XP_LOCALE_THOUSANDS_SEPARATOR, 0, u"\u202F");
  fake.set(XP_LOCALE_GROUPING, 0, u"3;2;0");
  const xp_locale* locale = fake.reload();
  EXPECT_STREQ(locale->date_separator, ".");
  EXPECT_STREQ(locale->am, "AM") << "blanks are nothing";
  EXPECT_STREQ(locale->pm, "in the afternoo") << "15 bytes";
  EXPECT_STREQ(locale->month_names[2], "M\u00E4rz");
  EXPECT_EQ(locale->month_names[3], std::string(62, 'x')) << "a cut splits no character";
  EXPECT_STREQ(locale->day_names[0], "Sonntag");
  EXPECT_STREQ(locale->day_names[1], "Montag");
  EXPECT_STREQ(locale->day_abbreviations[6], "Sa");
  EXPECT_STREQ(locale->decimal_point, ",");
  EXPECT_STREQ(locale->money_thousands_separator, "\u202F");
  EXPECT_EQ(grouping_of(locale), "3 2 0 255 ");
}

TEST(Locale, GroupingHoldsFifteenSizesAtMost) {
  fake_locale fake;
  std::u16string text;
  for (int i = 0; i < 30; i++)
    text += u"4294967299;";
  fake.set(XP_LOCALE_GROUPING, 0, text.substr(0, 255));
  const xp_locale* locale = fake.reload();
  EXPECT_EQ(locale->grouping[14], 3) << "a number counts modulo 256";
  EXPECT_EQ(locale->grouping[15], 0xFF);
}

TEST(Locale, ReloadsOnceInTenMinutesAndInManyCalls) {
  fake_locale fake;
  fake.reload();
  const int first = fake_locale::reads();
  EXPECT_GT(first, 0);
  for (int i = 0; i < 20000; i++)
    xp_locale_get();
  EXPECT_EQ(fake_locale::reads(), first) << "no time has passed";
  fake.reload();
  EXPECT_EQ(fake_locale::reads(), 2 * first);
}

TEST(Locale, NamesFallBackWithoutMemory) {
  sweep_allocations([](heap_watch& watch) {
    fake_locale fake;
    fake.set(XP_LOCALE_MONTH_NAME, 0, u"Januar");
    const xp_locale* locale = fake.reload();
    EXPECT_STREQ(locale->month_abbreviations[0], "Jan");
    if (!watch.failed()) {
      EXPECT_STREQ(locale->month_names[0], "Januar");
    }
  });
}

TEST(Locale, FormatterKinds) {
  fake_locale fake;
  fake.set(XP_LOCALE_MONTH_NAME, 1, u"February");
  fake.set(XP_LOCALE_MONTH_ABBREVIATION, 1, u"Feb");
  fake.set(XP_LOCALE_DAY_NAME, 6, u"Sunday");
  fake.set(XP_LOCALE_DAY_ABBREVIATION, 6, u"Su");
  const xp_time_fields fields = {112, 2, 12, 9, 8, 7, 0};
  static constexpr struct {
    int32_t kind;
    const char* text;
  } rows[] = {{1, "February"},  {2, "Feb"},     {3, ""},       {4, "short 2012"},
              {5, "long 2012"}, {6, "brief 9"}, {7, "full 9"}, {8, "Sunday"},
              {9, "Su"},        {0, ""},        {10, ""},      {-1, ""}};
  xp_formatter formatter = {};
  for (const auto& row : rows) {
    formatter.kind = row.kind;
    char text[64] = "x";
    const auto length = static_cast<int32_t>(strlen(row.text));
    EXPECT_EQ(xp_locale_text(&formatter, &fields, text), length) << row.kind;
    EXPECT_STREQ(text, row.text) << row.kind;
    EXPECT_EQ(xp_locale_text(&formatter, &fields, nullptr), length ? length + 1 : 0) << row.kind;
  }
  EXPECT_EQ(xp_locale_text(nullptr, &fields, nullptr), 0);
  EXPECT_EQ(xp_locale_text(&formatter, nullptr, nullptr), 0);
}

TEST(Locale, FormatsForTheEngine) {
  fake_locale fake;
  static constexpr struct {
    uint16_t year;
    int32_t kind;
    const char* text;
  } rows[] = {{69, 3, "short 2069"}, {70, 4, "long 1970"},  {1812, 3, "short 3712"},
              {2012, 5, "brief 3"},  {2012, 6, "full 3"},   {2012, 2, ""},
              {2012, 7, ""},         {2012, INT32_MAX, ""}, {2012, INT32_MIN, ""}};
  for (const auto& row : rows) {
    const xp_time_fields fields = {row.year, 1, 1, 3, 0, 0, 0};
    char text[32] = "x";
    EXPECT_EQ(xp_time_format(&fields, row.kind, text, 32), static_cast<int32_t>(strlen(row.text)));
    EXPECT_STREQ(text, row.text);
  }
  const xp_time_fields fields = {2012, 1, 1, 3, 0, 0, 0};
  char text[8] = "x";
  EXPECT_EQ(xp_time_format(&fields, XP_TIME_SHORT_DATE, nullptr, 0), 11) << "with the NUL";
  EXPECT_EQ(xp_time_format(&fields, XP_TIME_SHORT_DATE, text, 8), 7);
  EXPECT_STREQ(text, "short 2");
  EXPECT_EQ(xp_time_format(&fields, XP_TIME_SHORT_DATE, text, 1), 0);
  EXPECT_STREQ(text, "");
  text[0] = 'x';
  EXPECT_EQ(xp_time_format(&fields, XP_TIME_SHORT_DATE, text, 0), 0);
  EXPECT_EQ(text[0], 'x') << "no room, nothing written";
}

TEST(Locale, LocalDateOfAMoment) {
  fake_locale fake;
  fake.set_zone(berlin);
  char text[32];
  EXPECT_EQ(xp_time_format_local(1325375999, text, 32), 10);
  EXPECT_STREQ(text, "short 2012") << "still 2011 in UTC";
}
