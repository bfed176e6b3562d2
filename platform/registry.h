// The registry. Names and text values are UTF-8.
#pragma once

#include <stdint.h>

using xp_registry_key = intptr_t;  // 0 is never valid

enum xp_registry_hive : uint32_t { XP_HIVE_LOCAL_MACHINE, XP_HIVE_CURRENT_USER };

enum xp_registry_access : uint32_t {
  XP_KEY_QUERY_VALUE = 0x1,
  XP_KEY_SET_VALUE = 0x2,
  XP_KEY_ALL_ACCESS = 0xF003F,
  XP_KEY_VIEW_64 = 0x100,  // ORed in: the 64-bit view, whatever the process
};

enum xp_registry_type : uint32_t {
  XP_REG_NONE = 0,
  XP_REG_TEXT = 1,         // with its NUL
  XP_REG_EXPAND_TEXT = 2,  // with its NUL
  XP_REG_BINARY = 3,
  XP_REG_DWORD = 4,
};

enum xp_registry_status : int32_t {
  XP_REGISTRY_OK = 0,
  XP_REGISTRY_NOT_FOUND,
  XP_REGISTRY_DENIED,
  XP_REGISTRY_MORE_DATA,  // the buffer is too small; *size tells what it needs
  XP_REGISTRY_FAILED,
};

struct xp_registry_ops {
  xp_registry_status (*open)(xp_registry_hive hive, const char* path, uint32_t access,
                             xp_registry_key* out);
  // Opens or makes a key for reading and writing.
  xp_registry_status (*create)(xp_registry_hive hive, const char* path, xp_registry_key* out);
  // Reads a value: *size is the room in bytes on entry and the value's size on return. `type`
  // may be null. A text value comes with its NUL when the writer stored one.
  xp_registry_status (*read)(xp_registry_key key, const char* name, uint32_t* type, void* out,
                             uint32_t* size);
  xp_registry_status (*write)(xp_registry_key key, const char* name, uint32_t type,
                              const void* bytes, uint32_t size);
  void (*close)(xp_registry_key key);
};
