#include "object/xp_object.h"

#include <atomic>

xp_object* xp_object_alloc(size_t size, uint32_t tag) {
  auto* object = static_cast<xp_object*>(xp_heap_alloc(size));
  if (!object) return nullptr;
  object->tag = tag;
  object->retain = xp_default_retain;
  object->release = xp_default_release;
  // Nobody else knows of the record yet, so its first reference needs no locked instruction, which
  // would wait here for the fresh record to arrive from memory.
  std::atomic_ref(object->refcount).store(1, std::memory_order_relaxed);
  return object;
}

xp_object* xp_default_retain(xp_object* object) {
  if (object) std::atomic_ref(object->refcount).fetch_add(1, std::memory_order_relaxed);
  return object;
}

void xp_default_release(xp_object* object) {
  if (xp_object_drop(object)) xp_object_free(object);
}

bool xp_object_drop(xp_object* object) {
  if (!object) return false;
  std::atomic_ref count(object->refcount);
  // The only owner is the caller: there is no other who could change the count, and most objects
  // end so. What earlier owners wrote is seen as behind the exchange below.
  if (count.load(std::memory_order_acquire) == 1) return true;
  // The old value is read as a signed number: a count of 0 or less destroys, too.
  return static_cast<int32_t>(count.fetch_sub(1, std::memory_order_acq_rel)) < 2;
}

void xp_object_free(xp_object* object) {
  // A use after the end then meets a null slot instead of freed code paths.
  object->retain = nullptr;
  object->release = nullptr;
  xp_heap_free(object);
}

xp_object* xp_object_retain(xp_object* object) {
  return object ? object->retain(object) : nullptr;
}

void xp_object_release(xp_object* object) {
  if (object) object->release(object);
}

int32_t xp_object_compare(xp_object* a, xp_object* b) {
  if (a == b) return 0;
  if (!a) return -1;
  if (!b) return 1;
  if (a->tag != b->tag) return a->tag < b->tag ? -1 : 1;
  if (a->compare && a->compare == b->compare) return a->compare(a, b);
  return reinterpret_cast<uintptr_t>(a) < reinterpret_cast<uintptr_t>(b) ? -1 : 1;
}

xp_word xp_object_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  return object && object->control ? object->control(object, selector, argument, pointer) : 0;
}

bool xp_object_supports(xp_object* object, uint32_t protocol) {
  return xp_object_control(object, XP_CTL_SUPPORTS, protocol, nullptr) != 0;
}

// ---- crit ------------------------------------------------------------------------------------

static void crit_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_platform->lock->destroy(static_cast<xp_crit*>(object)->lock);
  xp_object_free(object);
}

xp_crit* xp_crit_new() {
  auto* crit = xp_object_new<xp_crit>(XP_CRIT);
  if (!crit) return nullptr;
  crit->release = crit_release;
  crit->lock = xp_platform->lock->create();
  if (crit->lock) return crit;
  xp_object_release(crit);
  return nullptr;
}

void xp_crit_enter(xp_crit* crit) {
  if (crit) xp_platform->lock->enter(crit->lock);
}

void xp_crit_leave(xp_crit* crit) {
  if (crit) xp_platform->lock->leave(crit->lock);
}
