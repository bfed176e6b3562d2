// `xurl`: one URL as it was given, and a parse of it that never fails. The parse is no validator:
// it cuts a private copy of the text at a handful of separators. Percent escapes stay, nothing is
// lower-cased, and "#" is an ordinary byte.
#pragma once

#include "object/xp_str.h"

constexpr uint32_t XP_URL = xp_tag("xurl");

// A part of the URL: a NUL-terminated text inside the object; null with length 0 when absent.
struct xp_url_part {
  char* text;
  int32_t length;
};

struct xp_url : xp_object {
  xp_str* text;        // the whole URL
  xp_url_part scheme;  // before the first colon
  xp_url_part user;
  xp_url_part password;
  xp_url_part host;   // keeps any port
  xp_url_part path;   // behind the slash that ends the host, without it, up to "?"
  xp_url_part query;  // what follows "?" and is no form pairs
  xp_url_part form;   // what follows "?" and is form pairs
  int32_t capacity;   // bytes of the working copy, which lies behind the record
};

// Leading bytes up to the blank and trailing control bytes are dropped. Null for a null text with
// a negative length, for a length of 0, and for no memory.
xp_url* xp_url_new(const char* text, int32_t length);
// The whole of `text`, untrimmed; the string is retained. Null for null and for no memory.
xp_url* xp_url_from_str(xp_str* text);
// Fills all the fields from `text`. What doesn't fit the working copy is cut off, and so is what
// stands behind a NUL inside the text.
void xp_url_parse(xp_url* url);

inline xp_url* xp_as_url(xp_object* object) {
  return xp_cast<xp_url>(object, XP_URL);
}
