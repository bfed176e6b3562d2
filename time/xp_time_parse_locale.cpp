// Dates and times as the user's locale writes them, and the cache of the values that takes.
#include <string.h>

#include "object/xp_str.h"
#include "time/xp_locale.h"
#include "time/xp_time_parse.h"

// ---- the locale's values -----------------------------------------------------------------------

namespace {

constexpr uint32_t CALLS_BETWEEN_READS = 10000;

struct {
  uint32_t calls;
  char date_separator[16];
  char time_separator[16];
  char am[16];
  char pm[16];
  int32_t order;
} conventions;

struct {
  uint32_t calls;
  char names[12][64];
} months;

void read_conventions() {
  xp_locale_read_text(XP_LOCALE_DATE_SEPARATOR, conventions.date_separator);
  xp_locale_read_text(XP_LOCALE_TIME_SEPARATOR, conventions.time_separator);
  xp_locale_read_half(XP_LOCALE_AM, "AM", conventions.am);
  xp_locale_read_half(XP_LOCALE_PM, "PM", conventions.pm);
  char order[16];
  xp_locale_read_text(XP_LOCALE_DATE_ORDER, order);
  conventions.order = order[0] ? order[0] - '0' : XP_DATE_MONTH_DAY_YEAR;
}

void refresh_conventions() {
  if (conventions.calls++ % CALLS_BETWEEN_READS == 0) read_conventions();
}

void read_months() {
  for (int32_t i = 0; i < 12; i++)
    if (xp_platform->locale->item_narrow(XP_LOCALE_MONTH_ABBREVIATION, i, months.names[i],
                                         sizeof(months.names[i])) <= 0)
      months.names[i][0] = 0;
}

// Whether the text begins with a word of ASCII letters, in any case. A NUL in the text differs.
bool begins_with_ascii(const char* text, const char* word) {
  const auto length = static_cast<int32_t>(strlen(word));
  return xp_text_compare_nocase(text, length, word, length) == 0;
}

bool is_ascii(const char* text, int32_t length) {
  for (int32_t i = 0; i < length; i++)
    if (text[i] & 0x80) return false;
  return true;
}

// The same with a word of the locale's, but no empty one. The platform is asked only where it knows
// better: beyond ASCII.
bool begins_with_word(const char* text, const char* word) {
  const auto length = static_cast<int32_t>(strlen(word));
  if (length == 0 || memchr(text, 0, static_cast<size_t>(length))) return false;
  if (begins_with_ascii(text, word)) return true;
  if (is_ascii(text, length) && is_ascii(word, length)) return false;
  return xp_platform->text->compare_narrow(text, length, word, length) == 0;
}

void copy_text(char* out, const char (&text)[16]) {
  if (out) memcpy(out, text, sizeof(text));
}

}  // namespace

void xp_time_locale(char* date_separator, char* time_separator, char* am, char* pm,
                    int32_t* order) {
  refresh_conventions();
  copy_text(date_separator, conventions.date_separator);
  copy_text(time_separator, conventions.time_separator);
  copy_text(am, conventions.am);
  copy_text(pm, conventions.pm);
  if (order) *order = conventions.order;
}

