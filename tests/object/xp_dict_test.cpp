#include "object/xp_dict.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "object/xp_array.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/support/fakes.h"

namespace {

xp_object* word(uintptr_t value) {
  return reinterpret_cast<xp_object*>(value);
}

uintptr_t word_at(xp_dict* dict, const std::string& key) {
  return reinterpret_cast<uintptr_t>(
      xp_dict_get(dict, key.data(), static_cast<int32_t>(key.size())));
}

int32_t set_word(xp_dict* dict, const std::string& key, uintptr_t value) {
  return xp_dict_set(dict, key.data(), static_cast<int32_t>(key.size()), word(value));
}

struct walk {
  std::vector<std::string> keys;
  size_t stop_at = SIZE_MAX;
};

int32_t note_key(xp_dict*, const char* key, int32_t length, xp_object*, void* context) {
  auto* seen = static_cast<walk*>(context);
  seen->keys.emplace_back(key, static_cast<size_t>(length));
  return seen->keys.size() == seen->stop_at;
}

std::vector<std::string> keys_of(xp_dict* dict) {
  walk seen;
  EXPECT_EQ(xp_dict_each_sorted(dict, note_key, &seen), 0);
  return seen.keys;
}

}  // namespace

TEST(Dict, AgreesWithAMapOverManyKeys) {
  std::mt19937 random(7);
  for (const uint32_t flags : {0u, 0x100u, 0x10000u, 0x40u}) {
    xp_ref dict(xp_dict_new(XP_DICT_RAW | flags));
    std::map<std::string, uintptr_t> map;
    for (int i = 0; i < 40000; i++) {
      std::string key = std::to_string(random() % 20000);
      key.append(random() % 40, static_cast<char>('0' + key.size()));
      const uintptr_t value = random() % 5;
      ASSERT_EQ(set_word(dict.get(), key, value), 0);
      if (flags == XP_DICT_NULL_REMOVES && value == 0)
        map.erase(key);
      else
        map[key] = value;
    }
    ASSERT_EQ(xp_dict_count(dict.get()), map.size());
    std::vector<std::string> keys;
    for (const auto& [key, value] : map) {
      ASSERT_EQ(word_at(dict.get(), key), value) << key;
      keys.push_back(key);
    }
    EXPECT_EQ(keys_of(dict.get()), keys);
  }
}

TEST(Dict, KeysAreCutAt255BytesAndMayNotBeEmpty) {
  xp_ref dict(xp_dict_new(XP_DICT_RAW | XP_DICT_INSERT));
  const std::string head(255, 'k');
  EXPECT_EQ(set_word(dict.get(), head + std::string(45, 'a'), 1), 0);
  EXPECT_EQ(word_at(dict.get(), head + "b"), 1u);
  EXPECT_EQ(xp_dict_get(dict.get(), (head + "measured").c_str(), -1), word(1));
  EXPECT_EQ(keys_of(dict.get()), std::vector<std::string>{head});
  EXPECT_EQ(set_word(dict.get(), "", 2), 0);
  EXPECT_EQ(word_at(dict.get(), ""), 0u);
  EXPECT_EQ(xp_dict_count(dict.get()), 1u);
  EXPECT_EQ(xp_dict_set(dict.get(), nullptr, 3, nullptr), -1);
  EXPECT_EQ(xp_dict_set(nullptr, "a", 1, nullptr), -1);
  EXPECT_EQ(xp_dict_get(nullptr, "a", 1), nullptr);
  EXPECT_EQ(word_at(dict.get(), "asked"), 0u);  // and remembered
  EXPECT_EQ(keys_of(dict.get()), (std::vector<std::string>{"asked", head}));
}

TEST(Dict, FoldsAsciiCaseAndKeepsTheFirstSpelling) {
  xp_ref dict(xp_dict_new(XP_DICT_RAW | XP_DICT_NOCASE));
  (void)set_word(dict.get(), "Content-Type", 1);
  (void)set_word(dict.get(), "content-type", 2);
  EXPECT_EQ(word_at(dict.get(), "CONTENT-TYPE"), 2u);
  EXPECT_EQ(keys_of(dict.get()), std::vector<std::string>{"Content-Type"});
  (void)set_word(dict.get(), "\xC3\xA4", 3);
  EXPECT_EQ(word_at(dict.get(), "\xC3\x84"), 0u);  // only ASCII folds
  EXPECT_EQ(xp_dict_key_equal(dict.get(), "aB", 2, "Ab", 2), 1);
  EXPECT_EQ(xp_dict_key_equal(dict.get(), "a", 1, "ab", 2), 0);
  xp_ref exact(xp_dict_new(0));
  EXPECT_EQ(xp_dict_key_equal(exact.get(), "aB", 2, "Ab", 2), 0);
}

