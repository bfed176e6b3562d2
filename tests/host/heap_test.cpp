// The heap of the stand-in computer, which keeps small blocks itself: what its callers rely on,
// with sizes on both sides of what counts as small, and with other threads.
#include "platform/heap.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

namespace {

constexpr size_t sizes[] = {0, 1, 15, 16, 17, 64, 72, 320, 511, 512, 513, 1024, 70000};

bool is_zero(const void* block, size_t from, size_t to) {
  const auto* bytes = static_cast<const unsigned char*>(block);
  return std::all_of(bytes + from, bytes + to, [](unsigned char byte) { return byte == 0; });
}

TEST(Heap, BlocksAreZeroAlsoWhenTheyWereUsedBefore) {
  for (const size_t size : sizes)
    for (int round = 0; round < 3; round++) {
      void* block = xp_heap_alloc(size);
      ASSERT_TRUE(block) << size;
      EXPECT_TRUE(is_zero(block, 0, size)) << size;
      EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(block) % 16) << size;
      memset(block, 0xff, size);
      xp_heap_free(block);
    }
}

TEST(Heap, BlocksDoNotOverlap) {
  std::vector<std::pair<unsigned char*, size_t>> blocks;
  for (int round = 0; round < 300; round++)
    for (const size_t size : sizes) {
      auto* block = static_cast<unsigned char*>(xp_heap_alloc(size));
      ASSERT_TRUE(block);
      memset(block, static_cast<int>(blocks.size() % 251), size);
      blocks.emplace_back(block, size);
    }
  for (size_t i = 0; i < blocks.size(); i++) {
    const auto [block, size] = blocks[i];
    EXPECT_TRUE(std::all_of(block, block + size, [i](unsigned char b) { return b == i % 251; }));
    xp_heap_free(block);
  }
}

TEST(Heap, ResizingKeepsTheContentsAndClearsTheGrowth) {
  for (const size_t from : sizes)
    for (const size_t to : sizes) {
      void* block = xp_heap_alloc(from);
      memset(block, 0x5a, from);
      block = xp_heap_resize(block, from, to);
      ASSERT_TRUE(block);
      const auto* bytes = static_cast<unsigned char*>(block);
      const size_t kept = std::min(from, to);
      EXPECT_TRUE(std::all_of(bytes, bytes + kept, [](unsigned char b) { return b == 0x5a; }));
      EXPECT_TRUE(is_zero(block, kept, to)) << from << " to " << to;
      xp_heap_free(block);
    }
}

// What a block held before a shrink must not come back with a later growth.
TEST(Heap, GrowthBehindAShrinkIsZero) {
  void* block = xp_heap_alloc(64);
  memset(block, 0xff, 64);
  block = xp_heap_resize(block, 64, 40);
  block = xp_heap_resize(block, 40, 64);
  EXPECT_TRUE(is_zero(block, 40, 64));
  xp_heap_free(block);
}

TEST(Heap, WhatAnotherThreadFreesServesAgain) {
  constexpr size_t COUNT = 4000;
  std::set<void*> seen;
  for (int round = 0; round < 4; round++) {
    std::vector<void*> blocks(COUNT);
    for (void*& block : blocks) {
      block = xp_heap_alloc(96);
      EXPECT_TRUE(is_zero(block, 0, 96));
      seen.insert(block);
    }
    std::thread([&blocks] {
      for (void* block : blocks) {
        memset(block, 0xff, 96);
        xp_heap_free(block);
      }
    }).join();
  }
#ifndef __SANITIZE_ADDRESS__  // which keeps freed blocks back
  EXPECT_LE(seen.size(), 2 * COUNT);
#endif
}

TEST(Heap, ThreadsTakeAndFreeAtOnce) {
  std::vector<std::thread> threads;
  std::vector<void*> handed(20000);
  for (void*& block : handed)
    block = xp_heap_alloc(48);
  for (size_t part = 0; part < 4; part++)
    threads.emplace_back([&handed, part] {
      for (size_t i = part; i < handed.size(); i += 4) {
        xp_heap_free(handed[i]);
        handed[i] = xp_heap_alloc(48);
      }
    });
  for (int i = 0; i < 20000; i++) {
    void* block = xp_heap_alloc(48);
    EXPECT_TRUE(is_zero(block, 0, 48));
    memset(block, 0xff, 48);
    xp_heap_free(block);
  }
  for (std::thread& thread : threads)
    thread.join();
  for (void* block : handed) {
    EXPECT_TRUE(is_zero(block, 0, 48));
    xp_heap_free(block);
  }
}

// The range for small blocks is finite, the memory behind it isn't.
TEST(Heap, MoreSmallBlocksThanTheRangeHoldsAreServed) {
  constexpr size_t SIZE = 512;
  std::vector<void*> blocks(size_t{80} * 1024 * 1024 / SIZE);
  for (void*& block : blocks) {
    block = xp_heap_alloc(SIZE);
    ASSERT_TRUE(block);
    memset(block, 0xff, SIZE);
  }
  EXPECT_EQ(blocks.size(), std::set<void*>(blocks.begin(), blocks.end()).size());
  for (void* block : blocks)
    xp_heap_free(block);
}

}  // namespace
