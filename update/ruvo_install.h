// The install driver: runs one Windows Installer package without any user interface. The package's
// own tables decide what kind of install it is, and whether it is necessary at all.
#pragma once

#include "object/xp_array.h"
#include "object/xp_str.h"
#include "paths/xp_path.h"
#include "platform/platform.h"

// Clears every element that isn't an xstr setting a property of a permitted family ("TP_...=",
// "PROP_...=", "ARPSYSTEMCOMPONENT="), and compacts the array. Null is fine.
void ruvo_filter_properties(xp_array* properties);

// Installs the package. `version` and `properties` may be null. 0, RUVO_REBOOT_NEEDED,
// RUVO_NOT_NECESSARY, RUVO_FAILED when memory was out before the package was opened, otherwise
// the Windows Installer's error code. Logs its outcome.
int32_t ruvo_install(xp_path* path, xp_str* version, xp_array* properties, int32_t mode);

// Whether the value that the query gives names a product that is present on this computer.
bool ruvo_msi_product_known(xp_package database, const char* query);

// Whether the install should go on, by the version at the place that the package names and the
// version that it declares. Versions are compared byte by byte, as texts.
bool ruvo_msi_version_check(xp_package database, int32_t mode);

// The callback given to the Windows Installer: files in use are ignored.
int32_t ruvo_msi_ui_handler(void* context, uint32_t type, const char* message);
