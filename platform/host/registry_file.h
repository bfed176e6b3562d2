// registry.reg: the registry as text in the form of the Windows registry editor.
//
//   Windows Registry Editor Version 5.00
//
//   ; a comment
//   [HKEY_LOCAL_MACHINE\SOFTWARE\Example]
//   @="the default value"
//   "name"="text with \"quotes\" and \\"
//   "number"=dword:0000000f
//   "bytes"=hex:01,02,03            (a backslash at the end of a line goes on with the next)
//   "expanded"=hex(2):25,00,54,00,45,00,4d,00,50,00,25,00,00,00
//   "gone"=-
//   [-HKEY_LOCAL_MACHINE\SOFTWARE\Old]
//
// The text is the data: a look-up reads it from the top as the editor would import it (later
// lines win, a removal undoes what stands above), and a change replaces or adds one line, so
// that comments, order and layout of a person's file stay. Lines that mean nothing are left
// alone. A key exists when its section, or that of a key below it, is there. Keys and names are
// found without regard to case. The abbreviations HKLM, HKCU and HKCR are understood, and
// HKEY_CLASSES_ROOT is SOFTWARE\Classes of the local machine.
//
// A text value is UTF-8 here and UTF-16LE in hex(1), hex(2) and hex(7), as the editor writes it.
#pragma once

#include "platform/host/buffer.h"
#include "platform/registry.h"

// More value types than the seam names: what the editor writes.
enum : uint32_t { REGISTRY_MULTI_TEXT = 7 };

struct registry_text {
  host_buffer text;    // UTF-8 without a byte order mark
  bool utf16 = false;  // the file is UTF-16LE with a mark, and is written so again
  bool crlf = false;   // lines end in CR LF
};

struct registry_value {
  uint32_t type = 0;
  host_buffer bytes;
};

// A file open for a change: locked against other processes from the start to the end.
struct registry_edit {
  registry_edit() = default;
  registry_edit(const registry_edit&) = delete;
  registry_edit& operator=(const registry_edit&) = delete;
  ~registry_edit();  // lets go of the lock; what was not saved is forgotten

  registry_text now;
  int lock = -1;
};

// Turns a hive and a path into the full name of a key, "HKEY_LOCAL_MACHINE\...". False when
// memory is out.
[[nodiscard]] bool registry_full_key(xp_registry_hive hive, const char* path, host_buffer* out);

// Reads the machine's registry. A missing file is an empty registry.
[[nodiscard]] bool registry_load(registry_text* out);
// Takes the bytes of a file, for a reader of other texts.
[[nodiscard]] bool registry_parse(host_buffer* bytes, registry_text* out);

bool registry_has_key(const registry_text* registry, const char* key);
// Reads a value; the empty name (or null) is the default value.
xp_registry_status registry_get(const registry_text* registry, const char* key, const char* name,
                                registry_value* out);
// Reads a text value (plain or expanded) without its NUL. False when there is none.
bool registry_get_text(const registry_text* registry, const char* key, const char* name,
                       host_buffer* out);
bool registry_get_number(const registry_text* registry, const char* key, const char* name,
                         uint32_t* out);
// Calls `visit` for each value line of a key in the order of the file, with the name unescaped.
// A removal is not taken into account. The walk ends early when `visit` gives false, and then
// gives false itself; also when memory is out.
using registry_visit = bool (*)(void* context, const char* name, const registry_value* value);
bool registry_each_value(const registry_text* registry, const char* key, registry_visit visit,
                         void* context);

// Changes. Each gives false when memory is out (or a key's name is too long) and then leaves
// the text as it was.
[[nodiscard]] bool registry_make_key(registry_text* registry, const char* key);
[[nodiscard]] bool registry_set(registry_text* registry, const char* key, const char* name,
                                uint32_t type, const void* bytes, size_t size);
[[nodiscard]] bool registry_set_text(registry_text* registry, const char* key, const char* name,
                                     const char* text);
[[nodiscard]] bool registry_set_number(registry_text* registry, const char* key, const char* name,
                                       uint32_t number);
// Takes the lines of a value out of a key's sections.
void registry_remove_value(registry_text* registry, const char* key, const char* name);
// Takes a key and everything below it out of the text.
void registry_remove_key(registry_text* registry, const char* key);

// Locks the machine's registry and reads it.
[[nodiscard]] bool registry_edit_begin(registry_edit* edit);
// Puts the changed text in the file's place in one step.
[[nodiscard]] bool registry_edit_save(registry_edit* edit);
