// JSON of about 10 MB, read and written: this system beside RapidJSON's DOM and writer, with
// simdjson's DOM as a far mark. The document is a list of records of the sort that
// a server answers with: names, addresses, numbers, truth values, tags, a nested object, and texts
// of which some hold escapes.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <memory>
#include <random>
#include <string>

#include "document/xp_plst.h"
#include "document/xp_writer.h"
#include "object/xp_ref.h"

namespace {

std::string make_words(std::mt19937* random, size_t count) {
  static const char* const words[] = {"update", "installer", "computer", "velandrim", "tallyhall",
                                      "of",     "the",       "restart",  "version",   "a"};
  std::string text;
  for (size_t i = 0; i < count; i++)
    text += (i ? " " : "") + std::string(words[(*random)() % 10]);
  return text;
}

std::string make_record(std::mt19937* random, int id) {
  std::string text = "{\"id\":" + std::to_string(id);
  text += ",\"name\":\"" + make_words(random, 2) + "\"";
  text += ",\"address\":\"https://download.example.com/packages/" + std::to_string((*random)()) +
          "/setup.msi\"";
  text += ",\"size\":" + std::to_string((*random)() % 100000000);
  text += ",\"ratio\":0." + std::to_string(1 + (*random)() % 999);
  text += std::string(",\"active\":") + ((*random)() % 2 ? "true" : "false");
  text += ",\"tags\":[\"" + make_words(random, 1) + "\",\"" + make_words(random, 1) + "\"]";
  text += ",\"origin\":{\"host\":\"h" + std::to_string((*random)() % 100) +
          "\",\"port\":" + std::to_string((*random)() % 65536) + ",\"proxy\":null}";
  text += ",\"notes\":\"" + make_words(random, 25) + ((*random)() % 8 ? "" : "\\n\\\"end\\\"");
  return text + "\"}";
}

const std::string& document_text() {
  static const std::string text = [] {
    std::mt19937 random(1);
    std::string made = "[";
    for (int id = 0; made.size() < 10000000; id++)
      made += (id ? "," : "") + make_record(&random, id);
    return made + "]";
  }();
  return text;
}

void count_bytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(document_text().size()));
}

void ours_read(benchmark::State& state) {
  const std::string& text = document_text();
  for (auto _ : state) {
    xp_ref document(xp_plst_parse(text.c_str()));
    if (!document) state.SkipWithError("not read");
  }
  count_bytes(state);
}

void rapidjson_read(benchmark::State& state) {
  const std::string& text = document_text();
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    if (document.HasParseError()) state.SkipWithError("not read");
  }
  count_bytes(state);
}

void simdjson_read(benchmark::State& state) {
  const simdjson::padded_string text(document_text());
  for (auto _ : state) {
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    if (parser.parse(text).get(root)) state.SkipWithError("not read");
    benchmark::DoNotOptimize(root);
  }
  count_bytes(state);
}

// As a caller does it: measure, allocate, write.
void ours_write(benchmark::State& state) {
  xp_ref document(xp_plst_parse(document_text().c_str()));
  for (auto _ : state) {
    const int32_t length = document->render(document.get(), nullptr, 0);
    const std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(length) + 1]);
    benchmark::DoNotOptimize(
        document->render(document.get(), buffer.get(), static_cast<uint32_t>(length) + 1));
  }
  count_bytes(state);
}

void rapidjson_write(benchmark::State& state) {
  rapidjson::Document document;
  document.Parse(document_text().c_str());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetSize());
  }
  count_bytes(state);
}

BENCHMARK(ours_read)->Unit(benchmark::kMillisecond);
BENCHMARK(rapidjson_read)->Unit(benchmark::kMillisecond);
BENCHMARK(simdjson_read)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_write)->Unit(benchmark::kMillisecond);
BENCHMARK(rapidjson_write)->Unit(benchmark::kMillisecond);

}  // namespace
