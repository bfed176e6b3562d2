// Any bytes as an installer container: what the trailer names is copied or refused, and a copy has
// the bytes that the trailer says.
#include <stdlib.h>

#include <string>

#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "tests/support/memory_stream.h"
#include "update/ruvo_container.h"

namespace {

int64_t size_of(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  xp_file_handle file;
  int64_t size = -1;
  if (xp_platform->files->open(wide.get(), XP_FILE_READ, XP_FILE_SHARE_READ, XP_FILE_OPEN_EXISTING,
                               &file) != XP_FILE_OK)
    return size;
  if (xp_file_size(file, &size) != 0) abort();
  xp_platform->files->close(file);
  return size;
}

void check_copy(const std::string& bytes, int32_t index, int64_t expected) {
  const xp_ref output(xp_path_full("C:\\payload", -1));
  xp_file_delete(output.get());
  const xp_ref stream(memory_stream_new(bytes));
  const int32_t code = ruvo_container_copy_out(stream.get(), output.get(), index);
  if (stream->open_count != 0) abort();
  const int64_t size = size_of(output.get());
  if (code == RUVO_CONTAINER_DONE ? size != expected : size != -1) abort();
  xp_file_delete(output.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string file(reinterpret_cast<const char*>(bytes), size);
  ruvo_container_entries entries = {};
  {
    const xp_ref stream(memory_stream_new(file));
    if (xp_stream_open(stream.get(), 0) != 0) abort();
    (void)ruvo_container_trailer(stream.get(), &entries);
    xp_stream_close(stream.get());
  }
  check_copy(file, -1, static_cast<int64_t>(size));
  check_copy(file, 0, entries.size0);
  check_copy(file, 1, entries.size1);
  return 0;
}
