#include "object/xp_list.h"

#include "object/xp_ref.h"
#include "object/xp_trav.h"

namespace {

struct xp_elem : xp_node {
  xp_list* owner;  // not retained: the element goes with its list
};

struct list_cursor : xp_node {
  xp_list* owner;  // retained: a list stays as long as it is walked
};

void ring_init(xp_node* node) {
  node->next = node;
  node->prev = node;
}

void ring_unlink(xp_node* node) {
  node->next->prev = node->prev;
  node->prev->next = node->next;
  ring_init(node);
}

void ring_insert_behind(xp_node* place, xp_node* node) {
  node->prev = place;
  node->next = place->next;
  place->next->prev = node;
  place->next = node;
}

// The nearest element behind `node`, cursors passed over; the head when there is none.
xp_node* element_behind(xp_node* node, xp_node* head) {
  do {
    node = node->next;
  } while (node != head && !node->value);
  return node;
}

xp_node* element_before(xp_node* node, xp_node* head) {
  do {
    node = node->prev;
  } while (node != head && !node->value);
  return node;
}

int32_t render_nothing(xp_object*, char*, uint32_t) {
  return 0;
}

// ---- elem ------------------------------------------------------------------------------------

void elem_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* elem = static_cast<xp_elem*>(object);
  elem->owner->release_value(elem->value);
  xp_object_free(elem);
}

xp_elem* elem_new(xp_list* owner, xp_object* value) {
  auto* elem = xp_object_new<xp_elem>(XP_ELEM);
  if (!elem) return nullptr;
  elem->release = elem_release;
  elem->render = render_nothing;
  ring_init(elem);
  elem->value = owner->retain_value(value);
  elem->owner = owner;
  return elem;
}

}  // namespace

// ---- list ------------------------------------------------------------------------------------

// No cursor is left in the ring: each keeps its list alive.
static void list_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* list = static_cast<xp_list*>(object);
  while (list->next != list) {
    xp_node* elem = list->next;
    // The value outlives its element, so the two end one at a time.
    xp_ref value(list->retain_value(elem->value));
    ring_unlink(elem);
    xp_object_release(elem);
  }
  xp_object_free(list);
}

static xp_word list_control(xp_object* object, int32_t selector, uint32_t argument, void*) {
  switch (selector) {
    case XP_CTL_SUPPORTS:
      return argument == XP_TRAV;
    case XP_CTL_EMPTY:
      return static_cast<xp_list*>(object)->count <= 0;
    case XP_CTL_TRAV:
      return argument == XP_TRAV_NEW ? reinterpret_cast<xp_word>(xp_list_traversal_new) : 0;
    default:
      return 0;
  }
}

xp_list* xp_list_new() {
  auto* list = xp_object_new<xp_list>(XP_LIST);
  if (!list) return nullptr;
  list->release = list_release;
  list->render = render_nothing;
  list->control = list_control;
  ring_init(list);
  list->retain_value = xp_object_retain;
  list->release_value = xp_object_release;
  return list;
}

int32_t xp_list_append(xp_list* list, xp_object* value) {
  if (!list || !value || list->count == INT32_MAX) return 0;
  xp_elem* elem = elem_new(list, value);
  if (!elem) return 0;
  ring_insert_behind(list->prev, elem);
  return ++list->count;
}

xp_object* xp_list_last(xp_list* list) {
  if (!list) return nullptr;
  xp_node* last = element_before(list, list);
  return last == list ? nullptr : list->retain_value(last->value);
}

int32_t xp_list_remove(xp_list* list, xp_object* value) {
  if (!list || !value) return 0;
  xp_node* node = list->next;
  while (node != list && node->value != value)
    node = node->next;
  if (node == list) return 0;
  ring_unlink(node);
  list->count--;
  xp_object_release(node);
  return 1;
}

// ---- trav over a list ------------------------------------------------------------------------

static void cursor_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* cursor = static_cast<list_cursor*>(object);
  ring_unlink(cursor);
  xp_object_release(cursor->owner);
  xp_object_free(cursor);
}

static void cursor_rewind(xp_object* traversal) {
  auto* cursor = static_cast<list_cursor*>(traversal);
  if (!cursor) return;
  ring_unlink(cursor);
  ring_insert_behind(cursor->owner, cursor);
}

static xp_object* cursor_next(xp_object* traversal) {
  auto* cursor = static_cast<list_cursor*>(traversal);
  if (!cursor) return nullptr;
  xp_node* found = element_behind(cursor, cursor->owner);
  if (found == cursor->owner) return nullptr;
  ring_unlink(cursor);
  ring_insert_behind(found, cursor);
  return cursor->owner->retain_value(found->value);
}

static xp_object* cursor_prev(xp_object* traversal) {
  auto* cursor = static_cast<list_cursor*>(traversal);
  if (!cursor) return nullptr;
  xp_node* found = element_before(cursor, cursor->owner);
  if (found == cursor->owner) return nullptr;
  ring_unlink(cursor);
  ring_insert_behind(found->prev, cursor);
  return cursor->owner->retain_value(found->value);
}

static int32_t cursor_count(xp_object* traversal) {
  return traversal ? static_cast<list_cursor*>(traversal)->owner->count : 0;
}

static xp_word cursor_control(xp_object*, int32_t selector, uint32_t operation, void*) {
  if (selector != XP_CTL_TRAV) return 0;
  switch (operation) {
    case XP_TRAV_REWIND:
      return reinterpret_cast<xp_word>(cursor_rewind);
    case XP_TRAV_NEXT:
      return reinterpret_cast<xp_word>(cursor_next);
    case XP_TRAV_PREV:
      return reinterpret_cast<xp_word>(cursor_prev);
    case XP_TRAV_COUNT:
      return reinterpret_cast<xp_word>(cursor_count);
    default:
      return 0;
  }
}

xp_object* xp_list_traversal_new(xp_object* object) {
  xp_list* list = xp_as_list(object);
  if (!list) return nullptr;
  auto* cursor = xp_object_new<list_cursor>(XP_TRAV);
  if (!cursor) return nullptr;
  cursor->release = cursor_release;
  cursor->render = render_nothing;
  cursor->control = cursor_control;
  ring_init(cursor);
  cursor->owner = xp_retain(list);
  cursor_rewind(cursor);
  return cursor;
}
