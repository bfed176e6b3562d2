// The places of the computer: those of a fresh Windows 10, as machine.cpp makes them.
#include <string.h>
#include <unistd.h>

#include "platform/host/host.h"
#include "platform/host/machine.h"

namespace {

struct fixed_place {
  xp_folder_source source;
  const char16_t* path;
};

constexpr fixed_place places[] = {
    {XP_FOLDER_KNOWN_USER_PROFILES, u"C:\\Users"},
    {XP_FOLDER_KNOWN_PROGRAM_FILES_32, u"C:\\Program Files (x86)"},
    {XP_FOLDER_KNOWN_PROGRAM_FILES_64, u"C:\\Program Files"},
    {XP_FOLDER_SHELL_PROGRAM_FILES, u"C:\\Program Files"},
    {XP_FOLDER_SHELL_PROGRAM_FILES_32, u"C:\\Program Files (x86)"},
    {XP_FOLDER_SHELL_PROGRAM_COMMON, u"C:\\Program Files\\Common Files"},
    {XP_FOLDER_SHELL_LOCAL_DATA, u"C:\\Users\\Administrator\\AppData\\Local"},
    {XP_FOLDER_SHELL_ROAMING_DATA, u"C:\\Users\\Administrator\\AppData\\Roaming"},
    {XP_FOLDER_SHELL_COMMON_DATA, u"C:\\ProgramData"},
    {XP_FOLDER_SYSTEM, u"C:\\Windows\\System32"},
    {XP_FOLDER_SYSTEM_WINDOWS, u"C:\\Windows"},
    {XP_FOLDER_WINDOWS, u"C:\\Windows"},
    {XP_FOLDER_TEMP, u"C:\\Windows\\Temp\\"},
};

uint32_t program_file(char16_t* out, uint32_t capacity) {
  char path[HOST_PATH_SIZE];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
  if (length < 1) return 0;
  path[length] = 0;
  return host_windows_path(path, out, capacity);
}

uint32_t copy_out(const char16_t* path, char16_t* out, uint32_t capacity) {
  uint32_t length = 0;
  while (path[length])
    length++;
  if (length < capacity) memcpy(out, path, (length + 1) * sizeof(char16_t));
  return length;
}

uint32_t host_get(xp_folder_source source, char16_t* out, uint32_t capacity) {
  uint32_t length = 0;
  if (source == XP_FOLDER_CURRENT) length = host_current_folder(out, capacity);
  if (source == XP_FOLDER_PROGRAM_FILE) length = program_file(out, capacity);
  for (const fixed_place& place : places)
    if (place.source == source) length = copy_out(place.path, out, capacity);
  return length < capacity ? length : 0;
}

}  // namespace

constinit const xp_folder_ops host_folders = {.get = host_get};
