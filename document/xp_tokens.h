// Tokens of section and rule text: runs of bytes up to a byte that ends them.
#pragma once

#include <stdint.h>

#include "document/xp_xml.h"

// Bytes that end a token, besides the NUL; with `protects_lines` a backslash in front of a line
// end keeps it from ending the token, too. It never protects the NUL.
struct xp_token_end {
  const char* bytes;
  bool protects_lines;
};

inline bool xp_is_line_end(char byte) {
  return byte == '\n' || byte == '\r';
}

// A byte that can begin a token. Those from 0x80 up are passed over like blanks.
inline bool xp_begins_token(char byte) {
  return static_cast<int8_t>(byte) > 32;
}

inline bool xp_ends_token(char byte, const char* ends) {
  for (; *ends; ends++)
    if (byte == *ends) return true;
  return byte == 0;
}

// The place of the byte that ends the token that begins at `at`.
inline const char* xp_token_walk(const char* at, const xp_token_end& end) {
  while (!xp_ends_token(*at, end.bytes)) {
    const bool pair = *at == '\\' && at[1] && (end.protects_lines || !xp_is_line_end(at[1]));
    at += pair ? 2 : 1;
  }
  return at;
}

// The token between two places as it stands.
inline xp_xml_record xp_token(const char* first, const char* end) {
  return {nullptr, nullptr, static_cast<uint32_t>(end - first), first};
}

// The same without its trailing blanks.
inline xp_xml_record xp_token_trimmed(const char* first, const char* end) {
  while (end > first && static_cast<uint8_t>(end[-1]) <= ' ')
    end--;
  return xp_token(first, end);
}
