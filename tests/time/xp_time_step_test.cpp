#include "tests/time/fake_clock.h"
#include "time/xp_time.h"

namespace {

int calls;

// A season of its own: non-zero in the second half of each stretch of 200 days.
uint32_t season(xp_time_t t) {
  calls++;
  return t / 8640000 % 2 ? 3600 : 0;
}

struct memo_guard {
  uint32_t* memo = nullptr;
  ~memo_guard() { xp_time_step_lookup(0, &memo, season); }
};

}  // namespace

TEST(TimeStep, AnswersAsTheFunctionDoes) {
  fake_clock fake;
  fake.set_zone(berlin);
  memo_guard guard;
  // Every sample near a change, in both directions, then a walk over all of 32 bits.
  for (uint32_t change = 1; change < 300; change++)
    for (const int32_t distance : {-1, 0, 1, -100, 100, 50000, -50000}) {
      const xp_time_t t = change * 8640000 + static_cast<uint32_t>(distance);
      ASSERT_EQ(xp_time_step_lookup(t, &guard.memo, season), season(t)) << t;
    }
  for (uint64_t t = 1; t < UINT32_MAX; t += 1234567) {
    const auto moment = static_cast<xp_time_t>(t);
    ASSERT_EQ(xp_time_step_lookup(moment, &guard.memo, season), season(moment)) << t;
  }
}

TEST(TimeStep, HardlyEverAsksTheFunction) {
  fake_clock fake;
  fake.set_zone(berlin);
  memo_guard guard;
  xp_time_step_lookup(1, &guard.memo, season);
  calls = 0;
  for (int i = 0; i < 1000; i++)
    xp_time_step_lookup(8640000u * 3 + static_cast<uint32_t>(i), &guard.memo, season);
  EXPECT_LE(calls, 40) << "each question in a gap halves it";
}

TEST(TimeStep, WithoutRulesTheValueIsZero) {
  fake_clock fake;
  fake.set_zone(moscow);
  memo_guard guard;
  EXPECT_EQ(xp_time_step_lookup(8640000, &guard.memo, season), 0u);
  EXPECT_EQ(guard.memo[0], 1u);
}

TEST(TimeStep, KeepsTwoValuesOfWhichNoneIsZero) {
  fake_clock fake;
  fake.set_zone(berlin);
  uint32_t* memo = nullptr;
  const auto both = [](xp_time_t t) { return season(t) + 1800; };
  for (xp_time_t t = 1; t < 100000000; t += 999999)
    EXPECT_EQ(xp_time_step_lookup(t, &memo, both), both(t));
  xp_time_step_lookup(0, &memo, both);
  EXPECT_EQ(memo, nullptr);
}

TEST(TimeStep, WithoutMemoryTheFunctionAnswers) {
  fake_clock fake;
  fake.set_zone(berlin);
  sweep_allocations([](heap_watch& watch) {
    memo_guard guard;
    EXPECT_EQ(xp_time_step_lookup(8640000, &guard.memo, season), 3600u);
    EXPECT_EQ(guard.memo == nullptr, watch.failed());
  });
}
