// Path objects, tag `\:*/`: immutable chains of UTF-8 segments, so that a child shares its parent.
#pragma once

#include "object/xp_object.h"
#include "object/xp_result.h"

constexpr uint32_t XP_PATH = xp_tag("\\:*/");
constexpr uint32_t XP_PATH_FLAT = xp_tag("xpth");  // tag of a flattened path

// The whole path is the texts of the chain, from the outermost parent to this one, joined. A
// segment with a parent begins with one backslash; one without begins with a backslash or "X:\".
// No segment ends in a backslash but a root itself ("C:\"). Children of a drive root have no
// parent: the root's "C:" stands at the front of their text.
struct xp_path : xp_object {
  xp_path* parent;  // owned, may be null
  int32_t length;   // bytes of `text`
  char* text;       // owned, NUL-terminated
};

// The basic constructor. A negative `length` measures; null `text` with a length reserves a blank
// text that the caller fills. ".." and texts beginning with "..\" are refused with null. A new
// path, or a new reference to `parent` when the text names nothing further.
xp_path* xp_path_new(xp_path* parent, const char* text, int32_t length);
xp_path* xp_path_from_wide(xp_path* parent, const char16_t* text);
// Absolute, with long names; a text with a "*" is kept as it is. Null for no text.
xp_path* xp_path_full(const char* text, int32_t length);
// `name` inside `parent`, with the long name of an existing short-named entry.
xp_path* xp_path_child(xp_path* parent, const char* name);
// A possibly relative text seen from `parent`, or from its folder when it is a file.
xp_path* xp_path_resolve(xp_path* parent, const char* text);
// A new reference to the folder of `path`, or null.
xp_path* xp_path_parent(xp_path* path);
// The whole text in one segment.
xp_path* xp_path_flatten(xp_path* path);
// The whole path as UTF-16, a heap block that the caller frees; null for null and for no memory.
char16_t* xp_path_to_wide(xp_path* path);

inline xp_path* xp_as_path(xp_object* object) {
  return xp_cast<xp_path>(object, XP_PATH);
}

// ---- known folders ---------------------------------------------------------------------------

// The folder of a four-character kind, such as `temp` or `curr`; an unknown kind gives the Windows
// folder. Null when the system has no answer.
xp_path* xp_path_known(uint32_t kind);
// The known folder, then a child for each name.
xp_path* xp_path_known_descend(uint32_t kind, const char* const* names, uint32_t count);

template <class... N>
xp_path* xp_path_known_child(uint32_t kind, const N*... names) {
  const char* const list[sizeof...(N) + 1] = {names..., nullptr};
  return xp_path_known_descend(kind, list, sizeof...(N));
}
