#include "document/xp_list_xml.h"

#include "document/xp_plst_value.h"
#include "document/xp_xml_names.h"
#include "object/xp_ref.h"
#include "stream/xp_url.h"

namespace {

struct type_row {
  xp_xml_name name;
  xp_plst_type type;
};

// The words of the attribute "type". The first row also stands for all other words, and for none.
// "true" and "false" say the value of an empty field; with text it is a string.
constexpr auto types = xp_xml_names_of<type_row>({
    {xp_xml_word("text"), {xp_plst_string, xp_plst_empty_string}},
    {xp_xml_word("long"), {xp_plst_integer, xp_plst_zero}},
    {xp_xml_word("real"), {xp_plst_real, xp_plst_zero}},
    {xp_xml_word("boolean"), {xp_plst_boolean, xp_plst_empty_string}},
    {xp_xml_word("true"), {xp_plst_string, xp_plst_true}},
    {xp_xml_word("false"), {xp_plst_string, xp_plst_false}},
    {xp_xml_word("date"), {xp_plst_date, xp_plst_now}},
    {xp_xml_word("data"), {xp_plst_data, xp_plst_empty_data}},
});

const xp_plst_type& type_of(const xp_xml_record* field) {
  const type_row* row = types.find(xp_xml_attribute_value(field, "type"));
  return row ? row->type : types.rows[0].type;
}

// A field of fields, rather than of a value.
bool is_record(const xp_xml_record* element) {
  return xp_xml_is(element, "field") && xp_xml_is(xp_xml_attribute_value(element, "type"), "dict");
}

// Stores a value of the item on top under what the attribute `attribute` says; without that the
// value is dropped.
int32_t store(xp_plst_builder* builder, const xp_xml_record* element, const char* attribute,
              xp_object* value) {
  xp_dict* item = xp_as_dict(xp_plst_top(builder));
  if (!item) return -1;
  const xp_xml_record* key = xp_xml_attribute_value(element, attribute);
  return key ? xp_dict_set(item, key->text, static_cast<int32_t>(key->length), value) : 0;
}

// Its fields go to a dictionary of its own until it closes.
int32_t open_record(xp_plst_builder* builder, const xp_xml_record* field) {
  xp_ref<xp_dict> record(xp_dict_new(XP_DICT_NOCASE));
  if (!record || store(builder, field, "label", record.get()) != 0) return -1;
  return xp_plst_push(builder, record.take());
}

int32_t open_element(xp_plst_builder* builder, const xp_xml_record* element) {
  if (xp_xml_is(element, "field") || xp_xml_is(element, "link")) {
    if (!element->link) return -1;
    return is_record(element) ? open_record(builder, element) : 0;
  }
  if (xp_xml_is(element, "item")) {
    if (element->link && !xp_xml_is(element->link, "list")) return -1;
    return xp_plst_push(builder, xp_dict_new(XP_DICT_NOCASE));
  }
  if (!xp_xml_is(element, "list") || element->link) return -1;
  return xp_plst_push(builder, xp_array_new(0));
}

// The text of a link is not used: "href" is its value. An absent or empty one gives none.
int32_t store_link(xp_plst_builder* builder, const xp_xml_record* link) {
  const xp_xml_record* href = xp_xml_attribute_value(link, "href");
  xp_ref<xp_url> url;
  if (href && href->length != 0) {
    url.reset(xp_url_new(href->text, static_cast<int32_t>(href->length)));
    if (!url) return -1;
  }
  return store(builder, link, "rel", url.get());
}

// `text` null: the element is empty.
int32_t store_field(xp_plst_builder* builder, const xp_xml_record* field,
                    const xp_xml_record* text) {
  if (is_record(field)) return 0;
  const xp_plst_type& type = type_of(field);
  xp_ref<> value(text ? type.from_text(text, field) : type.when_empty());
  return value ? store(builder, field, "label", value.get()) : -1;
}

int32_t take_text(xp_plst_builder* builder, const xp_xml_record* text) {
  const xp_xml_record* element = text->link;
  if (xp_xml_is(element, "field")) return store_field(builder, element, text);
  if (!xp_xml_is(element, "link") || !xp_xml_attribute_value(element, "href")) return -1;
  return store_link(builder, element);
}

int32_t take_nothing(xp_plst_builder* builder, const xp_xml_record* element) {
  if (xp_xml_is(element, "field")) return store_field(builder, element, nullptr);
  return xp_xml_is(element, "link") ? store_link(builder, element) : 0;
}

// The attribute "ident" of an item becomes an entry of it. Its container holds it by now.
int32_t store_ident(xp_dict* item, const xp_xml_record* element) {
  const xp_xml_record* ident = xp_xml_attribute_value(element, "ident");
  if (!ident) return 0;
  xp_ref<> text(xp_plst_string(ident, nullptr));
  return text ? xp_dict_set(item, "ident", -1, text.get()) : -1;
}

int32_t close_element(xp_plst_builder* builder, const xp_xml_record* element) {
  if (is_record(element)) {
    xp_object_release(xp_plst_pop(builder));
    return 0;
  }
  if (xp_xml_is(element, "field") || xp_xml_is(element, "link")) return 0;
  xp_object* value = xp_plst_pop(builder);
  xp_dict* item = xp_as_dict(value);
  const int32_t result = xp_plst_attach(builder, value);
  return result == 0 && item ? store_ident(item, element) : result;
}

}  // namespace

int32_t xp_list_event(xp_xml_kind kind, xp_xml_record* record, void* context) {
  auto* builder = static_cast<xp_plst_builder*>(context);
  switch (kind) {
    case XML_OPEN:
      return open_element(builder, record);
    case XML_TEXT:
      return take_text(builder, record);
    case XML_EMPTY:
      return take_nothing(builder, record->link);
    case XML_CLOSE:
      return close_element(builder, record);
    default:
      return 0;
  }
}
