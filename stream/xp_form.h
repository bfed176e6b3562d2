// The reader of form pairs, "a=1&b=2", as they stand behind the "?" of a URL and in the body of a
// form (application/x-www-form-urlencoded).
#pragma once

#include "object/xp_dict.h"
#include "object/xp_str.h"

struct xp_plst_builder;

// Reads the pairs of a NUL-terminated text into a dictionary of `xstr` values, whose keys ignore
// ASCII case. That dictionary is the builder's `result`; while it is null one is made with the
// first pair. A value is decoded ("+", "%41"), a key is not. A key that comes again turns its value
// into an `arry` of all its values, in order of arrival. The text is only read.
//
// 0, also for a null or empty text; -1 when memory is out, and the pairs before are then there.
int32_t xp_form_read(const char* text, xp_plst_builder* builder);

// Adds one pair: the bytes of `key` and of `value`, as they are. 0, or -1 when memory is out or
// the builder's `result` is no dictionary.
int32_t xp_form_add_pair(const char* key, int32_t key_length, const char* value,
                         int32_t value_length, xp_plst_builder* builder);

// Adds `value` to what the dictionary holds under the key: an `arry` takes it as its last cell;
// any other value moves, with the new one behind it, into a new `arry` with room for `room`; an
// absent key takes the value itself. Returns 0, or -1 when memory is out.
int32_t xp_dict_add_value(xp_dict* dict, const char* key, int32_t key_length, xp_object* value,
                          int32_t room);
