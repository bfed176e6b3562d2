// The stream interface. A stream is an object with seven further slots and an open count. Each
// kind fills the slots itself; callers go through the guarded forms below and nothing else calls
// a stream's slot.
#pragma once

#include "format/xp_fmt.h"
#include "object/xp_object.h"
#include "object/xp_result.h"

enum xp_stream_mode : uint32_t {
  STREAM_MODE_WRITE = 0x1,       // clear: reading
  STREAM_MODE_TRUNCATE = 0x100,  // a file is cut to zero length on opening
  STREAM_MODE_APPEND = 0x200,    // a file is positioned at its end on opening
};

// Selectors of `option` that several kinds share; the argument is a pointer to the type named.
enum xp_stream_selector : int32_t {
  STREAM_OPTION_FLAGS = 1,  // int32_t: always 0
  STREAM_OPTION_SEEK = 2,   // int64_t: go to this position
  STREAM_OPTION_TELL = 3,   // int64_t: current position
  STREAM_OPTION_NAME = 4,   // char*: name of the stream, a block of the heap for the caller
  STREAM_OPTION_PUSH = static_cast<int32_t>(xp_tag("push")),   // int32_t: result of writing out
  STREAM_OPTION_WIDTH = static_cast<int32_t>(xp_tag("wdth")),  // int32_t: columns of the output
};

struct xp_stream;

using xp_stream_open_slot = int32_t (*)(xp_stream* stream, uint32_t mode);
using xp_stream_close_slot = int32_t (*)(xp_stream* stream);
// Bytes delivered (1 to length), 0 at the end of the data, or a negative code. File streams give
// XP_E_EOF instead of 0.
using xp_stream_read_slot = int32_t (*)(xp_stream* stream, void* buffer, int32_t length);
// Bytes accepted, or a negative code.
using xp_stream_write_slot = int32_t (*)(xp_stream* stream, const void* bytes, int32_t length);
// *out receives the bytes that the stream holds, -1 for unknown.
using xp_stream_size_slot = int32_t (*)(xp_stream* stream, int64_t* out);
using xp_stream_rewind_slot = int32_t (*)(xp_stream* stream);
// An output through a null argument is skipped; an unknown selector is XP_E_STREAM.
using xp_stream_option_slot = int32_t (*)(xp_stream* stream, int32_t selector, void* argument);

struct xp_stream : xp_object {
  xp_stream_open_slot open;
  xp_stream_close_slot close;
  xp_stream_read_slot read;
  xp_stream_write_slot write;
  xp_stream_size_slot size;
  xp_stream_rewind_slot rewind;
  xp_stream_option_slot option;  // may be null
  int32_t open_count;  // users: 0 closed, positive open for writing, negative for reading only
};

// Opens a stream, or adds a user to an open one. XP_E_STREAM for null and for writing to a stream
// that is open for reading; otherwise 0 or what the kind's open gave.
[[nodiscard]] int32_t xp_stream_open(xp_stream* stream, uint32_t mode);
// Takes one user away; the last one closes. Null and closed streams are fine.
void xp_stream_close(xp_stream* stream);
int32_t xp_stream_read(xp_stream* stream, void* buffer, int32_t length);
int32_t xp_stream_write(xp_stream* stream, const void* bytes, int32_t length);
// Leaves *out alone when the stream is closed.
int32_t xp_stream_size(xp_stream* stream, int64_t* out);
int32_t xp_stream_rewind(xp_stream* stream);
// Works on closed streams, too.
int32_t xp_stream_option(xp_stream* stream, int32_t selector, void* argument);

// The control slot of every stream kind: 1 for XP_CTL_SUPPORTS of `strm`.
constexpr uint32_t XP_STREAM_PROTOCOL = xp_tag("strm");
xp_word xp_stream_is_stream(xp_object* object, int32_t selector, uint32_t argument, void* pointer);

// Formats and writes. A format of one character is written as it stands.
int32_t xp_stream_vprintf(xp_stream* stream, const char* format, const uint64_t* slots,
                          uint32_t count);

template <class... A>
int32_t xp_stream_printf(xp_stream* stream, const char* format, const A&... arguments) {
  const uint64_t slots[sizeof...(A) + 1] = {xp_fmt_slot(arguments)..., 0};
  return xp_stream_vprintf(stream, format, slots, sizeof...(A));
}

// Stubs that kinds put into slots without a meaning for them.
int32_t xp_stream_no_read(xp_stream* stream, void* buffer, int32_t length);        // XP_E_STREAM
int32_t xp_stream_no_write(xp_stream* stream, const void* bytes, int32_t length);  // XP_E_STREAM
int32_t xp_stream_unknown_size(xp_stream* stream, int64_t* out);                   // -1, result 0
int32_t xp_stream_no_rewind(xp_stream* stream);                                    // XP_E_STREAM
int32_t xp_stream_close_nothing(xp_stream* stream);                                // 0
