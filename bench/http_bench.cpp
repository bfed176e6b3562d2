// Small requests over a kept connection, against libcurl's easy handle used again. download.sh
// starts the server and names it in BENCH_URL.
#include <benchmark/benchmark.h>
#ifdef WITH_CURL
#include <curl/curl.h>
#endif
#include <stdlib.h>

#include "object/xp_ref.h"
#include "stream/xp_http.h"

namespace {

const char* url_of(benchmark::State& state) {
  const char* url = getenv("BENCH_URL");
  if (!url) state.SkipWithError("BENCH_URL names no server");
  return url ? url : "";
}

int32_t keep(xp_http* http, int32_t event, int32_t, xp_object* object, void*) {
  if (event != XP_HTTP_CONNECTED || http->connection) return 0;
  http->connection = static_cast<xp_stream*>(xp_retain(object));
  return xp_stream_open(http->connection, STREAM_MODE_WRITE);
}

int64_t received;

struct counting_stream : xp_stream {};

void requests_ours(benchmark::State& state) {
  const xp_ref<counting_stream> sink(xp_object_new<counting_stream>(xp_tag("cntr")));
  sink->open = [](xp_stream*, uint32_t) { return 0; };
  sink->close = [](xp_stream*) { return 0; };
  sink->write = [](xp_stream*, const void*, int32_t length) {
    received += length;
    return length;
  };
  const xp_ref<xp_http> http(xp_http_new());
  http->url = xp_url_new(url_of(state), -1);
  for (auto _ : state)
    if (xp_http_exchange(http.get(), 1, sink.get(), keep, nullptr) != 0 || http->status != 200) {
      state.SkipWithError("exchange");
      break;
    }
  xp_stream_close(http->connection);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(requests_ours)->Unit(benchmark::kMicrosecond)->UseRealTime()->MeasureProcessCPUTime();

#ifdef WITH_CURL
size_t take(char*, size_t size, size_t count, void*) {
  received += static_cast<int64_t>(size * count);
  return size * count;
}

void requests_curl(benchmark::State& state) {
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, url_of(state));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, take);
  for (auto _ : state)
    if (curl_easy_perform(curl) != CURLE_OK) {
      state.SkipWithError("perform");
      break;
    }
  curl_easy_cleanup(curl);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(requests_curl)->Unit(benchmark::kMicrosecond)->UseRealTime()->MeasureProcessCPUTime();
#endif

}  // namespace
