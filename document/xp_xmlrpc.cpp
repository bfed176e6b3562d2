#include "document/xp_xmlrpc.h"

#include <string.h>

#include "document/xp_plst_value.h"
#include "document/xp_xml_names.h"
#include "object/xp_bool.h"
#include "object/xp_date.h"
#include "time/xp_time_parse.h"

namespace {

// Dates in the compact form of XML-RPC, "19980717T14:08:55", which is taken as UTC, and in the
// forms that other documents use.
xp_object* date_from_text(const xp_xml_record* text, const xp_xml_record* element) {
  if (text->length != 17 || text->text[8] != 'T') return xp_plst_date(text, element);
  char digits[18] = {};
  char* end = digits;
  for (uint32_t i = 0; i < text->length; i++)
    if (text->text[i] != 'T' && text->text[i] != ':') *end++ = text->text[i];
  const xp_time_t time = xp_time_parse(digits);
  return time == 0 ? nullptr : xp_date_new(time);
}

// The elements, as bits, so that a row below names all parents that one may have.
enum : uint32_t {
  NOTHING = 0x0001,  // the parent of a root element
  CALL = 0x0002,
  RESPONSE = 0x0004,
  PARAMS = 0x0008,
  PARAM = 0x0010,
  FAULT = 0x0020,
  METHOD_NAME = 0x0040,
  VALUE = 0x0080,
  ARRAY = 0x0100,
  DATA = 0x0200,
  STRUCT = 0x0400,
  MEMBER = 0x0800,
  NAME = 0x1000,
  TYPED = 0x2000,  // whose text is a value of some type
};

// What holds a container of its own while it is open.
constexpr uint32_t CONTAINERS = CALL | RESPONSE | PARAMS | STRUCT | ARRAY;

struct element_row {
  xp_xml_name name;
  uint32_t element;
  uint32_t parents;
  const char* key;    // pushed when the element opens, for the value that it will hold
  xp_plst_type type;  // of TYPED
};

// An empty "boolean" is true. The name of a date is "dateTime.iso8601"; the scanner ends it at the
// dot, in both tags.
constexpr auto elements = xp_xml_names_of<element_row>({
    {xp_xml_word("value"), VALUE, PARAM | MEMBER | FAULT | DATA, nullptr, {}},
    {xp_xml_word("name"), NAME, MEMBER, nullptr, {}},
    {xp_xml_word("member"), MEMBER, STRUCT, nullptr, {}},
    {xp_xml_word("string"), TYPED, VALUE, nullptr, {xp_plst_string, xp_plst_empty_string}},
    {xp_xml_word("int"), TYPED, VALUE, nullptr, {xp_plst_integer, xp_plst_zero}},
    {xp_xml_word("i4"), TYPED, VALUE, nullptr, {xp_plst_integer, xp_plst_zero}},
    {xp_xml_word("boolean"), TYPED, VALUE, nullptr, {xp_plst_boolean, xp_plst_true}},
    {xp_xml_word("double"), TYPED, VALUE, nullptr, {xp_plst_real, xp_plst_zero}},
    {xp_xml_word("base64"), TYPED, VALUE, nullptr, {xp_plst_base64, xp_plst_empty_data}},
    {xp_xml_word("dateTime"), TYPED, VALUE, nullptr, {date_from_text, xp_plst_now}},
    {xp_xml_word("param"), PARAM, PARAMS, nullptr, {}},
    {xp_xml_word("struct"), STRUCT, VALUE, nullptr, {}},
    {xp_xml_word("array"), ARRAY, VALUE, nullptr, {}},
    {xp_xml_word("data"), DATA, ARRAY, nullptr, {}},
    {xp_xml_word("params"), PARAMS, CALL | RESPONSE, "params", {}},
    {xp_xml_word("fault"), FAULT, RESPONSE, "fault", {}},
    {xp_xml_word("methodName"), METHOD_NAME, CALL, nullptr, {}},
    {xp_xml_word("methodCall"), CALL, NOTHING, nullptr, {}},
    {xp_xml_word("methodResponse"), RESPONSE, NOTHING, nullptr, {}},
});

// What stands around a root element, and around text outside one.
constexpr element_row nothing = {xp_xml_word(""), NOTHING, 0, nullptr, {}};

// Null for an element that is no part of a message; no such one stays open.
const element_row* row_of(const xp_plst_builder* builder, const xp_xml_record* record) {
  if (!record) return &nothing;
  if (record == builder->known.element) return static_cast<const element_row*>(builder->known.row);
  return elements.find(record);
}

xp_object* new_container(uint32_t element) {
  if (element & (PARAMS | ARRAY)) return xp_array_new(0);
  return xp_dict_new(0);
}

int32_t open_element(xp_plst_builder* builder, const xp_xml_record* record) {
  xp_plst_set_pending(builder, nullptr);
  builder->bare_value = 0;
  const element_row* row = elements.find(record);
  builder->known = {record, row};
  if (!row || !(row->parents & row_of(builder, record->link)->element)) return -1;
  if (row->parents == NOTHING && xp_plst_top(builder)) return -1;
  if (row->element == VALUE) builder->bare_value = 1;
  if (row->key && xp_plst_push_key(builder, row->key, static_cast<uint32_t>(strlen(row->key))) != 0)
    return -1;
  return row->element & CONTAINERS ? xp_plst_push(builder, new_container(row->element)) : 0;
}

// The name stands outside "params", so that the dictionary of the call is on top.
int32_t set_method_name(xp_plst_builder* builder, const xp_xml_record* text) {
  xp_dict* call = xp_as_dict(xp_plst_top(builder));
  if (!call) return -1;
  xp_object* name = xp_plst_string(text, nullptr);
  const int32_t result = name ? xp_dict_set(call, "methodName", -1, name) : -1;
  xp_object_release(name);
  return result;
}

int32_t take_text(xp_plst_builder* builder, const xp_xml_record* text) {
  const element_row* row = row_of(builder, text->link);
  switch (row->element) {
    case VALUE:
      // Beside the element of its type, text in a "value" means nothing.
      if (builder->bare_value) xp_plst_set_pending(builder, xp_plst_string(text, nullptr));
      return 0;
    case TYPED:
      xp_plst_set_pending(builder, row->type.from_text(text, text->link));
      return 0;
    case METHOD_NAME:
      return set_method_name(builder, text);
    case NAME:
      return xp_plst_push_key(builder, text->text, text->length);
    default:
      return -1;
  }
}

int32_t take_nothing(xp_plst_builder* builder, const xp_xml_record* record) {
  const element_row* row = row_of(builder, record);
  switch (row->element) {
    case VALUE:
      if (builder->bare_value) xp_plst_set_pending(builder, xp_plst_empty_string());
      return 0;
    case TYPED:
      xp_plst_set_pending(builder, row->type.when_empty());
      return 0;
    case METHOD_NAME:
    case NAME:
      return -1;
    default:
      return 0;
  }
}

int32_t take_space(xp_plst_builder* builder, const xp_xml_record* text) {
  const element_row* row = row_of(builder, text->link);
  switch (row->element) {
    case VALUE:
      return take_text(builder, text);
    case TYPED:
      return row->type.from_text == xp_plst_string ? take_text(builder, text) : 0;
    case METHOD_NAME:
    case NAME:
      return -1;
    default:
      return 0;
  }
}

int32_t close_element(xp_plst_builder* builder, const xp_xml_record* record) {
  const uint32_t element = row_of(builder, record)->element;
  if (element & CONTAINERS) return xp_plst_attach(builder, xp_plst_pop(builder));
  // A value with a typed child was attached when that closed.
  if (element != TYPED && !(element == VALUE && builder->bare_value)) return 0;
  builder->bare_value = 0;
  return xp_plst_attach(builder, xp_plst_take_pending(builder));
}

}  // namespace

int32_t xp_rpc_event(xp_xml_kind kind, xp_xml_record* record, void* context) {
  auto* builder = static_cast<xp_plst_builder*>(context);
  switch (kind) {
    case XML_OPEN:
      return open_element(builder, record);
    case XML_TEXT:
      return take_text(builder, record);
    case XML_SPACE:
      return take_space(builder, record);
    case XML_EMPTY:
      return take_nothing(builder, record->link);
    case XML_CLOSE:
      return close_element(builder, record);
    default:
      return 0;
  }
}
