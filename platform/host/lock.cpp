#include <pthread.h>

#include "platform/host/host.h"

struct xp_lock {
  pthread_mutex_t mutex;
};

static xp_lock* host_lock_create() {
  auto* lock = static_cast<xp_lock*>(xp_heap_alloc(sizeof(xp_lock)));
  if (!lock) return nullptr;
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&lock->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return lock;
}

static void host_lock_enter(xp_lock* lock) {
  pthread_mutex_lock(&lock->mutex);
}

static void host_lock_leave(xp_lock* lock) {
  pthread_mutex_unlock(&lock->mutex);
}

static void host_lock_destroy(xp_lock* lock) {
  if (!lock) return;
  pthread_mutex_destroy(&lock->mutex);
  xp_heap_free(lock);
}

constinit const xp_lock_ops host_lock = {.create = host_lock_create,
                                         .enter = host_lock_enter,
                                         .leave = host_lock_leave,
                                         .destroy = host_lock_destroy};
