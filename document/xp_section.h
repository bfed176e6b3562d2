// Two small readers of line-oriented text, and the builder that they share. Both deliver a
// dictionary of sections, each a dictionary of strings; the keys of all fold ASCII case, and a
// section whose name turns up again is continued.
//
// Section text:                        Rule text:
//
//   ; a comment, as is # to line end     /* a comment */
//   outside=of any section               name {
//   [name]                                 key: value;
//   key=value to the line's end            last: one needs no semicolon
//   key='quoted' ; comment               }
//
// A backslash keeps the byte behind it from ending a token, and stays in the text. Empty values of
// section text are dropped, empty rules are refused.
#pragma once

#include "document/xp_plst_builder.h"

enum xp_section_result : int32_t {
  XP_SECTION_E_PAIR = -1,    // a pair without a key, or memory is out
  XP_SECTION_E_LINE = -4,    // section text: no comment behind a name or value on its line
  XP_SECTION_E_SYNTAX = -5,  // a token out of place, or one that doesn't end
};

// Readers of a NUL-terminated text: 0, a code of the table, or what the builder returned. The
// result of a text that goes wrong is what was read so far.
int32_t xp_sections_read(const char* text, xp_plst_builder* builder);
int32_t xp_rules_read(const char* text, xp_plst_builder* builder);

// The builder, with the events of the XML scanner in these roles:
//   XML_OPEN     a section: the record is its name
//   XML_TEXT     a pair: the record is the value, `attrs` the key, `link` the section or null
//   XML_CLOSE    the end of a section
//   XML_EMPTY    a key with no value; dropped, as are comments and all else
int32_t xp_pairs_event(xp_xml_kind kind, const xp_xml_record* record, xp_plst_builder* builder);
