#include <string>

#include "tests/time/fake_clock.h"
#include "time/xp_time.h"

namespace {

constexpr xp_time_fields date(uint16_t year, uint16_t month, uint16_t day, uint16_t hour = 0) {
  return {year, month, day, hour, 0, 0, 0};
}

struct rules {
  int32_t exist;
  xp_time_rule first;
  xp_time_rule second;

  explicit rules(const xp_time_fields* fields) { exist = xp_time_rules(fields, &first, &second); }
};

std::string text(const xp_time_rule& rule) {
  std::string out;
  for (const int32_t value : {rule.month, rule.weekday, rule.occurrence, rule.hour, rule.offset})
    out += (out.empty() ? "" : " ") + std::to_string(value);
  return out;
}

std::string local(xp_time_t seconds) {
  xp_time_fields f = {};
  EXPECT_EQ(xp_time_to_local_fields(seconds, &f), seconds);
  char out[64];
  snprintf(out, sizeof(out), "%04d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour,
           f.minute, f.second);
  return out;
}

}  // namespace

TEST(TimeZone, RulesOfAYear) {
  fake_clock fake;
  static constexpr struct {
    const char* reason;
    xp_zone_record zone;
    xp_zone_status status;
    uint16_t year;  // 1: no fields
    int32_t exist;
    const char* first;
    const char* second;
  } rows[] = {
      {"as the zone says", new_york, XP_ZONE_STANDARD, 2012, 1, "3 0 2 2 3600", "11 0 1 2 0"},
      {"the current form", new_york, XP_ZONE_STANDARD, 1, 1, "3 0 2 2 3600", "11 0 1 2 0"},
      {"a short year", new_york, XP_ZONE_STANDARD, 107, 1, "3 0 2 2 3600", "11 0 1 2 0"},
      {"United States before 2007", new_york, XP_ZONE_STANDARD, 2006, 1, "4 0 1 2 3600",
       "10 0 5 2 0"},
      {"United States before 1987", new_york, XP_ZONE_STANDARD, 1986, 1, "4 0 5 2 3600",
       "10 0 5 2 0"},
      {"others have no past", berlin, XP_ZONE_DAYLIGHT, 2006, 1, "3 0 5 2 3600", "10 0 5 3 0"},
      {"southern: standard first", sydney, XP_ZONE_STANDARD, 2012, 1, "4 0 1 3 0", "10 0 1 2 3600"},
      {"southern before 1987", sydney, XP_ZONE_STANDARD, 1986, 1, "4 0 5 3 0", "10 0 1 2 3600"},
      {"no rules", moscow, XP_ZONE_UNKNOWN, 2012, 0, "0 0 0 0 0", "0 0 0 0 0"},
      {"no zone, clock of 2012", {}, XP_ZONE_INVALID, 1, 1, "3 0 2 2 3600", "11 0 1 2 0"},
      {"no zone, 2006", {}, XP_ZONE_INVALID, 2006, 1, "4 0 1 2 3600", "10 0 5 2 0"},
      {"no zone, 1986", {}, XP_ZONE_INVALID, 1986, 1, "4 0 5 2 3600", "10 0 5 2 0"},
  };
  for (const auto& row : rows) {
    fake.set_zone(row.zone, row.status);
    const xp_time_fields fields = date(row.year, 6, 1);
    const rules got(row.year == 1 ? nullptr : &fields);
    EXPECT_EQ(got.exist, row.exist) << row.reason;
    EXPECT_EQ(text(got.first), row.first) << row.reason;
    EXPECT_EQ(text(got.second), row.second) << row.reason;
  }
}

TEST(TimeZone, ZonesWithoutAYearlyRule) {
  fake_clock fake;
  xp_zone_record dated = berlin, no_month = berlin, equal = berlin, broken = berlin;
  dated.daylight_date.year = 2012;
  no_month.standard_date.month = 0;
  equal.standard_bias = -60;
  broken.daylight_date.month = 13;
  for (const xp_zone_record& zone : {dated, no_month, equal, broken}) {
    fake.set_zone(zone);
    EXPECT_EQ(rules(nullptr).exist, 0);
    const xp_time_fields summer = date(2012, 7, 1);
    EXPECT_EQ(xp_time_daylight(&summer), 0);
    EXPECT_EQ(local(1341100800), "2012-07-01 01:00:00");
  }
}

TEST(TimeZone, DaylightOffsetOfALocalReading) {
  fake_clock fake;
  xp_zone_record february = berlin;
  february.daylight_date = yearly_rule(2, 3, 5, 2);
  static const struct {
    const char* reason;
    xp_zone_record zone;
    xp_time_fields fields;
    int32_t offset;
  } rows[] = {
      {"hour before the change", new_york, date(2012, 3, 11, 1), 0},
      {"hour of the change", new_york, date(2012, 3, 11, 2), 3600},
      {"day before", new_york, date(2012, 3, 10, 23), 0},
      {"day behind", new_york, date(2012, 3, 12), 3600},
      {"month before", new_york, date(2012, 2, 29), 0},
      {"summer", new_york, date(2012, 7, 1), 3600},
      {"back, hour before", new_york, date(2012, 11, 4, 1), 3600},
      {"back, hour of the change", new_york, date(2012, 11, 4, 2), 0},
      {"winter", new_york, date(2012, 12, 1), 0},
      {"last Sunday that is the fifth", berlin, date(2013, 3, 31, 2), 3600},
      {"day before it", berlin, date(2013, 3, 30, 23), 0},
      {"last Sunday that is the fourth", berlin, date(2012, 10, 28, 3), 0},
      {"first day of a month", sydney, date(2012, 4, 1, 3), 0},
      {"southern January is summer", sydney, date(2012, 1, 15), 3600},
      {"southern July is winter", sydney, date(2012, 7, 15), 0},
      {"southern December is summer", sydney, date(2012, 12, 15), 3600},
      {"last Wednesday is the leap day", february, date(2012, 2, 28, 23), 0},
      {"and there is the change", february, date(2012, 2, 29, 2), 3600},
      {"before 1970, first Sunday of April 1968", new_york, date(1968, 4, 28, 1), 0},
      {"before 1970, at the change", new_york, date(1968, 4, 28, 2), 3600},
      {"month that is none", new_york, date(2012, 0, 0), 0},
  };
  for (const auto& row : rows) {
    fake.set_zone(row.zone);
    EXPECT_EQ(xp_time_daylight(&row.fields), row.offset) << row.reason;
  }
}

