#include "object/xp_bool.h"

#include <string.h>

#include "object/xp_flat.h"

namespace {

struct literal {
  const char* text;
  uint32_t length;
};

constexpr literal literals[2] = {{"false", 5}, {"true", 4}};

// One object a truth value, made on first use; the table's own reference keeps it for the process.
xp_bool* shared[2];

}  // namespace

static int32_t bool_compare(xp_object* a, xp_object* b) {
  const int32_t left = static_cast<xp_bool*>(a)->value;
  const int32_t right = static_cast<xp_bool*>(b)->value;
  return left < right ? -1 : left > right;
}

static int32_t bool_render(xp_object* object, char* buffer, uint32_t size) {
  const literal& word = literals[static_cast<xp_bool*>(object)->value];
  if (!buffer) return static_cast<int32_t>(word.length);
  const uint32_t shown = word.length < size ? word.length : size;
  memcpy(buffer, word.text, shown);
  return static_cast<int32_t>(shown);
}

static xp_word bool_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  const int32_t value = static_cast<xp_bool*>(object)->value;
  xp_flat_payload payload;
  switch (selector) {
    case XP_CTL_FLATTEN:
      return xp_flat_put_number(static_cast<xp_flat_writer*>(pointer), argument, XP_BOOL,
                                static_cast<uint64_t>(value), 4);
    case XP_CTL_UNFLATTEN:
      if (!xp_flat_open(pointer, XP_BOOL, argument, &payload)) return 0;
      return reinterpret_cast<xp_word>(
          xp_bool_new(static_cast<int64_t>(xp_flat_number(&payload, 4))));
    case XP_CTL_EMPTY:
      return value == 0;
    case XP_CTL_PNTR:
      if (argument != 0) return 0;
      if (pointer) *static_cast<uint32_t*>(pointer) = literals[value].length;
      return reinterpret_cast<xp_word>(literals[value].text);
    default:
      return 0;
  }
}

static xp_bool* bool_make(int32_t value) {
  auto* object = xp_object_new<xp_bool>(XP_BOOL);
  if (!object) return nullptr;
  object->compare = bool_compare;
  object->render = bool_render;
  object->control = bool_control;
  object->value = value;
  return object;
}

xp_bool* xp_bool_new(int64_t value) {
  const int32_t truth = static_cast<uint32_t>(value) != 0;
  // A cell that memory left empty is tried again by the next call.
  if (!shared[truth]) shared[truth] = bool_make(truth);
  return xp_retain(shared[truth]);
}
