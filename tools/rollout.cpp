// A rollout over a million computers, each with a registry of its own that lives in memory: every
// computer draws its seed with the program's own generator in its first run, and is then asked
// under wider and wider coverage whether it takes the update. Shows how many each coverage selects,
// and how many were dropped by widening, which must be none.
#include <stdlib.h>
#include <string.h>

#include "object/xp_ref.h"
#include "platform/platform.h"
#include "stream/xp_console_stream.h"
#include "update/ruvo_gates.h"

namespace {

constexpr int32_t COMPUTERS = 1000000;
constexpr int64_t coverages[] = {1049, 10486, 131072, 262144, 524288, 786432, 1048576};
constexpr int32_t STEPS = sizeof(coverages) / sizeof(coverages[0]);

// The one value of the computer in hand.
char seed_text[16];

xp_registry_status registry_open(xp_registry_hive, const char*, uint32_t, xp_registry_key* out) {
  *out = 1;
  return XP_REGISTRY_OK;
}

xp_registry_status registry_read(xp_registry_key, const char* name, uint32_t*, void* out,
                                 uint32_t* size) {
  if (strcmp(name, "ruvoseed") != 0 || !seed_text[0]) return XP_REGISTRY_NOT_FOUND;
  *size = sizeof(seed_text);
  memcpy(out, seed_text, sizeof(seed_text));
  return XP_REGISTRY_OK;
}

xp_registry_status registry_write(xp_registry_key, const char*, uint32_t, const void* bytes,
                                  uint32_t size) {
  memcpy(seed_text, bytes, size);
  return XP_REGISTRY_OK;
}

void registry_close(xp_registry_key) {}

bool system_version(xp_os_version* out) {
  *out = {.major = 10, .minor = 0, .build = 19045};
  return true;
}

bool takes_update(int64_t coverage) {
  ruvo_state state = {};
  state.coverage = coverage;
  return ruvo_pass_gates(&state);
}

}  // namespace

int main() {
  xp_registry_ops registry = *xp_platform->registry;
  registry.open = registry_open;
  registry.read = registry_read;
  registry.write = registry_write;
  registry.close = registry_close;
  xp_system_ops system = *xp_platform->system;
  system.os_version = system_version;
  xp_platform_set machine = *xp_platform;
  machine.registry = &registry;
  machine.system = &system;
  xp_platform = &machine;

  int32_t selected[STEPS] = {};
  int32_t dropped[STEPS] = {};
  for (int32_t computer = 0; computer < COMPUTERS; computer++) {
    seed_text[0] = 0;
    bool before = false;
    for (int32_t step = 0; step < STEPS; step++) {
      const bool takes = takes_update(coverages[step]);
      selected[step] += takes;
      dropped[step] += before && !takes;
      before = takes;
    }
  }

  xp_ref out(xp_console_output_new(1));
  if (xp_stream_open(out.get(), STREAM_MODE_WRITE) != 0) return EXIT_FAILURE;
  (void)xp_stream_printf(out.get(), "  coverage    share   selected of %d   dropped by widening\n",
                         COMPUTERS);
  bool lost = false;
  for (int32_t step = 0; step < STEPS; step++) {
    const double share = static_cast<double>(coverages[step]) * 100 / (1 << 20);
    (void)xp_stream_printf(out.get(), "%10lld  %6.2f%%   %19d   %19d\n", coverages[step], share,
                           selected[step], dropped[step]);
    lost = lost || dropped[step] != 0;
  }
  xp_stream_close(out.get());
  return lost ? EXIT_FAILURE : EXIT_SUCCESS;
}
