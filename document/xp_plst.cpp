#include "document/xp_plst.h"

#include <string.h>

#include "document/xp_json.h"
#include "document/xp_list_xml.h"
#include "document/xp_plist.h"
#include "document/xp_plst_builder.h"
#include "document/xp_section.h"
#include "document/xp_soap.h"
#include "document/xp_translation.h"
#include "document/xp_writer.h"
#include "document/xp_xmlrpc.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "stream/xp_form.h"

// Elements, attributes and values of XML that are open at a time.
constexpr uint32_t XML_RECORDS = 40;

static void plst_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_object_release(static_cast<xp_plst*>(object)->root);
  xp_object_free(object);
}

xp_plst* xp_plst_new(xp_object* root, const xp_style* style) {
  if (!root) return nullptr;
  auto* document = xp_object_new<xp_plst>(XP_PLST);
  if (!document) return nullptr;
  document->release = plst_release;
  document->render = xp_plst_render;
  document->style = style;
  document->root = xp_object_retain(root);
  return document;
}

namespace {

// ---- what kind of text it is -----------------------------------------------------------------

// What the recognition pass has met.
enum : uint32_t {
  SEEN_BRACE = 0x001,     // {
  SEEN_QUOTE = 0x002,     // "
  SEEN_OPEN = 0x004,      // [
  SEEN_CLOSE = 0x008,     // ]
  SEEN_TAG = 0x010,       // <
  SEEN_EQUAL = 0x020,     // =
  SEEN_AND = 0x040,       // &
  SEEN_COLON = 0x080,     // :
  SEEN_OTHER = 0x100,     // any other printable ASCII byte
  SEEN_LINE_END = 0x200,  // carriage return or line feed
};

struct seen_table {
  uint16_t of[256];
};

consteval seen_table make_seen() {
  constexpr struct {
    uint8_t byte;
    uint16_t seen;
  } marks[] = {{'{', SEEN_BRACE},     {'"', SEEN_QUOTE},    {'[', SEEN_OPEN}, {']', SEEN_CLOSE},
               {'<', SEEN_TAG},       {'=', SEEN_EQUAL},    {'&', SEEN_AND},  {':', SEEN_COLON},
               {'\r', SEEN_LINE_END}, {'\n', SEEN_LINE_END}};
  seen_table table = {};
  for (int byte = 33; byte < 128; byte++)
    table.of[byte] = SEEN_OTHER;
  for (const auto& mark : marks)
    table.of[mark.byte] = mark.seen;
  return table;
}

constexpr seen_table seen_of = make_seen();

// Whether the kind is settled, so that nothing behind this byte matters.
bool is_settled(uint32_t seen) {
  if (seen & (SEEN_BRACE | SEEN_TAG)) return true;
  if ((seen & (SEEN_QUOTE | SEEN_OTHER)) == SEEN_QUOTE) return true;
  return seen == (SEEN_OPEN | SEEN_CLOSE);
}

uint32_t look_over(const char* text) {
  uint32_t seen = 0;
  for (; *text; text++) {
    const uint32_t now = seen | seen_of.of[static_cast<uint8_t>(*text)];
    if (now == seen) continue;
    seen = now;
    if (is_settled(seen)) break;
  }
  return seen;
}

// ---- the readers -----------------------------------------------------------------------------

// A kind of text that isn't XML. The first row that fits is taken, and its style stands whatever
// the reader did.
struct text_kind {
  const char* name;
  uint32_t all;   // what the pass must have met
  uint32_t any;   // of these at least one, unless there is none
  uint32_t none;  // what it must not have met
  xp_plst_reader reader;
  const xp_style* style;
};

constexpr text_kind text_kinds[] = {
    {.name = "rule text",
     .all = SEEN_BRACE | SEEN_OTHER,
     .any = 0,
     .none = SEEN_COLON,
     .reader = xp_rules_read,
     .style = &xp_style_rules},
    {.name = "JSON",
     .all = 0,
     .any = SEEN_BRACE | SEEN_QUOTE,
     .none = 0,
     .reader = xp_json_read,
     .style = &xp_style_json},
    {.name = "section text",
     .all = SEEN_OPEN | SEEN_COLON,
     .any = 0,
     .none = 0,
     .reader = xp_sections_read,
     .style = &xp_style_sections},
    {.name = "form pairs",
     .all = 0,
     .any = SEEN_EQUAL | SEEN_AND,
     .none = SEEN_LINE_END,
     .reader = xp_form_read,
     .style = &xp_style_form},
};

// A kind of XML. They are tried in this order until one delivers; each refuses a foreign root
// element at once and leaves the builder as it was.
struct xml_kind {
  const char* name;
  xp_xml_handler handler;
  const xp_style* style;
};

constexpr xml_kind xml_kinds[] = {
    {.name = "property list", .handler = xp_plist_event, .style = &xp_style_plist},
    {.name = "translation table", .handler = xp_translation_event, .style = &xp_style_plist},
    {.name = "XML-RPC message", .handler = xp_rpc_event, .style = &xp_style_rpc},
    {.name = "SOAP message", .handler = xp_soap_event, .style = &xp_style_rpc},
    {.name = "list XML", .handler = xp_list_event, .style = &xp_style_list},
};

bool fits(const text_kind& kind, uint32_t seen) {
  return (seen & kind.all) == kind.all && (kind.any == 0 || (seen & kind.any) != 0) &&
         (seen & kind.none) == 0;
}

// A kind as its row has it.
struct kind_of_text {
  const char* name;
  const xp_style* style;
};

// Puts what the text holds into `builder->result`. The kind means nothing without a result.
kind_of_text read_text(const char* text, xp_plst_builder* builder) {
  const uint32_t seen = look_over(text);
  for (const text_kind& kind : text_kinds) {
    if (!fits(kind, seen)) continue;
    (void)kind.reader(text, builder);  // what was read up to an error counts
    return {kind.name, kind.style};
  }
  xp_xml_record records[XML_RECORDS];
  for (const xml_kind& kind : xml_kinds) {
    // A builder ends the scan of a whole document as it does that of a bad one.
    (void)xp_xml_scan(text, records, records + XML_RECORDS, kind.handler, builder);
    if (builder->result) return {kind.name, kind.style};
  }
  return {};
}

}  // namespace

