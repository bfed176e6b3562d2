// The dictionary beside std::unordered_map with string keys. The values of both are the same
// counted objects, owned by the table; a lookup hands out a reference that the caller drops.
// Lookups are in random order, by keys that the caller has as a pointer and a length (ours) or as a
// ready std::string (the peer's best case).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "object/xp_dict.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"

namespace {

using map_type = std::unordered_map<std::string, xp_ref<>>;

std::vector<std::string> make_keys(int64_t count) {
  std::vector<std::string> keys;
  for (int64_t i = 0; i < count; i++)
    keys.push_back("setting." + std::to_string(i * 7919 % 1000003));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  return keys;
}

int32_t length_of(const std::string& text) {
  return static_cast<int32_t>(text.size());
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(10)->Arg(1000)->Arg(100000);
}

void dict_set(benchmark::State& state) {
  const std::vector<std::string> keys = make_keys(state.range(0));
  xp_ref value(xp_str_new("value"));
  for (auto _ : state) {
    xp_ref dict(xp_dict_new(0));
    for (const std::string& key : keys)
      benchmark::DoNotOptimize(xp_dict_set(dict.get(), key.data(), length_of(key), value.get()));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void map_set(benchmark::State& state) {
  const std::vector<std::string> keys = make_keys(state.range(0));
  xp_ref value(xp_str_new("value"));
  for (auto _ : state) {
    map_type map;
    for (const std::string& key : keys)
      map[key].reset(xp_object_retain(value.get()));
    benchmark::DoNotOptimize(map.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void dict_get(benchmark::State& state) {
  std::vector<std::string> keys = make_keys(state.range(0));
  xp_ref dict(xp_dict_new(static_cast<uint32_t>(state.range(1))));
  xp_ref value(xp_str_new("value"));
  for (const std::string& key : keys)
    (void)xp_dict_set(dict.get(), key.data(), length_of(key), value.get());
  if (state.range(2)) xp_dict_rehash(dict.get(), static_cast<uint32_t>(state.range(2)));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  for (auto _ : state)
    for (const std::string& key : keys) {
      xp_ref found(xp_dict_get(dict.get(), key.data(), length_of(key)));
      benchmark::DoNotOptimize(found.get());
    }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void map_get(benchmark::State& state) {
  std::vector<std::string> keys = make_keys(state.range(0));
  map_type map;
  xp_ref value(xp_str_new("value"));
  for (const std::string& key : keys)
    map[key].reset(xp_object_retain(value.get()));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  for (auto _ : state)
    for (const std::string& key : keys) {
      const auto place = map.find(key);
      xp_ref found(place == map.end() ? nullptr : xp_object_retain(place->second.get()));
      benchmark::DoNotOptimize(found.get());
    }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Words instead of references: no count is touched on either side.
void raw_dict_get(benchmark::State& state) {
  std::vector<std::string> keys = make_keys(state.range(0));
  xp_ref dict(xp_dict_new(XP_DICT_RAW));
  for (const std::string& key : keys)
    (void)xp_dict_set(dict.get(), key.data(), length_of(key),
                      reinterpret_cast<xp_object*>(uintptr_t{1}));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  for (auto _ : state)
    for (const std::string& key : keys)
      benchmark::DoNotOptimize(xp_dict_get(dict.get(), key.data(), length_of(key)));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void raw_map_get(benchmark::State& state) {
  std::vector<std::string> keys = make_keys(state.range(0));
  std::unordered_map<std::string, void*> map;
  for (const std::string& key : keys)
    map[key] = &map;
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  for (auto _ : state)
    for (const std::string& key : keys) {
      const auto place = map.find(key);
      benchmark::DoNotOptimize(place == map.end() ? nullptr : place->second);
    }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(dict_set)->Apply(sizes);
BENCHMARK(map_set)->Apply(sizes);
// Keys, flags, and buckets when the caller gives the table more than it takes by itself.
BENCHMARK(dict_get)->ArgsProduct({{10, 1000, 100000}, {0, XP_DICT_NOCASE}, {0}});
BENCHMARK(dict_get)->Args({100000, 0, 131072});
BENCHMARK(map_get)->Apply(sizes);
BENCHMARK(raw_dict_get)->Apply(sizes);
BENCHMARK(raw_map_get)->Apply(sizes);

}  // namespace
