#include "document/xp_plist.h"

#include "document/xp_plst_value.h"
#include "document/xp_xml_names.h"

namespace {

enum element_role : uint8_t { WRAPPER, DICT, ARRAY, KEY, SCALAR };

struct element_row {
  xp_xml_name name;
  element_role role;
  xp_plst_type type;  // of a scalar
};

// Frequent ones first.
constexpr auto elements = xp_xml_names_of<element_row>({
    {xp_xml_word("key"), KEY, {}},
    {xp_xml_word("string"), SCALAR, {xp_plst_string, xp_plst_empty_string}},
    {xp_xml_word("integer"), SCALAR, {xp_plst_integer, xp_plst_zero}},
    {xp_xml_word("dict"), DICT, {}},
    {xp_xml_word("array"), ARRAY, {}},
    {xp_xml_word("true"), SCALAR, {nullptr, xp_plst_true}},
    {xp_xml_word("false"), SCALAR, {nullptr, xp_plst_false}},
    {xp_xml_word("real"), SCALAR, {xp_plst_real, xp_plst_zero}},
    {xp_xml_word("data"), SCALAR, {xp_plst_data, xp_plst_empty_data}},
    {xp_xml_word("boolean"), SCALAR, {xp_plst_boolean, nullptr}},
    {xp_xml_word("plist"), WRAPPER, {}},
});

const element_row* row_of(const xp_plst_builder* builder, const xp_xml_record* record) {
  if (record && record == builder->known.element)
    return static_cast<const element_row*>(builder->known.row);
  return elements.find(record);
}

// A foreign document is refused at its root, before anything has been made of it.
int32_t open_element(xp_plst_builder* builder, const xp_xml_record* record) {
  xp_plst_set_pending(builder, nullptr);
  const element_row* element = elements.find(record);
  builder->known = {record, element};
  const bool is_root = !record->link;
  if (!element || (element->role == WRAPPER) != is_root) return -1;
  switch (element->role) {
    case DICT:
      return xp_plst_push(builder, xp_dict_new(XP_DICT_NOCASE));
    case ARRAY:
      return xp_plst_push(builder, xp_array_new(0));
    default:
      return 0;
  }
}

// Of several runs of text in one element, with comments between them, the last one counts.
int32_t take_text(xp_plst_builder* builder, const xp_xml_record* text) {
  const element_row* element = row_of(builder, text->link);
  if (!element) return -1;
  if (element->role == KEY)
    return xp_xml_is(text->link->link, "dict") ? xp_plst_push_key(builder, text->text, text->length)
                                               : -1;
  if (!element->type.from_text) return -1;
  // A text without a value is found out when the element closes.
  xp_plst_set_pending(builder, element->type.from_text(text, text->link));
  return 0;
}

int32_t take_nothing(xp_plst_builder* builder, const xp_xml_record* record) {
  const element_row* element = row_of(builder, record);
  if (element && element->type.when_empty) xp_plst_set_pending(builder, element->type.when_empty());
  return 0;
}

// The close of "plist" comes here, too: nothing is pending there, which ends the scan.
int32_t close_element(xp_plst_builder* builder, const xp_xml_record* record) {
  switch (row_of(builder, record)->role) {
    case KEY:
      return 0;
    case DICT:
    case ARRAY:
      return xp_plst_attach(builder, xp_plst_pop(builder));
    default:
      return xp_plst_attach(builder, xp_plst_take_pending(builder));
  }
}

}  // namespace

int32_t xp_plist_event(xp_xml_kind kind, xp_xml_record* record, void* context) {
  auto* builder = static_cast<xp_plst_builder*>(context);
  switch (kind) {
    case XML_OPEN:
      return open_element(builder, record);
    case XML_TEXT:
      return take_text(builder, record);
    case XML_SPACE:
      return xp_xml_is(record->link, "string") ? take_text(builder, record) : 0;
    case XML_EMPTY:
      return take_nothing(builder, record->link);
    case XML_CLOSE:
      return close_element(builder, record);
    default:
      return 0;
  }
}
