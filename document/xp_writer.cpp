#include "document/xp_writer.h"

#include <string.h>

#include "document/xp_base64.h"
#include "document/xp_plst.h"
#include "format/xp_fmt.h"
#include "object/xp_array.h"
#include "object/xp_bool.h"
#include "object/xp_container.h"
#include "object/xp_data.h"
#include "object/xp_date.h"
#include "object/xp_dict.h"
#include "object/xp_lanes.h"
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
  const char* text;  // of one that isn't short
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

// What stands before an item: a string of the style, and its indentation.
struct doc_lead {
  doc_piece line;
  int32_t tabs;  // those that aren't in the block of `line`
};

enum doc_place : uint32_t { PLACE_FIRST, PLACE_NEXT, PLACES };

// The leads of the items of one container.
struct doc_leads {
  doc_lead of[PLACES];
};

// The bytes that make a text need protection.
struct doc_quotes {
  static constexpr uint32_t FEW = 4;

  uint32_t count;
  xp_lanes lanes[FEW];  // of few bytes each, in all lanes; those without one hold the first again
  bool has[256];
};

doc_quotes quotes_of(const char* bytes) {
  doc_quotes quotes = {};
  for (const char* byte = bytes; byte && *byte; byte++) {
    quotes.has[static_cast<uint8_t>(*byte)] = true;
    quotes.count++;
  }
  for (uint32_t i = 0; i < doc_quotes::FEW && quotes.count; i++)
    quotes.lanes[i] = xp_lanes_of(bytes[i < quotes.count ? i : 0]);
  return quotes;
}

// The strings of a style that are written again and again, measured once for a document.
struct doc_style {
  explicit doc_style(const xp_style* style);

  const xp_style* style;
  doc_leads lines;    // without indentation
  doc_leads inlines;  // of items that stay on the line
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
  doc_quotes quotes;
  // The leads with the indentation of each depth, made when it is first come to.
  bool has_indented[MOST_TABS + 1];
  doc_leads indented[MOST_TABS + 1];
};

doc_style::doc_style(const xp_style* s)
    : style(s),
      lines{{{measured(s->line_first), 0}, {measured(s->line_next), 0}}},
      inlines{{{measured(s->inline_first), 0}, {measured(s->inline_next), 0}}},
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
      quotes(quotes_of(s->quote_chars)),
      has_indented{} {}

doc_lead indent(const doc_piece& line, int32_t count) {
  doc_lead lead = {line, count};
  if (line.length + count > doc_piece::SHORT) return lead;
  memcpy(lead.line.bytes + line.length, tabs, static_cast<size_t>(count));
  lead.line.length += count;
  lead.tabs = 0;
  return lead;
}

const doc_leads* indented_leads(doc_style* marks, int32_t depth) {
  const int32_t count = depth < 0 ? 0 : depth < MOST_TABS ? depth : MOST_TABS;
  doc_leads& leads = marks->indented[count];
  if (!marks->has_indented[count])
    for (uint32_t place = 0; place < PLACES; place++)
      leads.of[place] = indent(marks->lines.of[place].line, count);
  marks->has_indented[count] = true;
  return &leads;
}

// ---- where the text goes -----------------------------------------------------------------------

// The cursor of the items of one container, with what stands before each of them.
struct doc_items : xp_doc_cursor {
  doc_items(const xp_doc_cursor& cursor, doc_style* style_marks, bool stays_on_line)
      : xp_doc_cursor(cursor), marks(style_marks), key_leads(&marks->lines) {
    const bool is_flat = style->flags & XP_STYLE_FLAT;
    if (!is_flat || !stays_on_line) key_leads = value_leads = indented_leads(marks, depth);
    if (is_flat) key_leads = &marks->lines;
    if (stays_on_line) value_leads = &marks->inlines;
  }

  doc_style* marks;
  const doc_leads* key_leads;    // the first of them also of the mark that closes a container
  const doc_leads* value_leads;  // of values behind a key and of elements
};

// Copies what fits.
[[gnu::noinline]] int32_t copy_cut(char* place, int32_t room, const char* text, int32_t length) {
  if (length > room) length = room;
  memcpy(place, text, static_cast<size_t>(length));
  return length;
}

// Puts pieces behind each other, or counts them. A pen is the cursor, held in registers while one
// routine puts its pieces: through memory each of them would wait for the one before. At the end of
// its scope the cursor stands behind what was put, so no pen may live while others put.
//
// A text that doesn't fit is cut, and a byte is kept back for the NUL. A count that would not fit
// its 31 bits stays at the longest text there is.
template <bool WRITES>
class doc_pen {
 public:
  explicit doc_pen(doc_items* items)
      : items_(items), buffer_(items->buffer), written_(items->written), end_(items->size - 1) {}
  doc_pen(const doc_pen&) = delete;
  doc_pen& operator=(const doc_pen&) = delete;
  ~doc_pen() {
    items_->written = static_cast<int32_t>(written_ < MOST_BYTES ? written_ : MOST_BYTES);
  }

