// `data`: immutable bytes, shown as capital hexadecimal.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_DATA = xp_tag("data");

struct xp_data : xp_object {
  uint32_t length;  // bytes
  uint8_t* bytes;   // behind the record, in the same allocation
};
static_assert(sizeof(xp_data) == 64);

// A copy of `length` bytes; `bytes` null leaves them zero.
xp_data* xp_data_new(const void* bytes, uint32_t length);
// A new object of the old bytes and `length` more (`bytes` null: zeros). With `length` 0 the
// result is `data` itself with one more reference. `data` null counts as empty.
xp_data* xp_data_append(xp_data* data, const void* bytes, uint32_t length);

inline xp_data* xp_as_data(xp_object* object) {
  return xp_cast<xp_data>(object, XP_DATA);
}
