#include "object/xp_list.h"

#include <string>

#include "object/xp_array.h"
#include "object/xp_dict.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "object/xp_trav.h"
#include "tests/support/fakes.h"

namespace {

std::string text_of(xp_object* object) {
  return object ? xp_str_text(xp_as_str(object)) : "-";
}

void append(xp_list* list, const char* text) {
  xp_ref value(xp_str_new(text));
  EXPECT_GT(xp_list_append(list, value.get()), 0);
}

// One step of a traversal, the item as text and "-" for null.
std::string step(xp_object* traversal, xp_trav_operation operation) {
  const auto function = xp_trav_function<xp_trav_step>(traversal, operation);
  xp_ref item(function ? function(traversal) : nullptr);
  return text_of(item.get());
}

std::string next(xp_object* traversal) {
  return step(traversal, XP_TRAV_NEXT);
}

std::string prev(xp_object* traversal) {
  return step(traversal, XP_TRAV_PREV);
}

std::string rest(xp_object* traversal) {
  std::string all;
  while (xp_ref item{xp_traversal_next(traversal)})
    all += text_of(item.get());
  return all;
}

}  // namespace

TEST(List, HoldsObjectsByAddress) {
  xp_ref list(xp_list_new());
  EXPECT_TRUE(xp_object_control(list.get(), XP_CTL_EMPTY, 0, nullptr));
  EXPECT_EQ(xp_list_append(list.get(), nullptr), 0);
  EXPECT_EQ(xp_list_append(nullptr, list.get()), 0);
  EXPECT_EQ(xp_list_last(list.get()), nullptr);
  append(list.get(), "a");
  xp_ref twice(xp_str_new("b"));
  EXPECT_EQ(xp_list_append(list.get(), twice.get()), 2);
  append(list.get(), "c");
  EXPECT_EQ(xp_list_append(list.get(), twice.get()), 4);
  EXPECT_EQ(twice->refcount, 3u);
  xp_ref equal(xp_str_new("a"));
  EXPECT_EQ(xp_list_remove(list.get(), equal.get()), 0);
  EXPECT_EQ(xp_list_remove(list.get(), twice.get()), 1);  // the first of the two
  xp_ref walk(xp_traversal_new(list.get()));
  EXPECT_EQ(rest(walk.get()), "acb");
  xp_ref last(xp_list_last(list.get()));
  EXPECT_EQ(last.get(), twice.get());
}

TEST(List, WalksGoOnFromTheirGap) {
  xp_ref list(xp_list_new());
  xp_ref walk(xp_traversal_new(list.get()));
  EXPECT_EQ(next(walk.get()), "-");
  EXPECT_EQ(xp_list_last(list.get()), nullptr);  // only a cursor in the ring
  append(list.get(), "a");
  EXPECT_EQ(next(walk.get()), "a");  // added behind a cursor at the end
  append(list.get(), "b");
  append(list.get(), "c");
  xp_ref other(xp_traversal_new(list.get()));
  EXPECT_EQ(prev(other.get()), "-");
  EXPECT_EQ(next(other.get()), "a");
  xp_ref removed(xp_array_new(0));
  for (xp_ref finder(xp_traversal_new(list.get())); xp_ref item{xp_traversal_next(finder.get())};)
    if (text_of(item.get()) == "b") {
      EXPECT_EQ(xp_list_remove(list.get(), item.get()), 1);
    }
  EXPECT_EQ(next(walk.get()), "c");
  EXPECT_EQ(next(walk.get()), "-");
  EXPECT_EQ(prev(walk.get()), "c");
  EXPECT_EQ(next(walk.get()), "c");
  EXPECT_EQ(rest(other.get()), "c");
  xp_trav_function<xp_trav_rewind>(walk.get(), XP_TRAV_REWIND)(walk.get());
  EXPECT_EQ(rest(walk.get()), "ac");
  EXPECT_EQ(xp_trav_function<xp_trav_count>(walk.get(), XP_TRAV_COUNT)(walk.get()), 2);
  EXPECT_EQ(xp_trav_function<xp_trav_skip>(walk.get(), XP_TRAV_SKIP), nullptr);
}

TEST(List, StaysAsLongAsItIsWalked) {
  xp_ref list(xp_list_new());
  append(list.get(), "a");
  xp_ref walk(xp_traversal_new(list.get()));
  list.reset();
  EXPECT_EQ(next(walk.get()), "a");
}

TEST(Traversal, OverAnArrayHoldsAPosition) {
  xp_ref array(xp_array_new(0));
  for (const char* text : {"a", "b", "c"}) {
    xp_ref value(xp_str_new(text));
    (void)xp_array_append(array.get(), value.get());
  }
  xp_ref walk(xp_traversal_new(array.get()));
  EXPECT_EQ(prev(walk.get()), "-");
  EXPECT_EQ(next(walk.get()), "a");
  const auto skip = xp_trav_function<xp_trav_skip>(walk.get(), XP_TRAV_SKIP);
  EXPECT_EQ(skip(walk.get(), 10), 2);
  EXPECT_EQ(skip(walk.get(), 10), 0);
  EXPECT_EQ(next(walk.get()), "-");
  EXPECT_EQ(prev(walk.get()), "c");
  (void)xp_array_set(array.get(), nullptr, 1);
  xp_trav_function<xp_trav_rewind>(walk.get(), XP_TRAV_REWIND)(walk.get());
  EXPECT_EQ(rest(walk.get()), "a");  // a null cell looks like the end
  EXPECT_EQ(next(walk.get()), "c");
}

TEST(Traversal, OverAnythingElseGivesItOnce) {
  xp_ref dict(xp_dict_new(0));
  EXPECT_TRUE(xp_object_supports(dict.get(), XP_TRAV));
  xp_ref walk(xp_traversal_new(dict.get()));
  xp_ref again(xp_traversal_new(walk.get()));
  EXPECT_EQ(again.get(), walk.get());
  xp_ref item(xp_traversal_next(walk.get()));
  EXPECT_EQ(item.get(), dict.get());
  EXPECT_EQ(xp_traversal_next(walk.get()), nullptr);
  xp_ref back(xp_trav_function<xp_trav_step>(walk.get(), XP_TRAV_PREV)(walk.get()));
  EXPECT_EQ(back.get(), dict.get());
  EXPECT_EQ(prev(walk.get()), "-");
  EXPECT_EQ(xp_trav_function<xp_trav_count>(walk.get(), XP_TRAV_COUNT)(walk.get()), 1);
  EXPECT_EQ(xp_traversal_new(nullptr), nullptr);
  EXPECT_EQ(xp_traversal_next(nullptr), nullptr);
}

TEST(List, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch&) {
    xp_ref list(xp_list_new());
    xp_ref value(xp_str_new("a"));
    const int32_t count = xp_list_append(list.get(), value.get());
    EXPECT_EQ(list ? list->count : 0, count);
    xp_ref array(xp_array_new(0));
    for (xp_object* each :
         {static_cast<xp_object*>(list.get()), static_cast<xp_object*>(array.get()),
          static_cast<xp_object*>(value.get())}) {
      xp_ref walk(xp_traversal_new(each));
      xp_ref item(xp_traversal_next(walk.get()));
    }
  });
}
