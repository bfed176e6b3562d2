// The engine beside the C library's snprintf and strftime, and libfmt as a far mark.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <stdio.h>
#include <time.h>

#include "format/xp_fmt.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "time/xp_time.h"

namespace {

constexpr int32_t SIZE = 256;

// Values change from one round to the next, so nothing is computed ahead.
struct values {
  int32_t small = 42;
  uint32_t hex = 0xBEEF;
  int64_t wide = 1234567890123456789;
  double real = 3.14159265358979;
  const char* text = "the quick brown fox";

  void next() {
    small += 977;
    hex = hex * 1664525 + 1013904223;
    wide ^= small;
    real += 0.7853981633974483;
    benchmark::DoNotOptimize(*this);
  }
};

template <class Print>
void run(benchmark::State& state, Print print) {
  char buffer[SIZE];
  values v;
  for (auto _ : state) {
    v.next();
    print(buffer, v);
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
  }
}

// One row: the same output by the three.
#define ROW(name, ours, theirs, far, ...)                                               \
  void ours_##name(benchmark::State& s) {                                               \
    run(s, [](char* b, const values& v) { xp_fmt_print(b, SIZE, ours, __VA_ARGS__); }); \
  }                                                                                     \
  void libc_##name(benchmark::State& s) {                                               \
    run(s, [](char* b, const values& v) { snprintf(b, SIZE, theirs, __VA_ARGS__); });   \
  }                                                                                     \
  void libfmt_##name(benchmark::State& s) {                                             \
    run(s, [](char* b, const values& v) {                                               \
      *fmt::format_to_n(b, SIZE - 1, far, __VA_ARGS__).out = 0;                         \
    });                                                                                 \
  }                                                                                     \
  BENCHMARK(ours_##name);                                                               \
  BENCHMARK(libc_##name);                                                               \
  BENCHMARK(libfmt_##name)

ROW(mixed, "%d %s %.3f %x", "%d %s %.3f %x", "{} {} {:.3f} {:x}", v.small, v.text, v.real, v.hex);
ROW(d, "%d", "%d", "{}", v.small);
ROW(lld, "%lld", "%ld", "{}", v.wide);
ROW(u, "%u", "%u", "{}", v.hex);
ROW(x, "%x", "%x", "{:x}", v.hex);
ROW(o, "%o", "%o", "{:o}", v.hex);
ROW(padded_d, "%8d", "%8d", "{:8}", v.small);
ROW(zeros_x, "%08x", "%08x", "{:08x}", v.hex);
ROW(s, "%s", "%s", "{}", v.text);
ROW(padded_s, "%-32s", "%-32s", "{:32}", v.text);
ROW(c, "%c", "%c", "{:c}", static_cast<char>((v.small & 0x3F) + 0x20));
ROW(p, "%p", "%p", "{}", static_cast<const void*>(&v));
ROW(log_line, "Downloaded %s: %d of %u bytes in %d ms.", "Downloaded %s: %d of %u bytes in %d ms.",
    "Downloaded {}: {} of {} bytes in {} ms.", v.text, v.small, v.hex, 125);
ROW(f, "%f", "%f", "{:f}", v.real);
ROW(f3, "%.3f", "%.3f", "{:.3f}", v.real);
ROW(e, "%e", "%e", "{:e}", v.real);
ROW(g, "%g", "%g", "{:g}", v.real);
ROW(f_large, "%f", "%f", "{:f}", v.real * 1e12);
ROW(f_small, "%f", "%f", "{:f}", v.real * 1e-5);
ROW(e_large, "%e", "%e", "{:e}", v.real * 1e100);
ROW(e_small, "%e", "%e", "{:e}", v.real * 1e-100);
ROW(e_largest, "%e", "%e", "{:e}", v.real * 1e300);
ROW(g17, "%.17g", "%.17g", "{:.17g}", v.real);

#undef ROW

// ---- dates -----------------------------------------------------------------------------------

struct moment {
  xp_time_fields fields;
  tm parts;
};

moment next_moment(xp_time_t* seconds) {
  *seconds += 86400 + 3661;
  moment m;
  xp_time_to_fields(*seconds, &m.fields);
  const time_t t = static_cast<time_t>(*seconds);
  gmtime_r(&t, &m.parts);
  return m;
}

// A thousand moments made ahead, so that only the printing counts.
struct moments {
  moment of[1024];
  moments() {
    xp_time_t seconds = 1000000000;
    for (moment& m : of)
      m = next_moment(&seconds);
  }
};

const moments& all() {
  static const moments the_moments;
  return the_moments;
}

void ours_date(benchmark::State& state, const char* format) {
  char buffer[SIZE];
  size_t i = 0;
  for (auto _ : state) {
    xp_fmt_date(buffer, SIZE, format, -1, &all().of[i++ & 1023].fields, 0);
    benchmark::ClobberMemory();
  }
}

void libc_date(benchmark::State& state, const char* format) {
  char buffer[SIZE];
  size_t i = 0;
  for (auto _ : state) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    strftime(buffer, SIZE, format, &all().of[i++ & 1023].parts);
#pragma GCC diagnostic pop
    benchmark::ClobberMemory();
  }
}

#define DATE(name, format)                    \
  BENCHMARK_CAPTURE(ours_date, name, format); \
  BENCHMARK_CAPTURE(libc_date, name, format)

DATE(F_T, "%F %T");
DATE(http, "%a, %d %b %Y %H:%M:%S GMT");
DATE(c, "%c");
DATE(weeks, "%G-W%V-%u");
DATE(names, "%A %B");

#undef DATE

// ---- what the C library doesn't have ---------------------------------------------------------

void ours_object(benchmark::State& state, const char* format) {
  xp_ref string(xp_str_new("a value with \"quotes\" and some more text behind it"));
  char buffer[SIZE];
  for (auto _ : state) {
    xp_fmt_print(buffer, SIZE, format, string.get());
    benchmark::ClobberMemory();
  }
}
BENCHMARK_CAPTURE(ours_object, plain, "%p{O}");
BENCHMARK_CAPTURE(ours_object, json, "%p{O:~}");
BENCHMARK_CAPTURE(ours_object, percent, "%+p{O}");

void ours_string(benchmark::State& state) {
  int32_t i = 0;
  for (auto _ : state) {
    xp_ref string(xp_str_format("%s: %d", "a text", i++));
    benchmark::DoNotOptimize(string);
  }
}
BENCHMARK(ours_string);

}  // namespace
