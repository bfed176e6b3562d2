// The named forms of the slots that nearly every file calls.
#include "platform/platform.h"

void* xp_heap_alloc(size_t size) {
  return xp_platform->heap->alloc(size);
}

void* xp_heap_resize(void* block, size_t old_size, size_t new_size) {
  return xp_platform->heap->resize(block, old_size, new_size);
}

void xp_heap_free(void* block) {
  if (block) xp_platform->heap->free(block);
}

int32_t xp_text_to_wide(const char* text, int32_t length, char16_t* out, int32_t capacity) {
  return xp_platform->text->to_wide(text, length, out, capacity);
}

int32_t xp_text_to_utf8(const char16_t* wide, int32_t length, char* out, int32_t capacity) {
  return xp_platform->text->to_utf8(wide, length, out, capacity);
}
