#include "update/ruvo_proxy.h"

#include <string.h>

#include "object/xp_ref.h"
#include "object/xp_str.h"

namespace {

struct span {
  const char* text;
  int32_t length;
};

// What the two lists are asked about.
struct request {
  span scheme;
  span host;
};

bool same(span a, span b) {
  return a.length == b.length && xp_text_compare_nocase(a.text, a.length, b.text, b.length) == 0;
}

int32_t find(span text, char byte) {
  const void* found = memchr(text.text, byte, static_cast<size_t>(text.length));
  return found ? static_cast<int32_t>(static_cast<const char*>(found) - text.text) : -1;
}

int32_t find_scheme_mark(span text) {
  for (int32_t i = 0; i + 3 <= text.length; i++)
    if (memcmp(text.text + i, "://", 3) == 0) return i;
  return -1;
}

span from(span text, int32_t start) {
  return {text.text + start, text.length - start};
}

span up_to(span text, int32_t end) {
  return {text.text, end};
}

// The host runs to the first colon; without one it is the whole rest, a path included.
request read_url(span url) {
  request wanted = {.scheme = {"http", 4}, .host = url};
  const int32_t mark = find_scheme_mark(url);
  if (mark > 0) wanted = {.scheme = up_to(url, mark), .host = from(url, mark + 3)};
  const int32_t colon = find(wanted.host, ':');
  if (colon >= 0) wanted.host = up_to(wanted.host, colon);
  if (wanted.host.length > 0 && find(wanted.host, '.') < 0) wanted.host = {"<local>", 7};
  return wanted;
}

bool separates(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r' || byte == ';';
}

// Takes the next token off the front of `list`; false at the end.
bool next_token(span* list, span* token) {
  int32_t start = 0;
  while (start < list->length && separates(list->text[start]))
    start++;
  int32_t end = start;
  while (end < list->length && !separates(list->text[end]))
    end++;
  *token = {list->text + start, end - start};
  *list = from(*list, end);
  return token->length > 0;
}

// The proxy of one token, [scheme=][scheme://]host[:port]; empty when it is for another scheme.
span proxy_of(span token, span scheme) {
  const int32_t equals = find(token, '=');
  if (equals == 0 || (equals > 0 && !same(up_to(token, equals), scheme))) return {};
  span value = from(token, equals + 1);
  if (value.length >= 2 && memcmp(value.text, "//", 2) == 0) return from(value, 2);
  const int32_t mark = find_scheme_mark(value);
  if (mark < 0) return value;
  if (mark == 0 || !same(up_to(value, mark), scheme)) return {};
  return from(value, mark + 3);
}

span span_of(const xp_str* string) {
  return {xp_str_text(string), string ? string->length : 0};
}

xp_str* take_wide(char16_t* wide) {
  if (!wide) return nullptr;
  xp_str* string = xp_str_new_wide(wide, -1);
  xp_heap_free(wide);
  return string;
}

}  // namespace

xp_str* ruvo_choose_proxy(xp_str* url, xp_str* proxy_list, xp_str* bypass_list) {
  const request wanted = read_url(span_of(url));
  span token;
  for (span list = span_of(bypass_list); next_token(&list, &token);)
    if (same(token, wanted.host)) return nullptr;
  for (span list = span_of(proxy_list); next_token(&list, &token);) {
    const span proxy = proxy_of(token, wanted.scheme);
    if (proxy.length > 0) return xp_str_new_n(proxy.text, proxy.length);
  }
  return nullptr;
}

xp_str* ruvo_system_proxy(xp_str* url) {
  char16_t* proxies = nullptr;
  char16_t* bypassed = nullptr;
  if (!xp_platform->proxy->defaults(&proxies, &bypassed)) return nullptr;
  const xp_ref<xp_str> proxy_list(take_wide(proxies));
  const xp_ref<xp_str> bypass_list(take_wide(bypassed));
  return ruvo_choose_proxy(url, proxy_list.get(), bypass_list.get());
}
