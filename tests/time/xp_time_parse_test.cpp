#include "time/xp_time_parse.h"

#include <string>

#include "tests/time/fake_clock.h"

namespace {

constexpr xp_time_t BAD_YEAR = XP_TIME_INVALID;

// 2012-01-02, a Monday, at 00:00 UTC.
constexpr xp_time_t MONDAY = 1325462400;

struct text_row {
  const char* text;
  xp_time_t seconds;
};

// An hour east of Greenwich and no daylight time: local readings are 3600 seconds ahead.
struct east_clock : fake_clock {
  east_clock() { set_zone(make_zone(-60)); }
};

constexpr xp_time_t hms(xp_time_t hours, xp_time_t minutes, xp_time_t seconds) {
  return (hours * 60 + minutes) * 60 + seconds;
}

}  // namespace

TEST(TimeParse, CompactForm) {
  static constexpr text_row rows[] = {
      {"20120102030405Z", MONDAY + hms(3, 4, 5)},
      {"20120102030405+0100", MONDAY + hms(2, 4, 5)},
      {"20120102030405-0100", MONDAY + hms(4, 4, 5)},
      {"20120102030405-0130", MONDAY + hms(4, 34, 5)},
      {"20120102000000+0001", MONDAY - 60},
      {"20120102030405L", MONDAY + hms(2, 4, 5)},
      {"20120102030405", MONDAY + hms(2, 4, 5)},
      {"20120102", MONDAY - 3600},
      {"  20120102L  ", MONDAY - 3600},
      {"20120102030405Z  ", MONDAY + hms(3, 4, 5)},
      {"2012Z", MONDAY - 86400},
      {"201202Z", MONDAY + 30 * 86400},
      {"20120229Z", MONDAY + 58 * 86400},
      {"20000229Z", 951782400},
      {"Z", 946684800},
      {"   ", 946684800 - 3600},
      {"20Z", 946684800},
      {"0012Z", MONDAY - 86400},
      {"0112Z", MONDAY - 86400},
      // Carries.
      {"20121231235959-0100", 1357001999},
      {"20130101005959+0100", 1356998399},
      {"20120301000000+1359", 1330559999 - hms(13, 58, 59)},
      {"20110228233000-0045", 1298938500},
      {"20000101000000+0001", 946684740},
      // The range of the years.
      {"20991231235959Z", 4102444799},
      {"21000101000000Z", BAD_YEAR},
      {"20991231235959-0001", BAD_YEAR},
      {"12Z", BAD_YEAR},
      {"12", BAD_YEAR},
      {"00000101000000+0001", BAD_YEAR},
      {"99991231235959-0001", BAD_YEAR},
      // Not valid.
      {"", 0},
      {"20110229Z", 0},
      {"19000229Z", 0},
      {"20120431Z", 0},
      {"20120132Z", 0},
      {"20121301Z", 0},
      {"20120001Z", 0},
      {"20120100Z", 0},
      {"2012010224Z", 0},
      {"201201020360Z", 0},
      {"20120102030460Z", 0},
      {"2012010Z", 0},
      {"20120102030405+01", 0},
      {"20120102030405+1400", 0},
      {"20120102030405+1360", 0},
      {"20120102030405+0100x", 0},
      {"20120102030405Z x", 0},
      {"2012010203040500Z", 0},
      {"20120102 ", 0},
      {"2012-01-02", 0},
  };
  east_clock fake;
  for (const text_row& row : rows)
    EXPECT_EQ(xp_time_parse(row.text), row.seconds) << '"' << row.text << '"';
  EXPECT_EQ(xp_time_parse(nullptr), 0u);
}

TEST(TimeParse, CompactFormToFields) {
  east_clock fake;
  xp_time_fields fields = {1, 2, 3, 4, 5, 6, 99};
  EXPECT_EQ(xp_time_parse_fields("20120102Q", &fields), 0);
  EXPECT_EQ(fields.year, 1) << "untouched";
  EXPECT_EQ(xp_time_parse_fields("20120102Z", &fields), 1);
  EXPECT_EQ(fields.year, 2012);
  EXPECT_EQ(fields.second, 0);
  EXPECT_EQ(fields.weekday, 99) << "UTC as it is written";
  EXPECT_EQ(xp_time_parse_fields("20120102", &fields), 1);
  EXPECT_EQ(fields.day, 1);
  EXPECT_EQ(fields.hour, 23);
  EXPECT_EQ(fields.weekday, 0) << "a Sunday";
  EXPECT_EQ(xp_time_parse_fields("21120102", nullptr), 1);
}

