// Certificate stores of the TLS table: the functions of CRYPT32, which is loaded when a
// certificate is first asked for and then stays.
#pragma once

#include "platform/windows/backend.h"

xp_tls_store* windows_open_store(uint32_t place, const char* name);
void windows_close_store(xp_tls_store* store);
bool windows_can_import();
bool windows_is_pfx(const void* bytes, uint32_t length);
xp_tls_store* windows_import_pfx(const void* bytes, uint32_t length, const char* password);
xp_tls_certificate* windows_find_certificate(xp_tls_store* store, const char* subject);
void windows_free_certificate(xp_tls_certificate* certificate);
