#include "platform/windows/backend.h"

static void* heap_alloc(size_t size) {
  return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size);
}

// The heap knows the old size itself and zero-fills the growth behind it.
static void* heap_resize(void* block, size_t, size_t new_size) {
  if (!block) return heap_alloc(new_size);
  return HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, new_size);
}

static void heap_free(void* block) {
  if (block) HeapFree(GetProcessHeap(), 0, block);
}

constinit const xp_heap_ops windows_heap = {
    .alloc = heap_alloc, .resize = heap_resize, .free = heap_free};