TEST(TimeParse, LocalTimeFollowsTheSeason) {
  fake_clock fake;
  fake.set_zone(new_york);
  EXPECT_EQ(xp_time_parse("20120715080000"), 1342353600u);
  EXPECT_EQ(xp_time_parse("20120115070000"), 1326628800u);
  EXPECT_EQ(xp_time_parse_any("7/15/2012 8:00", -1), 1342353600u);
  EXPECT_EQ(xp_time_parse("12"), BAD_YEAR) << "west of Greenwich, too";
  fake.set_zone({}, XP_ZONE_INVALID);
  EXPECT_EQ(xp_time_parse("20120115120000"), 1326628800u) << "no zone is UTC in winter";
}

TEST(TimeParse, IsoForm) {
  static constexpr text_row rows[] = {
      {"2012-01-02T03:04:05Z", MONDAY + hms(3, 4, 5)},
      {"2012-01-02T03:04:05.000Z", MONDAY + hms(3, 4, 5)},
      {"2012-01-02T03:04:05.Z", MONDAY + hms(3, 4, 5)},
      {"2012-01-02T03:04:05+01:00", MONDAY + hms(2, 4, 5)},
      {"2012-01-02T03:04:05+0100", MONDAY + hms(2, 4, 5)},
      {"2012-01-02T03:04:05.999999-01:30", MONDAY + hms(4, 34, 5)},
      {"2012-01-02T03:04:05", 0},
      {"2012-01-02T03:04:05.000", 0},
      {"2012-01-02T03:04:05.", 0},
      {"2012-01-02T03:04:05+01", 0},
      {"2012-01-02T03:04:05+01:0", 0},
      {"2012-01-02T03:04:05+010", 0},
      {"2012-01-02T03:04:05+01:x0", 0},
      {"2012-01-02T03:04:05x", 0},
      {"2012-13-02T03:04:05Z", 0},
      {"2012-01-02T03-04:05Z", 0},
      {"2012T01-02-03:04:05Z", 0},
      {"2112-01-02T03:04:05Z", BAD_YEAR},
  };
  east_clock fake;
  for (const text_row& row : rows) {
    EXPECT_EQ(xp_time_parse_iso(row.text), row.seconds) << row.text;
    EXPECT_EQ(xp_time_parse_any(row.text, -1), row.seconds) << row.text;
  }
  EXPECT_EQ(xp_time_parse_iso(nullptr), 0u);
  EXPECT_EQ(xp_time_parse_iso(""), 0u);
}

TEST(TimeParse, AnyFormOfDigits) {
  static constexpr text_row rows[] = {
      {"2012-01-02 03:04:05", MONDAY + hms(2, 4, 5)},
      {"2012-01-02 03:04:05.678", MONDAY + hms(2, 4, 5)},
      {"2012-01-02 03:04:05 -0500", MONDAY + hms(8, 4, 5)},
      {"2012-01-02 03:04:05Z", MONDAY + hms(3, 4, 5)},
      {"2012-01-02L", MONDAY - 3600},
      {"2012-01-02", MONDAY - 3600},
      {"2012-01", MONDAY - 86400 - 3600},
      {"20120102", MONDAY - 3600},
      {"2012", MONDAY - 86400 - 3600},
      {"20120102030405Z", MONDAY + hms(3, 4, 5)},
      {"20120102030405-0100", MONDAY + hms(4, 4, 5)},
      {"2012+0100", 0},
      {"hello", 0},
      {"", 0},
      {"\x01\x7f\xff", 0},
  };
  east_clock fake;
  for (const text_row& row : rows)
    EXPECT_EQ(xp_time_parse_any(row.text, -1), row.seconds) << '"' << row.text << '"';
  EXPECT_EQ(xp_time_parse_any(nullptr, 5), 0u);
  EXPECT_EQ(xp_time_parse_any("2012", 0), 0u);
  EXPECT_EQ(xp_time_parse_any("2012Zjunk", 5), MONDAY - 86400) << "the length counts";
}

TEST(TimeParse, LongTextIsJudgedByItsFirstBytes) {
  east_clock fake;
  std::string text = "2012-01-02Z" + std::string(52, ' ');
  text += "junk";
  EXPECT_EQ(xp_time_parse_any(text.c_str(), static_cast<int32_t>(text.size())), MONDAY);
  EXPECT_EQ(xp_time_parse_any(text.c_str(), -1), 0u);
  // Two bytes of a character of three would stay behind 61 others.
  text = "2012-01-02Z" + std::string(50, ' ') + "\u20AC";
  EXPECT_EQ(xp_time_parse_any(text.c_str(), static_cast<int32_t>(text.size())), MONDAY);
}
