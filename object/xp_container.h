// What the containers share: the policy for raw values, the copy of a value in a deep copy, and the
// lock of an operation.
#pragma once

#include "object/xp_object.h"

// The policy for raw values: words that are neither retained nor released.
xp_object* xp_container_keep(xp_object* value);
void xp_container_forget(xp_object* value);

// The value for a deep copy, with a reference: a new container for a container that can be copied,
// anything else (values are immutable) itself. Null gives null. `flags` are those of XP_CTL_COPY.
xp_object* xp_container_copy_value(xp_object* value, uint32_t flags);

// Starts `bytes` of a value on their way from memory, while others are seen to: a tree of many
// values is larger than the caches. A hint; any word will do, also one that is no address.
inline void xp_container_fetch(const xp_object* value, uint32_t bytes) {
  constexpr uint32_t CACHE_LINE = 64;
  const auto address = reinterpret_cast<uintptr_t>(value);
  for (uint32_t offset = 0; offset < bytes; offset += CACHE_LINE)
    __builtin_prefetch(reinterpret_cast<const void*>(address + offset));
}

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