TEST(Dict, WalksInByteOrderAndStopsOnRequest) {
  xp_ref dict(xp_dict_new(XP_DICT_NOCASE));
  for (const char* key : {"a", "abc", "B", "ab", "\xFF", "z"})
    (void)xp_dict_set(dict.get(), key, -1, nullptr);
  EXPECT_EQ(keys_of(dict.get()), (std::vector<std::string>{"B", "a", "ab", "abc", "z", "\xFF"}));
  walk seen;
  seen.stop_at = 3;
  EXPECT_EQ(xp_dict_each_sorted(dict.get(), note_key, &seen), -1);
  EXPECT_EQ(seen.keys.size(), 3u);
  EXPECT_EQ(xp_dict_each_sorted(nullptr, note_key, &seen), 0);
}

// Keys that begin alike, that are each other's beginning, and that end in a NUL, in all numbers
// from none to more than what is ordered without a block of memory.
TEST(Dict, WalksAnyNumberOfKeysInOrder) {
  const std::vector<std::string> words = {
      "package", "packages",   "packageA", "packageB",  std::string("package\0", 8),
      "pack",    "p",          "PACKAGE",  "packageAB", "q",
      "packagf", "packag\xFF", "id",       "name"};
  std::mt19937 random(3);
  for (size_t count = 0; count <= 20; count++)
    for (int round = 0; round < 50; round++) {
      std::set<std::string> expected;
      xp_ref dict(xp_dict_new(0));
      while (expected.size() < count) {
        std::string key = words[random() % words.size()];
        if (random() % 2) key += static_cast<char>('a' + random() % 4);
        expected.insert(key);
        (void)xp_dict_set(dict.get(), key.data(), static_cast<int32_t>(key.size()), nullptr);
      }
      ASSERT_EQ(keys_of(dict.get()), std::vector<std::string>(expected.begin(), expected.end()));
    }
}

TEST(Dict, ValuesAreOwned) {
  xp_ref dict(xp_dict_new(0));
  xp_ref text(xp_str_new("v"));
  (void)xp_dict_set(dict.get(), "k", 1, text.get());
  (void)xp_dict_set(dict.get(), "k", 1, text.get());  // over itself
  EXPECT_EQ(text->refcount, 2u);
  xp_ref got(xp_dict_get(dict.get(), "k", 1));
  EXPECT_EQ(text->refcount, 3u);
  (void)xp_dict_set(dict.get(), "k", 1, nullptr);
  EXPECT_EQ(text->refcount, 2u);
  EXPECT_EQ(xp_dict_get(dict.get(), "k", 1), nullptr);
  EXPECT_EQ(keys_of(dict.get()), std::vector<std::string>{"k"});  // null is a value
}

TEST(Dict, RemovedKeysLeaveTheirRoomToOthers) {
  xp_ref dict(xp_dict_new(XP_DICT_NULL_REMOVES));
  xp_ref text(xp_str_new("v"));
  heap_watch watch;
  for (int i = 0; i < 10000; i++) {
    const std::string key = "key" + std::to_string(1000 + i % 7);
    ASSERT_EQ(xp_dict_set(dict.get(), key.c_str(), -1, text.get()), 0);
    ASSERT_EQ(xp_dict_set(dict.get(), key.c_str(), -1, nullptr), 0);
  }
  EXPECT_EQ(watch.asked(), 0);
  EXPECT_EQ(xp_dict_count(dict.get()), 0u);
  EXPECT_EQ(text->refcount, 1u);
  (void)xp_dict_set(dict.get(), "absent", -1, nullptr);
  EXPECT_EQ(xp_dict_count(dict.get()), 0u);
}

TEST(Dict, SmallDictionariesAreOneAllocation) {
  heap_watch watch;
  xp_ref dict(xp_dict_new(0));
  for (const char* key : {"a", "b", "c", "d", "e"})
    (void)xp_dict_set(dict.get(), key, 1, nullptr);
  EXPECT_EQ(watch.asked(), 1);
}

TEST(Dict, NullsArePassedOverOnRequest) {
  xp_ref dict(xp_dict_new(XP_DICT_SKIP_NULL));
  xp_ref text(xp_str_new("v"));
  (void)xp_dict_set(dict.get(), "a", 1, nullptr);
  (void)xp_dict_set(dict.get(), "b", 1, text.get());
  EXPECT_EQ(keys_of(dict.get()), std::vector<std::string>{"b"});
}

TEST(Dict, CopiesRenewContainersUnlessShallow) {
  xp_ref dict(xp_dict_new(XP_DICT_NOCASE | XP_DICT_LOCKED));
  xp_ref inner(xp_dict_new(0));
  xp_ref text(xp_str_new("v"));
  (void)xp_dict_set(dict.get(), "inner", -1, inner.get());
  (void)xp_dict_set(dict.get(), "text", -1, text.get());
  (void)xp_dict_set(dict.get(), "null", -1, nullptr);
  for (const uint32_t flags : {0u, 1u}) {
    xp_ref copy(
        reinterpret_cast<xp_dict*>(xp_object_control(dict.get(), XP_CTL_COPY, flags, nullptr)));
    ASSERT_TRUE(copy);
    xp_ref inner_copy(xp_dict_get(copy.get(), "INNER", -1));
    xp_ref text_copy(xp_dict_get(copy.get(), "text", -1));
    EXPECT_EQ(inner_copy.get() == inner.get(), flags == 1);
    EXPECT_EQ(text_copy.get(), text.get());
    EXPECT_EQ(keys_of(copy.get()), keys_of(dict.get()));
  }
}

