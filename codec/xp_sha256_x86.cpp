// The two engines for x86 processors. Both are functions of a target of their own, so that the rest
// of the program runs on any processor; who calls them has asked `supported` before.
//
// No vector here is wider than 128 bits: the stack of 64-bit Windows is aligned to that, and g++
// takes it for more when it saves wider ones.
#include "codec/xp_sha256.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>
#include <immintrin.h>

// ---- the SHA instructions ----------------------------------------------------------------------

namespace {

#define SHA_TARGET __attribute__((target("sha,sse4.1"), always_inline)) inline

// Bytes of four big-endian words to numbers.
SHA_TARGET __m128i load_words(const uint8_t* bytes) {
  const __m128i order = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), order);
}

// The working variables as the instructions want them: a, b, e, f and c, d, g, h, high word first.
struct halves {
  __m128i abef;
  __m128i cdgh;
};

SHA_TARGET void four_rounds(halves& state, __m128i words, uint32_t group) {
  const auto* k = reinterpret_cast<const __m128i*>(xp_sha256_k) + group;
  const __m128i sums = _mm_add_epi32(words, _mm_load_si128(k));
  state.cdgh = _mm_sha256rnds2_epu32(state.cdgh, state.abef, sums);
  state.abef = _mm_sha256rnds2_epu32(state.abef, state.cdgh, _mm_shuffle_epi32(sums, 0x0E));
}

// The four words of the schedule behind w0 to w3, in place of w0.
SHA_TARGET void extend(__m128i& w0, __m128i w1, __m128i w2, __m128i w3) {
  const __m128i sums = _mm_add_epi32(_mm_sha256msg1_epu32(w0, w1), _mm_alignr_epi8(w3, w2, 4));
  w0 = _mm_sha256msg2_epu32(sums, w3);
}

__attribute__((target("sha,sse4.1"))) void sha_blocks(uint32_t* h, const uint8_t* bytes,
                                                      size_t count) {
  auto* words = reinterpret_cast<__m128i*>(h);
  const __m128i dcba = _mm_loadu_si128(words);
  const __m128i hgfe = _mm_loadu_si128(words + 1);
  const __m128i cdab = _mm_shuffle_epi32(dcba, 0xB1);
  const __m128i efgh = _mm_shuffle_epi32(hgfe, 0x1B);
  halves state = {_mm_alignr_epi8(cdab, efgh, 8), _mm_blend_epi16(efgh, cdab, 0xF0)};
  for (; count > 0; count--, bytes += 64) {
    const halves before = state;
    __m128i w0 = load_words(bytes);
    __m128i w1 = load_words(bytes + 16);
    __m128i w2 = load_words(bytes + 32);
    __m128i w3 = load_words(bytes + 48);
    for (uint32_t group = 0; group < 12; group += 4) {
      four_rounds(state, w0, group);
      extend(w0, w1, w2, w3);
      four_rounds(state, w1, group + 1);
      extend(w1, w2, w3, w0);
      four_rounds(state, w2, group + 2);
      extend(w2, w3, w0, w1);
      four_rounds(state, w3, group + 3);
      extend(w3, w0, w1, w2);
    }
    four_rounds(state, w0, 12);
    four_rounds(state, w1, 13);
    four_rounds(state, w2, 14);
    four_rounds(state, w3, 15);
    state.abef = _mm_add_epi32(state.abef, before.abef);
    state.cdgh = _mm_add_epi32(state.cdgh, before.cdgh);
  }
  const __m128i feba = _mm_shuffle_epi32(state.abef, 0x1B);
  const __m128i dchg = _mm_shuffle_epi32(state.cdgh, 0xB1);
  _mm_storeu_si128(words, _mm_blend_epi16(feba, dchg, 0xF0));
  _mm_storeu_si128(words + 1, _mm_alignr_epi8(dchg, feba, 8));
}

bool has_sha_instructions() {
  constexpr uint32_t SHA_BIT = 1u << 29;  // leaf 7, EBX
  uint32_t a = 0, b = 0, c = 0, d = 0;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & SHA_BIT) != 0 &&
         __builtin_cpu_supports("sse4.1");
}

