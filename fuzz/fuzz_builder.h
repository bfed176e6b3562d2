// A builder of XML documents run over a text by itself, which reaches more of it than reading the
// text as a document does, where other builders come first.
#pragma once

#include "document/xp_plst_builder.h"
#include "fuzz/fuzz_text.h"

inline int fuzz_builder(xp_xml_handler handler, const uint8_t* bytes, size_t size) {
  const fuzz_text text(bytes, size);
  xp_plst_builder builder = {};
  xp_xml_record records[40];
  const int32_t scanned = xp_xml_scan(text.get(), records, records + 40, handler, &builder);
  // A text that was read to its end leaves nothing open.
  if (scanned == 0 && builder.containers.count != 0) abort();
  xp_plst_builder_clear(&builder);
  return 0;
}
