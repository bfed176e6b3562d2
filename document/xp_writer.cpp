#include "document/xp_writer.h"

#include <string.h>

#include "document/xp_base64.h"
#include "document/xp_plst.h"
#include "format/xp_fmt.h"
#include "object/xp_array.h"
#include "object/xp_bool.h"
#include "object/xp_charset.h"
#include "object/xp_container.h"
#include "object/xp_data.h"
#include "object/xp_date.h"
#include "object/xp_dict.h"
#include "object/xp_list.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "object/xp_trav.h"
#include "stream/xp_stream.h"
#include "stream/xp_url.h"

namespace {

constexpr char tabs[] =
    "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t"
    "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
constexpr int32_t MOST_TABS = sizeof(tabs) - 1;
static_assert(MOST_TABS == 64);

// The longest text there is: a count stays at it rather than overflow.
constexpr int32_t MOST_BYTES = INT32_MAX - 1;

// ---- bytes on their way out ------------------------------------------------------------------

// What still fits, a byte for the NUL kept back. Measuring has no end.
int32_t room_at(const xp_doc_cursor* at) {
  if (!at->buffer) return MOST_BYTES - at->written;
  return at->size > at->written ? at->size - at->written - 1 : 0;
}

// Where the next byte goes; null measures.
char* place_at(const xp_doc_cursor* at) {
  return at->buffer ? at->buffer + at->written : nullptr;
}

void advance(xp_doc_cursor* at, int32_t bytes) {
  at->written = bytes > MOST_BYTES - at->written ? MOST_BYTES : at->written + bytes;
}

void put(xp_doc_cursor* at, const char* text, int32_t length) {
  const int32_t room = room_at(at);
  if (length > room) length = room;
  if (at->buffer) memcpy(at->buffer + at->written, text, static_cast<size_t>(length));
  at->written += length;
}

void put_text(xp_doc_cursor* at, const char* text) {
  put(at, text, xp_text_length(text));
}

void put_tabs(xp_doc_cursor* at, int32_t count) {
  put(at, tabs, count < MOST_TABS ? count : MOST_TABS);
}

// The text of a string; one that is cut ends with a whole character.
void put_string(xp_doc_cursor* at, xp_str* string) {
  const int32_t room = room_at(at);
  if (string->length <= room)
    put(at, string->text, string->length);
  else
    advance(at, xp_str_copy_out(string, place_at(at), static_cast<uint32_t>(room)));
}

void put_rendered(xp_doc_cursor* at, xp_object* object) {
  if (!object->render) return;
  const int32_t length = object->render(object, place_at(at), static_cast<uint32_t>(room_at(at)));
  if (length > 0) advance(at, length);
}

// ---- the lead-in of a value ------------------------------------------------------------------

// One value to be written.
struct doc_value {
  xp_object* object;
  uint32_t options;
  int32_t depth;
};

bool is_inline(const xp_style* style, uint32_t options) {
  return style->flags & XP_STYLE_INLINE && options & XP_WRITE_ITEM;
}

void put_lead(xp_doc_cursor* at, const doc_value& value) {
  const xp_style* style = at->style;
  const bool next = value.options & XP_WRITE_NEXT;
  if (is_inline(style, value.options)) {
    put_text(at, next ? style->inline_next : style->inline_first);
  } else {
    put_text(at, next ? style->line_next : style->line_first);
    put_tabs(at, value.depth);
  }
}

void put_end(xp_doc_cursor* at, int32_t depth, const char* close) {
  put_text(at, at->style->line_first);
  if (!(at->style->flags & XP_STYLE_FLAT)) put_tabs(at, depth);
  put_text(at, close);
}

void put_value(xp_doc_cursor* at, const doc_value& value);

// The cursor for the items of a container at `depth`.
xp_doc_cursor inside(const xp_doc_cursor* at, int32_t depth) {
  xp_doc_cursor items = *at;
  items.depth = depth < INT32_MAX ? depth + 1 : depth;
  items.count = 0;
  return items;
}

// ---- dictionaries ----------------------------------------------------------------------------

struct doc_key {
  const char* text;
  int32_t length;
};

// A key, unchanged in every style, and its value behind it.
void put_pair(xp_doc_cursor* at, const doc_key& key, xp_object* value, bool first) {
  const xp_style* style = at->style;
  put_text(at, first ? style->line_first : style->line_next);
  if (!(style->flags & XP_STYLE_FLAT)) put_tabs(at, at->depth);
  put_text(at, style->key_open);
  put(at, key.text, key.length);
  put_text(at, style->key_close);
  put_value(at, {value, XP_WRITE_ITEM, at->depth});
}

// The key again for each thing that the value yields; a value that is no container yields itself.
void put_repeated(xp_doc_cursor* at, const doc_key& key, xp_object* value) {
  bool first = at->count == 0;
  xp_ref walk(xp_traversal_new(value));
  while (xp_ref item{xp_traversal_next(walk.get())}) {
    put_pair(at, key, item.get(), first);
    first = false;
  }
}

int32_t put_entry(xp_dict*, const char* key, int32_t length, xp_object* value, void* context) {
  auto* at = static_cast<xp_doc_cursor*>(context);
  if (!value && !at->style->null_text) return 0;
  if (at->style->flags & XP_STYLE_REPEAT_KEYS)
    put_repeated(at, {key, length}, value);
  else
    put_pair(at, {key, length}, value, at->count == 0);
  at->count++;
  return 0;
}

void put_dict(xp_doc_cursor* at, const doc_value& value) {
  const bool root = value.depth == 0;
  put_lead(at, value);
  put_text(at, root ? at->style->root_dict_open : at->style->dict_open);
  xp_doc_cursor items = inside(at, value.depth);
  // A walk that memory doesn't allow leaves the dictionary empty.
  (void)xp_dict_each_sorted(static_cast<xp_dict*>(value.object), put_entry, &items);
  at->written = items.written;
  put_end(at, value.depth, root ? at->style->root_dict_close : at->style->dict_close);
}

// ---- sequences -------------------------------------------------------------------------------

void put_element(xp_doc_cursor* at, xp_object* element) {
  const uint32_t next = at->count > 0 ? XP_WRITE_NEXT : 0u;
  put_value(at, {element, XP_WRITE_ITEM | next, at->depth});
  at->count++;
}

void put_array_elements(xp_doc_cursor* at, xp_object* object) {
  auto* array = static_cast<xp_array*>(object);
  xp_locked lock(array->lock);
  for (int32_t i = 0; i < array->count; i++)
    put_element(at, array->cells[i]);
}

void put_list_elements(xp_doc_cursor* at, xp_object* object) {
  const auto* list = static_cast<xp_list*>(object);
  for (const xp_node* node = list->next; node != list; node = node->next)
    if (node->value) put_element(at, node->value);
}

void put_sequence(xp_doc_cursor* at, const doc_value& value,
                  void (*put_elements)(xp_doc_cursor*, xp_object*)) {
  put_lead(at, value);
  put_text(at, at->style->array_open);
  xp_doc_cursor items = inside(at, value.depth);
  put_elements(&items, value.object);
  at->written = items.written;
  put_end(at, value.depth, at->style->array_close);
}

void put_array(xp_doc_cursor* at, const doc_value& value) {
  put_sequence(at, value, put_array_elements);
}

void put_list(xp_doc_cursor* at, const doc_value& value) {
  put_sequence(at, value, put_list_elements);
}

// ---- texts -----------------------------------------------------------------------------------

bool needs_protection(const xp_style* style, const xp_str* string) {
  return style->quote_chars &&
         xp_text_find_set(string->text, string->length, style->quote_chars, 0) >= 0;
}

// Protects a whole text by marks around it, or byte by byte where the style has no marks.
void put_protected(xp_doc_cursor* at, xp_str* string, uint32_t escape) {
  const xp_style* style = at->style;
  if (style->quote_open && style->quote_close) {
    put_text(at, style->quote_open);
    put_string(at, string);
    put_text(at, style->quote_close);
    return;
  }
  advance(at, xp_fmt_text(place_at(at), room_at(at), string->text, string->length, escape, 0));
}

void put_string_value(xp_doc_cursor* at, const doc_value& value, xp_str* string, uint32_t escape) {
  put_lead(at, value);
  put_text(at, at->style->string_open);
  if (needs_protection(at->style, string))
    put_protected(at, string, escape);
  else
    put_string(at, string);
  put_text(at, at->style->string_close);
}

void put_str(xp_doc_cursor* at, const doc_value& value) {
  const bool form = at->style->kind == XP_STYLE_FORM;
  put_string_value(at, value, static_cast<xp_str*>(value.object), form ? XP_FMT_PLUS : XP_FMT_JSON);
}

// A kind that no style knows is written as the string that it renders to, by backslashes also in
// form-encoded pairs.
void put_other(xp_doc_cursor* at, const doc_value& value) {
  xp_ref text(xp_str_from_object(value.object));
  if (text) {
    put_string_value(at, value, text.get(), XP_FMT_JSON);
    return;
  }
  put_lead(at, value);
  put_text(at, at->style->string_open);
  put_text(at, at->style->string_close);
}

// ---- the other kinds -------------------------------------------------------------------------

void put_num(xp_doc_cursor* at, const doc_value& value) {
  const xp_style* style = at->style;
  const bool whole = static_cast<xp_num*>(value.object)->decimals == 0;
  put_lead(at, value);
  put_text(at, whole ? style->integer_open : style->real_open);
  put_rendered(at, value.object);
  put_text(at, whole ? style->integer_close : style->real_close);
}

void put_bool(xp_doc_cursor* at, const doc_value& value) {
  put_lead(at, value);
  put_text(at, at->style->bool_open);
  put_rendered(at, value.object);
  put_text(at, at->style->bool_close);
}

void put_url(xp_doc_cursor* at, const doc_value& value) {
  put_lead(at, value);
  put_text(at, at->style->url_open);
  put_rendered(at, value.object);
  put_text(at, at->style->url_close);
}

void put_data(xp_doc_cursor* at, const doc_value& value) {
  const auto* data = static_cast<xp_data*>(value.object);
  put_lead(at, value);
  put_text(at, at->style->data_open);
  const xp_byte_span span = {data->bytes, static_cast<int32_t>(data->length & INT32_MAX)};
  const int32_t length = xp_base64_encode(&span, 1, place_at(at), room_at(at));
  if (length > 0) advance(at, length);
  put_text(at, at->style->data_close);
}

// In Universal Time, with a fraction that is always zero.
void put_date(xp_doc_cursor* at, const doc_value& value) {
  put_lead(at, value);
  put_text(at, at->style->date_open);
  if (!at->buffer || room_at(at) > 0)
    advance(at, xp_fmt_print(place_at(at), at->buffer ? room_at(at) + 1 : 0, "%lu{z::#FT#T.000Z}",
                             static_cast<xp_date*>(value.object)->seconds));
  put_text(at, at->style->date_close);
}

void put_null(xp_doc_cursor* at, const doc_value& value) {
  if (!at->style->null_text) return;
  put_lead(at, value);
  put_text(at, at->style->null_text);
}

struct kind_writer {
  uint32_t tag;
  void (*put)(xp_doc_cursor* at, const doc_value& value);
};

constexpr kind_writer kinds[] = {
    {XP_STR, put_str},   {XP_DICT, put_dict}, {XP_ARRAY, put_array},
    {XP_NUM, put_num},   {XP_BOOL, put_bool}, {XP_DATA, put_data},
    {XP_DATE, put_date}, {XP_URL, put_url},   {XP_LIST, put_list},
};

void put_value(xp_doc_cursor* at, const doc_value& value) {
  if (!value.object) return put_null(at, value);
  for (const kind_writer& kind : kinds)
    if (kind.tag == value.object->tag) return kind.put(at, value);
  if (xp_object_supports(value.object, XP_STREAM_PROTOCOL))
    put_null(at, value);  // the bytes of a stream are no part of a document
  else
    put_other(at, value);
}

}  // namespace

