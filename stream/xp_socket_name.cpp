#include "stream/xp_socket_name.h"

#include <string.h>

static const char* find(const char* from, const char* end, char byte) {
  return static_cast<const char*>(memchr(from, byte, static_cast<size_t>(end - from)));
}

static bool separates(char byte) {
  return byte == ' ' || byte == '/';
}

static void set_host(xp_socket_name* out, const char* from, const char* end) {
  out->host = from;
  out->host_length = static_cast<int32_t>(end - from);
}

// The port stands behind `separator`; an empty one counts as none.
static void set_port(xp_socket_name* out, const char* separator, const char* end) {
  if (end - separator <= 1) return;
  out->port = separator + 1;
  out->port_length = static_cast<int32_t>(end - separator - 1);
}

static bool parse_bracket(const char* name, const char* end, xp_socket_name* out) {
  const char* close = find(name, end, ']');
  if (!close) return false;
  set_host(out, name + 1, close);
  for (const char* cursor = close + 1; cursor < end; cursor++) {
    if (*cursor != ':' && !separates(*cursor)) continue;
    set_port(out, cursor, end);
    break;
  }
  return true;
}

bool xp_socket_name_parse(const char* name, int32_t length, xp_socket_name* out) {
  *out = {};
  const char* end = name + length;
  const char* colon = find(name, end, ':');
  if (colon && (colon == name || (colon == name + 1 && *name == '.'))) {
    out->listens = true;
    set_port(out, colon, end);
    return true;
  }
  if (length > 0 && *name == '[') return parse_bracket(name, end, out);
  const char* separator = colon;
  // With two or more colons it is an address without brackets, which has its port apart.
  if (!colon || find(colon + 1, end, ':'))
    for (separator = name; separator < end && !separates(*separator);)
      separator++;
  set_host(out, name, separator);
  set_port(out, separator, end);
  return true;
}
