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

// The open and close slots are called by the first and the last user alone, and leave the open
// count to the guarded forms. A wrapper's open and close do the same to its inner stream, as one
// user of it. At the last release a kind frees what is still open itself, without its close slot.
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
// Bytes delivered (1 to `length`), 0 at the end of the data (file streams: XP_E_EOF), or a negative
// code; XP_E_STREAM for null and for a closed stream. A loop over any kind ends on a result
// below 1.
int32_t xp_stream_read(xp_stream* stream, void* buffer, int32_t length);
// Bytes accepted or a negative code; XP_E_STREAM for null, for a stream that is not open for
// writing and for null `bytes`. A kind with a buffer may accept bytes without sending them.
int32_t xp_stream_write(xp_stream* stream, const void* bytes, int32_t length);
// *out receives the bytes that the stream holds: -1 for unknown, so whoever sizes a buffer by it
// checks first. XP_E_STREAM for null and for a closed stream, and *out is then left alone.
int32_t xp_stream_size(xp_stream* stream, int64_t* out);
// Back to the first byte; XP_E_STREAM for null, for a closed stream and where it has no meaning.
int32_t xp_stream_rewind(xp_stream* stream);
// Sets or asks what one kind knows; see the selectors above. Works on closed streams, too: settings
// are given before `open`. XP_E_STREAM for null and for an unknown selector.
int32_t xp_stream_option(xp_stream* stream, int32_t selector, void* argument);

// The control slot of every stream kind: 1 for XP_CTL_SUPPORTS of `strm`.
constexpr uint32_t XP_STREAM_PROTOCOL = xp_tag("strm");
xp_word xp_stream_is_stream(xp_object* object, int32_t selector, uint32_t argument, void* pointer);

// Formats and writes: the result of the write, 0 for a null or empty format, XP_E_STREAM when the
// stream is not open for writing or memory is out. A format of one character is written as it
// stands, without the engine, so a lone "%" is a percent sign.
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
