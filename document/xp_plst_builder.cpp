#include "document/xp_plst_builder.h"

#include <string.h>

void xp_plst_builder_clear(xp_plst_builder* builder) {
  xp_plst_containers& stack = builder->containers;
  while (stack.count != 0)
    xp_object_release(stack.items[--stack.count]);
  xp_heap_free(builder->keys.items);
  builder->keys = {};
  xp_plst_set_pending(builder, nullptr);
  xp_object* result = builder->result;
  builder->result = nullptr;
  xp_object_release(result);
}

int32_t xp_plst_push(xp_plst_builder* builder, xp_object* container) {
  xp_plst_containers& stack = builder->containers;
  if (!container || stack.count == XP_PLST_DEPTH) {
    xp_object_release(container);
    return -1;
  }
  stack.items[stack.count++] = container;
  return 0;
}

xp_object* xp_plst_top(const xp_plst_builder* builder) {
  const xp_plst_containers& stack = builder->containers;
  return stack.count == 0 ? nullptr : stack.items[stack.count - 1];
}

xp_object* xp_plst_pop(xp_plst_builder* builder) {
  xp_plst_containers& stack = builder->containers;
  if (stack.count == 0) return nullptr;
  xp_object* container = stack.items[--stack.count];
  // A resize that fails empties the array; a document without its values must not pass for whole.
  xp_array* array = xp_as_array(container);
  if (array && xp_array_trim(array) < 0) {
    xp_object_release(container);
    return nullptr;
  }
  return container;
}

int32_t xp_plst_push_key(xp_plst_builder* builder, const char* text, uint32_t length) {
  xp_plst_keys& keys = builder->keys;
  if (keys.count == keys.capacity) {
    const size_t capacity = keys.capacity ? keys.capacity * 2 : 32;
    void* items = xp_heap_resize(keys.items, keys.capacity * sizeof(xp_plst_key),
                                 capacity * sizeof(xp_plst_key));
    if (!items) return -1;
    keys.items = static_cast<xp_plst_key*>(items);
    keys.capacity = capacity;
  }
  keys.items[keys.count++] = {text, length};
  return 0;
}

// Stores the value under the newest waiting key, which is used up. An empty key stores nothing.
static int32_t set_under_key(xp_plst_builder* builder, xp_dict* dict, xp_object* value) {
  xp_plst_keys& keys = builder->keys;
  const xp_plst_key key = keys.count == 0 ? xp_plst_key{} : keys.items[--keys.count];
  return xp_dict_give(dict, key.text, static_cast<int32_t>(key.length), value);
}

int32_t xp_plst_append(xp_array* array, xp_object* value) {
  if (static_cast<uint32_t>(array->count) == array->capacity) {
    const int32_t capacity = array->count < 4 ? 4 : array->count * 2;
    if (array->count > INT32_MAX / 2 || xp_array_reserve(array, capacity) < 0) {
      xp_object_release(value);
      return -1;
    }
  }
  array->cells[array->count++] = value;
  return 0;
}

int32_t xp_plst_attach(xp_plst_builder* builder, xp_object* value) {
  if (!value) return -1;
  xp_object* top = xp_plst_top(builder);
  if (xp_array* array = xp_as_array(top)) return xp_plst_append(array, value);
  if (xp_dict* dict = xp_as_dict(top)) return set_under_key(builder, dict, value);
  if (!top && !builder->result) {
    builder->result = value;
    return 0;
  }
  xp_object_release(value);
  return -1;
}

void xp_plst_set_pending(xp_plst_builder* builder, xp_object* value) {
  xp_object* old = builder->pending;
  builder->pending = value;
  xp_object_release(old);
}

xp_object* xp_plst_take_pending(xp_plst_builder* builder) {
  xp_object* value = builder->pending;
  builder->pending = nullptr;
  return value;
}
