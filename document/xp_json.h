// The JSON reader: a scanner that finds tokens without allocating, and a builder that makes
// objects of them. The grammar is wider than RFC 8259 in places and narrower in others:
//
// - commas are optional and may be doubled or trail;
// - the literals are matched without regard to case, and exponents of numbers aren't read;
// - bytes from 0x80 up are passed over outside strings;
// - escapes are n, r, t, x and octal digits; any other escaped byte stands for itself, so \u0041
//   is the text u0041; keys aren't unescaped at all;
// - a top level value must be an object or an array, and a key must not be empty.
//
// Keys of objects fold ASCII case. Arrays nest 32 deep, objects 16 deep.
#pragma once

#include <stdint.h>

struct xp_plst_builder;

enum xp_json_kind : int32_t {
  XP_JSON_OBJECT = 0,
  XP_JSON_ARRAY = 1,
  XP_JSON_STRING = 2,
  XP_JSON_NUMBER = 3,
  XP_JSON_BOOLEAN = 4,
  XP_JSON_NULL = 5,
};

// What the scanner knows of a token.
struct xp_json_record {
  xp_json_record* parent;  // the enclosing open container; null for a key and at the top level
  xp_json_record* key;     // of this value, or null
  xp_json_kind kind;
  uint32_t length;   // bytes of `text`
  const char* text;  // the token inside the input; of a string what stands between the quotes, of
                     // a boolean "1" or "0", null for containers and null
};

enum xp_json_event_kind : int32_t {
  XP_JSON_VALUE = 0,  // a finished scalar
  XP_JSON_OPEN = 1,
  XP_JSON_CLOSE = 2,
};

enum xp_json_result : int32_t {
  XP_JSON_E_RECORDS = -1,   // nested too deep, or the builder refused
  XP_JSON_E_NOT_OPEN = -2,  // a closing mark with nothing open
  XP_JSON_E_OPEN = -3,      // the end of the text with a container open
  XP_JSON_E_TOKEN = -4,     // no string, number or literal
  XP_JSON_E_PLACE = -5,     // a closing mark of the wrong kind, a comma behind a key, a scalar at
                            // the top level, a member without a string key or without ":"
};

// Reads a NUL-terminated text into the builder: 0, a code of the table, or what the builder
// returned. The root becomes the builder's result at its closing mark.
int32_t xp_json_read(const char* text, xp_plst_builder* builder);

// The builder: 0, or -1 for what has no place and when memory is out.
int32_t xp_json_event(xp_json_event_kind event, const xp_json_record* record,
                      xp_plst_builder* builder);
