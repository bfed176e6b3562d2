#include "platform/host/authenticode_chain.h"

#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <string.h>

#include "platform/host/authenticode_subject.h"

namespace {

struct fault {
  int error;       // of OpenSSL
  int32_t result;  // of the trust service
};

// The gravest first.
constexpr fault FAULTS[] = {
    {X509_V_ERR_CERT_SIGNATURE_FAILURE, TRUST_CERT_SIGNATURE},
    {X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE, TRUST_CERT_SIGNATURE},
    {X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY, TRUST_CERT_SIGNATURE},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, TRUST_UNTRUSTED_ROOT},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, TRUST_UNTRUSTED_ROOT},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, TRUST_CHAINING},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, TRUST_CHAINING},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, TRUST_CHAINING},
    {X509_V_ERR_CERT_CHAIN_TOO_LONG, TRUST_CHAINING},
    {X509_V_ERR_INVALID_CA, TRUST_BASIC_CONSTRAINTS},
    {X509_V_ERR_PATH_LENGTH_EXCEEDED, TRUST_BASIC_CONSTRAINTS},
    {X509_V_ERR_KEYUSAGE_NO_CERTSIGN, TRUST_BASIC_CONSTRAINTS},
    {X509_V_ERR_INVALID_PURPOSE, TRUST_WRONG_USAGE},
    {X509_V_ERR_CERT_NOT_YET_VALID, TRUST_EXPIRED},
    {X509_V_ERR_CERT_HAS_EXPIRED, TRUST_EXPIRED},
    {X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD, TRUST_EXPIRED},
    {X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD, TRUST_EXPIRED},
};
constexpr int FAULT_COUNT = sizeof FAULTS / sizeof *FAULTS;

// Rank of an error in the table; one that isn't there counts as a chain without an end.
int rank_of(int error) {
  for (int i = 0; i < FAULT_COUNT; i++)
    if (FAULTS[i].error == error) return i;
  return rank_of(X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT);
}

// Notes the gravest error in the context's application data and lets the walk go on.
int note_error(int ok, X509_STORE_CTX* context) {
  auto* gravest = static_cast<int*>(X509_STORE_CTX_get_app_data(context));
  if (!ok) {
    const int rank = rank_of(X509_STORE_CTX_get_error(context));
    if (rank < *gravest) *gravest = rank;
  }
  return 1;
}

bool may(X509* certificate, authenticode_usage usage) {
  const uint32_t wanted = usage == AUTHENTICODE_CODE_SIGNING ? XKU_CODE_SIGN : XKU_TIMESTAMP;
  // Without the extension a certificate is for everything.
  return X509_get_extended_key_usage(certificate) & (wanted | XKU_ANYEKU);
}

// Roots are for what the person who trusts them says, the others for what they say themselves.
bool chain_may(STACK_OF(X509) * chain, authenticode_usage usage) {
  const int count = sk_X509_num(chain);
  for (int i = 0; i < count; i++)
    if ((i == 0 || i + 1 < count) && !may(sk_X509_value(chain, i), usage)) return false;
  return true;
}

int32_t run_chain(X509_STORE_CTX* context, authenticode_usage usage, time_t at) {
  int gravest = FAULT_COUNT;
  X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context);
  X509_VERIFY_PARAM_set_time(parameters, at);
  X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_ANY);
  X509_STORE_CTX_set_app_data(context, &gravest);
  X509_STORE_CTX_set_verify_cb(context, note_error);
  const int verified = X509_verify_cert(context);
  if (verified <= 0 && gravest == FAULT_COUNT) return TRUST_CHAINING;
  STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(context);
  if (!chain_may(chain, usage)) {
    const int rank = rank_of(X509_V_ERR_INVALID_PURPOSE);
    if (rank < gravest) gravest = rank;
  }
  return gravest == FAULT_COUNT ? TRUST_OK : FAULTS[gravest].result;
}

}  // namespace

int32_t authenticode_judge(X509* leaf, STACK_OF(X509) * others, STACK_OF(X509) * roots,
                           authenticode_usage usage, time_t at) {
  X509_STORE* store = X509_STORE_new();
  X509_STORE_CTX* context = X509_STORE_CTX_new();
  int32_t result = TRUST_OUT_OF_MEMORY;
  if (store && context) {
    for (int i = 0; i < sk_X509_num(roots); i++)
      X509_STORE_add_cert(store, sk_X509_value(roots, i));
    if (X509_STORE_CTX_init(context, store, leaf, others)) result = run_chain(context, usage, at);
  }
  X509_STORE_CTX_free(context);
  X509_STORE_free(store);
  return result;
}
