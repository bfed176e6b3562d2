// Text compares and searches beside the C library and ICU: xp_text_compare on plain ASCII beside
// strcasecmp, its locale path beside the same two conversions and ICU's collator called directly,
// and xp_text_find_set beside strcspn.
#include <benchmark/benchmark.h>
#include <string.h>
#include <strings.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <string>

#include "object/xp_charset.h"
#include "object/xp_str.h"

namespace {

// Two texts that differ in case, and in their last letter.
std::string make_text(int64_t length, char last) {
  static const char words[] = "Velandrim Tallyhall platform setting ";
  std::string text;
  text.reserve(64);  // off the stack, where results are written
  while (text.size() < static_cast<size_t>(length))
    text += words[text.size() % (sizeof(words) - 1)];
  text.back() = last;
  return text;
}

std::string lower_case(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 0x20);
  return text;
}

void ours_ascii(benchmark::State& state) {
  const std::string a = make_text(state.range(0), 'x');
  const std::string b = lower_case(make_text(state.range(0), 'y'));
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_text_compare(a.c_str(), -1, b.c_str(), -1, 0));
}

void ours_ascii_counted(benchmark::State& state) {
  const std::string a = make_text(state.range(0), 'x');
  const std::string b = lower_case(make_text(state.range(0), 'y'));
  const auto length = static_cast<int32_t>(a.size());
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_text_compare(a.c_str(), length, b.c_str(), length, 0));
}

void libc_ascii(benchmark::State& state) {
  const std::string a = make_text(state.range(0), 'x');
  const std::string b = lower_case(make_text(state.range(0), 'y'));
  for (auto _ : state)
    benchmark::DoNotOptimize(strcasecmp(a.c_str(), b.c_str()));
}

void ours_ascii_equal(benchmark::State& state) {
  const std::string a = make_text(state.range(0), 'x');
  const std::string b = lower_case(a);
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_text_compare(a.c_str(), -1, b.c_str(), -1, 0));
}

void libc_ascii_equal(benchmark::State& state) {
  const std::string a = make_text(state.range(0), 'x');
  const std::string b = lower_case(a);
  for (auto _ : state)
    benchmark::DoNotOptimize(strcasecmp(a.c_str(), b.c_str()));
}

// A letter that only the locale can order stands in front.
void ours_locale(benchmark::State& state) {
  const std::string a = "\xC3\xA9" + make_text(state.range(0), 'x');
  const std::string b = "\xC3\xA9" + make_text(state.range(0), 'y');
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_text_compare(a.c_str(), -1, b.c_str(), -1, 0));
}

void icu_locale(benchmark::State& state) {
  const std::string a = "\xC3\xA9" + make_text(state.range(0), 'x');
  const std::string b = "\xC3\xA9" + make_text(state.range(0), 'y');
  UErrorCode status = U_ZERO_ERROR;
  UCollator* collator = ucol_open("en_US", &status);
  ucol_setStrength(collator, UCOL_SECONDARY);
  UChar wide_a[512];
  UChar wide_b[512];
  int32_t a_units = 0;
  int32_t b_units = 0;
  for (auto _ : state) {
    u_strFromUTF8(wide_a, 512, &a_units, a.c_str(), static_cast<int32_t>(a.size()), &status);
    u_strFromUTF8(wide_b, 512, &b_units, b.c_str(), static_cast<int32_t>(b.size()), &status);
    benchmark::DoNotOptimize(ucol_strcoll(collator, wide_a, a_units, wide_b, b_units));
  }
  ucol_close(collator);
}

// ICU's own compare of UTF-8, with no conversion in front.
void icu_utf8(benchmark::State& state) {
  const std::string a = "\xC3\xA9" + make_text(state.range(0), 'x');
  const std::string b = "\xC3\xA9" + make_text(state.range(0), 'y');
  UErrorCode status = U_ZERO_ERROR;
  UCollator* collator = ucol_open("en_US", &status);
  ucol_setStrength(collator, UCOL_SECONDARY);
  for (auto _ : state)
    benchmark::DoNotOptimize(ucol_strcollUTF8(collator, a.c_str(), static_cast<int32_t>(a.size()),
                                              b.c_str(), static_cast<int32_t>(b.size()), &status));
  ucol_close(collator);
}

constexpr char QUOTE_LIST[] = "\n\r\"\\";

void ours_find_set(benchmark::State& state) {
  const std::string text = make_text(state.range(0), '"');
  for (auto _ : state)
    benchmark::DoNotOptimize(
        xp_text_find_set(text.c_str(), static_cast<int32_t>(text.size()), QUOTE_LIST, 0));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void libc_find_set(benchmark::State& state) {
  const std::string text = make_text(state.range(0), '"');
  for (auto _ : state)
    benchmark::DoNotOptimize(strcspn(text.c_str(), QUOTE_LIST));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(ours_ascii)->Arg(8)->Arg(32)->Arg(256);
BENCHMARK(ours_ascii_counted)->Arg(8)->Arg(32)->Arg(256);
BENCHMARK(libc_ascii)->Arg(8)->Arg(32)->Arg(256);
BENCHMARK(ours_ascii_equal)->Arg(8)->Arg(32)->Arg(256);
BENCHMARK(libc_ascii_equal)->Arg(8)->Arg(32)->Arg(256);
BENCHMARK(ours_locale)->Arg(8)->Arg(32)->Arg(200);
BENCHMARK(icu_locale)->Arg(8)->Arg(32)->Arg(200);
BENCHMARK(icu_utf8)->Arg(8)->Arg(32)->Arg(200);
BENCHMARK(ours_find_set)->Arg(8)->Arg(64)->Arg(1024)->Arg(65536);
BENCHMARK(libc_find_set)->Arg(8)->Arg(64)->Arg(1024)->Arg(65536);

}  // namespace
