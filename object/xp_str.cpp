#include "object/xp_str.h"

#include <string.h>

#include "object/xp_ascii.h"
#include "object/xp_flat.h"
#include "object/xp_ref.h"

static int32_t str_compare(xp_object* a, xp_object* b) {
  return xp_text_compare(static_cast<xp_str*>(a)->text, -1, static_cast<xp_str*>(b)->text, -1, 0);
}

static int32_t str_render(xp_object* object, char* buffer, uint32_t size) {
  return xp_str_copy_out(static_cast<xp_str*>(object), buffer, size);
}

// Entries of the tag `text` are strings, too.
static xp_word str_unflatten(const void* entry, uint32_t key) {
  xp_flat_payload payload;
  if (!xp_flat_open(entry, XP_STR, key, &payload) &&
      !xp_flat_open(entry, xp_tag("text"), key, &payload))
    return 0;
  if (payload.length > INT32_MAX) return 0;
  return reinterpret_cast<xp_word>(xp_str_new_n(reinterpret_cast<const char*>(payload.bytes),
                                                static_cast<int32_t>(payload.length)));
}

static xp_word str_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  auto* string = static_cast<xp_str*>(object);
  switch (selector) {
    case XP_CTL_FLATTEN:
      return xp_flat_put(static_cast<xp_flat_writer*>(pointer), argument, XP_STR,
                         static_cast<uint32_t>(string->length), string->text);
    case XP_CTL_UNFLATTEN:
      return str_unflatten(pointer, argument);
    case XP_CTL_EMPTY:
      return string->length == 0;
    case XP_CTL_PNTR:
      if (argument != 0) return 0;
      if (pointer) *static_cast<uint32_t*>(pointer) = static_cast<uint32_t>(string->length);
      return reinterpret_cast<xp_word>(string->text);
    default:
      return 0;
  }
}

// Only a string that owns a heap block has this release.
static void str_heap_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_heap_free(const_cast<char*>(static_cast<xp_str*>(object)->text));
  xp_object_free(object);
}

static xp_str* str_alloc(size_t size) {
  auto* string = xp_object_new<xp_str>(XP_STR, size);
  if (!string) return nullptr;
  string->compare = str_compare;
  string->render = str_render;
  string->control = str_control;
  return string;
}

// An inline string with room for `room` bytes, a NUL and three bytes more; its length is 0.
static xp_str* str_alloc_inline(uint32_t room) {
  xp_str* string = str_alloc(sizeof(xp_str) + static_cast<size_t>(room));
  if (string) string->text = string->inline_bytes;
  return string;
}

static char* inline_text(xp_str* string) {
  return const_cast<char*>(string->text);
}

xp_str* xp_str_new(const char* text) {
  return xp_str_new_n(text, -1);
}

xp_str* xp_str_new_n(const char* text, int32_t length) {
  if (length < 0) length = xp_text_length(text);
  xp_str* string = str_alloc_inline(static_cast<uint32_t>(length));
  if (!string || !text) return string;
  memcpy(inline_text(string), text, static_cast<size_t>(length));
  string->length = length;
  return string;
}

xp_str* xp_str_new_wide(const char16_t* wide, int32_t length) {
  if (!wide) return xp_str_new_n(nullptr, 0);
  if (length < 0) length = xp_wide_length(wide);
  const int32_t needed = xp_text_to_utf8(wide, length, nullptr, 0);
  if (needed <= 0) return xp_str_new_n(nullptr, 0);
  xp_str* string = str_alloc_inline(static_cast<uint32_t>(needed));
  if (string) string->length = xp_text_to_utf8(wide, length, inline_text(string), needed);
  return string;
}

xp_str* xp_str_new_constant(const char* text) {
  xp_str* string = str_alloc(sizeof(xp_str));
  if (!string) return nullptr;
  string->text = text ? text : "";
  string->length = xp_text_length(text);
  return string;
}

