// The trust service of the stand-in computer: Authenticode, checked against the certificates in
// the machine folder's trust/ (every file there that ends in .pem, any number of certificates
// each).
#include <dirent.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "platform/host/authenticode_signature.h"
#include "platform/host/host.h"
#include "platform/host/machine.h"

struct xp_trust {
  PKCS7* message;  // of the last verification
  bool verified;   // a verification is open, whatever its result
};

namespace {

constexpr uint64_t MOST_BYTES = uint64_t{1} << 31;  // of a signed file

void add_certificates(const char* path, STACK_OF(X509) * roots) {
  FILE* file = fopen(path, "re");
  if (!file) return;
  while (X509* certificate = PEM_read_X509(file, nullptr, nullptr, nullptr)) {
    if (sk_X509_push(roots, certificate)) continue;
    X509_free(certificate);
    break;
  }
  fclose(file);
  ERR_clear_error();  // the end of the file is one
}

// Certificates that can't be read are passed over: they trust nothing.
STACK_OF(X509) * load_roots() {
  char folder[HOST_PATH_SIZE];
  char path[HOST_PATH_SIZE + 300];
  STACK_OF(X509)* roots = sk_X509_new_null();
  DIR* list = host_machine_path("trust", folder, sizeof folder) ? opendir(folder) : nullptr;
  while (const dirent* entry = roots && list ? readdir(list) : nullptr) {
    const size_t length = strlen(entry->d_name);
    if (length < 4 || strcmp(entry->d_name + length - 4, ".pem") != 0) continue;
    snprintf(path, sizeof path, "%s/%s", folder, entry->d_name);
    add_certificates(path, roots);
  }
  if (list) closedir(list);
  return roots;
}

bool open_file(const char16_t* path, host_source* out) {
  char native[HOST_PATH_SIZE];
  if (host_native_path(path, native, sizeof native) != XP_FILE_OK || !host_source_open(native, out))
    return false;
  if (out->size <= MOST_BYTES) return true;
  host_source_close(out);
  return false;
}

int32_t check_message(xp_trust* trust, const authenticode_subject* subject) {
  trust->message = authenticode_message(subject);
  if (!trust->message) return TRUST_NO_SIGNATURE;
  STACK_OF(X509)* roots = load_roots();
  const int32_t result = authenticode_verify(subject, trust->message, roots, time(nullptr));
  sk_X509_pop_free(roots, X509_free);
  ERR_clear_error();
  return result;
}

xp_trust* host_trust_load() {
  return static_cast<xp_trust*>(xp_heap_alloc(sizeof(xp_trust)));
}

void host_trust_close(xp_trust* trust) {
  PKCS7_free(trust->message);
  *trust = {};
}

int32_t host_trust_verify(xp_trust* trust, const char16_t* path) {
  host_source file;
  authenticode_subject subject;
  host_trust_close(trust);
  trust->verified = true;
  if (!open_file(path, &file)) return TRUST_FILE_ERROR;
  int32_t result = authenticode_open(&file, &subject);
  if (result == TRUST_OK) result = check_message(trust, &subject);
  host_source_close(&file);
  return result;
}

bool host_can_name_signers(xp_trust*) {
  return true;
}

bool host_has_signers(xp_trust* trust) {
  return trust->verified;
}

// The parts of a subject that can serve as a name, in the order in which they are asked for.
constexpr int NAME_PARTS[] = {NID_commonName, NID_organizationalUnitName, NID_organizationName,
                              NID_pkcs9_emailAddress};

const ASN1_STRING* display_name(const X509* certificate) {
  const X509_NAME* subject = X509_get_subject_name(certificate);
  for (const int part : NAME_PARTS) {
    const int index = X509_NAME_get_index_by_NID(subject, part, -1);
    if (index >= 0) return X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index));
  }
  const X509_NAME_ENTRY* first = X509_NAME_get_entry(subject, 0);
  return first ? X509_NAME_ENTRY_get_data(first) : nullptr;
}

// Writes at most size - 1 units and a NUL.
int32_t put_cut(const uint8_t* text, int length, char16_t* out, uint32_t size) {
  const int32_t needed = xp_text_to_wide(reinterpret_cast<const char*>(text), length, nullptr, 0);
  auto* wide =
      static_cast<char16_t*>(xp_heap_alloc(sizeof(char16_t) * static_cast<size_t>(needed)));
  if (!wide || needed <= 0 || size == 0) {
    xp_heap_free(wide);
    return 0;
  }
  xp_text_to_wide(reinterpret_cast<const char*>(text), length, wide, needed);
  auto kept = static_cast<uint32_t>(needed);
  if (kept > size - 1) kept = size - 1;
  memcpy(out, wide, kept * sizeof(char16_t));
  out[kept] = 0;
  xp_heap_free(wide);
  return static_cast<int32_t>(kept + 1);
}

int32_t host_signer_name(xp_trust* trust, uint32_t index, char16_t* out, uint32_t size) {
  X509* certificate = trust->message && index < INT32_MAX
                          ? authenticode_signer(trust->message, static_cast<int>(index))
                          : nullptr;
  if (!certificate) return -1;
  const ASN1_STRING* name = display_name(certificate);
  uint8_t* text = nullptr;
  const int length = name ? ASN1_STRING_to_UTF8(&text, name) : 0;
  const int32_t units = length > 0 ? put_cut(text, length, out, size) : 0;
  OPENSSL_free(text);
  return units;
}

void host_trust_unload(xp_trust* trust) {
  xp_heap_free(trust);
}

}  // namespace

constinit const xp_trust_ops host_trust = {.load = host_trust_load,
                                           .verify = host_trust_verify,
                                           .can_name_signers = host_can_name_signers,
                                           .has_signers = host_has_signers,
                                           .signer_name = host_signer_name,
                                           .close = host_trust_close,
                                           .unload = host_trust_unload};
