#include "document/xp_plst_value.h"

#include "document/xp_base64.h"
#include "object/xp_bool.h"
#include "object/xp_data.h"
#include "object/xp_date.h"
#include "object/xp_num.h"
#include "object/xp_str.h"
#include "time/xp_time.h"
#include "time/xp_time_parse.h"

static int32_t length_of(const xp_xml_record* text) {
  return static_cast<int32_t>(text->length);
}

xp_object* xp_plst_string(const xp_xml_record* text, const xp_xml_record*) {
  return xp_str_new_n(text->text, length_of(text));
}

xp_object* xp_plst_integer(const xp_xml_record* text, const xp_xml_record*) {
  return xp_num_new(static_cast<uint32_t>(xp_text_to_int(text->text, length_of(text))));
}

xp_object* xp_plst_real(const xp_xml_record* text, const xp_xml_record*) {
  return xp_num_parse(text->text, length_of(text));
}

xp_object* xp_plst_boolean(const xp_xml_record* text, const xp_xml_record*) {
  return xp_bool_new(xp_xml_is(text, "true"));
}

xp_object* xp_plst_base64(const xp_xml_record* text, const xp_xml_record*) {
  const xp_byte_span span = {text->text, length_of(text)};
  // Room for a text without a blank spares a pass that measures.
  const uint32_t room = text->length / 4 * 3 + 3;
  xp_data* data = xp_data_new(nullptr, room);
  if (!data) return nullptr;
  const int32_t size = xp_base64_decode(span, data->bytes, static_cast<int32_t>(room));
  if (size < 0) {
    xp_object_release(data);
    return nullptr;
  }
  data->length = static_cast<uint32_t>(size);
  return data;
}

static xp_object* data_from_hex(const xp_xml_record* text) {
  const uint32_t size = text->length / 2;
  xp_data* data = xp_data_new(nullptr, size);
  if (data)
    (void)xp_hex_to_bytes(data->bytes, static_cast<int32_t>(size), text->text, length_of(text));
  return data;
}

xp_object* xp_plst_data(const xp_xml_record* text, const xp_xml_record* element) {
  const xp_xml_record* base = xp_xml_attribute_value(element, "base");
  return xp_xml_is(base, "16") ? data_from_hex(text) : xp_plst_base64(text, element);
}

xp_object* xp_plst_date(const xp_xml_record* text, const xp_xml_record*) {
  // 0 is no time here: it is what the parser answers to a text that it can't read.
  const xp_time_t time = xp_time_parse_any(text->text, length_of(text));
  return time == 0 ? nullptr : xp_date_new(time);
}

xp_object* xp_plst_empty_string() {
  return xp_str_new(nullptr);
}

xp_object* xp_plst_zero() {
  return xp_num_new(0);
}

xp_object* xp_plst_true() {
  return xp_bool_new(1);
}

xp_object* xp_plst_false() {
  return xp_bool_new(0);
}

xp_object* xp_plst_empty_data() {
  return xp_data_new(nullptr, 0);
}

xp_object* xp_plst_now() {
  return xp_date_new(0);
}
