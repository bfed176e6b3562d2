// The signature check: whatever its origin, a package that goes to the Windows Installer carries
// a valid Authenticode signature of a publisher that this program knows.
#pragma once

#include <stdint.h>

// Verifies the file at a NUL-terminated UTF-16 path. 0 when it is trusted and one of its signers
// has a known name; the trust service's code when verification failed; RUVO_FAILED (-1) when the
// service is missing or no signer is known.
int32_t ruvo_verify_signature(const char16_t* path);
