// `stdi` and `stde`: standard input, and standard error or output. A console gets UTF-16, anything
// else the bytes unchanged; what the handle is, is asked at every call.
//
// Beyond XP_E_STREAM for a wrong direction these streams use no negative codes: a failed read or
// write shows as a short count or 0, and callers take a count below 1 as the end.
#pragma once

#include "stream/xp_stream.h"

constexpr uint32_t XP_CONSOLE_IN = xp_tag("stdi");
constexpr uint32_t XP_CONSOLE_OUT = xp_tag("stde");

constexpr int32_t XP_CONSOLE_KIND_OUTPUT = 1;  // standard output, as any number but 2
constexpr int32_t XP_CONSOLE_KIND_ERROR = 2;   // standard error

struct xp_console_stream : xp_stream {
  int32_t kind;            // 2: standard error; otherwise standard output; 0 in `stdi`
  uint32_t pending;        // decoded bytes waiting (`stdi`)
  char pending_bytes[16];  // UTF-8 left from the last character read (`stdi`)
};

// Standard input, to be opened for reading. On a console a read waits until the caller's buffer is
// full or the console gives no more: it knows no lines. Null when memory is out.
xp_stream* xp_console_input_new();
// Standard error or output by `kind`, to be opened for writing. A write on a console takes all of
// the text or nothing. Answers STREAM_OPTION_PUSH (writes out what the system holds; 0 or -1) and
// STREAM_OPTION_WIDTH (columns of the visible window, 80 when redirected). Null when memory is out.
xp_stream* xp_console_output_new(int32_t kind);
