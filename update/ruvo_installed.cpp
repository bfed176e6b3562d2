#include "update/ruvo_installed.h"

#include "update/ruvo_registry.h"

namespace {

struct hive_prefix {
  const char* text;
  int32_t length;
  xp_registry_hive hive;
};

constexpr hive_prefix prefixes[] = {
    {"HKLM:\\", 6, XP_HIVE_LOCAL_MACHINE},
    {"HKCU:\\", 6, XP_HIVE_CURRENT_USER},
};

// The installed version at a place; false, and empty, for an unknown hive or an absent value.
bool read_installed(const xp_str* instpath, char* out, uint32_t size) {
  if (xp_str_is_empty(instpath))
    return ruvo_read_key_text(XP_HIVE_LOCAL_MACHINE, RUVO_SETTINGS_KEY, "version", out, size);
  for (const hive_prefix& prefix : prefixes) {
    if (instpath->length < prefix.length ||
        xp_text_compare_nocase(instpath->text, prefix.length, prefix.text, prefix.length) != 0)
      continue;
    return ruvo_read_key_text(prefix.hive, instpath->text + prefix.length, "version", out, size);
  }
  return false;
}

}  // namespace

ruvo_installed_result ruvo_installed_check(xp_str* instpath, xp_str* version, int32_t mode) {
  if (mode == RUVO_MODE_ALWAYS) return RUVO_INSTALL_MAY_BE_NEEDED;
  char installed[64];
  if (!read_installed(instpath, installed, sizeof(installed)) || !*installed)
    return RUVO_INSTALL_MAY_BE_NEEDED;
  if (mode == RUVO_MODE_ABSENT) return RUVO_INSTALLED_ANY;
  if (xp_str_is_empty(version)) return RUVO_INSTALL_MAY_BE_NEEDED;
  const int32_t order = xp_text_compare_bytes(version->text, version->length, installed, -1);
  if (mode == RUVO_MODE_NEWER)
    return order > 0 ? RUVO_INSTALL_MAY_BE_NEEDED : RUVO_INSTALLED_NOT_OLDER;
  return order == 0 ? RUVO_INSTALLED_SAME : RUVO_INSTALL_MAY_BE_NEEDED;
}
