// Object trees as text, for comparing what a reader made: {"key": value, ...}, [value, ...],
// "text", 12, 1.50, true, <414243>, url(text), date(seconds), null.
#pragma once

#include <stdio.h>

#include <string>

#include "document/xp_plst.h"
#include "object/xp_array.h"
#include "object/xp_bool.h"
#include "object/xp_data.h"
#include "object/xp_date.h"
#include "object/xp_dict.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "stream/xp_url.h"

inline std::string tree_text(xp_object* object);

inline std::string tree_text_of_str(const xp_str* string) {
  return std::string(string->text, static_cast<size_t>(string->length));
}

inline int32_t tree_text_entry(xp_dict*, const char* key, int32_t length, xp_object* value,
                               void* context) {
  auto& text = *static_cast<std::string*>(context);
  if (text.size() > 1) text += ", ";
  text += "\"" + std::string(key, static_cast<size_t>(length)) + "\": " + tree_text(value);
  return 0;
}

inline std::string tree_text(xp_object* object) {
  if (!object) return "null";
  if (xp_str* string = xp_as_str(object)) return "\"" + tree_text_of_str(string) + "\"";
  if (xp_url* url = xp_as_url(object)) return "url(" + tree_text_of_str(url->text) + ")";
  if (xp_bool* truth = xp_as_bool(object)) return truth->value ? "true" : "false";
  if (xp_date* date = xp_as_date(object)) return "date(" + std::to_string(date->seconds) + ")";
  if (xp_num* number = xp_as_num(object)) {
    if (number->decimals == 0) return std::to_string(number->integer);
    char digits[64];
    snprintf(digits, sizeof(digits), "%.*f", static_cast<int>(number->decimals), number->real);
    return digits;
  }
  if (xp_data* data = xp_as_data(object)) {
    std::string text = "<";
    for (uint32_t i = 0; i < data->length; i++) {
      char digits[3];
      snprintf(digits, sizeof(digits), "%02X", data->bytes[i]);
      text += digits;
    }
    return text + ">";
  }
  if (xp_dict* dict = xp_as_dict(object)) {
    std::string text = "{";
    xp_dict_each_sorted(dict, tree_text_entry, &text);
    return text + "}";
  }
  if (xp_array* array = xp_as_array(object)) {
    std::string text = "[";
    for (int32_t i = 0; i < array->count; i++) {
      xp_ref<> value(xp_array_get(array, i));
      text += (i ? ", " : "") + tree_text(value.get());
    }
    return text + "]";
  }
  return "(unknown)";
}

// What xp_plst_parse makes of a text; "" when it makes nothing.
inline std::string parsed(const char* text) {
  xp_ref<xp_plst> document(xp_plst_parse(text));
  return document ? tree_text(document->root) : "";
}
