// A URL, a proxy list and a bypass list, divided by NUL bytes.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "update/ruvo_proxy.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const char* text = reinterpret_cast<const char*>(bytes);
  xp_ref<xp_str> parts[3];
  for (xp_ref<xp_str>& part : parts) {
    const void* end = memchr(text, 0, size);
    const size_t length = end ? static_cast<size_t>(static_cast<const char*>(end) - text) : size;
    part.reset(xp_str_new_n(text, static_cast<int32_t>(length)));
    text += length + (end != nullptr);
    size -= length + (end != nullptr);
  }
  const xp_ref<xp_str> proxy(ruvo_choose_proxy(parts[0].get(), parts[1].get(), parts[2].get()));
  if (proxy && proxy->length == 0) abort();
  return 0;
}
