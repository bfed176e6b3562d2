// `xstr`, the system's one text type: immutable, reference-counted, UTF-8, compared by the user's
// locale. Text is never validated; a character is measured from its first byte alone. Bare texts
// are a pointer and a signed 32-bit length in bytes, a negative length meaning: measure to the NUL.
#pragma once

#include "object/xp_object.h"

constexpr uint32_t XP_STR = xp_tag("xstr");

struct xp_str : xp_object {
  const char* text;      // never null; always with a NUL behind it
  int32_t length;        // bytes, without the NUL; may count NUL bytes inside the text
  char inline_bytes[4];  // the text itself starts here when the string holds it inline
};
static_assert(sizeof(xp_str) == 64);

// Copy of a NUL-terminated text; null gives an empty string.
xp_str* xp_str_new(const char* text);
// Copy of `length` bytes, NUL bytes included. Null `text` gives an empty string, with room for
// `length` bytes when that is positive.
xp_str* xp_str_new_n(const char* text, int32_t length);
// From `length` UTF-16 units (negative: to the NUL). Null, or a conversion that yields nothing,
// gives an empty string.
xp_str* xp_str_new_wide(const char16_t* wide, int32_t length);
// Points at a text that outlives the string, such as a literal; nothing is copied.
xp_str* xp_str_new_constant(const char* text);
// Takes over a NUL-terminated block of the process heap, `length` bytes of text. On failure the
// block stays the caller's.
xp_str* xp_str_new_heap(char* block, int32_t length);

// The object's text as a string: null gives an empty string, a string itself with one more
// reference, anything else what its `render` writes.
xp_str* xp_str_from_object(xp_object* object);

// A new string of `string` and `text`. When `text` adds nothing the result is `string` itself with
// one more reference.
xp_str* xp_str_append(xp_str* string, const char* text, int32_t length);

// Copies whole characters, at most `size` bytes and no NUL; returns the bytes copied. Null
// `buffer` gives the length, null string 0. The render slot of the kind.
int32_t xp_str_copy_out(xp_str* string, char* buffer, uint32_t size);

// A new string with backslash sequences resolved (n, r, t, x with up to two hexadecimal digits,
// up to three octal digits, any other character for itself). Null gives null; when memory is out
// the result is `string` itself with one more reference.
xp_str* xp_str_unescape(xp_str* string);

// Whether the string is absent or has no text.
inline bool xp_str_is_empty(const xp_str* string) {
  return !string || string->length == 0;
}
// The text, or "" for null.
inline const char* xp_str_text(const xp_str* string) {
  return string ? string->text : "";
}
// The object as a string, null when it is of another kind.
inline xp_str* xp_as_str(xp_object* object) {
  return xp_cast<xp_str>(object, XP_STR);
}

// ---- bare text -------------------------------------------------------------------------------

// Size in bytes (1 to 6) of the UTF-8 character that begins with this byte. Stray continuation
// bytes count as characters of one byte.
int32_t xp_text_character_size(char first_byte);

// Bytes up to the NUL, as a 32-bit length; 0 for null.
int32_t xp_text_length(const char* text);
// Units up to the NUL; 0 for null.
int32_t xp_wide_length(const char16_t* wide);

// Order by the user's locale: -1, 0 or 1. `case_sensitive` 0 ignores case. Texts of spaces,
// digits, ASCII letters and some punctuation are decided byte by byte without a conversion. -1
// also when memory is out.
int32_t xp_text_compare(const char* a, int32_t a_length, const char* b, int32_t b_length,
                        int32_t case_sensitive);
// Order by unsigned bytes: -1, 0 or 1. With two lengths NUL bytes count and the shorter text
// orders first; where a length is negative, that text ends at its NUL and compares as 0 there.
int32_t xp_text_compare_bytes(const char* a, int32_t a_length, const char* b, int32_t b_length);
// The same with ASCII letters folded.
int32_t xp_text_compare_nocase(const char* a, int32_t a_length, const char* b, int32_t b_length);
