// Any document of any kind, and any key path into it: what is found is alive and belongs to the
// caller. The path is the first line of the input.
#include "document/xp_plst.h"
#include "fuzz/fuzz_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const auto* line_end = static_cast<const uint8_t*>(size ? memchr(bytes, '\n', size) : nullptr);
  if (!line_end) return 0;
  const fuzz_text path(bytes, static_cast<size_t>(line_end - bytes));
  const fuzz_text text(line_end + 1, size - static_cast<size_t>(line_end + 1 - bytes));
  xp_plst* document = xp_plst_parse(text.get());
  xp_object* found = xp_plst_lookup(document, path.get());
  if (found && !document) abort();
  // The reference outlives the document.
  xp_object_release(document);
  if (found && found->refcount == 0) abort();
  xp_object_release(found);
  return 0;
}
