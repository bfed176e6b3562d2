// The user's conventions. The 8-bit form of an item is UTF-8 on every system: texts of the locale
// are printed among UTF-8 text, where bytes of another code page would be garbage.
#include "platform/windows/backend.h"
#include "time/xp_time.h"

namespace {

struct item_row {
  LCTYPE first;   // of index 0; the names of a kind have consecutive numbers
  int32_t count;  // how many there are
};

// By xp_locale_item. The system numbers days from Monday, as our items do.
constexpr item_row ITEMS[] = {
    {LOCALE_SDATE, 1},         {LOCALE_STIME, 1},           {LOCALE_S1159, 1},
    {LOCALE_S2359, 1},         {LOCALE_IDATE, 1},           {LOCALE_SPOSITIVESIGN, 1},
    {LOCALE_SNEGATIVESIGN, 1}, {LOCALE_SDECIMAL, 1},        {LOCALE_STHOUSAND, 1},
    {LOCALE_SGROUPING, 1},     {LOCALE_SMONTHNAME1, 12},    {LOCALE_SABBREVMONTHNAME1, 12},
    {LOCALE_SDAYNAME1, 7},     {LOCALE_SABBREVDAYNAME1, 7},
};
static_assert(sizeof ITEMS / sizeof *ITEMS == XP_LOCALE_DAY_ABBREVIATION + 1);

// Longest text of an item or a date that the system promises, in units with the NUL: 80.
constexpr int32_t ITEM_UNITS = 128;

// Room for the system calls: with a null `out` they measure, and for them a size of 0 means that,
// too, where ours means that nothing fits.
bool has_room(const void* out, int32_t size) {
  return !out || size > 0;
}

int32_t locale_item_wide(xp_locale_item item, int32_t index, char16_t* out, int32_t size) {
  if (static_cast<uint32_t>(item) > XP_LOCALE_DAY_ABBREVIATION || !has_room(out, size)) return 0;
  const item_row& row = ITEMS[item];
  if (row.count == 1) index = 0;
  if (index < 0 || index >= row.count) return 0;
  return GetLocaleInfoW(LOCALE_USER_DEFAULT, row.first + static_cast<LCTYPE>(index),
                        windows_wide(out), out ? size : 0);
}

int32_t locale_item_narrow(xp_locale_item item, int32_t index, char* out, int32_t size) {
  char16_t wide[ITEM_UNITS];
  const int32_t units = locale_item_wide(item, index, wide, ITEM_UNITS);
  if (!units || !has_room(out, size)) return 0;
  return xp_text_to_utf8(wide, units, out, out ? size : 0);
}

// The calls want a full year and look at no weekday.
SYSTEMTIME to_system(const xp_time_fields* fields) {
  SYSTEMTIME time = {};
  time.wYear = fields->year;
  time.wMonth = fields->month;
  time.wDay = fields->day;
  time.wDayOfWeek = fields->weekday;
  time.wHour = fields->hour;
  time.wMinute = fields->minute;
  time.wSecond = fields->second;
  return time;
}

int32_t locale_date(const xp_time_fields* fields, bool long_form, char16_t* out, int32_t size) {
  if (!has_room(out, size)) return 0;
  const SYSTEMTIME time = to_system(fields);
  return GetDateFormatW(LOCALE_USER_DEFAULT, long_form ? DATE_LONGDATE : DATE_SHORTDATE, &time,
                        nullptr, windows_wide(out), out ? size : 0);
}

int32_t locale_time(const xp_time_fields* fields, bool seconds, char16_t* out, int32_t size) {
  if (!has_room(out, size)) return 0;
  const SYSTEMTIME time = to_system(fields);
  return GetTimeFormatW(LOCALE_USER_DEFAULT, seconds ? 0 : TIME_NOSECONDS, &time, nullptr,
                        windows_wide(out), out ? size : 0);
}

}  // namespace

constinit const xp_locale_ops windows_locale = {.item_narrow = locale_item_narrow,
                                                .item_wide = locale_item_wide,
                                                .date = locale_date,
                                                .time = locale_time};
