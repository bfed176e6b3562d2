// `stmf`: the stream over a file. Opening never makes a file; `render` delivers its content.
#pragma once

#include "paths/xp_path.h"
#include "stream/xp_stream.h"

constexpr uint32_t XP_FILE_STREAM = xp_tag("stmf");

enum xp_file_stream_selector : int32_t {
  // xp_object*: the path, retained for the caller
  STREAM_OPTION_FILE_OBJECT = static_cast<int32_t>(xp_tag("fobj")),
  // uint32_t flags (bit 0: don't make an absent file), may be null: close and reopen by name
  STREAM_OPTION_ROLL = static_cast<int32_t>(xp_tag("roll")),
};

struct xp_file_stream : xp_stream {
  xp_path* path;
  xp_file_handle handle;  // 0 before the first open, XP_FILE_INVALID after a failed roll
  int64_t position;       // bytes gone through by read or set by seek; write doesn't move it
};

// Null for a null path and for no memory. The file is not touched.
xp_stream* xp_file_stream_new(xp_path* path);