xp_plst* xp_plst_parse(const char* text) {
  const char* kind = nullptr;
  return xp_plst_parse_kind(text, &kind);
}

xp_plst* xp_plst_parse_kind(const char* text, const char** kind) {
  if (!text) {
    xp_ref root(xp_dict_new(XP_DICT_NOCASE));
    *kind = xml_kinds[0].name;
    return xp_plst_new(root.get(), &xp_style_plist);
  }
  xp_plst_builder builder = {};
  const kind_of_text found = read_text(text, &builder);
  xp_plst* document = xp_plst_new(builder.result, found.style);
  xp_plst_builder_clear(&builder);
  if (document) *kind = found.name;
  return document;
}

// ---- key paths -------------------------------------------------------------------------------

namespace {

bool is_container(xp_object* object) {
  return xp_as_dict(object) || xp_as_array(object);
}

// The three steps below move `current` on, or leave it where it is for a step that names the
// container itself. False: the path leads nowhere.

bool step_into_array(xp_ref<>& current, const char* step, const char* end) {
  xp_array* array = xp_as_array(current.get());
  if (!array) return false;
  if (step == end) return *end == 0;
  current.reset(xp_array_get(array, xp_text_to_int(step, static_cast<int32_t>(end - step))));
  return true;
}

bool step_into_dict(xp_ref<>& current, const char* step, const char* end) {
  xp_dict* dict = xp_as_dict(current.get());
  if (!dict) return false;
  if (*step == '@') step++;
  if (step == end) return *end == 0;
  current.reset(xp_dict_get(dict, step, static_cast<int32_t>(end - step)));
  return true;
}

bool step_on(xp_ref<>& current, const char* step, const char* end) {
  if (step == end || !current) return false;
  if (*step == '#') return step_into_array(current, step + 1, end);
  return step_into_dict(current, step, end);
}

}  // namespace

xp_object* xp_plst_lookup(xp_plst* document, const char* path) {
  if (!document || !path) return nullptr;
  xp_ref<> current(xp_object_retain(document->root));
  do {
    if (*path++ != '/') return nullptr;
    if (*path == 0) return is_container(current.get()) ? current.take() : nullptr;
    const char* end = path + strcspn(path, "/");
    if (!step_on(current, path, end)) return nullptr;
    path = end;
  } while (*path);
  return current.take();
}
