// Random bytes of cryptographic quality.
#pragma once

#include <stdint.h>

struct xp_random_ops {
  // Fills `length` bytes; false when the system's generator is not to be had.
  bool (*fill)(void* out, uint32_t length);
};
