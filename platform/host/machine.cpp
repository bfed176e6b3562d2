// Where the machine folder is, and what a fresh one holds.
#include "platform/host/machine.h"

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The folders of a fresh Windows 10, parents first.
constexpr const char* fresh_folders[] = {
    "drive_c",
    "drive_c/Program Files",
    "drive_c/Program Files/Common Files",
    "drive_c/Program Files (x86)",
    "drive_c/Program Files (x86)/Common Files",
    "drive_c/ProgramData",
    "drive_c/Users",
    "drive_c/Users/Administrator",
    "drive_c/Users/Administrator/AppData",
    "drive_c/Users/Administrator/AppData/Local",
    "drive_c/Users/Administrator/AppData/Local/Temp",
    "drive_c/Users/Administrator/AppData/Roaming",
    "drive_c/Users/Public",
    "drive_c/Windows",
    "drive_c/Windows/Installer",
    "drive_c/Windows/System32",
    "drive_c/Windows/SysWOW64",
    "drive_c/Windows/Temp",
    "trust",
};

// The registry of a fresh Windows 10, as far as the system reads it. CurrentVersion says 6.3 on
// every Windows since 8.1; the major and minor numbers say 10.0.
constexpr char fresh_registry[] =
    R"(Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion]
"CurrentVersion"="6.3"
"CurrentBuild"="19045"
"CurrentBuildNumber"="19045"
"CurrentMajorVersionNumber"=dword:0000000a
"CurrentMinorVersionNumber"=dword:00000000
"ProductName"="Windows 10 Pro"
"SystemRoot"="C:\\Windows"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\EventLog\Application]
)";

// The folder in use: the place as it was asked for, and its absolute path once it stands.
struct {
  char wanted[HOST_PATH_SIZE];
  char root[HOST_PATH_SIZE];
  bool ready;
} machine;

// Formats two texts one behind the other; false when they don't fit.
bool join(char* out, size_t size, const char* first, const char* second) {
  const int length = snprintf(out, size, "%s%s", first, second);
  return length >= 0 && static_cast<size_t>(length) < size;
}

// The place that the environment asks for.
bool wanted_place(char* out, size_t size) {
  const char* named = getenv("RUVO_MACHINE");
  if (named && named[0]) return join(out, size, named, "");
  // A relative XDG_STATE_HOME is invalid and to be ignored (XDG Base Directory Specification).
  const char* state = getenv("XDG_STATE_HOME");
  if (state && state[0] == '/') return join(out, size, state, "/ruvo/machine");
  const char* home = getenv("HOME");
  if (!home || home[0] != '/') {
    const passwd* user = getpwuid(getuid());
    home = user ? user->pw_dir : nullptr;
  }
  return home && join(out, size, home, "/.local/state/ruvo/machine");
}

bool make_one(const char* path) {
  return mkdir(path, 0777) == 0 || errno == EEXIST;
}

// Makes `path` and its parents; the text is cut at each separator on the way and mended.
bool make_all(char* path) {
  for (char* at = strchr(path + 1, '/'); at; at = strchr(at + 1, '/')) {
    *at = 0;
    // A parent may be there without the right to make it; only the last one tells.
    (void)make_one(path);
    *at = '/';
  }
  return make_one(path);
}

bool write_whole(int file, const char* bytes, size_t length) {
  while (length > 0) {
    const ssize_t put = write(file, bytes, length);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    bytes += put;
    length -= static_cast<size_t>(put);
  }
  return true;
}

// Puts the registry of a fresh computer in its place in one step, and only where there is none:
// of two runs that start at once neither sees a half-written file, nor loses what it wrote.
bool make_registry(const char* path) {
  char draft[HOST_PATH_SIZE + 32];
  snprintf(draft, sizeof(draft), "%s.%ld", path, static_cast<long>(getpid()));
  const int file = open(draft, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) return false;
  bool done = write_whole(file, fresh_registry, sizeof(fresh_registry) - 1);
  done = close(file) == 0 && done;
  done = done && (link(draft, path) == 0 || errno == EEXIST);
  unlink(draft);
  return done;
}

// Fills `root` with what a computer must have. A folder that has a drive C: and a registry is
// taken for whole.
bool furnish(const char* root) {
  char path[HOST_PATH_SIZE];
  if (!join(path, sizeof(path), root, "/drive_c")) return false;
  if (access(path, F_OK) != 0) {
    for (const char* folder : fresh_folders)
      if (snprintf(path, sizeof(path), "%s/%s", root, folder) >= static_cast<int>(sizeof(path)) ||
          !make_one(path))
        return false;
  }
  if (!join(path, sizeof(path), root, "/registry.reg")) return false;
  return access(path, F_OK) == 0 || make_registry(path);
}

// The folder's absolute path, null when it can't be had. Where it is, is asked of the environment
// each time, so that a test may move on to another computer.
const char* machine_root() {
  char wanted[HOST_PATH_SIZE];
  if (!wanted_place(wanted, sizeof(wanted))) return nullptr;
  if (machine.ready && strcmp(wanted, machine.wanted) == 0) return machine.root;
  machine.ready = false;
  memcpy(machine.wanted, wanted, sizeof(wanted));
  if (!make_all(wanted) || !realpath(wanted, machine.root) || !furnish(machine.root))
    return nullptr;
  machine.ready = true;
  return machine.root;
}

}  // namespace

bool host_machine_path(const char* name, char* out, size_t size) {
  const char* root = machine_root();
  if (!root) return false;
  const int length = snprintf(out, size, name[0] ? "%s/%s" : "%s%s", root, name);
  return length >= 0 && static_cast<size_t>(length) < size;
}
