// The process heap. Every object and buffer of the system comes from here, zero-filled, so a test
// that fails allocation number N reaches every out-of-memory path there is.
#pragma once

#include <stddef.h>

struct xp_heap_ops {
  // A zero-filled block of `size` bytes (0 is allowed and gives a block that can be freed),
  // or null when memory is out.
  void* (*alloc)(size_t size);
  // Moves a block to `new_size` bytes: the contents up to the smaller size are kept, growth is
  // zero-filled. `old_size` is the size it was asked with; a null `block` has old_size 0. Null
  // when memory is out, and the old block then stands unchanged.
  void* (*resize)(void* block, size_t old_size, size_t new_size);
  // Frees a block; null is a no-op.
  void (*free)(void* block);
};

void* xp_heap_alloc(size_t size);
void* xp_heap_resize(void* block, size_t old_size, size_t new_size);
void xp_heap_free(void* block);
