// The Windows Installer. Its library is an import of the program: the system has always had it,
// and every run that gets past its gates needs it.
#include <type_traits>

#include "object/xp_ref.h"
#include "platform/windows/backend.h"

// Order matters: these need windows.h.
#include <msi.h>
#include <msiquery.h>

namespace {

static_assert(XP_PRODUCT_ADVERTISED == int{INSTALLSTATE_ADVERTISED} &&
              XP_PRODUCT_DEFAULT == int{INSTALLSTATE_DEFAULT});
static_assert(std::is_same_v<xp_installer_handler, INSTALLUI_HANDLERA>,
              "a handler is given to the installer as it is");

// Owns one handle of the installer.
struct msi_handle {
  msi_handle() = default;
  ~msi_handle() {
    if (value) MsiCloseHandle(value);
  }
  msi_handle(const msi_handle&) = delete;
  msi_handle& operator=(const msi_handle&) = delete;

  MSIHANDLE value = 0;
};

uint32_t installer_open(const char16_t* path, xp_package* out) {
  MSIHANDLE database = 0;
  const UINT result = MsiOpenDatabaseW(
      windows_wide(path), reinterpret_cast<const wchar_t*>(MSIDBOPEN_READONLY), &database);
  if (result == ERROR_SUCCESS) *out = database;
  return result;
}

uint32_t first_row(xp_package package, const char* sql, msi_handle* record) {
  msi_handle view;
  UINT result = MsiDatabaseOpenViewA(static_cast<MSIHANDLE>(package), sql, &view.value);
  if (result == ERROR_SUCCESS) result = MsiViewExecute(view.value, 0);
  if (result == ERROR_SUCCESS) result = MsiViewFetch(view.value, &record->value);
  return result;
}

// Field 1 through UTF-16, for a process whose code page may lack characters of the text.
uint32_t read_wide_field(MSIHANDLE record, char* out, uint32_t size) {
  DWORD units = 0;
  wchar_t none;
  UINT result = MsiRecordGetStringW(record, 1, &none, &units);
  if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA) return result;
  const auto wide = xp_block<char16_t>::of(++units);
  if (!wide) return ERROR_OUTOFMEMORY;
  result = MsiRecordGetStringW(record, 1, windows_wide(wide.get()), &units);
  if (result != ERROR_SUCCESS) return result;
  const bool fits = xp_text_to_utf8(wide.get(), -1, out, static_cast<int32_t>(size)) > 0;
  return fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

uint32_t installer_query_text(xp_package package, const char* sql, char* out, uint32_t size) {
  if (size == 0) return ERROR_MORE_DATA;
  out[0] = 0;
  msi_handle record;
  UINT result = first_row(package, sql, &record);
  if (result != ERROR_SUCCESS) return result;
  DWORD length = size;
  result = windows_8bit_is_utf8() ? MsiRecordGetStringA(record.value, 1, out, &length)
                                  : read_wide_field(record.value, out, size);
  if (result != ERROR_SUCCESS) out[0] = 0;  // a cut text is of no use to anyone
  return result;
}

uint32_t installer_query_integer(xp_package package, const char* sql, int32_t* out) {
  msi_handle record;
  const UINT result = first_row(package, sql, &record);
  if (result == ERROR_SUCCESS) *out = MsiRecordGetInteger(record.value, 1);
  return result;
}

void installer_close(xp_package package) {
  MsiCloseHandle(static_cast<MSIHANDLE>(package));
}

// A product code is ASCII; whatever else stands there names no product.
int32_t installer_product_state(const char* product_code) {
  return MsiQueryProductStateA(product_code);
}

void installer_silence(xp_installer_handler handler, uint32_t filter) {
  MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  MsiSetExternalUIA(handler, filter, nullptr);
}

uint32_t installer_install(const char16_t* path, const char16_t* properties) {
  return MsiInstallProductW(windows_wide(path), windows_wide(properties));
}

}  // namespace

constinit const xp_installer_ops windows_installer = {.open = installer_open,
                                                      .query_text = installer_query_text,
                                                      .query_integer = installer_query_integer,
                                                      .close = installer_close,
                                                      .product_state = installer_product_state,
                                                      .silence = installer_silence,
                                                      .install = installer_install};
