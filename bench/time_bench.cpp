// The calendar and the date parsers beside the C library's. Each works through the same spread of
// moments from 1970 to 2037.
#include <benchmark/benchmark.h>
#include <time.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "time/xp_time_parse.h"

namespace {

std::vector<xp_time_t> some_moments() {
  std::vector<xp_time_t> moments;
  uint32_t seed = 1;
  for (int i = 0; i < 4096; i++) {
    seed = seed * 1664525 + 1013904223;
    moments.push_back(1 + seed / 2);
  }
  return moments;
}

const std::vector<xp_time_t> moments = some_moments();

// Runs `body` on one moment an iteration.
template <class Body>
void each_moment(benchmark::State& state, Body body) {
  size_t i = 0;
  for (auto _ : state)
    body(moments[i++ % moments.size()]);
}

void to_fields(benchmark::State& state) {
  each_moment(state, [](xp_time_t moment) {
    xp_time_fields fields;
    xp_time_to_fields(moment, &fields);
    benchmark::DoNotOptimize(fields);
  });
}

void to_fields_gmtime(benchmark::State& state) {
  each_moment(state, [](time_t moment) {
    tm fields;
    benchmark::DoNotOptimize(gmtime_r(&moment, &fields));
    benchmark::DoNotOptimize(fields);
  });
}

// Local time is worth a comparison in a zone with daylight rules: TZ=Europe/Berlin.
void to_local_fields(benchmark::State& state) {
  each_moment(state, [](xp_time_t moment) {
    xp_time_fields fields;
    xp_time_to_local_fields(moment, &fields);
    benchmark::DoNotOptimize(fields);
  });
}

void to_local_fields_localtime(benchmark::State& state) {
  each_moment(state, [](time_t moment) {
    tm fields;
    benchmark::DoNotOptimize(localtime_r(&moment, &fields));
    benchmark::DoNotOptimize(fields);
  });
}

void from_fields(benchmark::State& state) {
  std::vector<xp_time_fields> all(moments.size());
  for (size_t i = 0; i < all.size(); i++)
    xp_time_to_fields(moments[i], &all[i]);
  size_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_time_from_fields(&all[i++ % all.size()]));
}

void from_fields_timegm(benchmark::State& state) {
  std::vector<tm> all(moments.size());
  for (size_t i = 0; i < all.size(); i++) {
    const time_t moment = moments[i];
    gmtime_r(&moment, &all[i]);
  }
  size_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(timegm(&all[i++ % all.size()]));
}

std::vector<std::string> texts(const char* format) {
  std::vector<std::string> out;
  for (const time_t moment : moments) {
    tm fields;
    std::ostringstream text;
    text << std::put_time(gmtime_r(&moment, &fields), format);
    out.push_back(text.str());
  }
  return out;
}

void parse(benchmark::State& state, const char* format) {
  const std::vector<std::string> all = texts(format);
  size_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_time_parse_any(all[i++ % all.size()].c_str(), -1));
}

void parse_strptime(benchmark::State& state, const char* format) {
  const std::vector<std::string> all = texts(format);
  size_t i = 0;
  for (auto _ : state) {
    tm fields = {};
    strptime(all[i++ % all.size()].c_str(), format, &fields);
    benchmark::DoNotOptimize(timegm(&fields));
  }
}

// Local time: mktime is what takes a reading of the local clock.
void parse_strptime_local(benchmark::State& state, const char* format) {
  const std::vector<std::string> all = texts(format);
  size_t i = 0;
  for (auto _ : state) {
    tm fields = {};
    fields.tm_isdst = -1;
    strptime(all[i++ % all.size()].c_str(), format, &fields);
    benchmark::DoNotOptimize(mktime(&fields));
  }
}

}  // namespace

BENCHMARK(to_fields);
BENCHMARK(to_fields_gmtime);
BENCHMARK(to_local_fields);
BENCHMARK(to_local_fields_localtime);
BENCHMARK(from_fields);
BENCHMARK(from_fields_timegm);
BENCHMARK_CAPTURE(parse, iso, "%Y-%m-%dT%H:%M:%SZ");
BENCHMARK_CAPTURE(parse_strptime, iso, "%Y-%m-%dT%H:%M:%SZ");
BENCHMARK_CAPTURE(parse, compact, "%Y%m%d%H%M%SZ");
BENCHMARK_CAPTURE(parse_strptime, compact, "%Y%m%d%H%M%SZ");
BENCHMARK_CAPTURE(parse, separated_local, "%Y-%m-%d %H:%M:%S");
BENCHMARK_CAPTURE(parse_strptime_local, separated_local, "%Y-%m-%d %H:%M:%S");
BENCHMARK_CAPTURE(parse, american_local, "%m/%d/%Y %I:%M:%S %p");
BENCHMARK_CAPTURE(parse_strptime_local, american_local, "%m/%d/%Y %I:%M:%S %p");
