#include "object/xp_bool.h"

#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/object/texts.h"
#include "tests/support/fakes.h"

TEST(Bool, TwoSharedTruths) {
  xp_ref yes(xp_bool_new(-1));
  xp_ref no(xp_bool_new(0x100000000));  // only the low half counts
  EXPECT_EQ(yes->value, 1);
  EXPECT_EQ(no->value, 0);
  xp_ref again(xp_bool_new(5));
  EXPECT_EQ(again.get(), yes.get());
  EXPECT_EQ(text_of(yes.get()), "true");
  EXPECT_EQ(text_of(no.get()), "false");
  EXPECT_EQ(cut_text(yes.get(), 2), "tr");
  EXPECT_EQ(xp_object_compare(no.get(), yes.get()), -1);
  EXPECT_TRUE(xp_object_control(no.get(), XP_CTL_EMPTY, 0, nullptr));
  uint32_t length = 0;
  const auto view = xp_object_control(no.get(), XP_CTL_PNTR, 0, &length);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(view), length), "false");
  EXPECT_EQ(xp_object_control(no.get(), XP_CTL_PNTR, 1, &length), 0u);
}
