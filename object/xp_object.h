// The object header and its rules. Everything that one folder hands to another is an object: one
// record of the process heap that starts with a reference count, a four-character tag and five
// slots, and goes on with the fields of its kind. There are no class tables: each object carries
// its slots itself, filled in by the constructor of its kind.
//
// Ownership, everywhere in this system:
// - a routine that makes an object returns it with one reference, which belongs to the caller;
// - a routine that hands an object out of a container, a traversal or a table of shared objects
//   returns a new reference, too;
// - storing an object in a container retains it;
// - an argument is borrowed: whoever keeps it retains it.
// Routines accept null wherever an object can be absent, and constructors return null when memory
// is out.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "platform/platform.h"

struct xp_object;
struct xp_crit;

// A four-character tag: the bytes of the number in memory spell the name (little-endian).
consteval uint32_t xp_tag(const char (&name)[5]) {
  return static_cast<uint32_t>(static_cast<uint8_t>(name[0])) |
         static_cast<uint32_t>(static_cast<uint8_t>(name[1])) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(name[2])) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(name[3])) << 24;
}

// Selectors of the `control` slot: small numbers are operations, tags name protocols.
enum xp_control : int32_t {
  XP_CTL_FLATTEN = 0,    // argument: key, pointer: flat writer. Bytes of the entry, 0 on failure
  XP_CTL_UNFLATTEN = 1,  // argument: key wanted or 0, pointer: entry. A new object, or 0
  XP_CTL_COPY = 2,       // argument: bit 0 set for a shallow copy. A new container (arry, dict)
  XP_CTL_SUPPORTS = 3,   // argument: a tag. 1 when the object speaks that protocol
  XP_CTL_EMPTY = 4,      // 1 when the object is empty; kinds that don't answer give 0
  XP_CTL_PNTR = static_cast<int32_t>(xp_tag("pntr")),  // argument: 0, pointer: uint32_t* length.
                                                       // The text's bytes, owned by the object
  XP_CTL_TRAV = static_cast<int32_t>(xp_tag("trav")),  // argument: xp_trav_operation. A function
};

// Operations of the `trav` protocol: a container answers XP_TRAV_NEW, a traversal the others
// (object/xp_trav.h).
enum xp_trav_operation : uint32_t {
  XP_TRAV_REWIND = 0,
  XP_TRAV_NEXT = 1,
  XP_TRAV_PREV = 2,
  XP_TRAV_NEW = 3,
  XP_TRAV_COUNT = 5,
  XP_TRAV_SKIP = 6,
};

// What `control` returns: a number, an object or a function, by the selector.
using xp_word = uint64_t;

using xp_retain_slot = xp_object* (*)(xp_object*);
using xp_release_slot = void (*)(xp_object*);
// Orders two objects of one kind: -1, 0 or 1. The tags have been checked by the caller.
using xp_compare_slot = int32_t (*)(xp_object* a, xp_object* b);
// Writes the object's text: with `buffer` null the length of the whole text; otherwise at most
// `size` bytes, without a NUL, and the result is the count written.
using xp_render_slot = int32_t (*)(xp_object* object, char* buffer, uint32_t size);
// Everything else; an unknown selector gives 0.
using xp_control_slot = xp_word (*)(xp_object* object, int32_t selector, uint32_t argument,
                                    void* pointer);

struct xp_object {
  uint32_t refcount;        // owners; only changed by atomic operations
  uint32_t tag;             // the kind
  xp_retain_slot retain;    // never null in a live object
  xp_release_slot release;  // never null in a live object
  xp_compare_slot compare;  // may be null
  xp_render_slot render;    // may be null
  xp_control_slot control;  // may be null
};
static_assert(sizeof(xp_object) == 48);

// Step one to three of every constructor: a zero-filled record of `size` bytes with the tag, the
// default retain and release slots, and one reference. Null when memory is out.
xp_object* xp_object_alloc(size_t size, uint32_t tag);

template <class T>
T* xp_object_new(uint32_t tag, size_t size = sizeof(T)) {
  return static_cast<T*>(xp_object_alloc(size, tag));
}

// Adds a reference and returns the object; null gives null.
xp_object* xp_default_retain(xp_object* object);
// Drops a reference and frees the record at the last one; null is a no-op.
void xp_default_release(xp_object* object);

// The two halves of a release slot of a kind's own. `xp_object_drop` drops a reference and tells
// whether it was the last, so that the kind frees what it owns; `xp_object_free` then clears the
// retain and release slots and frees the record.
//
//   void kind_release(xp_object* object) {
//     if (!xp_object_drop(object)) return;
//     ... release what the object owns ...
//     xp_object_free(object);
//   }
[[nodiscard]] bool xp_object_drop(xp_object* object);
void xp_object_free(xp_object* object);

// Call the object's own slot; null gives null, or nothing. These two are the value policy of the
// containers.
xp_object* xp_object_retain(xp_object* object);
void xp_object_release(xp_object* object);

// How a container treats a value that enters and one that leaves.
using xp_value_retain = xp_object* (*)(xp_object*);
using xp_value_release = void (*)(xp_object*);

// The one order that is safe for any two objects: -1, 0 or 1. Null first; then by tag as a
// number; two objects of one kind by their common `compare`, or by address when they have none.
int32_t xp_object_compare(xp_object* a, xp_object* b);

// The control slot, 0 for null or for an object without one.
xp_word xp_object_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer);
// XP_CTL_SUPPORTS of a protocol tag.
bool xp_object_supports(xp_object* object, uint32_t protocol);

// The typed retain: hands out one more reference to the same object.
template <class T>
T* xp_retain(T* object) {
  return static_cast<T*>(xp_object_retain(object));
}

// The checked cast: null for null and for an object of another kind.
template <class T>
T* xp_cast(xp_object* object, uint32_t tag) {
  return object && object->tag == tag ? static_cast<T*>(object) : nullptr;
}

// ---- the lock object, tag `crit` -------------------------------------------------------------

// A re-entrant lock that containers and the socket layer's table own. Null is accepted by enter
// and leave and does nothing: an unlocked container has a null lock.
struct xp_crit : xp_object {
  xp_lock* lock;
};

constexpr uint32_t XP_CRIT = xp_tag("crit");

xp_crit* xp_crit_new();
void xp_crit_enter(xp_crit* crit);
void xp_crit_leave(xp_crit* crit);
