// The constructors that ask the disk: absolute paths, and long names in place of short ones.
#include <string.h>

#include "object/xp_ascii.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "paths/xp_file.h"
#include "paths/xp_lookup.h"
#include "paths/xp_path.h"

namespace {

constexpr uint32_t FULL_PATH_UNITS = 1025;  // what a first call for a full path offers

// Whether a name could be an 8.3 alias: 1 to 12 characters, at most 8 before its first dot and 4
// from that on, and none that such aliases can't have. Works on either kind of text.
template <class C>
bool looks_short(const C* name, int32_t length) {
  int32_t stem = length;
  for (int32_t i = 0; i < length; i++) {
    switch (name[i]) {
      case ' ':
      case '+':
      case ',':
      case ';':
      case '=':
      case '[':
      case ']':
        return false;
      case '.':
        if (stem == length) stem = i;
        break;
      default:
        break;
    }
  }
  return length >= 1 && length <= 12 && stem <= 8 && length - stem <= 4;
}

// ---- long names ------------------------------------------------------------------------------

// A UTF-16 text that grows by names.
struct wide_text {
  xp_block<char16_t> units;
  int32_t length = 0;
  int32_t capacity = 0;

  // Room for `count` more units and a NUL.
  bool reserve(int32_t count) {
    const int64_t needed = static_cast<int64_t>(length) + count + 1;
    if (needed <= capacity) return true;
    const int64_t wanted = needed + needed / 2;
    if (wanted > INT32_MAX / 2) return false;
    auto* grown = static_cast<char16_t*>(
        xp_heap_resize(units.get(), static_cast<size_t>(capacity) * sizeof(char16_t),
                       static_cast<size_t>(wanted) * sizeof(char16_t)));
    if (!grown) return false;
    (void)units.take();
    units.reset(grown);
    capacity = static_cast<int32_t>(wanted);
    return true;
  }
  bool add(const char16_t* text, int32_t count) {
    if (!reserve(count)) return false;
    memcpy(units.get() + length, text, static_cast<size_t>(count) * sizeof(char16_t));
    length += count;
    units[static_cast<size_t>(length)] = 0;
    return true;
  }
  void cut(int32_t at) {
    length = at;
    units[static_cast<size_t>(at)] = 0;
  }
};

// Puts what the disk calls the name behind `start` in its place. False when memory is out;
// *go_on becomes false when nothing is there, since then nothing is below it either.
bool use_long_name(wide_text* path, int32_t start, bool* go_on) {
  xp_find_entry entry;
  const xp_file_status status = xp_lookup(path->units.get(), &entry);
  if (status == XP_FILE_NOT_FOUND || status == XP_FILE_BAD_NAME) *go_on = false;
  if (status != XP_FILE_OK) return true;
  path->cut(start);
  return path->add(entry.name, xp_wide_length(entry.name));
}

// The path of a text, name by name with the long names of what exists.
xp_path* with_long_names(const char16_t* text) {
  wide_text path;
  const int32_t root = xp_root_length(text);
  if (!path.add(text, root)) return nullptr;
  bool look = true;
  for (const char16_t* at = text + root; *at;) {
    int32_t count = 0;
    while (at[count] && at[count] != u'\\')
      count++;
    const char16_t* behind = at + count;
    while (*behind == u'\\')
      behind++;
    if (path.length > 0 && path.units[static_cast<size_t>(path.length) - 1] != u'\\' &&
        !path.add(u"\\", 1))
      return nullptr;
    const int32_t start = path.length;
    if (!path.add(at, count)) return nullptr;
    // The first name of a text without a root is not seen from anywhere, so it stays.
    const bool asks = look && at != text && (!*behind || looks_short(at, count));
    if (asks && !use_long_name(&path, start, &look)) return nullptr;
    at = behind;
  }
  return xp_path_from_wide(nullptr, path.units.get());
}

// ---- absolute paths --------------------------------------------------------------------------

xp_block<char16_t> to_wide(const char* text, int32_t length) {
  const int32_t units = length ? xp_text_to_wide(text, length, nullptr, 0) : 0;
  auto wide = xp_block<char16_t>::of(static_cast<size_t>(units) + 1);
  if (wide && units > 0) xp_text_to_wide(text, length, wide.get(), units);
  return wide;
}

// The absolute form of `path`, or the path itself when the system has none. Null inside when
// memory is out.
xp_block<char16_t> absolute(xp_block<char16_t> path) {
  uint32_t capacity = FULL_PATH_UNITS;
  for (;;) {
    auto full = xp_block<char16_t>::of(capacity);
    if (!full) return full;
    const uint32_t needed = xp_platform->files->full_path(path.get(), full.get(), capacity);
    if (needed == 0) return path;
    if (needed < capacity) return full;
    capacity = needed > capacity ? needed : capacity + 1;
  }
}

}  // namespace

