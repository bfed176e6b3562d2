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

// Whether the text of the record is `word`, a literal of small letters and other ASCII bytes, with
// letters folded. For names, attribute names and attribute values alike; false for a null record.
template <uint32_t SIZE>
bool xp_xml_is(const xp_xml_record* record, const char (&word)[SIZE]) {
  if (!record || record->length != SIZE - 1) return false;
  uint8_t differences = 0;
  for (uint32_t i = 0; i < SIZE - 1; i++) {
    // No other byte becomes a small letter by this bit than that letter's capital.
    const uint8_t fold = word[i] >= 'a' && word[i] <= 'z' ? 0x20 : 0;
    differences |= static_cast<uint8_t>((static_cast<uint8_t>(record->text[i]) | fold) ^
                                        static_cast<uint8_t>(word[i]));
  }
  return differences == 0;
}

// The value record of the element's attribute `name`; of two with that name, the one written last.
// Null when there is none or when it has no value.
xp_xml_record* xp_xml_attribute_value(const xp_xml_record* element, const char* name);
