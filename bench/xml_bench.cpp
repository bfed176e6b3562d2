// The XML scanner beside the event interfaces of expat and libxml2, each with handlers that do
// nothing, over one property list of 10 MB.
#include <benchmark/benchmark.h>
#include <expat.h>
#include <libxml/parser.h>
#include <stdlib.h>

#include "bench/document_texts.h"
#include "document/xp_xml.h"

namespace {

const std::string& text() {
  static const std::string kept = document_texts::property_list(10'000'000);
  return kept;
}

void count_bytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text().size()));
}

int32_t ignore(xp_xml_kind, xp_xml_record*, void*) {
  return 0;
}

void ours(benchmark::State& state) {
  for (auto _ : state) {
    xp_xml_record records[40];
    if (xp_xml_scan(text().c_str(), records, records + 40, ignore, nullptr) != 0) abort();
  }
  count_bytes(state);
}

void expat(benchmark::State& state) {
  for (auto _ : state) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(
        parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
    XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
    if (XML_Parse(parser, text().data(), static_cast<int>(text().size()), 1) != XML_STATUS_OK)
      abort();
    XML_ParserFree(parser);
  }
  count_bytes(state);
}

void libxml2(benchmark::State& state) {
  xmlSAXHandler handlers = {};
  handlers.initialized = XML_SAX2_MAGIC;
  handlers.startElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*, int,
                               const xmlChar**, int, int, const xmlChar**) {};
  handlers.endElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*) {};
  handlers.characters = [](void*, const xmlChar*, int) {};
  for (auto _ : state)
    if (xmlSAXUserParseMemory(&handlers, nullptr, text().data(), static_cast<int>(text().size())) !=
        0)
      abort();
  count_bytes(state);
}

BENCHMARK(ours);
BENCHMARK(expat);
BENCHMARK(libxml2);

}  // namespace
