// Sixteen bytes of text at a time, for the searches and compares that long texts pay for. Vectors
// of the compiler's own, so the code is the same for every processor.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>

using xp_lanes = uint8_t __attribute__((vector_size(16)));
// What a compare of lanes gives: all bits of a lane set, or none.
using xp_lane_mask = int8_t __attribute__((vector_size(16)));

using xp_lane_halves = uint64_t __attribute__((vector_size(16)));

constexpr int32_t XP_LANES = 16;

inline xp_lanes xp_lanes_at(const char* text) {
  xp_lanes lanes;
  memcpy(&lanes, text, sizeof(lanes));
  return lanes;
}

template <class Word>
uint64_t xp_lanes_word(const char* text) {
  Word word;
  memcpy(&word, text, sizeof(word));
  return word;
}

// The bytes of a text shorter than XP_LANES, zeros behind them. Nothing beyond the text is read.
inline xp_lanes xp_lanes_of_short(const char* text, uint32_t length) {
  uint64_t low = 0;
  uint64_t high = 0;
  if (length >= 8) {
    low = xp_lanes_word<uint64_t>(text);
    if (length > 8) high = xp_lanes_word<uint64_t>(text + length - 8) >> (16 - length) * 8;
  } else if (length >= 4) {
    low = xp_lanes_word<uint32_t>(text) | xp_lanes_word<uint32_t>(text + length - 4)
                                              << (length - 4) * 8;
  } else if (length > 0) {
    low = xp_lanes_word<uint8_t>(text) |
          xp_lanes_word<uint8_t>(text + length / 2) << length / 2 * 8 |
          xp_lanes_word<uint8_t>(text + length - 1) << (length - 1) * 8;
  }
  return std::bit_cast<xp_lanes>(xp_lane_halves{low, high});
}

// Every lane this byte.
inline xp_lanes xp_lanes_of(char byte) {
  return xp_lanes{} + static_cast<uint8_t>(byte);
}

// Index of the first lane that is set, XP_LANES when none is. The first lane is the low byte.
inline int32_t xp_lanes_first(xp_lane_mask mask) {
  static_assert(std::endian::native == std::endian::little);
  const auto half = std::bit_cast<xp_lane_halves>(mask);
  if (half[0]) return std::countr_zero(half[0]) / 8;
  return half[1] ? 8 + std::countr_zero(half[1]) / 8 : XP_LANES;
}

// Whether any lane is set.
inline bool xp_lanes_any(xp_lane_mask mask) {
  const auto half = std::bit_cast<xp_lane_halves>(mask);
  return (half[0] | half[1]) != 0;
}

// A bit for each lane that is set, the lowest for the first lane. Where the processor has an
// instruction for it, a search needs no branch on where in the lanes it ends.
inline uint32_t xp_lanes_bits(xp_lane_mask mask) {
#ifdef __SSE2__
  using characters = char __attribute__((vector_size(16)));
  return static_cast<uint32_t>(__builtin_ia32_pmovmskb128(std::bit_cast<characters>(mask)));
#else
  uint32_t bits = 0;
  for (int32_t lane = 0; lane < XP_LANES; lane++)
    bits |= (mask[lane] ? 1u : 0u) << lane;
  return bits;
#endif
}
