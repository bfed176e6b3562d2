#include "time/xp_time.h"

#include "tests/time/fake_clock.h"

static xp_time_fields utc(xp_time_t seconds) {
  xp_time_fields fields = {};
  EXPECT_EQ(xp_time_to_fields(seconds, &fields), seconds);
  return fields;
}

TEST(Time, FieldsOfAMoment) {
  static constexpr struct {
    const char* reason;
    xp_time_t seconds;
    xp_time_fields fields;
  } rows[] = {
      {"the first moment, a Thursday", 0, {1970, 1, 1, 0, 0, 0, 4}},
      {"end of a common year", 31535999, {1970, 12, 31, 23, 59, 59, 4}},
      {"before a leap day", 68169599, {1972, 2, 28, 23, 59, 59, 1}},
      {"a leap day", 68169600, {1972, 2, 29, 0, 0, 0, 2}},
      {"behind a leap day", 68256000, {1972, 3, 1, 0, 0, 0, 3}},
      {"end of a leap year", 94694399, {1972, 12, 31, 23, 59, 59, 0}},
      {"2000 is a leap year", 951782400, {2000, 2, 29, 0, 0, 0, 2}},
      {"beyond 31 bits", 2147483648, {2038, 1, 19, 3, 14, 8, 2}},
      {"the last moment of the fields", 4102444799, {2099, 12, 31, 23, 59, 59, 4}},
  };
  for (const auto& row : rows) {
    const xp_time_fields got = utc(row.seconds);
    EXPECT_EQ(memcmp(&got, &row.fields, sizeof(got)), 0) << row.reason;
    EXPECT_EQ(xp_time_from_fields(&row.fields), row.seconds) << row.reason;
  }
}

TEST(Time, YearForms) {
  static constexpr struct {
    uint16_t year;
    uint16_t full;  // 0: out of range
  } rows[] = {{0, 2000}, {12, 2012}, {69, 2069},   {70, 1970},   {112, 2012}, {199, 2099},
              {200, 0},  {1899, 0},  {1970, 1970}, {2099, 2099}, {2100, 0},   {65535, 0}};
  for (const auto& row : rows) {
    const xp_time_fields fields = {row.year, 3, 1, 0, 0, 0, 0};
    const xp_time_t seconds = xp_time_from_fields(&fields);
    EXPECT_EQ(seconds == XP_TIME_INVALID, row.full == 0) << row.year;
    if (row.full) {
      EXPECT_EQ(utc(seconds).year, row.full) << row.year;
    }
  }
}

TEST(Time, YearsBefore1970WrapAround) {
  const xp_time_fields last = {1969, 12, 31, 23, 59, 59, 0};
  EXPECT_EQ(xp_time_from_fields(&last), 0xFFFFFFFFu);
  const xp_time_fields earlier = {1968, 2, 29, 0, 0, 0, 0};
  EXPECT_EQ(xp_time_from_fields(&earlier), static_cast<uint32_t>(-58060800));
  const xp_time_fields first = {1900, 1, 1, 0, 0, 0, 0};
  // By the plain leap year rule 1900 has a February 29, which the count to its first day ignores.
  EXPECT_EQ(xp_time_from_fields(&first), static_cast<uint32_t>(-25567LL * 86400));
}

TEST(Time, FieldsOutOfRangeStayOutOfTheTable) {
  for (const uint16_t month : {0, 14, 65535}) {
    const xp_time_fields fields = {2012, month, 1, 0, 0, 0, 0};
    EXPECT_EQ(xp_time_from_fields(&fields), XP_TIME_INVALID) << month;
  }
  const xp_time_fields carries = {2011, 2, 31, 24, 60, 60, 0};
  const xp_time_fields march = {2011, 3, 4, 1, 1, 0, 0};
  EXPECT_EQ(xp_time_from_fields(&carries), xp_time_from_fields(&march));
}

TEST(Time, NowReadsTheUtcClock) {
  fake_clock fake;
  fake.set_now(clock_reading(2012, 2, 29, 1, 2, 3));
  EXPECT_EQ(xp_time_now(), 1330477323u);
  fake.set_now(clock_reading(2100, 1, 1));
  EXPECT_EQ(xp_time_now(), XP_TIME_INVALID);
}