TEST(TimeZone, LocalReadings) {
  fake_clock fake;
  static const struct {
    const char* reason;
    xp_zone_record zone;
    xp_zone_status status;
    xp_time_t seconds;
    const char* reading;
  } rows[] = {
      {"east, winter", berlin, XP_ZONE_STANDARD, 1326628800, "2012-01-15 13:00:00"},
      {"east, summer", berlin, XP_ZONE_STANDARD, 1342353600, "2012-07-15 14:00:00"},
      {"west, winter", new_york, XP_ZONE_STANDARD, 1326628800, "2012-01-15 07:00:00"},
      {"west, summer", new_york, XP_ZONE_STANDARD, 1342353600, "2012-07-15 08:00:00"},
      {"last second of winter", new_york, XP_ZONE_STANDARD, 1331449199, "2012-03-11 01:59:59"},
      {"first second of summer", new_york, XP_ZONE_STANDARD, 1331449200, "2012-03-11 03:00:00"},
      {"southern summer", sydney, XP_ZONE_STANDARD, 1326628800, "2012-01-15 23:00:00"},
      {"no rules", moscow, XP_ZONE_UNKNOWN, 1342353600, "2012-07-15 15:00:00"},
      {"behind the samples of the memo", berlin, XP_ZONE_STANDARD, 4087800000,
       "2099-07-15 14:00:00"},
      {"no zone: UTC with daylight time", {}, XP_ZONE_INVALID, 1342353600, "2012-07-15 13:00:00"},
  };
  for (const auto& row : rows) {
    fake.set_zone(row.zone, row.status);
    EXPECT_EQ(local(row.seconds), row.reading) << row.reason;
    EXPECT_EQ(local(row.seconds), row.reading) << row.reason << ", from the memo";
  }
}

TEST(TimeZone, OffsetOfThisMomentFollowsTheSeason) {
  fake_clock fake;
  fake.set_zone(berlin);
  EXPECT_EQ(xp_time_local_offset(), 3600);
  fake.set_now(clock_reading(2012, 7, 15));
  EXPECT_EQ(xp_time_local_offset(), 7200);
  fake.set_zone({}, XP_ZONE_INVALID);
  EXPECT_EQ(xp_time_local_offset(), 3600) << "without a zone the bias is 0 and July has daylight";
}

TEST(TimeZone, PlatformIsAskedOnceATick) {
  fake_clock fake;
  fake.set_zone(berlin);
  ASSERT_NE(xp_time_zone(), nullptr);
  const int calls = fake.zone_calls();
  for (int i = 0; i < 100; i++)
    local(1342353600);
  EXPECT_EQ(fake.zone_calls(), calls);
  fake.advance(1024);
  EXPECT_EQ(xp_time_zone()->bias, -60);
  EXPECT_EQ(fake.zone_calls(), calls + 1);
  fake.set_zone({}, XP_ZONE_INVALID);
  EXPECT_EQ(xp_time_zone(), nullptr);
}

TEST(TimeZone, ChangeOfTheRulesAloneIsSeen) {
  fake_clock fake;
  fake.set_zone(berlin);
  EXPECT_EQ(local(1342353600), "2012-07-15 14:00:00");
  xp_zone_record abolished = berlin;
  abolished.daylight_date = abolished.standard_date = {};
  fake.set_zone(abolished);
  EXPECT_EQ(local(1342353600), "2012-07-15 13:00:00");
}

TEST(TimeZone, ZoneMayChangeInTheMiddleOfAnything) {
  fake_clock fake;
  fake.clock.ticks = [] {
    static uint32_t ticks = 0x80000000;
    return ticks += 700;
  };
  fake.clock.zone = [](xp_zone_record* out) {
    static uint32_t call;
    *out = ++call % 3 ? new_york : sydney;
    return call % 5 ? XP_ZONE_STANDARD : XP_ZONE_INVALID;
  };
  xp_time_fields fields = {};
  for (xp_time_t t = 0; t < 2000000000; t += 9999999)
    xp_time_to_local_fields(t, &fields);
  EXPECT_GE(fields.year, 2033);
}

TEST(TimeZone, LocalReadingNeedsNoMemory) {
  sweep_allocations([](heap_watch&) {
    fake_clock fake;
    fake.set_zone(berlin);
    EXPECT_EQ(local(1342353600), "2012-07-15 14:00:00");
  });
}
