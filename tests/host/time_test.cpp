// The calendar against the C library's and the system's zone files.
#include "time/xp_time.h"

#include <stdlib.h>
#include <time.h>

#include <string>

#include "tests/support/fakes.h"

namespace {

constexpr time_t HOUR = 3600;

// Runs in a zone of the system's files, with a tick count of its own that never stands where the
// caches of another test stood.
struct in_zone : fake_platform {
  explicit in_zone(const char* name) {
    const char* old = getenv("TZ");
    had_zone_ = old != nullptr;
    if (old) old_ = old;
    setenv("TZ", name, 1);
    clock.ticks = [] { return ticks(); };
    ticks() += 4096;
    tzset();
  }
  ~in_zone() {
    if (had_zone_)
      setenv("TZ", old_.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
    ticks() += 4096;
  }

 private:
  static uint32_t& ticks() {
    static uint32_t count = 0x20000000;
    return count;
  }
  bool had_zone_;
  std::string old_;
};

time_t first_of(int year) {
  tm date = {};
  date.tm_year = year - 1900;
  date.tm_mday = 1;
  return timegm(&date);
}

bool same(const xp_time_fields& ours, const tm& theirs) {
  return ours.year == theirs.tm_year + 1900 && ours.month == theirs.tm_mon + 1 &&
         ours.day == theirs.tm_mday && ours.hour == theirs.tm_hour &&
         ours.minute == theirs.tm_min && ours.second == theirs.tm_sec &&
         ours.weekday == theirs.tm_wday;
}

long offset_at(time_t moment) {
  tm reading = {};
  localtime_r(&moment, &reading);
  return reading.tm_gmtoff;
}

std::string text(const xp_system_time& rule) {
  return std::to_string(rule.month) + " " + std::to_string(rule.day) + " of " +
         std::to_string(rule.weekday) + " at " + std::to_string(rule.hour);
}

}  // namespace

TEST(HostTime, EveryHourFrom1970To2099AsTheCLibraryHasIt) {
  const time_t end = first_of(2100);
  for (time_t moment = 0; moment < end; moment += HOUR) {
    const auto seconds = static_cast<xp_time_t>(moment + moment / HOUR % HOUR);
    const time_t odd = seconds;
    tm theirs = {};
    gmtime_r(&odd, &theirs);
    xp_time_fields ours = {};
    xp_time_to_fields(seconds, &ours);
    ASSERT_TRUE(same(ours, theirs)) << odd;
    ASSERT_EQ(xp_time_from_fields(&ours), seconds);
  }
}

TEST(HostTime, LocalReadingsAsTheZoneFilesHaveThem) {
  static constexpr struct {
    const char* zone;
    int from;  // the years for which the yearly rule stands
    int to;
  } rows[] = {
      {"Europe/Berlin", 1996, 2099},       {"Europe/Dublin", 1996, 2099},
      {"America/New_York", 1987, 2099},    {"Australia/Sydney", 2008, 2099},
      {"Australia/Lord_Howe", 2008, 2099}, {"Asia/Tokyo", 1970, 2099},
      {"America/Caracas", 2017, 2099},     {"UTC", 1970, 2099},
  };
  for (const auto& row : rows) {
    in_zone zone(row.zone);
    int near_a_change = 0;
    for (time_t moment = first_of(row.from) + 86400; moment < first_of(row.to); moment += HOUR) {
      tm theirs = {};
      localtime_r(&moment, &theirs);
      xp_time_fields ours = {};
      xp_time_to_local_fields(static_cast<xp_time_t>(moment), &ours);
      if (same(ours, theirs)) continue;
      // Season is judged by today's offset, which is an hour off for one of the two changes.
      ASSERT_NE(offset_at(moment - HOUR), offset_at(moment + HOUR)) << row.zone << " at " << moment;
      near_a_change++;
    }
    EXPECT_LE(near_a_change, row.to - row.from) << row.zone << ": one hour a year at most";
  }
}

TEST(HostTime, YearlyFormOfTheZoneFiles) {
  static constexpr struct {
    const char* reason;
    const char* zone;
    int32_t bias;
    int32_t daylight_bias;
    const char* daylight_date;
    const char* standard_date;
  } rows[] = {
      {"last Sundays", "Europe/Berlin", -60, -60, "3 5 of 0 at 2", "10 5 of 0 at 3"},
      {"winter is the exception in the file", "Europe/Dublin", 0, -60, "3 5 of 0 at 1",
       "10 5 of 0 at 2"},
      {"counted Sundays", "America/New_York", 300, -60, "3 2 of 0 at 2", "11 1 of 0 at 2"},
      {"southern", "Australia/Sydney", -600, -60, "10 1 of 0 at 2", "4 1 of 0 at 3"},
      {"half an hour", "Australia/Lord_Howe", -630, -30, "10 1 of 0 at 2", "4 1 of 0 at 2"},
      {"midnight that ends a day", "America/Santiago", 240, -60, "9 1 of 6 at 24",
       "4 1 of 6 at 24"},
      {"a rule in place of a name", "XST-2XDT,M2.4.3/5,M9.1.2/6", -120, -60, "2 4 of 3 at 5",
       "9 1 of 2 at 6"},
      {"no daylight time", "Asia/Tokyo", -540, 0, "0 0 of 0 at 0", "0 0 of 0 at 0"},
      {"UTC", "UTC", 0, 0, "0 0 of 0 at 0", "0 0 of 0 at 0"},
  };
  for (const auto& row : rows) {
    in_zone zone(row.zone);
    xp_zone_record record = {};
    const xp_zone_status status = zone.clock.zone(&record);
    EXPECT_EQ(record.bias, row.bias) << row.reason;
    EXPECT_EQ(record.standard_bias, 0) << row.reason;
    EXPECT_EQ(record.daylight_bias, row.daylight_bias) << row.reason;
    EXPECT_EQ(text(record.daylight_date), row.daylight_date) << row.reason;
    EXPECT_EQ(text(record.standard_date), row.standard_date) << row.reason;
    const bool daylight_now = offset_at(time(nullptr)) != -record.bias * 60;
    EXPECT_EQ(status, row.daylight_bias == 0 ? XP_ZONE_UNKNOWN
                      : daylight_now         ? XP_ZONE_DAYLIGHT
                                             : XP_ZONE_STANDARD)
        << row.reason;
  }
}

TEST(HostTime, ClockReadsNow) {
  in_zone zone("Australia/Sydney");
  const time_t before = time(nullptr);
  const xp_time_t now = xp_time_now();
  EXPECT_GE(now, static_cast<xp_time_t>(before));
  EXPECT_LE(now, static_cast<xp_time_t>(before) + 60);
  EXPECT_EQ(xp_time_local_offset(), offset_at(before));
}
