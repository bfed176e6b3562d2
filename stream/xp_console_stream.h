// `stdi` and `stde`: standard input, and standard error or output. A console gets UTF-16, anything
// else the bytes unchanged; what the handle is, is asked at every call.
#pragma once

#include "stream/xp_stream.h"

constexpr uint32_t XP_CONSOLE_IN = xp_tag("stdi");
constexpr uint32_t XP_CONSOLE_OUT = xp_tag("stde");

struct xp_console_stream : xp_stream {
  int32_t kind;            // 2: standard error; otherwise standard output; 0 in `stdi`
  uint32_t pending;        // decoded bytes waiting (`stdi`)
  char pending_bytes[16];  // UTF-8 left from the last character read (`stdi`)
};

xp_stream* xp_console_input_new();
xp_stream* xp_console_output_new(int32_t kind);
