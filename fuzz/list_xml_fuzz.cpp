// Any text through the list XML builder: it ends, leaks nothing and reads nothing beyond the text.
#include "document/xp_list_xml.h"
#include "fuzz/fuzz_builder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  return fuzz_builder(xp_list_event, bytes, size);
}
