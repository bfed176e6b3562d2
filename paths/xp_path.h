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

// All constructors give a new reference, and null when memory is out. Lengths are in bytes of
// UTF-8; a negative one measures to the NUL, and a text always ends at its first NUL.

// The basic constructor: `text` below `parent`, or by itself with a null `parent`. A "." in front,
// a "." at the end and doubled or trailing backslashes are dropped; what then names nothing further
// is a new reference to `parent` (null without one). ".." and texts beginning with "..\" are
// refused with null: this constructor does not climb. A null `text` with a length reserves that
// many blank bytes at the end of the new text for the caller to fill. Nothing is looked up on the
// disk.
xp_path* xp_path_new(xp_path* parent, const char* text, int32_t length);
// The same from UTF-16; null for null.
xp_path* xp_path_from_wide(xp_path* parent, const char16_t* text);

// Absolute, seen from the current folder, with the long names of existing short-named entries. A
// text with a "*" is kept as it is. What isn't on the disk, and a text that the system has no
// absolute form for, stays as written. Null for no text.
xp_path* xp_path_full(const char* text, int32_t length);
// `name` inside `parent`, with the long name of an existing short-named entry. Null for what
// xp_path_new refuses.
xp_path* xp_path_child(xp_path* parent, const char* name);
// A text as a person gives it: absolute (a drive and a separator), as by xp_path_full; otherwise
// seen from `parent`, or from its folder when it is an existing file, its leading "." and ".."
// followed as far as there are folders above. An empty text is `parent` itself. Null for null, for
// a relative text without a `parent`, and when memory is out.
xp_path* xp_path_resolve(xp_path* parent, const char* text);

// A new reference to the folder of `path`, or null at the top. Above "C:\a" is "C:".
xp_path* xp_path_parent(xp_path* path);
// The whole text in one segment: a new path without a parent, or a new reference to one that has
// none. Null for null.
xp_path* xp_path_flatten(xp_path* path);
// The whole path as NUL-terminated UTF-16, a heap block that the caller frees; a bare drive gets
// its backslash. Null for null, for an empty path and when memory is out.
char16_t* xp_path_to_wide(xp_path* path);
// The same into a buffer of `capacity` units, without memory of its own. False for null, for an
// empty path, and when the path's bytes and two more units don't fit; `out` is then unchanged.
bool xp_path_copy_wide(const xp_path* path, char16_t* out, int32_t capacity);

// Slots: `compare` orders without regard to case, by the user's locale, however the text is cut
// into segments; a parent orders before its child. `render` gives the whole text. `control`
// flattens (XP_PATH_FLAT), and answers XP_TRAV_NEW when the path is an existing folder.

inline xp_path* xp_as_path(xp_object* object) {
  return xp_cast<xp_path>(object, XP_PATH);
}

// ---- known folders ---------------------------------------------------------------------------

// The folder of a four-character kind, such as `temp` or `curr`; an unknown kind gives the Windows
// folder. A new path without a parent; null when the system has no answer or memory is out.
xp_path* xp_path_known(uint32_t kind);
// The known folder, then a child (xp_path_child) for each name, up to a null one.
xp_path* xp_path_known_descend(uint32_t kind, const char* const* names, uint32_t count);

template <class... N>
xp_path* xp_path_known_child(uint32_t kind, const N*... names) {
  const char* const list[sizeof...(N) + 1] = {names..., nullptr};
  return xp_path_known_descend(kind, list, sizeof...(N));
}
