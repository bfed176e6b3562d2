#include "time/xp_time_parse.h"

#include <string.h>

#include "object/xp_ascii.h"
#include "object/xp_str.h"

// ---- the compact form --------------------------------------------------------------------------

namespace {

enum part { CENTURY, YEAR, MONTH, DAY, HOUR, MINUTE, SECOND, ZONE_HOURS, ZONE_MINUTES, PARTS };

// Month and day count from 0 here. The zone is what leads to UTC.
struct compact_date {
  int32_t part[PARTS];
  bool local;
};

// Largest value of a pair, and what is taken off it to count from 0. The day's own limit is the
// length of its month.
struct pair_row {
  int32_t most;
  int32_t base;
};

constexpr pair_row pairs[PARTS] = {{99, 0}, {99, 0}, {11, 1}, {31, 1}, {23, 0},
                                   {59, 0}, {59, 0}, {13, 0}, {59, 0}};

const char* skip_spaces(const char* text) {
  while (*text == ' ')
    text++;
  return text;
}

bool read_pair(const char*& text, part which, compact_date* date) {
  if (!xp_ascii_is_digit(text[0]) || !xp_ascii_is_digit(text[1])) return false;
  const int32_t value = (text[0] - '0') * 10 + (text[1] - '0') - pairs[which].base;
  if (value < 0 || value > pairs[which].most) return false;
  text += 2;
  date->part[which] = value;
  return true;
}

int32_t month_length(const compact_date& date) {
  static constexpr uint8_t lengths[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int32_t month = date.part[MONTH];
  const int32_t year = date.part[YEAR];
  const bool common_year = year % 4 != 0 || (year == 0 && date.part[CENTURY] % 4 != 0);
  return lengths[month] - (month == 1 && common_year);
}

bool ends_pairs(char c) {
  return c == 'Z' || c == 'L' || c == '+' || c == '-' || c == 0;
}

bool read_zone(const char*& text, compact_date* date) {
  const char marker = *text;
  if (marker == 'Z' || marker == 'L' || marker == 0) {
    date->local = marker != 'Z';
    text += marker != 0;
    return true;
  }
  if (marker != '+' && marker != '-') return false;
  text++;
  if (!read_pair(text, ZONE_HOURS, date) || !read_pair(text, ZONE_MINUTES, date)) return false;
  if (marker == '+') {
    date->part[ZONE_HOURS] = -date->part[ZONE_HOURS];
    date->part[ZONE_MINUTES] = -date->part[ZONE_MINUTES];
  }
  return true;
}

bool read_compact(const char* text, compact_date* date) {
  if (!text || !*text) return false;
  text = skip_spaces(text);
  for (int32_t i = CENTURY; i <= SECOND && !ends_pairs(*text); i++)
    if (!read_pair(text, static_cast<part>(i), date) || date->part[DAY] >= month_length(*date))
      return false;
  return read_zone(text, date) && *skip_spaces(text) == 0;
}

// Brings a part back below `count` and returns what goes to the part above it: -1, 0 or 1.
int32_t carry(int32_t& value, int32_t count) {
  const int32_t carried = value < 0 ? -1 : value >= count;
  value -= carried * count;
  return carried;
}

// A zone moves the time by less than a day, so no part is carried by more than one.
void add_zone(compact_date* date) {
  int32_t* part = date->part;
  part[MINUTE] += part[ZONE_MINUTES];
  part[HOUR] += part[ZONE_HOURS] + carry(part[MINUTE], 60);
  part[DAY] += carry(part[HOUR], 24);
  const bool earlier = part[DAY] < 0;
  const bool later = part[DAY] >= month_length(*date);
  if (!earlier && !later) return;
  part[MONTH] += later ? 1 : -1;
  part[YEAR] += carry(part[MONTH], 12);
  part[CENTURY] += carry(part[YEAR], 100);
  part[DAY] = later ? 0 : month_length(*date) - 1;
}

// What leads from a reading of the local clock to UTC, in seconds.
uint32_t to_utc(const xp_time_fields& local) {
  const auto daylight = static_cast<uint32_t>(xp_time_daylight(&local));
  const xp_zone_record* zone = xp_time_zone();
  return (zone ? static_cast<uint32_t>(zone->bias) * 60 : 0) - daylight;
}

bool in_range(const xp_time_fields& fields) {
  return xp_time_years_since_1900(fields.year) <= XP_TIME_LAST_YEAR;
}

bool compact_to_fields(const char* text, xp_time_fields* fields) {
  compact_date date = {};
  if (!read_compact(text, &date)) return false;
  add_zone(&date);
  *fields = {.year = static_cast<uint16_t>(date.part[CENTURY] * 100 + date.part[YEAR]),
             .month = static_cast<uint16_t>(date.part[MONTH] + 1),
             .day = static_cast<uint16_t>(date.part[DAY] + 1),
             .hour = static_cast<uint16_t>(date.part[HOUR]),
             .minute = static_cast<uint16_t>(date.part[MINUTE]),
             .second = static_cast<uint16_t>(date.part[SECOND]),
             .weekday = fields->weekday};
  // A year out of range has no time that could be moved.
  if (!date.local || !in_range(*fields)) return true;
  const uint32_t shift = to_utc(*fields);
  if (shift) xp_time_to_fields(xp_time_from_fields(fields) + shift, fields);
  return true;
}

}  // namespace

int32_t xp_time_parse_fields(const char* text, xp_time_fields* fields) {
  xp_time_fields parsed = {};
  if (fields) parsed.weekday = fields->weekday;
  if (!compact_to_fields(text, &parsed)) return 0;
  if (fields) *fields = parsed;
  return 1;
}

xp_time_t xp_time_parse(const char* text) {
  xp_time_fields fields = {};
  return compact_to_fields(text, &fields) ? xp_time_from_fields(&fields) : XP_TIME_NONE;
}

// ---- ISO 8601 ----------------------------------------------------------------------------------

xp_time_t xp_time_parse_iso(const char* text) {
  constexpr size_t ZONE = 19;  // where the zone or the fraction stands
  // Indexes of what is copied of "2012-01-02T03:04:05"; the compact parser checks the digits.
  static constexpr uint8_t digits[14] = {0, 1, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, 17, 18};
  if (!text) return XP_TIME_NONE;
  size_t length = strlen(text);
  if (length < ZONE + 1 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':')
    return XP_TIME_NONE;
  char compact[20] = "";
  char* out = compact;
  for (const uint8_t index : digits)
    *out++ = text[index];

  const char* zone = text + ZONE;
  if (*zone == '.') {
    zone++;
    while (xp_ascii_is_digit(*zone))
      zone++;
    length -= static_cast<size_t>(zone - text) - ZONE;
  }
  const char sign = *zone;
  if (length < ZONE + 1 || (sign != '+' && sign != '-' && sign != 'Z')) return XP_TIME_NONE;
  *out++ = sign;
  if (sign == 'Z') return xp_time_parse(compact);
  if (length < ZONE + 5) return XP_TIME_NONE;
  *out++ = zone[1];
  *out++ = zone[2];
  const bool colon = zone[3] == ':';
  if (colon && length < ZONE + 6) return XP_TIME_NONE;
  *out++ = zone[3 + colon];
  *out++ = zone[4 + colon];
  return xp_time_parse(compact);
}

// ---- any form ----------------------------------------------------------------------------------

namespace {

constexpr int32_t MOST_BYTES = 63;

enum seen : uint16_t {
  NOTHING = 0,
  DIGIT = 0x001,
  SPACE = 0x002,
  COLON = 0x004,
  MINUS = 0x008,
  SLASH = 0x010,
  PLUS = 0x020,
  LETTER_L = 0x080,
  LETTER_T = 0x100,
  POINT = 0x200,
  OTHER = 0x400,
};

struct seen_table {
  uint16_t of[256];
};

constexpr struct {
  uint8_t byte;
  seen flag;
} known_characters[] = {{' ', SPACE},    {':', COLON},    {'-', MINUS}, {'/', SLASH},  {'+', PLUS},
                        {'L', LETTER_L}, {'T', LETTER_T}, {'.', POINT}, {'Z', NOTHING}};

consteval seen_table make_seen_table() {
  seen_table table = {};
  for (int c = 33; c < 128; c++)
    table.of[c] = OTHER;
  for (int c = '0'; c <= '9'; c++)
    table.of[c] = DIGIT;
  for (const auto& row : known_characters)
    table.of[row.byte] = row.flag;
  return table;
}

constexpr seen_table seen_of = make_seen_table();

// Leaves out what may stand between the pairs: blanks, colons, a fraction, and the "-" of the date.
// A later "-" is the sign of a zone.
xp_time_t parse_separated(const char* text) {
  constexpr int32_t DATE_END = 7;
  char compact[MOST_BYTES + 1] = {};
  int32_t count = 0;
  for (int32_t i = 0; text[i] && count < MOST_BYTES; i++) {
    const char c = text[i];
    if (c == ' ' || c == ':' || (c == '-' && i <= DATE_END)) continue;
    if (c != '.') {
      compact[count++] = c;
      continue;
    }
    while (xp_ascii_is_digit(text[i + 1]))
      i++;
  }
  return xp_time_parse(compact);
}

xp_time_t parse_as_local(const char* text, bool with_time) {
  int32_t order = 0;
  char separator[16];
  xp_time_fields fields = {};
  xp_time_locale(separator, nullptr, nullptr, nullptr, &order);
  if (!xp_time_parse_locale(text, order, separator[0], &fields)) return XP_TIME_NONE;
  if (!with_time) fields.hour = fields.minute = fields.second = 0;
  const xp_time_t local = xp_time_from_fields(&fields);
  return local == XP_TIME_INVALID ? XP_TIME_NONE : local + to_utc(fields);
}

xp_time_t parse_locale_time(const char* text) {
  return parse_as_local(text, true);
}

xp_time_t parse_locale_date(const char* text) {
  return parse_as_local(text, false);
}

// A text has the first form of which it holds all that is needed and nothing that is excluded.
struct form_row {
  uint32_t needed;
  uint32_t excluded;
  xp_time_t (*parse)(const char* text);
};

constexpr form_row forms[] = {
    {DIGIT | COLON | MINUS | LETTER_T, SPACE | SLASH | LETTER_L | OTHER, xp_time_parse_iso},
    {DIGIT | MINUS, SLASH | LETTER_T | OTHER, parse_separated},
    {DIGIT, SPACE | COLON | SLASH | PLUS | LETTER_T | POINT | OTHER, xp_time_parse},
    {COLON, 0, parse_locale_time},
    {0, 0, parse_locale_date},
};

// Bytes of the whole characters within the first 63.
int32_t whole_characters(const char* text) {
  int32_t end = 0;
  for (;;) {
    const int32_t size = xp_text_character_size(text[end]);
    if (end + size > MOST_BYTES) return end;
    end += size;
  }
}

}  // namespace

xp_time_t xp_time_parse_any(const char* text, int32_t length) {
  if (!text) return XP_TIME_NONE;
  char copy[MOST_BYTES + 1];
  if (length >= 0) {
    const int32_t bytes = length > MOST_BYTES ? whole_characters(text) : length;
    memcpy(copy, text, static_cast<size_t>(bytes));
    copy[bytes] = 0;
    text = copy;
  }
  if (!*text) return XP_TIME_NONE;
  uint32_t seen = 0;
  for (const char* c = text; *c; c++)
    seen |= seen_of.of[static_cast<uint8_t>(*c)];
  const form_row* form = forms;
  while ((seen & form->needed) != form->needed || (seen & form->excluded) != 0)
    form++;
  return form->parse(text);
}
