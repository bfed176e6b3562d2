// The machine folder, and the two ways to name a file: as Windows does and as Linux does.
//
// The folder is named by the environment variable RUVO_MACHINE; without it, it is ruvo/machine
// below XDG_STATE_HOME (or ~/.local/state). Whatever of a fresh computer is missing in it is made
// on first use; what is there stays as it is, so a person can write any computer into it.
//
// Drive letters are its folders drive_c, drive_d and so on, where names are found without regard
// to case: a name as written wins over one that differs in case. Z: is the root of the Linux file
// system, where names are what Linux takes them for.
#pragma once

#include <stddef.h>

#include "platform/platform.h"

// Room for any Linux path that the system takes, with its NUL (PATH_MAX).
constexpr size_t HOST_PATH_SIZE = 4096;
// Room for any Windows path, in units with its NUL.
constexpr uint32_t HOST_WIDE_SIZE = 32768;

// Writes the absolute Linux path of `name` in the machine folder, such as "registry.reg",
// "events.log" or "trust", with a NUL; "" gives the folder itself. Makes the folder when it isn't
// there. False when it can't be made or the path doesn't fit `size` bytes.
[[nodiscard]] bool host_machine_path(const char* name, char* out, size_t size);

// The Linux path of a file that is named as on Windows (see host_full_path for what is taken).
// Existing folders and files on a machine drive are found without regard to case; what is not
// there keeps its name, so that it can be made. XP_FILE_BAD_NAME for a device name or a character
// that Windows names can't hold (on Z: only "*" and "?"), and for what doesn't fit `size` bytes;
// XP_FILE_NOT_FOUND for a network path; XP_FILE_FAILED without a machine folder.
[[nodiscard]] xp_file_status host_native_path(const char16_t* path, char* out, size_t size);

// The absolute Windows form of a path, dots and doubled separators taken out. "\" and "/" both
// separate. A path that begins with "/" is a Linux path (Z:\...), one that begins with a single
// backslash belongs to the drive of the current folder, and any other without a drive to the
// current folder. Network paths (\\server\share) and verbatim ones (\\?\) stay what they are.
// The result is the number of units without the NUL when it fits `capacity` units, otherwise the
// units needed with it; 0 for an empty path and when there is no current folder to start from.
uint32_t host_full_path(const char16_t* path, char16_t* out, uint32_t capacity);

// The slot `from_native` of the files: "/tmp/a.msi" is Z:\tmp\a.msi, and in any other path "/"
// becomes a backslash.
uint32_t host_from_native(const char* text, char* out, uint32_t capacity);

// The Windows name of an absolute Linux path: C:\... inside the machine folder's drive_c, otherwise
// Z:\... The result is as for host_full_path; 0 also for a path that holds a backslash, which has
// no Windows name.
uint32_t host_windows_path(const char* native, char16_t* out, uint32_t capacity);

// The current folder, without a trailing backslash unless it is a root; result as host_full_path.
uint32_t host_current_folder(char16_t* out, uint32_t capacity);

// Whether two file names (UTF-8, `a_length` and `b_length` bytes) differ in nothing but case.
bool host_same_name(const char* a, size_t a_length, const char* b, size_t b_length);

// What an errno of a file call means.
xp_file_status host_file_status(int error);
