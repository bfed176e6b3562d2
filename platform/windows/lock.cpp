#include "platform/windows/backend.h"

struct xp_lock {
  CRITICAL_SECTION section;
};

static xp_lock* lock_create() {
  auto* lock = static_cast<xp_lock*>(xp_heap_alloc(sizeof(xp_lock)));
  if (lock) InitializeCriticalSection(&lock->section);
  return lock;
}

static void lock_enter(xp_lock* lock) {
  EnterCriticalSection(&lock->section);
}

static void lock_leave(xp_lock* lock) {
  LeaveCriticalSection(&lock->section);
}

static void lock_destroy(xp_lock* lock) {
  if (!lock) return;
  DeleteCriticalSection(&lock->section);
  xp_heap_free(lock);
}

constinit const xp_lock_ops windows_lock = {
    .create = lock_create, .enter = lock_enter, .leave = lock_leave, .destroy = lock_destroy};
