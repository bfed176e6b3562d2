// Files and folders. Names are NUL-terminated UTF-16 with drive letters and backslashes.
#pragma once

#include <stdint.h>

// An open file. 0 is never a valid handle, so a zero-filled record holds none.
using xp_file_handle = intptr_t;
constexpr xp_file_handle XP_FILE_INVALID = -1;

enum xp_file_status : int32_t {
  XP_FILE_OK = 0,
  XP_FILE_END,            // at the end of the file, or of a folder's entries
  XP_FILE_NOT_FOUND,      // no such file, folder or drive
  XP_FILE_EXISTS,         // there is one already
  XP_FILE_DENIED,         // no right, or a folder where a file was meant
  XP_FILE_SHARING,        // another open of the file forbids it
  XP_FILE_FULL,           // no room on the device
  XP_FILE_BAD_NAME,       // not a name that the file system takes
  XP_FILE_OUT_OF_MEMORY,  // in the operating system
  XP_FILE_FAILED,         // anything else
};

enum xp_file_access : uint32_t {
  XP_FILE_QUERY = 0,  // exists and can be opened, no more
  XP_FILE_READ = 1,
  XP_FILE_WRITE = 2,
};

enum xp_file_share : uint32_t { XP_FILE_SHARE_READ = 1, XP_FILE_SHARE_WRITE = 2 };

enum xp_file_disposition : uint32_t {
  XP_FILE_OPEN_EXISTING,  // an absent file is XP_FILE_NOT_FOUND
  XP_FILE_CREATE_NEW,     // an existing one is XP_FILE_EXISTS
};

enum xp_file_origin : uint32_t { XP_FILE_FROM_START, XP_FILE_FROM_HERE, XP_FILE_FROM_END };

enum xp_find_attributes : uint32_t { XP_FIND_FOLDER = 0x10, XP_FIND_REPARSE = 0x400 };

// One entry of a folder.
struct xp_find_entry {
  uint32_t attributes;      // xp_find_attributes
  char16_t name[260];       // long name, NUL-terminated
  char16_t short_name[14];  // 8.3 alias, empty when there is none
};

using xp_find_handle = intptr_t;  // 0 is never valid

struct xp_file_ops {
  xp_file_status (*open)(const char16_t* path, uint32_t access, uint32_t share,
                         xp_file_disposition disposition, xp_file_handle* out);
  // One read or write of at most `length` bytes; *done receives the count moved, also when the
  // status is not XP_FILE_OK. A read at the end is XP_FILE_OK or XP_FILE_END with *done 0.
  xp_file_status (*read)(xp_file_handle file, void* buffer, uint32_t length, uint32_t* done);
  xp_file_status (*write)(xp_file_handle file, const void* bytes, uint32_t length, uint32_t* done);
  // Moves the position; *out, when not null, receives the new one from the start.
  xp_file_status (*seek)(xp_file_handle file, int64_t distance, xp_file_origin origin,
                         int64_t* out);
  // Ends the file at its position.
  xp_file_status (*truncate)(xp_file_handle file);
  xp_file_status (*flush)(xp_file_handle file);
  void (*close)(xp_file_handle file);

  xp_file_status (*remove)(const char16_t* path);
  xp_file_status (*make_folder)(const char16_t* path);

  // Looks `pattern` up, whose last component may hold "*" and "?", and gives the first entry;
  // no dialog appears for a drive without media. XP_FILE_NOT_FOUND when nothing matches.
  xp_file_status (*find_first)(const char16_t* pattern, xp_find_entry* entry, xp_find_handle* out);
  // The next entry, XP_FILE_END behind the last.
  xp_file_status (*find_next)(xp_find_handle find, xp_find_entry* entry);
  void (*find_close)(xp_find_handle find);

  // The form with backslashes, and where needed a drive letter, of a path that a person wrote in
  // the computer's own way; UTF-8 with a NUL. The bytes without the NUL; 0 when the text needs no
  // change, as always on Windows, and when it doesn't fit `capacity` bytes.
  uint32_t (*from_native)(const char* text, char* out, uint32_t capacity);
  // The absolute form of `path` with a NUL. The result is the number of units without the NUL
  // when it fits `capacity` units, otherwise the units needed with it; 0 on failure.
  uint32_t (*full_path)(const char16_t* path, char16_t* out, uint32_t capacity);
  // The temporary folder with a trailing backslash; result as full_path.
  uint32_t (*temp_folder)(char16_t* out, uint32_t capacity);
  // Makes a fresh empty file in `folder`, its name beginning with `prefix` (three units), and
  // writes its whole path with a NUL to `out` (260 units).
  xp_file_status (*temp_name)(const char16_t* folder, const char16_t* prefix, char16_t* out);
};