xp_str* xp_str_new_heap(char* block, int32_t length) {
  xp_str* string = str_alloc(sizeof(xp_str));
  if (!string) return nullptr;
  string->release = str_heap_release;
  string->text = block;
  string->length = length;
  return string;
}

xp_str* xp_str_from_object(xp_object* object) {
  if (xp_str* self = xp_as_str(object)) return xp_retain(self);
  if (!object || !object->render) return xp_str_new_n(nullptr, 0);
  int32_t room = object->render(object, nullptr, 0);
  if (room < 0) room = 0;
  xp_str* string = str_alloc_inline(static_cast<uint32_t>(room));
  if (!string) return nullptr;
  const int32_t written =
      object->render(object, inline_text(string), static_cast<uint32_t>(room) + 1);
  string->length = written < 0 ? 0 : written;
  return string;
}

xp_str* xp_str_append(xp_str* string, const char* text, int32_t length) {
  if (xp_str_is_empty(string)) return xp_str_new_n(text, length);
  if (length < 0) length = xp_text_length(text);
  // A sum beyond the 31 bits of a length can't be held by any string.
  if (length > INT32_MAX - string->length) return nullptr;
  if (length == 0) return xp_retain(string);
  const int32_t total = string->length + length;
  xp_str* joined = str_alloc_inline(static_cast<uint32_t>(total));
  if (!joined) return nullptr;
  memcpy(inline_text(joined), string->text, static_cast<size_t>(string->length));
  if (text) memcpy(inline_text(joined) + string->length, text, static_cast<size_t>(length));
  joined->length = total;
  return joined;
}

int32_t xp_str_copy_out(xp_str* string, char* buffer, uint32_t size) {
  if (!string) return 0;
  if (!buffer) return string->length;
  uint32_t total = static_cast<uint32_t>(string->length);
  if (total > size) {
    total = 0;
    for (;;) {
      const auto next = static_cast<uint32_t>(xp_text_character_size(string->text[total]));
      if (total + next > size) break;
      total += next;
    }
  }
  memcpy(buffer, string->text, total);
  return static_cast<int32_t>(total);
}

// ---- backslash sequences ---------------------------------------------------------------------

static bool is_octal(char c) {
  return c >= '0' && c <= '7';
}

// Reads one sequence behind its backslash, writes its byte and returns the position behind it.
static const char* unescape_one(const char* read, char* out) {
  switch (*read) {
    case 'n':
      *out = '\n';
      return read + 1;
    case 'r':
      *out = '\r';
      return read + 1;
    case 't':
      *out = '\t';
      return read + 1;
    case 'x': {
      int32_t value = xp_ascii_hex_value(read[1]);
      if (value < 0) break;  // without a digit the letter stands for itself
      read += 2;
      if (const int32_t low = xp_ascii_hex_value(*read); low >= 0) {
        value = value * 16 + low;
        read++;
      }
      *out = static_cast<char>(value);
      return read;
    }
    case '0':
    case '1':
    case '2':
    case '3': {
      int32_t value = *read++ - '0';
      for (int32_t digits = 1; digits < 3 && is_octal(*read); digits++)
        value = value * 8 + (*read++ - '0');
      *out = static_cast<char>(value);
      return read;
    }
    default:
      break;
  }
  *out = *read;
  return read + 1;
}

xp_str* xp_str_unescape(xp_str* string) {
  if (!string) return nullptr;
  xp_str* copy = xp_str_new_n(string->text, string->length);
  if (!copy) return xp_retain(string);
  char* write = inline_text(copy);
  const char* read = copy->text;
  while (*read) {
    if (*read != '\\') {
      *write++ = *read++;
      continue;
    }
    read++;
    if (!*read) break;
    read = unescape_one(read, write++);
  }
  *write = 0;
  copy->length = static_cast<int32_t>(write - copy->text);
  return copy;
}
