// Base64 (RFC 4648), one pass each way and no allocation: the caller asks for the size first.
#pragma once

#include <stdint.h>

// A piece of input. A length below 1 is no input.
struct xp_byte_span {
  const void* bytes;
  int32_t length;
};

// Encodes `count` spans as one run of bytes, in the standard alphabet with "=" as the padding,
// without line breaks and NUL. With `buffer` null the length of the whole text; otherwise writes as
// much of it as fits in `size` bytes and returns the bytes written. -1 for a text of more than
// INT32_MAX bytes, and then nothing is written.
int32_t xp_base64_encode(const xp_byte_span* spans, int32_t count, char* buffer, int32_t size);

// Decodes a text of both published alphabets ("-" is "+", "_" is "/"), mixed as it comes; tab, line
// feed, carriage return and space are passed over anywhere, and the padding can be left out. With
// `buffer` null the number of bytes that the text gives; otherwise writes as many of them as fit in
// `size` and returns the bytes written. -1 for invalid text in either mode, with what came before
// that point written: another byte, padding in the wrong place, data behind it, or a single
// character in the last group.
int32_t xp_base64_decode(xp_byte_span text, void* buffer, int32_t size);
