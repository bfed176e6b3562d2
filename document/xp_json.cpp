#include "document/xp_json.h"

#include <string.h>

#include <bit>

#include "document/xp_plst_builder.h"
#include "object/xp_bool.h"
#include "object/xp_lanes.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"

namespace {

// ---- scanner ---------------------------------------------------------------------------------

constexpr uint32_t RECORDS = 32;

// One scan. The records are a stack: an open container holds one, the key of an open member one,
// and a scalar one while it is read.
struct json_scan {
  const char* at;
  const char* end;       // the terminating NUL
  xp_json_record* open;  // the innermost open container
  xp_json_record* key;   // the key that waits for its value
  xp_json_record* next;  // the first free record
  xp_plst_builder* builder;
  xp_json_record records[RECORDS];
};

xp_json_record* take_record(json_scan* scan, xp_json_kind kind) {
  if (scan->next == scan->records + RECORDS) return nullptr;
  xp_json_record* record = scan->next++;
  *record = {scan->open, scan->key, kind, 0, nullptr};
  return record;
}

// Blanks, bytes from 0x80 up, and commas but behind a key.
bool is_passed_over(const json_scan* scan, char byte) {
  return static_cast<int8_t>(byte) <= ' ' || (byte == ',' && !scan->key);
}

int32_t open_container(json_scan* scan, xp_json_kind kind) {
  xp_json_record* record = take_record(scan, kind);
  if (!record) return XP_JSON_E_RECORDS;
  scan->at++;
  const int32_t result = xp_json_event(XP_JSON_OPEN, record, scan->builder);
  scan->open = record;
  scan->key = nullptr;
  return result;
}

int32_t close_container(json_scan* scan, xp_json_kind kind) {
  xp_json_record* record = scan->open;
  if (!record) return XP_JSON_E_NOT_OPEN;
  if (record->kind != kind) return XP_JSON_E_PLACE;
  scan->at++;
  const int32_t result = xp_json_event(XP_JSON_CLOSE, record, scan->builder);
  scan->open = record->parent;
  scan->key = nullptr;
  scan->next = record > scan->records && record->key == record - 1 ? record - 1 : record;
  return result;
}

// The next quote or backslash from `at` on, or the end of the text.
const char* find_quote(const char* at, const char* end) {
  for (; end - at >= XP_LANES; at += XP_LANES) {
    const xp_lanes lanes = xp_lanes_at(at);
    const uint32_t bits = xp_lanes_bits((lanes == xp_lanes_of('"')) | (lanes == xp_lanes_of('\\')));
    if (bits) return at + std::countr_zero(bits);
  }
  while (at < end && *at != '"' && *at != '\\')
    at++;
  return at;
}

void scan_string(json_scan* scan, xp_json_record* record) {
  const char* at = ++scan->at;
  record->text = at;
  for (;;) {
    at = find_quote(at, scan->end);
    if (at == scan->end || *at == '"') break;
    // The byte behind a backslash is passed over, but never the NUL.
    at += scan->end - at > 1 ? 2 : 1;
  }
  record->length = static_cast<uint32_t>(at - record->text);
  scan->at = at < scan->end ? at + 1 : at;
}

bool is_number_byte(char byte) {
  return (byte >= '0' && byte <= '9') || byte == '+' || byte == '-' || byte == '.' || byte == 'E' ||
         byte == 'e';
}

void scan_number(json_scan* scan, xp_json_record* record) {
  const char* at = scan->at;
  record->text = at;
  while (is_number_byte(*at))
    at++;
  record->length = static_cast<uint32_t>(at - record->text);
  scan->at = at;
}

struct json_literal {
  const char* letters;
  uint32_t length;
  xp_json_kind kind;
  const char* text;  // what the record says
};

constexpr json_literal literals[] = {
    {"true", 4, XP_JSON_BOOLEAN, "1"},
    {"false", 5, XP_JSON_BOOLEAN, "0"},
    {"null", 4, XP_JSON_NULL, nullptr},
};

bool scan_literal(json_scan* scan, xp_json_record* record) {
  for (const json_literal& literal : literals) {
    const auto length = static_cast<int32_t>(literal.length);
    // Letters that don't match end the compare, and so does the NUL.
    if (scan->end - scan->at < length || xp_xml_equal(scan->at, literal.letters, length) != 0)
      continue;
    record->kind = literal.kind;
    record->text = literal.text;
    record->length = literal.text ? 1 : 0;
    scan->at += length;
    return true;
  }
  return false;
}

bool scan_scalar(json_scan* scan, xp_json_record* record) {
  const char first = *scan->at;
  if (first == '"') {
    record->kind = XP_JSON_STRING;
    scan_string(scan, record);
    return true;
  }
  if (first == '-' || (first >= '0' && first <= '9')) {
    record->kind = XP_JSON_NUMBER;
    scan_number(scan, record);
    return true;
  }
  return scan_literal(scan, record);
}

// The scalar just read as the key of a member: a string with a colon behind it.
int32_t accept_key(json_scan* scan, xp_json_record* record) {
  const char* at = scan->at;
  while (*at > 0 && *at <= ' ')
    at++;
  if (record->kind != XP_JSON_STRING || *at != ':') return XP_JSON_E_PLACE;
  scan->at = at + 1;
  record->parent = nullptr;
  scan->key = record;
  return 0;
}

int32_t read_scalar(json_scan* scan) {
  if (!scan->open) return XP_JSON_E_PLACE;
  xp_json_record* record = take_record(scan, XP_JSON_NULL);
  if (!record) return XP_JSON_E_RECORDS;
  if (!scan_scalar(scan, record)) return XP_JSON_E_TOKEN;
  if (!scan->key && scan->open->kind != XP_JSON_ARRAY) return accept_key(scan, record);
  const int32_t result = xp_json_event(XP_JSON_VALUE, record, scan->builder);
  scan->key = nullptr;
  scan->next = scan->open + 1;
  return result;
}

int32_t read_token(json_scan* scan) {
  switch (*scan->at) {
    case '{':
      return open_container(scan, XP_JSON_OBJECT);
    case '[':
      return open_container(scan, XP_JSON_ARRAY);
    case '}':
      return close_container(scan, XP_JSON_OBJECT);
    case ']':
      return close_container(scan, XP_JSON_ARRAY);
    case ',':
      return XP_JSON_E_PLACE;
    default:
      return read_scalar(scan);
  }
}

// ---- builder ---------------------------------------------------------------------------------

xp_object* make_string(const xp_json_record* record) {
  xp_ref string(xp_str_new_n(record->text, static_cast<int32_t>(record->length)));
  if (!string || !memchr(record->text, '\\', record->length)) return string.take();
  return xp_str_unescape(string.get());
}

// Hands a value on, with its reference; null is a value, too.
int32_t attach(xp_plst_builder* builder, const xp_json_record* key, xp_object* value) {
  xp_object* top = xp_plst_top(builder);
  if (xp_array* array = xp_as_array(top)) return xp_plst_append(array, value);
  xp_dict* dict = xp_as_dict(top);
  if (!dict) return xp_plst_attach(builder, value);
  if (key && key->length)
    return xp_dict_give(dict, key->text,
                        static_cast<int32_t>(key->length < 256 ? key->length : 256), value);
  xp_object_release(value);
  return -1;
}

int32_t attach_made(xp_plst_builder* builder, const xp_json_record* key, xp_object* value) {
  return value ? attach(builder, key, value) : -1;
}

int32_t build_value(const xp_json_record* record, xp_plst_builder* builder) {
  const xp_json_record* key = record->key;
  switch (record->kind) {
    case XP_JSON_STRING:
      return attach_made(builder, key, make_string(record));
    case XP_JSON_NUMBER:
      return attach_made(builder, key,
                         xp_num_parse(record->text, static_cast<int32_t>(record->length)));
    case XP_JSON_BOOLEAN:
      return attach_made(builder, key, xp_bool_new(record->length == 1 && *record->text == '1'));
    case XP_JSON_NULL:
      return attach(builder, key, nullptr);
    default:
      return -1;
  }
}

int32_t build_container(const xp_json_record* record, xp_plst_builder* builder) {
  switch (record->kind) {
    case XP_JSON_OBJECT:
      return xp_plst_push(builder, xp_dict_new(XP_DICT_NOCASE));
    case XP_JSON_ARRAY:
      return xp_plst_push(builder, xp_array_new(0));
    default:
      return -1;
  }
}

}  // namespace

int32_t xp_json_event(xp_json_event_kind event, const xp_json_record* record,
                      xp_plst_builder* builder) {
  switch (event) {
    case XP_JSON_OPEN:
      return build_container(record, builder);
    case XP_JSON_CLOSE:
      return attach_made(builder, record->key, xp_plst_pop(builder));
    default:
      return build_value(record, builder);
  }
}

int32_t xp_json_read(const char* text, xp_plst_builder* builder) {
  json_scan scan;
  scan.at = text;
  scan.end = text + strlen(text);
  scan.open = nullptr;
  scan.key = nullptr;
  scan.next = scan.records;
  scan.builder = builder;
  for (;;) {
    while (scan.at < scan.end && is_passed_over(&scan, *scan.at))
      scan.at++;
    if (scan.at == scan.end) return scan.open ? XP_JSON_E_OPEN : 0;
    const int32_t result = read_token(&scan);
    if (result != 0) return result;
  }
}
