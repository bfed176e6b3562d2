// `dict`: byte-string keys of 1 to 255 bytes to references, a chained hash table whose nodes lie
// in a pool of growing blocks. Walked in sorted key order. Also the system's one sort routine.
//
// A key is a pointer and a length in bytes, negative to measure to the NUL. A longer key is cut to
// its first 255 bytes in every operation. An empty key is no key.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_DICT = xp_tag("dict");

enum xp_dict_flag : uint32_t {
  XP_DICT_RAW = 0x1,               // values are words, neither retained nor released
  XP_DICT_LOCKED = 0x4,            // own a lock and hold it in every operation
  XP_DICT_NOCASE = 0x40,           // keys ignore ASCII case
  XP_DICT_INSERT = 0x80,           // a failed lookup inserts the key with a null value
  XP_DICT_8192 = 0x100,            // start with this many buckets
  XP_DICT_16384 = 0x200,           //
  XP_DICT_32768 = 0x300,           //
  XP_DICT_NULL_REMOVES = 0x10000,  // storing null takes the key out
  XP_DICT_SKIP_NULL = 0x20000,     // keys with a null value are passed over by walk and destruction
};

struct xp_dict_node;  // a key and its value

// Nodes are carved out of blocks that each hold their header and, behind it, their bytes.
struct xp_dict_block {
  xp_dict_block* next;  // the older block
  uint32_t used;        // offset of the first free byte behind this header
  uint32_t capacity;    // bytes behind this header
};
static_assert(sizeof(xp_dict_block) == 16);

constexpr uint32_t XP_DICT_INLINE_BUCKETS = 2;
constexpr uint32_t XP_DICT_INLINE_BYTES = 128;

// A dictionary of up to 16 keys keeps its two chain heads, and its first nodes, in the record. One
// that takes keys out again has lists of free nodes behind it.
struct xp_dict : xp_object {
  uint32_t flags;
  uint32_t count;         // keys
  uint32_t block_size;    // bytes of the next block
  uint32_t bucket_count;  // a power of two
  xp_crit* lock;          // may be null
  xp_value_retain retain_value;
  xp_value_release release_value;
  xp_dict_block* pool;     // the newest block
  xp_dict_node** buckets;  // chain heads, the inline ones at first
  xp_dict_node* inline_buckets[XP_DICT_INLINE_BUCKETS];
  xp_dict_block inline_block;
  alignas(8) uint8_t inline_bytes[XP_DICT_INLINE_BYTES];  // directly behind its header
};

// Called for one key; a non-zero result stops the walk. `key` has no NUL; `value` is borrowed.
using xp_dict_visitor = int32_t (*)(xp_dict* dict, const char* key, int32_t key_length,
                                    xp_object* value, void* context);
// Order of two words; the last argument is always 0.
using xp_sort_compare = int32_t (*)(void* context, uintptr_t a, uintptr_t b, int32_t);

xp_dict* xp_dict_new(uint32_t flags);
// Stores (and retains) a value. 0, also when nothing was to be done; -1 for a null dictionary or
// key and when memory is out.
int32_t xp_dict_set(xp_dict* dict, const char* key, int32_t length, xp_object* value);
// The same, but takes the caller's reference to the value over, whatever the result.
int32_t xp_dict_give(xp_dict* dict, const char* key, int32_t length, xp_object* value);
// A new reference, or null when the key is absent or holds null.
xp_object* xp_dict_get(xp_dict* dict, const char* key, int32_t length);
// Keys in the table; 0 for null.
uint32_t xp_dict_count(const xp_dict* dict);
// Calls `visitor` for each key in sorted order. 0 for a whole walk, -1 when stopped.
int32_t xp_dict_each_sorted(xp_dict* dict, xp_dict_visitor visitor, void* context);
// The same in the order of the buckets, each chain from its newest key on; asks for no memory.
int32_t xp_dict_each(xp_dict* dict, xp_dict_visitor visitor, void* context);
// Starts the values of a small dictionary on their way from memory; null is a no-op.
void xp_dict_fetch(const xp_dict* dict);
// 1 when the two keys are one under the dictionary's flags. Lengths are not measured.
int32_t xp_dict_key_equal(xp_dict* dict, const char* a, int32_t a_length, const char* b,
                          int32_t b_length);
// Moves all nodes to a table of `buckets` chain heads.
void xp_dict_rehash(xp_dict* dict, uint32_t buckets);
// Sorts `count` words in place. `compare` null orders by the raw words. 0.
int32_t xp_sort(void* context, uint32_t count, uintptr_t* items, xp_sort_compare compare);

inline xp_dict* xp_as_dict(xp_object* object) {
  return xp_cast<xp_dict>(object, XP_DICT);
}
