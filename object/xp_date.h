// `xdat`: an immutable point in time.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_DATE = xp_tag("xdat");

struct xp_date : xp_object {
  uint32_t seconds;  // since 1970-01-01 00:00:00 UTC, never 0xFFFFFFFF
};

// 0 means now; 0xFFFFFFFF, the invalid time, gives null.
xp_date* xp_date_new(uint32_t seconds);

inline xp_date* xp_as_date(xp_object* object) {
  return xp_cast<xp_date>(object, XP_DATE);
}
