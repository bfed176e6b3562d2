#include "document/xp_plst.h"
#include "object/xp_bool.h"
#include "object/xp_dict.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "stream/xp_console_stream.h"
#include "stream/xp_file_stream.h"
#include "time/xp_time_parse.h"
#include "update/ruvo_options.h"

namespace {

constexpr uint32_t MOST_BYTES = 0x7FFF;  // of a settings document; the rest is not read

// ---- the document ----------------------------------------------------------------------------

// The bytes of the source, NUL-terminated; null when there are none.
char* read_text(xp_stream* stream) {
  int64_t size = 0;
  if (xp_stream_size(stream, &size) != 0) size = 0;
  // An unknown size is -1, and as an unsigned number beyond any limit.
  const auto low = static_cast<uint32_t>(size);
  const uint32_t limit = low < MOST_BYTES ? low : MOST_BYTES;
  auto text = xp_block<>::of(limit + 1u);
  if (!text) return nullptr;
  return xp_stream_read(stream, text.get(), static_cast<int32_t>(limit)) < 1 ? nullptr
                                                                             : text.take();
}

// The root of the document that the stream holds, null unless it is a dictionary.
xp_dict* read_document(xp_stream* stream) {
  if (xp_stream_open(stream, 0) != 0) return nullptr;
  xp_block<> text(read_text(stream));
  xp_stream_close(stream);
  if (!text) return nullptr;
  xp_ref document(xp_plst_parse(text.get()));
  xp_ref root(document ? xp_plst_lookup(document.get(), "/@") : nullptr);
  return xp_as_dict(root.get()) ? xp_as_dict(root.take()) : nullptr;
}

// A file wins over standard input.
xp_stream* settings_source(const ruvo_state* state) {
  if (state->settings_file) return xp_file_stream_new(state->settings_file);
  return state->settings_input ? xp_console_input_new() : nullptr;
}

// ---- the keys --------------------------------------------------------------------------------

// Replaces what an object field holds; the field keeps a reference of its own.
void replace(void* field, xp_object* object) {
  auto** target = static_cast<xp_object**>(field);
  xp_object* old = *target;
  *target = xp_object_retain(object);
  xp_object_release(old);
}

// How the value of a key reaches its field. A value of another type leaves the field alone.
using key_setter = void (*)(void* field, xp_object* value);

void set_string(void* field, xp_object* value) {
  if (xp_as_str(value)) replace(field, value);
}

void set_any(void* field, xp_object* value) {
  if (value) replace(field, value);
}

void set_integer(void* field, xp_object* value) {
  if (const xp_num* number = xp_as_num(value))
    *static_cast<int32_t*>(field) = static_cast<int32_t>(number->integer);
}

void set_integer_or_bool(void* field, xp_object* value) {
  set_integer(field, value);
  if (const xp_bool* truth = xp_as_bool(value)) *static_cast<int32_t*>(field) = truth->value;
}

void set_integer64(void* field, xp_object* value) {
  if (const xp_num* number = xp_as_num(value)) *static_cast<int64_t*>(field) = number->integer;
}

void set_compact_date(void* field, xp_object* value) {
  if (const xp_str* text = xp_as_str(value))
    *static_cast<uint32_t*>(field) = xp_time_parse(text->text);
}

// An array replaces the properties; a string is an array of that one.
void set_properties(void* field, xp_object* value) {
  if (xp_as_array(value)) replace(field, value);
  if (!xp_as_str(value)) return;
  xp_ref array(xp_array_new(0));
  (void)xp_array_append(array.get(), value);
  replace(field, array.get());
}

struct settings_key {
  const char* name;
  key_setter set;
  void* field;
};

template <size_t N>
void apply_keys(xp_dict* dict, const settings_key (&keys)[N]) {
  for (const settings_key& key : keys) {
    xp_ref value(xp_dict_get(dict, key.name, -1));
    key.set(key.field, value.get());
  }
}

void apply(xp_dict* root, ruvo_state* state) {
  const settings_key keys[] = {
      {"url", set_string, &state->url},
      {"name", set_string, &state->name},
      {"proxy", set_any, &state->proxy},
      {"version", set_string, &state->version},
      {"sha256", set_string, &state->digest},
      {"instpath", set_string, &state->instpath},
      {"mode", set_integer, &state->mode},
      {"quiet", set_integer_or_bool, &state->quiet},
      {"loglevel", set_integer, &state->loglevel},
      {"notify", set_any, &state->notify},
      {"properties", set_properties, &state->properties},
      {"coverage", set_integer64, &state->coverage},
      {"expiration", set_compact_date, &state->expiration},
  };
  apply_keys(root, keys);
  xp_ref window(xp_dict_get(root, "osversion", -1));
  const settings_key window_keys[] = {
      {"minimum", set_string, &state->os_minimum},
      {"maximum", set_string, &state->os_maximum},
  };
  apply_keys(xp_as_dict(window.get()), window_keys);
}

bool is_disabled(xp_dict* root) {
  xp_ref enabled(xp_dict_get(root, "enabled", -1));
  const xp_bool* truth = xp_as_bool(enabled.get());
  return truth && !truth->value;
}

}  // namespace

bool ruvo_read_settings(ruvo_state* state) {
  xp_ref source(settings_source(state));
  xp_ref root(source ? read_document(source.get()) : nullptr);
  if (!root) return true;
  if (is_disabled(root.get())) return false;
  apply(root.get(), state);
  return true;
}
