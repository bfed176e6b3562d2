#include "object/xp_container.h"

xp_object* xp_container_keep(xp_object* value) {
  return value;
}

void xp_container_forget(xp_object*) {}

xp_object* xp_container_copy_value(xp_object* value, uint32_t flags) {
  auto* copy = reinterpret_cast<xp_object*>(xp_object_control(value, XP_CTL_COPY, flags, nullptr));
  return copy ? copy : xp_object_retain(value);
}

namespace {

struct grave {
  xp_object* waiting;  // dead objects, the next one in each one's `retain` slot
  bool digging;        // an outer call is at work and comes to what is added
};

thread_local grave mine;

// The slots of a dead object are never called again (and are null once it is freed), so its list
// needs no memory: `retain` links it, `release` keeps the routine that ends it.
void push(xp_object* object, xp_release_slot destroy) {
  object->release = destroy;
  object->retain = reinterpret_cast<xp_retain_slot>(mine.waiting);
  mine.waiting = object;
}

xp_object* pop() {
  xp_object* object = mine.waiting;
  mine.waiting = reinterpret_cast<xp_object*>(object->retain);
  return object;
}

}  // namespace

void xp_grave_bury(xp_object* object, xp_release_slot destroy) {
  push(object, destroy);
  if (mine.digging) return;
  mine.digging = true;
  while (mine.waiting) {
    xp_object* next = pop();
    next->release(next);
  }
  mine.digging = false;
}
