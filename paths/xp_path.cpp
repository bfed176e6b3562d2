// Path objects. A chain of segments is walked, never recursed into: a hostile depth costs time in
// proportion and no stack.
#include "paths/xp_path.h"

#include <string.h>

#include "object/xp_ascii.h"
#include "object/xp_flat.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "object/xp_trav.h"
#include "paths/xp_file.h"
#include "paths/xp_folder_walk.h"

namespace {

// A piece of UTF-8 text on its way into a path.
struct piece {
  const char* text;
  int32_t length;

  bool is(const char* other) const {
    return length == xp_text_length(other) && memcmp(text, other, static_cast<size_t>(length)) == 0;
  }
  bool starts_with(const char* front) const {
    const int32_t size = xp_text_length(front);
    return length >= size && memcmp(text, front, static_cast<size_t>(size)) == 0;
  }
  bool ends_with_backslash() const { return length > 0 && text[length - 1] == '\\'; }
  void drop_front(int32_t count) {
    text += count;
    length -= count;
  }
  void drop_back(int32_t count) { length -= count; }
};

// "X:\" with anything behind it.
bool has_drive_root(piece text) {
  return text.length >= 3 && xp_ascii_is_letter(text.text[0]) && text.text[1] == ':' &&
         text.text[2] == '\\';
}

// "X:\", or "X:" alone, as the parent of a drive's entries and the system drive are written.
bool has_drive(piece text) {
  return has_drive_root(text) ||
         (text.length == 2 && xp_ascii_is_letter(text.text[0]) && text.text[1] == ':');
}

// The bytes of a root that its children take over in front of their own text: "X:" of "X:\",
// nothing of "\"; -1 for a path that is no root.
int32_t root_prefix(const xp_path* path) {
  if (path->parent) return -1;
  const piece text = {path->text, path->length};
  if (text.is("\\")) return 0;
  return text.length == 3 && has_drive_root(text) ? 2 : -1;
}

bool climbs(piece text) {
  return text.is("..") || text.starts_with("..\\");
}

// ---- the slots -------------------------------------------------------------------------------

int64_t whole_length(const xp_path* path) {
  int64_t length = 0;
  for (; path; path = path->parent)
    length += path->length;
  return length;
}

// Copies the first `size` bytes of the whole text.
void copy_whole(const xp_path* path, char* out, int64_t size) {
  int64_t end = whole_length(path);
  for (; path; path = path->parent) {
    const int64_t start = end - path->length;
    if (start < size)
      memcpy(out + start, path->text, static_cast<size_t>((end < size ? end : size) - start));
    end = start;
  }
}

void path_release(xp_object* object) {
  auto* path = static_cast<xp_path*>(object);
  while (xp_object_drop(path)) {
    xp_path* parent = path->parent;
    xp_heap_free(path->text);
    xp_object_free(path);
    path = parent;
  }
}

// The texts from their ends, in steps of what the two current segments have in common.
int32_t compare_from_the_ends(const xp_path* a, const xp_path* b) {
  int32_t a_left = a->length;
  int32_t b_left = b->length;
  while (a && b) {
    const int32_t common = a_left < b_left ? a_left : b_left;
    a_left -= common;
    b_left -= common;
    const int32_t order = common ? xp_platform->text->compare_narrow(a->text + a_left, common,
                                                                     b->text + b_left, common)
                                 : 0;
    if (order != 0) return order;
    while (a && a_left == 0) {
      a = a->parent;
      a_left = a ? a->length : 0;
    }
    while (b && b_left == 0) {
      b = b->parent;
      b_left = b ? b->length : 0;
    }
  }
  return a ? 1 : b ? -1 : 0;
}

int32_t path_compare(xp_object* left, xp_object* right) {
  const auto* a = static_cast<xp_path*>(left);
  const auto* b = static_cast<xp_path*>(right);
  if (a == b) return 0;
  if (b->parent == a) return -1;
  if (a->parent == b) return 1;
  if (a->parent == b->parent)
    return xp_platform->text->compare_narrow(a->text, a->length, b->text, b->length);
  return compare_from_the_ends(a, b);
}

int32_t path_render(xp_object* object, char* buffer, uint32_t size) {
  const auto* path = static_cast<xp_path*>(object);
  int64_t shown = whole_length(path);
  if (buffer && size < shown) shown = size;
  if (shown > INT32_MAX) shown = INT32_MAX;
  if (buffer) copy_whole(path, buffer, shown);
  return static_cast<int32_t>(shown);
}

xp_word path_flatten(xp_object* object, uint32_t key, xp_flat_writer* writer) {
  const xp_ref flat(xp_path_flatten(static_cast<xp_path*>(object)));
  if (!flat) return 0;
  return xp_flat_put(writer, key, XP_PATH_FLAT, static_cast<uint32_t>(flat->length), flat->text);
}

xp_word path_unflatten(uint32_t key, void* entry) {
  xp_flat_payload payload;
  if (!xp_flat_open(entry, XP_PATH_FLAT, key, &payload) || payload.length > INT32_MAX) return 0;
  return reinterpret_cast<xp_word>(xp_path_new(
      nullptr, reinterpret_cast<const char*>(payload.bytes), static_cast<int32_t>(payload.length)));
}

xp_word path_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  switch (selector) {
    case XP_CTL_FLATTEN:
      return path_flatten(object, argument, static_cast<xp_flat_writer*>(pointer));
    case XP_CTL_UNFLATTEN:
      return path_unflatten(argument, pointer);
    case XP_CTL_TRAV:
      if (argument != XP_TRAV_NEW || xp_path_is_folder(static_cast<xp_path*>(object)) != XP_OK)
        return 0;
      return reinterpret_cast<xp_word>(&xp_folder_traversal_new);
    default:
      return 0;
  }
}

