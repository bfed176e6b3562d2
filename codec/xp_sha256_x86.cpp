// The two engines for 64-bit x86 processors. Both are functions of a target of their own, so that
// the rest of the program runs on any processor; who calls them has asked `supported` before.
#include "codec/xp_sha256.h"

#if defined(__x86_64__)

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

// ---- AVX2 and BMI2 -----------------------------------------------------------------------------
//
// The schedules of two blocks are computed side by side, four words of each at once, a block in
// each half of a vector. That runs in between the scalar rounds of the first block, a long chain of
// instructions which leaves the vector units idle.

#define AVX2_TARGET __attribute__((target("avx2,bmi,bmi2"), always_inline)) inline

AVX2_TARGET __m256i rotated(__m256i words, int bits) {
  return _mm256_or_si256(_mm256_srli_epi32(words, bits), _mm256_slli_epi32(words, 32 - bits));
}

// Of two words, each of which stands twice in its 64 bits, so that a shift is a rotation.
AVX2_TARGET __m256i sigma1_of_pair(__m256i pair) {
  const __m256i rotations =
      _mm256_xor_si256(_mm256_srli_epi64(pair, 17), _mm256_srli_epi64(pair, 19));
  return _mm256_xor_si256(rotations, _mm256_srli_epi32(pair, 10));
}

// The four words behind w0 to w3, but for the part of w3 and of themselves.
AVX2_TARGET __m256i half_words(__m256i w0, __m256i w1, __m256i w2, __m256i w3) {
  const __m256i w15 = _mm256_alignr_epi8(w1, w0, 4);
  const __m256i rotations = _mm256_xor_si256(rotated(w15, 7), rotated(w15, 18));
  const __m256i sigma0 = _mm256_xor_si256(rotations, _mm256_srli_epi32(w15, 3));
  return _mm256_add_epi32(_mm256_add_epi32(w0, sigma0), _mm256_alignr_epi8(w3, w2, 4));
}

// The rest. The last two words need the first two, so sigma1 is taken twice.
AVX2_TARGET __m256i whole_words(__m256i words, __m256i w3) {
  const __m256i low_words = _mm256_set_epi64x(-1, 0x0b0a090803020100, -1, 0x0b0a090803020100);
  const __m256i high_words = _mm256_set_epi64x(0x0b0a090803020100, -1, 0x0b0a090803020100, -1);
  const __m256i first = sigma1_of_pair(_mm256_shuffle_epi32(w3, 0xFA));
  words = _mm256_add_epi32(words, _mm256_shuffle_epi8(first, low_words));
  const __m256i second = sigma1_of_pair(_mm256_shuffle_epi32(words, 0x50));
  return _mm256_add_epi32(words, _mm256_shuffle_epi8(second, high_words));
}

AVX2_TARGET __m256i load_pair(const uint8_t* first, const uint8_t* second) {
  const __m256i order = _mm256_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203,
                                          0x0c0d0e0f08090a0b, 0x0405060700010203);
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(second));
  return _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1), order);
}

// Schedules with the round constants added, of the first and of the second block.
struct two_schedules {
  alignas(16) uint32_t sums[2][64];
};

AVX2_TARGET void put_sums(two_schedules& out, __m256i words, uint32_t group) {
  const __m128i k = _mm_load_si128(reinterpret_cast<const __m128i*>(xp_sha256_k) + group);
  const __m256i sums = _mm256_add_epi32(words, _mm256_broadcastsi128_si256(k));
  _mm_store_si128(reinterpret_cast<__m128i*>(out.sums[0]) + group, _mm256_castsi256_si128(sums));
  _mm_store_si128(reinterpret_cast<__m128i*>(out.sums[1]) + group,
                  _mm256_extracti128_si256(sums, 1));
}

