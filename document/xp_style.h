// Writer styles: all the difference between the output formats. A style is a table of strings and
// two numbers; the one writer puts an object tree between them.
#pragma once

#include <stdint.h>

enum xp_style_kind : int32_t {
  XP_STYLE_XML = 0,
  XP_STYLE_JSON = 1,
  XP_STYLE_JSON_LINES = 2,
  XP_STYLE_SECTIONS = 3,
  XP_STYLE_FORM = 4,
  XP_STYLE_RULES = 5,
};

enum xp_style_flag : uint32_t {
  XP_STYLE_INLINE = 0x001,       // a value behind a key and an element of a sequence stay on the
                                 // line: inline_first and inline_next serve, without indentation
  XP_STYLE_FLAT = 0x004,         // keys and closing marks aren't indented
  XP_STYLE_REPEAT_KEYS = 0x200,  // the key is written again for each thing that its value yields
};

// No string is null but where it says so.
struct xp_style {
  xp_style_kind kind;
  uint32_t flags;
  const char* header;   // once before the root value
  const char* trailer;  // once behind it
  const char* array_open;
  const char* array_close;  // around the elements of a sequence
  const char* dict_open;
  const char* dict_close;  // around the entries of a dictionary that is not the root
  const char* key_open;
  const char* key_close;
  const char* root_dict_open;
  const char* root_dict_close;  // around the entries of a dictionary at depth 0
  const char* root_key_open;
  const char* root_key_close;  // around a key at depth 0, of which there is none
  const char* data_open;
  const char* data_close;  // around Base64 text
  const char* string_open;
  const char* string_close;
  const char* integer_open;
  const char* integer_close;
  const char* real_open;
  const char* real_close;  // around a number with decimals
  const char* url_open;
  const char* url_close;
  const char* bool_open;
  const char* bool_close;  // around "true" or "false"
  const char* date_open;
  const char* date_close;
  const char* quote_open;
  const char* quote_close;   // around a text that needs protection; may be null
  const char* quote_chars;   // the bytes that make a text need protection; may be null
  const char* line_first;    // before the first item of a container
  const char* line_next;     // before the following items
  const char* inline_first;  // the same for items that stay on the line
  const char* inline_next;
  const char* null_text;  // an absent value; null: nothing is written for one
};

extern const xp_style xp_style_plist;       // property lists and translation tables
extern const xp_style xp_style_json;        // JSON on one line
extern const xp_style xp_style_json_lines;  // JSON for people; no reader selects it
extern const xp_style xp_style_sections;    // section text
extern const xp_style xp_style_form;        // form-encoded pairs
extern const xp_style xp_style_rules;       // rule text
extern const xp_style xp_style_rpc;         // XML-RPC and SOAP, which are written as list XML
extern const xp_style xp_style_list;        // list XML
