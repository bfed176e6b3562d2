// Small file operations. Each tells by its result alone; nothing is kept or logged.
#include "paths/xp_file.h"

#include "object/xp_ref.h"
#include "paths/xp_lookup.h"

namespace {

constexpr uint32_t TEMP_UNITS = 260;  // what the calls for temporary names take
constexpr uint32_t SHARE_ALL = XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE;

xp_file_status try_to_open(const char16_t* path) {
  xp_file_handle file = 0;
  const xp_file_status status =
      xp_platform->files->open(path, XP_FILE_QUERY, SHARE_ALL, XP_FILE_OPEN_EXISTING, &file);
  if (status == XP_FILE_OK) xp_platform->files->close(file);
  return status;
}

bool is_folder(const xp_find_entry& entry) {
  return entry.attributes & XP_FIND_FOLDER;
}

}  // namespace

int32_t xp_path_is_file(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  if (!wide) return XP_E_MEMORY;
  const xp_file_status opened = try_to_open(wide.get());
  // A folder can't be opened as a file, and is told from a file that may not be.
  if (opened != XP_FILE_OK && opened != XP_FILE_DENIED) return XP_E_NOT_FOUND;
  xp_find_entry entry;
  if (xp_lookup(wide.get(), &entry) != XP_FILE_OK) return XP_E_NOT_FOUND;
  if (is_folder(entry)) return XP_E_EXISTS;
  return opened == XP_FILE_OK ? XP_OK : XP_E_NOT_FOUND;
}

int32_t xp_path_is_folder(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  if (!wide) return XP_E_MEMORY;
  xp_find_entry entry;
  if (xp_lookup(wide.get(), &entry) != XP_FILE_OK) return XP_E_NOT_FOUND;
  return is_folder(entry) ? XP_OK : XP_E_EXISTS;
}

int32_t xp_file_create(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  if (!wide) return XP_E_MEMORY;
  if (try_to_open(wide.get()) == XP_FILE_OK) return XP_E_EXISTS;
  xp_file_handle file = 0;
  if (xp_platform->files->open(wide.get(), XP_FILE_READ, SHARE_ALL, XP_FILE_CREATE_NEW, &file) !=
      XP_FILE_OK)
    return XP_E_NOT_FOUND;
  xp_platform->files->close(file);
  return XP_OK;
}

namespace {

// What stands at `path` afterwards: a folder (0), or why not.
int32_t make_one(const char16_t* path) {
  xp_find_entry entry;
  if (xp_lookup(path, &entry) == XP_FILE_OK) return is_folder(entry) ? XP_OK : XP_E_EXISTS;
  const xp_file_status made = xp_platform->files->make_folder(path);
  if (made == XP_FILE_OK) return XP_OK;
  // Another process may have been quicker.
  const bool there = made == XP_FILE_EXISTS && xp_lookup(path, &entry) == XP_FILE_OK;
  return there && is_folder(entry) ? XP_OK : XP_E_STREAM;
}

}  // namespace

int32_t xp_path_make_folders(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  if (!wide) return XP_E_MEMORY;
  // A drive or share is there or isn't; it can't be made.
  char16_t* at = wide.get() + xp_root_length(wide.get());
  while (*at) {
    while (*at && *at != u'\\')
      at++;
    const char16_t cut = *at;
    *at = 0;
    const int32_t result = make_one(wide.get());
    if (result != XP_OK) return result;
    *at = cut;
    if (cut) at++;
  }
  return XP_OK;
}

xp_path* xp_path_temp_file() {
  char16_t folder[TEMP_UNITS];
  char16_t name[TEMP_UNITS];
  const uint32_t length = xp_platform->files->temp_folder(folder, TEMP_UNITS);
  if (length == 0 || length >= TEMP_UNITS) return nullptr;
  if (xp_platform->files->temp_name(folder, u"tmp", name) != XP_FILE_OK) return nullptr;
  // The caller makes the file. If this one stays, its name is not free, and that is found there.
  (void)xp_platform->files->remove(name);
  return xp_path_from_wide(nullptr, name);
}

void xp_file_delete(xp_path* path) {
  // A run that is out of memory still takes away what it made.
  constexpr int32_t ORDINARY_UNITS = 512;
  char16_t local[ORDINARY_UNITS];
  const char16_t* wide = local;
  xp_block<char16_t> longer;
  if (!xp_path_copy_wide(path, local, ORDINARY_UNITS)) {
    longer.reset(xp_path_to_wide(path));
    wide = longer.get();
  }
  // The outcome is nobody's concern, see the header.
  if (wide) (void)xp_platform->files->remove(wide);
}

int32_t xp_file_size(xp_file_handle file, int64_t* out) {
  const xp_file_ops* files = xp_platform->files;
  int64_t place = 0;
  *out = 0;
  if (files->seek(file, 0, XP_FILE_FROM_HERE, &place) != XP_FILE_OK) return XP_E_POSITION;
  int64_t size = 0;
  const xp_file_status at_end = files->seek(file, 0, XP_FILE_FROM_END, &size);
  const xp_file_status back = files->seek(file, place, XP_FILE_FROM_START, nullptr);
  if (at_end != XP_FILE_OK || back != XP_FILE_OK) return XP_E_POSITION;
  *out = size;
  return XP_OK;
}

int32_t xp_file_truncate(xp_file_handle file, int64_t length) {
  const xp_file_ops* files = xp_platform->files;
  if (files->seek(file, length, XP_FILE_FROM_START, nullptr) != XP_FILE_OK) return XP_E_POSITION;
  return files->truncate(file) == XP_FILE_OK ? XP_OK : XP_E_POSITION;
}
