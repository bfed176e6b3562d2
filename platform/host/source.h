// A run of bytes that is looked at in pieces: a file of any size, or bytes in memory. What is
// read from it is copied, so that a file takes no more memory than its reader asks for, and one
// that becomes shorter meanwhile is a failed read.
#pragma once

#include <stddef.h>
#include <stdint.h>

struct host_source {
  const uint8_t* bytes = nullptr;  // in memory, else null
  int descriptor = -1;             // of a file
  uint64_t size = 0;
};

// Bytes that outlive the source; there is nothing to close.
host_source host_source_of(const void* bytes, size_t size);
// Opens a regular file (Linux path). False when it can't be opened or is of another kind; there is
// nothing to close then.
[[nodiscard]] bool host_source_open(const char* path, host_source* out);
void host_source_close(host_source* source);
// Copies exactly `size` bytes from `offset`. False when they aren't all there or can't be read.
[[nodiscard]] bool host_source_read(const host_source* source, uint64_t offset, void* out,
                                    size_t size);
