#include "platform/host/source.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

host_source host_source_of(const void* bytes, size_t size) {
  return {.bytes = static_cast<const uint8_t*>(bytes), .descriptor = -1, .size = size};
}

bool host_source_open(const char* path, host_source* out) {
  // O_NONBLOCK: opening a pipe without a writer must not wait.
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return false;
  struct stat facts;
  if (fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) {
    close(descriptor);
    return false;
  }
  *out = {.bytes = nullptr, .descriptor = descriptor, .size = static_cast<uint64_t>(facts.st_size)};
  return true;
}

void host_source_close(host_source* source) {
  if (source->descriptor >= 0) close(source->descriptor);
  *source = {};
}

bool host_source_read(const host_source* source, uint64_t offset, void* out, size_t size) {
  if (offset > source->size || size > source->size - offset) return false;
  if (source->descriptor < 0) {
    if (size > 0) memcpy(out, source->bytes + offset, size);
    return true;
  }
  auto* to = static_cast<uint8_t*>(out);
  while (size > 0) {
    const ssize_t got = pread(source->descriptor, to, size, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    to += got;
    offset += static_cast<uint64_t>(got);
    size -= static_cast<size_t>(got);
  }
  return true;
}
