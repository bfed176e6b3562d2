// The values of typed elements, by the rules that the XML builders share. Each returns a new
// object, or null when memory is out.
#pragma once

#include "document/xp_xml.h"
#include "object/xp_object.h"

// A sign, decimal or "0x" hexadecimal digits; the first other byte ends it. 32 bits wide and taken
// as unsigned: "-1" is 4294967295, and what is above the range wraps.
xp_object* xp_plst_integer(const xp_xml_record* text);
// Decimal text with or without a point.
xp_object* xp_plst_real(const xp_xml_record* text);
// True for "true" in any case, false for any other text.
xp_object* xp_plst_boolean(const xp_xml_record* text);
// Bytes from Base64; null also for invalid text.
xp_object* xp_plst_base64(const xp_xml_record* text);
// Bytes from Base64 or, when `element` has the attribute base="16", from hexadecimal digits.
xp_object* xp_plst_data(const xp_xml_record* text, const xp_xml_record* element);
