#include "platform/host/installer_package.h"

#include <stdlib.h>
#include <string.h>

#include "platform/host/installer_session.h"

namespace {

LibmsiQuery* run_query(LibmsiDatabase* database, const char* sql) {
  LibmsiQuery* query = libmsi_query_new(database, sql, nullptr);
  if (query && libmsi_query_execute(query, nullptr, nullptr)) return query;
  g_clear_object(&query);
  return nullptr;
}

char** row_texts(LibmsiRecord* record) {
  const guint count = libmsi_record_get_field_count(record);
  char** texts = g_new0(char*, count + 1);
  for (guint i = 0; i < count; i++) {
    texts[i] = libmsi_record_get_string(record, i + 1);
    if (!texts[i]) texts[i] = g_strdup("");
  }
  return texts;
}

}  // namespace

LibmsiDatabase* package_open(const char* native) {
  // The libraries complain to standard error about every file that isn't what it says.
  g_log_set_default_handler([](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
  if (!session_try_reading(native)) return nullptr;
  return libmsi_database_new(native, LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
}

LibmsiRecord* package_first_row(LibmsiDatabase* database, const char* sql, uint32_t* code) {
  g_autoptr(LibmsiQuery) query = run_query(database, sql);
  *code = INSTALLER_BAD_QUERY_SYNTAX;
  if (!query) return nullptr;
  LibmsiRecord* row = libmsi_query_fetch(query, nullptr);
  *code = row ? INSTALLER_SUCCESS : INSTALLER_NO_MORE_ITEMS;
  libmsi_query_close(query, nullptr);
  return row;
}

package_table::package_table(LibmsiDatabase* database, const char* sql)
    : rows(g_ptr_array_new_with_free_func(reinterpret_cast<GDestroyNotify>(g_strfreev))) {
  g_autoptr(LibmsiQuery) query = run_query(database, sql);
  while (LibmsiRecord* record = query ? libmsi_query_fetch(query, nullptr) : nullptr) {
    g_ptr_array_add(rows, row_texts(record));
    g_object_unref(record);
  }
}

package_table::~package_table() {
  g_ptr_array_unref(rows);
}

int32_t package_table::number(uint32_t row, uint32_t column) const {
  return static_cast<int32_t>(strtol(text(row, column), nullptr, 10));
}

bool product_code_valid(const char* code) {
  constexpr char SHAPE[] = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  if (strlen(code) != sizeof SHAPE - 1) return false;
  for (size_t i = 0; i < sizeof SHAPE - 1; i++)
    if (SHAPE[i] == 'x' ? !g_ascii_isxdigit(code[i]) : code[i] != SHAPE[i]) return false;
  return true;
}

void product_code_pack(const char* code, char out[33]) {
  // Where each digit comes from: the first three groups backwards, then pairs turned round.
  constexpr uint8_t SOURCE[32] = {8,  7,  6,  5,  4,  3,  2,  1,  13, 12, 11, 10, 18, 17, 16, 15,
                                  21, 20, 23, 22, 26, 25, 28, 27, 30, 29, 32, 31, 34, 33, 36, 35};
  for (int i = 0; i < 32; i++)
    out[i] = g_ascii_toupper(code[SOURCE[i]]);
  out[32] = 0;
}
