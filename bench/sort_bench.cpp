// xp_sort of a million words beside std::sort, both with a compare that each calls through a
// pointer, and both without one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "object/xp_dict.h"

namespace {

constexpr uint32_t COUNT = 1000000;

int32_t by_value(void*, uintptr_t a, uintptr_t b, int32_t) {
  return a < b ? -1 : a > b;
}

// Volatile, so that neither side sees through the pointer.
xp_sort_compare volatile compare_pointer = by_value;

enum shape : int64_t { RANDOM, SORTED, REVERSED, FEW_VALUES };

std::vector<uintptr_t> make_items(int64_t kind) {
  std::mt19937_64 random(1);
  std::vector<uintptr_t> items(COUNT);
  for (uint32_t i = 0; i < COUNT; i++)
    items[i] = kind == RANDOM     ? random()
               : kind == SORTED   ? i
               : kind == REVERSED ? COUNT - i
                                  : random() % 10;
  return items;
}

template <class Sort>
void run(benchmark::State& state, Sort sort) {
  const std::vector<uintptr_t> source = make_items(state.range(0));
  std::vector<uintptr_t> items;
  for (auto _ : state) {
    state.PauseTiming();
    items = source;
    state.ResumeTiming();
    sort(items);
    benchmark::DoNotOptimize(items.data());
  }
  state.SetItemsProcessed(state.iterations() * COUNT);
}

void ours_with_compare(benchmark::State& state) {
  const xp_sort_compare compare = compare_pointer;
  run(state, [=](auto& items) { (void)xp_sort(nullptr, COUNT, items.data(), compare); });
}

void std_with_compare(benchmark::State& state) {
  const xp_sort_compare compare = compare_pointer;
  run(state, [=](auto& items) {
    std::sort(items.begin(), items.end(),
              [=](uintptr_t a, uintptr_t b) { return compare(nullptr, a, b, 0) < 0; });
  });
}

void ours_of_words(benchmark::State& state) {
  run(state, [](auto& items) { (void)xp_sort(nullptr, COUNT, items.data(), nullptr); });
}

void std_of_words(benchmark::State& state) {
  run(state, [](auto& items) { std::sort(items.begin(), items.end()); });
}

BENCHMARK(ours_with_compare)->DenseRange(RANDOM, FEW_VALUES)->Unit(benchmark::kMillisecond);
BENCHMARK(std_with_compare)->DenseRange(RANDOM, FEW_VALUES)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_of_words)->Arg(RANDOM)->Unit(benchmark::kMillisecond);
BENCHMARK(std_of_words)->Arg(RANDOM)->Unit(benchmark::kMillisecond);

}  // namespace
