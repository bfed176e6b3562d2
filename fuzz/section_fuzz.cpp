// Any text through the reader of section text; what it makes is written again.
#include "document/xp_section.h"
#include "fuzz/object_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  return fuzz_reader(xp_sections_read, &xp_style_sections, bytes, size);
}
