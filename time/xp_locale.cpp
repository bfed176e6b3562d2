// The snapshot of the user's conventions, for one thread, as the whole system is.
#include "time/xp_locale.h"

#include <string.h>

#include "object/xp_ref.h"
#include "object/xp_str.h"

namespace {

enum formatter_kind : int32_t {
  MONTH_NAME = 1,
  MONTH_ABBREVIATION = 2,
  SHORT_DATE = 4,
  LONG_DATE = 5,
  TIME_NO_SECONDS = 6,
  TIME_WITH_SECONDS = 7,
  DAY_NAME = 8,
  DAY_ABBREVIATION = 9,
};

// Windows' own limit for a formatted date or time is below this, and so is the longest name.
constexpr int32_t WIDE_UNITS = 256;
constexpr int32_t TEXT_BYTES = WIDE_UNITS * 3 + 1;
constexpr int32_t NAME_BYTES = 64;
constexpr int32_t SHORT_BYTES = 16;

// ---- rendering ---------------------------------------------------------------------------------

int32_t render_wide(int32_t kind, const xp_time_fields& fields, char16_t* out) {
  const xp_locale_ops* locale = xp_platform->locale;
  const int32_t month = fields.month - 1;
  const int32_t day = (fields.weekday + 6) % 7;  // the platform's week begins on Monday
  switch (kind) {
    case MONTH_NAME:
      return locale->item_wide(XP_LOCALE_MONTH_NAME, month, out, WIDE_UNITS);
    case MONTH_ABBREVIATION:
      return locale->item_wide(XP_LOCALE_MONTH_ABBREVIATION, month, out, WIDE_UNITS);
    case DAY_NAME:
      return locale->item_wide(XP_LOCALE_DAY_NAME, day, out, WIDE_UNITS);
    case DAY_ABBREVIATION:
      return locale->item_wide(XP_LOCALE_DAY_ABBREVIATION, day, out, WIDE_UNITS);
    case SHORT_DATE:
    case LONG_DATE:
      return locale->date(&fields, kind == LONG_DATE, out, WIDE_UNITS);
    case TIME_NO_SECONDS:
    case TIME_WITH_SECONDS:
      return locale->time(&fields, kind == TIME_WITH_SECONDS, out, WIDE_UNITS);
    default:
      return 0;
  }
}

// `length`, or where whole UTF-8 characters end within `most` bytes. Text in another code page may
// lose three bytes too many.
int32_t cut_length(const char* text, int32_t length, int32_t most) {
  if (length <= most) return length;
  for (int32_t end = most; end > 0 && end >= most - 3; end--)
    if ((text[end] & 0xC0) != 0x80) return end;
  return most;
}

// `units` counts the NUL, 0 for no text. Writes at most `size` - 1 bytes of whole characters and a
// NUL, and returns the bytes; with `buffer` null the size needed.
int32_t put_text(const char16_t* wide, int32_t units, char* buffer, int32_t size) {
  char text[TEXT_BYTES];
  int32_t length = units > 1 ? xp_text_to_utf8(wide, units - 1, text, TEXT_BYTES - 1) : 0;
  if (!buffer) return length ? length + 1 : 0;
  length = cut_length(text, length, size - 1);
  memcpy(buffer, text, static_cast<size_t>(length));
  buffer[length] = 0;
  return length;
}

int32_t render(int32_t kind, const xp_time_fields* fields, char* buffer, int32_t size) {
  if (buffer && size > 0) buffer[0] = 0;
  if (!fields || (buffer && size <= 1)) return 0;
  xp_time_fields full = *fields;
  full.year = static_cast<uint16_t>(xp_time_years_since_1900(fields->year) + 1900);
  char16_t wide[WIDE_UNITS];
  return put_text(wide, render_wide(kind, full, wide), buffer, size);
}

// ---- loading -----------------------------------------------------------------------------------

xp_locale snapshot;

constexpr char english_months[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr char english_days[7][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

struct short_text {
  xp_locale_item item;
  char (xp_locale::*field)[SHORT_BYTES];
  const char* fallback;
};

// In UTF-8. Windows' usual positive sign is an empty text, which can't be told from none.
constexpr short_text number_texts[] = {
    {XP_LOCALE_POSITIVE_SIGN, &xp_locale::positive_sign, "+"},
    {XP_LOCALE_NEGATIVE_SIGN, &xp_locale::negative_sign, "-"},
    {XP_LOCALE_DECIMAL_POINT, &xp_locale::decimal_point, "."},
    {XP_LOCALE_THOUSANDS_SEPARATOR, &xp_locale::thousands_separator, ","},
};

// For one of the short texts above, which fit every field.
void put_default(char* field, const char* text) {
  memcpy(field, text, strlen(text) + 1);
}

void load_date_texts() {
  xp_locale_read_text(XP_LOCALE_DATE_SEPARATOR, snapshot.date_separator);
  xp_locale_read_text(XP_LOCALE_TIME_SEPARATOR, snapshot.time_separator);
  xp_locale_read_half(XP_LOCALE_AM, "AM", snapshot.am);
  xp_locale_read_half(XP_LOCALE_PM, "PM", snapshot.pm);
}

void load_number_texts() {
  for (const short_text& row : number_texts) {
    char16_t wide[WIDE_UNITS];
    const int32_t units = xp_platform->locale->item_wide(row.item, 0, wide, WIDE_UNITS);
    char(&field)[SHORT_BYTES] = snapshot.*row.field;
    if (put_text(wide, units, field, SHORT_BYTES) == 0) put_default(field, row.fallback);
  }
  memcpy(snapshot.money_thousands_separator, snapshot.thousands_separator, SHORT_BYTES);
}

// "3;2;0" becomes 3, 2, 0, 0xFF.
void load_grouping() {
  char16_t wide[WIDE_UNITS];
  const int32_t units = xp_platform->locale->item_wide(XP_LOCALE_GROUPING, 0, wide, WIDE_UNITS);
  const char16_t* text = units > 1 ? wide : u"3;0";
  int32_t count = 0;
  while (*text && count < SHORT_BYTES - 1) {
    uint32_t size = 0;
    for (; *text >= u'0' && *text <= u'9'; text++)
      size = size * 10 + (*text - u'0');
    snapshot.grouping[count++] = static_cast<uint8_t>(size);
    while (*text && *text != u';')
      text++;
    if (*text) text++;
  }
  snapshot.grouping[count] = 0xFF;
  memcpy(snapshot.money_grouping, snapshot.grouping, SHORT_BYTES);
}

// Names are asked for by rendering a date that has them, as any other text is. Without memory for
// the formatter the names are the English ones.
void load_month_names(int32_t kind, char (*names)[NAME_BYTES]) {
  xp_ref formatter(xp_object_new<xp_formatter>(XP_FORMATTER));
  if (formatter) formatter->kind = kind;
  for (uint16_t i = 0; i < 12; i++) {
    const xp_time_fields fields = {.year = 2006,
                                   .month = static_cast<uint16_t>(i + 1),
                                   .day = 15,
                                   .hour = 12,
                                   .minute = 0,
                                   .second = 0,
                                   .weekday = 0};
    if (xp_locale_text(formatter.get(), &fields, names[i]) == 0)
      put_default(names[i], english_months[i]);
  }
}

void load_day_names(int32_t kind, char (*names)[NAME_BYTES]) {
  constexpr uint16_t A_SUNDAY = 12;  // of February 2006
  xp_ref formatter(xp_object_new<xp_formatter>(XP_FORMATTER));
  if (formatter) formatter->kind = kind;
  for (uint16_t i = 0; i < 7; i++) {
    const xp_time_fields fields = {.year = 2006,
                                   .month = 2,
                                   .day = static_cast<uint16_t>(A_SUNDAY + i),
                                   .hour = 12,
                                   .minute = 0,
                                   .second = 0,
                                   .weekday = i};
    if (xp_locale_text(formatter.get(), &fields, names[i]) == 0)
      put_default(names[i], english_days[i]);
  }
}

void load() {
  load_date_texts();
  load_month_names(MONTH_NAME, snapshot.month_names);
  load_month_names(MONTH_ABBREVIATION, snapshot.month_abbreviations);
  load_day_names(DAY_NAME, snapshot.day_names);
  load_day_names(DAY_ABBREVIATION, snapshot.day_abbreviations);
  load_number_texts();
  load_grouping();
}

}  // namespace

void xp_locale_read_text(xp_locale_item item, char (&out)[16]) {
  if (xp_platform->locale->item_narrow(item, 0, out, sizeof(out)) <= 0) out[0] = 0;
}

void xp_locale_read_half(xp_locale_item item, const char* fallback, char (&out)[16]) {
  char whole[WIDE_UNITS];
  if (xp_platform->locale->item_narrow(item, 0, whole, sizeof(whole)) <= 0) whole[0] = 0;
  const char* text = whole;
  while (*text == ' ')
    text++;
  auto length = static_cast<int32_t>(strlen(text));
  while (length > 0 && text[length - 1] == ' ')
    length--;
  if (length == 0) {
    text = fallback;
    length = static_cast<int32_t>(strlen(fallback));
  }
  length = cut_length(text, length, SHORT_BYTES - 1);
  memcpy(out, text, static_cast<size_t>(length));
  out[length] = 0;
}

const xp_locale* xp_locale_get() {
  constexpr uint32_t CALLS_MASK = 0x1FFF;
  constexpr xp_time_t REFRESH_SECONDS = 600;
  if ((snapshot.call_count & CALLS_MASK) == 0) {
    const xp_time_t now = xp_time_now();
    if (now > snapshot.next_refresh) {
      snapshot.next_refresh = now + REFRESH_SECONDS;
      load();
    }
  }
  snapshot.call_count++;
  return &snapshot;
}

int32_t xp_locale_text(const xp_formatter* formatter, const xp_time_fields* fields, char* buffer) {
  if (buffer) buffer[0] = 0;
  if (!formatter) return 0;
  return render(formatter->kind, fields, buffer, NAME_BYTES);
}

int32_t xp_time_format(const xp_time_fields* fields, int32_t kind, char* buffer, int32_t size) {
  const bool known = kind >= XP_TIME_SHORT_DATE && kind <= XP_TIME_WITH_SECONDS;
  return render(known ? SHORT_DATE + (kind - XP_TIME_SHORT_DATE) : 0, fields, buffer, size);
}

int32_t xp_time_format_local(xp_time_t seconds, char* buffer, int32_t size) {
  xp_time_fields fields;
  xp_time_to_local_fields(seconds, &fields);
  return xp_time_format(&fields, XP_TIME_SHORT_DATE, buffer, size);
}