int32_t xp_time_month_name(const char* text, int32_t* month) {
  static constexpr char english[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  if (months.calls++ % CALLS_BETWEEN_READS == 0) read_months();
  // From the end, so that "Dec" and its kin are found before a shorter name that begins like them.
  for (int32_t i = 11; i >= 0; i--) {
    const bool by_locale = begins_with_word(text, months.names[i]);
    if (!by_locale && !begins_with_ascii(text, english[i])) continue;
    *month = i + 1;
    return by_locale ? static_cast<int32_t>(strlen(months.names[i])) : 3;
  }
  return 0;
}

// ---- the parser --------------------------------------------------------------------------------

namespace {

// Three numbers of a date in the order of reading, then the time.
enum number { FIRST, SECOND_NUMBER, THIRD, HOUR, MINUTE, SECOND, NUMBERS };

enum day_half { UNKNOWN_HALF, AM_HALF, PM_HALF };

struct reading {
  const char* at;
  char date_separator;
  char time_separator;
  uint16_t numbers[NUMBERS];  // modulo 65536, as long as it is
  int32_t current;
  int32_t date_separators;
  int32_t time_separators;
  day_half half;
};

bool is_time_separator(const reading& read, char c) {
  return c && (c == read.time_separator || c == ':');
}

void skip_spaces(reading& read) {
  while (*read.at == ' ')
    read.at++;
}

bool take_digit(reading& read) {
  const char c = *read.at;
  if (c < '0' || c > '9') return false;
  uint16_t& number = read.numbers[read.current];
  number = static_cast<uint16_t>(number * 10 + (c - '0'));
  read.at++;
  return true;
}

bool take_month_name(reading& read) {
  int32_t month = 0;
  if (read.numbers[read.current] != 0) return false;
  const int32_t bytes = xp_time_month_name(read.at, &month);
  if (bytes == 0) return false;
  read.numbers[read.current] = static_cast<uint16_t>(month);
  read.at += bytes;
  return true;
}

void read_date(reading& read) {
  while (*read.at) {
    if (*read.at == read.date_separator || *read.at == '/') {
      if (read.current == THIRD) return;
      read.current++;
      read.date_separators++;
      read.at++;
    } else if (!take_digit(read) && !take_month_name(read)) {
      return;
    }
  }
}

void read_time(reading& read) {
  while (read.current <= SECOND) {
    if (is_time_separator(read, *read.at)) {
      read.current++;
      read.time_separators++;
      read.at++;
    } else if (!take_digit(read)) {
      return;
    }
  }
}

// Passes over "PM" or "AM" or the locale's words for them.
void read_half(reading& read) {
  const struct {
    const char* word;
    bool by_locale;
    day_half half;
  } rows[] = {{conventions.pm, true, PM_HALF},
              {"PM", false, PM_HALF},
              {conventions.am, true, AM_HALF},
              {"AM", false, AM_HALF}};
  if (read.half != UNKNOWN_HALF || !*read.at) return;
  for (const auto& row : rows) {
    const bool found =
        row.by_locale ? begins_with_word(read.at, row.word) : begins_with_ascii(read.at, row.word);
    if (!found) continue;
    read.half = row.half;
    read.at += strlen(row.word);
    return;
  }
}

// Where each of month, day and year stands among the first three numbers.
struct order_row {
  number month, day, year;
};

order_row arrangement(int32_t order) {
  switch (order) {
    case XP_DATE_DAY_MONTH_YEAR:
      return {SECOND_NUMBER, FIRST, THIRD};
    case XP_DATE_YEAR_MONTH_DAY:
      return {SECOND_NUMBER, THIRD, FIRST};
    default:
      return {FIRST, SECOND_NUMBER, THIRD};
  }
}

// What has been read of a date is the hour.
void begin_with_time(reading& read) {
  read.numbers[HOUR] = read.numbers[FIRST];
  read.current = MINUTE;
}

bool read_date_and_time(reading& read) {
  skip_spaces(read);
  read_date(read);
  if (is_time_separator(read, *read.at)) {
    if (read.date_separators) return false;
    read.at++;
    read.time_separators++;
    begin_with_time(read);
  } else if (!read.date_separators) {
    begin_with_time(read);
  } else {
    skip_spaces(read);
    read_half(read);
    skip_spaces(read);
    read.current = HOUR;
  }
  read_time(read);
  skip_spaces(read);
  read_half(read);
  return read.date_separators || read.time_separators || read.half != UNKNOWN_HALF;
}

void put_today(reading& read, const order_row& order, const xp_time_fields& today) {
  read.numbers[order.month] = today.month;
  read.numbers[order.day] = today.day;
  read.numbers[order.year] = today.year;
}

bool put_fields(const reading& read, const order_row& order, xp_time_fields* fields) {
  const uint16_t month = read.numbers[order.month];
  const uint16_t day = read.numbers[order.day];
  uint16_t hour = read.numbers[HOUR];
  if (read.half != UNKNOWN_HALF) hour = static_cast<uint16_t>(hour % 12);
  if (read.half == PM_HALF) hour = static_cast<uint16_t>(hour + 12);
  const uint16_t second = read.numbers[SECOND];
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || read.numbers[MINUTE] > 59 ||
      second > 60)
    return false;
  fields->month = month;
  fields->day = day;
  fields->hour = hour;
  fields->minute = read.numbers[MINUTE];
  fields->second = second > 59 ? 59 : second;  // a leap second has no number of its own
  if (read.date_separators == 2) fields->year = read.numbers[order.year];
  return true;
}

}  // namespace

int32_t xp_time_parse_locale(const char* text, int32_t order, char separator,
                             xp_time_fields* fields) {
  if (!text || !fields) return 0;
  refresh_conventions();
  reading read = {};
  read.at = text;
  read.date_separator = separator ? separator : conventions.date_separator[0];
  read.time_separator = conventions.time_separator[0];
  const order_row arranged = arrangement(order);
  if (!read_date_and_time(read)) return 0;
  // A whole date leaves nothing to ask the clock for.
  xp_time_fields parsed = {};
  if (read.date_separators < 2) parsed = xp_time_local_now();
  if (read.date_separators == 0) put_today(read, arranged, parsed);
  if (!put_fields(read, arranged, &parsed)) return 0;
  xp_time_to_fields(xp_time_from_fields(&parsed), fields);
  return 1;
}
