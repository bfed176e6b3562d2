// Chains of certificates and time stamps, judged as the trust service does.
#pragma once

#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <stdint.h>
#include <time.h>

// What a certificate has to be for.
enum authenticode_usage { AUTHENTICODE_CODE_SIGNING, AUTHENTICODE_TIME_STAMPING };

// Judges the chain of `leaf` at a moment. `others` are certificates that may stand between it and
// a root. The result is the gravest fault found: a broken signature, an untrusted root, a chain
// without an end, a wrong usage, an expired certificate, in this order.
int32_t authenticode_judge(X509* leaf, STACK_OF(X509) * others, STACK_OF(X509) * roots,
                           authenticode_usage usage, time_t at);
// The moment at which a trusted service has seen the signer's signature, from its time stamp
// (RFC 3161, or the older countersignature of PKCS #9). False when it has none or a bad one.
bool authenticode_stamp(PKCS7* message, PKCS7_SIGNER_INFO* signer, STACK_OF(X509) * roots,
                        time_t* out);
