#include "platform/host/authenticode_signature.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <string.h>

#include "platform/host/authenticode_chain.h"

namespace {

constexpr char INDIRECT_DATA[] = "1.3.6.1.4.1.311.2.1.4";
// A certificate of this usage signs for its own lifetime: a time stamp doesn't help it.
constexpr char LIFETIME_SIGNING[] = "1.3.6.1.4.1.311.10.3.13";

// The content: SpcIndirectDataContent ::= SEQUENCE { data, messageDigest DigestInfo }.
struct content {
  const uint8_t* bytes = nullptr;  // inside of the sequence, which is what gets signed
  long size = 0;
  const EVP_MD* algorithm = nullptr;
  uint8_t digest[EVP_MAX_MD_SIZE];
};

// Steps into a sequence: *at moves to its first byte. False when there is none.
bool enter_sequence(const uint8_t** at, long room, long* size) {
  int tag = 0, kind = 0;
  const int form = ASN1_get_object(at, size, &tag, &kind, room);
  return !(form & 0x80) && form == V_ASN1_CONSTRUCTED && tag == V_ASN1_SEQUENCE &&
         kind == V_ASN1_UNIVERSAL;
}

// The digests of Authenticode that are still good for something.
const EVP_MD* accepted_digest(const ASN1_OBJECT* name) {
  constexpr int ACCEPTED[] = {NID_sha1, NID_sha256, NID_sha384, NID_sha512};
  for (const int accepted : ACCEPTED)
    if (OBJ_obj2nid(name) == accepted) return EVP_get_digestbynid(accepted);
  return nullptr;
}

bool take_digest(const X509_SIG* info, content* out) {
  const X509_ALGOR* algorithm;
  const ASN1_OCTET_STRING* digest;
  const ASN1_OBJECT* name;
  X509_SIG_get0(info, &algorithm, &digest);
  X509_ALGOR_get0(&name, nullptr, nullptr, algorithm);
  out->algorithm = accepted_digest(name);
  if (!out->algorithm || ASN1_STRING_length(digest) != EVP_MD_get_size(out->algorithm))
    return false;
  memcpy(out->digest, ASN1_STRING_get0_data(digest),
         static_cast<size_t>(ASN1_STRING_length(digest)));
  return true;
}

bool read_content(const PKCS7* message, content* out) {
  const PKCS7* inner = message->d.sign->contents;
  char name[80];
  OBJ_obj2txt(name, sizeof name, inner->type, 1);
  if (strcmp(name, INDIRECT_DATA) != 0 || !inner->d.other ||
      inner->d.other->type != V_ASN1_SEQUENCE)
    return false;
  const ASN1_STRING* whole = inner->d.other->value.sequence;
  const uint8_t* at = ASN1_STRING_get0_data(whole);
  if (!enter_sequence(&at, ASN1_STRING_length(whole), &out->size)) return false;
  out->bytes = at;
  long data_size = 0;
  if (!enter_sequence(&at, out->size, &data_size)) return false;
  at += data_size;
  X509_SIG* info = d2i_X509_SIG(nullptr, &at, out->size - (at - out->bytes));
  const bool taken = info && take_digest(info, out);
  X509_SIG_free(info);
  return taken;
}

// PKCS7_verify starts a digest for each that the message lists, and leaks when it can't.
bool lists_accepted_digests(const PKCS7* message) {
  const STACK_OF(X509_ALGOR)* digests = message->d.sign->md_algs;
  for (int i = 0; i < sk_X509_ALGOR_num(digests); i++)
    if (!accepted_digest(sk_X509_ALGOR_value(digests, i)->algorithm)) return false;
  return true;
}

int32_t check_signatures(PKCS7* message, const content* signed_content) {
  if (!lists_accepted_digests(message)) return TRUST_CERT_SIGNATURE;
  BIO* bytes = BIO_new_mem_buf(signed_content->bytes, static_cast<int>(signed_content->size));
  if (!bytes) return TRUST_OUT_OF_MEMORY;
  ERR_clear_error();
  const bool good =
      PKCS7_verify(message, nullptr, nullptr, bytes, nullptr, PKCS7_NOVERIFY | PKCS7_BINARY) == 1;
  BIO_free(bytes);
  int32_t result = TRUST_OK;
  if (!good) {
    result = TRUST_CERT_SIGNATURE;
    while (const unsigned long error = ERR_get_error()) {
      if (ERR_GET_LIB(error) != ERR_LIB_PKCS7) continue;
      if (ERR_GET_REASON(error) == PKCS7_R_DIGEST_FAILURE) result = TRUST_BAD_DIGEST;
      if (ERR_GET_REASON(error) == PKCS7_R_SIGNER_CERTIFICATE_NOT_FOUND)
        result = TRUST_NO_SIGNER_CERT;
    }
  }
  return result;
}

bool signs_for_lifetime(X509* certificate) {
  auto* usages = static_cast<EXTENDED_KEY_USAGE*>(
      X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr));
  bool found = false;
  for (int i = 0; i < sk_ASN1_OBJECT_num(usages); i++) {
    char name[80];
    OBJ_obj2txt(name, sizeof name, sk_ASN1_OBJECT_value(usages, i), 1);
    if (strcmp(name, LIFETIME_SIGNING) == 0) found = true;
  }
  EXTENDED_KEY_USAGE_free(usages);
  return found;
}

