// Random bytes from a small pool, which is stirred with MD4 (RFC 1320) at each use. The platform's
// random source fills it at the first stir and every 1048576th, the clock goes in at the first and
// every 128th. For one thread, as the whole system is.
#pragma once

#include <stdint.h>

// Stirs the pool. `mix` is any value that the caller has at hand; it goes in with the clock.
void xp_random_stir(uint32_t mix);

// Fills `buffer`. Each stir gives 8 bytes; the pool itself is never handed out. A count of 0 makes
// no stir.
void xp_random_bytes(void* buffer, uint32_t count);
