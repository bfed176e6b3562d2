// The heap keeps blocks of up to 512 bytes, which nearly every object takes, by their size, as the
// heap of a Windows computer keeps them. The C library joins small blocks with their neighbours and
// parts them again, which costs a tree of many values more than all else that is done with it.
//
// The small blocks lie in one range of 64 MB, of which only what was used takes memory; what is
// freed serves blocks of its size again. They belong to the first thread that asks. The others are
// served by the C library, and what they free of small blocks comes back when the first runs short.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include <atomic>

#include "platform/host/host.h"
#include "platform/watched.h"

namespace {

constexpr size_t GRAIN = 16;  // blocks are aligned to this, and their sizes are multiples of it
constexpr size_t LARGEST = 512;
constexpr size_t SLAB = size_t{64} * 1024;  // holds blocks of one size
constexpr size_t SLABS = XP_MEMORY_IS_WATCHED ? 1 : 1024;
constexpr size_t LARGE_PAGE = size_t{2} * 1024 * 1024;

struct freed_block {
  freed_block* next;
};

// The blocks of one size.
struct size_class {
  freed_block* freed;  // the newest first
  char* unused;        // what no block of the newest slab was made of yet
  char* end;
};

alignas(LARGE_PAGE) char range[SLABS * SLAB];
uint8_t class_of_slab[SLABS];
size_t slabs_used;
size_class classes[LARGEST / GRAIN + 1];  // by size / GRAIN; no block is of the first

// A thread is known by the address of its own mark.
thread_local char mark;
std::atomic<const char*> owner;
std::atomic<freed_block*> returned;  // freed by other threads, of any size

bool is_owner() {
  const char* known = owner.load(std::memory_order_relaxed);
  if (known == &mark) return true;
  return !known && owner.compare_exchange_strong(known, &mark);
}

// ---- taking ----------------------------------------------------------------------------------

// Bytes that a small block has room for; 0 for a block of the C library.
size_t small_room(const void* block) {
  const auto offset = reinterpret_cast<uintptr_t>(block) - reinterpret_cast<uintptr_t>(range);
  return offset < sizeof(range) ? class_of_slab[offset / SLAB] * GRAIN : 0;
}

void keep(freed_block* block) {
  size_class& kind = classes[small_room(block) / GRAIN];
  block->next = kind.freed;
  kind.freed = block;
}

void keep_returned() {
  freed_block* block = returned.exchange(nullptr, std::memory_order_acquire);
  while (block) {
    freed_block* next = block->next;
    keep(block);
    block = next;
  }
}

bool take_slab(size_t index) {
  if (slabs_used == SLABS) return false;
  // Few processes come this far, but a tree on thousands of pages waits for their addresses. The
  // large ones are no more than a wish.
  if (slabs_used == LARGE_PAGE / SLAB)
    (void)madvise(range + LARGE_PAGE, sizeof(range) - LARGE_PAGE, MADV_HUGEPAGE);
  char* slab = range + slabs_used * SLAB;
  class_of_slab[slabs_used++] = static_cast<uint8_t>(index);
  const size_t size = index * GRAIN;
  classes[index].unused = slab;
  classes[index].end = slab + SLAB / size * size;
  return true;
}

// A block for which there was no freed one, or null.
void* take_unused(size_t index) {
  size_class& kind = classes[index];
  if (kind.unused == kind.end && !take_slab(index)) return nullptr;
  void* block = kind.unused;
  kind.unused += index * GRAIN;
  return block;
}

// Starts the next block of a size on its way: it is wanted soon, and has mostly left the caches
// since it was freed.
void fetch(const freed_block* block, size_t size) {
  constexpr size_t CACHE_LINE = 64;
  const auto address = reinterpret_cast<uintptr_t>(block);
  for (size_t offset = 0; offset < size; offset += CACHE_LINE)
    __builtin_prefetch(reinterpret_cast<const void*>(address + offset), 1);
}

void* take(size_t index) {
  size_class& kind = classes[index];
  if (!kind.freed && returned.load(std::memory_order_relaxed)) keep_returned();
  freed_block* block = kind.freed;
  if (!block) return take_unused(index);
  kind.freed = block->next;
  fetch(block->next, index * GRAIN);
  return block;
}

// Two grains a step and no call: most blocks take two or three steps, and the processor's own
// instruction takes longer than that to begin.
void clear(void* block, size_t size) {
  constexpr char zeros[GRAIN] = {};
  auto* at = static_cast<char*>(block);
  const char* end = at + size;
  if (size & GRAIN) {
    memcpy(at, zeros, GRAIN);
    at += GRAIN;
  }
  for (; at != end; at += 2 * GRAIN) {
    memcpy(at, zeros, GRAIN);
    memcpy(at + GRAIN, zeros, GRAIN);
  }
}

// A zero-filled small block; null when it is for the C library to serve.
void* small_alloc(size_t size) {
  // A tool that watches memory watches the blocks of the C library.
  if (XP_MEMORY_IS_WATCHED || size > LARGEST || !is_owner()) return nullptr;
  const size_t index = size ? (size + GRAIN - 1) / GRAIN : 1;
  void* block = take(index);
  if (block) clear(block, index * GRAIN);
  return block;
}

// ---- giving back -----------------------------------------------------------------------------

void small_free(void* block) {
  auto* freed = static_cast<freed_block*>(block);
  if (is_owner()) return keep(freed);
  freed->next = returned.load(std::memory_order_relaxed);
  while (!returned.compare_exchange_weak(freed->next, freed, std::memory_order_release,
                                         std::memory_order_relaxed)) {
  }
}

}  // namespace

static void* host_alloc(size_t size) {
  if (void* block = small_alloc(size)) return block;
  return calloc(1, size ? size : 1);
}

static void host_free(void* block) {
  if (small_room(block))
    small_free(block);
  else
    free(block);
}

// A small block stays where it is while the new size is one that it suits.
static void* resize_small(void* block, size_t room, size_t old_size, size_t new_size) {
  if (new_size <= room && new_size >= room / 2) return block;
  void* moved = host_alloc(new_size);
  if (!moved) return nullptr;
  memcpy(moved, block, old_size < new_size ? old_size : new_size);
  small_free(block);
  return moved;
}

static void* host_resize(void* block, size_t old_size, size_t new_size) {
  if (!block) return host_alloc(new_size);
  const size_t room = small_room(block);
  void* moved = room ? resize_small(block, room, old_size, new_size)
                     : realloc(block, new_size ? new_size : 1);
  if (moved && new_size > old_size)
    memset(static_cast<char*>(moved) + old_size, 0, new_size - old_size);
  return moved;
}

constinit const xp_heap_ops host_heap = {
    .alloc = host_alloc, .resize = host_resize, .free = host_free};
