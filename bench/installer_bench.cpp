// What a run does with the whole installer, on a file of 256 MB in the page cache: its digest
// beside OpenSSL's, read as `openssl dgst` reads; taking it out of a container, or copying it,
// beside a plain loop of the same block size.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "object/xp_ref.h"
#include "stream/xp_file_stream.h"
#include "update/ruvo_acquire.h"
#include "update/ruvo_container.h"

namespace {

constexpr int64_t MEGABYTES = 256;

// The input, and a machine folder, below a folder of their own.
struct scratch {
  char folder[64] = "/tmp/ruvo-bench-XXXXXX";
  std::string input, output;

  scratch() {
    if (!mkdtemp(folder)) abort();
    setenv("RUVO_MACHINE", (std::string(folder) + "/machine").c_str(), 1);
    input = std::string(folder) + "/input.msi";
    output = std::string(folder) + "/output.msi";
    FILE* file = fopen(input.c_str(), "we");
    std::vector<unsigned char> block(1 << 20);
    uint32_t state = 1;
    for (int64_t i = 0; file && i < MEGABYTES; i++) {
      for (auto& byte : block)
        byte = static_cast<unsigned char>((state = state * 1664525 + 1013904223) >> 24);
      if (fwrite(block.data(), 1, block.size(), file) != block.size()) abort();
    }
    if (!file || fclose(file) != 0) abort();
  }
  ~scratch() {
    const std::string command = std::string("rm -rf ") + folder;
    if (system(command.c_str()) != 0) perror(folder);
  }
  scratch(const scratch&) = delete;
  scratch& operator=(const scratch&) = delete;
};

const scratch& files() {
  static const scratch made;
  return made;
}

void count_bytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * (MEGABYTES << 20));
}

std::string openssl_digest(const char* path) {
  uint8_t buffer[8192];  // the block of `openssl dgst`
  uint8_t digest[32];
  BIO* file = BIO_new_file(path, "rb");
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  if (!file || !context || !EVP_DigestInit_ex(context, EVP_sha256(), nullptr)) abort();
  for (int got; (got = BIO_read(file, buffer, sizeof buffer)) > 0;)
    EVP_DigestUpdate(context, buffer, static_cast<size_t>(got));
  EVP_DigestFinal_ex(context, digest, nullptr);
  EVP_MD_CTX_free(context);
  BIO_free(file);
  std::string text;
  for (const uint8_t byte : digest) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

void digest_ours(benchmark::State& state) {
  xp_ref path(xp_path_full(files().input.c_str(), -1));
  xp_ref expected(xp_str_new(openssl_digest(files().input.c_str()).c_str()));
  for (auto _ : state)
    if (ruvo_digest_matches(path.get(), expected.get()) != 0) state.SkipWithError("no match");
  count_bytes(state);
}

void digest_openssl(benchmark::State& state) {
  const std::string expected = openssl_digest(files().input.c_str());
  for (auto _ : state)
    if (openssl_digest(files().input.c_str()) != expected) state.SkipWithError("no match");
  count_bytes(state);
}

void copy_ours(benchmark::State& state) {
  xp_ref input(xp_path_full(files().input.c_str(), -1));
  xp_ref output(xp_path_full(files().output.c_str(), -1));
  xp_ref stream(xp_file_stream_new(input.get()));
  for (auto _ : state)
    if (ruvo_container_copy_out(stream.get(), output.get(), -1) != RUVO_CONTAINER_DONE)
      state.SkipWithError("not copied");
  count_bytes(state);
}

// Like ours it writes over the file that is there.
bool copy_plainly(const char* from, const char* to) {
  static char block[65536];
  const int input = open(from, O_RDONLY | O_CLOEXEC);
  const int output = open(to, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  ssize_t got = -1;
  if (input >= 0 && output >= 0)
    while ((got = read(input, block, sizeof block)) > 0)
      if (write(output, block, static_cast<size_t>(got)) != got) break;
  close(input);
  close(output);
  return got == 0;
}

void copy_plain(benchmark::State& state) {
  for (auto _ : state)
    if (!copy_plainly(files().input.c_str(), files().output.c_str()))
      state.SkipWithError("not copied");
  count_bytes(state);
}

}  // namespace

BENCHMARK(digest_ours)->Unit(benchmark::kMillisecond);
BENCHMARK(digest_openssl)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_ours)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_plain)->Unit(benchmark::kMillisecond);
