#include "time/xp_time.h"

namespace {

constexpr uint32_t DAY = 86400;
constexpr uint32_t YEAR = 365 * DAY;
constexpr uint32_t FOUR_YEARS = 1461 * DAY;

}  // namespace

const int16_t xp_time_month_start[14] = {-1,  -1,  30,  58,  89,  119, 150,
                                         180, 211, 242, 272, 303, 333, 364};

static bool month_in_table(uint16_t month) {
  return month >= 1 && month <= 13;
}

int32_t xp_time_day_of_year(const xp_time_fields* fields) {
  const uint16_t month = month_in_table(fields->month) ? fields->month : 1;
  const bool behind_leap_day =
      month > 2 && xp_time_is_leap_year(xp_time_years_since_1900(fields->year));
  return xp_time_month_start[month] + fields->day + behind_leap_day;
}

xp_time_t xp_time_from_fields(const xp_time_fields* fields) {
  // The leap days before 1970, which the count of all since 1900 has too many.
  constexpr uint32_t EARLIER_LEAP_DAYS = 17;
  const uint32_t year = xp_time_years_since_1900(fields->year);
  if (year > XP_TIME_LAST_YEAR || !month_in_table(fields->month)) return XP_TIME_INVALID;
  // Unsigned on purpose: a date before 1970 wraps. 1900 has no year before it to count leap days
  // in.
  const uint32_t leap_days = year == 0 ? 0 : (year - 1) / 4;
  const uint32_t days = (year - 70) * 365 + leap_days - EARLIER_LEAP_DAYS +
                        static_cast<uint32_t>(xp_time_day_of_year(fields));
  return ((days * 24 + fields->hour) * 60 + fields->minute) * 60 + fields->second;
}

xp_time_t xp_time_to_fields(xp_time_t seconds, xp_time_fields* fields) {
  const uint32_t block = seconds / FOUR_YEARS;
  uint32_t rest = seconds % FOUR_YEARS;
  // A block starts behind a leap year: its third year has 366 days.
  const uint32_t in_block = rest < YEAR ? 0 : rest < 2 * YEAR ? 1 : rest < 3 * YEAR + DAY ? 2 : 3;
  rest -= in_block * YEAR + (in_block == 3 ? DAY : 0);
  uint32_t day = rest / DAY;
  const uint32_t time_of_day = rest % DAY;
  const bool leap_day = in_block == 2 && day == 59;
  if (in_block == 2 && day > 58) day--;
  // No month is longer than 31 days, so a 32nd of the day is this month or the one before.
  uint32_t month = day / 32 + 1;
  if (xp_time_month_start[month + 1] < static_cast<int32_t>(day)) month++;

  fields->year = static_cast<uint16_t>(1970 + 4 * block + in_block);
  fields->month = static_cast<uint16_t>(month);
  fields->day =
      static_cast<uint16_t>(static_cast<int32_t>(day) - xp_time_month_start[month] + leap_day);
  fields->hour = static_cast<uint16_t>(time_of_day / 3600);
  fields->minute = static_cast<uint16_t>(time_of_day / 60 % 60);
  fields->second = static_cast<uint16_t>(time_of_day % 60);
  fields->weekday = static_cast<uint16_t>((seconds / DAY + 4) % 7);  // 1970 began on a Thursday
  return seconds;
}

static xp_time_fields fields_of(const xp_system_time& reading) {
  return {.year = reading.year,
          .month = reading.month,
          .day = reading.day,
          .hour = reading.hour,
          .minute = reading.minute,
          .second = reading.second,
          .weekday = reading.weekday};
}

xp_time_t xp_time_now() {
  xp_system_time now = {};
  xp_platform->clock->utc(&now);
  const xp_time_fields fields = fields_of(now);
  return xp_time_from_fields(&fields);
}

xp_time_fields xp_time_local_now() {
  xp_system_time now = {};
  xp_platform->clock->local(&now);
  return fields_of(now);
}
