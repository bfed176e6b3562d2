// xp_sort of object/xp_dict.h: an introspective sort over words. Items that the compare holds
// equal are ordered as numbers, so the result is one and the same however it is reached.
#include <bit>

#include "object/xp_dict.h"

namespace {

constexpr uint32_t INSERTION_MOST = 8;  // ranges up to here are sorted by insertion
constexpr uint32_t NINE_SAMPLES = 40;   // ranges from here get a pivot from nine samples
constexpr uint32_t STACK_MOST = 32;     // ranges that wait
constexpr uint32_t MOVES_PER_ITEM = 4;  // what an insertion sort on suspicion may cost
constexpr uint32_t BLOCK = 64;          // items looked at together
constexpr uint32_t BLOCKS_FROM = 192;   // ranges that are parted by blocks first
constexpr uint32_t LOPSIDED = 8;        // a part below 1/8 of its range is a bad split

struct by_word {
  static constexpr bool IS_WORD = true;

  bool before(uintptr_t a, uintptr_t b) const { return a < b; }
};

struct by_compare {
  static constexpr bool IS_WORD = false;

  void* context;
  xp_sort_compare compare;

  bool before(uintptr_t a, uintptr_t b) const {
    // Below 0, or 0 and the smaller word.
    return compare(context, a, b, 0) < (a < b);
  }
};

struct sort_range {
  uintptr_t* items;
  uint32_t count;
  uint32_t bad_splits;  // how often the ranges that this one came from were split badly
};

// Sorts by insertion, giving up when items have moved more than `budget` places in all; the items
// are then permuted but whole.
template <class Order>
bool insertion_sort(const Order& order, uintptr_t* items, uint32_t count, uint64_t budget) {
  uint64_t moves = 0;
  for (uint32_t i = 1; i < count; i++) {
    const uintptr_t item = items[i];
    uint32_t place = i;
    for (; place > 0 && order.before(item, items[place - 1]); place--)
      items[place] = items[place - 1];
    items[place] = item;
    moves += i - place;
    if (moves > budget) return false;
  }
  return true;
}

template <class Order>
void sift_up(const Order& order, uintptr_t* items, uint32_t index) {
  const uintptr_t item = items[index];
  while (index > 0) {
    const uint32_t parent = (index - 1) / 2;
    if (!order.before(items[parent], item)) break;
    items[index] = items[parent];
    index = parent;
  }
  items[index] = item;
}

template <class Order>
void sift_down(const Order& order, uintptr_t* items, uint32_t count) {
  const uintptr_t item = items[0];
  uint64_t index = 0;
  for (uint64_t child = 1; child < count; child = index * 2 + 1) {
    if (child + 1 < count && order.before(items[child], items[child + 1])) child++;
    if (!order.before(item, items[child])) break;
    items[index] = items[child];
    index = child;
  }
  items[index] = item;
}

template <class Order>
void heap_sort(const Order& order, uintptr_t* items, uint32_t count) {
  for (uint32_t i = 1; i < count; i++)
    sift_up(order, items, i);
  for (uint32_t last = count - 1; last > 0; last--) {
    const uintptr_t largest = items[0];
    items[0] = items[last];
    items[last] = largest;
    sift_down(order, items, last);
  }
}

template <class Order>
uintptr_t median(const Order& order, uintptr_t a, uintptr_t b, uintptr_t c) {
  if (order.before(a, b)) return order.before(b, c) ? b : order.before(a, c) ? c : a;
  return order.before(a, c) ? a : order.before(b, c) ? c : b;
}

// Of first, middle and last of `count` items.
template <class Order>
uintptr_t median_of_run(const Order& order, const uintptr_t* run, uint32_t count) {
  return median(order, run[0], run[count / 2], run[count - 1]);
}

template <class Order>
uintptr_t choose_pivot(const Order& order, const uintptr_t* items, uint32_t count) {
  if (count < NINE_SAMPLES) return median_of_run(order, items, count);
  const uint32_t eighth = count / 8;
  return median(order, median_of_run(order, items, 2 * eighth),
                median_of_run(order, items + 3 * eighth, 2 * eighth),
                median_of_run(order, items + count - 2 * eighth, 2 * eighth));
}

struct sort_split {
  uint32_t left;  // items before the crossing
  bool swapped;
};

// A range on its way to being parted: what is left of `left` is not after the pivot, and what is
// at `right` or behind it is not before it.
struct sort_parting {
  uintptr_t* items;
  uint32_t left;
  uint32_t right;
  bool swapped;
};

void swap_items(sort_parting* at, uint32_t a, uint32_t b) {
  const uintptr_t item = at->items[a];
  at->items[a] = at->items[b];
  at->items[b] = item;
  at->swapped = true;
}

// Moves both indices inward by blocks. The places of the items that have to change sides are noted
// without a branch on the compare, which in a shuffled range would be guessed wrong half the time.
template <class Order>
void part_blocks(const Order& order, uintptr_t pivot, sort_parting* at) {
  uint8_t from_left[BLOCK];
  uint8_t from_right[BLOCK];
  uint32_t left_first = 0;
  uint32_t left_end = 0;
  uint32_t right_first = 0;
  uint32_t right_end = 0;
  while (at->right - at->left >= 2 * BLOCK) {
    if (left_first == left_end) {
      left_first = left_end = 0;
      for (uint32_t i = 0; i < BLOCK; i++) {
        from_left[left_end] = static_cast<uint8_t>(i);
        left_end += !order.before(at->items[at->left + i], pivot);
      }
    }
    if (right_first == right_end) {
      right_first = right_end = 0;
      for (uint32_t i = 0; i < BLOCK; i++) {
        from_right[right_end] = static_cast<uint8_t>(i);
        right_end += !order.before(pivot, at->items[at->right - 1 - i]);
      }
    }
    while (left_first < left_end && right_first < right_end)
      swap_items(at, at->left + from_left[left_first++], at->right - 1 - from_right[right_first++]);
    if (left_first == left_end) at->left += BLOCK;
    if (right_first == right_end) at->right -= BLOCK;
  }
}

// Parts the range around the pivot's value. The pivot is one of the items, so each index stops
// inside the range; the bounds are for a compare that contradicts itself.
template <class Order>
sort_split part(const Order& order, uintptr_t* items, uint32_t count, uintptr_t pivot) {
  sort_parting at = {items, 0, count, false};
  // A compare has branches of its own, whose outcome foretells ours: only words gain by blocks.
  if (Order::IS_WORD && count >= BLOCKS_FROM) part_blocks(order, pivot, &at);
  uint32_t left = at.left;
  uint32_t right = at.right - 1;
  for (;; left++, right--) {
    while (left < count - 1 && order.before(items[left], pivot))
      left++;
    while (right > 0 && order.before(pivot, items[right]))
      right--;
    if (left >= right) break;
    swap_items(&at, left, right);
  }
  return {left, at.swapped};
}

// The ranges that wait for their turn.
struct sort_stack {
  sort_range ranges[STACK_MOST];
  uint32_t count = 0;
  uint32_t limit;
};

// Parts a range: the left part becomes the range, the right one waits. False when the range turned
// out to be sorted.
template <class Order>
bool split_range(const Order& order, sort_range* range, sort_stack* stack) {
  const uintptr_t pivot = choose_pivot(order, range->items, range->count);
  const sort_split at = part(order, range->items, range->count, pivot);
  // Without a swap the range looks nearly sorted, which insertion finishes at little cost. When it
  // proves otherwise the two parts still stand: no item passes one that is before the pivot.
  if (!at.swapped &&
      insertion_sort(order, range->items, range->count, MOVES_PER_ITEM * uint64_t{range->count}))
    return false;
  const uint32_t right = range->count - at.left;
  if ((at.left < right ? at.left : right) < range->count / LOPSIDED) range->bad_splits++;
  const sort_range rest = {range->items + at.left, right, range->bad_splits};
  if (at.left <= 1) {
    *range = rest;
    return true;
  }
  if (right > 1) stack->ranges[stack->count++] = rest;
  range->count = at.left;
  return true;
}

template <class Order>
void sort_items(const Order& order, uintptr_t* items, uint32_t count) {
  const auto bits = static_cast<uint32_t>(std::bit_width(count));
  sort_stack stack;
  stack.limit = 2 * bits < STACK_MOST ? 2 * bits : STACK_MOST;
  sort_range range = {items, count, 0};
  for (;;) {
    if (range.count <= INSERTION_MOST) {
      (void)insertion_sort(order, range.items, range.count, UINT64_MAX);
    } else if (stack.count == stack.limit || range.bad_splits > bits) {
      // Chosen inputs could make every split bad; this keeps the whole within n log n.
      heap_sort(order, range.items, range.count);
    } else if (split_range(order, &range, &stack)) {
      continue;
    }
    if (stack.count == 0) return;
    range = stack.ranges[--stack.count];
  }
}

}  // namespace

int32_t xp_sort(void* context, uint32_t count, uintptr_t* items, xp_sort_compare compare) {
  if (count < 2 || !items) return 0;
  if (compare)
    sort_items(by_compare{context, compare}, items, count);
  else
    sort_items(by_word{}, items, count);
  return 0;
}
