#include "object/xp_num.h"

#include <math.h>

#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/object/texts.h"
#include "tests/support/fakes.h"

TEST(Num, SmallNumbersAreShared) {
  for (const int64_t value : {int64_t{0}, int64_t{8}, int64_t{9}, int64_t{-1}}) {
    xp_ref a(xp_num_new(value));
    xp_ref b(xp_num_new(value));
    EXPECT_EQ(a.get() == b.get(), value >= 0 && value <= 8) << value;
    EXPECT_EQ(a->integer, value);
    EXPECT_EQ(a->real, static_cast<double>(value));
  }
  xp_ref parsed(xp_num_parse("8", -1));
  xp_ref made(xp_num_new(8));
  EXPECT_NE(parsed.get(), made.get());
}

TEST(Num, ParsesWhatIsThereAndStopsAtTheRest) {
  struct {
    const char* text;
    int64_t integer;
    double real;
    uint32_t decimals;
    const char* shown;
  } const rows[] = {
      {"12.50", 12, 12.5, 2, "12.50"},
      {"12.00", 12, 12, 0, "12"},
      {".", 0, 0, 0, "0"},
      {".5", 0, 0.5, 1, "0.5"},
      {"1.2.3", 1, 1.2, 1, "1.2"},
      {"12abc", 12, 12, 0, "12"},
      {"-0", 0, -0.0, 0, "0"},
      {"+5", 0, 0, 0, "0"},  // a plus is no sign
      {"-3.25", -3, -3.25, 2, "-3.25"},
      {"", 0, 0, 0, "0"},
      {"18446744073709551617", 1, 1, 0, "1"},  // wraps
      // The scale itself wraps to 0 behind 64 digits: no division.
      {"0.00000000000000000000000000000000000000000000000000000000000000000", 0, 0, 0, "0"},
  };
  for (const auto& row : rows) {
    xp_ref num(xp_num_parse(row.text, -1));
    EXPECT_EQ(num->integer, row.integer) << row.text;
    EXPECT_EQ(num->real, row.real) << row.text;
    EXPECT_EQ(signbit(num->real), signbit(row.real)) << row.text;
    EXPECT_EQ(num->decimals, row.decimals) << row.text;
    EXPECT_EQ(text_of(num.get()), row.shown) << row.text;
  }
}

TEST(Num, ComparesWholeNumbersExactlyAndOthersByTheirDouble) {
  struct {
    const char* a;
    const char* b;
    int32_t order;
  } const rows[] = {
      {"12", "12.5", -1},
      {"3", "3.0", 0},
      {"9007199254740993", "9007199254740992", 1},  // one apart, the same double
  };
  for (const auto& row : rows) {
    xp_ref a(xp_num_parse(row.a, -1));
    xp_ref b(xp_num_parse(row.b, -1));
    EXPECT_EQ(xp_object_compare(a.get(), b.get()), row.order) << row.a;
    EXPECT_EQ(xp_object_compare(b.get(), a.get()), -row.order) << row.a;
  }
}

TEST(Num, LongTextsAreCutAndEmptinessIsZero) {
  xp_ref num(xp_num_parse("-12345.678", -1));
  EXPECT_EQ(cut_text(num.get(), 4), "-123");
  xp_ref many(xp_num_parse(("0." + std::string(200, '1')).c_str(), -1));
  EXPECT_LT(text_of(many.get()).size(), 64u);
  xp_ref zero(xp_num_new(0));
  EXPECT_TRUE(xp_object_control(zero.get(), XP_CTL_EMPTY, 0, nullptr));
  EXPECT_FALSE(xp_object_control(num.get(), XP_CTL_EMPTY, 0, nullptr));
}

TEST(Num, EveryAllocationMayFail) {
  xp_ref eight(xp_num_new(8));  // stays for the process, so it is made before
  sweep_allocations([](heap_watch& watch) {
    xp_ref shared(xp_num_new(8));
    EXPECT_TRUE(shared);
    xp_ref num(xp_num_new(9));
    xp_ref parsed(xp_num_parse("1.5", -1));
    EXPECT_EQ(num && parsed, !watch.failed());
  });
}
