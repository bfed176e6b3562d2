// Local time: the zone, its yearly daylight rules, and the readings of the local clock.
//
// The caches are for one thread, as the whole system is.
#include <string.h>

#include "time/xp_time.h"

namespace {

constexpr uint32_t NO_TICK_KEY = UINT32_MAX;
constexpr int32_t LAST_OCCURRENCE = 5;

struct {
  xp_zone_record record;
  xp_zone_status status = XP_ZONE_INVALID;
  uint32_t tick_key = NO_TICK_KEY;
} zone_cache;

struct {
  int32_t seconds;
  uint32_t tick_key = NO_TICK_KEY;
} offset_cache;

struct {
  uint32_t* memo;
  bool in_use;  // a lookup is under way, which may come back here through the zone
  bool stale;   // and meanwhile the zone has changed
} daylight;

// Changes about once a second (1024 ms), and that is how long an answer of the platform stands.
uint32_t tick_key() {
  return xp_platform->clock->ticks() >> 10;
}

void drop_daylight_memo() {
  daylight.stale = daylight.in_use;
  if (daylight.in_use) return;
  xp_heap_free(daylight.memo);
  daylight.memo = nullptr;
}

const xp_zone_record* zone_at(uint32_t key) {
  if (key != zone_cache.tick_key) {
    zone_cache.tick_key = key;
    xp_zone_record record = {};
    const xp_zone_status status = xp_platform->clock->zone(&record);
    const bool found = status != XP_ZONE_INVALID;
    // What the memo has sampled holds for one zone only, and for one set of rules.
    if (found != (zone_cache.status != XP_ZONE_INVALID) ||
        (found && memcmp(&record, &zone_cache.record, sizeof(record)) != 0))
      drop_daylight_memo();
    zone_cache.status = status;
    if (found) zone_cache.record = record;
  }
  return zone_cache.status == XP_ZONE_INVALID ? nullptr : &zone_cache.record;
}

// A bias is what leads from local time to UTC in minutes; an offset leads back, in seconds. The
// platform's number may be any: it wraps.
int32_t offset_of(int32_t bias) {
  return static_cast<int32_t>(static_cast<uint32_t>(bias) * static_cast<uint32_t>(-60));
}

// Seconds to add to UTC for standard time.
uint32_t standard_offset(const xp_zone_record* zone) {
  return zone ? static_cast<uint32_t>(offset_of(zone->bias)) : 0;
}

int32_t local_offset_at(uint32_t key) {
  if (key != offset_cache.tick_key) {
    offset_cache.tick_key = key;
    const xp_time_fields now = xp_time_local_now();
    const auto daylight_offset = static_cast<uint32_t>(xp_time_daylight(&now));
    offset_cache.seconds = static_cast<int32_t>(daylight_offset + standard_offset(zone_at(key)));
  }
  return offset_cache.seconds;
}

bool is_yearly_rule(const xp_system_time& date) {
  return date.month >= 1 && date.month <= 12 && date.year == 0;
}

xp_time_rule rule_of(const xp_system_time& date, int32_t bias) {
  return {.month = date.month,
          .weekday = date.weekday,
          .occurrence = date.day,
          .hour = date.hour,
          .offset = offset_of(bias)};
}

// The rules that the United States put in force in 2007.
bool is_united_states_form(const xp_time_rule& first, const xp_time_rule& second) {
  return first.month == 3 && first.occurrence == 2 && first.hour == 2 && second.month == 11 &&
         second.occurrence == 1 && second.hour == 2;
}

// The rules that the United States had in a year; the offsets stay.
void set_united_states_rules(uint32_t year, xp_time_rule* first, xp_time_rule* second) {
  const bool before_2007 = year < 107;
  first->month = before_2007 ? 4 : 3;
  first->occurrence = before_2007 ? (year < 87 ? LAST_OCCURRENCE : 1) : 2;
  second->month = before_2007 ? 10 : 11;
  second->occurrence = before_2007 ? LAST_OCCURRENCE : 1;
  first->weekday = second->weekday = 0;
  first->hour = second->hour = 2;
}

// The day of the year, from 0, on which the rule takes effect.
int32_t transition_day(const xp_time_rule& rule, uint32_t years_since_1900) {
  const auto year = static_cast<int32_t>(years_since_1900);
  // The last day on which that occurrence can fall.
  int32_t latest = rule.occurrence < LAST_OCCURRENCE
                       ? rule.occurrence * 7 + xp_time_month_start[rule.month]
                       : xp_time_month_start[rule.month + 1];
  const bool leap_year = xp_time_is_leap_year(years_since_1900);
  // A last weekday of February can fall on the leap day itself.
  if (leap_year && (rule.month > 2 || (rule.month == 2 && rule.occurrence >= LAST_OCCURRENCE)))
    latest++;
  // Days from 1970 to the year, less the leap days of 1900 to 1969, rounded down before 1970 too.
  const int32_t year_start = (year - 70) * 365 + (year + 3) / 4 - 18;
  const int32_t past_weekday = (year_start - rule.weekday + 4 + latest) % 7;
  return latest - (past_weekday < 0 ? past_weekday + 7 : past_weekday);
}

uint32_t daylight_at(xp_time_t local_seconds) {
  xp_time_fields fields;
  xp_time_to_fields(local_seconds, &fields);
  return static_cast<uint32_t>(xp_time_daylight(&fields));
}

}  // namespace

