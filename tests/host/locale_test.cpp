// The user's conventions of the stand-in computer, in Windows' forms.
#include "time/xp_locale.h"

#include <string.h>

#include <string>

#include "platform/host/host.h"
#include "tests/support/fakes.h"

namespace {

std::string item(xp_locale_item which, int32_t index = 0) {
  char text[64] = "";
  const int32_t size = host_locale.item_narrow(which, index, nullptr, 0);
  EXPECT_EQ(host_locale.item_narrow(which, index, text, sizeof(text)), size);
  EXPECT_EQ(static_cast<size_t>(size), size == 0 ? 0 : strlen(text) + 1);
  return text;
}

std::string formatted(const xp_time_fields& fields, int32_t kind) {
  char text[64];
  xp_time_format(&fields, kind, text, sizeof(text));
  return text;
}

class HostLocale : public testing::Test {
 protected:
  void SetUp() override {
    if (strcmp(host_user_locale(), "en_US") != 0)
      GTEST_SKIP() << "the user's conventions are those of " << host_user_locale();
  }
};

}  // namespace

TEST_F(HostLocale, Values) {
  EXPECT_EQ(item(XP_LOCALE_DATE_SEPARATOR), "/");
  EXPECT_EQ(item(XP_LOCALE_TIME_SEPARATOR), ":");
  EXPECT_EQ(item(XP_LOCALE_AM), "AM");
  EXPECT_EQ(item(XP_LOCALE_PM), "PM");
  EXPECT_EQ(item(XP_LOCALE_DATE_ORDER), "0");
  EXPECT_EQ(item(XP_LOCALE_DECIMAL_POINT), ".");
  EXPECT_EQ(item(XP_LOCALE_THOUSANDS_SEPARATOR), ",");
  EXPECT_EQ(item(XP_LOCALE_GROUPING), "3;0");
  EXPECT_EQ(item(XP_LOCALE_MONTH_NAME, 0), "January");
  EXPECT_EQ(item(XP_LOCALE_MONTH_ABBREVIATION, 11), "Dec");
  EXPECT_EQ(item(XP_LOCALE_DAY_NAME, 0), "Monday");
  EXPECT_EQ(item(XP_LOCALE_DAY_ABBREVIATION, 6), "Sun");
}

TEST_F(HostLocale, ValuesThatAreNone) {
  EXPECT_EQ(item(XP_LOCALE_MONTH_NAME, 12), "");
  EXPECT_EQ(item(XP_LOCALE_MONTH_NAME, -1), "");
  EXPECT_EQ(item(XP_LOCALE_DAY_NAME, 7), "");
  EXPECT_EQ(item(static_cast<xp_locale_item>(99)), "");
  char16_t small[3];
  EXPECT_EQ(host_locale.item_wide(XP_LOCALE_AM, 0, small, 3), 3);
  EXPECT_EQ(host_locale.item_wide(XP_LOCALE_AM, 0, small, 2), 0) << "doesn't fit";
}

TEST_F(HostLocale, DatesAndTimes) {
  const xp_time_fields fields = {2012, 3, 4, 15, 6, 7, 0};
  EXPECT_EQ(formatted(fields, XP_TIME_SHORT_DATE), "3/4/2012");
  EXPECT_EQ(formatted(fields, XP_TIME_LONG_DATE), "Sunday, March 4, 2012");
  EXPECT_EQ(formatted(fields, XP_TIME_NO_SECONDS), "3:06 PM");
  EXPECT_EQ(formatted(fields, XP_TIME_WITH_SECONDS), "3:06:07 PM");
}

TEST_F(HostLocale, DatesThatAreNone) {
  static constexpr xp_time_fields rows[] = {{2011, 2, 29, 0, 0, 0, 0},
                                            {2012, 13, 1, 0, 0, 0, 0},
                                            {2012, 0, 1, 0, 0, 0, 0},
                                            {2012, 4, 31, 0, 0, 0, 0},
                                            {2012, 4, 0, 0, 0, 0, 0}};
  for (const xp_time_fields& fields : rows)
    EXPECT_EQ(formatted(fields, XP_TIME_LONG_DATE), "") << fields.month << "/" << fields.day;
  EXPECT_EQ(formatted({2012, 1, 1, 24, 0, 0, 0}, XP_TIME_NO_SECONDS), "");
}