// ---- making one ------------------------------------------------------------------------------

// A path of `length` blank bytes behind `prefix`; `parent` is retained.
xp_path* path_of(xp_path* parent, piece prefix, int64_t length) {
  const int64_t whole = prefix.length + length;
  if (whole > INT32_MAX - 1) return nullptr;
  xp_ref path(xp_object_new<xp_path>(XP_PATH));
  if (!path) return nullptr;
  path->release = path_release;
  path->compare = path_compare;
  path->render = path_render;
  path->control = path_control;
  path->length = static_cast<int32_t>(whole);
  path->text = static_cast<char*>(xp_heap_alloc(static_cast<size_t>(whole) + 1));
  if (!path->text) return nullptr;
  memcpy(path->text, prefix.text, static_cast<size_t>(prefix.length));
  path->parent = xp_retain(parent);
  return path.take();
}

// A segment of exactly `text`.
xp_path* path_with(xp_path* parent, piece prefix, piece text) {
  xp_path* path = path_of(parent, prefix, text.length);
  if (path) memcpy(path->text + prefix.length, text.text, static_cast<size_t>(text.length));
  return path;
}

// Counts a text that may end at a NUL before its length.
piece piece_of(const char* text, int32_t length) {
  if (length < 0) return {text, xp_text_length(text)};
  const void* end = memchr(text, 0, static_cast<size_t>(length));
  return {text, end ? static_cast<int32_t>(static_cast<const char*>(end) - text) : length};
}

// Takes out what means nothing inside a parent: "." as a leading or the only name, and the
// backslashes at either end. Empty when nothing further is named.
void drop_dots(piece* text) {
  if (text->is(".") || text->is("\\.") || text->is(".\\") || text->is("\\.\\")) text->length = 0;
  if (text->starts_with("\\.\\")) text->drop_front(3);
  if (text->starts_with(".\\")) text->drop_front(2);
  while (text->ends_with_backslash())
    text->drop_back(1);
  while (text->starts_with("\\"))
    text->drop_front(1);
}

bool only_backslashes(piece text) {
  while (text.starts_with("\\"))
    text.drop_front(1);
  return text.length == 0;
}

// Takes "\." and backslashes off the end, as often as there are; "X:\" stays when it may be a root.
// A "." that is left by itself names nothing.
void drop_end(piece* text, bool may_be_root) {
  for (;;) {
    if (text->length >= 2 && memcmp(text->text + text->length - 2, "\\.", 2) == 0)
      text->drop_back(2);
    else if (text->ends_with_backslash() &&
             !(may_be_root && text->length == 3 && has_drive_root(*text)))
      text->drop_back(1);
    else
      break;
  }
  if (text->is(".")) text->length = 0;
}

}  // namespace