xp_path* xp_path_full(const char* text, int32_t length) {
  if (!text) return nullptr;
  const auto bytes = static_cast<size_t>(length < 0 ? xp_text_length(text) : length);
  if (bytes == 0) return nullptr;
  if (memchr(text, '*', bytes)) return xp_path_new(nullptr, text, length);
  xp_block<char16_t> wide = to_wide(text, static_cast<int32_t>(bytes));
  if (!wide) return nullptr;
  const bool is_absolute =
      bytes >= 3 && xp_ascii_is_letter(text[0]) && text[1] == ':' && text[2] == '\\';
  // "/" separates for the system, but not for the chain: the system writes it as a backslash.
  if (!is_absolute || memchr(text, '/', bytes)) wide = absolute(xp_block<char16_t>(wide.take()));
  return wide ? with_long_names(wide.get()) : nullptr;
}

xp_path* xp_path_child(xp_path* parent, const char* name) {
  xp_ref child(xp_path_new(parent, name, -1));
  // A name that adds nothing has nothing to look up.
  if (!child || child.get() == parent) return child.take();
  const int32_t length = xp_text_length(name);
  if (strpbrk(name, "*\\/") || !looks_short(name, length)) return child.take();
  const xp_block<char16_t> wide(xp_path_to_wide(child.get()));
  if (!wide) return nullptr;
  xp_find_entry entry;
  if (xp_lookup(wide.get(), &entry) != XP_FILE_OK) return child.take();
  return xp_path_from_wide(parent, xp_lookup_name(&entry));
}

namespace {

// Where a relative text starts from: `parent`, or its folder when it is a file. Null when memory is
// out.
xp_path* start_from(xp_path* parent) {
  const bool empty = parent->length == 0 && !parent->parent;
  const int32_t kind = empty ? XP_E_NOT_FOUND : xp_path_is_file(parent);
  if (kind == XP_E_MEMORY) return nullptr;
  return kind == XP_OK ? xp_path_parent(parent) : xp_retain(parent);
}

// The folder of a path, or the path itself at the top. Null when memory is out.
xp_path* climb(xp_path* path) {
  const bool at_top =
      !path->parent &&
      (path->length < 2 || !memchr(path->text + 1, '\\', static_cast<size_t>(path->length) - 1));
  return at_top ? xp_retain(path) : xp_path_parent(path);
}

// Follows the leading "." and ".." of a text; *text moves on to what is left. Null when memory is
// out, as for no start.
xp_path* follow_dots(xp_path* start, const char** text) {
  xp_ref here(start);
  if (!start) return nullptr;
  const char* at = *text;
  for (;;) {
    while (*at == '\\')
      at++;
    const size_t length = strcspn(at, "\\");
    const bool stays = length == 1 && at[0] == '.';
    const bool climbs = length == 2 && at[0] == '.' && at[1] == '.';
    if (!stays && !climbs) break;
    if (climbs) here.reset(climb(here.get()));
    if (!here) return nullptr;
    at += length;
  }
  *text = at;
  return here.take();
}

// "X:\", or "X:/" as a person may write it.
bool is_absolute(const char* text) {
  return xp_ascii_is_letter(text[0]) && text[1] == ':' && (text[2] == '\\' || text[2] == '/');
}

}  // namespace

xp_path* xp_path_resolve(xp_path* parent, const char* text) {
  if (!text) return nullptr;
  if (!text[0]) return xp_retain(parent);
  if (is_absolute(text)) return xp_path_full(text, -1);
  if (!parent) return nullptr;
  const char* rest = text;
  const xp_ref start(follow_dots(start_from(parent), &rest));
  if (!start) return nullptr;
  return *rest ? xp_path_new(start.get(), rest, -1) : xp_retain(start.get());
}
