// Documents read into object trees and released again, beside libplist (property lists), libxml2's
// tree (what a program would build its values from) and pugixml, a tree parser known for its
// speed. The rows named "parse" leave the release out of the time.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <plist/plist.h>
#include <stdlib.h>

#include <pugixml.hpp>

#include "bench/document_texts.h"
#include "document/xp_plst.h"

namespace {

constexpr size_t LARGE = 10'000'000;

const std::string settings = document_texts::settings();
const std::string property_list = document_texts::property_list(LARGE);
const std::string xml_rpc = document_texts::xml_rpc(LARGE);
const std::string soap = document_texts::soap(LARGE);
const std::string list_xml = document_texts::list_xml(LARGE);

void ours(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    xp_plst* document = xp_plst_parse(text.c_str());
    if (!document) abort();
    xp_object_release(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void libplist(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    plist_t document = nullptr;
    plist_from_xml(text.data(), static_cast<uint32_t>(text.size()), &document);
    if (!document) abort();
    plist_free(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void ours_parse(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    xp_plst* document = xp_plst_parse(text.c_str());
    state.PauseTiming();
    if (!document) abort();
    xp_object_release(document);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void libplist_parse(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    plist_t document = nullptr;
    plist_from_xml(text.data(), static_cast<uint32_t>(text.size()), &document);
    state.PauseTiming();
    if (!document) abort();
    plist_free(document);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void libxml2(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    xmlDocPtr document =
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_HUGE);
    if (!document) abort();
    xmlFreeDoc(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void pugixml(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size())) abort();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

BENCHMARK_CAPTURE(ours, settings, settings);
BENCHMARK_CAPTURE(libplist, settings, settings);
BENCHMARK_CAPTURE(pugixml, settings, settings);
BENCHMARK_CAPTURE(ours, property_list, property_list);
BENCHMARK_CAPTURE(libplist, property_list, property_list);
BENCHMARK_CAPTURE(pugixml, property_list, property_list);
BENCHMARK_CAPTURE(ours_parse, property_list, property_list);
BENCHMARK_CAPTURE(libplist_parse, property_list, property_list);
BENCHMARK_CAPTURE(ours, xml_rpc, xml_rpc);
BENCHMARK_CAPTURE(libxml2, xml_rpc, xml_rpc);
BENCHMARK_CAPTURE(pugixml, xml_rpc, xml_rpc);
BENCHMARK_CAPTURE(ours, soap, soap);
BENCHMARK_CAPTURE(libxml2, soap, soap);
BENCHMARK_CAPTURE(pugixml, soap, soap);
BENCHMARK_CAPTURE(ours, list_xml, list_xml);
BENCHMARK_CAPTURE(libxml2, list_xml, list_xml);
BENCHMARK_CAPTURE(pugixml, list_xml, list_xml);

}  // namespace
