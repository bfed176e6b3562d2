#include "stream/xp_url.h"

#include <string.h>

#include "object/xp_flat.h"

static char* url_copy(xp_url* url) {
  return reinterpret_cast<char*>(url + 1);
}

static void url_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_object_release(static_cast<xp_url*>(object)->text);
  xp_object_free(object);
}

static int32_t url_compare(xp_object* a, xp_object* b) {
  return xp_object_compare(static_cast<xp_url*>(a)->text, static_cast<xp_url*>(b)->text);
}

static int32_t url_render(xp_object* object, char* buffer, uint32_t size) {
  return xp_str_copy_out(static_cast<xp_url*>(object)->text, buffer, size);
}

// Restoring changes the receiver: its text is replaced, and its parse stays what it was.
static xp_word url_unflatten(xp_url* url, uint32_t key, const void* entry) {
  xp_flat_payload payload;
  if (!xp_flat_open(entry, XP_URL, key, &payload) || payload.length > INT32_MAX) return 0;
  xp_str* text = xp_str_new_n(reinterpret_cast<const char*>(payload.bytes),
                              static_cast<int32_t>(payload.length));
  if (!text) return 0;
  xp_str* old = url->text;
  url->text = text;
  xp_object_release(old);
  return reinterpret_cast<xp_word>(xp_retain(url));
}

static xp_word url_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  auto* url = static_cast<xp_url*>(object);
  switch (selector) {
    case XP_CTL_FLATTEN:
      return xp_flat_put(static_cast<xp_flat_writer*>(pointer), argument, XP_URL,
                         url->text ? static_cast<uint32_t>(url->text->length) : 0,
                         xp_str_text(url->text));
    case XP_CTL_UNFLATTEN:
      return url_unflatten(url, argument, pointer);
    default:
      return 0;
  }
}

// One allocation holds the record and the working copy of `capacity` bytes.
static xp_url* url_make(xp_str* text, int32_t capacity) {
  auto* url = xp_object_new<xp_url>(XP_URL, sizeof(xp_url) + static_cast<size_t>(capacity));
  if (!url) return nullptr;
  url->release = url_release;
  url->compare = url_compare;
  url->render = url_render;
  url->control = url_control;
  url->capacity = capacity;
  url->text = xp_retain(text);
  xp_url_parse(url);
  return url;
}

xp_url* xp_url_new(const char* text, int32_t length) {
  if (length < 0) {
    if (!text) return nullptr;
    length = xp_text_length(text);
  }
  if (length == 0 || length == INT32_MAX) return nullptr;
  const int32_t capacity = length + 1;
  if (!text) length = 0;
  while (length > 0 && static_cast<uint8_t>(text[length - 1]) < 0x20)
    length--;
  while (length > 0 && static_cast<uint8_t>(*text) <= 0x20) {
    text++;
    length--;
  }
  xp_str* kept = xp_str_new_n(text, length);
  if (!kept) return nullptr;
  xp_url* url = url_make(kept, capacity);
  xp_object_release(kept);
  return url;
}

xp_url* xp_url_from_str(xp_str* text) {
  if (!text || text->length == INT32_MAX) return nullptr;
  return url_make(text, text->length + 1);
}

static xp_url_part part_at(char* text) {
  return {text, static_cast<int32_t>(strlen(text))};
}

// Ends the text at `separator` and returns what stands behind it.
static char* cut(char* separator) {
  *separator = 0;
  return separator + 1;
}

// A colon before the first slash ends the scheme; without any slash there is none, so that a bare
// "host:port" is a host.
static char* parse_scheme(xp_url* url, char* cursor) {
  char* colon = strchr(cursor, ':');
  const char* slash = strchr(cursor, '/');
  if (!colon || !slash || colon > slash) return cursor;
  char* rest = cut(colon);
  url->scheme = part_at(cursor);
  return rest;
}

// What follows "?" is one plain token, form pairs, or a token and then form pairs.
static void parse_query(xp_url* url, char* text) {
  char* ampersand = strchr(text, '&');
  const char* equals = strchr(text, '=');
  if (equals && (!ampersand || equals < ampersand)) {
    url->form = part_at(text);
    return;
  }
  if (ampersand) url->form = part_at(cut(ampersand));
  url->query = part_at(text);
}

static void parse_path(xp_url* url, char* path) {
  char* question = strchr(path, '?');
  if (question) parse_query(url, cut(question));
  url->path = part_at(path);
}

static void parse_authority(xp_url* url, char* authority) {
  char* at = strchr(authority, '@');
  if (!at) {
    url->host = part_at(authority);
    return;
  }
  url->host = part_at(cut(at));
  char* colon = strchr(authority, ':');
  if (colon) url->password = part_at(cut(colon));
  url->user = part_at(authority);
}

void xp_url_parse(xp_url* url) {
  char* cursor = url_copy(url);
  const int32_t copied =
      xp_str_copy_out(url->text, cursor, static_cast<uint32_t>(url->capacity - 1));
  cursor[copied] = 0;
  url->scheme = url->user = url->password = url->host = {};
  url->path = url->query = url->form = {};

  cursor = parse_scheme(url, cursor);
  if (cursor[0] == '/' && cursor[1] == '/') cursor += 2;
  char* slash = strchr(cursor, '/');
  if (slash) parse_path(url, cut(slash));
  parse_authority(url, cursor);
}
