// `defl` and `infl`: filters over zlib that see raw deflate data (RFC 1951) and nothing else.
#pragma once

#include <zlib.h>

#include "object/xp_object.h"

constexpr uint32_t XP_DEFLATE = xp_tag("defl");
constexpr uint32_t XP_INFLATE = xp_tag("infl");

enum xp_filter_flag : uint32_t {
  XP_FILTER_FINISH = 0x1,  // this is the last input (`defl`)
  XP_FILTER_SYNC = 0x2,    // bring everything out up to here (`defl`)
};

// A run of bytes.
struct xp_filter_span {
  uint8_t* bytes;
  uint32_t count;
};

struct xp_filter;

using xp_filter_step_slot = int32_t (*)(xp_filter* filter, uint32_t flags, xp_filter_span* input,
                                        xp_filter_span* output);
using xp_filter_finished_slot = int32_t (*)(xp_filter* filter);

struct xp_filter : xp_object {
  xp_filter_step_slot step;
  xp_filter_finished_slot finished;
  int32_t ended;  // `infl` has met the end of the deflate data
  z_stream zlib;
};

// A filter of `kind` 0 compresses at `level` (1 to 9, 0 not at all, -1 meaning 6); any other kind
// expands. Null when zlib can't be set up.
xp_filter* xp_filter_new(int32_t kind, int32_t level);

// Moves bytes from `input`, which then stands behind what was consumed, to `output`, whose count is
// on entry the room and on return what was produced. A null `output->bytes` asks for a block of
// 0x8000 bytes, which is the caller's to free; when nothing was produced it is null again.
// 1: the output is full, repeat the step. 0: there is room left. -1: an error of zlib, or no
// memory for the block.
int32_t xp_filter_step(xp_filter* filter, uint32_t flags, xp_filter_span* input,
                       xp_filter_span* output);
// Whether the end of the deflate data has been reached; always 0 for `defl`.
int32_t xp_filter_finished(xp_filter* filter);
