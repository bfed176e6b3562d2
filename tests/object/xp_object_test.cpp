#include "object/xp_object.h"

#include "object/xp_data.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/support/fakes.h"

TEST(Object, NullIsAcceptedEverywhere) {
  EXPECT_EQ(xp_object_retain(nullptr), nullptr);
  EXPECT_EQ(xp_default_retain(nullptr), nullptr);
  xp_object_release(nullptr);
  xp_default_release(nullptr);
  EXPECT_EQ(xp_object_control(nullptr, XP_CTL_EMPTY, 0, nullptr), 0u);
  xp_crit_enter(nullptr);
  xp_crit_leave(nullptr);
}

TEST(Object, TagSpellsItsNameInMemory) {
  const uint32_t tag = xp_tag("xstr");
  EXPECT_EQ(tag, 0x72747378u);
  EXPECT_EQ(memcmp(&tag, "xstr", 4), 0);
}

TEST(Object, OrderOfAnyTwoObjects) {
  xp_ref a(xp_str_new("alpha"));
  xp_ref same(xp_str_new("ALPHA"));
  xp_ref b(xp_str_new("beta"));
  xp_ref bytes(xp_data_new("x", 1));
  xp_ref equal_bytes(xp_data_new("x", 1));

  EXPECT_EQ(xp_object_compare(nullptr, nullptr), 0);
  EXPECT_EQ(xp_object_compare(nullptr, a.get()), -1);
  EXPECT_EQ(xp_object_compare(a.get(), nullptr), 1);
  EXPECT_EQ(xp_object_compare(a.get(), same.get()), 0);
  EXPECT_EQ(xp_object_compare(a.get(), b.get()), -1);
  // Kinds order by the number of their tag: `data` is 0x61746164, below `xstr`.
  EXPECT_EQ(xp_object_compare(bytes.get(), a.get()), -1);
  // A kind without compare is ordered by address, so equal contents are never equal.
  EXPECT_EQ(xp_object_compare(bytes.get(), bytes.get()), 0);
  EXPECT_NE(xp_object_compare(bytes.get(), equal_bytes.get()), 0);
  EXPECT_EQ(xp_object_compare(bytes.get(), equal_bytes.get()),
            -xp_object_compare(equal_bytes.get(), bytes.get()));
}

TEST(Object, LastReleaseFreesAndOnlyThat) {
  heap_watch watch;
  xp_str* string = xp_str_new("x");
  xp_object_retain(string);
  xp_object_release(string);
  EXPECT_EQ(watch.live(), 1);
  string->refcount = 0;  // a count that is already too low destroys, too
  xp_object_release(string);
  EXPECT_EQ(watch.live(), 0);
}

TEST(Object, CritIsReentrantAndSurvivesNoMemory) {
  sweep_allocations([](heap_watch& watch) {
    xp_crit* crit = xp_crit_new();
    if (watch.failed()) {
      EXPECT_EQ(crit, nullptr);
      return;
    }
    xp_crit_enter(crit);
    xp_crit_enter(crit);
    xp_crit_leave(crit);
    xp_crit_leave(crit);
    xp_object_release(crit);
  });
}
