// Form pairs; the text is cut at its first NUL.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "document/xp_plst_builder.h"
#include "stream/xp_form.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  xp_plst_builder builder = {};
  if (xp_form_read(text.c_str(), &builder) != 0) abort();
  // A dictionary is there when there was a pair, and there is no pair without a sign.
  if (builder.result && !strchr(text.c_str(), '=')) abort();
  xp_plst_builder_clear(&builder);
  return 0;
}