  [[gnu::always_inline]] void put(const doc_piece& piece) {
    constexpr int32_t SHORT = doc_piece::SHORT;
    if (WRITES && (piece.length > SHORT || end_ - written_ < SHORT)) {
      const char* text = piece.length > SHORT ? piece.text : piece.bytes;
      return advance(copy_cut(place(), room(), text, piece.length));
    }
    if (WRITES) memcpy(place(), piece.bytes, SHORT);
    advance(piece.length);
  }

  [[gnu::always_inline]] void put(const char* text, int32_t length) {
    if (WRITES && length > room()) length = room();
    if (WRITES) memcpy(place(), text, static_cast<size_t>(length));
    advance(length);
  }

  [[gnu::always_inline]] void put(const doc_lead& lead) {
    put(lead.line);
    if (lead.tabs) put(tabs, lead.tabs);
  }

  // What still fits. Measuring has no end.
  int32_t room() const {
    const int64_t left = (WRITES ? end_ : MOST_BYTES) - written_;
    return left > 0 ? static_cast<int32_t>(left) : 0;
  }
  // Where the next byte goes; null measures.
  char* place() const { return WRITES ? buffer_ + written_ : nullptr; }
  // Behind bytes that someone else has put there, or would.
  void advance(int32_t bytes) { written_ += bytes; }

 private:
  doc_items* items_;
  char* buffer_;
  int64_t written_;
  int64_t end_;
};

template <bool WRITES>
void put_value(doc_items* items, xp_object* object, doc_place place);

// ---- containers --------------------------------------------------------------------------------

xp_doc_cursor inside(const doc_items* items) {
  xp_doc_cursor inner = *items;
  if (inner.depth < INT32_MAX) inner.depth++;
  inner.count = 0;
  return inner;
}

// The open mark of a container, `put_items` with the cursor of its items, and the mark that closes.
template <bool WRITES, class Put>
void put_container(doc_items* items, const doc_marks& marks, doc_place place, Put put_items) {
  {
    doc_pen<WRITES> pen(items);
    pen.put(items->value_leads->of[place]);
    pen.put(marks.open);
  }
  doc_items inner(inside(items), items->marks, items->style->flags & XP_STYLE_INLINE);
  put_items(&inner);
  items->written = inner.written;
  doc_pen<WRITES> pen(items);
  pen.put(items->key_leads->of[PLACE_FIRST]);
  pen.put(marks.close);
}

struct doc_key {
  const char* text;
  int32_t length;
};

// A key, unchanged in every style, and its value behind it.
template <bool WRITES>
void put_pair(doc_items* items, const doc_key& key, xp_object* value, bool first) {
  {
    const doc_style* marks = items->marks;
    doc_pen<WRITES> pen(items);
    pen.put(items->key_leads->of[first ? PLACE_FIRST : PLACE_NEXT]);
    pen.put(marks->key.open);
    pen.put(key.text, key.length);
    pen.put(marks->key.close);
  }
  put_value<WRITES>(items, value, PLACE_FIRST);
}

// The key again for each thing that the value yields; a value that is no container yields itself.
template <bool WRITES>
void put_repeated(doc_items* items, const doc_key& key, xp_object* value) {
  bool first = items->count == 0;
  xp_ref walk(xp_traversal_new(value));
  while (xp_ref item{xp_traversal_next(walk.get())}) {
    put_pair<WRITES>(items, key, item.get(), first);
    first = false;
  }
}

template <bool WRITES>
int32_t put_entry(xp_dict*, const char* key, int32_t length, xp_object* value, void* context) {
  auto* items = static_cast<doc_items*>(context);
  if (!value && !items->style->null_text) return 0;
  if (items->style->flags & XP_STYLE_REPEAT_KEYS)
    put_repeated<WRITES>(items, {key, length}, value);
  else
    put_pair<WRITES>(items, {key, length}, value, items->count == 0);
  items->count++;
  return 0;
}

template <bool WRITES>
void put_dict(doc_items* items, xp_dict* dict, doc_place place) {
  const doc_marks& marks = items->depth == 0 ? items->marks->root_dict : items->marks->dict;
  // The order makes no difference to the length, unless a key may be written any number of times.
  // A walk that memory doesn't allow leaves the dictionary empty.
  const bool sorted = WRITES || items->style->flags & XP_STYLE_REPEAT_KEYS;
  const auto walk = sorted ? xp_dict_each_sorted : xp_dict_each;
  put_container<WRITES>(items, marks, place, [dict, walk](doc_items* inner) {
    (void)walk(dict, put_entry<WRITES>, inner);
  });
}

