// The builder of sections and their pairs, of document/xp_section.h.
#include "document/xp_section.h"
#include "object/xp_ref.h"

namespace {

// The dictionary of sections, made with the first section or pair. Null when memory is out.
xp_dict* result_of(xp_plst_builder* builder) {
  if (!builder->result) builder->result = xp_dict_new(XP_DICT_NOCASE);
  return xp_as_dict(builder->result);
}

// A longer key is cut by the dictionary.
int32_t length_of(const xp_xml_record* record) {
  return static_cast<int32_t>(record->length & INT32_MAX);
}

// A section that is there already becomes the current one again.
int32_t open_section(const xp_xml_record* name, xp_plst_builder* builder) {
  xp_plst_set_pending(builder, nullptr);
  xp_dict* result = result_of(builder);
  if (!result) return XP_SECTION_E_PAIR;
  xp_ref section(xp_dict_get(result, name->text, length_of(name)));
  if (!xp_as_dict(section.get())) {
    section.reset(xp_dict_new(XP_DICT_NOCASE));
    if (!section) return XP_SECTION_E_PAIR;
    if (xp_dict_set(result, name->text, length_of(name), section.get()) != 0)
      return XP_SECTION_E_PAIR;
  }
  xp_plst_set_pending(builder, section.take());
  return 0;
}

int32_t add_pair(const xp_xml_record* value, xp_plst_builder* builder) {
  const xp_xml_record* key = value->attrs;
  if (!key || key->length == 0) return XP_SECTION_E_PAIR;
  xp_dict* section = xp_as_dict(builder->pending);
  if (!section) section = result_of(builder);
  xp_str* text = xp_str_new_n(value->text, length_of(value));
  if (!section || !text) {
    xp_object_release(text);
    return XP_SECTION_E_PAIR;
  }
  return xp_dict_give(section, key->text, length_of(key), text);
}

}  // namespace

int32_t xp_pairs_event(xp_xml_kind kind, const xp_xml_record* record, xp_plst_builder* builder) {
  switch (kind) {
    case XML_OPEN:
      return open_section(record, builder);
    case XML_TEXT:
      return add_pair(record, builder);
    case XML_CLOSE:
      xp_plst_set_pending(builder, nullptr);
      return 0;
    default:
      return 0;
  }
}
