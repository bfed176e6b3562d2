// Any XML through the reader of translation tables; what it makes is written again.
#include "document/xp_translation.h"
#include "fuzz/object_fuzz.h"

static int32_t read_table(const char* text, xp_plst_builder* builder) {
  xp_xml_record records[40];
  const int32_t result = xp_xml_scan(text, records, records + 40, xp_translation_event, builder);
  return result > 0 ? 0 : result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  return fuzz_reader(read_table, &xp_style_plist, bytes, size);
}
