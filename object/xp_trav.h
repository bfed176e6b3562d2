// `trav`, the one way of walking anything. A traversal is an object that hands out its step
// functions through its own `control`: selector XP_CTL_TRAV, an xp_trav_operation as the argument,
// and the result is a function of the type below, or 0 when the kind has no such operation.
// Containers answer XP_TRAV_NEW instead. `arry`, `list` and folders have a kind of traversal each;
// anything else, a `dict` too, is walked as a sequence of one.
//
//   xp_ref walk(xp_traversal_new(object));
//   while (xp_ref item{xp_traversal_next(walk.get())}) ...
//
// Step functions accept null. A null cell of an array is a null item, which to that loop looks
// like the end.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_TRAV = xp_tag("trav");

using xp_trav_rewind = void (*)(xp_object* traversal);
// The item behind (or before) the position, with a new reference; null at the end (the start).
using xp_trav_step = xp_object* (*)(xp_object* traversal);
// A traversal of the container; null when memory is out.
using xp_trav_new = xp_object* (*)(xp_object* container);
// Items of the container.
using xp_trav_count = int32_t (*)(xp_object* traversal);
// Moves over up to `n` items; the number of items passed over.
using xp_trav_skip = int32_t (*)(xp_object* traversal, int32_t n);

// The function of a traversal (or container) for an operation; null when it has none.
template <class F>
F xp_trav_function(xp_object* object, xp_trav_operation operation) {
  return reinterpret_cast<F>(
      xp_object_control(object, XP_CTL_TRAV, static_cast<uint32_t>(operation), nullptr));
}

// A traversal of any object: a `trav` itself with one more reference, a container's own traversal,
// or one that gives the object itself once. Null for null and when memory is out.
xp_object* xp_traversal_new(xp_object* object);
// The next item with a new reference; null at the end and where there is no such operation.
xp_object* xp_traversal_next(xp_object* traversal);

// The constructors that `arry` and `list` answer XP_TRAV_NEW with. A traversal of an array holds a
// position: an append is seen, a removal before the position shifts what is seen. One of a list is
// a member of the list's ring: whatever goes or comes around it, it goes on from its gap.
xp_object* xp_array_traversal_new(xp_object* array);
xp_object* xp_list_traversal_new(xp_object* list);