// A round on the variables with these names, in two halves that meet in the last lines. Written out
// because g++ and clang move registers about and take a tenth longer for it. `m` holds what the
// majority shares with the round before, `x` what it will share with the next one.
// clang-format off
#define ROUND(a, b, d, e, f, g, h, m, x, sum)  \
  "addl %[" #sum "], %[" #h "]\n\t"            \
  "rorx $25, %[" #e "], %[" #x "]\n\t"         \
  "rorx $11, %[" #e "], %[y]\n\t"              \
  "xorl %[y], %[" #x "]\n\t"                   \
  "andn %[" #g "], %[" #e "], %[z]\n\t"        \
  "rorx $6, %[" #e "], %[y]\n\t"               \
  "addl %[z], %[" #h "]\n\t"                   \
  "movl %[" #e "], %[z]\n\t"                   \
  "xorl %[y], %[" #x "]\n\t"                   \
  "andl %[" #f "], %[z]\n\t"                   \
  "addl %[z], %[" #h "]\n\t"                   \
  "addl %[" #x "], %[" #h "]\n\t"              \
  "addl %[" #h "], %[" #d "]\n\t"              \
  "movl %[" #a "], %[" #x "]\n\t"              \
  "rorx $22, %[" #a "], %[y]\n\t"              \
  "rorx $13, %[" #a "], %[z]\n\t"              \
  "xorl %[" #b "], %[" #x "]\n\t"              \
  "xorl %[y], %[z]\n\t"                        \
  "rorx $2, %[" #a "], %[y]\n\t"               \
  "andl %[" #x "], %[" #m "]\n\t"              \
  "xorl %[y], %[z]\n\t"                        \
  "xorl %[" #b "], %[" #m "]\n\t"              \
  "addl %[z], %[" #h "]\n\t"                   \
  "addl %[" #m "], %[" #h "]\n\t"
// clang-format on

// Two rounds; behind them `s` is turned by two places.
template <uint32_t i>
AVX2_TARGET void two_rounds(uint32_t (&s)[8], uint32_t& m, const uint32_t* sums) {
  uint32_t x, y, z;
  asm volatile(ROUND(a, b, d, e, f, g, h, m, x, first) ROUND(h, a, c, d, e, f, g, x, m, second)
               : [a] "+r"(s[(8 - i) % 8]), [b] "+r"(s[(9 - i) % 8]), [c] "+r"(s[(10 - i) % 8]),
                 [d] "+r"(s[(11 - i) % 8]), [e] "+r"(s[(12 - i) % 8]), [f] "+r"(s[(13 - i) % 8]),
                 [g] "+r"(s[(14 - i) % 8]), [h] "+r"(s[(15 - i) % 8]), [m] "+r"(m), [x] "=&r"(x),
                 [y] "=&r"(y), [z] "=&r"(z)
               : [first] "m"(sums[0]), [second] "m"(sums[1])
               : "cc");
}

template <uint32_t i>
AVX2_TARGET void four_scalar_rounds(uint32_t (&s)[8], uint32_t& m, const uint32_t* sums) {
  two_rounds<i>(s, m, sums);
  two_rounds<i + 2>(s, m, sums + 2);
}

// Holds the compiler's scheduler back from moving what made `vector` to another place between the
// rounds.
#define KEEP_IN_PLACE(vector) asm volatile("" : "+x"(vector))

// The working variables of a block. What has just been stored word by word is loaded in the same
// way, as a vector it would have to wait: that is what volatile is for.
AVX2_TARGET void begin_block(uint32_t (&s)[8], uint32_t& m, const volatile uint32_t* h) {
  for (int i = 0; i < 8; i++)
    s[i] = h[i];
  m = s[1] ^ s[2];
}

AVX2_TARGET void end_block(volatile uint32_t* h, const uint32_t (&s)[8]) {
  for (int i = 0; i < 8; i++)
    h[i] = h[i] + s[i];
}

// Four rounds of the first block by the group `done` of its schedule, and the group of both
// schedules that is four groups further on, in place of w0.
template <uint32_t done>
AVX2_TARGET void rounds_and_words(uint32_t (&s)[8], uint32_t& m, two_schedules& schedules,
                                  __m256i& w0, __m256i w1, __m256i w2, __m256i w3) {
  const uint32_t* sums = schedules.sums[0] + done * 4;
  w0 = half_words(w0, w1, w2, w3);
  KEEP_IN_PLACE(w0);
  two_rounds<done % 2 * 4>(s, m, sums);
  w0 = whole_words(w0, w3);
  KEEP_IN_PLACE(w0);
  two_rounds<done % 2 * 4 + 2>(s, m, sums + 2);
  put_sums(schedules, w0, done + 4);
}

