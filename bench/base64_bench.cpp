// Base64 beside Abseil's encoder and modp_b64's decoder.
#include "document/xp_base64.h"

#include <benchmark/benchmark.h>

#include <string>

#ifdef WITH_ABSEIL
#include <absl/strings/escaping.h>
#endif
#ifdef WITH_MODP
#include <modp_b64.h>
#endif

namespace {

std::string some_bytes(int64_t count) {
  std::string bytes(static_cast<size_t>(count), 0);
  for (size_t i = 0; i < bytes.size(); i++)
    bytes[i] = static_cast<char>(i * 167 + i / 256);
  return bytes;
}

std::string encoded(const std::string& bytes) {
  const xp_byte_span span = {bytes.data(), static_cast<int32_t>(bytes.size())};
  std::string text(static_cast<size_t>(xp_base64_encode(&span, 1, nullptr, 0)), 0);
  xp_base64_encode(&span, 1, text.data(), static_cast<int32_t>(text.size()));
  return text;
}

// Rates are of the plain bytes, both ways.
void count_bytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void encode_ours(benchmark::State& state) {
  const std::string bytes = some_bytes(state.range(0));
  const xp_byte_span span = {bytes.data(), static_cast<int32_t>(bytes.size())};
  std::string text(bytes.size() * 2, 0);
  for (auto _ : state)
    benchmark::DoNotOptimize(
        xp_base64_encode(&span, 1, text.data(), static_cast<int32_t>(text.size())));
  count_bytes(state);
}

void decode_ours(benchmark::State& state) {
  const std::string text = encoded(some_bytes(state.range(0)));
  const xp_byte_span span = {text.data(), static_cast<int32_t>(text.size())};
  std::string bytes(text.size(), 0);
  for (auto _ : state)
    benchmark::DoNotOptimize(
        xp_base64_decode(span, bytes.data(), static_cast<int32_t>(bytes.size())));
  count_bytes(state);
}

void measure_ours(benchmark::State& state) {
  const std::string text = encoded(some_bytes(state.range(0)));
  const xp_byte_span span = {text.data(), static_cast<int32_t>(text.size())};
  for (auto _ : state)
    benchmark::DoNotOptimize(xp_base64_decode(span, nullptr, 0));
  count_bytes(state);
}

#ifdef WITH_ABSEIL
void encode_abseil(benchmark::State& state) {
  const std::string bytes = some_bytes(state.range(0));
  std::string text;
  for (auto _ : state) {
    absl::Base64Escape(bytes, &text);
    benchmark::DoNotOptimize(text.data());
  }
  count_bytes(state);
}
#endif

#ifdef WITH_MODP
void encode_modp(benchmark::State& state) {
  const std::string bytes = some_bytes(state.range(0));
  std::string text(modp_b64_encode_len(bytes.size()), 0);
  for (auto _ : state)
    benchmark::DoNotOptimize(modp_b64_encode(text.data(), bytes.data(), bytes.size()));
  count_bytes(state);
}

void decode_modp(benchmark::State& state) {
  const std::string text = encoded(some_bytes(state.range(0)));
  std::string bytes(modp_b64_decode_len(text.size()), 0);
  for (auto _ : state)
    benchmark::DoNotOptimize(modp_b64_decode(bytes.data(), text.data(), text.size()));
  count_bytes(state);
}
#endif

}  // namespace

#define SIZES Arg(1 << 10)->Arg(64 << 10)->Arg(64 << 20)
BENCHMARK(encode_ours)->SIZES;
#ifdef WITH_ABSEIL
BENCHMARK(encode_abseil)->SIZES;
#endif
#ifdef WITH_MODP
BENCHMARK(encode_modp)->SIZES;
BENCHMARK(decode_modp)->SIZES;
#endif
BENCHMARK(decode_ours)->SIZES;
BENCHMARK(measure_ours)->SIZES;
