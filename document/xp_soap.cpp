#include "document/xp_soap.h"

#include <string.h>

#include "object/xp_ref.h"

namespace {

bool is_envelope(const xp_xml_record* element) {
  static const char prefixed[] = ":Envelope";
  constexpr uint32_t LENGTH = sizeof(prefixed) - 1;
  if (element->length < LENGTH) return xp_xml_is(element, "envelope");
  return xp_xml_equal(element->text + element->length - LENGTH, prefixed, LENGTH) == 0;
}

// Most elements turn out to hold text or nothing: `pending` keeps the dictionary of the last such
// one, still without entries, for the next element.

// Every element is a dictionary until its text or its end says otherwise. Only the root is an
// envelope, and nothing opens behind text.
int32_t open_element(xp_plst_builder* builder, const xp_xml_record* element) {
  xp_object* top = xp_plst_top(builder);
  if (top && !xp_as_dict(top)) return -1;
  if (is_envelope(element) != !element->link) return -1;
  xp_object* spare = xp_plst_take_pending(builder);
  return xp_plst_push(builder, spare ? spare : xp_dict_new(XP_DICT_NOCASE));
}

int32_t take_text(xp_plst_builder* builder, const xp_xml_record* text) {
  xp_dict* element = xp_as_dict(xp_plst_top(builder));
  if (!element || xp_dict_count(element) != 0) return -1;
  xp_plst_set_pending(builder, xp_plst_pop(builder));
  return xp_plst_push(builder, xp_str_new_n(text->text, static_cast<int32_t>(text->length)));
}

// The second value under a key makes an array of both.
int32_t add_child(xp_dict* parent, const char* key, int32_t length, xp_ref<>& value) {
  xp_ref<> present(xp_dict_get(parent, key, length));
  if (!present) return xp_dict_set(parent, key, length, value.get());
  if (xp_array* array = xp_as_array(present.get())) return xp_plst_append(array, value.take());
  xp_ref<xp_array> array(xp_array_new(0));
  if (!array || xp_plst_append(array.get(), present.take()) != 0 ||
      xp_plst_append(array.get(), value.take()) != 0)
    return -1;
  return xp_dict_set(parent, key, length, array.get());
}

int32_t close_element(xp_plst_builder* builder, const xp_xml_record* element) {
  xp_ref<> value(xp_plst_pop(builder));
  if (!value) return -1;
  xp_object* top = xp_plst_top(builder);
  if (!top) return xp_plst_attach(builder, value.take());
  // An empty element leaves no trace.
  xp_dict* dict = xp_as_dict(value.get());
  if (dict && xp_dict_count(dict) == 0) {
    xp_plst_set_pending(builder, value.take());
    return 0;
  }
  xp_dict* parent = xp_as_dict(top);
  if (!parent) return -1;
  const char* key = element->text;
  uint32_t length = element->length;
  if (const void* colon = memchr(key, ':', length)) {
    key = static_cast<const char*>(colon) + 1;
    length -= static_cast<uint32_t>(key - element->text);
  }
  return add_child(parent, key, static_cast<int32_t>(length), value);
}

}  // namespace

int32_t xp_soap_event(xp_xml_kind kind, xp_xml_record* record, void* context) {
  auto* builder = static_cast<xp_plst_builder*>(context);
  switch (kind) {
    case XML_ATTRIBUTE:
      return 1;
    case XML_OPEN:
      return open_element(builder, record);
    case XML_TEXT:
      return take_text(builder, record);
    case XML_CLOSE:
      return close_element(builder, record);
    default:
      return 0;
  }
}
