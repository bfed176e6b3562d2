// Time stamps of a signature.
#include <openssl/bio.h>
#include <openssl/ts.h>
#include <string.h>

#include "platform/host/authenticode_chain.h"
#include "platform/host/authenticode_subject.h"

namespace {

constexpr char RFC3161_STAMP[] = "1.3.6.1.4.1.311.3.3.1";
constexpr char PKCS9_STAMP[] = "1.2.840.113549.1.9.6";

// The first value of an unauthenticated attribute, when it is a sequence; borrowed.
const ASN1_STRING* find_attribute(const PKCS7_SIGNER_INFO* signer, const char* wanted) {
  for (int i = 0; i < sk_X509_ATTRIBUTE_num(signer->unauth_attr); i++) {
    X509_ATTRIBUTE* attribute = sk_X509_ATTRIBUTE_value(signer->unauth_attr, i);
    char name[80];
    OBJ_obj2txt(name, sizeof name, X509_ATTRIBUTE_get0_object(attribute), 1);
    if (strcmp(name, wanted) != 0) continue;
    const ASN1_TYPE* value = X509_ATTRIBUTE_get0_type(attribute, 0);
    return value && value->type == V_ASN1_SEQUENCE ? value->value.sequence : nullptr;
  }
  return nullptr;
}

bool moment(const ASN1_TIME* time, time_t* out) {
  struct tm parts;
  if (!time || !ASN1_TIME_to_tm(time, &parts)) return false;
  *out = timegm(&parts);
  return true;
}

BIO* signature_of(const PKCS7_SIGNER_INFO* signer) {
  return BIO_new_mem_buf(ASN1_STRING_get0_data(signer->enc_digest),
                         ASN1_STRING_length(signer->enc_digest));
}

// The token's own signature, its imprint of the signer's signature, and its service's
// certificate, which must have been good at the moment that the token names.
bool check_token(PKCS7* token, PKCS7_SIGNER_INFO* signer, STACK_OF(X509) * roots, time_t at) {
  X509_STORE* store = X509_STORE_new();
  TS_VERIFY_CTX* context = TS_VERIFY_CTX_new();
  BIO* signature = signature_of(signer);
  bool good = false;
  if (store && context && signature) {
    for (int i = 0; i < sk_X509_num(roots); i++)
      X509_STORE_add_cert(store, sk_X509_value(roots, i));
    X509_VERIFY_PARAM_set_time(X509_STORE_get0_param(store), at);
    TS_VERIFY_CTX_set_flags(context, TS_VFY_SIGNATURE | TS_VFY_VERSION | TS_VFY_DATA);
    // From here on the context owns both.
    TS_VERIFY_CTX_set_store(context, store);
    TS_VERIFY_CTX_set_data(context, signature);
    store = nullptr;
    signature = nullptr;
    good = TS_RESP_verify_token(context, token) == 1;
  }
  BIO_free(signature);
  X509_STORE_free(store);
  TS_VERIFY_CTX_free(context);
  return good;
}

bool read_rfc3161(const ASN1_STRING* value, PKCS7_SIGNER_INFO* signer, STACK_OF(X509) * roots,
                  time_t* out) {
  const uint8_t* at = ASN1_STRING_get0_data(value);
  PKCS7* token = d2i_PKCS7(nullptr, &at, ASN1_STRING_length(value));
  TS_TST_INFO* info = token && PKCS7_type_is_signed(token) ? PKCS7_to_TS_TST_INFO(token) : nullptr;
  const bool good =
      info && moment(TS_TST_INFO_get_time(info), out) && check_token(token, signer, roots, *out);
  TS_TST_INFO_free(info);
  PKCS7_free(token);
  return good;
}

// A countersignature is a signature by the service over the signer's signature; the service's
// certificate lies with the others.
bool check_countersigner(PKCS7* message, PKCS7_SIGNER_INFO* signer, PKCS7_SIGNER_INFO* counter,
                         X509* certificate) {
  bool good = false;
  BIO* source = signature_of(signer);
  BIO* digest = BIO_new(BIO_f_md());
  const EVP_MD* algorithm = EVP_get_digestbyobj(counter->digest_alg->algorithm);
  if (source && digest && algorithm && BIO_set_md(digest, algorithm)) {
    uint8_t bytes[512];
    BIO_push(digest, source);
    while (BIO_read(digest, bytes, sizeof bytes) > 0) {
    }
    good = PKCS7_signatureVerify(digest, message, counter, certificate) > 0;
  }
  BIO_free(digest);
  BIO_free(source);
  return good;
}

bool read_pkcs9(const ASN1_STRING* value, PKCS7* message, PKCS7_SIGNER_INFO* signer,
                STACK_OF(X509) * roots, time_t* out) {
  const uint8_t* at = ASN1_STRING_get0_data(value);
  PKCS7_SIGNER_INFO* counter = d2i_PKCS7_SIGNER_INFO(nullptr, &at, ASN1_STRING_length(value));
  if (!counter) return false;
  STACK_OF(X509)* others = message->d.sign->cert;
  X509* certificate = X509_find_by_issuer_and_serial(others, counter->issuer_and_serial->issuer,
                                                     counter->issuer_and_serial->serial);
  const ASN1_TYPE* time = PKCS7_get_signed_attribute(counter, NID_pkcs9_signingTime);
  const bool good =
      certificate && time &&
      (time->type == V_ASN1_UTCTIME || time->type == V_ASN1_GENERALIZEDTIME) &&
      moment(time->value.asn1_string, out) &&
      check_countersigner(message, signer, counter, certificate) &&
      authenticode_judge(certificate, others, roots, AUTHENTICODE_TIME_STAMPING, *out) == TRUST_OK;
  PKCS7_SIGNER_INFO_free(counter);
  return good;
}

}  // namespace

bool authenticode_stamp(PKCS7* message, PKCS7_SIGNER_INFO* signer, STACK_OF(X509) * roots,
                        time_t* out) {
  if (const ASN1_STRING* value = find_attribute(signer, RFC3161_STAMP))
    return read_rfc3161(value, signer, roots, out);
  if (const ASN1_STRING* value = find_attribute(signer, PKCS9_STAMP))
    return read_pkcs9(value, message, signer, roots, out);
  return false;
}
