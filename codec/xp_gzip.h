// `gzip`: a decoder for one gzip member (RFC 1952), as a stream that is written to. It takes the
// compressed data in pieces of any size, parses the member's header by itself, expands the
// deflate data, checks the trailer and writes the decoded bytes on to another stream.
//
// `write` takes all bytes, or fails:
//   XP_E_STREAM (-1)     zlib found an error; the stream behind is not open
//   XP_E_IO              bytes behind the end of the member
//   XP_E_GZIP_SIGNATURE  not a gzip member, or not deflate
//   XP_E_GZIP_HEADER     reserved flags, or a header field beyond any size
//   XP_E_GZIP_CHECKSUM, XP_E_GZIP_LENGTH  the decoded bytes differ from what the trailer says
// or the code with which the stream behind refused. Bytes behind the trailer in the same call are
// dropped. Closing in the middle of a member is no failure, and what has been decoded stays.
#pragma once

#include <stdint.h>

struct xp_http;
struct xp_stream;

// A decoder factory (stream/xp_http.h). Null for a null `output` and for no memory.
xp_stream* xp_gzip_stream_new(xp_http* http, xp_stream* output, void* argument);
