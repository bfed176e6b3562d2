#include "platform/host/certificates.h"

#include <dirent.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "platform/host/machine.h"

struct xp_tls_store {
  xp_tls_certificate* certificates;
  uint32_t count;
};

namespace {

// ---- folders of PEM files --------------------------------------------------------------------

int is_pem(const dirent* entry) {
  const size_t length = strlen(entry->d_name);
  return length > 4 && strcmp(entry->d_name + length - 4, ".pem") == 0;
}

// Calls `take` with each PEM file of the folder, in the order of their names.
template <class Take>
bool each_pem(const char* folder, Take take) {
  dirent** entries = nullptr;
  const int count = scandir(folder, &entries, is_pem, alphasort);
  if (count < 0) return false;
  for (int i = 0; i < count; i++) {
    char path[HOST_PATH_SIZE];
    const int length = snprintf(path, sizeof path, "%s/%s", folder, entries[i]->d_name);
    BIO* file = static_cast<size_t>(length) < sizeof path ? BIO_new_file(path, "r") : nullptr;
    if (file) take(file);
    BIO_free(file);
    free(entries[i]);
  }
  free(entries);
  return true;
}

// ---- certificates ----------------------------------------------------------------------------

void clear(xp_tls_certificate* certificate) {
  X509_free(certificate->leaf);
  EVP_PKEY_free(certificate->key);
  sk_X509_pop_free(certificate->chain, X509_free);
  *certificate = {};
}

// The first certificate is the leaf, further ones are its chain. A file without a certificate and
// a key gives nothing.
bool read_pem(BIO* file, xp_tls_certificate* out) {
  STACK_OF(X509_INFO)* infos = PEM_X509_INFO_read_bio(file, nullptr, nullptr, nullptr);
  if (!infos) return false;
  *out = {.leaf = nullptr, .key = nullptr, .chain = sk_X509_new_null()};
  for (int i = 0; out->chain && i < sk_X509_INFO_num(infos); i++) {
    X509_INFO* info = sk_X509_INFO_value(infos, i);
    if (info->x509 && X509_up_ref(info->x509)) {
      if (!out->leaf)
        out->leaf = info->x509;
      else if (sk_X509_push(out->chain, info->x509) <= 0)
        X509_free(info->x509);
    }
    if (info->x_pkey && info->x_pkey->dec_pkey && !out->key) {
      EVP_PKEY_up_ref(info->x_pkey->dec_pkey);
      out->key = info->x_pkey->dec_pkey;
    }
  }
  sk_X509_INFO_pop_free(infos, X509_INFO_free);
  if (out->leaf && out->key) return true;
  clear(out);
  return false;
}

xp_tls_store* new_store() {
  return static_cast<xp_tls_store*>(xp_heap_alloc(sizeof(xp_tls_store)));
}

// Takes the certificate over; on failure it is freed.
void add(xp_tls_store* store, xp_tls_certificate* certificate) {
  const size_t old_size = store->count * sizeof(xp_tls_certificate);
  void* grown =
      xp_heap_resize(store->certificates, old_size, old_size + sizeof(xp_tls_certificate));
  if (!grown) {
    clear(certificate);
    return;
  }
  store->certificates = static_cast<xp_tls_certificate*>(grown);
  store->certificates[store->count++] = *certificate;
}

// The subject as Windows searches it: the values of its parts, joined by ", ". Cut to `size`.
void subject_text(X509* certificate, char* out, size_t size) {
  X509_NAME* name = X509_get_subject_name(certificate);
  size_t used = 0;
  out[0] = 0;
  for (int i = 0; i < X509_NAME_entry_count(name); i++) {
    unsigned char* value = nullptr;
    const int length =
        ASN1_STRING_to_UTF8(&value, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, i)));
    if (length < 0) continue;
    const int added = snprintf(out + used, size - used, "%s%.*s", used ? ", " : "", length, value);
    OPENSSL_free(value);
    if (added < 0 || static_cast<size_t>(added) >= size - used) return;
    used += static_cast<size_t>(added);
  }
}

