#include "object/xp_data.h"

#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/object/texts.h"
#include "tests/support/fakes.h"

TEST(Data, ShowsHexadecimalAndJoins) {
  xp_ref zeros(xp_data_new(nullptr, 4));
  EXPECT_EQ(text_of(zeros.get()), "00000000");
  xp_ref three(xp_data_new("\xAB\xC0\x1F", 3));
  EXPECT_EQ(cut_text(three.get(), 5), "ABC01");
  xp_ref joined(xp_data_append(three.get(), nullptr, 1));
  EXPECT_EQ(text_of(joined.get()), "ABC01F00");
  xp_ref same(xp_data_append(three.get(), "x", 0));
  EXPECT_EQ(same.get(), three.get());
  xp_ref equal(xp_data_new("\xAB\xC0\x1F", 3));
  EXPECT_NE(xp_object_compare(three.get(), equal.get()), 0);  // ordered by address
}

TEST(Data, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    xp_ref data(xp_data_new("a", 1));
    xp_ref joined(xp_data_append(data.get(), "b", 1));
    EXPECT_EQ(data && joined, !watch.failed());
  });
}
