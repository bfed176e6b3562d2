// A re-entrant mutual exclusion. The record of a lock is opaque to the callers.
#pragma once

struct xp_lock;

struct xp_lock_ops {
  // A new lock, or null when memory is out.
  xp_lock* (*create)();
  // The owning thread may enter again; each enter needs its own leave.
  void (*enter)(xp_lock* lock);
  void (*leave)(xp_lock* lock);
  // The lock must not be held. Null is a no-op.
  void (*destroy)(xp_lock* lock);
};
