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

// ---- styles, measured ------------------------------------------------------------------------

// A string of a style. Most are short, and then lie in a block that is copied as a whole.
struct doc_piece {
  static constexpr int32_t SHORT = 16;

  char bytes[SHORT];
  const char* text;
  int32_t length;
};

doc_piece measured(const char* text) {
  doc_piece piece = {};
  piece.text = text ? text : "";
  piece.length = xp_text_length(text);
  if (piece.length <= doc_piece::SHORT)
    memcpy(piece.bytes, piece.text, static_cast<size_t>(piece.length));
  return piece;
}

// What stands around a value.
struct doc_marks {
  doc_piece open;
  doc_piece close;
};

// The strings of a style that are written again and again, measured once for a document.
struct doc_style {
  explicit doc_style(const xp_style* style);

  const xp_style* style;
  doc_piece line_first;
  doc_piece line_next;
  doc_piece inline_first;
  doc_piece inline_next;
  doc_piece null_text;
  doc_marks array;
  doc_marks dict;
  doc_marks root_dict;
  doc_marks key;
  doc_marks data;
  doc_marks string;
  doc_marks integer;
  doc_marks real;
  doc_marks url;
  doc_marks truth;
  doc_marks date;
  doc_marks quote;
  bool quoted[256];  // bytes that make a text need protection
};

doc_style::doc_style(const xp_style* s)
    : style(s),
      line_first(measured(s->line_first)),
      line_next(measured(s->line_next)),
      inline_first(measured(s->inline_first)),
      inline_next(measured(s->inline_next)),
      null_text(measured(s->null_text)),
      array{measured(s->array_open), measured(s->array_close)},
      dict{measured(s->dict_open), measured(s->dict_close)},
      root_dict{measured(s->root_dict_open), measured(s->root_dict_close)},
      key{measured(s->key_open), measured(s->key_close)},
      data{measured(s->data_open), measured(s->data_close)},
      string{measured(s->string_open), measured(s->string_close)},
      integer{measured(s->integer_open), measured(s->integer_close)},
      real{measured(s->real_open), measured(s->real_close)},
      url{measured(s->url_open), measured(s->url_close)},
      truth{measured(s->bool_open), measured(s->bool_close)},
      date{measured(s->date_open), measured(s->date_close)},
      quote{measured(s->quote_open), measured(s->quote_close)},
      quoted{} {
  for (const char* c = s->quote_chars; c && *c; c++)
    quoted[static_cast<uint8_t>(*c)] = true;
}

// The cursor, with the style in both forms.
struct doc_out : xp_doc_cursor {
  const doc_style* marks;
};

// ---- bytes on their way out ------------------------------------------------------------------

// What still fits, a byte for the NUL kept back. Measuring has no end.
int32_t room_at(const doc_out* at) {
  if (!at->buffer) return MOST_BYTES - at->written;
  return at->size > at->written ? at->size - at->written - 1 : 0;
}

// Where the next byte goes; null measures.
char* place_at(const doc_out* at) {
  return at->buffer ? at->buffer + at->written : nullptr;
}

void advance(doc_out* at, int32_t bytes) {
  at->written = bytes > MOST_BYTES - at->written ? MOST_BYTES : at->written + bytes;
}

void put(doc_out* at, const char* text, int32_t length) {
  const int32_t room = room_at(at);
  if (length > room) length = room;
  if (at->buffer) memcpy(at->buffer + at->written, text, static_cast<size_t>(length));
  at->written += length;
}

// Inline, since this is most of what the writer does.
[[gnu::always_inline]] inline void put(doc_out* at, const doc_piece& piece) {
  constexpr int32_t SHORT = doc_piece::SHORT;
  const int32_t written = at->written;
  if (!at->buffer && written < MOST_BYTES - SHORT && piece.length <= SHORT) {
    at->written = written + piece.length;
  } else if (at->buffer && piece.length <= SHORT && at->size - written > SHORT) {
    memcpy(at->buffer + written, piece.bytes, SHORT);
    at->written = written + piece.length;
  } else {
    put(at, piece.text, piece.length);
  }
}

// Copied as a block, like short pieces: MOST_TABS bytes stand there in any case.
void put_tabs(doc_out* at, int32_t count) {
  constexpr int32_t BLOCK = doc_piece::SHORT;
  if (count <= 0) return;
  if (at->buffer && count <= BLOCK && at->size - at->written > BLOCK) {
    memcpy(at->buffer + at->written, tabs, BLOCK);
    at->written += count;
  } else {
    put(at, tabs, count < MOST_TABS ? count : MOST_TABS);
  }
}

// The text of a string; one that is cut ends with a whole character.
void put_string(doc_out* at, xp_str* string) {
  const int32_t room = room_at(at);
  if (string->length <= room)
    put(at, string->text, string->length);
  else
    advance(at, xp_str_copy_out(string, place_at(at), static_cast<uint32_t>(room)));
}