// ---- AVX and BMI2 ------------------------------------------------------------------------------
//
// Four words of the schedule are computed at once, in between the rounds, which are bound by the
// latency of their scalar chain and leave the vector units idle.

#define AVX_TARGET __attribute__((target("avx,bmi,bmi2"), always_inline)) inline

AVX_TARGET __m128i rotated(__m128i words, int bits) {
  return _mm_or_si128(_mm_srli_epi32(words, bits), _mm_slli_epi32(words, 32 - bits));
}

// The last two of the four words need the first two: sigma1 is taken twice, of two words each time.
AVX_TARGET __m128i sigma1_of_pair(__m128i pair) {
  // Each word stands twice in 64 bits, so that a shift is a rotation.
  return _mm_xor_si128(_mm_xor_si128(_mm_srli_epi64(pair, 17), _mm_srli_epi64(pair, 19)),
                       _mm_srli_epi32(pair, 10));
}

AVX_TARGET __m128i next_words(__m128i w0, __m128i w1, __m128i w2, __m128i w3) {
  const __m128i w15 = _mm_alignr_epi8(w1, w0, 4);
  const __m128i s0 =
      _mm_xor_si128(_mm_xor_si128(rotated(w15, 7), rotated(w15, 18)), _mm_srli_epi32(w15, 3));
  __m128i sums = _mm_add_epi32(_mm_add_epi32(w0, s0), _mm_alignr_epi8(w3, w2, 4));
  const __m128i low_words = _mm_set_epi64x(-1, 0x0b0a090803020100);
  const __m128i high_words = _mm_set_epi64x(0x0b0a090803020100, -1);
  const __m128i first = sigma1_of_pair(_mm_shuffle_epi32(w3, 0xFA));
  sums = _mm_add_epi32(sums, _mm_shuffle_epi8(first, low_words));
  const __m128i second = sigma1_of_pair(_mm_shuffle_epi32(sums, 0x50));
  return _mm_add_epi32(sums, _mm_shuffle_epi8(second, high_words));
}

// Round `i` of the eight behind which the variables stand in their places again. `b_xor_c` is what
// the majority of this round shares with the one before. Written out because the compilers move
// registers about more: g++ takes a tenth longer with the same formulas.
template <uint32_t i>
AVX_TARGET void one_round(uint32_t (&s)[8], uint32_t& b_xor_c, const uint32_t& sum) {
  uint32_t x, y, z;
  asm("addl %[sum], %[h]\n\t"
      "rorx $25, %[e], %[x]\n\t"
      "rorx $11, %[e], %[y]\n\t"
      "xorl %[y], %[x]\n\t"
      "andn %[g], %[e], %[z]\n\t"
      "rorx $6, %[e], %[y]\n\t"
      "addl %[z], %[h]\n\t"  // the halves of the choice have no bit in common: each is added
      "movl %[e], %[z]\n\t"
      "xorl %[y], %[x]\n\t"
      "andl %[f], %[z]\n\t"
      "addl %[z], %[h]\n\t"
      "addl %[x], %[h]\n\t"
      "addl %[h], %[d]\n\t"
      "movl %[a], %[x]\n\t"
      "rorx $22, %[a], %[y]\n\t"
      "rorx $13, %[a], %[z]\n\t"
      "xorl %[b], %[x]\n\t"
      "xorl %[y], %[z]\n\t"
      "rorx $2, %[a], %[y]\n\t"
      "andl %[x], %[m]\n\t"
      "xorl %[y], %[z]\n\t"
      "xorl %[b], %[m]\n\t"  // the majority: b, or where a = b != c, c
      "addl %[z], %[h]\n\t"
      "addl %[m], %[h]"
      : [h] "+r"(s[(15 - i) % 8]), [d] "+r"(s[(11 - i) % 8]), [m] "+r"(b_xor_c), [x] "=&r"(x),
        [y] "=&r"(y), [z] "=&r"(z)
      : [a] "r"(s[(8 - i) % 8]), [b] "r"(s[(9 - i) % 8]), [e] "r"(s[(12 - i) % 8]),
        [f] "r"(s[(13 - i) % 8]), [g] "r"(s[(14 - i) % 8]), [sum] "m"(sum)
      : "cc");
  b_xor_c = x;
}

