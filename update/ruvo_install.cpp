#include "update/ruvo_install.h"

#include <string.h>

#include "cmdline/xp_log.h"
#include "object/xp_ref.h"
#include "update/ruvo_events.h"
#include "update/ruvo_installed.h"
#include "update/ruvo_properties.h"
#include "update/ruvo_registry.h"
#include "update/ruvo_state.h"

namespace {

constexpr char QUERY_FEATURE[] = "SELECT Feature FROM Feature WHERE Feature='FEAT_TALLYPORT'";
constexpr char QUERY_PRODUCT[] = "SELECT Value FROM Property WHERE Property='ProductCode'";
constexpr char QUERY_REPLACED[] =
    "SELECT Value FROM Property WHERE Property='PROP_UPGRADE_PRODUCTID'";
constexpr char QUERY_UPGRADE[] = "SELECT UpgradeCode FROM Upgrade";
constexpr char QUERY_VERSION[] = "SELECT Value FROM Property WHERE Property='PROP_VERSION'";

constexpr char PRODUCT_FILE[] = "c:\\windows\\tallyp32.exe";  // tells which version really runs
constexpr uint32_t SECOND_ATTEMPT_WAIT = 10000;               // milliseconds

constexpr uint32_t FILES_IN_USE_FILTER = 0x20;
constexpr uint32_t FILES_IN_USE_MESSAGE = 5;
constexpr int32_t ANSWER_IGNORE = 5;

// What is read of a package before its database is closed.
struct package_facts {
  bool has_feature;  // carries the client feature, and may take a second attempt
  char packed[33];   // packed product code, empty when there is none
  const char16_t* properties;
};

// The first field of the query's first row, empty on any failure.
void query_text(xp_package database, const char* query, char* out, uint32_t size) {
  if (xp_platform->installer->query_text(database, query, out, size) != 0) out[0] = 0;
}

}  // namespace

// ---- which product, which version ------------------------------------------------------------

bool ruvo_msi_product_known(xp_package database, const char* query) {
  char code[256];
  query_text(database, query, code, sizeof(code));
  if (!code[0]) return false;
  const int32_t state = xp_platform->installer->product_state(code);
  return state == XP_PRODUCT_ADVERTISED || state == XP_PRODUCT_DEFAULT;
}

namespace {

// A package names the place of the installed version by one of two rows of its Registry table.
struct version_row {
  const char* key_query;
  const char* root_query;
};

constexpr version_row version_rows[] = {
    {"SELECT `Key` FROM Registry WHERE Registry='REG2_VERSION'",
     "SELECT `Root` FROM Registry WHERE Registry='REG2_VERSION'"},
    {"SELECT `Key` FROM Registry WHERE Registry='REG_VERSION'",
     "SELECT `Root` FROM Registry WHERE Registry='REG_VERSION'"},
};

constexpr int32_t ROOT_CURRENT_USER = 1;

void read_installed_version(xp_package database, const version_row& row, char* out, uint32_t size) {
  out[0] = 0;
  char key[128];
  query_text(database, row.key_query, key, sizeof(key));
  if (!key[0]) return;
  int32_t root = 0;
  if (xp_platform->installer->query_integer(database, row.root_query, &root) != 0) root = 0;
  const auto hive = root == ROOT_CURRENT_USER ? XP_HIVE_CURRENT_USER : XP_HIVE_LOCAL_MACHINE;
  (void)ruvo_read_key_text(hive, key, "version", out, size);
}

}  // namespace

bool ruvo_msi_version_check(xp_package database, int32_t mode) {
  if (mode == RUVO_MODE_ALWAYS) return true;
  char installed[64] = {};
  for (const version_row& row : version_rows)
    if (!installed[0]) read_installed_version(database, row, installed, sizeof(installed));
  if (!installed[0]) return true;
  if (mode == RUVO_MODE_ABSENT) return false;
  char declared[64];
  query_text(database, QUERY_VERSION, declared, sizeof(declared));
  if (!declared[0]) return true;
  const int32_t order = xp_text_compare_bytes(declared, -1, installed, -1);
  return mode == RUVO_MODE_NEWER ? order > 0 : order != 0;
}

// The form in which the Windows Installer keeps product codes in the registry: without braces and
// dashes, the first three groups reversed, the pairs of the last two swapped. `code` is "{8-4-4-
// 4-12}"; a text that ends early gives the empty text.
static void pack_product_code(const char* code, char out[33]) {
  // Where in the code each of the 32 characters stands.
  static constexpr uint8_t source[32] = {8,  7,  6,  5,  4,  3,  2,  1,  13, 12, 11,
                                         10, 18, 17, 16, 15, 21, 20, 23, 22, 26, 25,
                                         28, 27, 30, 29, 32, 31, 34, 33, 36, 35};
  constexpr int32_t WHOLE_LENGTH = 38;
  out[0] = 0;
  if (xp_text_length(code) < WHOLE_LENGTH) return;
  for (int i = 0; i < 32; i++)
    out[i] = code[source[i]];
  out[32] = 0;
}

// ---- the source list -------------------------------------------------------------------------

// The Windows Installer refuses to reinstall from a package of another file name than the one it
// remembers, so the name it remembers is brought up to date.
static void update_package_name(xp_registry_key key, const xp_path* path) {
  char remembered[256];
  uint32_t type = XP_REG_NONE;
  if (!ruvo_read_text(key, "PackageName", &type, remembered, sizeof(remembered)) ||
      type != XP_REG_TEXT)
    return;
  const char* slash = strrchr(path->text, '\\');
  char name[64];
  const int32_t length = xp_fmt_print(name, sizeof(name), "%s", slash ? slash + 1 : path->text);
  if (xp_text_compare_nocase(remembered, -1, name, -1) == 0) return;
  (void)xp_log(nullptr, RUVO_LOG_OUTCOME, RUVO_EVENT_PACKAGE_NAME,
               "changing package name from %s to %s", remembered, name);
  (void)xp_platform->registry->write(key, "PackageName", XP_REG_TEXT, name,
                                     static_cast<uint32_t>(length) + 1);
}