void put_rendered(doc_out* at, xp_object* object) {
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

void put_lead(doc_out* at, const doc_value& value) {
  const xp_style* style = at->style;
  const bool next = value.options & XP_WRITE_NEXT;
  if (is_inline(style, value.options)) {
    put(at, next ? at->marks->inline_next : at->marks->inline_first);
  } else {
    put(at, next ? at->marks->line_next : at->marks->line_first);
    put_tabs(at, value.depth);
  }
}

void put_end(doc_out* at, int32_t depth, const doc_piece& close) {
  put(at, at->marks->line_first);
  if (!(at->style->flags & XP_STYLE_FLAT)) put_tabs(at, depth);
  put(at, close);
}

void put_value(doc_out* at, const doc_value& value);

// The cursor for the items of a container at `depth`.
doc_out inside(const doc_out* at, int32_t depth) {
  doc_out items = *at;
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
void put_pair(doc_out* at, const doc_key& key, xp_object* value, bool first) {
  put(at, first ? at->marks->line_first : at->marks->line_next);
  if (!(at->style->flags & XP_STYLE_FLAT)) put_tabs(at, at->depth);
  put(at, at->marks->key.open);
  put(at, key.text, key.length);
  put(at, at->marks->key.close);
  put_value(at, {value, XP_WRITE_ITEM, at->depth});
}

// The key again for each thing that the value yields; a value that is no container yields itself.
void put_repeated(doc_out* at, const doc_key& key, xp_object* value) {
  bool first = at->count == 0;
  xp_ref walk(xp_traversal_new(value));
  while (xp_ref item{xp_traversal_next(walk.get())}) {
    put_pair(at, key, item.get(), first);
    first = false;
  }
}

int32_t put_entry(xp_dict*, const char* key, int32_t length, xp_object* value, void* context) {
  auto* at = static_cast<doc_out*>(context);
  if (!value && !at->style->null_text) return 0;
  if (at->style->flags & XP_STYLE_REPEAT_KEYS)
    put_repeated(at, {key, length}, value);
  else
    put_pair(at, {key, length}, value, at->count == 0);
  at->count++;
  return 0;
}

void put_dict(doc_out* at, const doc_value& value) {
  const doc_marks& marks = value.depth == 0 ? at->marks->root_dict : at->marks->dict;
  put_lead(at, value);
  put(at, marks.open);
  doc_out items = inside(at, value.depth);
  auto* dict = static_cast<xp_dict*>(value.object);
  // The order makes no difference to the length, unless a key may be written any number of times.
  // A walk that memory doesn't allow leaves the dictionary empty.
  const bool sorted = at->buffer || at->style->flags & XP_STYLE_REPEAT_KEYS;
  (void)(sorted ? xp_dict_each_sorted : xp_dict_each)(dict, put_entry, &items);
  at->written = items.written;
  put_end(at, value.depth, marks.close);
}

// ---- sequences -------------------------------------------------------------------------------

void put_element(doc_out* at, xp_object* element) {
  const uint32_t next = at->count > 0 ? XP_WRITE_NEXT : 0u;
  put_value(at, {element, XP_WRITE_ITEM | next, at->depth});
  at->count++;
}

// How far ahead of the writer elements are brought near, and how much of each: a record and its
// values were mostly made one after the other, and lie so in memory.
constexpr int32_t FETCH_AHEAD = 2;
constexpr uint32_t FETCH_BYTES = 896;
constexpr uint32_t CACHE_LINE = 64;

void fetch_record(const xp_object* record) {
  const auto address = reinterpret_cast<uintptr_t>(record);
  for (uint32_t offset = 0; record && offset < FETCH_BYTES; offset += CACHE_LINE)
    __builtin_prefetch(reinterpret_cast<const void*>(address + offset));
}

void put_array_elements(doc_out* at, xp_object* object) {
  auto* array = static_cast<xp_array*>(object);
  xp_locked lock(array->lock);
  for (int32_t i = 0; i < array->count; i++) {
    if (i + FETCH_AHEAD < array->count) fetch_record(array->cells[i + FETCH_AHEAD]);
    put_element(at, array->cells[i]);
  }
}

void put_list_elements(doc_out* at, xp_object* object) {
  const auto* list = static_cast<xp_list*>(object);
  for (const xp_node* node = list->next; node != list; node = node->next)
    if (node->value) put_element(at, node->value);
}

void put_sequence(doc_out* at, const doc_value& value, void (*put_elements)(doc_out*, xp_object*)) {
  put_lead(at, value);
  put(at, at->marks->array.open);
  doc_out items = inside(at, value.depth);
  put_elements(&items, value.object);
  at->written = items.written;
  put_end(at, value.depth, at->marks->array.close);
}

void put_array(doc_out* at, const doc_value& value) {
  put_sequence(at, value, put_array_elements);
}

void put_list(doc_out* at, const doc_value& value) {
  put_sequence(at, value, put_list_elements);
}

// ---- texts -----------------------------------------------------------------------------------

// Texts of up to this many bytes are looked at one byte after the other.
constexpr int32_t SHORT_TEXT = 32;

bool needs_protection(const doc_out* at, const xp_str* string) {
  if (!at->style->quote_chars) return false;
  if (string->length > SHORT_TEXT)
    return xp_text_find_set(string->text, string->length, at->style->quote_chars, 0) >= 0;
  bool any = false;
  for (int32_t i = 0; i < string->length; i++)
    any |= at->marks->quoted[static_cast<uint8_t>(string->text[i])];
  return any;
}

// Protects a whole text by marks around it, or byte by byte where the style has no marks.
void put_protected(doc_out* at, xp_str* string, uint32_t escape) {
  const xp_style* style = at->style;
  if (style->quote_open && style->quote_close) {
    put(at, at->marks->quote.open);
    put_string(at, string);
    put(at, at->marks->quote.close);
    return;
  }
  advance(at, xp_fmt_text(place_at(at), room_at(at), string->text, string->length, escape, 0));
}

void put_string_value(doc_out* at, const doc_value& value, xp_str* string, uint32_t escape) {
  put_lead(at, value);
  put(at, at->marks->string.open);
  if (needs_protection(at, string))
    put_protected(at, string, escape);
  else
    put_string(at, string);
  put(at, at->marks->string.close);
}

void put_str(doc_out* at, const doc_value& value) {
  const bool form = at->style->kind == XP_STYLE_FORM;
  put_string_value(at, value, static_cast<xp_str*>(value.object), form ? XP_FMT_PLUS : XP_FMT_JSON);
}

// A kind that no style knows is written as the string that it renders to, by backslashes also in
// form-encoded pairs.
void put_other(doc_out* at, const doc_value& value) {
  xp_ref text(xp_str_from_object(value.object));
  if (text) {
    put_string_value(at, value, text.get(), XP_FMT_JSON);
    return;
  }
  put_lead(at, value);
  put(at, at->marks->string.open);
  put(at, at->marks->string.close);
}

// ---- the other kinds -------------------------------------------------------------------------

void put_num(doc_out* at, const doc_value& value) {
  const bool whole = static_cast<xp_num*>(value.object)->decimals == 0;
  const doc_marks& marks = whole ? at->marks->integer : at->marks->real;
  put_lead(at, value);
  put(at, marks.open);
  put_rendered(at, value.object);
  put(at, marks.close);
}

void put_bool(doc_out* at, const doc_value& value) {
  put_lead(at, value);
  put(at, at->marks->truth.open);
  put_rendered(at, value.object);
  put(at, at->marks->truth.close);
}

void put_url(doc_out* at, const doc_value& value) {
  put_lead(at, value);
  put(at, at->marks->url.open);
  put_rendered(at, value.object);
  put(at, at->marks->url.close);
}

void put_data(doc_out* at, const doc_value& value) {
  const auto* data = static_cast<xp_data*>(value.object);
  put_lead(at, value);
  put(at, at->marks->data.open);
  const xp_byte_span span = {data->bytes, static_cast<int32_t>(data->length & INT32_MAX)};
  const int32_t length = xp_base64_encode(&span, 1, place_at(at), room_at(at));
  if (length > 0) advance(at, length);
  put(at, at->marks->data.close);
}

// In Universal Time, with a fraction that is always zero.
void put_date(doc_out* at, const doc_value& value) {
  put_lead(at, value);
  put(at, at->marks->date.open);
  if (!at->buffer || room_at(at) > 0)
    advance(at, xp_fmt_print(place_at(at), at->buffer ? room_at(at) + 1 : 0, "%lu{z::#FT#T.000Z}",
                             static_cast<xp_date*>(value.object)->seconds));
  put(at, at->marks->date.close);
}

void put_null(doc_out* at, const doc_value& value) {
  if (!at->style->null_text) return;
  put_lead(at, value);
  put(at, at->marks->null_text);
}

struct kind_writer {
  uint32_t tag;
  void (*put)(doc_out* at, const doc_value& value);
};

constexpr kind_writer kinds[] = {
    {XP_STR, put_str},   {XP_DICT, put_dict}, {XP_ARRAY, put_array},
    {XP_NUM, put_num},   {XP_BOOL, put_bool}, {XP_DATA, put_data},
    {XP_DATE, put_date}, {XP_URL, put_url},   {XP_LIST, put_list},
};

void put_value(doc_out* at, const doc_value& value) {
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
  const doc_style marks(style);
  doc_out at = {{buffer, 0, size, depth, 0, style}, &marks};
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
  const doc_style marks(document->style);
  doc_out at = {{buffer, 0, room, 0, 0, document->style}, &marks};
  at.written = put_frame(document->style->header, buffer, 0, room);
  put_value(&at, {document->root, 0, 0});
  return put_frame(document->style->trailer, buffer, at.written, room);
}
