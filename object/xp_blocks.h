// Blocks of 32 bytes, for compares and searches of text on processors with AVX2. The functions that
// use them are compiled for that processor on their own, so that the rest of the program runs on
// any; who calls them has asked xp_has_blocks before. No vector may be alive over a call in them:
// it would be saved on the stack, which 64-bit Windows aligns to 16 bytes only.
#pragma once

#include <stdint.h>
#include <string.h>

#include "platform/watched.h"

constexpr uint32_t XP_BLOCK = 32;

#if defined(__x86_64__)

#define XP_AVX2 __attribute__((target("avx2,bmi")))

using xp_block_lanes = uint8_t __attribute__((vector_size(XP_BLOCK)));
// What a compare of lanes gives: all bits of a lane set, or none.
using xp_block_mask = int8_t __attribute__((vector_size(XP_BLOCK)));

inline bool xp_has_blocks() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi");
}

XP_AVX2 inline xp_block_lanes xp_block_at(const void* bytes) {
  xp_block_lanes block;
  memcpy(&block, bytes, sizeof(block));
  return block;
}

// A bit for each lane, the first lane in the lowest.
XP_AVX2 inline uint32_t xp_block_bits(xp_block_mask mask) {
  using chars = char __attribute__((vector_size(XP_BLOCK)));
  return static_cast<uint32_t>(__builtin_ia32_pmovmskb256(reinterpret_cast<chars>(mask)));
}

// How many bytes can be read at an address that holds a byte of text, wherever the text ends: those
// of its page of memory, which can't be readable in part. None under a tool that watches each byte.
inline uint32_t xp_block_left_in_page(const char* text) {
  constexpr uint32_t SMALLEST_PAGE = 4096;
  if (XP_MEMORY_IS_WATCHED) return 0;
  return SMALLEST_PAGE - static_cast<uint32_t>(reinterpret_cast<uintptr_t>(text)) % SMALLEST_PAGE;
}

// Whether a block can be read at an address that holds a byte of text.
inline bool xp_block_readable(const char* text) {
  return xp_block_left_in_page(text) >= XP_BLOCK;
}

#else

constexpr bool xp_has_blocks() {
  return false;
}

#endif
