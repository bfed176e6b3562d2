// What the containers share: the value policies, the lock of an operation, the copy of a value in
// a deep copy, and the end of containers that hold containers.
#pragma once

#include "object/xp_object.h"

// The policy for raw values: words that are neither retained nor released.
xp_object* xp_container_keep(xp_object* value);
void xp_container_forget(xp_object* value);

// The value for a deep copy, with a reference: a new container for a container that can be copied,
// anything else (values are immutable) itself. Null gives null. `flags` are those of XP_CTL_COPY.
xp_object* xp_container_copy_value(xp_object* value, uint32_t flags);

// Ends an object whose last reference has been dropped: calls `destroy`, which releases what the
// object owns and frees the record. Containers whose last reference falls meanwhile on this thread
// wait until `destroy` has returned, and are ended one after another before the outermost call
// returns. A document may nest as deep as it is long; ended by plain calls it would need a stack
// as deep as that.
void xp_grave_bury(xp_object* object, xp_release_slot destroy);

// Holds a container's lock to the end of the scope; a null lock does nothing.
class xp_locked {
 public:
  explicit xp_locked(xp_crit* crit) : crit_(crit) {
    if (crit_) xp_crit_enter(crit_);
  }
  xp_locked(const xp_locked&) = delete;
  xp_locked& operator=(const xp_locked&) = delete;
  ~xp_locked() {
    if (crit_) xp_crit_leave(crit_);
  }

 private:
  xp_crit* crit_;
};
