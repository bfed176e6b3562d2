// Properties of an install, and the formatted texts that refer to them.
#include <string.h>

#include "platform/host/installer_session.h"

namespace {

struct fixed_property {
  const char* name;
  const char* text;
};

// What a service on a 64-bit Windows 10 finds. 603 is what it reports on every Windows since 8.1.
constexpr fixed_property COMPUTER[] = {
    {"VersionNT", "603"},
    {"VersionNT64", "603"},
    {"VersionMsi", "5.00"},
    {"WindowsBuild", "9600"},
    {"ServicePackLevel", "0"},
    {"MsiNTProductType", "1"},
    {"Intel", "6"},
    {"Intel64", ""},
    {"Msix64", "6"},
    {"MsiAMD64", "6"},
    {"Privileged", "1"},
    {"AdminUser", "1"},
    {"UILevel", "2"},
    {"SystemLanguageID", "1033"},
    {"UserLanguageID", "1033"},
    {"ROOTDRIVE", "C:\\"},
    {"WindowsVolume", "C:\\"},
    {"WindowsFolder", "C:\\Windows\\"},
    {"SystemFolder", "C:\\Windows\\SysWOW64\\"},
    {"System64Folder", "C:\\Windows\\System32\\"},
    {"FontsFolder", "C:\\Windows\\Fonts\\"},
    {"TempFolder", "C:\\Windows\\Temp\\"},
    {"ProgramFilesFolder", "C:\\Program Files (x86)\\"},
    {"ProgramFiles64Folder", "C:\\Program Files\\"},
    {"CommonFilesFolder", "C:\\Program Files (x86)\\Common Files\\"},
    {"CommonFiles64Folder", "C:\\Program Files\\Common Files\\"},
    {"CommonAppDataFolder", "C:\\ProgramData\\"},
    {"ProgramMenuFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\"},
    {"StartMenuFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\"},
    {"StartupFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Startup\\"},
    {"DesktopFolder", "C:\\Users\\Public\\Desktop\\"},
    {"PersonalFolder", "C:\\Users\\Administrator\\Documents\\"},
    {"AppDataFolder", "C:\\Users\\Administrator\\AppData\\Roaming\\"},
    {"LocalAppDataFolder", "C:\\Users\\Administrator\\AppData\\Local\\"},
};

bool name_character(char c, bool first) {
  return g_ascii_isalpha(c) || c == '_' || (!first && (g_ascii_isdigit(c) || c == '.'));
}

void set_default(installer_session* session, const char* name, const char* text) {
  if (!g_hash_table_contains(session->properties, name)) session_set(session, name, text);
}

// Reads a value at *at: up to a blank, where blanks in quotes count as text and a doubled quote
// in them as one. False when a quote stays open.
bool read_value(const char** at, GString* out) {
  bool quoted = false;
  for (; **at && (quoted || !g_ascii_isspace(**at)); (*at)++) {
    if (**at != '"') {
      g_string_append_c(out, **at);
    } else if (quoted && (*at)[1] == '"') {
      g_string_append_c(out, '"');
      (*at)++;
    } else {
      quoted = !quoted;
    }
  }
  return !quoted;
}

// Where a bracketed or braced stretch that begins at `at` ends, or null.
const char* closing(const char* at, char open, char close) {
  int depth = 0;
  for (; *at; at++) {
    if (*at == open) depth++;
    if (*at == close && --depth == 0) return at;
  }
  return nullptr;
}

// What stands between brackets. False when it refers to nothing.
bool append_reference(const installer_session* session, const char* name, size_t length,
                      GString* out) {
  g_autofree char* key = g_strndup(name, length);
  const char* found = nullptr;
  if (*key == '\\') {
    g_string_append_c(out, key[1]);
    return true;
  }
  if (strcmp(key, "~") == 0) {
    g_string_append_c(out, 0);
    return true;
  }
  if (*key == '#' || *key == '!') {
    found = static_cast<const char*>(g_hash_table_lookup(session->files, key + 1));
  } else if (*key == '$') {
    const auto* component =
        static_cast<const session_component*>(g_hash_table_lookup(session->components, key + 1));
    if (component)
      found = static_cast<const char*>(g_hash_table_lookup(session->folders, component->folder));
  } else if (*key != '%') {  // no environment: the stand-in has none
    found = session_property(session, key);
  }
  if (!found || !*found) return false;
  g_string_append(out, found);
  return true;
}

// Expands a stretch without groups. False when a reference in it refers to nothing.
bool append_formatted(const installer_session* session, const char* text, size_t length,
                      GString* out, bool* referred) {
  bool all = true;
  const char* const end = text + length;
  while (text < end) {
    // A backslash hides the one character behind it, which may be a bracket.
    const bool escape = end - text >= 4 && text[0] == '[' && text[1] == '\\' && text[3] == ']';
    const void* behind =
        *text == '[' ? memchr(text, ']', static_cast<size_t>(end - text)) : nullptr;
    if (escape) behind = text + 3;
    if (!behind) {
      g_string_append_c(out, *text++);
      continue;
    }
    const auto* stop = static_cast<const char*>(behind);
    *referred = true;
    if (!append_reference(session, text + 1, static_cast<size_t>(stop - text - 1), out))
      all = false;
    text = stop + 1;
  }
  return all;
}

}  // namespace

installer_session::installer_session()
    : properties(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free)),
      folders(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free)),
      components(g_hash_table_new_full(g_str_hash, g_str_equal, g_free,
                                       [](void* data) {
                                         auto* component = static_cast<session_component*>(data);
                                         g_free(component->folder);
                                         g_free(component);
                                       })),
      files(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free)) {}