int32_t xp_doc_write(xp_object* object, const xp_style* style, uint32_t options, int32_t depth,
                     char* buffer, int32_t size) {
  if (buffer && size <= 0) return 0;
  xp_doc_cursor at = {buffer, 0, size, depth, 0, style};
  put_value(&at, {object, options, depth});
  if (buffer) buffer[at.written] = 0;
  return at.written;
}

// ---- documents -------------------------------------------------------------------------------

namespace {

// The whole characters of a text that fit, and a NUL when there is room for it. Unlike the text
// between them, header and trailer may fill the buffer to its last byte.
int32_t put_frame(const char* text, char* buffer, int32_t written, int32_t size) {
  const int32_t length = xp_text_length(text);
  if (!buffer) return length > MOST_BYTES - written ? MOST_BYTES : written + length;
  const int32_t room = size - written;
  int32_t shown = 0;
  while (shown < length) {
    const int32_t next = xp_text_character_size(text[shown]);
    if (shown + next > room) break;
    shown += next;
  }
  if (shown > length) shown = length;
  memcpy(buffer + written, text, static_cast<size_t>(shown));
  if (shown < room) buffer[written + shown] = 0;
  return written + shown;
}

}  // namespace

int32_t xp_plst_render(xp_object* object, char* buffer, uint32_t size) {
  const auto* document = static_cast<xp_plst*>(object);
  const int32_t room = size < INT32_MAX ? static_cast<int32_t>(size) : INT32_MAX;
  xp_doc_cursor at = {buffer, 0, room, 0, 0, document->style};
  at.written = put_frame(document->style->header, buffer, 0, room);
  put_value(&at, {document->root, 0, 0});
  return put_frame(document->style->trailer, buffer, at.written, room);
}
