// A response of 16 KB of header lines and no body: the whole exchange over a socket table that
// delivers it at once, against http-parser with its fields stored in a map of the C++ library.
#include <benchmark/benchmark.h>

#ifdef WITH_HTTP_PARSER
#include <http_parser.h>
#endif
#include <algorithm>
#include <string>
#include <unordered_map>

#include "object/xp_ref.h"
#include "stream/xp_http.h"
#include "tests/support/canned_socket.h"

namespace {

const std::string& response() {
  static const std::string text = [] {
    std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n";
    for (int i = 0; head.size() < 16000; i++)
      head += "X-Header-" + std::to_string(i) + ": some value of usual length, " +
              std::to_string(i * 31) + "\r\n";
    return head + "\r\n";
  }();
  return text;
}

void headers_ours(benchmark::State& state) {
  canned_socket socket;
  const xp_ref<xp_http> http(xp_http_new());
  http->url = xp_url_new("http://h/", -1);
  for (auto _ : state) {
    socket.deliver(response().data(), response().size());
    if (xp_http_exchange(http.get(), 1, nullptr, nullptr, nullptr) != 0 || http->status != 200)
      state.SkipWithError("exchange");
  }
  state.counters["headers"] = xp_dict_count(http->response_headers);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * response().size()));
}
BENCHMARK(headers_ours);

#ifdef WITH_HTTP_PARSER
struct stored {
  std::unordered_map<std::string, std::string> headers;
  std::string name;
  std::string value;
};

void store(stored* self) {
  if (!self->name.empty()) self->headers.emplace(std::move(self->name), std::move(self->value));
  self->name.clear();
  self->value.clear();
}

void headers_http_parser(benchmark::State& state) {
  http_parser_settings settings;
  http_parser_settings_init(&settings);
  settings.on_header_field = [](http_parser* parser, const char* at, size_t length) {
    auto* self = static_cast<stored*>(parser->data);
    if (!self->value.empty()) store(self);
    self->name.append(at, length);
    return 0;
  };
  settings.on_header_value = [](http_parser* parser, const char* at, size_t length) {
    static_cast<stored*>(parser->data)->value.append(at, length);
    return 0;
  };
  settings.on_headers_complete = [](http_parser* parser) {
    store(static_cast<stored*>(parser->data));
    return 0;
  };
  size_t count = 0;
  for (auto _ : state) {
    stored self;
    http_parser parser;
    http_parser_init(&parser, HTTP_RESPONSE);
    parser.data = &self;
    if (http_parser_execute(&parser, &settings, response().data(), response().size()) !=
        response().size())
      state.SkipWithError("parse");
    count = self.headers.size();
  }
  state.counters["headers"] = static_cast<double>(count);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * response().size()));
}
BENCHMARK(headers_http_parser);
#endif

}  // namespace
