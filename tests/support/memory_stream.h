// A stream over bytes in memory, for tests of code that moves bytes: reads what it was given,
// keeps what is written, and can deliver in small pieces or fail.
#pragma once

#include <string>

#include "stream/xp_stream.h"

struct memory_stream : xp_stream {
  std::string* bytes;     // owned; reads come from here
  std::string* written;   // owned; writes go here
  int64_t position;       // of the next read
  int32_t most_per_read;  // a read delivers at most this many bytes; 0 for no limit
  int64_t fail_read_at;   // a read at or behind this position gives XP_E_IO; negative: none
  int64_t fail_write_at;  // a write that would pass this many bytes gives XP_E_IO; negative: none
  int32_t opens;          // times that the open slot was called
  int32_t closes;         // times that the close slot was called
};

// Knows STREAM_OPTION_SEEK and STREAM_OPTION_TELL; reads give 0 at the end.
memory_stream* memory_stream_new(std::string bytes);
