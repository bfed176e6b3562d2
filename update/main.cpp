// The process entry. It takes no arguments from the C runtime: the system splits its command line
// by rules of its own, which are the same on every platform.
#include "platform/platform.h"
#include "update/ruvo.h"

int main() {
  int32_t count;
  char** vector = ruvo_split_command_line(xp_platform->system->command_line(), &count);
  const int32_t result = ruvo_run(count, vector);
  xp_heap_free(vector);
  xp_platform->system->exit_process(static_cast<uint32_t>(result));
}
