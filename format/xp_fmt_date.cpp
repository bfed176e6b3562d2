// Date conversions: the system's own strftime, and the directives that print a time value.
#include <string.h>

#include "format/xp_fmt.h"
#include "format/xp_fmt_engine.h"
#include "time/xp_locale.h"
#include "time/xp_time.h"

namespace {

// ---- what the letters print ------------------------------------------------------------------

// 0 where the calendar doesn't reach.
int32_t day_of_year(const xp_time_fields* fields) {
  if (xp_time_years_since_1900(fields->year) > XP_TIME_LAST_YEAR) return 0;
  return xp_time_day_of_year(fields);
}

int32_t weekday_of(const xp_time_fields* fields) {
  return fields->weekday % 7;
}

int32_t year_length(int32_t year) {
  return year % 4 == 0 ? 366 : 365;
}

// The day of the year on which week 1 begins, -3 to 3, in a year whose day `day` has that weekday.
int32_t first_iso_monday(int32_t day, int32_t weekday) {
  constexpr int32_t POSITIVE = 7 * 60;
  return (day - weekday + 11 + POSITIVE) % 7 - 3;
}

struct iso_week {
  int32_t year;
  int32_t week;
};

// ISO 8601: week 1 is the one with the year's first Thursday.
iso_week find_iso_week(const xp_time_fields* fields) {
  const int32_t weekday = weekday_of(fields);
  int32_t year = fields->year;
  int32_t day = day_of_year(fields);
  const int32_t length = year_length(year);
  const int32_t next = length + first_iso_monday(day - length, weekday);
  if (day >= next) return {year + 1, 1};

  int32_t monday = first_iso_monday(day, weekday);
  if (day < monday) {
    // The year before 2000 in its short form is 99.
    year = year > 0 ? year - 1 : 99;
    day += year_length(year);
    monday = first_iso_monday(day, weekday);
  }
  return {year, (day - monday) / 7 + 1};
}

uint32_t hour_of_12(const xp_time_fields* fields) {
  const uint32_t hour = fields->hour % 12u;
  return hour == 0 ? 12 : hour;
}

// Weeks that begin `start` days after Sunday.
uint32_t week_from(const xp_time_fields* fields, int32_t start) {
  return static_cast<uint32_t>((day_of_year(fields) - (weekday_of(fields) + 7 - start) % 7 + 7) /
                               7);
}

// Local time minus UTC, in seconds, where the local clock reads these fields.
int32_t zone_offset(const xp_time_fields* fields) {
  const xp_zone_record* zone = xp_time_zone();
  return xp_time_daylight(fields) - (zone ? zone->bias * 60 : 0);
}

using fields_number = uint32_t (*)(const xp_time_fields*);
using fields_text = const char* (*)(const xp_time_fields*);

struct letter_row;
using letter_print = void (*)(xp_fmt_sink* out, const xp_time_fields* fields,
                              const letter_row* row);

// One letter and how it prints.
struct letter_row {
  letter_print print;
  const char* text;  // a text or a format of other letters
  int32_t digits;    // least digits, filled with zeros; negative: least places, with blanks
  int32_t form;      // of the locale, an xp_time_format_kind
  char letter;
};

void put_long_number(xp_fmt_sink* out, uint32_t value, int32_t least, char fill) {
  char digits[16];
  int32_t start = sizeof(digits);
  do
    digits[--start] = static_cast<char>('0' + value % 10);
  while (value /= 10);
  while (static_cast<int32_t>(sizeof(digits)) - start < least)
    digits[--start] = fill;
  xp_fmt_put(out, digits + start, sizeof(digits) - static_cast<size_t>(start));
}

// Most numbers have one or two digits, and room.
template <fields_number number>
void put_number(xp_fmt_sink* out, const xp_time_fields* fields, const letter_row* row) {
  const uint32_t value = number(fields);
  const char fill = row->digits < 0 ? ' ' : '0';
  const int32_t least = row->digits < 0 ? -row->digits : row->digits;
  if (least != 2 || value > 99 || !out->at || out->room < 2)
    return put_long_number(out, value, least, fill);
  out->at[0] = value < 10 ? fill : static_cast<char>('0' + value / 10);
  out->at[1] = static_cast<char>('0' + value % 10);
  xp_fmt_advance(out, 2);
}

// Nothing when the field is out of range.
template <fields_text name>
void put_name(xp_fmt_sink* out, const xp_time_fields* fields, const letter_row*) {
  if (const char* text = name(fields)) xp_fmt_put_characters(out, text);
}

void put_text(xp_fmt_sink* out, const xp_time_fields*, const letter_row* row) {
  xp_fmt_put(out, row->text, strlen(row->text));
}

void put_form(xp_fmt_sink* out, const xp_time_fields* fields, int32_t form) {
  char text[256];
  text[0] = 0;
  xp_time_format(fields, form, text, sizeof(text));
  xp_fmt_put_characters(out, text);
}

void put_locale(xp_fmt_sink* out, const xp_time_fields* fields, const letter_row* row) {
  put_form(out, fields, row->form);
}

void put_zone(xp_fmt_sink* out, const xp_time_fields* fields, const letter_row*) {
  const int32_t seconds = zone_offset(fields);
  const int32_t minutes = (seconds < 0 ? -seconds : seconds) / 60;
  char text[16];
  const int32_t length = xp_fmt_print(text, sizeof(text), "%s%02ld%02ld", seconds < 0 ? "-" : "+",
                                      minutes / 60, minutes % 60);
  xp_fmt_put(out, text, static_cast<size_t>(length));
}

void put_letters(xp_fmt_sink* out, const xp_time_fields* fields, const letter_row* row);

constexpr letter_row text(char letter, const char* value) {
  return {put_text, value, 0, 0, letter};
}
constexpr letter_row letters(char letter, const char* format) {
  return {put_letters, format, 0, 0, letter};
}
constexpr letter_row locale(char letter, xp_time_format_kind form) {
  return {put_locale, nullptr, 0, form, letter};
}
template <fields_number value>
constexpr letter_row number(char letter, int32_t digits) {
  return {put_number<value>, nullptr, digits, 0, letter};
}
template <fields_text value>
constexpr letter_row name(char letter) {
  return {put_name<value>, nullptr, 0, 0, letter};
}

const char* day_abbreviation(const xp_time_fields* f) {
  return f->weekday > 6 ? nullptr : xp_locale_get()->day_abbreviations[f->weekday];
}
const char* day_name(const xp_time_fields* f) {
  return f->weekday > 6 ? nullptr : xp_locale_get()->day_names[f->weekday];
}
bool has_month(const xp_time_fields* f) {
  return f->month >= 1 && f->month <= 12;
}
const char* month_abbreviation(const xp_time_fields* f) {
  return has_month(f) ? xp_locale_get()->month_abbreviations[f->month - 1] : nullptr;
}
const char* month_name(const xp_time_fields* f) {
  return has_month(f) ? xp_locale_get()->month_names[f->month - 1] : nullptr;
}

const char* half_of_day(const xp_time_fields* f) {
  const xp_locale* conventions = xp_locale_get();
  return f->hour < 12 ? conventions->am : conventions->pm;
}
const char* date_separator(const xp_time_fields*) {
  return xp_locale_get()->date_separator;
}
const char* time_separator(const xp_time_fields*) {
  return xp_locale_get()->time_separator;
}

using fields_in = const xp_time_fields*;

constexpr letter_row letter_rows[] = {
    // clang-format off
    name<day_abbreviation>('a'),
    name<day_name>('A'),
    name<month_abbreviation>('b'),
    name<month_name>('B'),
    letters('c', "%a %b %e %H:%M:%S %Y"),
    number<[](fields_in f) { return f->year / 100u; }>('C', 2),
    number<[](fields_in f) { return uint32_t{f->day}; }>('d', 2),
    letters('D', "%m/%d/%y"),
    number<[](fields_in f) { return uint32_t{f->day}; }>('e', -2),
    text('f', "000000"),  // the time has no fractions
    letters('F', "%Y-%m-%d"),
    number<[](fields_in f) { return static_cast<uint32_t>(find_iso_week(f).year % 100); }>('g', 2),
    number<[](fields_in f) { return static_cast<uint32_t>(find_iso_week(f).year); }>('G', 4),
    name<month_abbreviation>('h'),
    number<[](fields_in f) { return uint32_t{f->hour}; }>('H', 2),
    number<hour_of_12>('I', 2),
    number<[](fields_in f) { return static_cast<uint32_t>(day_of_year(f) + 1); }>('j', 3),
    number<[](fields_in f) { return uint32_t{f->hour}; }>('k', -2),
    number<hour_of_12>('l', -2),
    number<[](fields_in f) { return uint32_t{f->month}; }>('m', 2),
    number<[](fields_in f) { return uint32_t{f->minute}; }>('M', 2),
    text('n', "\n"),
    name<half_of_day>('p'),
    locale('Q', XP_TIME_NO_SECONDS),
    letters('r', "%I:%M:%S %p"),
    letters('R', "%H:%M"),
    number<xp_time_from_fields>('s', 0),
    number<[](fields_in f) { return uint32_t{f->second}; }>('S', 2),
    text('t', "\t"),
    letters('T', "%H:%M:%S"),
    number<[](fields_in f) { return f->weekday == 0 ? 7u : f->weekday; }>('u', 0),
    number<[](fields_in f) { return week_from(f, 0); }>('U', 2),
    letters('v', "%e-%b-%Y"),
    number<[](fields_in f) { return static_cast<uint32_t>(find_iso_week(f).week); }>('V', 2),
    number<[](fields_in f) { return uint32_t{f->weekday}; }>('w', 0),
    number<[](fields_in f) { return week_from(f, 1); }>('W', 2),
    locale('x', XP_TIME_LONG_DATE),
    locale('X', XP_TIME_WITH_SECONDS),
    number<[](fields_in f) { return f->year % 100u; }>('y', 2),
    number<[](fields_in f) { return uint32_t{f->year}; }>('Y', 4),
    {put_zone, nullptr, 0, 0, 'z'},
    text('Z', "?"),  // zone names are not kept
    letters('+', "%a, %d %b %Y %H:%M:%S %z"),
    name<date_separator>('/'),
    name<time_separator>(':'),
    // clang-format on
};

// Where the row of a letter stands, plus 1; 0 for a character that prints itself.
struct letter_table {
  uint8_t of[256];
};

consteval letter_table make_letter_table() {
  letter_table table = {};
  uint8_t place = 0;
  for (const letter_row& row : letter_rows)
    table.of[static_cast<uint8_t>(row.letter)] = ++place;
  return table;
}

constexpr letter_table letter_places = make_letter_table();

// ---- the walk over a format ------------------------------------------------------------------

// `end` null: the format ends at its NUL. It does so anyway when one comes earlier.
void put_date(xp_fmt_sink* out, const char* at, const char* end, const xp_time_fields* fields,
              char escape) {
  while (at != end && *at && (!out->at || out->room > 0)) {
    if (*at != escape) {
      // One character between two directives is the rule.
      if (out->at && at + 1 != end && at[1] == escape) {
        *out->at = *at++;
        xp_fmt_advance(out, 1);
        continue;
      }
      at = xp_fmt_put_until(out, at, end, escape);
      continue;
    }
    do
      at++;
    while (at != end && (*at == 'E' || *at == 'O'));  // modifiers change nothing
    if (at == end || !*at) return;
    const uint8_t place = letter_places.of[static_cast<uint8_t>(*at)];
    if (place) {
      const letter_row& row = letter_rows[place - 1];
      row.print(out, fields, &row);
    } else {
      xp_fmt_put(out, at, 1);
    }
    at++;
  }
}

void put_letters(xp_fmt_sink* out, const xp_time_fields* fields, const letter_row* row) {
  put_date(out, row->text, nullptr, fields, '%');
}

}  // namespace

