// Any text as a URL: every part lies within the working copy and ends at its NUL.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <initializer_list>

#include "object/xp_ref.h"
#include "stream/xp_url.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const xp_ref<xp_url> url(
      xp_url_new(reinterpret_cast<const char*>(bytes), static_cast<int32_t>(size)));
  if (!url) return 0;
  const char* copy = reinterpret_cast<const char*>(url.get() + 1);
  for (const xp_url_part* part : {&url->scheme, &url->user, &url->password, &url->host, &url->path,
                                  &url->query, &url->form}) {
    if (!part->text) continue;
    if (part->text < copy || part->text + part->length >= copy + url->capacity) abort();
    if (strlen(part->text) != static_cast<size_t>(part->length)) abort();
  }
  return 0;
}
