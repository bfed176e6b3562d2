// The memo of a function of time that changes rarely.
#include "time/xp_time.h"

namespace {

constexpr uint32_t MOST_INTERVALS = 128;
constexpr uint32_t SAMPLE_STEP = 28 * 86400;  // shorter than any time between two changes
constexpr xp_time_t LAST_SAMPLE = 0x7FFFFFFE;

// Two moments of which the function is known to have the interval's value, and in between, too.
// The change to the next interval lies somewhere between `last` and the next one's `first`.
struct interval {
  xp_time_t first;
  xp_time_t last;
};

struct step_memo {
  uint32_t count;      // of intervals
  uint32_t values[2];  // of the even and the odd intervals
  interval intervals[MOST_INTERVALS];
};
static_assert(sizeof(step_memo) == 1036);

using step_function = uint32_t (*)(xp_time_t);

void build(step_memo* memo, step_function function) {
  memo->count = 1;
  xp_time_rule first, second;
  if (!xp_time_rules(nullptr, &first, &second)) {
    memo->intervals[0] = {0, UINT32_MAX};
    return;
  }
  memo->values[0] = function(1);
  for (xp_time_t t = 1; t <= LAST_SAMPLE; t += SAMPLE_STEP) {
    const uint32_t value = function(t);
    const bool odd = value != memo->values[0];
    if (odd == (memo->count % 2 == 0)) {
      memo->intervals[memo->count - 1].last = t;
      continue;
    }
    if (memo->count == MOST_INTERVALS) return;
    if (memo->count == 1) memo->values[1] = value;
    memo->intervals[memo->count++] = {t, t};
  }
}

// The interval that `t` is in, or in the gap behind it. Changes come at nearly equal distances, so
// the estimate is next to the place.
uint32_t find(const step_memo* memo, xp_time_t t) {
  const xp_time_t start = memo->intervals[0].first;
  const uint32_t width = (memo->intervals[memo->count - 1].last - start) / memo->count;
  uint32_t i = width ? (t - start) / width : 0;
  if (i >= memo->count) i = memo->count - 1;
  while (i > 0 && t < memo->intervals[i].first)
    i--;
  while (i + 1 < memo->count && t >= memo->intervals[i + 1].first)
    i++;
  return i;
}

// Asks the function at `t` inside the gap behind `i` and moves one end of the gap there.
uint32_t narrow(step_memo* memo, uint32_t i, xp_time_t t, step_function function) {
  const uint32_t value = function(t);
  if (value == memo->values[i % 2])
    memo->intervals[i].last = t;
  else
    memo->intervals[i + 1].first = t;
  return value;
}

uint32_t lookup(step_memo* memo, xp_time_t t, step_function function) {
  const xp_time_t end = memo->intervals[memo->count - 1].last;
  if (t < memo->intervals[0].first || t > end) return function(t);
  const uint32_t i = find(memo, t);
  interval* here = &memo->intervals[i];
  if (t <= here->last) return memo->values[i % 2];
  // Each question in a gap halves it, so after a few the memo answers nearly all.
  narrow(memo, i, here->last + (here[1].first - here->last) / 2, function);
  if (t <= here->last) return memo->values[i % 2];
  if (t >= here[1].first) return memo->values[(i + 1) % 2];
  return narrow(memo, i, t, function);
}

}  // namespace

uint32_t xp_time_step_lookup(xp_time_t seconds, uint32_t** memo, uint32_t (*function)(xp_time_t)) {
  if (seconds == 0) {
    xp_heap_free(*memo);
    *memo = nullptr;
    return function(0);
  }
  if (!*memo) {
    auto* fresh = static_cast<step_memo*>(xp_heap_alloc(sizeof(step_memo)));
    if (!fresh) return function(seconds);
    build(fresh, function);
    *memo = &fresh->count;
  }
  return lookup(reinterpret_cast<step_memo*>(*memo), seconds, function);
}
