// The container of an installer package: a compound file, read piece by piece with care. Layout:
// Microsoft's [MS-CFB]. Unlike a general reader this one gives the directory's own records, which
// the extended signature of a package covers.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "object/xp_ref.h"
#include "platform/host/buffer.h"
#include "platform/host/source.h"

enum compound_kind : uint8_t { COMPOUND_STORAGE = 1, COMPOUND_STREAM = 2, COMPOUND_ROOT = 5 };

constexpr uint32_t COMPOUND_HEADER_SIZE = 512;
constexpr uint32_t COMPOUND_NO_ENTRY = 0xFFFFFFFF;

// A record of the directory, where it lies. Names are UTF-16LE without their NUL.
struct compound_entry {
  const uint8_t* name;
  uint32_t name_size;  // bytes
  compound_kind kind;
  uint32_t left, right, child;
  const uint8_t* class_id;    // 16 bytes
  const uint8_t* state;       // 4 bytes
  const uint8_t* times;       // 16 bytes: made, changed
  const uint8_t* size_field;  // 8 bytes
  uint32_t start;
  uint64_t size;
};

struct compound_file {
  const host_source* source = nullptr;
  uint8_t header[COMPOUND_HEADER_SIZE];
  uint32_t sector_shift = 0;
  uint32_t sector_count = 0;   // that lie wholly in the file
  uint32_t stream_cutoff = 0;  // streams below it lie in the small sectors
  xp_block<uint32_t> fat;
  uint32_t fat_count = 0;
  host_buffer directory;
  host_buffer small_fat;
  host_buffer small_stream;
  uint32_t entry_count = 0;
  xp_block<uint8_t> window;  // the piece of the file that is being looked at
};

enum compound_result {
  COMPOUND_OK,
  COMPOUND_BROKEN,      // the file contradicts itself
  COMPOUND_UNREADABLE,  // a read failed
  COMPOUND_NO_MEMORY,
};

// Reads header, tables and directory, and keeps the small streams: about a hundredth of the file.
// The source must outlive `out`, which is fresh.
compound_result compound_open(const host_source* source, compound_file* out);
// False for an entry that is free, of no known kind or not there.
bool compound_read_entry(const compound_file* file, uint32_t index, compound_entry* out);

// The entries of a storage, sorted by the bytes of their names, the shorter first. `seen` has a
// byte for each entry of the file: one that is met twice makes the file broken.
struct compound_children {
  xp_block<uint32_t> index;
  uint32_t count = 0;
};
compound_result compound_list(const compound_file* file, const compound_entry* storage,
                              uint8_t* seen, compound_children* out);

// Hands the bytes of a stream to `take` in pieces, which are gone when it returns; ends early when
// that gives false.
using compound_take = bool (*)(void* context, const void* bytes, size_t size);
compound_result compound_read(const compound_file* file, const compound_entry* stream,
                              compound_take take, void* context);
