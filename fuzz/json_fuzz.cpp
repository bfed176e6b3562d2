// Any text through the JSON reader; what it makes is written again.
#include "document/xp_json.h"
#include "fuzz/object_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  return fuzz_reader(xp_json_read, &xp_style_json, bytes, size);
}
