// `stmc`: a socket with what a line protocol needs, reading up to a CR LF and giving back what was
// read past the line. A body is received from a plain socket in runs of up to 128 KB, whatever the
// size of the single reads.
#pragma once

#include "stream/xp_socket.h"

constexpr uint32_t XP_CONNECTION = xp_tag("stmc");

struct xp_connection : xp_stream {
  xp_stream* inner;        // the socket
  uint32_t held_count;     // bytes read from the socket and not delivered yet
  uint32_t held_capacity;  // bytes at `held_bytes`
  char* held_bytes;        // may be null
  uint32_t held_start;     // offset of the first held byte
};

// A closed connection to the proxy of an `xstr` or the server of an `xurl`; null for anything else
// and for no memory. Its options are those of the socket.
xp_stream* xp_conn_stream_new(xp_object* target);

// Reads a line of at most `limit` bytes. Returns its length without the CR LF; a lone CR or LF is
// ordinary text. A longer line comes in pieces, and so does a last one without a delimiter. -1 when
// the peer is gone and nothing is left, or the code of the failed read. No NUL is written.
int32_t xp_conn_read_line(xp_stream* stream, char* buffer, int32_t limit);
