#include <errno.h>
#include <sys/random.h>

#include "platform/host/host.h"

static bool host_random_fill(void* out, uint32_t length) {
  auto* bytes = static_cast<uint8_t*>(out);
  while (length > 0) {
    const ssize_t got = getrandom(bytes, length, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    length -= static_cast<uint32_t>(got);
  }
  return true;
}

constinit const xp_random_ops host_random = {.fill = host_random_fill};
