// Sixteen bytes of text at a time, for the searches and compares that long texts pay for. Vectors
// of the compiler's own, so the code is the same for every processor.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>

using xp_lanes = uint8_t __attribute__((vector_size(16)));
// What a compare of lanes gives: all bits of a lane set, or none.
using xp_lane_mask = int8_t __attribute__((vector_size(16)));

constexpr int32_t XP_LANES = 16;

inline xp_lanes xp_lanes_at(const char* text) {
  xp_lanes lanes;
  memcpy(&lanes, text, sizeof(lanes));
  return lanes;
}

// Every lane this byte.
inline xp_lanes xp_lanes_of(char byte) {
  return xp_lanes{} + static_cast<uint8_t>(byte);
}

// Index of the first lane that is set, XP_LANES when none is. The first lane is the low byte.
inline int32_t xp_lanes_first(xp_lane_mask mask) {
  static_assert(std::endian::native == std::endian::little);
  uint64_t half[2];
  memcpy(half, &mask, sizeof(half));
  if (half[0]) return std::countr_zero(half[0]) / 8;
  return half[1] ? 8 + std::countr_zero(half[1]) / 8 : XP_LANES;
}
