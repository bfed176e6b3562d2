#include "stream/xp_form.h"

#include <string.h>

#include "document/xp_plst_builder.h"
#include "object/xp_array.h"
#include "object/xp_ascii.h"
#include "object/xp_ref.h"
#include "object/xp_result.h"

// The byte of a "%" with two hexadecimal digits at the front of the text, -1 when it is none.
static int32_t escaped_byte(const char* text, int32_t length) {
  if (length < 3) return -1;
  const int32_t high = xp_ascii_hex_value(text[1]);
  const int32_t low = xp_ascii_hex_value(text[2]);
  return high < 0 || low < 0 ? -1 : high << 4 | low;
}

// Decodes into `out`, which has room for `length` bytes; the bytes written.
static int32_t decode(const char* text, int32_t length, char* out) {
  int32_t used = 0;
  for (int32_t i = 0; i < length; i++) {
    const int32_t byte = text[i] == '%' ? escaped_byte(text + i, length - i) : -1;
    if (byte >= 0) i += 2;
    out[used++] = byte >= 0 ? static_cast<char>(byte) : text[i] == '+' ? ' ' : text[i];
  }
  return used;
}

// Arrays grow by single cells; doubling here keeps a flood of one key linear. An array that can't
// grow has lost its cells.
static int32_t append_value(xp_array* array, xp_object* value) {
  const uint32_t capacity = array->capacity;
  if (static_cast<uint32_t>(array->count) == capacity && capacity < INT32_MAX / 2 &&
      xp_array_reserve(array, static_cast<int32_t>(capacity * 2)) < 0)
    return XP_E_STREAM;
  return xp_array_append(array, value) < 0 ? XP_E_STREAM : XP_OK;
}

int32_t xp_dict_add_value(xp_dict* dict, const char* key, int32_t key_length, xp_object* value,
                          int32_t room) {
  const xp_ref<> present(xp_dict_get(dict, key, key_length));
  if (!present) return xp_dict_set(dict, key, key_length, value);
  if (xp_array* array = xp_as_array(present.get())) return append_value(array, value);
  const xp_ref<xp_array> array(xp_array_new(0));
  if (!array || xp_array_reserve(array.get(), room) < 0 ||
      xp_array_append(array.get(), present.get()) < 0 || xp_array_append(array.get(), value) < 0)
    return XP_E_STREAM;
  return xp_dict_set(dict, key, key_length, array.get());
}

int32_t xp_form_add_pair(const char* key, int32_t key_length, const char* value,
                         int32_t value_length, xp_plst_builder* builder) {
  if (!builder->result) builder->result = xp_dict_new(XP_DICT_NOCASE);
  xp_dict* dict = xp_as_dict(builder->result);
  if (!dict) return XP_E_STREAM;
  const xp_ref<xp_str> text(xp_str_new_n(value, value_length));
  if (!text) return XP_E_STREAM;
  return xp_dict_add_value(dict, key, key_length, text.get(), 2);
}

// `scratch` null means that no value needs decoding.
static int32_t read_pairs(const char* text, char* scratch, xp_plst_builder* builder) {
  for (const char* cursor = text;;) {
    while (*cursor == ' ')
      cursor++;
    const char* equals = strchr(cursor, '=');
    if (!equals) return XP_OK;
    // Searched from the "=" on: an earlier "&" belongs to the key.
    const char* value = equals + 1;
    const char* end = strchr(value, '&');
    auto length = static_cast<int32_t>(end ? end - value : static_cast<ptrdiff_t>(strlen(value)));
    const char* shown = value;
    if (scratch) {
      length = decode(value, length, scratch);
      shown = scratch;
    }
    const int32_t code =
        xp_form_add_pair(cursor, static_cast<int32_t>(equals - cursor), shown, length, builder);
    if (code != XP_OK || !end) return code;
    cursor = end + 1;
  }
}

static int32_t xp_form_read_plain(const char* text, xp_plst_builder* builder) {
  return read_pairs(text, nullptr, builder);
}

int32_t xp_form_read(const char* text, xp_plst_builder* builder) {
  if (!text || !*text) return XP_OK;
  if (!strpbrk(text, "%+")) return xp_form_read_plain(text, builder);
  const auto scratch = xp_block<char>::of(strlen(text) + 1);
  if (!scratch) return XP_E_STREAM;
  return read_pairs(text, scratch.get(), builder);
}
