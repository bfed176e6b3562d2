// Clocks, the zone record and the wait.
#pragma once

#include <stdint.h>

// A clock reading, or in the two dates of a zone record a yearly rule: `year` 0, `day` the
// occurrence (5 the last) of `weekday` in `month`.
struct xp_system_time {
  uint16_t year;     // full year
  uint16_t month;    // 1 to 12
  uint16_t weekday;  // 0 for Sunday
  uint16_t day;      // 1 to 31
  uint16_t hour;
  uint16_t minute;
  uint16_t second;
  uint16_t millisecond;
};

// All biases in minutes; UTC is local time plus bias plus the bias of the season.
struct xp_zone_record {
  int32_t bias;
  xp_system_time standard_date;
  int32_t standard_bias;
  xp_system_time daylight_date;
  int32_t daylight_bias;
};

enum xp_zone_status : uint32_t {
  XP_ZONE_UNKNOWN = 0,   // no daylight time in this zone
  XP_ZONE_STANDARD = 1,  // standard time now
  XP_ZONE_DAYLIGHT = 2,  // daylight time now
  XP_ZONE_INVALID = 0xFFFFFFFF,
};

struct xp_clock_ops {
  void (*utc)(xp_system_time* out);
  void (*local)(xp_system_time* out);
  // Milliseconds of a free-running count, which wraps.
  uint32_t (*ticks)();
  xp_zone_status (*zone)(xp_zone_record* out);
  void (*sleep)(uint32_t milliseconds);
};
