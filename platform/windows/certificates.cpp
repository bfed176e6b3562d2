#include "platform/windows/certificates.h"

// Order matters: this needs windows.h.
#include <wincrypt.h>

namespace {

static_assert(XP_TLS_STORE_MACHINE == (CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG |
                                       CERT_STORE_OPEN_EXISTING_FLAG) &&
              XP_TLS_STORE_SERVICE == (CERT_SYSTEM_STORE_SERVICES | CERT_STORE_READONLY_FLAG |
                                       CERT_STORE_OPEN_EXISTING_FLAG));

// Null functions where the library or one of them is missing.
struct certificate_functions {
  decltype(&CertOpenSystemStoreA) open_system_store;
  decltype(&CertOpenStore) open_store;
  decltype(&CertFindCertificateInStore) find;
  decltype(&CertFreeCertificateContext) free_context;
  decltype(&CertCloseStore) close_store;
  decltype(&PFXIsPFXBlob) is_pfx;
  decltype(&PFXImportCertStore) import_pfx;
};

HMODULE crypt32() {
  const HMODULE loaded = GetModuleHandleW(L"CRYPT32");
  return loaded ? loaded : windows_load(L"CRYPT32");
}

template <class Function>
void look_up(HMODULE library, const char* name, Function* function) {
  *function = windows_find<Function>(library, name);
}

// Looked up once; whoever comes first stores what all would.
const certificate_functions* functions() {
  static constinit certificate_functions found = {};
  static constinit bool looked_for = false;
  if (looked_for) return &found;
  const HMODULE library = crypt32();
  look_up(library, "CertOpenSystemStoreA", &found.open_system_store);
  look_up(library, "CertOpenStore", &found.open_store);
  look_up(library, "CertFindCertificateInStore", &found.find);
  look_up(library, "CertFreeCertificateContext", &found.free_context);
  look_up(library, "CertCloseStore", &found.close_store);
  look_up(library, "PFXIsPFXBlob", &found.is_pfx);
  look_up(library, "PFXImportCertStore", &found.import_pfx);
  looked_for = true;
  return &found;
}

CRYPT_DATA_BLOB blob_of(const void* bytes, uint32_t length) {
  return {.cbData = length, .pbData = static_cast<BYTE*>(const_cast<void*>(bytes))};
}

}  // namespace

xp_tls_store* windows_open_store(uint32_t place, const char* name) {
  if (place == XP_TLS_STORE_USER) {
    const auto open = functions()->open_system_store;
    return open ? static_cast<xp_tls_store*>(open(0, name)) : nullptr;
  }
  const auto open = functions()->open_store;
  const windows_wide_copy wide(name);
  if (!open || !wide.text) return nullptr;
  return static_cast<xp_tls_store*>(open(CERT_STORE_PROV_SYSTEM_W, 0, 0, place, wide.text));
}

void windows_close_store(xp_tls_store* store) {
  if (functions()->close_store) functions()->close_store(store, 0);
}

bool windows_can_import() {
  return functions()->is_pfx && functions()->import_pfx;
}

bool windows_is_pfx(const void* bytes, uint32_t length) {
  CRYPT_DATA_BLOB blob = blob_of(bytes, length);
  return functions()->is_pfx && functions()->is_pfx(&blob);
}

// The password is text of the system, and so UTF-8, which is the 8-bit code page by the manifest.
xp_tls_store* windows_import_pfx(const void* bytes, uint32_t length, const char* password) {
  CRYPT_DATA_BLOB blob = blob_of(bytes, length);
  const windows_wide_copy wide(password);
  if (!functions()->import_pfx || !wide.text) return nullptr;
  return static_cast<xp_tls_store*>(
      functions()->import_pfx(&blob, wide.text, CRYPT_MACHINE_KEYSET));
}

xp_tls_certificate* windows_find_certificate(xp_tls_store* store, const char* subject) {
  const auto find = functions()->find;
  if (!find) return nullptr;
  const windows_wide_copy wide(subject);
  const bool narrow = windows_8bit_carries(subject);
  if (!narrow && !wide.text) return nullptr;
  const CERT_CONTEXT* found =
      narrow ? find(store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_A, subject, nullptr)
             : find(store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W, wide.text, nullptr);
  return reinterpret_cast<xp_tls_certificate*>(const_cast<CERT_CONTEXT*>(found));
}

void windows_free_certificate(xp_tls_certificate* certificate) {
  if (functions()->free_context)
    functions()->free_context(reinterpret_cast<const CERT_CONTEXT*>(certificate));
}