int32_t xp_fmt_date(char* buffer, int32_t size, const char* format, int32_t length,
                    const xp_time_fields* fields, char escape) {
  if (buffer && size < 1) return 0;
  xp_fmt_sink out = {buffer, size - 1, 0};
  if (format && fields)
    put_date(&out, format, length < 0 ? nullptr : format + length, fields, escape ? escape : '%');
  if (out.at) *out.at = 0;
  return out.written;
}

// ---- conversions -----------------------------------------------------------------------------

// Digits alone: with the zone offset for a local clock, with a Z for UTC. It is printed whole or
// not at all.
static int32_t put_compact(const xp_fmt_directive* directive, const xp_time_fields* fields,
                           bool universal) {
  char text[64];
  xp_fmt_sink zone = {text, sizeof(text) - 1, 0};
  uint32_t year = fields->year;
  year += year < 70 ? 2000 : year < 1900 ? 1900 : 0;
  const int32_t digits =
      xp_fmt_print(text, sizeof(text), "%04d%02d%02d%02d%02d%02d", year, fields->month, fields->day,
                   fields->hour, fields->minute, fields->second);
  xp_fmt_advance(&zone, digits);
  if (universal)
    xp_fmt_put(&zone, "Z", 1);
  else
    put_zone(&zone, fields, nullptr);
  if (!directive->out) return zone.written;
  if (zone.written >= xp_fmt_limit_with_nul(directive)) return 0;
  memcpy(directive->out, text, static_cast<size_t>(zone.written));
  return zone.written;
}

