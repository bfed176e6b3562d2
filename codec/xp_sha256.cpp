#include "codec/xp_sha256.h"

#include <string.h>

#include <bit>

alignas(64) const uint32_t xp_sha256_k[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// ---- plain C++ ---------------------------------------------------------------------------------

namespace {

constexpr uint32_t BLOCK = 64;

uint32_t load_big_endian(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

void store_big_endian(uint8_t* out, uint32_t word) {
  for (int i = 0; i < 4; i++)
    out[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
}

// Round `i` of eight, behind which the variables stand in their places again. `b_xor_c` is what
// the majority of this round shares with the one before.
template <uint32_t i>
inline void one_round(uint32_t (&s)[8], uint32_t& b_xor_c, uint32_t sum) {
  const uint32_t a = s[(8 - i) % 8], b = s[(9 - i) % 8];
  const uint32_t e = s[(12 - i) % 8], f = s[(13 - i) % 8], g = s[(14 - i) % 8];
  uint32_t& d = s[(11 - i) % 8];
  uint32_t& h = s[(15 - i) % 8];
  const uint32_t sigma1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
  const uint32_t sigma0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
  // The two halves of the choice have no bit in common, so they can be added one by one.
  h += sum + (e & f) + (~e & g) + sigma1;
  d += h;
  const uint32_t a_xor_b = a ^ b;
  b_xor_c = (a_xor_b & b_xor_c) ^ b;
  h += b_xor_c;
  asm("" : "+r"(h));
  h += sigma0;
  b_xor_c = a_xor_b;
}

// `sums` are the 64 words of the schedule, each with its round constant added.
void all_rounds(uint32_t* h, const uint32_t* sums) {
  // A vector load of words that have just been stored one by one stalls: volatile keeps the
  // compiler from it.
  volatile uint32_t* state = h;
  uint32_t s[8] = {state[0], state[1], state[2], state[3], state[4], state[5], state[6], state[7]};
  uint32_t b_xor_c = s[1] ^ s[2];
  for (uint32_t i = 0; i < 64; i += 8) {
    one_round<0>(s, b_xor_c, sums[i]);
    one_round<1>(s, b_xor_c, sums[i + 1]);
    one_round<2>(s, b_xor_c, sums[i + 2]);
    one_round<3>(s, b_xor_c, sums[i + 3]);
    one_round<4>(s, b_xor_c, sums[i + 4]);
    one_round<5>(s, b_xor_c, sums[i + 5]);
    one_round<6>(s, b_xor_c, sums[i + 6]);
    one_round<7>(s, b_xor_c, sums[i + 7]);
  }
  for (int i = 0; i < 8; i++)
    state[i] = state[i] + s[i];
}

void portable_block(uint32_t* h, const uint8_t* bytes) {
  uint32_t w[64];
  uint32_t sums[64];
  for (uint32_t i = 0; i < 64; i++) {
    if (i < 16) {
      w[i] = load_big_endian(bytes + 4 * i);
    } else {
      const uint32_t w15 = w[i - 15], w2 = w[i - 2];
      const uint32_t sigma0 = std::rotr(w15, 7) ^ std::rotr(w15, 18) ^ (w15 >> 3);
      const uint32_t sigma1 = std::rotr(w2, 17) ^ std::rotr(w2, 19) ^ (w2 >> 10);
      w[i] = w[i - 16] + sigma0 + w[i - 7] + sigma1;
    }
    sums[i] = w[i] + xp_sha256_k[i];
  }
  all_rounds(h, sums);
}

void portable_blocks(uint32_t* h, const uint8_t* bytes, size_t count) {
  for (; count > 0; count--, bytes += BLOCK)
    portable_block(h, bytes);
}

const xp_sha256_engine* engine;

}  // namespace

const xp_sha256_engine xp_sha256_portable = {
    .name = "portable", .supported = [] { return true; }, .blocks = portable_blocks};

// ---- the engine in use -------------------------------------------------------------------------

const xp_sha256_engine* const xp_sha256_engines[XP_SHA256_ENGINES] = {
    &xp_sha256_sha_instructions, &xp_sha256_avx2, &xp_sha256_portable};

void xp_sha256_use(const xp_sha256_engine* chosen) {
  engine = chosen;
}

const xp_sha256_engine* xp_sha256_engine_in_use() {
  if (engine) return engine;
  engine = &xp_sha256_portable;
  for (const xp_sha256_engine* faster : xp_sha256_engines) {
    if (!faster->supported()) continue;
    engine = faster;
    break;
  }
  return engine;
}

// ---- the digest --------------------------------------------------------------------------------

void xp_sha256_init(xp_sha256* state) {
  static constexpr uint32_t initial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                          0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  memcpy(state->h, initial, sizeof(initial));
  state->bits = 0;
}

void xp_sha256_update(xp_sha256* state, const void* bytes, uint32_t length) {
  if (length == 0) return;
  const auto* input = static_cast<const uint8_t*>(bytes);
  const auto held = static_cast<uint32_t>(state->bits / 8 % BLOCK);
  state->bits += static_cast<uint64_t>(length) * 8;
  if (held > 0) {
    const uint32_t missing = BLOCK - held;
    const uint32_t taken = length < missing ? length : missing;
    memcpy(state->block + held, input, taken);
    if (taken < missing) return;
    xp_sha256_engine_in_use()->blocks(state->h, state->block, 1);
    input += taken;
    length -= taken;
  }
  if (length >= BLOCK) xp_sha256_engine_in_use()->blocks(state->h, input, length / BLOCK);
  memcpy(state->block, input + length / BLOCK * BLOCK, length % BLOCK);
}

void xp_sha256_final(xp_sha256* state) {
  constexpr uint32_t COUNT_AT = BLOCK - 8;
  auto used = static_cast<uint32_t>(state->bits / 8 % BLOCK);
  state->block[used++] = 0x80;
  if (used > COUNT_AT) {
    memset(state->block + used, 0, BLOCK - used);
    xp_sha256_engine_in_use()->blocks(state->h, state->block, 1);
    used = 0;
  }
  memset(state->block + used, 0, COUNT_AT - used);
  store_big_endian(state->block + COUNT_AT, static_cast<uint32_t>(state->bits >> 32));
  store_big_endian(state->block + COUNT_AT + 4, static_cast<uint32_t>(state->bits));
  xp_sha256_engine_in_use()->blocks(state->h, state->block, 1);
}
