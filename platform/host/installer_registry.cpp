// What an install writes into the registry: the package's rows, and the product where the Windows
// Installer keeps it. The file list of a product is the stand-in's own, below its rehearsal key.
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "platform/host/installer_session.h"
#include "platform/host/machine.h"

namespace {

constexpr char PRODUCTS[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\";
constexpr char UPGRADE_CODES[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\UpgradeCodes\\";
constexpr char FILE_LISTS[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ruvo\\Rehearsal\\Products\\";
constexpr char UNINSTALL[] = "Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

// The key of a Registry row: its root, and where the keys of 32-bit components really lie.
char* row_key(const installer_session* session, int32_t root, const char* key, bool is_64_bit) {
  constexpr const char* ROOTS[] = {"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes", "HKEY_CURRENT_USER",
                                   "HKEY_LOCAL_MACHINE", "HKEY_USERS"};
  if (root < 0) root = session->per_user ? 1 : 2;
  if (root > 3) return nullptr;
  constexpr char SOFTWARE[] = "SOFTWARE\\";
  if (root == 2 && !is_64_bit && g_ascii_strncasecmp(key, SOFTWARE, sizeof SOFTWARE - 1) == 0)
    return g_strconcat(ROOTS[root], "\\SOFTWARE\\WOW6432Node\\", key + sizeof SOFTWARE - 1,
                       nullptr);
  return g_strconcat(ROOTS[root], "\\", key, nullptr);
}

bool set_binary(registry_text* registry, const char* key, const char* name, const char* digits) {
  g_autoptr(GByteArray) bytes = g_byte_array_new();
  for (; g_ascii_isxdigit(digits[0]) && g_ascii_isxdigit(digits[1]); digits += 2) {
    const auto byte =
        static_cast<guint8>(g_ascii_xdigit_value(digits[0]) << 4 | g_ascii_xdigit_value(digits[1]));
    g_byte_array_append(bytes, &byte, 1);
  }
  return registry_set(registry, key, name, XP_REG_BINARY, bytes->data, bytes->len);
}

// The value's first characters say its type: #x binary, #% expanded text, ## a text with one "#",
// # a number; a text with [~] in it is a list of texts.
bool set_row_value(registry_text* registry, const char* key, const char* name,
                   const GString* value) {
  const char* text = value->str;
  if (strlen(text) < value->len) {
    const char* list = *text ? text : text + 1;  // [~] in front says "append" to a list
    const size_t length = value->len - static_cast<size_t>(list - text);
    const size_t ends = length > 0 && list[length - 1] == 0 ? 1 : 2;
    host_buffer ended;
    return host_buffer_add(&ended, list, length) && host_buffer_add(&ended, "\0", ends) &&
           registry_set(registry, key, name, REGISTRY_MULTI_TEXT, ended.bytes, ended.length);
  }
  if (g_str_has_prefix(text, "#x") || g_str_has_prefix(text, "#X"))
    return set_binary(registry, key, name, text + 2);
  if (g_str_has_prefix(text, "#%"))
    return registry_set(registry, key, name, XP_REG_EXPAND_TEXT, text + 2, value->len - 1);
  if (g_str_has_prefix(text, "##")) return registry_set_text(registry, key, name, text + 1);
  if (*text == '#')
    return registry_set_number(registry, key, name,
                               static_cast<uint32_t>(strtoll(text + 1, nullptr, 10)));
  return registry_set_text(registry, key, name, text);
}

bool write_row(const installer_session* session, registry_text* registry, const package_table* rows,
               uint32_t i) {
  const auto* component = static_cast<const session_component*>(
      g_hash_table_lookup(session->components, rows->text(i, 4)));
  if (!component) return true;
  g_autoptr(GString) path = session_format(session, rows->text(i, 1));
  g_autoptr(GString) name = session_format(session, rows->text(i, 2));
  g_autoptr(GString) value = session_format(session, rows->text(i, 3));
  g_autofree char* key = row_key(session, rows->number(i, 0), path->str, component->is_64_bit);
  if (!key) return true;
  // Without a value, "+" and "*" make the key; "-" is for the day of the removal.
  const bool mark = value->len == 0 && name->len == 1 && strchr("+*-", *name->str);
  if (mark) return *name->str == '-' || registry_make_key(registry, key);
  return set_row_value(registry, key, name->str, value);
}

bool write_rows(const installer_session* session, registry_text* registry) {
  const package_table rows(session->database,
                           "SELECT `Root`, `Key`, `Name`, `Value`, `Component_` FROM `Registry`");
  for (uint32_t i = 0; i < rows.count(); i++)
    if (!write_row(session, registry, &rows, i)) return false;
  return true;
}

// major.minor.build as the installer packs it.
uint32_t packed_version(const char* text) {
  const uint32_t major = static_cast<uint32_t>(strtoul(text, const_cast<char**>(&text), 10));
  const uint32_t minor =
      *text == '.' ? static_cast<uint32_t>(strtoul(text + 1, const_cast<char**>(&text), 10)) : 0;
  const uint32_t build = *text == '.' ? static_cast<uint32_t>(strtoul(text + 1, nullptr, 10)) : 0;
  return (major & 0xFF) << 24 | (minor & 0xFF) << 16 | (build & 0xFFFF);
}

bool write_source_list(const installer_session* session, registry_text* registry,
                       const char* product) {
  g_autofree char* list = g_strconcat(product, "\\SourceList", nullptr);
  g_autofree char* net = g_strconcat(list, "\\Net", nullptr);
  g_autofree char* media = g_strconcat(list, "\\Media", nullptr);
  g_autofree char* last = g_strconcat("n;1;", session->package_folder, nullptr);
  return registry_set_text(registry, list, "PackageName", session->package_name) &&
         registry_set(registry, list, "LastUsedSource", XP_REG_EXPAND_TEXT, last,
                      strlen(last) + 1) &&
         registry_set(registry, net, "1", XP_REG_EXPAND_TEXT, session->package_folder,
                      strlen(session->package_folder) + 1) &&
         registry_set_text(registry, media, "1", ";");
}

bool write_product(const installer_session* session, registry_text* registry, const char* packed) {
  g_autofree char* key = g_strconcat(PRODUCTS, packed, nullptr);
  g_autoptr(LibmsiSummaryInfo) summary = libmsi_summary_info_new(session->database, 0, nullptr);
  const char* code =
      summary ? libmsi_summary_info_get_string(summary, LIBMSI_PROPERTY_UUID, nullptr) : nullptr;
  g_autofree char* package_code = g_strndup(code ? code : "", 38);
  char packed_code[33] = "";
  if (product_code_valid(package_code)) product_code_pack(package_code, packed_code);
  const char* language = session_property(session, "ProductLanguage");
  return registry_set_text(registry, key, "ProductName",
                           session_property(session, "ProductName")) &&
         registry_set_text(registry, key, "PackageCode", packed_code) &&
         registry_set_number(registry, key, "Language",
                             static_cast<uint32_t>(strtoul(language, nullptr, 10))) &&
         registry_set_number(registry, key, "Version",
                             packed_version(session_property(session, "ProductVersion"))) &&
         registry_set_number(registry, key, "Assignment", session->per_user ? 0 : 1) &&
         write_source_list(session, registry, key);
}

char* uninstall_key(const char* code, bool is_64_bit) {
  return g_strconcat("HKEY_LOCAL_MACHINE\\SOFTWARE\\", is_64_bit ? "" : "WOW6432Node\\", UNINSTALL,
                     code, nullptr);
}

bool write_uninstall(const installer_session* session, registry_text* registry, const char* code) {
  g_autofree char* key = uninstall_key(code, session->is_64_bit);
  g_autofree char* command = g_strconcat("MsiExec.exe /X", code, nullptr);
  const time_t now = time(nullptr);
  struct tm parts;
  char date[16];
  localtime_r(&now, &parts);
  strftime(date, sizeof date, "%Y%m%d", &parts);
  const struct {
    const char* name;
    const char* text;
  } rows[] = {
      {"DisplayName", session_property(session, "ProductName")},
      {"DisplayVersion", session_property(session, "ProductVersion")},
      {"Publisher", session_property(session, "Manufacturer")},
      {"InstallDate", date},
      {"InstallSource", session->package_folder},
      {"UninstallString", command},
  };
  for (const auto& row : rows)
    if (!registry_set_text(registry, key, row.name, row.text)) return false;
  const bool hidden = strcmp(session_property(session, "ARPSYSTEMCOMPONENT"), "1") == 0;
  return registry_set_number(registry, key, "WindowsInstaller", 1) &&
         (!hidden || registry_set_number(registry, key, "SystemComponent", 1));
}

bool write_file_list(const installer_session* session, registry_text* registry,
                     const char* packed) {
  g_autofree char* key = g_strconcat(FILE_LISTS, packed, nullptr);
  g_autoptr(GString) list = g_string_new(nullptr);
  GHashTableIter iterator;
  void *name, *path;
  g_hash_table_iter_init(&iterator, session->files);
  while (g_hash_table_iter_next(&iterator, &name, &path))
    g_string_append_len(list, static_cast<char*>(path),
                        static_cast<gssize>(strlen(static_cast<char*>(path))) + 1);
  return registry_set(registry, key, "Files", REGISTRY_MULTI_TEXT, list->str, list->len + 1);
}

bool installs_file(const installer_session* session, const char* path) {
  GHashTableIter iterator;
  void *name, *own;
  g_hash_table_iter_init(&iterator, session->files);
  while (g_hash_table_iter_next(&iterator, &name, &own))
    if (host_same_name(static_cast<char*>(own), strlen(static_cast<char*>(own)), path,
                       strlen(path)))
      return true;
  return false;
}

void list_files(const installer_session* session, const registry_text* registry, const char* packed,
                GPtrArray* doomed) {
  g_autofree char* key = g_strconcat(FILE_LISTS, packed, nullptr);
  registry_value list;
  if (registry_get(registry, key, "Files", &list) != XP_REGISTRY_OK) return;
  const char* const end = list.bytes.bytes + list.bytes.length;
  for (const char* path = list.bytes.bytes; path < end && *path; path += strlen(path) + 1) {
    char native[HOST_PATH_SIZE];
    g_autofree gunichar2* wide = g_utf8_to_utf16(path, -1, nullptr, nullptr, nullptr);
    if (wide && !installs_file(session, path) &&
        host_native_path(reinterpret_cast<const char16_t*>(wide), native, sizeof native) ==
            XP_FILE_OK)
      g_ptr_array_add(doomed, g_strdup(native));
  }
}

}  // namespace

bool installer_register(const installer_session* session, registry_text* registry) {
  const char* code = session_property(session, "ProductCode");
  const char* upgrade = session_property(session, "UpgradeCode");
  char packed[33], packed_upgrade[33];
  product_code_pack(code, packed);
  if (!write_rows(session, registry) || !write_product(session, registry, packed) ||
      !write_uninstall(session, registry, code) || !write_file_list(session, registry, packed))
    return false;
  if (!product_code_valid(upgrade)) return true;
  product_code_pack(upgrade, packed_upgrade);
  g_autofree char* key = g_strconcat(UPGRADE_CODES, packed_upgrade, nullptr);
  return registry_set_text(registry, key, packed, "");
}

void installer_unregister(const installer_session* session, registry_text* registry,
                          const char* packed, const char* upgrade_packed, GPtrArray* doomed) {
  list_files(session, registry, packed, doomed);
  // Packing a code twice gives the code again, braces and dashes apart.
  const uint8_t groups[] = {8, 4, 4, 4, 12};
  g_autoptr(GString) dashed = g_string_new("{");
  const char* digits = packed;
  for (const uint8_t group : groups) {
    g_string_append_len(dashed, digits, group);
    g_string_append_c(dashed, digits + group == packed + 32 ? '}' : '-');
    digits += group;
  }
  char plain[33];
  product_code_pack(dashed->str, plain);
  g_autofree char* code = g_strdup_printf("{%.8s-%.4s-%.4s-%.4s-%.12s}", plain, plain + 8,
                                          plain + 12, plain + 16, plain + 20);
  const char* const prefixes[] = {PRODUCTS, FILE_LISTS};
  for (const char* prefix : prefixes) {
    g_autofree char* key = g_strconcat(prefix, packed, nullptr);
    registry_remove_key(registry, key);
  }
  constexpr bool VIEWS[] = {true, false};
  for (const bool is_64_bit : VIEWS) {
    g_autofree char* key = uninstall_key(code, is_64_bit);
    registry_remove_key(registry, key);
  }
  g_autofree char* related = g_strconcat(UPGRADE_CODES, upgrade_packed, nullptr);
  registry_remove_value(registry, related, packed);
}