template <bool WRITES>
void put_element(doc_items* items, xp_object* element) {
  put_value<WRITES>(items, element, items->count > 0 ? PLACE_NEXT : PLACE_FIRST);
  items->count++;
}

template <bool WRITES>
void put_array(doc_items* items, xp_array* array, doc_place place) {
  put_container<WRITES>(items, items->marks->array, place, [array](doc_items* inner) {
    xp_locked lock(array->lock);
    for (int32_t i = 0; i < array->count; i++) {
      xp_array_fetch(array, i);
      put_element<WRITES>(inner, array->cells[i]);
    }
  });
}

template <bool WRITES>
void put_list(doc_items* items, xp_list* list, doc_place place) {
  put_container<WRITES>(items, items->marks->array, place, [list](doc_items* inner) {
    for (const xp_node* node = list->next; node != list; node = node->next)
      if (node->value) put_element<WRITES>(inner, node->value);
  });
}

// ---- texts -----------------------------------------------------------------------------------

xp_lane_mask find_quotes(const doc_quotes& quotes, xp_lanes text) {
  return (text == quotes.lanes[0]) | (text == quotes.lanes[1]) | (text == quotes.lanes[2]) |
         (text == quotes.lanes[3]);
}

bool has_few(const doc_quotes& quotes, const char* text, int32_t length) {
  if (length < XP_LANES) {
    const xp_lanes lanes = xp_lanes_of_short(text, static_cast<uint32_t>(length));
    return xp_lanes_bits(find_quotes(quotes, lanes)) != 0;
  }
  const auto found_at = [&](int32_t i) { return find_quotes(quotes, xp_lanes_at(text + i)); };
  // Nearly all texts are clean, so it is asked only now and then.
  constexpr int32_t STEP = 4 * XP_LANES;
  int32_t i = 0;
  for (; length - i > STEP; i += STEP)
    if (xp_lanes_bits(found_at(i) | found_at(i + XP_LANES) | found_at(i + 2 * XP_LANES) |
                      found_at(i + 3 * XP_LANES)))
      return true;
  xp_lane_mask rest = found_at(length - XP_LANES);
  for (; length - i > XP_LANES; i += XP_LANES)
    rest |= found_at(i);
  return xp_lanes_bits(rest) != 0;
}

bool needs_protection(const doc_quotes& quotes, const xp_str* string) {
  if (quotes.count == 0) return false;
  if (quotes.count <= doc_quotes::FEW) return has_few(quotes, string->text, string->length);
  for (int32_t i = 0; i < string->length; i++)
    if (quotes.has[static_cast<uint8_t>(string->text[i])]) return true;
  return false;
}

// The text of a string; one that is cut ends with a whole character.
template <bool WRITES>
[[gnu::always_inline]] inline void put_text(doc_pen<WRITES>& pen, xp_str* string) {
  if (!WRITES || string->length <= pen.room())
    pen.put(string->text, string->length);
  else
    pen.advance(xp_str_copy_out(string, pen.place(), static_cast<uint32_t>(pen.room())));
}

// A whole text protected by marks around it, or byte by byte where the style has no marks.
template <bool WRITES>
void put_protected(doc_items* items, xp_str* string, doc_place place, uint32_t escape) {
  const doc_style* marks = items->marks;
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(marks->string.open);
  if (items->style->quote_open && items->style->quote_close) {
    pen.put(marks->quote.open);
    put_text(pen, string);
    pen.put(marks->quote.close);
  } else {
    pen.advance(xp_fmt_text(pen.place(), pen.room(), string->text, string->length, escape, 0));
  }
  pen.put(marks->string.close);
}

template <bool WRITES>
void put_string(doc_items* items, xp_str* string, doc_place place, uint32_t escape) {
  const doc_style* marks = items->marks;
  if (needs_protection(marks->quotes, string))
    return put_protected<WRITES>(items, string, place, escape);
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(marks->string.open);
  put_text(pen, string);
  pen.put(marks->string.close);
}

// A kind that no style knows is written as the string that it renders to, by backslashes also in
// form-encoded pairs, and as an empty one when memory is out.
template <bool WRITES>
void put_other(doc_items* items, xp_object* object, doc_place place) {
  xp_str empty = {};
  empty.text = "";
  xp_ref text(xp_str_from_object(object));
  put_string<WRITES>(items, text ? text.get() : &empty, place, XP_FMT_JSON);
}

// ---- the other kinds -------------------------------------------------------------------------

template <bool WRITES>
[[gnu::always_inline]] inline void put_rendered(doc_pen<WRITES>& pen, xp_object* object) {
  if (!object->render) return;
  const auto room = static_cast<uint32_t>(pen.room());
  const int32_t length = object->render(object, pen.place(), room);
  if (length > 0) pen.advance(length);
}

