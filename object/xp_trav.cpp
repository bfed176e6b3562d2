// Traversals of arrays and of single objects; that of a list stands in object/xp_list.cpp, next to
// the ring that it is a member of.
#include "object/xp_trav.h"

#include "object/xp_array.h"

namespace {

struct array_walk : xp_object {
  xp_array* array;   // retained
  int32_t position;  // index of the next cell
};

struct object_walk : xp_object {
  xp_object* object;  // retained
  int32_t done;       // 1 after the object has been given out
};

}  // namespace

// ---- over an array ---------------------------------------------------------------------------

static void array_walk_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_object_release(static_cast<array_walk*>(object)->array);
  xp_object_free(object);
}

static void array_walk_rewind(xp_object* traversal) {
  if (traversal) static_cast<array_walk*>(traversal)->position = 0;
}

static xp_object* array_walk_next(xp_object* traversal) {
  auto* walk = static_cast<array_walk*>(traversal);
  if (!walk || walk->position >= walk->array->count) return nullptr;
  return xp_array_get(walk->array, walk->position++);
}

static xp_object* array_walk_prev(xp_object* traversal) {
  auto* walk = static_cast<array_walk*>(traversal);
  if (!walk || walk->position <= 0) return nullptr;
  return xp_array_get(walk->array, --walk->position);
}

static int32_t array_walk_count(xp_object* traversal) {
  return traversal ? xp_array_count(static_cast<array_walk*>(traversal)->array) : 0;
}

static int32_t array_walk_skip(xp_object* traversal, int32_t n) {
  auto* walk = static_cast<array_walk*>(traversal);
  if (!walk || n <= 0 || walk->position >= walk->array->count) return 0;
  const int32_t left = walk->array->count - walk->position;
  const int32_t skipped = n < left ? n : left;
  walk->position += skipped;
  return skipped;
}

static xp_word array_walk_control(xp_object*, int32_t selector, uint32_t operation, void*) {
  if (selector != XP_CTL_TRAV) return 0;
  switch (operation) {
    case XP_TRAV_REWIND:
      return reinterpret_cast<xp_word>(array_walk_rewind);
    case XP_TRAV_NEXT:
      return reinterpret_cast<xp_word>(array_walk_next);
    case XP_TRAV_PREV:
      return reinterpret_cast<xp_word>(array_walk_prev);
    case XP_TRAV_COUNT:
      return reinterpret_cast<xp_word>(array_walk_count);
    case XP_TRAV_SKIP:
      return reinterpret_cast<xp_word>(array_walk_skip);
    default:
      return 0;
  }
}

xp_object* xp_array_traversal_new(xp_object* object) {
  xp_array* array = xp_as_array(object);
  if (!array) return nullptr;
  auto* walk = xp_object_new<array_walk>(XP_TRAV);
  if (!walk) return nullptr;
  walk->release = array_walk_release;
  walk->control = array_walk_control;
  walk->array = xp_retain(array);
  return walk;
}

// ---- over a single object --------------------------------------------------------------------

static void object_walk_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_object_release(static_cast<object_walk*>(object)->object);
  xp_object_free(object);
}

static void object_walk_rewind(xp_object* traversal) {
  if (traversal) static_cast<object_walk*>(traversal)->done = 0;
}

// Gives the object when the walk stands on the side `before`, and moves to the other side.
static xp_object* object_walk_cross(xp_object* traversal, int32_t before) {
  auto* walk = static_cast<object_walk*>(traversal);
  if (!walk || walk->done != before) return nullptr;
  walk->done = !before;
  return xp_object_retain(walk->object);
}

static xp_object* object_walk_next(xp_object* traversal) {
  return object_walk_cross(traversal, 0);
}

static xp_object* object_walk_prev(xp_object* traversal) {
  return object_walk_cross(traversal, 1);
}

static int32_t object_walk_count(xp_object* traversal) {
  return traversal ? 1 : 0;
}

static int32_t object_walk_render(xp_object*, char*, uint32_t) {
  return 0;
}

static xp_word object_walk_control(xp_object*, int32_t selector, uint32_t operation, void*) {
  if (selector != XP_CTL_TRAV) return 0;
  switch (operation) {
    case XP_TRAV_REWIND:
      return reinterpret_cast<xp_word>(object_walk_rewind);
    case XP_TRAV_NEXT:
      return reinterpret_cast<xp_word>(object_walk_next);
    case XP_TRAV_PREV:
      return reinterpret_cast<xp_word>(object_walk_prev);
    case XP_TRAV_COUNT:
      return reinterpret_cast<xp_word>(object_walk_count);
    default:
      return 0;
  }
}

static xp_object* object_walk_new(xp_object* object) {
  auto* walk = xp_object_new<object_walk>(XP_TRAV);
  if (!walk) return nullptr;
  walk->release = object_walk_release;
  walk->render = object_walk_render;
  walk->control = object_walk_control;
  walk->object = xp_object_retain(object);
  return walk;
}

// ---- over anything ---------------------------------------------------------------------------

xp_object* xp_traversal_new(xp_object* object) {
  if (!object) return nullptr;
  if (object->tag == XP_TRAV) return xp_object_retain(object);
  const auto make = xp_trav_function<xp_trav_new>(object, XP_TRAV_NEW);
  return make ? make(object) : object_walk_new(object);
}

xp_object* xp_traversal_next(xp_object* traversal) {
  const auto next = xp_trav_function<xp_trav_step>(traversal, XP_TRAV_NEXT);
  return next ? next(traversal) : nullptr;
}
