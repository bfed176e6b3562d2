// The lines of a registry text, one after another. Shared by the files of the registry.
#pragma once

#include "platform/host/registry_file.h"

// The longest key in its compared form, in bytes; a longer one is passed over.
constexpr size_t REGISTRY_KEY_ROOM = 4096;

struct registry_slice {
  const char* text = nullptr;
  size_t length = 0;
};

// A key's name in the form in which two are compared: roots spelt out, letters folded, no
// doubled or trailing backslash.
struct registry_key_name {
  char text[REGISTRY_KEY_ROOM];
  size_t length = 0;
};

enum registry_line_kind { REGISTRY_LINE_OTHER, REGISTRY_LINE_KEY, REGISTRY_LINE_VALUE };

// A line, or several that a backslash joins into one.
struct registry_line {
  registry_line_kind kind = REGISTRY_LINE_OTHER;
  size_t begin = 0;  // first byte
  size_t end = 0;    // behind its line end
  bool removes = false;
  bool default_name = false;  // "@"
  bool open = false;          // the text ends where the line goes on: the next would be joined
  registry_slice key;         // of a key line, as written
  registry_slice name;        // of a value line, still escaped
  registry_slice data;        // of a value line, still coded
};

// False when the name is longer than the room.
bool registry_compare_form(const char* key, size_t length, registry_key_name* out);
// Whether `name` is `key` or lies below it.
bool registry_at_or_below(const registry_key_name* name, const registry_key_name* key);
bool registry_same_key(const registry_key_name* a, const registry_key_name* b);
// Whether an escaped name of a line is that of the caller; `name` "" is the default value.
bool registry_same_name(const registry_line* line, const char* name);

// Reads the line at *offset and moves on; false at the end of the text.
bool registry_next_line(const host_buffer* text, size_t* offset, registry_line* line);

// Takes the escapes out. False when memory is out.
[[nodiscard]] bool registry_unescape(registry_slice escaped, host_buffer* out);

enum registry_decoded { REGISTRY_DECODED, REGISTRY_NOT_A_VALUE, REGISTRY_NO_MEMORY };
// The data of a value line as type and bytes, and back as the text behind the "=".
registry_decoded registry_decode(registry_slice data, registry_value* out);
[[nodiscard]] bool registry_encode(uint32_t type, const void* bytes, size_t size, size_t column,
                                   const char* line_end, host_buffer* out);
[[nodiscard]] bool registry_escape(const char* text, size_t length, host_buffer* out);