template <uint32_t done>
AVX2_TARGET void sixteen_rounds_and_words(uint32_t (&s)[8], uint32_t& m, two_schedules& schedules,
                                          __m256i& w0, __m256i& w1, __m256i& w2, __m256i& w3) {
  rounds_and_words<done>(s, m, schedules, w0, w1, w2, w3);
  rounds_and_words<done + 1>(s, m, schedules, w1, w2, w3, w0);
  rounds_and_words<done + 2>(s, m, schedules, w2, w3, w0, w1);
  rounds_and_words<done + 3>(s, m, schedules, w3, w0, w1, w2);
}

AVX2_TARGET void sixteen_rounds(uint32_t (&s)[8], uint32_t& m, const uint32_t* sums) {
  four_scalar_rounds<0>(s, m, sums);
  four_scalar_rounds<4>(s, m, sums + 4);
  four_scalar_rounds<0>(s, m, sums + 8);
  four_scalar_rounds<4>(s, m, sums + 12);
}

// The first block, and the schedule of the second. As two functions with nothing else in them, so
// that the variables of the rounds have the registers to themselves, and no vector is saved on the
// stack: 64-bit Windows aligns that to 16 bytes only.
__attribute__((target("avx2,bmi,bmi2"), noinline)) void first_block(uint32_t* h,
                                                                    two_schedules& schedules,
                                                                    const uint8_t* first,
                                                                    const uint8_t* second) {
  uint32_t s[8], m;
  begin_block(s, m, h);
  __m256i w0 = load_pair(first, second);
  __m256i w1 = load_pair(first + 16, second + 16);
  __m256i w2 = load_pair(first + 32, second + 32);
  __m256i w3 = load_pair(first + 48, second + 48);
  put_sums(schedules, w0, 0);
  put_sums(schedules, w1, 1);
  put_sums(schedules, w2, 2);
  put_sums(schedules, w3, 3);
  sixteen_rounds_and_words<0>(s, m, schedules, w0, w1, w2, w3);
  sixteen_rounds_and_words<4>(s, m, schedules, w0, w1, w2, w3);
  sixteen_rounds_and_words<8>(s, m, schedules, w0, w1, w2, w3);
  sixteen_rounds(s, m, schedules.sums[0] + 48);
  end_block(h, s);
}

__attribute__((target("avx2,bmi,bmi2"), noinline)) void second_block(
    uint32_t* h, const two_schedules& schedules) {
  uint32_t s[8], m;
  begin_block(s, m, h);
  for (uint32_t i = 0; i < 64; i += 16)
    sixteen_rounds(s, m, schedules.sums[1] + i);
  end_block(h, s);
}

void avx2_blocks(uint32_t* h, const uint8_t* bytes, size_t count) {
  two_schedules schedules;
  for (; count > 1; count -= 2, bytes += 128) {
    first_block(h, schedules, bytes, bytes + 64);
    second_block(h, schedules);
  }
  if (count > 0) first_block(h, schedules, bytes, bytes);
}

bool has_avx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2");
}

}  // namespace

const xp_sha256_engine xp_sha256_sha_instructions = {
    .name = "sha instructions", .supported = has_sha_instructions, .blocks = sha_blocks};
const xp_sha256_engine xp_sha256_avx2 = {
    .name = "avx2", .supported = has_avx2, .blocks = avx2_blocks};

#else

const xp_sha256_engine xp_sha256_sha_instructions = {
    .name = "sha instructions", .supported = [] { return false; }, .blocks = nullptr};
const xp_sha256_engine xp_sha256_avx2 = {
    .name = "avx2", .supported = [] { return false; }, .blocks = nullptr};

#endif
