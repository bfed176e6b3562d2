// Clocks of the C library, and the zone record: the daylight rules of the zone files, put into the
// yearly form that Windows keeps.
#include <sys/time.h>
#include <time.h>

#include "platform/host/host.h"

namespace {

xp_system_time system_time(const tm& reading, long nanoseconds) {
  return {.year = static_cast<uint16_t>(reading.tm_year + 1900),
          .month = static_cast<uint16_t>(reading.tm_mon + 1),
          .weekday = static_cast<uint16_t>(reading.tm_wday),
          .day = static_cast<uint16_t>(reading.tm_mday),
          .hour = static_cast<uint16_t>(reading.tm_hour),
          .minute = static_cast<uint16_t>(reading.tm_min),
          .second = static_cast<uint16_t>(reading.tm_sec > 59 ? 59 : reading.tm_sec),
          .millisecond = static_cast<uint16_t>(nanoseconds / 1000000)};
}

void host_utc(xp_system_time* out) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tm reading = {};
  gmtime_r(&now.tv_sec, &reading);
  *out = system_time(reading, now.tv_nsec);
}

void host_local(xp_system_time* out) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tzset();
  tm reading = {};
  localtime_r(&now.tv_sec, &reading);
  *out = system_time(reading, now.tv_nsec);
}

// The coarse clock costs a fifth of the fine one, and steps of a few milliseconds are what
// GetTickCount has, too.
uint32_t host_ticks() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                               static_cast<uint64_t>(now.tv_nsec) / 1000000);
}

void host_sleep(uint32_t milliseconds) {
  timespec left = {.tv_sec = static_cast<time_t>(milliseconds / 1000),
                   .tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000};
  while (nanosleep(&left, &left) != 0) {
  }
}

// ---- the zone record --------------------------------------------------------------------------
//
// The C library is asked where in the current year the offset changes. Two changes, there and
// back, are a daylight rule. A single year can't tell "the fourth Sunday" from "the last one", or
// "Friday at 0:00" from "Thursday at 24:00", so each way to put a change into the yearly form is
// tried on the years ahead, and the one that holds most often is taken.

constexpr time_t DAY = 86400;
constexpr int YEARS_AHEAD = 28;  // the calendar repeats

long offset_at(time_t moment) {
  tm reading = {};
  return localtime_r(&moment, &reading) ? reading.tm_gmtoff : 0;
}

// Midnight of a date, as if the clock showed UTC. A month below 0 or above 11 is fine.
time_t midnight(int year, int month, int day) {
  tm date = {};
  date.tm_year = year - 1900;
  date.tm_mon = month;
  date.tm_mday = day;
  return timegm(&date);
}

struct transition {
  time_t moment;  // the first second of the new offset
  long before;    // seconds east of Greenwich
  long after;
};

// The changes of offset in [from, to), at most `most`; returns how many there are.
int find_transitions(time_t from, time_t to, transition* out, int most) {
  int count = 0;
  long before = offset_at(from);
  for (time_t step = from; step < to; step += DAY) {
    const long after = offset_at(step + DAY);
    if (after == before) continue;
    time_t low = step, high = step + DAY;
    while (high - low > 1) {
      const time_t middle = low + (high - low) / 2;
      (offset_at(middle) == before ? low : high) = middle;
    }
    if (count < most) out[count] = {high, before, after};
    count++;
    before = after;
  }
  return count;
}

// The moment in `year` that a yearly rule names, by a clock that is `offset` seconds east.
time_t rule_moment(const xp_system_time& rule, int year, long offset) {
  const time_t first = midnight(year, rule.month - 1, 1);
  const auto first_weekday = static_cast<int>((first / DAY + 4) % 7);
  time_t date = first + (rule.weekday - first_weekday + 7) % 7 * DAY;
  const time_t next_month = midnight(year, rule.month, 1);
  for (int i = 1; i < rule.day && date + 7 * DAY < next_month; i++)
    date += 7 * DAY;
  return date + rule.hour * 3600 + rule.minute * 60 + rule.second - offset;
}

// In how many of the years from `year` on the offset changes at the rule's moment.
int years_that_hold(const xp_system_time& rule, int year, const transition& change) {
  int held = 0;
  for (int i = 0; i < YEARS_AHEAD; i++) {
    const time_t moment = rule_moment(rule, year + i, change.before);
    held += offset_at(moment - 1) == change.before && offset_at(moment) == change.after;
  }
  return held;
}

xp_system_time best_rule(const transition& change, int year) {
  const time_t local = change.moment + change.before;
  xp_system_time best = {};
  int best_held = -1;
  // The day itself, then midnight as the end of the day before.
  for (int end_of_day = 0; end_of_day < (local % DAY == 0 ? 2 : 1); end_of_day++) {
    const time_t day = local - end_of_day * DAY;
    tm date = {};
    gmtime_r(&day, &date);
    const int occurrence = (date.tm_mday - 1) / 7 + 1;
    const bool last = day + 7 * DAY >= midnight(date.tm_year + 1900, date.tm_mon + 1, 1);
    for (int as_last = 0; as_last < (last ? 2 : 1); as_last++) {
      xp_system_time rule = system_time(date, 0);
      rule.year = 0;
      rule.day = static_cast<uint16_t>(as_last ? 5 : occurrence);
      if (end_of_day) rule.hour = 24;
      const int held = years_that_hold(rule, year, change);
      if (held <= best_held) continue;
      best = rule;
      best_held = held;
    }
  }
  return best;
}

xp_zone_status host_zone(xp_zone_record* out) {
  *out = {};
  tzset();
  const time_t now = time(nullptr);
  tm reading = {};
  if (!localtime_r(&now, &reading)) return XP_ZONE_INVALID;
  const int year = reading.tm_year + 1900;
  transition changes[2] = {};
  const int count = find_transitions(midnight(year, 0, 1) - reading.tm_gmtoff,
                                     midnight(year + 1, 0, 1) - reading.tm_gmtoff, changes, 2);
  if (count != 2 || changes[0].before != changes[1].after) {
    out->bias = static_cast<int32_t>(-reading.tm_gmtoff / 60);
    return XP_ZONE_UNKNOWN;
  }
  // Standard is the lesser offset, also where the zone file counts the winter as the exception.
  const bool daylight_first = changes[0].after > changes[0].before;
  const transition& to_daylight = changes[daylight_first ? 0 : 1];
  const transition& to_standard = changes[daylight_first ? 1 : 0];
  out->bias = static_cast<int32_t>(-to_standard.after / 60);
  out->daylight_bias = static_cast<int32_t>((to_standard.after - to_daylight.after) / 60);
  out->daylight_date = best_rule(to_daylight, year);
  out->standard_date = best_rule(to_standard, year);
  return reading.tm_gmtoff == to_daylight.after ? XP_ZONE_DAYLIGHT : XP_ZONE_STANDARD;
}

}  // namespace

constinit const xp_clock_ops host_clock = {.utc = host_utc,
                                           .local = host_local,
                                           .ticks = host_ticks,
                                           .zone = host_zone,
                                           .sleep = host_sleep};
