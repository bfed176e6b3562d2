// Character sets: does a text hold a byte of a set? A set is a short text, either a plain list of
// bytes or a bracket expression:
//
//   abc          these bytes, case-sensitively
//   [items]      at least three bytes; ASCII letters stand for both cases
//   [^items]     all bytes but these; [^] has all 256
//
// Items: `[:name:]` for a named class (alnum alpha ascii blank cntrl digit graph lower print punct
// space upper word xdigit); `a-z` for a range, in either order; `\` and a byte for that byte; any
// other byte for itself. What doesn't parse as a class or a range is taken literally, so every text
// is a set. `lower` and `upper` hold one case only. `ascii` is 0x20 to 0x7E, `space` is blank, tab,
// line feed and carriage return, and `punct` has all ASCII punctuation but the backslash.
#pragma once

#include <stdint.h>

// Index of the first byte of `text`, from `start` on, that is in `set`; -1 when there is none, the
// set is null or empty, or `start` is outside the text. `length` negative measures to the NUL.
int32_t xp_text_find_set(const char* text, int32_t length, const char* set, int32_t start);

// Stores `mark` in the 256 entries of `table` for the bytes of a bracket expression's items. 0, or
// -1 when a NUL among them ended the reading.
int32_t xp_charset_compile(const char* items, int32_t length, int32_t case_sensitive, uint8_t mark,
                           uint8_t* table);
