// Dates beside the C library's strftime, for every letter that both have, and ISO weeks day by day.
#include <stdlib.h>
#include <time.h>

#include <random>
#include <string>

#include "tests/format/locale_scope.h"
#include "tests/format/print.h"
#include "tests/time/fake_clock.h"

namespace {

std::string ours(const char* format, const xp_time_fields& fields) {
  char buffer[256];
  const int32_t length = xp_fmt_date(buffer, sizeof(buffer), format, -1, &fields, 0);
  return {buffer, static_cast<size_t>(length)};
}

std::string theirs(const char* format, const tm& parts) {
  char buffer[256];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const size_t length = strftime(buffer, sizeof(buffer), format, &parts);
#pragma GCC diagnostic pop
  return {buffer, length};
}

xp_time_fields fields_of(const tm& parts) {
  return {static_cast<uint16_t>(parts.tm_year + 1900), static_cast<uint16_t>(parts.tm_mon + 1),
          static_cast<uint16_t>(parts.tm_mday),        static_cast<uint16_t>(parts.tm_hour),
          static_cast<uint16_t>(parts.tm_min),         static_cast<uint16_t>(parts.tm_sec),
          static_cast<uint16_t>(parts.tm_wday)};
}

// The names of the C locale, by the C library itself.
struct c_locale : locale_scope {
  c_locale() {
    tm parts = {};
    for (parts.tm_mon = 0; parts.tm_mon < 12; parts.tm_mon++) {
      strcpy(snapshot->month_names[parts.tm_mon], theirs("%B", parts).c_str());
      strcpy(snapshot->month_abbreviations[parts.tm_mon], theirs("%b", parts).c_str());
    }
    for (parts.tm_wday = 0; parts.tm_wday < 7; parts.tm_wday++) {
      strcpy(snapshot->day_names[parts.tm_wday], theirs("%A", parts).c_str());
      strcpy(snapshot->day_abbreviations[parts.tm_wday], theirs("%a", parts).c_str());
    }
    strcpy(snapshot->am, "AM");
    strcpy(snapshot->pm, "PM");
  }
};

struct scoped_zone {
  explicit scoped_zone(const char* name) {
    const char* before = getenv("TZ");
    had = before != nullptr;
    if (had) saved = before;
    setenv("TZ", name, 1);
    tzset();
  }
  ~scoped_zone() {
    if (had)
      setenv("TZ", saved.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }
  bool had;
  std::string saved;
};

}  // namespace

TEST(FmtDatePeer, EveryCommonLetterPrintsAsStrftimePrintsIt) {
  c_locale names;
  // `%c` has its own order here; the C library's letters +, f, v, Q, / and : have other meanings
  // or none.
  const char* letters[] = {"%a",
                           "%A",
                           "%b",
                           "%B",
                           "%C",
                           "%d",
                           "%D",
                           "%e",
                           "%F",
                           "%g",
                           "%G",
                           "%h",
                           "%H",
                           "%I",
                           "%j",
                           "%k",
                           "%l",
                           "%m",
                           "%M",
                           "%n",
                           "%p",
                           "%r",
                           "%R",
                           "%S",
                           "%t",
                           "%T",
                           "%u",
                           "%U",
                           "%V",
                           "%w",
                           "%W",
                           "%y",
                           "%Y",
                           "%%",
                           "%Ey",
                           "%Od",
                           "%A, %d %B %Y %H:%M:%S"};
  std::mt19937 random(1);
  for (int i = 0; i < 3000; i++) {
    const time_t seconds = static_cast<time_t>(random() % 4102444800u);
    tm parts;
    gmtime_r(&seconds, &parts);
    xp_time_fields fields;
    xp_time_to_fields(static_cast<xp_time_t>(seconds), &fields);
    for (const char* letter : letters)
      ASSERT_EQ(ours(letter, fields), theirs(letter, parts)) << letter << " of " << seconds;
  }
}

TEST(FmtDatePeer, WeeksOfEveryDayFrom1970To2099) {
  tm parts = {};
  for (int32_t day = 0; day < 47482; day++) {
    const time_t seconds = time_t{day} * 86400 + 43200;
    gmtime_r(&seconds, &parts);
    const char format[] = "%G-W%V-%u %g %U %W %j";
    ASSERT_EQ(ours(format, fields_of(parts)), theirs(format, parts)) << "day " << day;
  }
  EXPECT_EQ(theirs("%F", parts), "2099-12-31") << "the last day of the calendar was reached";
}

TEST(FmtDatePeer, ZoneOffsetsAreThoseOfTheZone) {
  // Zones whose rules have not changed since 2007, by the C library and as a record of ours.
  struct row {
    const char* name;
    xp_zone_record record;
  };
  const row rows[] = {
      {"America/New_York", new_york},
      {"Europe/Berlin", berlin},
      {"Asia/Kolkata", make_zone(-330)},
      {"America/St_Johns", make_zone(210, yearly_rule(11, 0, 1, 2), yearly_rule(3, 0, 2, 2))},
      {"Etc/UTC", make_zone(0)}};
  for (const row& r : rows) {
    scoped_zone zone(r.name);
    fake_clock clock;
    clock.set_zone(r.record);
    std::mt19937 random(5);
    for (int i = 0; i < 2000; i++) {
      // 2012 to 2030. By the fields alone the hours around a change are open, so those are left.
      const time_t seconds = 1325376000 + static_cast<time_t>(random() % 567993600);
      tm parts;
      tm before;
      tm after;
      localtime_r(&seconds, &parts);
      const time_t earlier = seconds - 7200;
      const time_t later = seconds + 7200;
      localtime_r(&earlier, &before);
      localtime_r(&later, &after);
      if (before.tm_isdst != after.tm_isdst) continue;
      ASSERT_EQ(ours("%z", fields_of(parts)), theirs("%z", parts)) << r.name << " " << seconds;
      ASSERT_EQ(print("%d{Z::#F #T #z}", seconds), theirs("%F %T %z", parts)) << r.name;
    }
  }
}
