// `htrs`: the bytes of one HTTP response body, exactly: a counted number, or the chunks of chunked
// transfer coding (RFC 9112, 7.1) with the framing taken off.
#pragma once

#include "stream/xp_stream.h"

constexpr uint32_t XP_HTTP_BODY = xp_tag("htrs");

struct xp_http_body : xp_stream {
  xp_stream* inner;
  int64_t remaining;   // above 0: bytes to come; below 0: chunked; 0: the body has ended
  int64_t chunk_left;  // bytes left of the chunk; -1 before the first, 0 between chunks
};

// Null for a length of 0, for a null `inner` and for no memory. A negative length means chunked.
// The stream retains `inner` and never closes it.
//
// `size` gives the bytes still to come, -1 when chunked. A body that the peer cuts short ends in a
// plain 0; a malformed chunk header gives -1.
xp_stream* xp_http_transfer_new(xp_stream* inner, int64_t length);
