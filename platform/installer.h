// The Windows Installer. Result codes are the installer's own: 0 for success, 3010 success with
// a reboot needed, otherwise its error code.
#pragma once

#include <stdint.h>

using xp_package = uintptr_t;  // an open package database; 0 is none

// Gets the installer's messages during an install. The top byte of `type` is the kind of message.
using xp_installer_handler = int32_t (*)(void* context, uint32_t type, const char* message);

enum xp_product_state : int32_t { XP_PRODUCT_ADVERTISED = 1, XP_PRODUCT_DEFAULT = 5 };

struct xp_installer_ops {
  // Opens a package read-only. Result code; *out is set on success.
  uint32_t (*open)(const char16_t* path, xp_package* out);
  // Runs `sql` and reads the first field of the first row as text with a NUL into `size` bytes.
  // Result code; a missing table, no row or too small a buffer are failures.
  uint32_t (*query_text)(xp_package package, const char* sql, char* out, uint32_t size);
  // The same as an integer; a null field gives 0x80000000 (as a signed number).
  uint32_t (*query_integer)(xp_package package, const char* sql, int32_t* out);
  void (*close)(xp_package package);
  // State of the product of that code on this computer: xp_product_state, or other values.
  int32_t (*product_state)(const char* product_code);
  // No user interface from here on; messages of the kinds in `filter` go to `handler`.
  void (*silence)(xp_installer_handler handler, uint32_t filter);
  // Installs the package with a property string. Blocks until done; result code.
  uint32_t (*install)(const char16_t* path, const char16_t* properties);
};