installer_session::~installer_session() {
  g_hash_table_unref(files);
  g_hash_table_unref(components);
  g_hash_table_unref(folders);
  g_hash_table_unref(properties);
  g_free(package_folder);
  g_free(package_name);
  g_clear_object(&database);
}

const char* session_property(const installer_session* session, const char* name) {
  const void* text = g_hash_table_lookup(session->properties, name);
  return text ? static_cast<const char*>(text) : "";
}

void session_set(installer_session* session, const char* name, const char* text) {
  g_hash_table_replace(session->properties, g_strdup(name), g_strdup(text));
}

bool session_read_command_line(installer_session* session, const char* text) {
  const char* at = text;
  for (;;) {
    while (g_ascii_isspace(*at))
      at++;
    if (!*at) return true;
    const char* const name = at;
    while (name_character(*at, at == name))
      at++;
    if (at == name || *at != '=') return false;
    g_autofree char* key = g_strndup(name, static_cast<size_t>(at - name));
    g_autoptr(GString) value = g_string_new(nullptr);
    at++;
    if (!read_value(&at, value)) return false;
    session_set(session, key, value->str);
  }
}

void session_read_package(installer_session* session) {
  const package_table table(session->database, "SELECT `Property`, `Value` FROM `Property`");
  for (uint32_t i = 0; i < table.count(); i++)
    set_default(session, table.text(i, 0), table.text(i, 1));
  for (const fixed_property& row : COMPUTER)
    set_default(session, row.name, row.text);
  g_autoptr(LibmsiSummaryInfo) summary = libmsi_summary_info_new(session->database, 0, nullptr);
  const char* platform =
      summary ? libmsi_summary_info_get_string(summary, LIBMSI_PROPERTY_TEMPLATE, nullptr)
              : nullptr;
  session->is_64_bit =
      platform && (g_str_has_prefix(platform, "x64") || g_str_has_prefix(platform, "Intel64"));
  // The service of a rehearsal installs for everybody, unless the package says otherwise.
  session->per_user = strcmp(session_property(session, "MSIINSTALLPERUSER"), "1") == 0;
}

GString* session_format(const installer_session* session, const char* text) {
  GString* out = g_string_new(nullptr);
  while (*text) {
    const char* stop = *text == '{' ? closing(text, '{', '}') : nullptr;
    bool referred = false;
    if (stop) {
      // A group goes when something in it refers to nothing, and keeps its braces when nothing
      // in it refers.
      g_autoptr(GString) inner = g_string_new(nullptr);
      const bool all = append_formatted(session, text + 1, static_cast<size_t>(stop - text - 1),
                                        inner, &referred);
      if (!referred) g_string_append_len(out, text, stop + 1 - text);
      if (referred && all) g_string_append_len(out, inner->str, static_cast<gssize>(inner->len));
      text = stop + 1;
    } else {
      size_t length = strcspn(text + 1, "{") + 1;
      append_formatted(session, text, length, out, &referred);
      text += length;
    }
  }
  return out;
}
