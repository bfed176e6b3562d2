// `arry`: the ordered container, a growable vector of references (or, with raw values, of words).
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_ARRAY = xp_tag("arry");

enum xp_array_flag : uint32_t {
  XP_ARRAY_RAW = 0x3,     // either bit: cells hold any word, neither retained nor released
  XP_ARRAY_LOCKED = 0x4,  // own a lock and hold it in every operation
};

struct xp_array : xp_object {
  xp_crit* lock;  // may be null
  uint32_t flags;
  uint32_t capacity;             // cells allocated
  uint32_t growth;               // cells added when an append finds the array full; always 1
  int32_t count;                 // cells in use
  xp_value_retain retain_value;  // xp_object_retain, or nothing for raw values
  xp_value_release release_value;
  xp_object** cells;  // null until the first growth
};

xp_array* xp_array_new(uint32_t flags);
// 0 for null.
int32_t xp_array_count(const xp_array* array);
// A new reference to the value at `index`; null outside the array and for an empty cell.
xp_object* xp_array_get(xp_array* array, int32_t index);
// Stores (and retains) a value, growing the array; cells in between are null. 1, or 0 on failure.
int32_t xp_array_set(xp_array* array, xp_object* value, int32_t index);
// Adds behind the last cell; the new index, or -1 on failure.
int32_t xp_array_append(xp_array* array, xp_object* value);
// Removes null cells, keeping the order. 1, or 0 for null.
int32_t xp_array_compact(xp_array* array);
// Raises the capacity to at least `capacity`; the capacity, or -1.
int32_t xp_array_reserve(xp_array* array, int32_t capacity);
// Lowers the capacity to the count; the count, or -1.
int32_t xp_array_trim(xp_array* array);
// For a walk that has come to `index`: starts elements that follow on their way from memory, and
// the values of those that are dictionaries.
void xp_array_fetch(const xp_array* array, int32_t index);

inline xp_array* xp_as_array(xp_object* object) {
  return xp_cast<xp_array>(object, XP_ARRAY);
}
