// The download of an installer: one HTTP GET into a file.
#pragma once

#include <stdint.h>

struct xp_path;
struct xp_str;

// Fetches `url` into the existing empty file at `path`, through the HTTP proxy "host:port" when
// `proxy` has text. There is no retry, no resuming and no following of redirects; a body in the
// gzip coding is decoded on the way. A file left behind by a failure is the caller's to delete.
//
// 0 on success; a negative code (object/xp_result.h) when the exchange failed; 1 when no response
// came; otherwise the HTTP status that wasn't 200.
[[nodiscard]] int32_t ruvo_download(xp_str* url, xp_str* proxy, xp_path* path);
