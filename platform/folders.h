// The places that the system knows by name. Which is asked, and what follows when one gives
// nothing, is decided above the seam.
#pragma once

#include <stdint.h>

enum xp_folder_source : uint32_t {
  XP_FOLDER_CURRENT,
  XP_FOLDER_PROGRAM_FILE,            // path of the program file itself
  XP_FOLDER_KNOWN_USER_PROFILES,     // shell, by known-folder id
  XP_FOLDER_KNOWN_PROGRAM_FILES_32,  // shell, by known-folder id
  XP_FOLDER_KNOWN_PROGRAM_FILES_64,  // shell, by known-folder id
  XP_FOLDER_SHELL_PROGRAM_FILES,     // shell, number 0x26
  XP_FOLDER_SHELL_PROGRAM_FILES_32,  // shell, number 0x2A
  XP_FOLDER_SHELL_PROGRAM_COMMON,    // shell, number 0x2B
  XP_FOLDER_SHELL_LOCAL_DATA,        // shell, number 0x1C
  XP_FOLDER_SHELL_ROAMING_DATA,      // shell, number 0x1A
  XP_FOLDER_SHELL_COMMON_DATA,       // shell, number 0x23
  XP_FOLDER_SYSTEM,
  XP_FOLDER_SYSTEM_WINDOWS,  // the shared Windows folder; may be unknown to the system
  XP_FOLDER_WINDOWS,
  XP_FOLDER_TEMP,  // with a trailing backslash
};

struct xp_folder_ops {
  // Writes the place as UTF-16 with a NUL into `out` of `capacity` units. Returns the units
  // without the NUL; 0 when the system has no answer or it doesn't fit.
  uint32_t (*get)(xp_folder_source source, char16_t* out, uint32_t capacity);
};
