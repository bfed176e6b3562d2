#include "document/xp_translation.h"

#include "document/xp_plst_builder.h"
#include "object/xp_ref.h"

namespace {

int32_t open_element(const xp_xml_record* record, xp_plst_builder* builder) {
  xp_plst_set_pending(builder, nullptr);
  const bool root = !record->link;
  if (xp_xml_is(record, "dict"))
    return root ? xp_plst_push(builder, xp_dict_new(XP_DICT_NOCASE)) : -1;
  if (root) return -1;
  return xp_xml_is(record, "string") || xp_xml_is(record, "translation") ? 0 : -1;
}

int32_t take_text(const xp_xml_record* record, xp_plst_builder* builder) {
  const xp_xml_record* parent = record->link;
  if (xp_xml_is(parent, "translation")) {
    xp_str* text = xp_str_new_n(record->text, static_cast<int32_t>(record->length));
    xp_plst_set_pending(builder, text);
    return text ? 0 : -1;
  }
  if (xp_xml_is(parent, "string") && xp_xml_is(parent->link, "dict"))
    return xp_plst_push_key(builder, record->text, record->length);
  return -1;
}

int32_t take_nothing(const xp_xml_record* record, xp_plst_builder* builder) {
  if (!xp_xml_is(record->link, "translation")) return 0;
  xp_str* empty = xp_str_new_n(nullptr, 0);
  xp_plst_set_pending(builder, empty);
  return empty ? 0 : -1;
}

int32_t close_element(const xp_xml_record* record, xp_plst_builder* builder) {
  if (xp_xml_is(record, "string")) return 0;
  const bool table = xp_xml_is(record, "dict");
  return xp_plst_attach(builder, table ? xp_plst_pop(builder) : xp_plst_take_pending(builder));
}

}  // namespace

int32_t xp_translation_event(xp_xml_kind kind, xp_xml_record* record, void* context) {
  auto* builder = static_cast<xp_plst_builder*>(context);
  switch (kind) {
    case XML_OPEN:
      return open_element(record, builder);
    case XML_TEXT:
      return take_text(record, builder);
    case XML_EMPTY:
      return take_nothing(record, builder);
    case XML_SPACE:  // blanks are the text of a translation, and nothing elsewhere
      return xp_xml_is(record->link, "translation") ? take_text(record, builder) : 0;
    case XML_CLOSE:
      return close_element(record, builder);
    default:
      return 0;
  }
}
