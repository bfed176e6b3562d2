// Certificate stores of the stand-in computer: folders of PEM files below `stores` in the machine
// folder, `user`, `machine` and one for each service by its name. A file holds one certificate,
// its private key, and any certificates between it and a root; the files are taken in the order
// of their names. A PFX file opens as a store of one certificate.
#pragma once

#include <openssl/x509.h>

#include "platform/tls.h"

struct xp_tls_certificate {
  X509* leaf;
  EVP_PKEY* key;
  STACK_OF(X509) * chain;  // null for none
};

// The computer's roots: what the Linux system trusts, and the PEM files of the folder `trust`.
void host_trust_roots(X509_STORE* roots);

xp_tls_store* host_open_store(uint32_t place, const char* name);
void host_close_store(xp_tls_store* store);
bool host_is_pfx(const void* bytes, uint32_t length);
xp_tls_store* host_import_pfx(const void* bytes, uint32_t length, const char* password);
xp_tls_certificate* host_find_certificate(xp_tls_store* store, const char* subject);
void host_free_certificate(xp_tls_certificate* certificate);
