// The Windows Installer of the stand-in computer. It opens real packages, decides as the real one
// does, puts files and registry rows into the machine folder and records the product. Custom
// actions, services, shortcuts and patches are not carried out.
//
// Results can be played instead: the text "InstallResults" of the rehearsal key lists one answer
// for each install to come, such as "1618,install". A number is answered and nothing installed;
// "install" installs, and "install+3010" installs and answers 3010 when that succeeded. Each
// install takes the first answer off the list; the last one stays for all that follow.
//
// The text "FilesInUse" of that key names a file that an install finds in use: the handler is
// asked, and when it says to go on the install needs a reboot.
#include <libmsi.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "platform/host/event_log.h"
#include "platform/host/host.h"
#include "platform/host/installer_session.h"
#include "platform/host/machine.h"

namespace {

constexpr char REHEARSAL_KEY[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ruvo\\Rehearsal";
constexpr char PRODUCTS[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\";
constexpr char UPGRADE_CODES[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\UpgradeCodes\\";
constexpr char UNINSTALL[] = "Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

// The 64-bit and the 32-bit view.
constexpr const char* VIEWS[] = {"", "WOW6432Node\\"};

enum product_states : int32_t { PRODUCT_INVALID_CODE = -2, PRODUCT_UNKNOWN = -1 };

// The handler's filter and message for files in use, and its answers.
constexpr uint32_t FILES_IN_USE_FILTER = 0x20;
constexpr uint32_t FILES_IN_USE_MESSAGE = 0x05000000;
constexpr int32_t ANSWER_CANCEL = 2;
constexpr int32_t ANSWER_IGNORE = 5;

// Events of the installer, as its source names and numbers them.
constexpr uint32_t EVENT_INSTALLED = 11707;
constexpr uint32_t EVENT_FAILED = 11708;

struct {
  xp_installer_handler handler;
  uint32_t filter;
} user;

// --- packages and their tables ---

bool native_path(const char16_t* path, char out[HOST_PATH_SIZE]) {
  return host_native_path(path, out, HOST_PATH_SIZE) == XP_FILE_OK;
}

uint32_t host_package_open(const char16_t* path, xp_package* out) {
  char native[HOST_PATH_SIZE];
  LibmsiDatabase* database = native_path(path, native) ? package_open(native) : nullptr;
  if (!database) return INSTALLER_OPEN_FAILED;
  *out = reinterpret_cast<xp_package>(database);
  return INSTALLER_SUCCESS;
}

uint32_t host_query_text(xp_package package, const char* sql, char* out, uint32_t size) {
  uint32_t code;
  g_autoptr(LibmsiRecord) row =
      package_first_row(reinterpret_cast<LibmsiDatabase*>(package), sql, &code);
  if (!row) return code;
  g_autofree char* text = libmsi_record_get_string(row, 1);
  const size_t length = text ? strlen(text) : 0;
  if (length >= size) return INSTALLER_MORE_DATA;
  memcpy(out, text ? text : "", length + 1);
  return INSTALLER_SUCCESS;
}

uint32_t host_query_integer(xp_package package, const char* sql, int32_t* out) {
  uint32_t code;
  g_autoptr(LibmsiRecord) row =
      package_first_row(reinterpret_cast<LibmsiDatabase*>(package), sql, &code);
  if (!row) return code;
  *out = libmsi_record_is_null(row, 1) ? INT32_MIN : libmsi_record_get_int(row, 1);
  return INSTALLER_SUCCESS;
}

void host_package_close(xp_package package) {
  if (package) g_object_unref(reinterpret_cast<LibmsiDatabase*>(package));
}

// --- products ---

// A product that only the installer's own list knows is advertised; an installed one is also in
// the list of programs that can be removed.
int32_t find_product(const registry_text* registry, const char* code) {
  if (!product_code_valid(code)) return PRODUCT_INVALID_CODE;
  char packed[33];
  product_code_pack(code, packed);
  g_autofree char* product = g_strconcat(PRODUCTS, packed, nullptr);
  if (!registry_has_key(registry, product)) return PRODUCT_UNKNOWN;
  for (const char* view : VIEWS) {
    g_autofree char* key =
        g_strconcat("HKEY_LOCAL_MACHINE\\SOFTWARE\\", view, UNINSTALL, code, nullptr);
    if (registry_has_key(registry, key)) return XP_PRODUCT_DEFAULT;
  }
  return XP_PRODUCT_ADVERTISED;
}

int32_t host_product_state(const char* product_code) {
  registry_text registry;
  return registry_load(&registry) ? find_product(&registry, product_code) : PRODUCT_UNKNOWN;
}

void host_silence(xp_installer_handler handler, uint32_t filter) {
  user = {.handler = handler, .filter = filter};
}

// --- one install ---

struct outcome {
  uint32_t result;
  const char* reason;  // of a failure, for the event log
};

// Takes the next answer off the list; false when there is no list. The text is "install" where
// the list says nothing.
bool take_played(char** out) {
  registry_edit edit;
  host_buffer list;
  *out = nullptr;
  if (!registry_edit_begin(&edit) ||
      !registry_get_text(&edit.now, REHEARSAL_KEY, "InstallResults", &list))
    return false;
  g_auto(GStrv) answers = g_strsplit_set(list.bytes, ", ", -1);
  GString* rest = g_string_new(nullptr);
  for (char** answer = answers; *answer; answer++) {
    if (!**answer) continue;
    if (!*out) {
      *out = g_strdup(*answer);
      continue;
    }
    if (rest->len) g_string_append_c(rest, ',');
    g_string_append(rest, *answer);
  }
  const bool saved =
      !rest->len || (registry_set_text(&edit.now, REHEARSAL_KEY, "InstallResults", rest->str) &&
                     registry_edit_save(&edit));
  g_string_free(rest, true);
  return saved && *out;
}

// Opens the package into the session: its database, its file's name and folder.
uint32_t open_package(installer_session* session, const char16_t* path) {
  char native[HOST_PATH_SIZE];
  char16_t full[HOST_PATH_SIZE];
  if (!native_path(path, native) || access(native, R_OK) != 0) return INSTALLER_PACKAGE_OPEN_FAILED;
  session->database = package_open(native);
  if (!session->database) return INSTALLER_PACKAGE_INVALID;
  const uint32_t length = host_full_path(path, full, HOST_PATH_SIZE);
  if (length == 0 || length >= HOST_PATH_SIZE) return INSTALLER_PACKAGE_OPEN_FAILED;
  g_autofree char* name = g_utf16_to_utf8(reinterpret_cast<const gunichar2*>(full),
                                          static_cast<glong>(length), nullptr, nullptr, nullptr);
  const char* slash = name ? strrchr(name, '\\') : nullptr;
  if (!slash) return INSTALLER_PACKAGE_OPEN_FAILED;
  session->package_name = g_strdup(slash + 1);
  session->package_folder = g_strndup(name, static_cast<size_t>(slash + 1 - name));
  return INSTALLER_SUCCESS;
}

// Whether the package in hand is the one that the product was installed from.
bool same_package(const installer_session* session, const registry_text* registry,
                  const char* product_key) {
  host_buffer recorded;
  char packed[33] = "";
  g_autoptr(LibmsiSummaryInfo) summary = libmsi_summary_info_new(session->database, 0, nullptr);
  const char* code =
      summary ? libmsi_summary_info_get_string(summary, LIBMSI_PROPERTY_UUID, nullptr) : nullptr;
  g_autofree char* first = g_strndup(code ? code : "", 38);
  if (product_code_valid(first)) product_code_pack(first, packed);
  return registry_get_text(registry, product_key, "PackageCode", &recorded) &&
         strcmp(recorded.bytes, packed) == 0;
}

// The source list must name the package, or a reinstall looks for the wrong file.
bool named_by_source_list(const installer_session* session, const registry_text* registry,
                          const char* product_key) {
  host_buffer recorded;
  g_autofree char* list = g_strconcat(product_key, "\\SourceList", nullptr);
  return !registry_get_text(registry, list, "PackageName", &recorded) ||
         host_same_name(recorded.bytes, recorded.length, session->package_name,
                        strlen(session->package_name));
}

// What kind of install this is, and whether it may be. *nothing is set when there is nothing to do.
outcome decide(const installer_session* session, const registry_text* registry, bool* nothing) {
  const char* code = session_property(session, "ProductCode");
  const bool reinstall = *session_property(session, "REINSTALL");
  const bool recache = strpbrk(session_property(session, "REINSTALLMODE"), "vV");
  *nothing = false;
  if (!product_code_valid(code)) return {INSTALLER_PACKAGE_INVALID, "it has no product code"};
  if (find_product(registry, code) != XP_PRODUCT_DEFAULT) {
    *nothing = reinstall;  // features that aren't there aren't reinstalled
    return {INSTALLER_SUCCESS, nullptr};
  }
  char packed[33];
  product_code_pack(code, packed);
  g_autofree char* key = g_strconcat(PRODUCTS, packed, nullptr);
  if (same_package(session, registry, key)) return {INSTALLER_SUCCESS, nullptr};
  if (!reinstall || !recache)
    return {INSTALLER_PRODUCT_VERSION, "another package of this product is installed"};
  if (!named_by_source_list(session, registry, key))
    return {INSTALLER_FAILURE, "the product's source list names another package"};
  return {INSTALLER_SUCCESS, nullptr};
}

bool conditions_hold(const installer_session* session) {
  const package_table conditions(session->database, "SELECT `Condition` FROM `LaunchCondition`");
  for (uint32_t i = 0; i < conditions.count(); i++)
    if (!session_condition(session, conditions.text(i, 0))) return false;
  return true;
}

outcome ask_about_files(const registry_text* registry) {
  host_buffer name;
  if (!registry_get_text(registry, REHEARSAL_KEY, "FilesInUse", &name))
    return {INSTALLER_SUCCESS, nullptr};
  int32_t answer = ANSWER_IGNORE;
  if (user.handler && (user.filter & FILES_IN_USE_FILTER))
    answer = user.handler(nullptr, FILES_IN_USE_MESSAGE, name.bytes);
  if (answer == ANSWER_IGNORE) return {INSTALLER_REBOOT_REQUIRED, nullptr};
  if (answer == ANSWER_CANCEL) return {INSTALLER_USER_EXIT, "files are in use"};
  // 0 says "not handled": the installer then goes on by itself and leaves the rest to a reboot.
  if (answer == 0) return {INSTALLER_REBOOT_REQUIRED, nullptr};
  return {INSTALLER_FAILURE, "files are in use"};
}

// --- older products that this one replaces ---

struct upgrade_row {
  const installer_session* session;
  registry_text* registry;
  const package_table* table;
  uint32_t row;
  GPtrArray* found;  // packed codes
};

void version_parts(const char* text, long out[3]) {
  for (int i = 0; i < 3; i++) {
    char* end = nullptr;
    out[i] = strtol(text, &end, 10);
    text = *end == '.' ? end + 1 : end;
  }
}

int compare_with(uint32_t packed, const char* text) {
  const long own[3] = {static_cast<long>(packed >> 24), static_cast<long>(packed >> 16 & 0xFF),
                       static_cast<long>(packed & 0xFFFF)};
  long other[3];
  version_parts(text, other);
  for (int i = 0; i < 3; i++)
    if (own[i] != other[i]) return own[i] < other[i] ? -1 : 1;
  return 0;
}

// Whether a version lies between the bounds of a row of the Upgrade table.
bool in_range(const package_table* table, uint32_t row, uint32_t version) {
  constexpr int32_t WITH_MINIMUM = 0x100, WITH_MAXIMUM = 0x200;
  const int32_t attributes = table->number(row, 3);
  const char* minimum = table->text(row, 1);
  const char* maximum = table->text(row, 2);
  if (*minimum) {
    const int order = compare_with(version, minimum);
    if (order < 0 || (order == 0 && !(attributes & WITH_MINIMUM))) return false;
  }
  if (*maximum) {
    const int order = compare_with(version, maximum);
    if (order > 0 || (order == 0 && !(attributes & WITH_MAXIMUM))) return false;
  }
  return true;
}

bool note_related(void* context, const char* packed, const registry_value*) {
  const auto* upgrade = static_cast<const upgrade_row*>(context);
  uint32_t version = 0;
  char own[33];
  product_code_pack(session_property(upgrade->session, "ProductCode"), own);
  if (strlen(packed) != 32 || g_ascii_strcasecmp(packed, own) == 0) return true;
  g_autofree char* key = g_strconcat(PRODUCTS, packed, nullptr);
  if (registry_has_key(upgrade->registry, key) &&
      registry_get_number(upgrade->registry, key, "Version", &version) &&
      in_range(upgrade->table, upgrade->row, version))
    g_ptr_array_add(upgrade->found, g_strdup(packed));
  return true;
}

// Goes through the Upgrade table: products in a row's range are set as the row's property, and
// removed unless the row only looks. A launch condition may then refuse.
void remove_related(installer_session* session, registry_text* registry, GPtrArray* doomed) {
  constexpr int32_t ONLY_DETECT = 0x2;
  const package_table table(session->database,
                            "SELECT `UpgradeCode`, `VersionMin`, `VersionMax`, `Attributes`, "
                            "`ActionProperty` FROM `Upgrade`");
  for (uint32_t i = 0; i < table.count(); i++) {
    if (!product_code_valid(table.text(i, 0))) continue;
    char packed[33];
    product_code_pack(table.text(i, 0), packed);
    g_autofree char* key = g_strconcat(UPGRADE_CODES, packed, nullptr);
    g_autoptr(GPtrArray) found = g_ptr_array_new_with_free_func(g_free);
    upgrade_row row = {session, registry, &table, i, found};
    (void)registry_each_value(registry, key, note_related, &row);  // out of memory finds none
    for (uint32_t k = 0; k < found->len; k++) {
      const auto* related = static_cast<const char*>(found->pdata[k]);
      if (*table.text(i, 4)) session_set(session, table.text(i, 4), related);
      if (!(table.number(i, 3) & ONLY_DETECT))
        installer_unregister(session, registry, related, packed, doomed);
    }
  }
}

// --- carrying it out ---

void delete_all(const GPtrArray* doomed) {
  for (uint32_t i = 0; i < doomed->len; i++)
    unlink(static_cast<const char*>(doomed->pdata[i]));
}

// Files first, then the registry in one step; a failure of the second takes the first back.
outcome carry_out(installer_session* session, registry_edit* edit) {
  const char* reason = nullptr;
  g_autoptr(GPtrArray) doomed = g_ptr_array_new_with_free_func(g_free);
  if (!session_resolve(session)) return {INSTALLER_FAILURE, "its folders go in circles"};
  remove_related(session, &edit->now, doomed);
  if (!conditions_hold(session)) return {INSTALLER_FAILURE, "a launch condition doesn't hold"};
  installer_files* files = installer_files_put(session, &reason);
  if (!files) return {INSTALLER_FAILURE, reason};
  if (!installer_register(session, &edit->now) || !registry_edit_save(edit)) {
    installer_files_undo(files);
    return {INSTALLER_FAILURE, "the registry can't be written"};
  }
  installer_files_keep(files);
  delete_all(doomed);
  return {INSTALLER_SUCCESS, nullptr};
}

outcome run_install(installer_session* session, const char16_t* path, const char* properties) {
  registry_edit edit;
  bool nothing = false;
  if (!session_read_command_line(session, properties))
    return {INSTALLER_INVALID_COMMAND_LINE, "the property text is malformed"};
  const uint32_t opened = open_package(session, path);
  if (opened != INSTALLER_SUCCESS) return {opened, "the package can't be opened"};
  // The lock is held to the end: two installs follow one another.
  if (!registry_edit_begin(&edit)) return {INSTALLER_FAILURE, "the registry can't be read"};
  session_read_package(session);
  const outcome decided = decide(session, &edit.now, &nothing);
  if (decided.result != INSTALLER_SUCCESS || nothing) return decided;
  if (find_product(&edit.now, session_property(session, "ProductCode")) == XP_PRODUCT_DEFAULT)
    session_set(session, "Installed", "1");
  const outcome asked = ask_about_files(&edit.now);
  if (asked.reason) return asked;
  const outcome done = carry_out(session, &edit);
  return done.result == INSTALLER_SUCCESS ? asked : done;
}

// As the installer itself records what it did. A lost record fails nothing.
void record(const installer_session* session, const outcome* done) {
  const char* name = session_property(session, "ProductName");
  if (!*name && session->package_name) name = session->package_name;
  if (!done->reason) {
    g_autofree char* text = g_strdup_printf("Product: %s -- Installation completed with result %u.",
                                            name, done->result);
    (void)host_record_event("information", EVENT_INSTALLED, "MsiInstaller", text);
  } else {
    g_autofree char* text = g_strdup_printf(
        "Product: %s -- Installation failed with result %u: %s.", name, done->result, done->reason);
    (void)host_record_event("error", EVENT_FAILED, "MsiInstaller", text);
  }
}

// The result that a played answer stands for; true when it is to be answered as it is.
bool played_alone(const char* answer, uint32_t* result) {
  const char* number = answer;
  const bool install = g_str_has_prefix(answer, "install");
  if (install) number = answer[7] == '+' ? answer + 8 : "0";
  *result = static_cast<uint32_t>(strtoul(number, nullptr, 0));
  return !install;
}

uint32_t host_install(const char16_t* path, const char16_t* properties) {
  g_autofree char* text = g_utf16_to_utf8(reinterpret_cast<const gunichar2*>(properties), -1,
                                          nullptr, nullptr, nullptr);
  g_autofree char* answer = nullptr;
  uint32_t played = INSTALLER_SUCCESS;
  if (take_played(&answer) && played_alone(answer, &played)) return played;
  installer_session session;
  const outcome done = run_install(&session, path, text ? text : "");
  record(&session, &done);
  return done.result == INSTALLER_SUCCESS ? played : done.result;
}

}  // namespace

constinit const xp_installer_ops host_installer = {.open = host_package_open,
                                                   .query_text = host_query_text,
                                                   .query_integer = host_query_integer,
                                                   .close = host_package_close,
                                                   .product_state = host_product_state,
                                                   .silence = host_silence,
                                                   .install = host_install};
