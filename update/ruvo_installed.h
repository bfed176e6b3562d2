// Asks, before anything is fetched, whether the install is necessary at all.
#pragma once

#include "object/xp_str.h"

enum ruvo_installed_result : int32_t {
  RUVO_INSTALL_MAY_BE_NEEDED = 0,
  RUVO_INSTALLED_ANY = 1,        // mode 2, and a version is installed
  RUVO_INSTALLED_NOT_OLDER = 2,  // mode 3, and the wanted version doesn't order after it
  RUVO_INSTALLED_SAME = 3,       // another mode, and the two are equal
};

// What the install mode asks of the two versions.
enum ruvo_mode : int32_t {
  RUVO_MODE_ALWAYS = 0,  // no version test at all
  RUVO_MODE_ABSENT = 2,  // install only when no version is found
  RUVO_MODE_NEWER = 3,   // install only when the new version orders after the installed one
                         // any other value: install unless the two are equal
};

// Compares `version` with the value "version" at `instpath` ("HKLM:\..." or "HKCU:\...", null or
// empty: the client service's settings). Versions are compared as texts, byte by byte: "10.0"
// orders before "9.0". Whatever can't be read counts as nothing installed.
ruvo_installed_result ruvo_installed_check(xp_str* instpath, xp_str* version, int32_t mode);
