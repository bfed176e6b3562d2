#include "object/xp_array.h"

#include <string.h>

#include "object/xp_container.h"
#include "object/xp_dict.h"
#include "object/xp_ref.h"
#include "object/xp_trav.h"

static void array_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* array = static_cast<xp_array*>(object);
  for (int32_t i = 0; i < array->count; i++) {
    xp_array_fetch(array, i);
    array->release_value(array->cells[i]);
  }
  xp_heap_free(array->cells);
  xp_object_release(array->lock);
  xp_object_free(array);
}

// Gives the block exactly `capacity` cells; new ones are null. On failure the array is empty and
// without a block, and the values it held are released: nothing could reach them any more.
static bool array_resize(xp_array* array, uint32_t capacity) {
  if (capacity == 0) {
    xp_heap_free(array->cells);
    array->cells = nullptr;
    array->capacity = 0;
    return true;
  }
  void* cells = xp_heap_resize(array->cells, array->capacity * sizeof(xp_object*),
                               capacity * sizeof(xp_object*));
  if (cells) {
    array->cells = static_cast<xp_object**>(cells);
    array->capacity = capacity;
    return true;
  }
  xp_block old(array->cells);
  const int32_t count = array->count;
  array->cells = nullptr;
  array->capacity = 0;
  array->count = 0;
  for (int32_t i = 0; i < count; i++)
    array->release_value(old[static_cast<size_t>(i)]);
  return false;
}

// Puts a retained value into a cell. The new value stands before the old one is released, so an
// object that is stored over itself survives.
static void array_put(xp_array* array, int32_t index, xp_object* value) {
  xp_object* old = array->cells[index];
  array->cells[index] = array->retain_value(value);
  array->release_value(old);
}

// Makes the cells up to `index` exist; those between are null, since cells behind the count
// always are.
static bool array_extend(xp_array* array, int32_t index) {
  const auto needed = static_cast<uint32_t>(index) + array->growth;
  if (static_cast<uint32_t>(index) >= array->capacity && !array_resize(array, needed)) return false;
  array->count = index + 1;
  return true;
}

static void array_copy_cells(xp_array* from, xp_array* to, uint32_t flags, bool deep) {
  // A null in the last cell sizes the copy in one step.
  if (from->count == 0 || !xp_array_set(to, nullptr, from->count - 1)) return;
  for (int32_t i = 0; i < from->count; i++) {
    xp_object* value = from->cells[i];
    if (deep) {
      xp_ref copy(xp_container_copy_value(value, flags));
      array_put(to, i, copy.get());
    } else {
      array_put(to, i, value);
    }
  }
}

static xp_word array_copy(xp_array* array, uint32_t flags) {
  const bool deep = !(flags & 1) && !(array->flags & XP_ARRAY_RAW);
  xp_ref copy(xp_array_new(array->flags));
  if (!copy) return 0;
  xp_locked lock(array->lock);
  array_copy_cells(array, copy.get(), flags, deep);
  return reinterpret_cast<xp_word>(copy.take());
}

static xp_word array_control(xp_object* object, int32_t selector, uint32_t argument, void*) {
  auto* array = static_cast<xp_array*>(object);
  switch (selector) {
    case XP_CTL_COPY:
      return array_copy(array, argument);
    case XP_CTL_SUPPORTS:
      return argument == XP_TRAV;
    case XP_CTL_EMPTY:
      return array->count == 0;
    case XP_CTL_TRAV:
      return argument == XP_TRAV_NEW ? reinterpret_cast<xp_word>(xp_array_traversal_new) : 0;
    default:
      return 0;
  }
}

xp_array* xp_array_new(uint32_t flags) {
  xp_ref array(xp_object_new<xp_array>(XP_ARRAY));
  if (!array) return nullptr;
  array->release = array_release;
  array->control = array_control;
  array->flags = flags;
  array->growth = 1;
  const bool raw = flags & XP_ARRAY_RAW;
  array->retain_value = raw ? xp_container_keep : xp_object_retain;
  array->release_value = raw ? xp_container_forget : xp_object_release;
  if (flags & XP_ARRAY_LOCKED && !(array->lock = xp_crit_new())) return nullptr;
  return array.take();
}

int32_t xp_array_count(const xp_array* array) {
  return array ? array->count : 0;
}

xp_object* xp_array_get(xp_array* array, int32_t index) {
  if (!array) return nullptr;
  xp_locked lock(array->lock);
  if (index < 0 || index >= array->count) return nullptr;
  return array->retain_value(array->cells[index]);
}

int32_t xp_array_set(xp_array* array, xp_object* value, int32_t index) {
  if (!array || index < 0 || index == INT32_MAX) return 0;
  xp_locked lock(array->lock);
  if (index >= array->count && !array_extend(array, index)) return 0;
  array_put(array, index, value);
  return 1;
}

int32_t xp_array_append(xp_array* array, xp_object* value) {
  if (!array) return -1;
  xp_locked lock(array->lock);
  if (array->count == INT32_MAX) return -1;
  const int32_t index = array->count;
  if (static_cast<uint32_t>(index) == array->capacity &&
      !array_resize(array, array->capacity + array->growth))
    return -1;
  array->cells[index] = array->retain_value(value);
  array->count = index + 1;
  return index;
}

int32_t xp_array_compact(xp_array* array) {
  if (!array) return 0;
  xp_locked lock(array->lock);
  int32_t kept = 0;
  for (int32_t i = 0; i < array->count; i++)
    if (array->cells[i]) array->cells[kept++] = array->cells[i];
  for (int32_t i = kept; i < array->count; i++)
    array->cells[i] = nullptr;
  array->count = kept;
  return 1;
}

int32_t xp_array_reserve(xp_array* array, int32_t capacity) {
  if (!array) return -1;
  xp_locked lock(array->lock);
  if (capacity > 0 && static_cast<uint32_t>(capacity) > array->capacity &&
      !array_resize(array, static_cast<uint32_t>(capacity)))
    return -1;
  return static_cast<int32_t>(array->capacity);
}

int32_t xp_array_trim(xp_array* array) {
  if (!array) return -1;
  xp_locked lock(array->lock);
  const auto count = static_cast<uint32_t>(array->count);
  if (count != array->capacity && !array_resize(array, count)) return -1;
  return array->count;
}

void xp_array_fetch(const xp_array* array, int32_t index) {
  // How many elements ahead. Each step needs what the one before it has brought.
  constexpr int32_t RECORD = 4;
  constexpr int32_t VALUES = 2;
  if (array->flags & XP_ARRAY_RAW) return;
  const int32_t behind = array->count - index;
  xp_object* const* at = array->cells + index;
  if (behind > RECORD) xp_container_fetch(at[RECORD], sizeof(xp_dict));
  if (behind > VALUES) xp_dict_fetch(xp_as_dict(at[VALUES]));
}
