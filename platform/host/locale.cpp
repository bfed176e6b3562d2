// The user's conventions by ICU, in the forms that Windows gives them.
#include <string.h>
#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/unum.h>
#include <unicode/ustring.h>

#include "platform/host/host.h"
#include "time/xp_time.h"

namespace {

constexpr int32_t MOST_UNITS = 256;

// The formatters, opened on first use and kept: opening one costs as much as a thousand uses.
enum formatter : int32_t { SHORT_DATE, LONG_DATE, TIME_NO_SECONDS, TIME_SECONDS, FORMATTERS };

UDateFormat* formatters[FORMATTERS];
UNumberFormat* number_format;

// Windows writes the years of its short dates in full, and its times with a plain space.
int32_t to_windows_pattern(const char16_t* pattern, int32_t units, bool full_year, char16_t* out) {
  int32_t count = 0;
  bool quoted = false;
  for (int32_t i = 0; i < units && count < MOST_UNITS - 4; i++) {
    const char16_t c = pattern[i];
    quoted ^= c == u'\'';
    if (c == u'y' && full_year && !quoted) {
      while (i + 1 < units && pattern[i + 1] == u'y')
        i++;
      for (int32_t digit = 0; digit < 4; digit++)
        out[count++] = c;
      continue;
    }
    out[count++] = c == u'\u202F' || c == u'\u00A0' ? u' ' : c;
  }
  return count;
}

UDateFormat* open_formatter(formatter which) {
  // Dates of the system are Gregorian whatever the user's calendar.
  char locale[ULOC_FULLNAME_CAPACITY] = "";
  UErrorCode status = U_ZERO_ERROR;
  strncpy(locale, host_user_locale(), sizeof(locale) - 1);
  uloc_setKeywordValue("calendar", "gregorian", locale, sizeof(locale), &status);
  const UDateFormatStyle date = which == SHORT_DATE  ? UDAT_SHORT
                                : which == LONG_DATE ? UDAT_FULL
                                                     : UDAT_NONE;
  const UDateFormatStyle time = which == TIME_NO_SECONDS ? UDAT_SHORT
                                : which == TIME_SECONDS  ? UDAT_MEDIUM
                                                         : UDAT_NONE;
  UDateFormat* opened = udat_open(time, date, locale, u"Etc/UTC", -1, nullptr, 0, &status);
  if (U_FAILURE(status)) return nullptr;
  char16_t pattern[MOST_UNITS];
  char16_t adapted[MOST_UNITS];
  const int32_t units = udat_toPattern(opened, false, pattern, MOST_UNITS, &status);
  if (U_SUCCESS(status))
    udat_applyPattern(opened, false, adapted,
                      to_windows_pattern(pattern, units, which == SHORT_DATE, adapted));
  return opened;
}

UDateFormat* formatter_of(formatter which) {
  if (!formatters[which]) formatters[which] = open_formatter(which);
  return formatters[which];
}

UNumberFormat* numbers() {
  UErrorCode status = U_ZERO_ERROR;
  if (!number_format)
    number_format = unum_open(UNUM_DECIMAL, nullptr, 0, host_user_locale(), nullptr, &status);
  return number_format;
}

// ---- single values: each writes at most `capacity` units without a NUL and returns the whole
// length, negative when there is no such value ---------------------------------------------------

using item_reader = int32_t (*)(int32_t index, char16_t* out, int32_t capacity);

int32_t checked(int32_t units, UErrorCode status) {
  return U_SUCCESS(status) || status == U_BUFFER_OVERFLOW_ERROR ? units : -1;
}

int32_t short_pattern(formatter which, char16_t (&pattern)[MOST_UNITS]) {
  UErrorCode status = U_ZERO_ERROR;
  const UDateFormat* format = formatter_of(which);
  if (!format) return -1;
  const int32_t units = udat_toPattern(format, false, pattern, MOST_UNITS, &status);
  return U_SUCCESS(status) ? units : -1;
}

// Quotes of the pattern, and marks of the direction of writing, which Windows keeps out.
bool is_invisible(char16_t c) {
  return c == u'\'' || c == u'\u200E' || c == u'\u200F' || c == u'\u061C';
}

bool is_field(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

// What stands between the first two fields of the pattern.
int32_t separator_of(formatter which, char16_t* out, int32_t capacity) {
  char16_t pattern[MOST_UNITS];
  const int32_t units = short_pattern(which, pattern);
  int32_t start = 0;
  while (start < units && !is_field(pattern[start]))
    start++;
  while (start < units && is_field(pattern[start]))
    start++;
  int32_t count = 0;
  for (int32_t i = start; i < units && !is_field(pattern[i]); i++)
    if (!is_invisible(pattern[i])) {
      if (count < capacity) out[count] = pattern[i];
      count++;
    }
  return units < 0 ? -1 : count;
}

int32_t date_separator(int32_t, char16_t* out, int32_t capacity) {
  return separator_of(SHORT_DATE, out, capacity);
}

int32_t time_separator(int32_t, char16_t* out, int32_t capacity) {
  return separator_of(TIME_NO_SECONDS, out, capacity);
}

int32_t date_order(int32_t, char16_t* out, int32_t capacity) {
  char16_t pattern[MOST_UNITS];
  const int32_t units = short_pattern(SHORT_DATE, pattern);
  for (int32_t i = 0; i < units; i++) {
    const char16_t c = pattern[i];
    const char16_t order = c == u'M' || c == u'L' ? u'0' : c == u'd' ? u'1' : c == u'y' ? u'2' : 0;
    if (!order) continue;
    if (capacity > 0) out[0] = order;
    return 1;
  }
  return -1;
}

int32_t symbol(UDateFormatSymbolType type, int32_t index, char16_t* out, int32_t capacity) {
  const UDateFormat* format = formatter_of(LONG_DATE);
  if (!format || index < 0) return -1;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t units = udat_getSymbols(format, type, index, out, capacity, &status);
  return checked(units, status);
}

int32_t am(int32_t, char16_t* out, int32_t capacity) {
  return symbol(UDAT_AM_PMS, 0, out, capacity);
}

int32_t pm(int32_t, char16_t* out, int32_t capacity) {
  return symbol(UDAT_AM_PMS, 1, out, capacity);
}

int32_t month_name(int32_t index, char16_t* out, int32_t capacity) {
  return symbol(UDAT_STANDALONE_MONTHS, index, out, capacity);
}

int32_t month_abbreviation(int32_t index, char16_t* out, int32_t capacity) {
  return symbol(UDAT_STANDALONE_SHORT_MONTHS, index, out, capacity);
}

// ICU counts from 1, Sunday first.
int32_t icu_day(int32_t index) {
  return index < 0 || index > 6 ? -1 : (index + 1) % 7 + 1;
}

int32_t day_name(int32_t index, char16_t* out, int32_t capacity) {
  return symbol(UDAT_STANDALONE_WEEKDAYS, icu_day(index), out, capacity);
}

int32_t day_abbreviation(int32_t index, char16_t* out, int32_t capacity) {
  return symbol(UDAT_STANDALONE_SHORT_WEEKDAYS, icu_day(index), out, capacity);
}

int32_t number_symbol(UNumberFormatSymbol which, char16_t* out, int32_t capacity) {
  const UNumberFormat* format = numbers();
  if (!format) return -1;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t units = unum_getSymbol(format, which, out, capacity, &status);
  return checked(units, status);
}

int32_t positive_sign(int32_t, char16_t* out, int32_t capacity) {
  return number_symbol(UNUM_PLUS_SIGN_SYMBOL, out, capacity);
}

int32_t negative_sign(int32_t, char16_t* out, int32_t capacity) {
  return number_symbol(UNUM_MINUS_SIGN_SYMBOL, out, capacity);
}

int32_t decimal_point(int32_t, char16_t* out, int32_t capacity) {
  return number_symbol(UNUM_DECIMAL_SEPARATOR_SYMBOL, out, capacity);
}

int32_t thousands_separator(int32_t, char16_t* out, int32_t capacity) {
  return number_symbol(UNUM_GROUPING_SEPARATOR_SYMBOL, out, capacity);
}

// "3;0", or "3;2;0" where the groups further left have another size.
int32_t grouping(int32_t, char16_t* out, int32_t capacity) {
  const UNumberFormat* format = numbers();
  if (!format) return -1;
  const int32_t size = unum_getAttribute(format, UNUM_GROUPING_SIZE);
  const int32_t further = unum_getAttribute(format, UNUM_SECONDARY_GROUPING_SIZE);
  char16_t text[8];
  int32_t units = 0;
  if (size > 0 && size < 10) {
    text[units++] = static_cast<char16_t>(u'0' + size);
    text[units++] = u';';
    if (further > 0 && further < 10 && further != size) {
      text[units++] = static_cast<char16_t>(u'0' + further);
      text[units++] = u';';
    }
  }
  text[units++] = u'0';
  for (int32_t i = 0; i < units && i < capacity; i++)
    out[i] = text[i];
  return units;
}

// By xp_locale_item.
constexpr item_reader readers[] = {
    date_separator,
    time_separator,
    am,
    pm,
    date_order,
    positive_sign,
    negative_sign,
    decimal_point,
    thousands_separator,
    grouping,
    month_name,
    month_abbreviation,
    day_name,
    day_abbreviation,
};
static_assert(sizeof(readers) / sizeof(readers[0]) == XP_LOCALE_DAY_ABBREVIATION + 1);

// ---- the slots ---------------------------------------------------------------------------------

// `units` as a reader returns it, with `out` already filled: the slot's result.
int32_t finish(int32_t units, char16_t* out, int32_t size) {
  if (units < 0) return 0;
  if (!out) return units + 1;
  if (units >= size) return 0;
  out[units] = 0;
  return units + 1;
}

int32_t host_item_wide(xp_locale_item item, int32_t index, char16_t* out, int32_t size) {
  if (item < 0 || item > XP_LOCALE_DAY_ABBREVIATION || size < 0) return 0;
  return finish(readers[item](index, out, out ? size : 0), out, size);
}

// The 8-bit code page of this computer is UTF-8.
int32_t host_item_narrow(xp_locale_item item, int32_t index, char* out, int32_t size) {
  char16_t wide[MOST_UNITS];
  const int32_t units = host_item_wide(item, index, wide, MOST_UNITS);
  if (units == 0) return 0;
  return xp_text_to_utf8(wide, units, out, out ? size : 0);
}

// A date that exists, as ICU's milliseconds; false otherwise.
bool to_icu_date(const xp_time_fields* fields, UDate* out) {
  static constexpr uint8_t days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int32_t year = fields->year, month = fields->month;
  if (year < 1601 || month < 1 || month > 12 || fields->day < 1) return false;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (fields->day > days[month - 1] + (leap && month == 2)) return false;
  // Days from 1970 by years that begin in March.
  const int32_t march_year = year - (month < 3);
  const int32_t march_day = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + fields->day - 1;
  const int64_t day = int64_t{march_year} * 365 + march_year / 4 - march_year / 100 +
                      march_year / 400 + march_day - 719468;
  *out = static_cast<UDate>(day) * 86400000;
  return true;
}

int32_t format(formatter which, UDate date, char16_t* out, int32_t size) {
  const UDateFormat* opened = formatter_of(which);
  if (!opened || size < 0) return 0;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t units = udat_format(opened, date, out, out ? size : 0, nullptr, &status);
  return finish(checked(units, status), out, size);
}

int32_t host_date(const xp_time_fields* fields, bool long_form, char16_t* out, int32_t size) {
  UDate date = 0;
  if (!to_icu_date(fields, &date)) return 0;
  return format(long_form ? LONG_DATE : SHORT_DATE, date, out, size);
}

int32_t host_time(const xp_time_fields* fields, bool seconds, char16_t* out, int32_t size) {
  if (fields->hour > 23 || fields->minute > 59 || fields->second > 59) return 0;
  const UDate date = ((fields->hour * 60 + fields->minute) * 60 + fields->second) * 1000.0;
  return format(seconds ? TIME_SECONDS : TIME_NO_SECONDS, date, out, size);
}

}  // namespace

constinit const xp_locale_ops host_locale = {.item_narrow = host_item_narrow,
                                             .item_wide = host_item_wide,
                                             .date = host_date,
                                             .time = host_time};