PKCS12* parse_pfx(const void* bytes, uint32_t length) {
  const auto* cursor = static_cast<const unsigned char*>(bytes);
  return d2i_PKCS12(nullptr, &cursor, static_cast<long>(length));
}

}  // namespace

void host_trust_roots(X509_STORE* roots) {
  X509_STORE_set_default_paths(roots);
  char folder[HOST_PATH_SIZE];
  if (!host_machine_path("trust", folder, sizeof folder)) return;
  (void)each_pem(folder, [roots](BIO* file) {
    while (X509* root = PEM_read_bio_X509(file, nullptr, nullptr, nullptr)) {
      X509_STORE_add_cert(roots, root);
      X509_free(root);
    }
  });
  ERR_clear_error();
}

// The store's folder by its place; a service's store goes by the name in front of "\\MY". False for
// a name that is no plain file name.
static bool store_folder(uint32_t place, const char* name, char* out, size_t size) {
  const char* store = place == XP_TLS_STORE_MACHINE ? "machine" : "user";
  size_t length = strlen(store);
  if (place == XP_TLS_STORE_SERVICE) {
    store = name;
    length = strcspn(name, "\\");
    if (length == 0 || *name == '.' || memchr(name, '/', length)) return false;
  }
  char below[256];
  const int written = snprintf(below, sizeof below, "stores/%.*s", static_cast<int>(length), store);
  return written < static_cast<int>(sizeof below) && host_machine_path(below, out, size);
}

xp_tls_store* host_open_store(uint32_t place, const char* name) {
  char folder[HOST_PATH_SIZE];
  if (!store_folder(place, name, folder, sizeof folder)) return nullptr;
  xp_tls_store* store = new_store();
  if (!store) return nullptr;
  const bool exists = each_pem(folder, [store](BIO* file) {
    xp_tls_certificate certificate;
    if (read_pem(file, &certificate)) add(store, &certificate);
  });
  ERR_clear_error();
  if (exists || place == XP_TLS_STORE_USER) return store;
  host_close_store(store);
  return nullptr;
}

void host_close_store(xp_tls_store* store) {
  for (uint32_t i = 0; i < store->count; i++)
    clear(&store->certificates[i]);
  xp_heap_free(store->certificates);
  xp_heap_free(store);
}

bool host_is_pfx(const void* bytes, uint32_t length) {
  PKCS12* pfx = parse_pfx(bytes, length);
  PKCS12_free(pfx);
  ERR_clear_error();
  return pfx != nullptr;
}

xp_tls_store* host_import_pfx(const void* bytes, uint32_t length, const char* password) {
  PKCS12* pfx = parse_pfx(bytes, length);
  xp_tls_certificate certificate = {};
  const bool opened = pfx && PKCS12_parse(pfx, password, &certificate.key, &certificate.leaf,
                                          &certificate.chain) == 1;
  PKCS12_free(pfx);
  ERR_clear_error();
  xp_tls_store* store = opened ? new_store() : nullptr;
  if (store && certificate.leaf && certificate.key)
    add(store, &certificate);
  else
    clear(&certificate);
  return store;
}

xp_tls_certificate* host_find_certificate(xp_tls_store* store, const char* subject) {
  for (uint32_t i = 0; i < store->count; i++) {
    char text[1024];
    subject_text(store->certificates[i].leaf, text, sizeof text);
    if (!strcasestr(text, subject)) continue;
    auto* found = static_cast<xp_tls_certificate*>(xp_heap_alloc(sizeof(xp_tls_certificate)));
    if (!found) return nullptr;
    *found = store->certificates[i];
    X509_up_ref(found->leaf);
    EVP_PKEY_up_ref(found->key);
    found->chain = found->chain ? X509_chain_up_ref(found->chain) : nullptr;
    return found;
  }
  return nullptr;
}

void host_free_certificate(xp_tls_certificate* certificate) {
  clear(certificate);
  xp_heap_free(certificate);
}
