// A growing run of bytes on the process heap, and whole files read into one.
#pragma once

#include <stddef.h>
#include <stdint.h>

// Owns its bytes and frees them at the end of the scope. There is always room for a NUL behind
// the last byte once something was stored, and it is kept there.
struct host_buffer {
  host_buffer() = default;
  host_buffer(const host_buffer&) = delete;
  host_buffer& operator=(const host_buffer&) = delete;
  ~host_buffer();

  char* bytes = nullptr;
  size_t length = 0;
  size_t room = 0;
};

// Each gives false when memory is out and then leaves the buffer as it was.
[[nodiscard]] bool host_buffer_reserve(host_buffer* buffer, size_t more);
[[nodiscard]] bool host_buffer_add(host_buffer* buffer, const void* bytes, size_t length);
[[nodiscard]] bool host_buffer_add_text(host_buffer* buffer, const char* text);
// Puts `length` bytes in the place of the `removed` bytes at `offset`. The bytes may not lie in
// the buffer itself.
[[nodiscard]] bool host_buffer_replace(host_buffer* buffer, size_t offset, size_t removed,
                                       const void* bytes, size_t length);
void host_buffer_clear(host_buffer* buffer);
void host_buffer_swap(host_buffer* a, host_buffer* b);

enum host_read_result { HOST_READ_OK, HOST_READ_MISSING, HOST_READ_FAILED };

// Appends a whole file (Linux path) of at most `most` bytes; a longer one is a failure.
host_read_result host_read_file(const char* path, size_t most, host_buffer* out);
// Writes all bytes to an open descriptor, however often it takes.
bool host_write_all(int descriptor, const void* bytes, size_t length);
