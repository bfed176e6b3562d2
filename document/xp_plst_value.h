// The values of typed elements, by the rules that the XML builders share.
#pragma once

#include "document/xp_xml.h"
#include "object/xp_object.h"

// How an element of some type becomes an object. Both functions return a new object, or null for
// a text that has no value and when memory is out; a null function means that the element takes
// no text, or has no value without one.
struct xp_plst_type {
  xp_object* (*from_text)(const xp_xml_record* text, const xp_xml_record* element);
  xp_object* (*when_empty)();
};

xp_object* xp_plst_string(const xp_xml_record* text, const xp_xml_record*);
// A sign, decimal or "0x" hexadecimal digits; the first other byte ends it. 32 bits wide and taken
// as unsigned: "-1" is 4294967295, and what is above the range wraps.
xp_object* xp_plst_integer(const xp_xml_record* text, const xp_xml_record*);
// Decimal text with or without a point.
xp_object* xp_plst_real(const xp_xml_record* text, const xp_xml_record*);
// True for "true" in any case, false for any other text.
xp_object* xp_plst_boolean(const xp_xml_record* text, const xp_xml_record*);
// Bytes from Base64; none for invalid text.
xp_object* xp_plst_base64(const xp_xml_record* text, const xp_xml_record*);
// Bytes from Base64 or, when the element has the attribute base="16", from hexadecimal digits.
xp_object* xp_plst_data(const xp_xml_record* text, const xp_xml_record* element);
// A date in any form that xp_time_parse_any reads.
xp_object* xp_plst_date(const xp_xml_record* text, const xp_xml_record*);

xp_object* xp_plst_empty_string();
xp_object* xp_plst_zero();
xp_object* xp_plst_true();
xp_object* xp_plst_false();
xp_object* xp_plst_empty_data();
xp_object* xp_plst_now();
