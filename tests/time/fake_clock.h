// A clock and a zone that a test sets. Each change moves the ticks on by more than the caches keep
// an answer, and the end of the scope leaves no memo behind.
#pragma once

#include "tests/support/fakes.h"
#include "time/xp_time.h"

constexpr xp_system_time clock_reading(uint16_t year, uint16_t month, uint16_t day,
                                       uint16_t hour = 0, uint16_t minute = 0,
                                       uint16_t second = 0) {
  return {year, month, 0, day, hour, minute, second, 999};
}
constexpr xp_system_time yearly_rule(uint16_t month, uint16_t weekday, uint16_t occurrence,
                                     uint16_t hour) {
  return {0, month, weekday, occurrence, hour, 0, 0, 0};
}
// A zone with an hour of daylight time.
constexpr xp_zone_record make_zone(int32_t bias, xp_system_time standard_date,
                                   xp_system_time daylight_date) {
  return {bias, standard_date, 0, daylight_date, -60};
}
// A zone without.
constexpr xp_zone_record make_zone(int32_t bias) {
  return {bias, {}, 0, {}, 0};
}

constexpr xp_zone_record new_york =
    make_zone(300, yearly_rule(11, 0, 1, 2), yearly_rule(3, 0, 2, 2));
constexpr xp_zone_record berlin = make_zone(-60, yearly_rule(10, 0, 5, 3), yearly_rule(3, 0, 5, 2));
constexpr xp_zone_record sydney =
    make_zone(-600, yearly_rule(4, 0, 1, 3), yearly_rule(10, 0, 1, 2));
constexpr xp_zone_record moscow = make_zone(-180);

struct fake_clock : fake_platform {
  fake_clock() {
    clock.utc = [](xp_system_time* out) { *out = state().now; };
    clock.local = clock.utc;
    clock.ticks = [] { return state().ticks; };
    clock.zone = [](xp_zone_record* out) {
      state().zone_calls++;
      *out = state().zone;
      return state().status;
    };
    set_now(clock_reading(2012, 1, 2));
    set_zone(moscow, XP_ZONE_UNKNOWN);
  }
  ~fake_clock() {
    // The memo of the last zone goes with that zone.
    set_zone({}, XP_ZONE_INVALID);
    xp_time_zone();
    set_zone({}, XP_ZONE_UNKNOWN);
    xp_time_zone();
    advance(2048);
  }

  // The reading of both clocks, UTC and local.
  void set_now(xp_system_time now) {
    state().now = now;
    advance(2048);
  }
  void set_zone(xp_zone_record zone, xp_zone_status status = XP_ZONE_STANDARD) {
    state().zone = zone;
    state().status = status;
    advance(2048);
  }
  void advance(uint32_t milliseconds) { state().ticks += milliseconds; }
  int zone_calls() const { return state().zone_calls; }

 private:
  struct clock_state {
    xp_system_time now = {};
    xp_zone_record zone = {};
    xp_zone_status status = XP_ZONE_UNKNOWN;
    uint32_t ticks = 0x40000000;
    int zone_calls = 0;
  };
  // Lives on between tests, so that ticks never come back to a value the caches know.
  static clock_state& state() {
    static clock_state the_state;
    return the_state;
  }
};