int32_t judge_signer(PKCS7* message, int index, STACK_OF(X509) * roots, time_t now) {
  PKCS7_SIGNER_INFO* signer = sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(message), index);
  X509* certificate = authenticode_signer(message, index);
  if (!certificate) return TRUST_NO_SIGNER_CERT;
  time_t at = now;
  time_t stamped;
  if (!signs_for_lifetime(certificate) && authenticode_stamp(message, signer, roots, &stamped))
    at = stamped;
  return authenticode_judge(certificate, message->d.sign->cert, roots, AUTHENTICODE_CODE_SIGNING,
                            at);
}

}  // namespace

PKCS7* authenticode_message(const authenticode_subject* subject) {
  const auto* at = reinterpret_cast<const uint8_t*>(subject->signature.bytes);
  if (subject->signature.length == 0 || subject->signature.length > INT32_MAX) return nullptr;
  PKCS7* message = d2i_PKCS7(nullptr, &at, static_cast<long>(subject->signature.length));
  if (message && PKCS7_type_is_signed(message) && message->d.sign && message->d.sign->contents &&
      sk_PKCS7_SIGNER_INFO_num(PKCS7_get_signer_info(message)) > 0)
    return message;
  PKCS7_free(message);
  return nullptr;
}

X509* authenticode_signer(PKCS7* message, int index) {
  STACK_OF(PKCS7_SIGNER_INFO)* signers = PKCS7_get_signer_info(message);
  if (index < 0 || index >= sk_PKCS7_SIGNER_INFO_num(signers)) return nullptr;
  const PKCS7_ISSUER_AND_SERIAL* name =
      sk_PKCS7_SIGNER_INFO_value(signers, index)->issuer_and_serial;
  return X509_find_by_issuer_and_serial(message->d.sign->cert, name->issuer, name->serial);
}

int32_t authenticode_verify(const authenticode_subject* subject, PKCS7* message,
                            STACK_OF(X509) * roots, time_t now) {
  content said;
  uint8_t found[EVP_MAX_MD_SIZE];
  if (!read_content(message, &said)) return TRUST_BAD_DIGEST;
  int32_t result = authenticode_digest(subject, said.algorithm, found);
  if (result != TRUST_OK) return result;
  const auto size = static_cast<size_t>(EVP_MD_get_size(said.algorithm));
  if (memcmp(found, said.digest, size) != 0) return TRUST_BAD_DIGEST;
  result = check_signatures(message, &said);
  const int signers = sk_PKCS7_SIGNER_INFO_num(PKCS7_get_signer_info(message));
  for (int i = 0; i < signers && result == TRUST_OK; i++)
    result = judge_signer(message, i, roots, now);
  return result;
}
