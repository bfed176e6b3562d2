// The trust service, which verifies the Authenticode signature of a file.
#pragma once

#include <stdint.h>

struct xp_trust;  // the loaded service and the state of one verification

struct xp_trust_ops {
  // Loads the service; null when it is missing.
  xp_trust* (*load)();
  // Verifies a file without any user interface and without a revocation check. 0 when it is
  // trusted, else the service's code (0x800Bxxxx and others).
  int32_t (*verify)(xp_trust* trust, const char16_t* path);
  // Whether the service can name signers at all.
  bool (*can_name_signers)(xp_trust* trust);
  // After verify: whether it left data about the signers.
  bool (*has_signers)(xp_trust* trust);
  // Display name of the leaf certificate of signer `index`, UTF-16 with a NUL, cut to `size`
  // units. Returns the units with the NUL, 0 when no name could be read, -1 when there is no
  // such signer.
  int32_t (*signer_name)(xp_trust* trust, uint32_t index, char16_t* out, uint32_t size);
  // Ends the verification; needed after every verify.
  void (*close)(xp_trust* trust);
  // Frees the service.
  void (*unload)(xp_trust* trust);
};
