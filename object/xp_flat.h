// The flattened form of value objects: a run of entries, each a key (stored as given), the kind's
// tag, the payload's length (big-endian) and the payload, padded with zero bytes to a multiple of
// 4. Kinds write and read their entries in answer to XP_CTL_FLATTEN and XP_CTL_UNFLATTEN.
#pragma once

#include "object/xp_object.h"

struct xp_data;

// Where entries go. A writer with `bytes` null only adds up sizes in `used`.
struct xp_flat_writer {
  xp_data* holder;    // owns the buffer, owned by the writer; null for a buffer of fixed size
  uint8_t* bytes;     // start of the buffer, null in a sizing pass
  uint32_t capacity;  // bytes available at `bytes`
  uint32_t used;      // bytes written so far
};

constexpr uint32_t XP_FLAT_HEADER = 12;  // bytes before the payload

// Appends one entry. `bytes` null gives a zero payload. Returns the entry's size, or 0 when the
// writer is null or can't grow; the writer is then unchanged, but for a lost holder (see below).
uint32_t xp_flat_put(xp_flat_writer* writer, uint32_t key, uint32_t tag, uint32_t length,
                     const void* bytes);
// The same for a payload of one big-endian number of 4 or 8 bytes.
uint32_t xp_flat_put_number(xp_flat_writer* writer, uint32_t key, uint32_t tag, uint64_t value,
                            uint32_t size);
// Makes sure that `count` bytes are free. Returns 1, or 0 when they can't be had: the holder is
// then gone, and later writes fail, too.
int32_t xp_flat_reserve(xp_flat_writer* writer, uint32_t count);

// An entry that was found to be of the tag and key asked for.
struct xp_flat_payload {
  const uint8_t* bytes;
  uint32_t length;
};

// Whether `entry` has that tag and, when `key` is not 0, that key. Null is no entry. The entry's
// payload is trusted to be there: the form holds no size of the run to check it against.
bool xp_flat_open(const void* entry, uint32_t tag, uint32_t key, xp_flat_payload* out);
// The big-endian number at the start of a payload, of 4 or 8 bytes; shorter payloads give 0.
uint64_t xp_flat_number(const xp_flat_payload* payload, uint32_t size);
