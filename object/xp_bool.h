// `bool`: the two shared truth values.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_BOOL = xp_tag("bool");

struct xp_bool : xp_object {
  int32_t value;  // 0 or 1
};

// The shared object for a truth value, with one more reference; the low 32 bits of `value` count.
xp_bool* xp_bool_new(int64_t value);

inline xp_bool* xp_as_bool(xp_object* object) {
  return xp_cast<xp_bool>(object, XP_BOOL);
}
