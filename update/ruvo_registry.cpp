#include "update/ruvo_registry.h"

#include <string.h>

int32_t ruvo_wow64() {
  return xp_platform->system->is_wow64() ? 64 : 32;
}

xp_registry_key ruvo_open_key(xp_registry_hive hive, const char* path, uint32_t access) {
  if (ruvo_wow64() != 64) access |= XP_KEY_VIEW_64;
  xp_registry_key key;
  if (xp_platform->registry->open(hive, path, access, &key) != XP_REGISTRY_OK) return 0;
  return key;
}

bool ruvo_read_text(xp_registry_key key, const char* name, uint32_t* type, char* out,
                    uint32_t size) {
  memset(out, 0, size);
  uint32_t length = size;
  if (xp_platform->registry->read(key, name, type, out, &length) == XP_REGISTRY_OK) {
    // A value that fills the buffer without a NUL of its own loses its last byte.
    out[size - 1] = 0;
    return true;
  }
  memset(out, 0, size);
  return false;
}

bool ruvo_read_key_text(xp_registry_hive hive, const char* path, const char* name, char* out,
                        uint32_t size) {
  memset(out, 0, size);
  const xp_registry_key key = ruvo_open_key(hive, path, XP_KEY_QUERY_VALUE);
  if (!key) return false;
  const bool found = ruvo_read_text(key, name, nullptr, out, size);
  xp_platform->registry->close(key);
  return found;
}
