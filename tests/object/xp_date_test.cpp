#include "object/xp_date.h"

#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/object/texts.h"
#include "tests/support/fakes.h"

TEST(Date, IsATimeThatIsValid) {
  EXPECT_EQ(xp_date_new(0xFFFFFFFF), nullptr);
  xp_ref now(xp_date_new(0));
  EXPECT_GT(now->seconds, 1700000000u);
  xp_ref early(xp_date_new(1));
  EXPECT_EQ(xp_object_compare(early.get(), now.get()), -1);
  const std::string text = text_of(early.get());
  ASSERT_EQ(text.size(), 19u);  // 1970-01-01 00:00:01, in local time
  EXPECT_EQ(text[4], '-');
  EXPECT_EQ(text.substr(16), ":01");
  EXPECT_EQ(cut_text(early.get(), 4), text.substr(0, 4));
}