template <uint32_t group>
AVX_TARGET void four_scalar_rounds(uint32_t (&s)[8], uint32_t& b_xor_c, const uint32_t* sums) {
  one_round<group * 4>(s, b_xor_c, sums[0]);
  one_round<group * 4 + 1>(s, b_xor_c, sums[1]);
  one_round<group * 4 + 2>(s, b_xor_c, sums[2]);
  one_round<group * 4 + 3>(s, b_xor_c, sums[3]);
}

AVX_TARGET void put_sums(uint32_t* sums, __m128i words, uint32_t group) {
  const auto* k = reinterpret_cast<const __m128i*>(xp_sha256_k) + group;
  _mm_store_si128(reinterpret_cast<__m128i*>(sums), _mm_add_epi32(words, _mm_load_si128(k)));
}

AVX_TARGET __m128i load_block_words(const uint8_t* bytes) {
  const __m128i order = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), order);
}

AVX_TARGET void sixteen_rounds(uint32_t (&s)[8], uint32_t& b_xor_c, uint32_t* sums, __m128i& w0, __m128i& w1, __m128i& w2, __m128i& w3, uint32_t group) {
      w0 = next_words(w0, w1, w2, w3);
      four_scalar_rounds<0>(s, b_xor_c, sums);
      put_sums(sums, w0, group);
      w1 = next_words(w1, w2, w3, w0);
      four_scalar_rounds<1>(s, b_xor_c, sums + 4);
      put_sums(sums + 4, w1, group + 1);
      w2 = next_words(w2, w3, w0, w1);
      four_scalar_rounds<0>(s, b_xor_c, sums + 8);
      put_sums(sums + 8, w2, group + 2);
      w3 = next_words(w3, w0, w1, w2);
      four_scalar_rounds<1>(s, b_xor_c, sums + 12);
      put_sums(sums + 12, w3, group + 3);
}

// A function of its own, so that the variables of the rounds have the registers to themselves.
__attribute__((target("avx,bmi,bmi2"), noinline)) void avx_block(uint32_t* h,
                                                                 const uint8_t* bytes) {
  alignas(16) uint32_t sums[16];
  uint32_t s[8] = {h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7]};
  uint32_t b_xor_c = s[1] ^ s[2];
  __m128i w0 = load_block_words(bytes);
  __m128i w1 = load_block_words(bytes + 16);
  __m128i w2 = load_block_words(bytes + 32);
  __m128i w3 = load_block_words(bytes + 48);
  put_sums(sums, w0, 0);
  put_sums(sums + 4, w1, 1);
  put_sums(sums + 8, w2, 2);
  put_sums(sums + 12, w3, 3);
  sixteen_rounds(s, b_xor_c, sums, w0, w1, w2, w3, 4);
  sixteen_rounds(s, b_xor_c, sums, w0, w1, w2, w3, 8);
  sixteen_rounds(s, b_xor_c, sums, w0, w1, w2, w3, 12);
  four_scalar_rounds<0>(s, b_xor_c, sums);
  four_scalar_rounds<1>(s, b_xor_c, sums + 4);
  four_scalar_rounds<0>(s, b_xor_c, sums + 8);
  four_scalar_rounds<1>(s, b_xor_c, sums + 12);
  for (int i = 0; i < 8; i++)
    h[i] += s[i];
}

void avx_blocks(uint32_t* h, const uint8_t* bytes, size_t count) {
  for (; count > 0; count--, bytes += 64)
    avx_block(h, bytes);
}

bool has_avx() {
  return __builtin_cpu_supports("avx") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2");
}

}  // namespace

const xp_sha256_engine xp_sha256_sha_instructions = {
    .name = "sha instructions", .supported = has_sha_instructions, .blocks = sha_blocks};
const xp_sha256_engine xp_sha256_avx = {.name = "avx", .supported = has_avx, .blocks = avx_blocks};

#else

const xp_sha256_engine xp_sha256_sha_instructions = {
    .name = "sha instructions", .supported = [] { return false; }, .blocks = nullptr};
const xp_sha256_engine xp_sha256_avx = {
    .name = "avx", .supported = [] { return false; }, .blocks = nullptr};

#endif
