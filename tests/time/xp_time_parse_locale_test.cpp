#include <map>
#include <string>

#include "tests/time/fake_clock.h"
#include "time/xp_time_parse.h"

namespace {

// A locale by values. The caches are read anew at every 10000th call, so that many calls meet one
// read.
struct dated_locale : fake_clock {
  using values = std::map<xp_locale_item, std::string>;

  explicit dated_locale(values texts, const char* december = "Dec") {
    state() = {std::move(texts), december, 0};
    locale.item_narrow = [](xp_locale_item item, int32_t index, char* out, int32_t size) {
      state().reads++;
      if (item == XP_LOCALE_MONTH_ABBREVIATION && index == 11)
        return put(state().december, out, size);
      const auto row = state().texts.find(item);
      return row == state().texts.end() ? 0 : put(row->second, out, size);
    };
    set_now(clock_reading(2012, 6, 15, 12));
    refresh();
  }

  static void refresh() {
    int32_t month = 0;
    for (int i = 0; i < 10000; i++) {
      xp_time_locale(nullptr, nullptr, nullptr, nullptr, nullptr);
      xp_time_month_name("Dec", &month);
    }
  }
  static int reads() { return state().reads; }

 private:
  struct locale_state {
    values texts;
    std::string december;
    int reads;
  };
  static locale_state& state() {
    static locale_state the_state;
    return the_state;
  }
  static int32_t put(const std::string& text, char* out, int32_t size) {
    const auto needed = static_cast<int32_t>(text.size()) + 1;
    if (needed > size) return 0;
    memcpy(out, text.c_str(), text.size() + 1);
    return needed;
  }
};

const dated_locale::values american = {{XP_LOCALE_DATE_SEPARATOR, "/"},
                                       {XP_LOCALE_TIME_SEPARATOR, ":"},
                                       {XP_LOCALE_AM, "AM"},
                                       {XP_LOCALE_PM, "PM"},
                                       {XP_LOCALE_DATE_ORDER, "0"}};
const dated_locale::values german = {{XP_LOCALE_DATE_SEPARATOR, "."},
                                     {XP_LOCALE_TIME_SEPARATOR, "h"},
                                     {XP_LOCALE_AM, " vorm. "},
                                     {XP_LOCALE_PM, "nachm."},
                                     {XP_LOCALE_DATE_ORDER, "1"}};

// The local reading that the text stands for, "" when it can't be read.
std::string read(const char* text) {
  const xp_time_t seconds = xp_time_parse_any(text, -1);
  if (seconds == 0) return "";
  xp_time_fields f = {};
  xp_time_to_fields(seconds, &f);
  char out[64];
  snprintf(out, sizeof(out), "%04d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour,
           f.minute, f.second);
  return out;
}

struct row {
  const char* text;
  const char* reading;
};

}  // namespace

TEST(TimeParseLocale, MonthFirst) {
  dated_locale fake(american);
  fake.set_zone({}, XP_ZONE_UNKNOWN);
  static constexpr row rows[] = {
      {"1/2/2012 3:04 PM", "2012-01-02 15:04:00"},
      {"1/2/2012 3:04:05 pm", "2012-01-02 15:04:05"},
      {"1/2/2012 PM 3:04", "2012-01-02 15:04:00"},
      {"1/2/2012 3:04 PM junk", "2012-01-02 15:04:00"},
      {"1/2/2012 12:04 PM", "2012-01-02 12:04:00"},
      {"1/2/2012 13:04 PM", "2012-01-02 13:04:00"},
      {"1/2/2012 3:04:60", "2012-01-02 03:04:59"},
      {"12:30 AM", "2012-06-15 00:30:00"},
      {":", "2012-06-15 00:00:00"},
      {"  5:06:07", "2012-06-15 05:06:07"},
      {"1/2/2012", "2012-01-02 00:00:00"},
      {"1/2/12", "2012-01-02 00:00:00"},
      {"3/4", "2012-03-04 00:00:00"},
      {"1/2/2012 5", "2012-01-02 00:00:00"},
      {"1/2/2012 5 PM", "2012-01-02 00:00:00"},
      {"5 PM", "2012-06-15 00:00:00"},
      {"2/31/2011 10:00", "2011-03-03 10:00:00"},
      {"Jan/2/2012", "2012-01-02 00:00:00"},
      {"jan/2/2012", "2012-01-02 00:00:00"},
      {"DECEMBER/2/2012", ""},
      {"dec/2/2012", "2012-12-02 00:00:00"},
      {"1/2/2012/7", "2012-01-02 00:00:00"},
      {"65537/2/2012", "2012-01-02 00:00:00"},
      // Not valid.
      {"hello", ""},
      {"2012 ", ""},
      {"13/1/2012", ""},
      {"0/1/2012", ""},
      {"1/32/2012", ""},
      {"1/2/2012 24:00", ""},
      {"1/2/2012 3:60", ""},
      {"1/2/2012 3:04:61", ""},
      {"1/2:30", ""},
      {"1/2/1200 3:04", ""},
      {"1/2/2112", ""},
      {"P:", ""},
  };
  for (const row& r : rows)
    EXPECT_EQ(read(r.text), r.reading) << '"' << r.text << '"';
}

