// The user's conventions in one process-wide snapshot, so that printing doesn't go to the
// platform, and the dates and times by the platform's own formats.
#pragma once

#include "object/xp_object.h"
#include "time/xp_time.h"

// Texts are UTF-8 with a NUL, but the first four, which are in the platform's 8-bit code page.
struct xp_locale {
  uint32_t call_count;     // calls of xp_locale_get
  xp_time_t next_refresh;  // no reload before
  char date_separator[16];
  char time_separator[16];
  char am[16];
  char pm[16];
  char month_names[12][64];
  char month_abbreviations[12][64];
  char day_names[7][64];  // Sunday first
  char day_abbreviations[7][64];
  char positive_sign[16];
  char negative_sign[16];
  char decimal_point[16];
  char thousands_separator[16];
  uint8_t grouping[16];  // group sizes from the right; 0 repeats the one before; 0xFF ends
  char money_thousands_separator[16];
  uint8_t money_grouping[16];
};

// The snapshot; the pointer stays valid for the process. On the first call and every 8192nd the
// clock is read, and when ten minutes have passed everything is loaded anew. What the platform
// doesn't tell is English: short names, "AM", "PM", "+", "-", ".", ",", groups of three.
const xp_locale* xp_locale_get();

enum xp_time_format_kind : int32_t {
  XP_TIME_SHORT_DATE = 3,
  XP_TIME_LONG_DATE = 4,
  XP_TIME_NO_SECONDS = 5,
  XP_TIME_WITH_SECONDS = 6,
};

// A date or time in the platform's form, UTF-8 with a NUL, cut to `size` bytes; returns the bytes
// without the NUL. A cut never splits a character. 0 for an unknown kind, for null fields and for
// a `size` of 1 or less. `buffer` null: the size needed, with the NUL.
int32_t xp_time_format(const xp_time_fields* fields, int32_t kind, char* buffer, int32_t size);
// The short date of the local reading of `seconds`.
int32_t xp_time_format_local(xp_time_t seconds, char* buffer, int32_t size);

// One convention in the platform's 8-bit code page as it is; empty when there is none or when it
// has more than 15 bytes.
void xp_locale_read_text(xp_locale_item item, char (&out)[16]);
// The text of a half of the day, without blanks at both ends and cut to 15 bytes; `fallback` when
// that leaves nothing.
void xp_locale_read_half(xp_locale_item item, const char* fallback, char (&out)[16]);

// ---- `fmtr`, what the reload of the snapshot asks names with --------------------------------

constexpr uint32_t XP_FORMATTER = xp_tag("fmtr");

struct xp_formatter : xp_object {
  int32_t kind;  // 1, 2 month name, full and short; 4, 5 date, short and long; 6, 7 time, without
                 // and with seconds; 8, 9 day name, full and short
};

// Renders into 64 bytes (63 and a NUL); returns the bytes, 0 for a null formatter and for any other
// kind than those. `buffer` null: the size needed, with the NUL.
int32_t xp_locale_text(const xp_formatter* formatter, const xp_time_fields* fields, char* buffer);
