// The gzip decoder stream against zlib's own gzip decoding, on 64 MB of compressible text that
// comes in chunks of 16 KB, as from the HTTP client.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <string>

#include "codec/xp_gzip.h"
#include "object/xp_ref.h"
#include "stream/xp_stream.h"

namespace {

constexpr size_t SIZE = 64 << 20;
constexpr size_t CHUNK = 0x4000;

const std::string& member() {
  static const std::string packed = [] {
    std::string plain;
    for (uint32_t i = 0; plain.size() < SIZE; i++)
      plain += "file " + std::to_string(i * 2654435761u % 100000) + " of the installer package\n";
    plain.resize(SIZE);
    std::string out(compressBound(SIZE) + 32, '\0');
    z_stream zlib = {};
    deflateInit2(&zlib, 6, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
    zlib.next_in = reinterpret_cast<Bytef*>(plain.data());
    zlib.avail_in = SIZE;
    zlib.next_out = reinterpret_cast<Bytef*>(out.data());
    zlib.avail_out = static_cast<uInt>(out.size());
    deflate(&zlib, Z_FINISH);
    out.resize(zlib.total_out);
    deflateEnd(&zlib);
    return out;
  }();
  return packed;
}

struct counting_stream : xp_stream {
  int64_t total;
};

int32_t count_write(xp_stream* stream, const void* bytes, int32_t length) {
  benchmark::DoNotOptimize(bytes);
  static_cast<counting_stream*>(stream)->total += length;
  return length;
}

void gzip_ours(benchmark::State& state) {
  const std::string& packed = member();
  for (auto _ : state) {
    const xp_ref<counting_stream> sink(xp_object_new<counting_stream>(xp_tag("cntr")));
    sink->open = [](xp_stream*, uint32_t) { return 0; };
    sink->close = [](xp_stream*) { return 0; };
    sink->write = count_write;
    const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
    if (xp_stream_open(gzip.get(), STREAM_MODE_WRITE) != XP_OK) state.SkipWithError("open");
    for (size_t at = 0; at < packed.size(); at += CHUNK)
      xp_stream_write(gzip.get(), packed.data() + at,
                      static_cast<int32_t>(std::min(CHUNK, packed.size() - at)));
    xp_stream_close(gzip.get());
    if (sink->total != static_cast<int64_t>(SIZE)) state.SkipWithError("wrong size");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * SIZE));
}
BENCHMARK(gzip_ours)->Unit(benchmark::kMillisecond);

void gzip_zlib(benchmark::State& state) {
  const std::string& packed = member();
  static Bytef out[0x8000];
  for (auto _ : state) {
    z_stream zlib = {};
    inflateInit2(&zlib, 31);
    uint64_t total = 0;
    for (size_t at = 0; at < packed.size(); at += CHUNK) {
      zlib.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data() + at));
      zlib.avail_in = static_cast<uInt>(std::min(CHUNK, packed.size() - at));
      do {
        zlib.next_out = out;
        zlib.avail_out = sizeof out;
        inflate(&zlib, Z_NO_FLUSH);
        total += sizeof out - zlib.avail_out;
        benchmark::DoNotOptimize(out);
      } while (zlib.avail_out == 0);
    }
    inflateEnd(&zlib);
    if (total != SIZE) state.SkipWithError("wrong size");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * SIZE));
}
BENCHMARK(gzip_zlib)->Unit(benchmark::kMillisecond);

}  // namespace
