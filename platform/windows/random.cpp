#include "platform/windows/backend.h"

// RtlGenRandom under its exported name. ADVAPI32 is loaded already; the registry needs it.
using fill_function = BOOLEAN(WINAPI*)(void*, ULONG);

static bool random_fill(void* out, uint32_t length) {
  static const auto fill =
      windows_find<fill_function>(GetModuleHandleA("ADVAPI32"), "SystemFunction036");
  return fill && fill(out, length);
}

constinit const xp_random_ops windows_random = {.fill = random_fill};
