// `stmf`: the stream over a file named by a path object. A thin layer over the system's handle,
// without a buffer of its own. Opening never makes a file (xp_file_create does).
//
// - open: XP_E_NOT_FOUND when the file isn't there or can't be opened, XP_E_MEMORY, and
//   XP_E_POSITION when it can't be cut or positioned as the mode asks. While this stream writes,
//   others may read the file; while it reads, they may do both.
// - read: XP_E_EOF at the end, XP_E_IO for a failure. With a null buffer it goes forward by
//   `length`, also past the end, and counts that as read.
// - write: all of it, or XP_E_IO. Positions are 64 bits wide throughout.
// - render: the file's bytes from the start, whatever the position, up to the size of the buffer;
//   with a null buffer the file's length, at most 0x7FFFFFFF; 0 on any failure. A closed stream is
//   opened for it and closed again.
// - options: the shared selectors but STREAM_OPTION_PUSH and STREAM_OPTION_WIDTH, and those below.
//   STREAM_OPTION_NAME gives the bytes of the leaf name as its result, also for a null argument.
#pragma once

#include "paths/xp_path.h"
#include "stream/xp_stream.h"

constexpr uint32_t XP_FILE_STREAM = xp_tag("stmf");

// Flag of STREAM_OPTION_ROLL: an absent file is not made.
constexpr uint32_t XP_ROLL_EXISTING = 1;

enum xp_file_stream_selector : int32_t {
  // xp_object*: the path, retained for the caller
  STREAM_OPTION_FILE_OBJECT = static_cast<int32_t>(xp_tag("fobj")),
  // uint32_t flags (XP_ROLL_EXISTING), may be null: closes an open stream and opens it again under
  // the same path, at the end of the file, to follow one that was moved or replaced
  STREAM_OPTION_ROLL = static_cast<int32_t>(xp_tag("roll")),
};

struct xp_file_stream : xp_stream {
  xp_path* path;
  xp_file_handle handle;  // 0 before the first open, XP_FILE_INVALID after a failed roll
  int64_t position;       // bytes gone through by read or set by seek; write doesn't move it
};

// Null for a null path and for no memory. The file is not touched.
xp_stream* xp_file_stream_new(xp_path* path);
