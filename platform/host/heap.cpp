#include <stdlib.h>
#include <string.h>

#include "platform/host/host.h"

// The library's cache of small blocks serves malloc, but not calloc.
constexpr size_t SMALL_BLOCK = 1024;

static void* host_alloc(size_t size) {
  if (size == 0) size = 1;
  if (size > SMALL_BLOCK) return calloc(1, size);
  void* block = malloc(size);
  if (block) memset(block, 0, size);
  return block;
}

static void* host_resize(void* block, size_t old_size, size_t new_size) {
  auto* moved = static_cast<char*>(realloc(block, new_size ? new_size : 1));
  if (moved && new_size > old_size) memset(moved + old_size, 0, new_size - old_size);
  return moved;
}

constinit const xp_heap_ops host_heap = {
    .alloc = host_alloc, .resize = host_resize, .free = ::free};
