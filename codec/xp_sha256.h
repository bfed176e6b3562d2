// SHA-256 (FIPS 180-4), at the speed of the processor at hand.
#pragma once

#include <stddef.h>
#include <stdint.h>

// The caller's record, plain data: it can be copied in the middle of a message.
struct xp_sha256 {
  uint32_t h[8];      // the chaining value; behind xp_sha256_final the digest, first word first
  uint64_t bits;      // bits fed so far
  uint8_t block[64];  // the incomplete block
};

void xp_sha256_init(xp_sha256* state);
// Feeds `length` bytes. Whole blocks are taken from `bytes` without a copy.
void xp_sha256_update(xp_sha256* state, const void* bytes, uint32_t length);
// Pads and finishes: `h` is the digest, whose 32 bytes are its words in big-endian order. `bits`
// and `block` are of no use any more.
void xp_sha256_final(xp_sha256* state);

// ---- the ways to compute it --------------------------------------------------------------------

// Each gives the same digests. The fastest one that the processor supports is chosen at first use.
struct xp_sha256_engine {
  const char* name;
  bool (*supported)();
  void (*blocks)(uint32_t* h, const uint8_t* bytes, size_t count);  // of 64 bytes each
};

// Fastest first; the last one is plain C++ and always supported.
constexpr size_t XP_SHA256_ENGINES = 3;
extern const xp_sha256_engine* const xp_sha256_engines[XP_SHA256_ENGINES];

// The engine in use.
const xp_sha256_engine* xp_sha256_engine_in_use();
// Uses another engine from now on, as a comparison of them does; null chooses anew. The engine must
// be supported.
void xp_sha256_use(const xp_sha256_engine* engine);

// The round constants of the standard.
extern const uint32_t xp_sha256_k[64];

// For processors with the SHA instructions, and for those with AVX2 and BMI2. Without them in the
// build's architecture `supported` is always false.
extern const xp_sha256_engine xp_sha256_sha_instructions;
extern const xp_sha256_engine xp_sha256_avx2;
extern const xp_sha256_engine xp_sha256_portable;
