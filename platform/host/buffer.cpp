#include "platform/host/buffer.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/heap.h"

host_buffer::~host_buffer() {
  xp_heap_free(bytes);
}

bool host_buffer_reserve(host_buffer* buffer, size_t more) {
  if (more > SIZE_MAX / 4 - buffer->length) return false;
  const size_t needed = buffer->length + more + 1;
  if (needed <= buffer->room) return true;
  size_t room = buffer->room ? buffer->room * 2 : 256;
  if (room < needed) room = needed;
  void* moved = xp_heap_resize(buffer->bytes, buffer->room, room);
  if (!moved) return false;
  buffer->bytes = static_cast<char*>(moved);
  buffer->room = room;
  return true;
}

bool host_buffer_add(host_buffer* buffer, const void* bytes, size_t length) {
  return host_buffer_replace(buffer, buffer->length, 0, bytes, length);
}

bool host_buffer_add_text(host_buffer* buffer, const char* text) {
  return host_buffer_add(buffer, text, strlen(text));
}

bool host_buffer_replace(host_buffer* buffer, size_t offset, size_t removed, const void* bytes,
                         size_t length) {
  if (!host_buffer_reserve(buffer, length)) return false;
  char* at = buffer->bytes + offset;
  memmove(at + length, at + removed, buffer->length - offset - removed);
  if (length > 0) memcpy(at, bytes, length);
  buffer->length += length - removed;
  buffer->bytes[buffer->length] = 0;
  return true;
}

void host_buffer_clear(host_buffer* buffer) {
  buffer->length = 0;
  if (buffer->bytes) buffer->bytes[0] = 0;
}

void host_buffer_swap(host_buffer* a, host_buffer* b) {
  char* const bytes = a->bytes;
  const size_t length = a->length;
  const size_t room = a->room;
  a->bytes = b->bytes;
  a->length = b->length;
  a->room = b->room;
  b->bytes = bytes;
  b->length = length;
  b->room = room;
}

static bool read_all(int descriptor, size_t size, host_buffer* out) {
  if (!host_buffer_reserve(out, size)) return false;
  while (size > 0) {
    const ssize_t got = read(descriptor, out->bytes + out->length, size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;  // it became shorter in the meantime
    out->length += static_cast<size_t>(got);
    size -= static_cast<size_t>(got);
  }
  out->bytes[out->length] = 0;
  return true;
}

host_read_result host_read_file(const char* path, size_t most, host_buffer* out) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0)
    return errno == ENOENT || errno == ENOTDIR ? HOST_READ_MISSING : HOST_READ_FAILED;
  struct stat facts;
  const bool read = fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode) &&
                    static_cast<uint64_t>(facts.st_size) <= most &&
                    read_all(descriptor, static_cast<size_t>(facts.st_size), out);
  close(descriptor);
  return read ? HOST_READ_OK : HOST_READ_FAILED;
}

bool host_write_all(int descriptor, const void* bytes, size_t length) {
  const char* at = static_cast<const char*>(bytes);
  while (length > 0) {
    const ssize_t put = write(descriptor, at, length);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    at += put;
    length -= static_cast<size_t>(put);
  }
  return true;
}
