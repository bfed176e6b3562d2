// The signature itself: a PKCS #7 message over the digest of a file, its signers, their
// certificates and time stamps.
#pragma once

#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <time.h>

#include "platform/host/authenticode_subject.h"

// Checks that the message says the file's digest and that every signer signed it with a
// certificate whose chain ends in `roots`, may sign code, and was valid at the moment of a good
// time stamp or, without one, is valid now. The result is that of the first signer that fails.
int32_t authenticode_verify(const authenticode_subject* subject, PKCS7* message,
                            STACK_OF(X509) * roots, time_t now);
// Reads the message of a subject; null when it is none.
PKCS7* authenticode_message(const authenticode_subject* subject);
// The certificate of signer `index`, borrowed from the message; null when there is no such signer.
X509* authenticode_signer(PKCS7* message, int index);
