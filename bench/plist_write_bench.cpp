// Property lists written: this system (measuring and writing) beside libplist, of the same tree, a
// list of 20,000 records of settings.
#include <benchmark/benchmark.h>
#include <plist/plist.h>
#include <stdlib.h>

#include <memory>
#include <string>

#include "document/xp_plst.h"
#include "document/xp_writer.h"
#include "object/xp_ref.h"

namespace {

std::string make_document() {
  std::string text = "<plist version=\"1.0\"><array>";
  for (int i = 0; i < 20000; i++) {
    const std::string number = std::to_string(i);
    text += "<dict><key>id</key><integer>" + number + "</integer>";
    text += "<key>name</key><string>Velandrim Tallyhall setting " + number + "</string>";
    text += "<key>url</key><string>https://download.example.com/" + number + "</string>";
    text += "<key>active</key><true/><key>data</key><data>SGVsbG8gV29ybGQhIQ==</data>";
    text += "<key>windows</key><array><string>6.1</string><string>10.0</string></array></dict>";
  }
  return text + "</array></plist>";
}

void ours(benchmark::State& state) {
  xp_ref document(xp_plst_parse(make_document().c_str()));
  int64_t bytes = 0;
  for (auto _ : state) {
    const int32_t length = document->render(document.get(), nullptr, 0);
    const std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(length) + 1]);
    bytes += document->render(document.get(), buffer.get(), static_cast<uint32_t>(length) + 1);
    benchmark::DoNotOptimize(buffer.get());
  }
  state.SetBytesProcessed(bytes);
}

void libplist(benchmark::State& state) {
  const std::string source = make_document();
  plist_t root = nullptr;
  plist_from_xml(source.c_str(), static_cast<uint32_t>(source.size()), &root);
  int64_t bytes = 0;
  for (auto _ : state) {
    char* text = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &text, &length);
    bytes += length;
    free(text);
  }
  state.SetBytesProcessed(bytes);
  plist_free(root);
}

BENCHMARK(ours)->Unit(benchmark::kMillisecond);
BENCHMARK(libplist)->Unit(benchmark::kMillisecond);

}  // namespace
