// The registry.
#include "object/xp_ref.h"
#include "platform/windows/backend.h"

namespace {

static_assert(XP_KEY_QUERY_VALUE == KEY_QUERY_VALUE && XP_KEY_SET_VALUE == KEY_SET_VALUE &&
              XP_KEY_ALL_ACCESS == KEY_ALL_ACCESS && XP_KEY_VIEW_64 == KEY_WOW64_64KEY);
static_assert(XP_REG_NONE == REG_NONE && XP_REG_TEXT == REG_SZ &&
              XP_REG_EXPAND_TEXT == REG_EXPAND_SZ && XP_REG_BINARY == REG_BINARY &&
              XP_REG_DWORD == REG_DWORD);

HKEY root_of(xp_registry_hive hive) {
  return hive == XP_HIVE_CURRENT_USER ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

HKEY key_of(xp_registry_key key) {
  return reinterpret_cast<HKEY>(key);
}

bool is_text(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ;
}

xp_registry_status opened(LSTATUS result, HKEY key, xp_registry_key* out) {
  if (result == ERROR_SUCCESS) *out = reinterpret_cast<xp_registry_key>(key);
  return windows_registry_status(result);
}

xp_registry_status registry_open(xp_registry_hive hive, const char* path, uint32_t access,
                                 xp_registry_key* out) {
  HKEY key = nullptr;
  LSTATUS result;
  if (windows_8bit_carries(path)) {
    result = RegOpenKeyExA(root_of(hive), path, 0, access, &key);
  } else {
    const windows_wide_copy wide(path);
    if (!wide.text) return XP_REGISTRY_FAILED;
    result = RegOpenKeyExW(root_of(hive), wide.text, 0, access, &key);
  }
  return opened(result, key, out);
}

xp_registry_status registry_create(xp_registry_hive hive, const char* path, xp_registry_key* out) {
  HKEY key = nullptr;
  LSTATUS result;
  if (windows_8bit_carries(path)) {
    result = RegCreateKeyA(root_of(hive), path, &key);
  } else {
    const windows_wide_copy wide(path);
    if (!wide.text) return XP_REGISTRY_FAILED;
    result = RegCreateKeyW(root_of(hive), wide.text, &key);
  }
  return opened(result, key, out);
}

// Reads a text value as UTF-16 and gives it as UTF-8: for a process whose code page may lack
// characters of the value. `bytes` is the size of the UTF-16 value.
xp_registry_status read_wide_text(HKEY key, const wchar_t* name, DWORD bytes, void* out,
                                  uint32_t* size) {
  const auto units = xp_block<char16_t>::of(bytes / sizeof(char16_t) + 1);
  if (!units) return XP_REGISTRY_FAILED;
  const LSTATUS result =
      RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(units.get()), &bytes);
  if (result != ERROR_SUCCESS) return windows_registry_status(result);
  const auto count = static_cast<int32_t>(bytes / sizeof(char16_t));
  const auto needed = static_cast<uint32_t>(xp_text_to_utf8(units.get(), count, nullptr, 0));
  const uint32_t room = *size;
  *size = needed;
  if (!out) return XP_REGISTRY_OK;
  if (needed > room) return XP_REGISTRY_MORE_DATA;
  (void)xp_text_to_utf8(units.get(), count, static_cast<char*>(out), static_cast<int32_t>(needed));
  return XP_REGISTRY_OK;
}

xp_registry_status registry_read(xp_registry_key key, const char* name, uint32_t* type, void* out,
                                 uint32_t* size) {
  DWORD kind = REG_NONE;
  DWORD bytes = *size;
  LSTATUS result;
  if (windows_8bit_is_utf8()) {
    result = RegQueryValueExA(key_of(key), name, nullptr, &kind, static_cast<BYTE*>(out), &bytes);
  } else {
    const windows_wide_copy wide(name ? name : "");
    if (!wide.text) return XP_REGISTRY_FAILED;
    // The kind first: a text has another size here than it will have as UTF-8.
    DWORD stored = 0;
    result = RegQueryValueExW(key_of(key), wide.text, nullptr, &kind, nullptr, &stored);
    if (result == ERROR_SUCCESS && is_text(kind)) {
      if (type) *type = kind;
      return read_wide_text(key_of(key), wide.text, stored, out, size);
    }
    result =
        RegQueryValueExW(key_of(key), wide.text, nullptr, &kind, static_cast<BYTE*>(out), &bytes);
  }
  if (result == ERROR_SUCCESS || result == ERROR_MORE_DATA) {
    *size = bytes;
    if (type) *type = kind;
  }
  return windows_registry_status(result);
}

// Stores a text as UTF-16; `bytes` needn't end in a NUL.
LSTATUS write_wide_text(HKEY key, const wchar_t* name, DWORD type, const void* bytes,
                        uint32_t size) {
  const auto* text = static_cast<const char*>(bytes);
  const int32_t units = xp_text_to_wide(text, static_cast<int32_t>(size), nullptr, 0);
  const auto wide = xp_block<char16_t>::of(static_cast<size_t>(units));
  if (!wide) return ERROR_OUTOFMEMORY;
  (void)xp_text_to_wide(text, static_cast<int32_t>(size), wide.get(), units);
  return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(wide.get()),
                        static_cast<DWORD>(units) * sizeof(char16_t));
}

xp_registry_status registry_write(xp_registry_key key, const char* name, uint32_t type,
                                  const void* bytes, uint32_t size) {
  const auto* data = static_cast<const BYTE*>(bytes);
  if (windows_8bit_is_utf8())
    return windows_registry_status(RegSetValueExA(key_of(key), name, 0, type, data, size));
  const windows_wide_copy wide(name ? name : "");
  if (!wide.text) return XP_REGISTRY_FAILED;
  return windows_registry_status(is_text(type)
                                     ? write_wide_text(key_of(key), wide.text, type, bytes, size)
                                     : RegSetValueExW(key_of(key), wide.text, 0, type, data, size));
}

void registry_close(xp_registry_key key) {
  RegCloseKey(key_of(key));
}

}  // namespace

xp_registry_status windows_registry_status(LSTATUS result) {
  switch (result) {
    case ERROR_SUCCESS:
      return XP_REGISTRY_OK;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return XP_REGISTRY_NOT_FOUND;
    case ERROR_ACCESS_DENIED:
      return XP_REGISTRY_DENIED;
    case ERROR_MORE_DATA:
      return XP_REGISTRY_MORE_DATA;
  }
  return XP_REGISTRY_FAILED;
}

constinit const xp_registry_ops windows_registry = {.open = registry_open,
                                                    .create = registry_create,
                                                    .read = registry_read,
                                                    .write = registry_write,
                                                    .close = registry_close};
