// `list`: a doubly linked ring of `elem` objects. Traversals are members of the ring, too, so
// elements may be added and removed while one is in use.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_LIST = xp_tag("list");
constexpr uint32_t XP_ELEM = xp_tag("elem");

// The head of a list, an element or a cursor. A node outside a ring points at itself.
struct xp_node : xp_object {
  xp_node* next;
  xp_node* prev;
  xp_object* value;  // null in heads and cursors, which is how walks tell elements
};

struct xp_list : xp_node {
  int32_t count;  // elements; cursors don't count
  xp_value_retain retain_value;
  xp_value_release release_value;
};

xp_list* xp_list_new();
// Adds (and retains) a value at the end: the new count, or 0 for null and when memory is out. A
// list can't hold null.
int32_t xp_list_append(xp_list* list, xp_object* value);
// The last element's value with a new reference, or null.
xp_object* xp_list_last(xp_list* list);
// Takes out the first element that holds this very object. 1, or 0 when there is none.
int32_t xp_list_remove(xp_list* list, xp_object* value);

inline xp_list* xp_as_list(xp_object* object) {
  return xp_cast<xp_list>(object, XP_LIST);
}
