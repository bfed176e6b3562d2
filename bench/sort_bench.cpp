// xp_sort of a million items beside std::sort: texts, with the compare of texts; numbers, with a
// compare that each calls through a pointer; and numbers without one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "object/xp_dict.h"
#include "object/xp_str.h"

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

// Texts of 4 to 12 letters, by pointer.
int32_t by_text(void*, uintptr_t a, uintptr_t b, int32_t) {
  return xp_text_compare_bytes(reinterpret_cast<const char*>(a), -1,
                               reinterpret_cast<const char*>(b), -1);
}

std::vector<uintptr_t> make_texts(std::vector<std::string>* store) {
  std::mt19937 random(1);
  std::vector<uintptr_t> items;
  store->reserve(COUNT);
  for (uint32_t i = 0; i < COUNT; i++) {
    std::string text(4 + random() % 9, 'a');
    for (char& c : text)
      c = static_cast<char>('a' + random() % 26);
    store->push_back(text);
    items.push_back(reinterpret_cast<uintptr_t>(store->back().c_str()));
  }
  return items;
}

template <class Sort>
void run_texts(benchmark::State& state, Sort sort) {
  std::vector<std::string> store;
  const std::vector<uintptr_t> source = make_texts(&store);
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

void ours_of_texts(benchmark::State& state) {
  run_texts(state, [](auto& items) { (void)xp_sort(nullptr, COUNT, items.data(), by_text); });
}

void std_of_texts(benchmark::State& state) {
  run_texts(state, [](auto& items) {
    std::sort(items.begin(), items.end(),
              [](uintptr_t a, uintptr_t b) { return by_text(nullptr, a, b, 0) < 0; });
  });
}

BENCHMARK(ours_of_texts)->Unit(benchmark::kMillisecond);
BENCHMARK(std_of_texts)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_with_compare)->DenseRange(RANDOM, FEW_VALUES)->Unit(benchmark::kMillisecond);
BENCHMARK(std_with_compare)->DenseRange(RANDOM, FEW_VALUES)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_of_words)->Arg(RANDOM)->Unit(benchmark::kMillisecond);
BENCHMARK(std_of_words)->Arg(RANDOM)->Unit(benchmark::kMillisecond);

}  // namespace
