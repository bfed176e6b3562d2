// Windows names of files and Linux names of the same files.
#include <dirent.h>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include "platform/host/host.h"
#include "platform/host/machine.h"

namespace {

constexpr char16_t LINUX_DRIVE = u'Z';

bool is_separator(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

bool is_letter(char16_t unit) {
  return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

char16_t upper(char16_t letter) {
  return static_cast<char16_t>(letter & ~0x20);
}

bool has_drive(const char16_t* path) {
  return is_letter(path[0]) && path[1] == u':';
}

// \\?\ and \\.\: the rest is meant to the letter.
bool is_verbatim(const char16_t* path) {
  return path[0] == u'\\' && path[1] == u'\\' && (path[2] == u'?' || path[2] == u'.') &&
         path[3] == u'\\';
}

uint32_t units_of(const char16_t* path) {
  uint32_t length = 0;
  while (path[length])
    length++;
  return length;
}

// ---- absolute Windows paths ------------------------------------------------------------------

// A path in the making. It never loses the `root` units at its front.
struct wide_path {
  char16_t text[HOST_WIDE_SIZE];
  uint32_t length = 0;
  uint32_t root = 0;
  bool fits = true;

  void add(const char16_t* units, uint32_t count) {
    if (count >= HOST_WIDE_SIZE - length) {
      fits = false;
      return;
    }
    memcpy(text + length, units, count * sizeof(char16_t));
    length += count;
  }
  void add(char16_t unit) { add(&unit, 1); }
  // Z: keeps its names as they are; the others drop blanks and dots at the end of a name.
  bool is_linux() const { return has_drive(text) && upper(text[0]) == LINUX_DRIVE; }

  void set_root(const char16_t* units, uint32_t count) {
    add(units, count);
    root = length;
  }
  void climb() {
    while (length > root && text[length - 1] != u'\\')
      length--;
    if (length > root) length--;
  }
  void enter(const char16_t* name, uint32_t count) {
    if (!is_linux())
      while (count > 0 && (name[count - 1] == u'.' || name[count - 1] == u' '))
        count--;
    if (count == 0) return;
    if (length == 0 || text[length - 1] != u'\\') add(u'\\');
    add(name, count);
  }
  // Enters the components of `path` one after another; a separator at the end stays.
  void follow(const char16_t* path) {
    while (*path) {
      uint32_t count = 0;
      while (path[count] && !is_separator(path[count]))
        count++;
      if (count == 2 && path[0] == u'.' && path[1] == u'.')
        climb();
      else if (count > 0 && !(count == 1 && path[0] == u'.'))
        enter(path, count);
      path += count;
      if (is_separator(path[0]) && !path[1] && text[length - 1] != u'\\') add(u'\\');
      if (*path) path++;
    }
  }
};

// \\server\share: the root of a network path. Returns what follows it.
const char16_t* network_root(const char16_t* path, wide_path* out) {
  out->add(u"\\\\", 2);
  path += 2;
  for (int part = 0; part < 2 && *path; part++) {
    uint32_t count = 0;
    while (path[count] && !is_separator(path[count]))
      count++;
    if (part > 0) out->add(u'\\');
    out->add(path, count);
    path += count;
    while (is_separator(*path))
      path++;
  }
  out->root = out->length;
  return path;
}

// Starts at the current folder; with `drive`, only if that is its drive, and otherwise at the
// drive's root. With `root_only` at the root of the current drive.
bool start_here(char16_t drive, bool root_only, wide_path* out) {
  char16_t here[HOST_WIDE_SIZE];
  const uint32_t length = host_current_folder(here, HOST_WIDE_SIZE);
  const bool known = length > 0 && length < HOST_WIDE_SIZE;
  if (!drive && !known) return false;
  if (drive && (!known || upper(here[0]) != upper(drive))) {
    const char16_t root[] = {drive, u':', u'\\'};
    out->set_root(root, 3);
    return true;
  }
  out->set_root(here, 3);
  if (!root_only) out->add(here + 3, length - 3);
  return true;
}

bool make_full(const char16_t* path, wide_path* out) {
  if (!path || !path[0]) return false;
  if (is_verbatim(path)) {
    out->add(path, units_of(path));
    path = u"";
  } else if (path[0] == u'/') {
    out->set_root(u"Z:\\", 3);
  } else if (path[0] == u'\\' && is_separator(path[1])) {
    path = network_root(path, out);
  } else if (path[0] == u'\\') {
    if (!start_here(0, true, out)) return false;
  } else if (has_drive(path) && is_separator(path[2])) {
    const char16_t root[] = {path[0], u':', u'\\'};
    out->set_root(root, 3);
    path += 3;
  } else if (has_drive(path)) {
    if (!start_here(path[0], false, out)) return false;
    path += 2;
  } else if (!start_here(0, false, out)) {
    return false;
  }
  out->follow(path);
  out->text[out->length] = 0;
  return out->fits;
}

// The answer of the calls that measure when the buffer is too small.
uint32_t deliver(const char16_t* text, uint32_t length, char16_t* out, uint32_t capacity) {
  if (!out || capacity <= length) return length + 1;
  memcpy(out, text, length * sizeof(char16_t));
  out[length] = 0;
  return length;
}

// ---- names -----------------------------------------------------------------------------------

bool is_one_of(char16_t unit, const char16_t* set) {
  while (*set && *set != unit)
    set++;
  return *set != 0;
}

// Names that Windows keeps for devices in every folder, whatever extension follows.
bool is_device(const char16_t* name, uint32_t count) {
  static constexpr char16_t devices[][8] = {u"CON", u"PRN", u"AUX", u"NUL", u"COM#", u"LPT#"};
  uint32_t stem = 0;
  while (stem < count && name[stem] != u'.')
    stem++;
  while (stem > 0 && name[stem - 1] == u' ')
    stem--;
  for (const char16_t* device : devices) {
    uint32_t at = 0;
    while (at < stem && device[at] &&
           (device[at] == u'#' ? name[at] >= u'1' && name[at] <= u'9'
                               : is_letter(name[at]) && upper(name[at]) == device[at]))
      at++;
    if (at == stem && !device[at]) return true;
  }
  return false;
}

bool is_good_name(const char16_t* name, uint32_t count, bool is_linux) {
  if (count == 1 && name[0] == u'.') return false;
  if (count == 2 && name[0] == u'.' && name[1] == u'.') return false;
  const char16_t* refused = is_linux ? u"*?/" : u"<>:\"/|?*";
  for (uint32_t i = 0; i < count; i++)
    if ((name[i] < u' ' && !is_linux) || is_one_of(name[i], refused)) return false;
  return is_linux || !is_device(name, count);
}

// ---- Linux paths -----------------------------------------------------------------------------

struct native_path {
  char* text;
  size_t size;
  size_t length;

  // Appends "/" and the name in UTF-8.
  bool enter(const char16_t* name, uint32_t count) {
    const size_t room = size - length;
    if (room < 2 || count > HOST_PATH_SIZE) return false;
    const int32_t bytes =
        host_text.to_utf8(name, static_cast<int32_t>(count), text + length + 1,
                          static_cast<int32_t>(room < HOST_PATH_SIZE ? room - 2 : HOST_PATH_SIZE));
    if (bytes < 1 || static_cast<size_t>(bytes) > room - 2) return false;
    text[length] = '/';
    length += static_cast<size_t>(bytes) + 1;
    text[length] = 0;
    return true;
  }
};

bool exists(const char* path) {
  struct stat facts;
  return lstat(path, &facts) == 0;
}

// Looks in the folder `path[0..folder)` for an entry that differs from the name behind it in
// nothing but case, and puts its name in place. False when there is none.
bool find_other_case(native_path* path, size_t folder) {
  path->text[folder] = 0;
  DIR* entries = opendir(folder ? path->text : "/");
  path->text[folder] = '/';
  if (!entries) return false;
  const char* name = path->text + folder + 1;
  const size_t name_length = path->length - folder - 1;
  const dirent* entry;
  size_t length = 0;
  do {
    entry = readdir(entries);
    if (entry) length = strlen(entry->d_name);
  } while (entry && !host_same_name(entry->d_name, length, name, name_length));
  const bool found = entry && folder + 1 + length < path->size;
  if (found) {
    memcpy(path->text + folder + 1, entry->d_name, length + 1);
    path->length = folder + 1 + length;
  }
  closedir(entries);
  return found;
}

// Appends the components of `rest` as they are written.
xp_file_status enter_exactly(const char16_t* rest, bool is_linux, native_path* out) {
  while (*rest) {
    uint32_t count = 0;
    while (rest[count] && rest[count] != u'\\')
      count++;
    if (count > 0 && (!is_good_name(rest, count, is_linux) || !out->enter(rest, count)))
      return XP_FILE_BAD_NAME;
    rest += count;
    if (*rest) rest++;
  }
  return XP_FILE_OK;
}

// The same again below the first `base` bytes, taking for each component what the folder calls it.
xp_file_status enter_as_found(const char16_t* rest, size_t base, native_path* out) {
  bool there = true;
  out->length = base;
  while (*rest) {
    uint32_t count = 0;
    while (rest[count] && rest[count] != u'\\')
      count++;
    if (count > 0) {
      const size_t folder = out->length;
      if (!out->enter(rest, count)) return XP_FILE_BAD_NAME;
      // Below a name that isn't there nothing is.
      there = there && (exists(out->text) || find_other_case(out, folder));
    }
    rest += count;
    if (*rest) rest++;
  }
  return XP_FILE_OK;
}

}  // namespace

bool host_same_name(const char* a, size_t a_length, const char* b, size_t b_length) {
  const auto a_end = static_cast<int32_t>(a_length);
  const auto b_end = static_cast<int32_t>(b_length);
  int32_t a_at = 0;
  int32_t b_at = 0;
  while (a_at < a_end && b_at < b_end) {
    UChar32 a_character;
    UChar32 b_character;
    U8_NEXT(a, a_at, a_end, a_character);
    U8_NEXT(b, b_at, b_end, b_character);
    // Bytes that are no UTF-8 (negative here) match nothing.
    if (a_character < 0 || u_toupper(a_character) != u_toupper(b_character)) return false;
  }
  return a_at == a_end && b_at == b_end;
}

uint32_t host_full_path(const char16_t* path, char16_t* out, uint32_t capacity) {
  wide_path full;
  if (!make_full(path, &full)) return 0;
  return deliver(full.text, full.length, out, capacity);
}

xp_file_status host_native_path(const char16_t* path, char* out, size_t size) {
  wide_path full;
  if (!make_full(path, &full)) return XP_FILE_BAD_NAME;
  const char16_t* text = full.text;
  if (is_verbatim(text)) {
    if (text[2] == u'.') return XP_FILE_BAD_NAME;
    text += 4;
    if (!has_drive(text) || text[2] != u'\\') return XP_FILE_NOT_FOUND;
  } else if (!has_drive(text)) {
    return XP_FILE_NOT_FOUND;
  }
  const bool is_linux = upper(text[0]) == LINUX_DRIVE;
  native_path native = {out, size, 0};
  if (!is_linux) {
    char drive[] = "drive_x";
    drive[6] = static_cast<char>(upper(text[0]) + 0x20);
    if (!host_machine_path(drive, out, size)) return XP_FILE_FAILED;
    native.length = strlen(out);
  }
  const size_t base = native.length;
  const xp_file_status status = enter_exactly(text + 3, is_linux, &native);
  if (status != XP_FILE_OK) return status;
  if (native.length == 0) return native.size < 2 ? XP_FILE_BAD_NAME : (memcpy(out, "/", 2), status);
  return is_linux || exists(out) ? status : enter_as_found(text + 3, base, &native);
}

uint32_t host_windows_path(const char* native, char16_t* out, uint32_t capacity) {
  // A backslash in a Linux name would be taken for a separator: such a file has no Windows name.
  if (strchr(native, '\\')) return 0;
  char root[HOST_PATH_SIZE];
  char16_t drive = LINUX_DRIVE;
  const size_t root_length = host_machine_path("drive_", root, sizeof(root)) ? strlen(root) : 0;
  if (root_length > 0 && strncmp(native, root, root_length) == 0) {
    const char letter = native[root_length];
    const char behind = letter ? native[root_length + 1] : 'x';
    if (letter >= 'a' && letter < 'z' && (behind == 0 || behind == '/')) {
      drive = static_cast<char16_t>(letter - 0x20);
      native += root_length + 1;
    }
  }
  wide_path full;
  const char16_t front[] = {drive, u':', u'\\'};
  full.set_root(front, 3);
  char16_t rest[HOST_WIDE_SIZE];
  const int32_t units = host_text.to_wide(native, -1, rest, HOST_WIDE_SIZE);
  if (units < 1) return 0;
  full.follow(rest);
  full.text[full.length] = 0;
  return full.fits ? deliver(full.text, full.length, out, capacity) : 0;
}

uint32_t host_current_folder(char16_t* out, uint32_t capacity) {
  char here[HOST_PATH_SIZE];
  // The kernel's "(unreachable)" is no path either.
  if (!getcwd(here, sizeof(here)) || here[0] != '/') return 0;
  return host_windows_path(here, out, capacity);
}

xp_file_status host_file_status(int error) {
  switch (error) {
    case 0:
      return XP_FILE_OK;
    case ENOENT:
    case ENOTDIR:
    case ENXIO:
    case ENODEV:
      return XP_FILE_NOT_FOUND;
    case EEXIST:
    case ENOTEMPTY:
      return XP_FILE_EXISTS;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return XP_FILE_DENIED;
    case ETXTBSY:
    case EBUSY:
    case EAGAIN:
      return XP_FILE_SHARING;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return XP_FILE_FULL;
    case ENAMETOOLONG:
    case ELOOP:
    case EILSEQ:
      return XP_FILE_BAD_NAME;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
      return XP_FILE_OUT_OF_MEMORY;
    default:
      return XP_FILE_FAILED;
  }
}
