// The XML scanner: one pass over a NUL-terminated text that reports what it sees to a handler,
// without an allocation and without a copy. The handlers build objects from the events, or stop
// the scan by returning something other than 0.
//
// It is small in what it understands. It knows tags, attributes, comments, CDATA sections,
// processing instructions and one declaration; of well-formedness it checks the matching of tag
// names only. Encodings, namespaces (a prefix is a part of the name) and entities mean nothing to
// it: text and attribute values reach the handler as they stand.
//
// Names are runs of letters, digits, "-", ":" and "_"; a dot or a byte from 0x80 up ends one.
// They are compared with the 26 ASCII letters folded.
#pragma once

#include <stdint.h>

// What an event tells about.
struct xp_xml_record {
  xp_xml_record* link;   // the enclosing element, or null; of an attribute: its value, or null
  xp_xml_record* attrs;  // the attribute written last, or null; of an attribute: the one before it
  uint32_t length;       // bytes of `text`, at most INT32_MAX
  const char* text;      // a name, a value without its quotes, or a text; ends by `length` alone
};

// Events. The element's record is the same one in XML_OPEN and XML_CLOSE, and the link of all that
// happens in between; the records of text-like events last for the call only.
enum xp_xml_kind : int32_t {
  XML_TEXT = 0,         // a CDATA section, or a run of text that isn't blank
  XML_OPEN = 1,         // a start tag, behind all its attributes
  XML_CLOSE = 2,        // an end tag, or the end of a self-closing tag. The element's record
  XML_DOCTYPE = 3,      // a DOCTYPE declaration's body; its link is always null
  XML_INSTRUCTION = 4,  // a processing instruction, behind all its attributes
  XML_EMPTY = 5,        // a "<" directly behind other markup, and inside a self-closing tag
  XML_COMMENT = 6,      // what stands in a comment
  XML_ATTRIBUTE = 7,    // of the record of an element or instruction; the newest one in its `attrs`
  XML_SPACE = 8,        // a run of text in which every byte is blank
};

// Results of a scan that no handler stopped.
enum xp_xml_result : int32_t {
  XML_E_RECORDS = -1,   // the records are used up. Also what handlers answer to a foreign document
  XML_E_NOT_OPEN = -2,  // an end tag with no element open
  XML_E_OPEN = -3,      // the end of the text with an element open
  XML_E_TEXT = -4,      // the end of the text behind non-blank text
  XML_E_NAME = -5,      // an end tag whose name isn't that of the innermost open element
};

// 0 goes on, another result ends the scan and becomes its result; but for XML_ATTRIBUTE a positive
// result drops the attribute and gives its records back. `record` and all that it leads to point
// into the text; a handler that wants to keep something copies it.
using xp_xml_handler = int32_t (*)(xp_xml_kind kind, xp_xml_record* record, void* context);

// Scans `text`, which must not be null. The records from `first` up to `limit` are used as a
// stack: an open element holds one, and so does each of its attributes and each value of one, and
// all go back when it closes. So they bound the depth and the attributes together. An instruction
// holds its records while it is scanned. Runs in time linear in the text, whatever it holds.
int32_t xp_xml_scan(const char* text, xp_xml_record* first, xp_xml_record* limit,
                    xp_xml_handler handler, void* context);

// From inside a tag or declaration: the place behind the ">" that ends it, or of the terminating
// NUL. Quotes and brackets of all four sorts are passed over in pairs, 255 deep.
const char* xp_xml_skip_markup(const char* cursor);

// Compares `count` bytes with ASCII letters folded: -1, 0 or 1. NUL isn't special; a `count` below
// 1 gives 0.
int32_t xp_xml_equal(const char* a, const char* b, int32_t count);

// A name in a form that compares at once: its bytes without the bit that tells small letters from
// capitals, which no two bytes of names share otherwise. Exact up to 16 bytes, and no name of a
// vocabulary is longer.
struct xp_xml_name {
  uint64_t head;  // the first 8 bytes or, of a shorter name, all of them
  uint64_t tail;  // the last 8 bytes
  uint32_t length;

  constexpr bool operator==(const xp_xml_name& other) const {
    return head == other.head && length == other.length && tail == other.tail;
  }
};

// The little-endian number in `COUNT` bytes.
template <uint32_t COUNT>
constexpr uint64_t xp_xml_load(const char* text) {
  uint64_t word = 0;
  for (uint32_t i = 0; i < COUNT; i++)
    word |= static_cast<uint64_t>(static_cast<uint8_t>(text[i])) << (8 * i);
  return word;
}

constexpr xp_xml_name xp_xml_name_of(const char* text, uint32_t length) {
  constexpr uint64_t FOLD = ~UINT64_C(0x2020202020202020);
  uint64_t head = 0;
  uint64_t tail = 0;
  if (length >= 8) {
    head = xp_xml_load<8>(text);
    tail = xp_xml_load<8>(text + length - 8);
  } else if (length >= 4) {
    head = xp_xml_load<4>(text) | xp_xml_load<4>(text + length - 4) << 32;
  } else {
    for (uint32_t i = 0; i < length; i++)
      head |= static_cast<uint64_t>(static_cast<uint8_t>(text[i])) << (8 * i);
  }
  return {head & FOLD, tail & FOLD, length};
}

// The name of a literal.
template <uint32_t SIZE>
consteval xp_xml_name xp_xml_word(const char (&name)[SIZE]) {
  static_assert(SIZE - 1 <= 16);
  return xp_xml_name_of(name, SIZE - 1);
}

inline xp_xml_name xp_xml_name_of(const xp_xml_record* record) {
  return xp_xml_name_of(record->text, record->length);
}

// Whether the text of the record is `name`, with ASCII letters folded. For names, attribute names
// and attribute values alike; false for a null record.
template <uint32_t SIZE>
bool xp_xml_is(const xp_xml_record* record, const char (&name)[SIZE]) {
  return record && record->length == SIZE - 1 &&
         xp_xml_equal(record->text, name, static_cast<int32_t>(SIZE - 1)) == 0;
}

// The value record of the element's attribute `name`; of two with that name, the one written last.
// Null when there is none or when it has no value.
xp_xml_record* xp_xml_attribute_value(const xp_xml_record* element, const char* name);
