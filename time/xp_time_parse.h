// Date text to time. No parser reports more than success: 0 is both "can't be read" and the first
// moment of 1970.
//
// The compact form is digit pairs, as many as there are of century, year, month, day, hour, minute,
// second; then "Z" for UTC, "L" or nothing for local time, or a sign with hours and minutes east of
// Greenwich; then blanks. What is left out is January, the 1st, midnight: "20120102030405+0100",
// "201202Z".
#pragma once

#include "time/xp_time.h"

// Any date text: the compact form, also with "-", ":" and blanks between the pairs, the ISO 8601
// form with date, time and zone, or a date and time as the user's locale writes them (without ":"
// the time of day is midnight). `length` in bytes, negative to measure to the NUL; of a text with a
// length, whole characters within its first 63 bytes count. 0 when the text can't be read,
// XP_TIME_INVALID when a compact or ISO form has a year out of range.
xp_time_t xp_time_parse_any(const char* text, int32_t length);

// The compact form. 0 when it isn't valid, XP_TIME_INVALID for a year out of range.
xp_time_t xp_time_parse(const char* text);
// The compact form to UTC fields; `fields` null only tests the text. 1 or 0, and then `fields` is
// untouched. `weekday` is set only when a local time was moved to UTC. A year out of range stays as
// it is written, and in local time.
int32_t xp_time_parse_fields(const char* text, xp_time_fields* fields);

// ISO 8601, "2012-01-02T03:04:05" with an optional fraction, which is dropped, and a zone: "Z",
// "+0100" or "+01:00". Null gives 0; otherwise as xp_time_parse.
xp_time_t xp_time_parse_iso(const char* text);

// ---- as the user writes dates ------------------------------------------------------------------

// Order of the numbers of a date; anything else is month, day, year, too.
enum xp_date_order : int32_t {
  XP_DATE_MONTH_DAY_YEAR = 0,
  XP_DATE_DAY_MONTH_YEAR = 1,
  XP_DATE_YEAR_MONTH_DAY = 2,
};

// A date, a time, or both, to fields of the local clock with the weekday; 1 or 0. What the text
// leaves out is today, or midnight. `separator` between the numbers of the date, 0 for the locale's
// own; "/" is one as well. A day behind the month's end is one of the next month. Text behind the
// time isn't looked at.
int32_t xp_time_parse_locale(const char* text, int32_t order, char separator,
                             xp_time_fields* fields);

// Copies of the locale's values: texts of 16 bytes with their NUL, an xp_date_order. Null outputs
// are passed over. The platform is asked at the first call and every 10000th.
void xp_time_locale(char* date_separator, char* time_separator, char* am, char* pm, int32_t* order);

// The month that the text begins with, by the locale's short names or the English ones, in any
// case: stores 1 to 12 and returns the bytes to pass over. 0 for none, and `month` is untouched.
int32_t xp_time_month_name(const char* text, int32_t* month);