static void update_source_list(const char* packed, const xp_path* path) {
  if (!packed[0]) return;
  char place[256];
  xp_fmt_print(place, sizeof(place), "SOFTWARE\\Classes\\Installer\\Products\\%s\\SourceList",
               packed);
  const xp_registry_key key =
      ruvo_open_key(XP_HIVE_LOCAL_MACHINE, place, XP_KEY_QUERY_VALUE | XP_KEY_SET_VALUE);
  if (!key) return;
  update_package_name(key, path);
  xp_platform->registry->close(key);
}

// ---- installing ------------------------------------------------------------------------------

// Reads what the install needs to know of the package. False when the package decides that no
// install is necessary.
static bool read_package(xp_package database, int32_t mode, package_facts* facts) {
  char text[64];
  query_text(database, QUERY_FEATURE, text, sizeof(text));
  facts->has_feature = text[0] != 0;
  query_text(database, QUERY_PRODUCT, text, sizeof(text));
  pack_product_code(text, facts->packed);
  if (ruvo_msi_product_known(database, QUERY_PRODUCT)) {
    facts->properties = ruvo_properties_reinstall;
  } else if (ruvo_msi_product_known(database, QUERY_REPLACED) ||
             ruvo_msi_product_known(database, QUERY_UPGRADE)) {
    facts->properties = ruvo_properties_replacing;
  } else {
    facts->properties = ruvo_properties_first;
    return true;
  }
  return ruvo_msi_version_check(database, mode);
}

// Whether the file on disk still reports another version than the one wanted, after an install
// that reported success.
static bool was_thwarted(const xp_str* version) {
  xp_file_version found;
  if (!xp_platform->system->file_version(PRODUCT_FILE, &found)) return false;
  char text[32];
  xp_fmt_print(text, sizeof(text), "%u.%u.%u.%u", found.part[0], found.part[1], found.part[2],
               found.part[3]);
  return xp_str_is_empty(version) ||
         xp_text_compare_nocase(version->text, version->length, text, -1) != 0;
}

static bool is_success(int32_t result) {
  return result == RUVO_OK || result == RUVO_REBOOT_NEEDED;
}

static int32_t install_silently(const char16_t* path, const char16_t* properties,
                                const package_facts* facts, const xp_str* version) {
  const xp_installer_ops* installer = xp_platform->installer;
  (void)xp_log(nullptr, RUVO_LOG_COURSE, RUVO_EVENT_INSTALLING,
               "starting install with properties: %ls", properties);
  installer->silence(ruvo_msi_ui_handler, FILES_IN_USE_FILTER);
  const auto result = static_cast<int32_t>(installer->install(path, properties));
  if (!facts->has_feature || !is_success(result) || !was_thwarted(version)) return result;
  (void)xp_log(nullptr, RUVO_LOG_COURSE, RUVO_EVENT_SECOND_ATTEMPT,
               "first attempt thwarted by MSI pretzel logic, trying again");
  xp_platform->clock->sleep(SECOND_ATTEMPT_WAIT);
  return static_cast<int32_t>(installer->install(path, properties));
}

static void log_outcome(int32_t result) {
  if (result == RUVO_OK)
    (void)xp_log(nullptr, RUVO_LOG_OUTCOME, RUVO_EVENT_INSTALLED, "install completed successfully");
  else if (result == RUVO_REBOOT_NEEDED)
    (void)xp_log(nullptr, RUVO_LOG_OUTCOME, RUVO_EVENT_INSTALLED_REBOOT,
                 "install completed successfully, reboot needed");
  else
    (void)xp_log(nullptr, RUVO_LOG_OUTCOME, RUVO_EVENT_INSTALL_FAILED,
                 "install failed with result %d", result);
}

int32_t ruvo_install(xp_path* path, xp_str* version, xp_array* properties, int32_t mode) {
  xp_block<char16_t> wide(xp_path_to_wide(path));
  if (!wide) {
    (void)xp_log(nullptr, RUVO_LOG_OUTCOME, RUVO_EVENT_OPERATION, "operation error");
    return RUVO_FAILED;
  }
  xp_package database = 0;
  if (const uint32_t code = xp_platform->installer->open(wide.get(), &database); code != 0) {
    (void)xp_log(nullptr, RUVO_LOG_OUTCOME, RUVO_EVENT_OPERATION, "failure to open installer");
    return static_cast<int32_t>(code);
  }
  package_facts facts;
  const bool necessary = read_package(database, mode, &facts);
  if (!necessary)
    (void)xp_log(nullptr, RUVO_LOG_COURSE, RUVO_EVENT_PACKAGE_NOT_NECESSARY,
                 "install not necessary");
  // The package must be closed before its install starts.
  xp_platform->installer->close(database);
  if (!necessary) return RUVO_NOT_NECESSARY;
  update_source_list(facts.packed, path);
  xp_block<char16_t> joined(ruvo_join_properties(facts.properties, properties));
  const int32_t result =
      install_silently(wide.get(), joined ? joined.get() : facts.properties, &facts, version);
  log_outcome(result);
  return result;
}

int32_t ruvo_msi_ui_handler(void*, uint32_t type, const char*) {
  return type >> 24 == FILES_IN_USE_MESSAGE ? ANSWER_IGNORE : 0;
}
