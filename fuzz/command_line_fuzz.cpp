// Any text through the splitter of command lines: the vector ends in a null entry, and its texts
// stand behind each other without being longer than the line.
#include "fuzz/fuzz_text.h"
#include "platform/platform.h"
#include "update/ruvo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const fuzz_text text(bytes, size);
  int32_t count = -1;
  char** vector = ruvo_split_command_line(text.get(), &count);
  if (!vector || count < 1 || vector[count]) abort();
  size_t used = 0;
  for (int32_t i = 0; i < count; i++) {
    if (vector[i] != vector[0] + used) abort();
    used += strlen(vector[i]) + 1;
  }
  if (used > text.length() + 1) abort();
  xp_heap_free(vector);
  return 0;
}