// By the sub-format, or in the forms of the locale: the date, with a plus the time, too, when more
// than the blank between them fits.
static int32_t put_fields(const xp_fmt_directive* directive, const xp_time_fields* fields) {
  xp_fmt_sink out = {directive->out, directive->limit, 0};
  if (directive->sub_format_length > 0) {
    put_date(&out, directive->sub_format, directive->sub_format + directive->sub_format_length,
             fields, '#');
    return out.written;
  }
  put_form(&out, fields, XP_TIME_SHORT_DATE);
  if (directive->flags & XP_FMT_PLUS && (!out.at || out.room > 1)) {
    xp_fmt_put(&out, " ", 1);
    put_form(&out, fields, XP_TIME_WITH_SECONDS);
  }
  return out.written;
}

// 32 bits unless 64 were asked for. Only the test for 0 needs more than a time value holds.
static uint64_t take_time(const xp_fmt_directive* directive) {
  const uint64_t slot = xp_fmt_take(directive->arguments);
  return directive->flags & XP_FMT_64 ? slot : static_cast<uint32_t>(slot);
}

// The value is a clock reading already; no zone is applied.
int32_t xp_fmt_convert_time(const xp_fmt_directive* directive) {
  const uint64_t value = take_time(directive);
  const xp_time_t seconds = value != 0
                                ? static_cast<xp_time_t>(value)
                                : xp_time_now() + static_cast<xp_time_t>(xp_time_local_offset());
  xp_time_fields fields;
  xp_time_to_fields(seconds, &fields);
  if (directive->flags & XP_FMT_ALTERNATE && directive->sub_format_length <= 0)
    return put_compact(directive, &fields, false);
  return put_fields(directive, &fields);
}

// The value is Universal Time, shown by the local clock but in the compact form.
int32_t xp_fmt_convert_local_time(const xp_fmt_directive* directive) {
  const uint64_t value = take_time(directive);
  const xp_time_t seconds = value != 0 ? static_cast<xp_time_t>(value) : xp_time_now();
  xp_time_fields fields;
  if (directive->flags & XP_FMT_ALTERNATE && directive->sub_format_length <= 0) {
    xp_time_to_fields(seconds, &fields);
    return put_compact(directive, &fields, true);
  }
  xp_time_to_local_fields(seconds, &fields);
  return put_fields(directive, &fields);
}
