// Where the folders, components and files of a package go.
#include <string.h>

#include "platform/host/installer_session.h"

namespace {

constexpr int MOST_DEPTH = 64;  // of folders in folders
constexpr int COMPONENT_64_BIT = 0x100;

struct folder_row {
  const char* parent;
  const char* names;  // target or target:source, each short|long
};

// The long name of "short|long:source".
char* target_name(const char* names) {
  const size_t length = strcspn(names, ":");
  g_autofree char* target = g_strndup(names, length);
  const char* bar = strchr(target, '|');
  return g_strdup(bar ? bar + 1 : target);
}

char* with_backslash(const char* path) {
  const size_t length = strlen(path);
  return length > 0 && path[length - 1] == '\\' ? g_strdup(path) : g_strconcat(path, "\\", nullptr);
}

// The path of a folder of the table; null for a circle or an unknown folder. A property of the
// folder's name (a known folder's, or one that the user chose) stands above the table.
const char* resolve_folder(installer_session* session, GHashTable* table, const char* key,
                           int depth) {
  if (const void* known = g_hash_table_lookup(session->folders, key))
    return static_cast<const char*>(known);
  const auto* row = static_cast<const folder_row*>(g_hash_table_lookup(table, key));
  if (depth > MOST_DEPTH || !row) return nullptr;
  const char* chosen = session_property(session, key);
  char* path = nullptr;
  if (*chosen) {
    path = with_backslash(chosen);
  } else if (!*row->parent || strcmp(row->parent, key) == 0) {
    path = with_backslash(session_property(session, "ROOTDRIVE"));
  } else {
    const char* parent = resolve_folder(session, table, row->parent, depth + 1);
    if (!parent) return nullptr;
    g_autofree char* name = target_name(row->names);
    path = strcmp(name, ".") == 0 || !*name ? g_strdup(parent)
                                            : g_strconcat(parent, name, "\\", nullptr);
  }
  g_hash_table_replace(session->folders, g_strdup(key), path);
  return path;
}

bool resolve_folders(installer_session* session) {
  const package_table table(
      session->database, "SELECT `Directory`, `Directory_Parent`, `DefaultDir` FROM `Directory`");
  g_autoptr(GHashTable) rows = g_hash_table_new_full(g_str_hash, g_str_equal, nullptr, g_free);
  for (uint32_t i = 0; i < table.count(); i++) {
    auto* row = g_new(folder_row, 1);
    *row = {table.text(i, 1), table.text(i, 2)};
    g_hash_table_replace(rows, const_cast<char*>(table.text(i, 0)), row);
  }
  for (uint32_t i = 0; i < table.count(); i++)
    if (!resolve_folder(session, rows, table.text(i, 0), 0)) return false;
  return true;
}

// Levels of features can be changed by conditions; the last that holds counts.
int32_t feature_level(const installer_session* session, const package_table* conditions,
                      const char* feature, int32_t level) {
  for (uint32_t i = 0; i < conditions->count(); i++)
    if (strcmp(conditions->text(i, 0), feature) == 0 &&
        session_condition(session, conditions->text(i, 2)))
      level = conditions->number(i, 1);
  return level;
}

// The components of all features that the install level takes in.
GHashTable* chosen_components(const installer_session* session) {
  const package_table features(session->database, "SELECT `Feature`, `Level` FROM `Feature`");
  const package_table conditions(session->database,
                                 "SELECT `Feature_`, `Level`, `Condition` FROM `Condition`");
  const package_table members(session->database,
                              "SELECT `Feature_`, `Component_` FROM `FeatureComponents`");
  const char* text = session_property(session, "INSTALLLEVEL");
  const auto most = static_cast<int32_t>(*text ? g_ascii_strtoll(text, nullptr, 10) : 1);
  g_autoptr(GHashTable) installed = g_hash_table_new(g_str_hash, g_str_equal);
  for (uint32_t i = 0; i < features.count(); i++) {
    const int32_t level =
        feature_level(session, &conditions, features.text(i, 0), features.number(i, 1));
    if (level > 0 && level <= most)
      g_hash_table_add(installed, const_cast<char*>(features.text(i, 0)));
  }
  GHashTable* chosen = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
  for (uint32_t i = 0; i < members.count(); i++)
    if (g_hash_table_contains(installed, members.text(i, 0)))
      g_hash_table_add(chosen, g_strdup(members.text(i, 1)));
  return chosen;
}

void resolve_components(installer_session* session) {
  g_autoptr(GHashTable) chosen = chosen_components(session);
  const package_table table(
      session->database,
      "SELECT `Component`, `Directory_`, `Attributes`, `Condition` FROM `Component`");
  for (uint32_t i = 0; i < table.count(); i++) {
    if (!g_hash_table_contains(chosen, table.text(i, 0)) ||
        !session_condition(session, table.text(i, 3)))
      continue;
    auto* component = g_new(session_component, 1);
    *component = {g_strdup(table.text(i, 1)), (table.number(i, 2) & COMPONENT_64_BIT) != 0};
    g_hash_table_replace(session->components, g_strdup(table.text(i, 0)), component);
  }
}

bool resolve_files(installer_session* session) {
  const package_table table(session->database,
                            "SELECT `File`, `Component_`, `FileName` FROM `File`");
  for (uint32_t i = 0; i < table.count(); i++) {
    const auto* component = static_cast<const session_component*>(
        g_hash_table_lookup(session->components, table.text(i, 1)));
    if (!component) continue;
    const void* folder = g_hash_table_lookup(session->folders, component->folder);
    if (!folder) return false;
    g_autofree char* name = target_name(table.text(i, 2));
    g_hash_table_replace(session->files, g_strdup(table.text(i, 0)),
                         g_strconcat(static_cast<const char*>(folder), name, nullptr));
  }
  return true;
}

}  // namespace

bool session_resolve(installer_session* session) {
  if (!resolve_folders(session)) return false;
  resolve_components(session);
  return resolve_files(session);
}
