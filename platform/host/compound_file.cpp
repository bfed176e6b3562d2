#include "platform/host/compound_file.h"

#include <stdlib.h>
#include <string.h>

#include "platform/host/pe_file.h"

namespace {

constexpr uint8_t MAGIC[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr uint32_t HEADER_FAT_ENTRIES = 109;
constexpr uint32_t ENTRY_SIZE = 128;
constexpr uint32_t SMALL_SHIFT = 6;
constexpr uint32_t END_OF_CHAIN = 0xFFFFFFFE;
constexpr uint32_t WINDOW_SIZE = 65536;

uint32_t sector_size(const compound_file* file) {
  return 1u << file->sector_shift;
}

// Reads `count` sectors that lie in a row.
bool read_sectors(const compound_file* file, uint32_t index, uint32_t count, void* out) {
  // The header fills the room of sector -1.
  const uint64_t offset = (static_cast<uint64_t>(index) + 1) << file->sector_shift;
  return host_source_read(file->source, offset, out, size_t{count} << file->sector_shift);
}

// The table's numbers are read to where they stay, and turned round where the processor's order
// is another one.
compound_result add_fat_sector(compound_file* file, uint32_t index, uint32_t* next) {
  const uint32_t per_sector = sector_size(file) / 4;
  if (index >= file->sector_count || *next + per_sector > file->fat_count) return COMPOUND_BROKEN;
  uint32_t* at = file->fat.get() + *next;
  if (!read_sectors(file, index, 1, at)) return COMPOUND_UNREADABLE;
  for (uint32_t i = 0; i < per_sector; i++)
    at[i] = pe_dword(reinterpret_cast<const uint8_t*>(at + i));
  *next += per_sector;
  return COMPOUND_OK;
}

// The sectors of the table are named in the header and, for large files, in a chain of further
// sectors. There can't be more of them than the file's sectors need.
compound_result read_fat(compound_file* file) {
  const uint32_t per_sector = sector_size(file) / 4;
  const uint32_t fat_sectors = pe_dword(file->header + 44);
  if (fat_sectors == 0 || fat_sectors > file->sector_count / per_sector + 1) return COMPOUND_BROKEN;
  file->fat_count = fat_sectors * per_sector;
  file->fat = xp_block<uint32_t>::of(file->fat_count);
  if (!file->fat) return COMPOUND_NO_MEMORY;
  uint32_t next = 0;
  const uint8_t* list = file->header + 76;
  uint32_t room = HEADER_FAT_ENTRIES;
  uint32_t more = pe_dword(file->header + 68);
  for (uint32_t i = 0; i < fat_sectors; i++) {
    if (room == 0) {
      if (more >= file->sector_count) return COMPOUND_BROKEN;
      if (!read_sectors(file, more, 1, file->window.get())) return COMPOUND_UNREADABLE;
      list = file->window.get();
      room = per_sector - 1;
      more = pe_dword(list + room * 4);
    }
    const compound_result added = add_fat_sector(file, pe_dword(list), &next);
    if (added != COMPOUND_OK) return added;
    list += 4;
    room--;
  }
  return COMPOUND_OK;
}

bool in_file(const compound_file* file, uint32_t index) {
  return index < file->sector_count && index < file->fat_count;
}

// How many sectors of a chain, from `at` on, lie in a row: at most what the window holds, and
// what `most` bytes need.
uint32_t row_length(const compound_file* file, uint32_t at, uint64_t most) {
  const uint64_t window = most < WINDOW_SIZE ? most : WINDOW_SIZE;
  const uint64_t wanted = (window + sector_size(file) - 1) >> file->sector_shift;
  uint32_t count = 1;
  while (count < wanted && file->fat[at + count - 1] == at + count && in_file(file, at + count))
    count++;
  return count;
}

// Walks the first `most` bytes of a chain of sectors, and hands them to `take` with their number.
// A chain longer than the file has sectors goes in a circle. `most` is more than 0.
template <class Take>
compound_result walk_chain(const compound_file* file, uint32_t start, uint64_t most, Take take) {
  uint64_t steps = 0;
  for (uint32_t at = start; at != END_OF_CHAIN;) {
    if (!in_file(file, at)) return COMPOUND_BROKEN;
    const uint32_t count = row_length(file, at, most);
    steps += count;
    if (steps > file->sector_count) return COMPOUND_BROKEN;
    if (!read_sectors(file, at, count, file->window.get())) return COMPOUND_UNREADABLE;
    const uint64_t held = uint64_t{count} << file->sector_shift;
    const uint64_t part = most < held ? most : held;
    most -= part;
    if (!take(file->window.get(), static_cast<size_t>(part)) || most == 0) break;
    at = file->fat[at + count - 1];
  }
  return COMPOUND_OK;
}

// Collects a whole chain, or its first `most` bytes.
compound_result collect(const compound_file* file, uint32_t start, uint64_t most,
                        host_buffer* out) {
  bool memory = true;
  const compound_result walked =
      walk_chain(file, start, most, [&](const uint8_t* bytes, size_t size) {
        memory = host_buffer_add(out, bytes, size);
        return memory;
      });
  return memory ? walked : COMPOUND_NO_MEMORY;
}

compound_result read_tables(compound_file* file) {
  compound_result result = read_fat(file);
  if (result != COMPOUND_OK) return result;
  result = collect(file, pe_dword(file->header + 48), UINT64_MAX, &file->directory);
  if (result != COMPOUND_OK) return result;
  file->entry_count = static_cast<uint32_t>(file->directory.length / ENTRY_SIZE);
  compound_entry root;
  if (!compound_read_entry(file, 0, &root) || root.kind != COMPOUND_ROOT) return COMPOUND_BROKEN;
  if (pe_dword(file->header + 64) == 0) return COMPOUND_OK;  // no small sectors
  result = collect(file, pe_dword(file->header + 60), UINT64_MAX, &file->small_fat);
  if (result != COMPOUND_OK || root.size == 0) return result;
  return collect(file, root.start, root.size, &file->small_stream);
}

int by_name(const void* a, const void* b, void* context) {
  const auto* file = static_cast<const compound_file*>(context);
  compound_entry x = {};
  compound_entry y = {};
  // Both are listed, so both can be read.
  (void)compound_read_entry(file, *static_cast<const uint32_t*>(a), &x);
  (void)compound_read_entry(file, *static_cast<const uint32_t*>(b), &y);
  const uint32_t shorter = x.name_size < y.name_size ? x.name_size : y.name_size;
  const int order = shorter > 0 ? memcmp(x.name, y.name, shorter) : 0;
  if (order != 0) return order;
  return x.name_size < y.name_size ? -1 : x.name_size > y.name_size;
}

compound_result read_small(const compound_file* file, const compound_entry* stream,
                           compound_take take, void* context) {
  const auto* table = reinterpret_cast<const uint8_t*>(file->small_fat.bytes);
  const size_t table_count = file->small_fat.length / 4;
  const size_t count = file->small_stream.length >> SMALL_SHIFT;
  uint64_t left = stream->size;
  size_t steps = 0;
  for (uint32_t at = stream->start; left > 0; at = pe_dword(table + at * size_t{4})) {
    if (at >= table_count || at >= count || steps++ >= count) return COMPOUND_BROKEN;
    const uint64_t part = left < 1u << SMALL_SHIFT ? left : 1u << SMALL_SHIFT;
    if (!take(context, file->small_stream.bytes + (size_t{at} << SMALL_SHIFT),
              static_cast<size_t>(part)))
      return COMPOUND_OK;
    left -= part;
  }
  return COMPOUND_OK;
}

compound_result read_large(const compound_file* file, const compound_entry* stream,
                           compound_take take, void* context) {
  uint64_t left = stream->size;
  bool taken = true;
  const compound_result walked =
      walk_chain(file, stream->start, left, [&](const uint8_t* bytes, size_t size) {
        left -= size;
        taken = take(context, bytes, size);
        return taken;
      });
  return walked == COMPOUND_OK && taken && left > 0 ? COMPOUND_BROKEN : walked;
}

}  // namespace

compound_result compound_open(const host_source* source, compound_file* out) {
  out->source = source;
  if (source->size < sizeof out->header) return COMPOUND_BROKEN;
  if (!host_source_read(source, 0, out->header, sizeof out->header)) return COMPOUND_UNREADABLE;
  if (memcmp(out->header, MAGIC, sizeof MAGIC) != 0) return COMPOUND_BROKEN;
  out->sector_shift = pe_word(out->header + 30);
  out->stream_cutoff = pe_dword(out->header + 56);
  const bool known = (out->sector_shift == 9 || out->sector_shift == 12) &&
                     pe_word(out->header + 32) == SMALL_SHIFT &&
                     pe_word(out->header + 28) == 0xFFFE;
  if (!known) return COMPOUND_BROKEN;
  out->window = xp_block<uint8_t>::of(WINDOW_SIZE);
  if (!out->window) return COMPOUND_NO_MEMORY;
  // A last sector that is cut short isn't counted.
  const uint64_t sectors = source->size >> out->sector_shift;
  if (sectors < 2 || sectors > END_OF_CHAIN) return COMPOUND_BROKEN;
  out->sector_count = static_cast<uint32_t>(sectors - 1);
  return read_tables(out);
}

bool compound_read_entry(const compound_file* file, uint32_t index, compound_entry* out) {
  if (index >= file->entry_count) return false;
  const uint8_t* at =
      reinterpret_cast<const uint8_t*>(file->directory.bytes) + size_t{index} * ENTRY_SIZE;
  const uint16_t name_size = pe_word(at + 64);
  if (name_size < 2 || name_size > 64 || name_size % 2 != 0) return false;
  if (at[66] != COMPOUND_STORAGE && at[66] != COMPOUND_STREAM && at[66] != COMPOUND_ROOT)
    return false;
  *out = {.name = at,
          .name_size = name_size - 2u,
          .kind = static_cast<compound_kind>(at[66]),
          .left = pe_dword(at + 68),
          .right = pe_dword(at + 72),
          .child = pe_dword(at + 76),
          .class_id = at + 80,
          .state = at + 96,
          .times = at + 100,
          .size_field = at + 120,
          .start = pe_dword(at + 116),
          .size = pe_dword(at + 120)};
  // Files of small sectors leave the upper half undefined.
  if (file->sector_shift == 12) out->size |= static_cast<uint64_t>(pe_dword(at + 124)) << 32;
  return true;
}

compound_result compound_list(const compound_file* file, const compound_entry* storage,
                              uint8_t* seen, compound_children* out) {
  out->count = 0;
  out->index = xp_block<uint32_t>::of(file->entry_count);
  if (!out->index) return COMPOUND_NO_MEMORY;
  // The siblings form a tree. The list serves as the queue of those whose neighbours are still to
  // be looked at; it has room for every entry, and none is in it twice.
  uint32_t next[3] = {storage->child, COMPOUND_NO_ENTRY, COMPOUND_NO_ENTRY};
  for (uint32_t done = 0;; done++) {
    for (const uint32_t index : next) {
      if (index == COMPOUND_NO_ENTRY) continue;
      if (index >= file->entry_count || seen[index]) return COMPOUND_BROKEN;
      seen[index] = 1;
      out->index[out->count++] = index;
    }
    if (done == out->count) break;
    compound_entry entry;
    if (!compound_read_entry(file, out->index[done], &entry) || entry.kind == COMPOUND_ROOT)
      return COMPOUND_BROKEN;
    next[0] = entry.left;
    next[1] = entry.right;
    next[2] = COMPOUND_NO_ENTRY;
  }
  qsort_r(out->index.get(), out->count, sizeof(uint32_t), by_name,
          const_cast<compound_file*>(file));
  return COMPOUND_OK;
}

compound_result compound_read(const compound_file* file, const compound_entry* stream,
                              compound_take take, void* context) {
  if (stream->size == 0) return COMPOUND_OK;
  return stream->size < file->stream_cutoff ? read_small(file, stream, take, context)
                                            : read_large(file, stream, take, context);
}