TEST(Dict, KeepsItsKeysWhenMemoryIsOut) {
  xp_ref dict(xp_dict_new(XP_DICT_RAW));
  heap_watch watch;
  watch.fail_after(0, true);
  uintptr_t stored = 0;
  while (set_word(dict.get(), "key" + std::to_string(stored), stored + 1) == 0)
    stored++;
  EXPECT_GT(stored, 0u);
  EXPECT_EQ(xp_dict_count(dict.get()), stored);
  for (uintptr_t i = 0; i < stored; i++)
    EXPECT_EQ(word_at(dict.get(), "key" + std::to_string(i)), i + 1);
}

TEST(Dict, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch&) {
    xp_ref dict(xp_dict_new(XP_DICT_LOCKED | XP_DICT_8192));
    for (int i = 0; i < 40; i++) {
      xp_ref value(xp_array_new(0));
      (void)xp_dict_set(dict.get(), std::to_string(i).c_str(), -1, value.get());
    }
    walk seen;
    const bool walked = xp_dict_each_sorted(dict.get(), note_key, &seen) == 0;
    EXPECT_EQ(seen.keys.size(), walked ? xp_dict_count(dict.get()) : 0u);
    xp_ref copy(reinterpret_cast<xp_dict*>(xp_object_control(dict.get(), XP_CTL_COPY, 0, nullptr)));
  });
}

// ---- xp_sort ---------------------------------------------------------------------------------

namespace {

int32_t by_value(void*, uintptr_t a, uintptr_t b, int32_t) {
  return a < b ? -1 : a > b;
}

int32_t all_equal(void*, uintptr_t, uintptr_t, int32_t) {
  return 0;
}

int32_t by_tens(void* calls, uintptr_t a, uintptr_t b, int32_t) {
  ++*static_cast<uint64_t*>(calls);
  return by_value(nullptr, a / 10, b / 10, 0);
}

int32_t always_less(void*, uintptr_t, uintptr_t, int32_t) {
  return -1;
}

}  // namespace

TEST(Sort, OrdersEveryShapeOfInput) {
  std::mt19937 random(3);
  for (const uint32_t count : {0u, 1u, 2u, 3u, 8u, 9u, 39u, 40u, 41u, 1000u, 50000u}) {
    std::vector<std::vector<uintptr_t>> shapes(6, std::vector<uintptr_t>(count));
    for (uint32_t i = 0; i < count; i++) {
      shapes[0][i] = random();
      shapes[1][i] = i;
      shapes[2][i] = count - i;
      shapes[3][i] = random() % 3;
      shapes[4][i] = i < count / 2 ? i : count - i;
      // Two shuffled halves that a split in the middle parts without one swap.
      shapes[5][i] = i < count / 2 ? random() % 1000 : 1000 + random() % 1000;
    }
    for (size_t shape = 0; shape < shapes.size(); shape++) {
      std::vector<uintptr_t> expected = shapes[shape];
      std::sort(expected.begin(), expected.end());
      for (const xp_sort_compare compare : {xp_sort_compare{nullptr}, by_value, all_equal}) {
        std::vector<uintptr_t> items = shapes[shape];
        EXPECT_EQ(xp_sort(nullptr, count, items.data(), compare), 0);
        EXPECT_EQ(items, expected) << "shape " << shape << " of " << count;
      }
      uint64_t calls = 0;
      std::vector<uintptr_t> items = shapes[shape];
      (void)xp_sort(&calls, count, items.data(), by_tens);
      EXPECT_EQ(items, expected);
      EXPECT_LE(calls, uint64_t{40} * count) << "shape " << shape << " of " << count;
    }
  }
}

// A locale's order may fail half-way, when memory is out: the items must still all be there.
TEST(Sort, LosesNothingToACompareThatContradictsItself) {
  std::mt19937 random(5);
  std::vector<uintptr_t> items(5000);
  for (size_t i = 0; i < items.size(); i++)
    items[i] = i;
  (void)xp_sort(nullptr, static_cast<uint32_t>(items.size()), items.data(), always_less);
  const xp_sort_compare coin = [](void* context, uintptr_t, uintptr_t, int32_t) {
    return static_cast<int32_t>((*static_cast<std::mt19937*>(context))() % 3) - 1;
  };
  (void)xp_sort(&random, static_cast<uint32_t>(items.size()), items.data(), coin);
  std::sort(items.begin(), items.end());
  for (size_t i = 0; i < items.size(); i++)
    ASSERT_EQ(items[i], i);
}
