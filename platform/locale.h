// The user's conventions, one by one. Snapshots and caches of them are kept above the seam.
#pragma once

#include <stdint.h>

struct xp_time_fields;

enum xp_locale_item : int32_t {
  XP_LOCALE_DATE_SEPARATOR,
  XP_LOCALE_TIME_SEPARATOR,
  XP_LOCALE_AM,
  XP_LOCALE_PM,
  XP_LOCALE_DATE_ORDER,  // "0" month-day-year, "1" day-month-year, "2" year-month-day
  XP_LOCALE_POSITIVE_SIGN,
  XP_LOCALE_NEGATIVE_SIGN,
  XP_LOCALE_DECIMAL_POINT,
  XP_LOCALE_THOUSANDS_SEPARATOR,
  XP_LOCALE_GROUPING,            // group sizes from the right, "3;0": 3, repeating
  XP_LOCALE_MONTH_NAME,          // index 0 to 11, January first
  XP_LOCALE_MONTH_ABBREVIATION,  // index 0 to 11
  XP_LOCALE_DAY_NAME,            // index 0 to 6, Monday first
  XP_LOCALE_DAY_ABBREVIATION,    // index 0 to 6, Monday first
};

struct xp_locale_ops {
  // One convention as text with a NUL, in the platform's 8-bit code page. `index` is used by the
  // names only. `size` is in bytes. The result counts the NUL; 0 when there is no such value or
  // it doesn't fit. With `out` null the size needed.
  int32_t (*item_narrow)(xp_locale_item item, int32_t index, char* out, int32_t size);
  // The same as UTF-16; sizes in units.
  int32_t (*item_wide)(xp_locale_item item, int32_t index, char16_t* out, int32_t size);
  // A date in the user's short or long form, UTF-16 with a NUL; `fields` holds a full year. The
  // result counts the NUL, 0 on failure; with `out` null the size needed.
  int32_t (*date)(const xp_time_fields* fields, bool long_form, char16_t* out, int32_t size);
  // A time in the user's form, with or without seconds; as above.
  int32_t (*time)(const xp_time_fields* fields, bool seconds, char16_t* out, int32_t size);
};