// A value that is what it renders to, between the marks of its kind.
template <bool WRITES>
void put_plain(doc_items* items, xp_object* object, doc_place place, const doc_marks& marks) {
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(marks.open);
  put_rendered(pen, object);
  pen.put(marks.close);
}

// Whole numbers that fit in any case are put in their place without a call of their slot.
template <bool WRITES>
void put_num(doc_items* items, xp_num* num, doc_place place) {
  constexpr int32_t LONGEST = 24;
  const doc_style* marks = items->marks;
  if (num->decimals) return put_plain<WRITES>(items, num, place, marks->real);
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(marks->integer.open);
  if (pen.room() >= LONGEST)
    pen.advance(xp_int64_to_text(pen.place(), LONGEST, num->integer));
  else
    put_rendered(pen, num);
  pen.put(marks->integer.close);
}

template <bool WRITES>
void put_data(doc_items* items, const xp_data* data, doc_place place) {
  const doc_marks& marks = items->marks->data;
  const xp_byte_span span = {data->bytes, static_cast<int32_t>(data->length & INT32_MAX)};
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(marks.open);
  const int32_t length = xp_base64_encode(&span, 1, pen.place(), pen.room());
  if (length > 0) pen.advance(length);
  pen.put(marks.close);
}

// In Universal Time, with a fraction that is always zero.
template <bool WRITES>
void put_date(doc_items* items, const xp_date* date, doc_place place) {
  const doc_marks& marks = items->marks->date;
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(marks.open);
  if (!WRITES || pen.room() > 0)
    pen.advance(xp_fmt_print(pen.place(), WRITES ? pen.room() + 1 : 0, "%lu{z::#FT#T.000Z}",
                             date->seconds));
  pen.put(marks.close);
}

template <bool WRITES>
void put_null(doc_items* items, doc_place place) {
  if (!items->style->null_text) return;
  doc_pen<WRITES> pen(items);
  pen.put(items->value_leads->of[place]);
  pen.put(items->marks->null_text);
}

template <bool WRITES>
void put_value(doc_items* items, xp_object* object, doc_place place) {
  const doc_style* marks = items->marks;
  if (!object) return put_null<WRITES>(items, place);
  switch (object->tag) {
    case XP_STR:
      return put_string<WRITES>(items, static_cast<xp_str*>(object), place,
                                items->style->kind == XP_STYLE_FORM ? XP_FMT_PLUS : XP_FMT_JSON);
    case XP_DICT:
      return put_dict<WRITES>(items, static_cast<xp_dict*>(object), place);
    case XP_ARRAY:
      return put_array<WRITES>(items, static_cast<xp_array*>(object), place);
    case XP_LIST:
      return put_list<WRITES>(items, static_cast<xp_list*>(object), place);
    case XP_NUM:
      return put_num<WRITES>(items, static_cast<xp_num*>(object), place);
    case XP_BOOL:
      return put_plain<WRITES>(items, object, place, marks->truth);
    case XP_URL:
      return put_plain<WRITES>(items, object, place, marks->url);
    case XP_DATA:
      return put_data<WRITES>(items, static_cast<xp_data*>(object), place);
    case XP_DATE:
      return put_date<WRITES>(items, static_cast<xp_date*>(object), place);
    default:
      break;
  }
  // The bytes of a stream are no part of a document.
  if (xp_object_supports(object, XP_STREAM_PROTOCOL)) return put_null<WRITES>(items, place);
  put_other<WRITES>(items, object, place);
}

// Writes or measures from where the cursor stands, and returns where it stands then.
int32_t put_root(const xp_doc_cursor& cursor, xp_object* object, uint32_t options) {
  doc_style marks(cursor.style);
  doc_items items(cursor, &marks, cursor.style->flags & XP_STYLE_INLINE && options & XP_WRITE_ITEM);
  const doc_place place = options & XP_WRITE_NEXT ? PLACE_NEXT : PLACE_FIRST;
  (cursor.buffer ? put_value<true> : put_value<false>)(&items, object, place);
  return items.written;
}

}  // namespace

int32_t xp_doc_write(xp_object* object, const xp_style* style, uint32_t options, int32_t depth,
                     char* buffer, int32_t size) {
  if (buffer && size <= 0) return 0;
  const int32_t written = put_root({buffer, 0, size, depth, 0, style}, object, options);
  if (buffer) buffer[written] = 0;
  return written;
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
  const int32_t header = put_frame(document->style->header, buffer, 0, room);
  const int32_t root = put_root({buffer, header, room, 0, 0, document->style}, document->root, 0);
  return put_frame(document->style->trailer, buffer, root, room);
}
