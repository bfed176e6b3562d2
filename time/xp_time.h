// The time value and the calendar: conversion between seconds and fields, local time and the
// daylight rules. The arithmetic is the system's own; it holds from 1970 to 2099.
#pragma once

#include <stdint.h>

#include "platform/platform.h"

// Seconds since 1970-01-01 00:00:00 UTC.
using xp_time_t = uint32_t;

constexpr xp_time_t XP_TIME_NONE = 0;              // "no time", where a parser returns it
constexpr xp_time_t XP_TIME_INVALID = 0xFFFFFFFF;  // a year out of range

struct xp_time_fields {
  uint16_t year;  // full, or short: below 70 is 20xx, 70 to 199 counts from 1900
  uint16_t month;
  uint16_t day;
  uint16_t hour;
  uint16_t minute;
  uint16_t second;
  uint16_t weekday;  // 0 for Sunday
};

constexpr uint32_t XP_TIME_LAST_YEAR = 199;  // 2099, in years since 1900

// The `year` of fields as years since 1900, above XP_TIME_LAST_YEAR when it is out of range.
constexpr uint32_t xp_time_years_since_1900(uint16_t year) {
  return year < 70 ? year + 100u : year < 1900 ? year : year - 1900u;
}
// Every fourth year is one; that holds from 1901 to 2099.
constexpr bool xp_time_is_leap_year(uint32_t years_since_1900) {
  return years_since_1900 % 4 == 0;
}

// One yearly daylight transition.
struct xp_time_rule {
  int32_t month;       // 1 to 12; 0 when there is no rule
  int32_t weekday;     // 0 for Sunday
  int32_t occurrence;  // 1 to 4; 5: the last one of the month
  int32_t hour;        // of the local clock
  int32_t offset;      // seconds added to standard time from here on
};

// Zero-based day of the year of the last day before month m (1 to 13) in a common year; entry 0
// is unused.
extern const int16_t xp_time_month_start[14];

// Zero-based day of the year of a date; a `month` outside 1 to 13 counts as January.
int32_t xp_time_day_of_year(const xp_time_fields* fields);

// The fields taken as UTC; XP_TIME_INVALID for a year out of range or a month outside 1 to 13. Day
// and time of day aren't checked: what is beyond their ends carries on. The years 1900 to 1969
// give the 32-bit pattern of their negative time.
xp_time_t xp_time_from_fields(const xp_time_fields* fields);
// The calendar reading in UTC, with a full year and the weekday; returns `seconds`. Times beyond
// 2099 take 2100 for a leap year.
xp_time_t xp_time_to_fields(xp_time_t seconds, xp_time_fields* fields);
// The reading of the local clock, with the daylight offset of that moment; returns `seconds`. The
// season is judged by a reading at today's offset, so at the one of a year's two changes that
// begins today's season, an hour counts to the wrong side.
xp_time_t xp_time_to_local_fields(xp_time_t seconds, xp_time_fields* fields);
// Daylight offset in seconds at the moment that the fields tell by the local clock.
int32_t xp_time_daylight(const xp_time_fields* fields);
// The two rules of the year of `fields` in calendar order; 1, or 0 with both cleared when the zone
// has none. `fields` null: the current form, without the corrections for past years (United States
// rules before 2007, April's last Sunday before 1987). Without a zone: the United States' rules
// with one hour of daylight time.
int32_t xp_time_rules(const xp_time_fields* fields, xp_time_rule* first, xp_time_rule* second);

// Answers `function(seconds)` from a memo of a function that has two values and changes between
// them rarely, at least four weeks apart. The function is sampled once and refined on demand, so
// that it is hardly ever called. The memo is a block of the process heap, made at the first call
// and kept in `*memo` (null at first); when memory is out each call is the function's own. With
// `seconds` 0 frees the memo and returns function(0).
uint32_t xp_time_step_lookup(xp_time_t seconds, uint32_t** memo, uint32_t (*function)(xp_time_t));

// The clock; XP_TIME_INVALID in a year out of range.
xp_time_t xp_time_now();
// The reading of the local clock now, with a full year and the weekday.
xp_time_fields xp_time_local_now();
// The zone, at most about a second old; null when the platform has none.
const xp_zone_record* xp_time_zone();
// Local time minus UTC at this moment, in seconds, positive east of Greenwich; at most about a
// second old.
int32_t xp_time_local_offset();
