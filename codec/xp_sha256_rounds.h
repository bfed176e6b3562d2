// The 64 rounds of a block, for the engines that compute them by ordinary instructions. Inlined, so
// that each engine compiles them for its own processor.
#pragma once

#include <stdint.h>

#include <bit>

// Round `i` of eight, behind which the variables stand in their places again. `b_xor_c` is what
// the majority of this round shares with the one before.
template <uint32_t i>
[[gnu::always_inline]] inline void xp_sha256_round(uint32_t (&s)[8], uint32_t& b_xor_c,
                                                   uint32_t sum) {
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
[[gnu::always_inline]] inline void xp_sha256_rounds(uint32_t* h, const uint32_t* sums) {
  uint32_t s[8] = {h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7]};
  uint32_t b_xor_c = s[1] ^ s[2];
  for (uint32_t i = 0; i < 64; i += 8) {
    xp_sha256_round<0>(s, b_xor_c, sums[i]);
    xp_sha256_round<1>(s, b_xor_c, sums[i + 1]);
    xp_sha256_round<2>(s, b_xor_c, sums[i + 2]);
    xp_sha256_round<3>(s, b_xor_c, sums[i + 3]);
    xp_sha256_round<4>(s, b_xor_c, sums[i + 4]);
    xp_sha256_round<5>(s, b_xor_c, sums[i + 5]);
    xp_sha256_round<6>(s, b_xor_c, sums[i + 6]);
    xp_sha256_round<7>(s, b_xor_c, sums[i + 7]);
  }
  for (int i = 0; i < 8; i++)
    h[i] += s[i];
}