xp_path* xp_path_new(xp_path* parent, const char* text, int32_t length) {
  if (!text && length < 0) return nullptr;
  const int32_t taken = parent ? root_prefix(parent) : -1;
  const piece root = {taken > 0 ? parent->text : "", taken > 0 ? taken : 0};
  xp_path* above = taken < 0 ? parent : nullptr;
  if (!text) return path_of(above, root, length);

  piece rest = piece_of(text, length);
  if (climbs(rest)) return nullptr;
  if (parent) drop_dots(&rest);
  if (climbs(rest)) return nullptr;
  const bool is_current_root = !parent && rest.starts_with("\\") && only_backslashes(rest);
  drop_end(&rest, !parent);
  if (is_current_root) rest = {"\\", 1};
  if (rest.length == 0) return xp_retain(parent);

  const bool ready = !parent && (rest.starts_with("\\") || has_drive(rest));
  if (ready) return path_with(nullptr, {"", 0}, rest);
  // The backslash in front stands with what a root hands down.
  const char front[] = {root.length ? root.text[0] : '\\', ':', '\\'};
  return path_with(above, {front, root.length ? 3 : 1}, rest);
}

xp_path* xp_path_from_wide(xp_path* parent, const char16_t* text) {
  if (!text) return nullptr;
  const int32_t units = xp_wide_length(text);
  const int32_t bytes = xp_text_to_utf8(text, units, nullptr, 0);
  const auto narrow = xp_block<>::of(static_cast<size_t>(bytes) + 1);
  if (!narrow) return nullptr;
  if (bytes > 0) xp_text_to_utf8(text, units, narrow.get(), bytes);
  return xp_path_new(parent, narrow.get(), bytes);
}

xp_path* xp_path_parent(xp_path* path) {
  if (!path) return nullptr;
  int32_t at = path->length - 1;
  while (at > 0 && path->text[at] != '\\')
    at--;
  return at > 0 ? xp_path_new(path->parent, path->text, at) : xp_retain(path->parent);
}

xp_path* xp_path_flatten(xp_path* path) {
  if (!path || !path->parent) return xp_retain(path);
  xp_path* flat = path_of(nullptr, {"", 0}, whole_length(path));
  if (flat) copy_whole(path, flat->text, flat->length);
  return flat;
}

// A byte gives at most one unit; two more hold the backslash of a bare drive and the NUL.
constexpr int32_t MORE_UNITS = 2;

// `length` is that of the whole text in bytes.
static void write_wide(const xp_path* path, int32_t length, char16_t* wide) {
  int32_t start = length;
  for (; path; path = path->parent) {
    int32_t bytes = path->length;
    // Of two backslashes at a seam one is enough.
    if (start < length && wide[start] == u'\\' && bytes > 0 && path->text[bytes - 1] == '\\')
      bytes--;
    const int32_t units = bytes ? xp_text_to_wide(path->text, bytes, nullptr, 0) : 0;
    if (units < 1) continue;
    start -= units;
    xp_text_to_wide(path->text, bytes, wide + start, units);
  }
  const int32_t units = length - start;
  memmove(wide, wide + start, static_cast<size_t>(units) * sizeof(char16_t));
  wide[units] = 0;
  if (units == 2 && wide[1] == u':') memcpy(wide + 2, u"\\", sizeof(u"\\"));
}

char16_t* xp_path_to_wide(xp_path* path) {
  const int64_t length = path ? whole_length(path) : 0;
  if (length == 0 || length > INT32_MAX) return nullptr;
  const size_t units = static_cast<size_t>(length) + MORE_UNITS;
  auto* wide = static_cast<char16_t*>(xp_heap_alloc(units * sizeof(char16_t)));
  if (wide) write_wide(path, static_cast<int32_t>(length), wide);
  return wide;
}

bool xp_path_copy_wide(const xp_path* path, char16_t* out, int32_t capacity) {
  const int64_t length = path ? whole_length(path) : 0;
  if (length == 0 || length > capacity - MORE_UNITS) return false;
  write_wide(path, static_cast<int32_t>(length), out);
  return true;
}
