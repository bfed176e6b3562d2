// Files and folders.
#include <string.h>

#include "platform/windows/backend.h"

namespace {

static_assert(XP_FILE_SHARE_READ == FILE_SHARE_READ && XP_FILE_SHARE_WRITE == FILE_SHARE_WRITE);
static_assert(XP_FIND_FOLDER == FILE_ATTRIBUTE_DIRECTORY &&
              XP_FIND_REPARSE == FILE_ATTRIBUTE_REPARSE_POINT);
static_assert(XP_FILE_FROM_START == FILE_BEGIN && XP_FILE_FROM_HERE == FILE_CURRENT &&
              XP_FILE_FROM_END == FILE_END);

HANDLE handle_of(intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

xp_file_status outcome(BOOL done) {
  return done ? XP_FILE_OK : windows_file_status(GetLastError());
}

xp_file_status files_open(const char16_t* path, uint32_t access, uint32_t share,
                          xp_file_disposition disposition, xp_file_handle* out) {
  DWORD rights = 0;
  if (access & XP_FILE_READ) rights |= GENERIC_READ;
  if (access & XP_FILE_WRITE) rights |= GENERIC_WRITE;
  const HANDLE file = CreateFileW(windows_wide(path), rights, share, nullptr,
                                  disposition == XP_FILE_CREATE_NEW ? CREATE_NEW : OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return windows_file_status(GetLastError());
  *out = reinterpret_cast<xp_file_handle>(file);
  return XP_FILE_OK;
}

xp_file_status files_read(xp_file_handle file, void* buffer, uint32_t length, uint32_t* done) {
  DWORD moved = 0;
  const BOOL read = ReadFile(handle_of(file), buffer, length, &moved, nullptr);
  *done = moved;
  return outcome(read);
}

xp_file_status files_write(xp_file_handle file, const void* bytes, uint32_t length,
                           uint32_t* done) {
  DWORD moved = 0;
  const BOOL written = WriteFile(handle_of(file), bytes, length, &moved, nullptr);
  *done = moved;
  return outcome(written);
}

xp_file_status files_seek(xp_file_handle file, int64_t distance, xp_file_origin origin,
                          int64_t* out) {
  LARGE_INTEGER move;
  LARGE_INTEGER position;
  move.QuadPart = distance;
  if (!SetFilePointerEx(handle_of(file), move, &position, origin))
    return windows_file_status(GetLastError());
  if (out) *out = position.QuadPart;
  return XP_FILE_OK;
}

xp_file_status files_truncate(xp_file_handle file) {
  return outcome(SetEndOfFile(handle_of(file)));
}

xp_file_status files_flush(xp_file_handle file) {
  return outcome(FlushFileBuffers(handle_of(file)));
}

void files_close(xp_file_handle file) {
  CloseHandle(handle_of(file));
}

xp_file_status files_remove(const char16_t* path) {
  return outcome(DeleteFileW(windows_wide(path)));
}

xp_file_status files_make_folder(const char16_t* path) {
  return outcome(CreateDirectoryW(windows_wide(path), nullptr));
}

void fill_entry(const WIN32_FIND_DATAW& data, xp_find_entry* entry) {
  static_assert(sizeof entry->name == sizeof data.cFileName &&
                sizeof entry->short_name == sizeof data.cAlternateFileName);
  entry->attributes = data.dwFileAttributes;
  memcpy(entry->name, data.cFileName, sizeof entry->name);
  memcpy(entry->short_name, data.cAlternateFileName, sizeof entry->short_name);
}

xp_file_status files_find_first(const char16_t* pattern, xp_find_entry* entry,
                                xp_find_handle* out) {
  const windows_quiet_errors quiet;
  WIN32_FIND_DATAW data;
  const HANDLE find = FindFirstFileW(windows_wide(pattern), &data);
  if (find == INVALID_HANDLE_VALUE) return windows_file_status(GetLastError());
  fill_entry(data, entry);
  *out = reinterpret_cast<xp_find_handle>(find);
  return XP_FILE_OK;
}

xp_file_status files_find_next(xp_find_handle find, xp_find_entry* entry) {
  WIN32_FIND_DATAW data;
  if (!FindNextFileW(handle_of(find), &data)) return windows_file_status(GetLastError());
  fill_entry(data, entry);
  return XP_FILE_OK;
}

void files_find_close(xp_find_handle find) {
  FindClose(handle_of(find));
}

// A Windows path is what it is.
uint32_t files_from_native(const char*, char*, uint32_t) {
  return 0;
}

uint32_t files_full_path(const char16_t* path, char16_t* out, uint32_t capacity) {
  return GetFullPathNameW(windows_wide(path), capacity, windows_wide(out), nullptr);
}

uint32_t files_temp_folder(char16_t* out, uint32_t capacity) {
  return GetTempPathW(capacity, windows_wide(out));
}

xp_file_status files_temp_name(const char16_t* folder, const char16_t* prefix, char16_t* out) {
  return outcome(
      GetTempFileNameW(windows_wide(folder), windows_wide(prefix), 0, windows_wide(out)) != 0);
}

struct error_row {
  DWORD error;
  xp_file_status status;
};

constexpr error_row ERRORS[] = {
    {ERROR_HANDLE_EOF, XP_FILE_END},
    {ERROR_BROKEN_PIPE, XP_FILE_END},  // the writer has gone
    {ERROR_NO_MORE_FILES, XP_FILE_END},
    {ERROR_FILE_NOT_FOUND, XP_FILE_NOT_FOUND},
    {ERROR_PATH_NOT_FOUND, XP_FILE_NOT_FOUND},
    {ERROR_INVALID_DRIVE, XP_FILE_NOT_FOUND},
    {ERROR_NOT_READY, XP_FILE_NOT_FOUND},  // a drive without media
    {ERROR_BAD_NETPATH, XP_FILE_NOT_FOUND},
    {ERROR_BAD_NET_NAME, XP_FILE_NOT_FOUND},
    {ERROR_DIRECTORY, XP_FILE_NOT_FOUND},  // a temporary name asked for in no folder
    {ERROR_FILE_EXISTS, XP_FILE_EXISTS},
    {ERROR_ALREADY_EXISTS, XP_FILE_EXISTS},
    {ERROR_ACCESS_DENIED, XP_FILE_DENIED},  // a folder, a read-only file, no right
    {ERROR_WRITE_PROTECT, XP_FILE_DENIED},
    {ERROR_NETWORK_ACCESS_DENIED, XP_FILE_DENIED},
    {ERROR_PRIVILEGE_NOT_HELD, XP_FILE_DENIED},
    {ERROR_SHARING_VIOLATION, XP_FILE_SHARING},
    {ERROR_LOCK_VIOLATION, XP_FILE_SHARING},
    {ERROR_USER_MAPPED_FILE, XP_FILE_SHARING},
    {ERROR_DISK_FULL, XP_FILE_FULL},
    {ERROR_HANDLE_DISK_FULL, XP_FILE_FULL},
    {ERROR_INVALID_NAME, XP_FILE_BAD_NAME},
    {ERROR_BAD_PATHNAME, XP_FILE_BAD_NAME},
    {ERROR_FILENAME_EXCED_RANGE, XP_FILE_BAD_NAME},
    {ERROR_NOT_ENOUGH_MEMORY, XP_FILE_OUT_OF_MEMORY},
    {ERROR_OUTOFMEMORY, XP_FILE_OUT_OF_MEMORY},
    {ERROR_NO_SYSTEM_RESOURCES, XP_FILE_OUT_OF_MEMORY},
    {ERROR_COMMITMENT_LIMIT, XP_FILE_OUT_OF_MEMORY},
};

}  // namespace

xp_file_status windows_file_status(DWORD error) {
  for (const error_row& row : ERRORS)
    if (row.error == error) return row.status;
  return XP_FILE_FAILED;
}

constinit const xp_file_ops windows_files = {.open = files_open,
                                             .read = files_read,
                                             .write = files_write,
                                             .seek = files_seek,
                                             .truncate = files_truncate,
                                             .flush = files_flush,
                                             .close = files_close,
                                             .remove = files_remove,
                                             .make_folder = files_make_folder,
                                             .find_first = files_find_first,
                                             .find_next = files_find_next,
                                             .find_close = files_find_close,
                                             .from_native = files_from_native,
                                             .full_path = files_full_path,
                                             .temp_folder = files_temp_folder,
                                             .temp_name = files_temp_name};