const xp_zone_record* xp_time_zone() {
  return zone_at(tick_key());
}

int32_t xp_time_rules(const xp_time_fields* fields, xp_time_rule* first, xp_time_rule* second) {
  *first = {};
  *second = {};
  const uint32_t year = fields ? xp_time_years_since_1900(fields->year) : 0;
  const xp_zone_record* zone = xp_time_zone();
  if (!zone) {
    first->offset = 3600;
    set_united_states_rules(fields ? year : xp_time_years_since_1900(xp_time_local_now().year),
                            first, second);
    return 1;
  }
  if (zone->standard_bias == zone->daylight_bias || !is_yearly_rule(zone->standard_date) ||
      !is_yearly_rule(zone->daylight_date))
    return 0;
  const bool daylight_first = zone->daylight_date.month < zone->standard_date.month;
  xp_time_rule* to_daylight = daylight_first ? first : second;
  xp_time_rule* to_standard = daylight_first ? second : first;
  *to_daylight = rule_of(zone->daylight_date, zone->daylight_bias);
  *to_standard = rule_of(zone->standard_date, zone->standard_bias);
  if (!fields) return 1;
  if (daylight_first && year < 107 && is_united_states_form(*first, *second))
    set_united_states_rules(year, first, second);
  else if (year < 87)
    first->occurrence = LAST_OCCURRENCE;
  return 1;
}

int32_t xp_time_daylight(const xp_time_fields* fields) {
  xp_time_rule first, second;
  xp_time_rules(fields, &first, &second);
  const int32_t month = fields->month;
  if (first.offset == second.offset || first.month == 0 || second.month == 0) return first.offset;
  if (month < first.month || month > second.month) return second.offset;
  if (month > first.month && month < second.month) return first.offset;
  const bool in_first = month == first.month;
  const xp_time_rule& rule = in_first ? first : second;
  const int32_t transition = transition_day(rule, xp_time_years_since_1900(fields->year));
  const int32_t today = xp_time_day_of_year(fields);
  const bool before = today != transition ? today < transition : fields->hour < rule.hour;
  return before == in_first ? second.offset : first.offset;
}

int32_t xp_time_local_offset() {
  return local_offset_at(tick_key());
}

xp_time_t xp_time_to_local_fields(xp_time_t seconds, xp_time_fields* fields) {
  const uint32_t key = tick_key();
  // The local clock's reading, judged by today's offset: good enough to look the season up.
  const xp_time_t local = seconds + static_cast<uint32_t>(local_offset_at(key));
  daylight.in_use = true;
  const uint32_t offset = xp_time_step_lookup(local, &daylight.memo, daylight_at);
  daylight.in_use = false;
  if (daylight.stale) drop_daylight_memo();
  xp_time_to_fields(seconds + offset + standard_offset(zone_at(key)), fields);
  return seconds;
}