TEST(TimeParseLocale, DayFirst) {
  dated_locale fake(german, "Dez");
  fake.set_zone({}, XP_ZONE_UNKNOWN);
  static constexpr row rows[] = {
      {"2.1.2012", "2012-01-02 00:00:00"},
      {"2/1/2012", "2012-01-02 00:00:00"},
      {"2.Dez.2012 3:04 nachm.", "2012-12-02 15:04:00"},
      {"2.Dec.2012 3:04 PM", "2012-12-02 15:04:00"},
      {"2.1.2012 3:04 VORM.", "2012-01-02 03:04:00"},
      {"31.12.2012 23h59:58", "2012-12-31 23:59:58"},
      {"2.1.2012 3h04 nach", "2012-01-02 00:00:00"},
      {"1.13.2012", ""},
  };
  for (const row& r : rows)
    EXPECT_EQ(read(r.text), r.reading) << '"' << r.text << '"';
}

TEST(TimeParseLocale, OrderAndSeparatorOfTheCaller) {
  dated_locale fake(american);
  xp_time_fields fields = {};
  EXPECT_EQ(xp_time_parse_locale("2013,4,5 6:07", XP_DATE_YEAR_MONTH_DAY, ',', &fields), 1);
  EXPECT_EQ(fields.year, 2013);
  EXPECT_EQ(fields.month, 4);
  EXPECT_EQ(fields.day, 5);
  EXPECT_EQ(fields.hour, 6);
  EXPECT_EQ(fields.minute, 7);
  EXPECT_EQ(fields.weekday, 5) << "a Friday";
  EXPECT_EQ(xp_time_parse_locale("5 pm", XP_DATE_YEAR_MONTH_DAY, 0, &fields), 1);
  EXPECT_EQ(fields.year, 2012);
  EXPECT_EQ(fields.month, 6);
  EXPECT_EQ(fields.day, 15);
  EXPECT_EQ(fields.hour, 17);
  EXPECT_EQ(xp_time_parse_locale("5", XP_DATE_YEAR_MONTH_DAY, 0, &fields), 0);
  EXPECT_EQ(xp_time_parse_locale(nullptr, 0, 0, &fields), 0);
}

TEST(TimeParseLocale, ValuesAndTheirDefaults) {
  char date[16], time[16], am[16], pm[16];
  int32_t order = -1;
  {
    dated_locale fake(german);
    xp_time_locale(date, time, am, pm, &order);
    EXPECT_STREQ(date, ".");
    EXPECT_STREQ(time, "h");
    EXPECT_STREQ(am, "vorm.");
    EXPECT_STREQ(pm, "nachm.");
    EXPECT_EQ(order, 1);
  }
  dated_locale fake({{XP_LOCALE_AM, "    "}, {XP_LOCALE_PM, "past the middle of the day"}});
  xp_time_locale(date, time, am, pm, &order);
  EXPECT_STREQ(date, "");
  EXPECT_STREQ(time, "");
  EXPECT_STREQ(am, "AM");
  EXPECT_STREQ(pm, "past the middle");
  EXPECT_EQ(order, 0);
  const int reads = dated_locale::reads();
  dated_locale::refresh();
  EXPECT_EQ(dated_locale::reads(), reads + 5 + 12) << "once in 10000 calls";
}

TEST(TimeParseLocale, MonthNames) {
  dated_locale fake(american, "Decembre");
  static constexpr struct {
    const char* text;
    int32_t bytes;
    int32_t month;
  } rows[] = {{"decembre 1", 8, 12}, {"decembr", 3, 12}, {"JAN", 3, 1}, {"mayor", 3, 5},
              {"Ja", 0, -1},         {"", 0, -1},        {"1", 0, -1}};
  for (const auto& r : rows) {
    int32_t month = -1;
    EXPECT_EQ(xp_time_month_name(r.text, &month), r.bytes) << r.text;
    EXPECT_EQ(month, r.month) << r.text;
  }
}
