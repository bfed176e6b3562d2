#include "platform/windows/backend.h"

namespace {

xp_system_time from_system(const SYSTEMTIME& time) {
  return {.year = time.wYear,
          .month = time.wMonth,
          .weekday = time.wDayOfWeek,
          .day = time.wDay,
          .hour = time.wHour,
          .minute = time.wMinute,
          .second = time.wSecond,
          .millisecond = time.wMilliseconds};
}

void clock_utc(xp_system_time* out) {
  SYSTEMTIME now;
  GetSystemTime(&now);
  *out = from_system(now);
}

void clock_local(xp_system_time* out) {
  SYSTEMTIME now;
  GetLocalTime(&now);
  *out = from_system(now);
}

uint32_t clock_ticks() {
  return GetTickCount();
}

xp_zone_status clock_zone(xp_zone_record* out) {
  TIME_ZONE_INFORMATION zone = {};
  const DWORD status = GetTimeZoneInformation(&zone);
  *out = {.bias = zone.Bias,
          .standard_date = from_system(zone.StandardDate),
          .standard_bias = zone.StandardBias,
          .daylight_date = from_system(zone.DaylightDate),
          .daylight_bias = zone.DaylightBias};
  return static_cast<xp_zone_status>(status);
}

void clock_sleep(uint32_t milliseconds) {
  Sleep(milliseconds);
}

}  // namespace

constinit const xp_clock_ops windows_clock = {.utc = clock_utc,
                                              .local = clock_local,
                                              .ticks = clock_ticks,
                                              .zone = clock_zone,
                                              .sleep = clock_sleep};
