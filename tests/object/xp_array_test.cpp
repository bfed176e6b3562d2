#include "object/xp_array.h"

#include "object/xp_data.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/support/fakes.h"

namespace {

// An array of `count` strings; the caller keeps none of them.
xp_array* array_of_strings(int32_t count) {
  xp_ref array(xp_array_new(0));
  for (int32_t i = 0; array && i < count; i++) {
    xp_ref text(xp_str_new("text"));
    if (!text || xp_array_append(array.get(), text.get()) != i) return nullptr;
  }
  return array.take();
}

xp_array* copy_of(xp_array* array, uint32_t flags) {
  return reinterpret_cast<xp_array*>(xp_object_control(array, XP_CTL_COPY, flags, nullptr));
}

}  // namespace

TEST(Array, CapacityFollowsWhatIsAskedExactly) {
  xp_ref array(xp_array_new(0));
  EXPECT_EQ(array->cells, nullptr);
  EXPECT_TRUE(xp_object_control(array.get(), XP_CTL_EMPTY, 0, nullptr));
  xp_ref text(xp_str_new("a"));
  EXPECT_EQ(xp_array_set(array.get(), text.get(), 5), 1);
  EXPECT_EQ(array->count, 6);
  EXPECT_EQ(array->capacity, 6u);
  for (int32_t i = 0; i < 5; i++)
    EXPECT_EQ(array->cells[i], nullptr) << i;
  EXPECT_EQ(xp_array_reserve(array.get(), 20), 20);
  EXPECT_EQ(xp_array_reserve(array.get(), 3), 20);  // never lower
  EXPECT_EQ(xp_array_append(array.get(), nullptr), 6);
  EXPECT_EQ(array->capacity, 20u);
  EXPECT_EQ(xp_array_trim(array.get()), 7);
  EXPECT_EQ(xp_array_append(array.get(), text.get()), 7);
  EXPECT_EQ(array->capacity, 8u);
  xp_ref empty(xp_array_new(0));
  EXPECT_EQ(xp_array_reserve(empty.get(), 4), 4);
  EXPECT_EQ(xp_array_trim(empty.get()), 0);
  EXPECT_EQ(empty->cells, nullptr);
  EXPECT_EQ(empty->capacity, 0u);
}

TEST(Array, IndexesOutsideGiveNothing) {
  xp_ref array(array_of_strings(2));
  EXPECT_EQ(xp_array_get(array.get(), 2), nullptr);
  EXPECT_EQ(xp_array_get(array.get(), -1), nullptr);
  EXPECT_EQ(xp_array_set(array.get(), nullptr, -1), 0);
  EXPECT_EQ(xp_array_count(nullptr), 0);
  EXPECT_EQ(xp_array_get(nullptr, 0), nullptr);
  EXPECT_EQ(xp_array_set(nullptr, nullptr, 0), 0);
  EXPECT_EQ(xp_array_append(nullptr, nullptr), -1);
  EXPECT_EQ(xp_array_compact(nullptr), 0);
  EXPECT_EQ(xp_array_reserve(nullptr, 1), -1);
  EXPECT_EQ(xp_array_trim(nullptr), -1);
}

TEST(Array, CellsOwnTheirValues) {
  xp_ref array(xp_array_new(0));
  xp_ref text(xp_str_new("a"));
  EXPECT_EQ(xp_array_append(array.get(), text.get()), 0);
  EXPECT_EQ(text->refcount, 2u);
  EXPECT_EQ(xp_array_set(array.get(), text.get(), 0), 1);  // over itself
  EXPECT_EQ(text->refcount, 2u);
  xp_ref got(xp_array_get(array.get(), 0));
  EXPECT_EQ(text->refcount, 3u);
  EXPECT_EQ(xp_array_set(array.get(), nullptr, 0), 1);
  EXPECT_EQ(text->refcount, 2u);
  EXPECT_EQ(array->count, 1);
}

TEST(Array, CompactKeepsTheOrder) {
  xp_ref array(xp_array_new(XP_ARRAY_RAW));
  for (uintptr_t i = 0; i < 5; i++)
    (void)xp_array_append(array.get(),
                          reinterpret_cast<xp_object*>(i == 0 || i == 2 ? uintptr_t{0} : i));
  EXPECT_EQ(xp_array_compact(array.get()), 1);
  EXPECT_EQ(array->count, 3);
  EXPECT_EQ(array->capacity, 5u);
  const uintptr_t order[] = {1, 3, 4, 0, 0};
  for (int32_t i = 0; i < 5; i++)
    EXPECT_EQ(reinterpret_cast<uintptr_t>(array->cells[i]), order[i]) << i;
}

TEST(Array, DeepCopiesRenewContainersAndShareTheRest) {
  xp_ref array(array_of_strings(1));
  xp_ref inner(array_of_strings(2));
  (void)xp_array_append(array.get(), inner.get());
  (void)xp_array_append(array.get(), nullptr);
  xp_ref deep(copy_of(array.get(), 0));
  ASSERT_EQ(deep->count, 3);
  EXPECT_EQ(deep->cells[0], array->cells[0]);
  EXPECT_EQ(deep->cells[0]->refcount, 2u);
  EXPECT_NE(deep->cells[1], inner.get());
  EXPECT_EQ(xp_array_count(xp_as_array(deep->cells[1])), 2);
  EXPECT_EQ(deep->cells[2], nullptr);
  xp_ref shallow(copy_of(array.get(), 1));
  EXPECT_EQ(shallow->cells[1], inner.get());
  xp_ref raw(xp_array_new(XP_ARRAY_RAW));
  (void)xp_array_append(raw.get(), reinterpret_cast<xp_object*>(uintptr_t{3}));
  xp_ref raw_copy(copy_of(raw.get(), 0));
  EXPECT_EQ(raw_copy->cells[0], raw->cells[0]);
}

TEST(Array, LockedArraysWorkFromWithinTheirOwnOperations) {
  xp_ref array(xp_array_new(XP_ARRAY_LOCKED));
  EXPECT_NE(array->lock, nullptr);
  EXPECT_EQ(xp_array_append(array.get(), nullptr), 0);
  xp_ref copy(copy_of(array.get(), 0));
  ASSERT_TRUE(copy);
  EXPECT_NE(copy->lock, nullptr);
  EXPECT_NE(copy->lock, array->lock);
}

TEST(Array, EmptyAndUsableAfterAFailedGrowth) {
  xp_ref array(array_of_strings(3));
  heap_watch watch;
  watch.fail_after(0);
  EXPECT_EQ(xp_array_append(array.get(), nullptr), -1);
  EXPECT_EQ(array->count, 0);
  EXPECT_EQ(array->capacity, 0u);
  EXPECT_EQ(array->cells, nullptr);
  watch.fail_after(-1);
  EXPECT_EQ(xp_array_append(array.get(), nullptr), 0);
}

TEST(Array, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch&) {
    xp_ref array(array_of_strings(3));
    xp_ref copy(array ? copy_of(array.get(), 0) : nullptr);
    if (copy) (void)xp_array_trim(copy.get());
    xp_ref locked(xp_array_new(XP_ARRAY_LOCKED));
  });
}
