// Known folders: which places of the system answer a kind, one behind the other.
#include "object/xp_ref.h"
#include "paths/xp_path.h"

namespace {

constexpr uint32_t PLACE_UNITS = 4096;  // longest answer that is taken

// What becomes of the place that a source gives.
enum place_use : uint32_t {
  USE_AS_IT_IS,
  USE_FOLDER,        // the folder of the file that is given
  USE_DRIVE,         // "X:"
  USE_DRIVE_USERS,   // "X:\Users"
  USE_COMMON_FILES,  // the child "Common Files"
};

struct place_choice {
  xp_folder_source source;
  place_use use;
};

// The kinds with their sources in the order in which they are asked; the first answer counts. A
// kind that isn't listed is the Windows folder, and so is one whose sources have no answer, as far
// as its row says so.
struct known_row {
  uint32_t kind;
  bool or_windows;
  uint32_t count;
  place_choice choices[2];
};

constexpr known_row known_rows[] = {
    {xp_tag("curr"), false, 1, {{XP_FOLDER_CURRENT, USE_AS_IT_IS}}},
    {xp_tag("proc"), false, 1, {{XP_FOLDER_PROGRAM_FILE, USE_FOLDER}}},
    {xp_tag("user"),
     false,
     2,
     {{XP_FOLDER_KNOWN_USER_PROFILES, USE_AS_IT_IS}, {XP_FOLDER_SYSTEM, USE_DRIVE_USERS}}},
    {xp_tag("pr32"),
     true,
     2,
     {{XP_FOLDER_KNOWN_PROGRAM_FILES_32, USE_AS_IT_IS},
      {XP_FOLDER_SHELL_PROGRAM_FILES_32, USE_AS_IT_IS}}},
    {xp_tag("pr64"),
     true,
     2,
     {{XP_FOLDER_KNOWN_PROGRAM_FILES_64, USE_AS_IT_IS},
      {XP_FOLDER_SHELL_PROGRAM_FILES, USE_AS_IT_IS}}},
    {xp_tag("prog"), true, 1, {{XP_FOLDER_SHELL_PROGRAM_FILES, USE_AS_IT_IS}}},
    {xp_tag("comn"),
     true,
     2,
     {{XP_FOLDER_SHELL_PROGRAM_COMMON, USE_AS_IT_IS},
      {XP_FOLDER_SHELL_PROGRAM_FILES, USE_COMMON_FILES}}},
    {xp_tag("pref"), true, 1, {{XP_FOLDER_SHELL_LOCAL_DATA, USE_AS_IT_IS}}},
    {xp_tag("cach"), true, 1, {{XP_FOLDER_SHELL_LOCAL_DATA, USE_AS_IT_IS}}},
    {xp_tag("lsup"), true, 1, {{XP_FOLDER_SHELL_LOCAL_DATA, USE_AS_IT_IS}}},
    {xp_tag("rsup"), true, 1, {{XP_FOLDER_SHELL_ROAMING_DATA, USE_AS_IT_IS}}},
    {xp_tag("sprf"), true, 1, {{XP_FOLDER_SHELL_COMMON_DATA, USE_AS_IT_IS}}},
    {xp_tag("asup"), true, 1, {{XP_FOLDER_SHELL_COMMON_DATA, USE_AS_IT_IS}}},
    {xp_tag("slog"),
     false,
     2,
     {{XP_FOLDER_SHELL_COMMON_DATA, USE_AS_IT_IS}, {XP_FOLDER_TEMP, USE_AS_IT_IS}}},
    {xp_tag("sdrv"), false, 1, {{XP_FOLDER_SYSTEM, USE_DRIVE}}},
    {xp_tag("swin"),
     false,
     2,
     {{XP_FOLDER_SYSTEM_WINDOWS, USE_AS_IT_IS}, {XP_FOLDER_WINDOWS, USE_AS_IT_IS}}},
    {xp_tag("extn"), false, 1, {{XP_FOLDER_SYSTEM, USE_AS_IT_IS}}},
    {xp_tag("temp"), false, 1, {{XP_FOLDER_TEMP, USE_AS_IT_IS}}},
    {xp_tag("logs"), false, 1, {{XP_FOLDER_TEMP, USE_AS_IT_IS}}},
};

constexpr known_row windows_row = {.kind = 0, .or_windows = true, .count = 0, .choices = {}};

const known_row& row_of(uint32_t kind) {
  for (const known_row& row : known_rows)
    if (row.kind == kind) return row;
  return windows_row;
}

xp_path* child_of(xp_path* path, const char* name) {
  const xp_ref child(path ? xp_path_child(path, name) : nullptr);
  return xp_path_flatten(child.get());
}

// Cuts a place behind its drive: at "X:" or at "X:\". A place without a drive stays.
void cut_at_drive(char16_t* place, uint32_t units) {
  if (place[0] && place[1] == u':' && place[2]) place[units] = 0;
}

xp_path* path_of_place(char16_t* place, place_use use) {
  if (use == USE_DRIVE) cut_at_drive(place, 2);
  if (use == USE_DRIVE_USERS) cut_at_drive(place, 3);
  xp_ref path(xp_path_from_wide(nullptr, place));
  switch (use) {
    case USE_FOLDER:
      return xp_path_parent(path.get());
    case USE_DRIVE_USERS:
      return child_of(path.get(), "Users");
    case USE_COMMON_FILES:
      return child_of(path.get(), "Common Files");
    default:
      return path.take();
  }
}

}  // namespace

xp_path* xp_path_known(uint32_t kind) {
  const known_row& row = row_of(kind);
  char16_t place[PLACE_UNITS] = {};
  for (uint32_t i = 0; i < row.count; i++)
    if (xp_platform->folders->get(row.choices[i].source, place, PLACE_UNITS) > 0)
      return path_of_place(place, row.choices[i].use);
  if (!row.or_windows || xp_platform->folders->get(XP_FOLDER_WINDOWS, place, PLACE_UNITS) == 0)
    return nullptr;
  return path_of_place(place, USE_AS_IT_IS);
}

xp_path* xp_path_known_descend(uint32_t kind, const char* const* names, uint32_t count) {
  xp_ref path(xp_path_known(kind));
  for (uint32_t i = 0; i < count && names[i] && path; i++)
    path.reset(xp_path_child(path.get(), names[i]));
  return path.take();
}
