// Any text through the scanner: every record lies within the text, elements nest, and a scan that
// is stopped at an event ends there. The first byte says how many records there are and whether
// attributes are dropped, the second at which event the scan stops.
#include "document/xp_xml.h"
#include "fuzz/fuzz_text.h"

namespace {

struct watch {
  const char* start;
  const char* end;
  const xp_xml_record* first;
  const xp_xml_record* limit;
  int32_t stop_after;
  int32_t depth;
  bool drops;
  bool stopped;
};

void check_text(const watch& seen, const xp_xml_record* record) {
  if (record->text < seen.start || record->text > seen.end) abort();
  if (record->length > static_cast<size_t>(seen.end - record->text)) abort();
}

void check_element(const watch& seen, const xp_xml_record* element) {
  if (element < seen.first || element >= seen.limit) abort();
  check_text(seen, element);
  const xp_xml_record* newer = nullptr;
  for (const xp_xml_record* attr = element->attrs; attr; newer = attr, attr = attr->attrs) {
    if (attr <= element || attr >= seen.limit || (newer && attr >= newer)) abort();
    check_text(seen, attr);
    if (attr->length == 0) abort();
    if (attr->link) check_text(seen, attr->link);
  }
}

int32_t check(xp_xml_kind kind, xp_xml_record* record, void* context) {
  auto& seen = *static_cast<watch*>(context);
  if (seen.stopped || kind < XML_TEXT || kind > XML_SPACE) abort();
  check_text(seen, record);
  if (record->link) check_element(seen, record->link);
  if (kind == XML_OPEN) seen.depth++;
  if (kind == XML_CLOSE && seen.depth-- == 0) abort();
  if (kind == XML_OPEN || kind == XML_CLOSE || kind == XML_ATTRIBUTE || kind == XML_INSTRUCTION)
    check_element(seen, record);
  if (seen.stop_after-- == 0) {
    seen.stopped = true;
    return -77;
  }
  return kind == XML_ATTRIBUTE && seen.drops ? 1 : 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size < 2) return 0;
  const fuzz_text text(bytes + 2, size - 2);
  const size_t count = bytes[0] % 64;
  auto* records = static_cast<xp_xml_record*>(malloc(count * sizeof(xp_xml_record) + 1));
  if (!records) abort();
  watch seen = {.start = text.get(),
                .end = text.get() + text.length(),
                .first = records,
                .limit = records + count,
                .stop_after = bytes[1] == 255 ? INT32_MAX : bytes[1],
                .depth = 0,
                .drops = (bytes[0] & 64) != 0,
                .stopped = false};
  const int32_t result = xp_xml_scan(text.get(), records, records + count, check, &seen);
  if (seen.stopped != (result == -77)) abort();
  if (!seen.stopped && (result > 0 || result < XML_E_NAME)) abort();
  if (result == 0 && seen.depth != 0) abort();
  free(records);
  return 0;
}
