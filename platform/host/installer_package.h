// An installer package as rows of text, by libmsi.
//
// The files installer_*.cpp are the stand-in computer's installer service. They work with GLib,
// as the libraries do that they call; what crosses the seam comes from the process heap.
#pragma once

#include <libmsi.h>

#include "platform/installer.h"

G_DEFINE_AUTOPTR_CLEANUP_FUNC(LibmsiRecord, g_object_unref)
G_DEFINE_AUTOPTR_CLEANUP_FUNC(LibmsiQuery, g_object_unref)
G_DEFINE_AUTOPTR_CLEANUP_FUNC(LibmsiSummaryInfo, g_object_unref)

// Results of the installer, by their names in Windows.
enum : uint32_t {
  INSTALLER_SUCCESS = 0,
  INSTALLER_OPEN_FAILED = 110,
  INSTALLER_MORE_DATA = 234,
  INSTALLER_NO_MORE_ITEMS = 259,
  INSTALLER_USER_EXIT = 1602,
  INSTALLER_FAILURE = 1603,
  INSTALLER_BAD_QUERY_SYNTAX = 1615,
  INSTALLER_PACKAGE_OPEN_FAILED = 1619,
  INSTALLER_PACKAGE_INVALID = 1620,
  INSTALLER_FUNCTION_FAILED = 1627,
  INSTALLER_PRODUCT_VERSION = 1638,
  INSTALLER_INVALID_COMMAND_LINE = 1639,
  INSTALLER_REBOOT_REQUIRED = 3010,
};

// Opens a package by its Linux path; null when it is missing or no package. A child process reads
// it first from end to end: a package that is built to crash the library only takes the child
// along.
LibmsiDatabase* package_open(const char* native);
// The first row that a query gives; the caller unrefs it. `code` tells why there is none.
LibmsiRecord* package_first_row(LibmsiDatabase* database, const char* sql, uint32_t* code);

// A table (or columns of it) read as a whole: rows of texts, a null field as an empty one. A table
// that isn't there has no rows.
struct package_table {
  package_table(LibmsiDatabase* database, const char* sql);
  package_table(const package_table&) = delete;
  package_table& operator=(const package_table&) = delete;
  ~package_table();

  uint32_t count() const { return rows->len; }
  const char* text(uint32_t row, uint32_t column) const {
    return static_cast<char**>(rows->pdata[row])[column];
  }
  int32_t number(uint32_t row, uint32_t column) const;

  GPtrArray* rows;
};

// Product codes. True for "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" of hexadecimal digits.
bool product_code_valid(const char* code);
// The form in which the registry keeps a valid code: 32 digits and a NUL.
void product_code_pack(const char* code, char out[33]);
