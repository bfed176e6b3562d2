// SHA-256 beside OpenSSL's. OpenSSL's way without the SHA instructions is had by masking them:
// OPENSSL_ia32cap=:~0x20000000 in the environment.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <vector>

#include "codec/xp_sha256.h"

namespace {

std::vector<uint8_t> message(const benchmark::State& state) {
  std::vector<uint8_t> bytes(static_cast<size_t>(state.range(0)));
  for (size_t i = 0; i < bytes.size(); i++)
    bytes[i] = static_cast<uint8_t>(i * 31);
  return bytes;
}

void count_bytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void ours(benchmark::State& state, const xp_sha256_engine* engine) {
  if (!engine->supported()) return state.SkipWithError("not supported here");
  xp_sha256_use(engine);
  const auto bytes = message(state);
  for (auto _ : state) {
    xp_sha256 digest;
    xp_sha256_init(&digest);
    xp_sha256_update(&digest, bytes.data(), static_cast<uint32_t>(bytes.size()));
    xp_sha256_final(&digest);
    benchmark::DoNotOptimize(digest.h);
  }
  count_bytes(state);
  xp_sha256_use(nullptr);
}

void openssl(benchmark::State& state) {
  const auto bytes = message(state);
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  const EVP_MD* sha256 = EVP_sha256();
  for (auto _ : state) {
    uint8_t digest[32];
    unsigned size = 0;
    EVP_DigestInit_ex(context, sha256, nullptr);
    EVP_DigestUpdate(context, bytes.data(), bytes.size());
    EVP_DigestFinal_ex(context, digest, &size);
    benchmark::DoNotOptimize(digest);
  }
  EVP_MD_CTX_free(context);
  count_bytes(state);
}

}  // namespace

#define SIZES Arg(1 << 10)->Arg(64 << 10)->Arg(64 << 20)
BENCHMARK_CAPTURE(ours, sha_instructions, &xp_sha256_sha_instructions)->SIZES;
BENCHMARK_CAPTURE(ours, avx2, &xp_sha256_avx2)->SIZES;
BENCHMARK_CAPTURE(ours, portable, &xp_sha256_portable)->SIZES;
BENCHMARK(openssl)->SIZES;
