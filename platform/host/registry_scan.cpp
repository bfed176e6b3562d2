#include "platform/host/registry_scan.h"

#include <string.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace {

struct root_name {
  const char* written;  // folded
  const char* full;     // folded
};

constexpr root_name ROOTS[] = {
    {"hklm", "hkey_local_machine"},
    {"hkcu", "hkey_current_user"},
    {"hku", "hkey_users"},
    {"hkcr", "hkey_local_machine\\software\\classes"},
    {"hkey_classes_root", "hkey_local_machine\\software\\classes"},
};

bool blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// Folds one text into the room, dropping needless backslashes. False when it doesn't fit.
bool fold(const char* text, size_t length, registry_key_name* out) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text);
  out->length = 0;
  for (size_t i = 0; i < length;) {
    if (out->length + 5 > sizeof out->text) return false;
    UChar32 c;
    U8_NEXT_OR_FFFD(bytes, i, length, c);
    if (c == '\\' && (out->length == 0 || out->text[out->length - 1] == '\\')) continue;
    U8_APPEND_UNSAFE(reinterpret_cast<uint8_t*>(out->text), out->length,
                     u_foldCase(c, U_FOLD_CASE_DEFAULT));
  }
  while (out->length > 0 && out->text[out->length - 1] == '\\')
    out->length--;
  return true;
}

registry_slice trimmed(const char* from, const char* to) {
  while (from < to && blank(*from))
    from++;
  while (to > from && blank(to[-1]))
    to--;
  return {from, static_cast<size_t>(to - from)};
}

// Behind the quote that ends a quoted text, or null when none does on this line.
const char* closing_quote(const char* from, const char* to) {
  for (; from < to; from++) {
    if (*from == '\\' && from + 1 < to)
      from++;
    else if (*from == '"')
      return from + 1;
  }
  return nullptr;
}

bool starts_with(registry_slice slice, const char* text) {
  const size_t length = strlen(text);
  if (slice.length < length) return false;
  for (size_t i = 0; i < length; i++)
    if ((slice.text[i] | 0x20) != (text[i] | 0x20)) return false;
  return true;
}

// End of the physical line that starts at `from`, without its line feed.
const char* line_end(const char* from, const char* end) {
  const void* feed = memchr(from, '\n', static_cast<size_t>(end - from));
  return feed ? static_cast<const char*>(feed) : end;
}

// A comment may follow hexadecimal data on its line.
registry_slice without_comment(registry_slice slice) {
  const void* mark = memchr(slice.text, ';', slice.length);
  return mark ? trimmed(slice.text, static_cast<const char*>(mark)) : slice;
}

void read_key_line(registry_slice slice, registry_line* line) {
  const char* from = slice.text + 1;
  const char* to = slice.text + slice.length;
  while (to > from && to[-1] != ']')
    to--;
  if (to == from) return;
  line->removes = *from == '-';
  if (line->removes) from++;
  line->kind = REGISTRY_LINE_KEY;
  line->key = {from, static_cast<size_t>(to - 1 - from)};  // a name may begin or end in a blank
}

// Reads name and "=", and leaves the rest of the line in `data`.
void read_value_line(registry_slice slice, registry_line* line) {
  const char* const end = slice.text + slice.length;
  const char* at = slice.text + 1;
  line->default_name = *slice.text == '@';
  if (!line->default_name) {
    const char* behind = closing_quote(at, end);
    if (!behind) return;
    line->name = {at, static_cast<size_t>(behind - 1 - at)};
    at = behind;
  }
  while (at < end && blank(*at))
    at++;
  if (at == end || *at != '=') return;
  line->kind = REGISTRY_LINE_VALUE;
  line->data = trimmed(at + 1, end);
  line->removes = line->data.length > 0 && *line->data.text == '-';
}

// Hexadecimal data goes on where a line ends in a backslash.
void join_lines(const char* end, registry_line* line, const char** stop) {
  if (!starts_with(line->data, "hex")) return;
  registry_slice last = without_comment(line->data);
  while (last.length > 0 && last.text[last.length - 1] == '\\') {
    const char* from = *stop + 1;
    line->open = from >= end;
    if (line->open) return;
    *stop = line_end(from, end);
    line->data.length = static_cast<size_t>(*stop - line->data.text);
    last = without_comment(trimmed(from, *stop));
  }
}

}  // namespace

bool registry_compare_form(const char* key, size_t length, registry_key_name* out) {
  if (!fold(key, length, out)) return false;
  const void* slash = memchr(out->text, '\\', out->length);
  const size_t root =
      slash ? static_cast<size_t>(static_cast<const char*>(slash) - out->text) : out->length;
  for (const root_name& name : ROOTS) {
    if (strlen(name.written) != root || memcmp(name.written, out->text, root) != 0) continue;
    const size_t full = strlen(name.full);
    if (out->length - root + full > sizeof out->text) return false;
    memmove(out->text + full, out->text + root, out->length - root);
    memcpy(out->text, name.full, full);
    out->length = out->length - root + full;
    break;
  }
  return true;
}

bool registry_same_key(const registry_key_name* a, const registry_key_name* b) {
  return a->length == b->length && memcmp(a->text, b->text, a->length) == 0;
}

bool registry_at_or_below(const registry_key_name* name, const registry_key_name* key) {
  return name->length >= key->length && memcmp(name->text, key->text, key->length) == 0 &&
         (name->length == key->length || name->text[key->length] == '\\');
}

bool registry_same_name(const registry_line* line, const char* name) {
  const size_t length = strlen(name);
  const auto* a = reinterpret_cast<const uint8_t*>(line->name.text);
  const auto* b = reinterpret_cast<const uint8_t*>(name);
  size_t i = 0, j = 0;
  while (i < line->name.length && j < length) {
    if (a[i] == '\\' && i + 1 < line->name.length) i++;
    UChar32 x, y;
    U8_NEXT_OR_FFFD(a, i, line->name.length, x);
    U8_NEXT_OR_FFFD(b, j, length, y);
    if (u_foldCase(x, U_FOLD_CASE_DEFAULT) != u_foldCase(y, U_FOLD_CASE_DEFAULT)) return false;
  }
  return i == line->name.length && j == length;
}

bool registry_next_line(const host_buffer* text, size_t* offset, registry_line* line) {
  if (*offset >= text->length) return false;
  const char* const end = text->bytes + text->length;
  const char* from = text->bytes + *offset;
  const char* stop = line_end(from, end);
  *line = {};
  line->begin = *offset;
  const registry_slice slice = trimmed(from, stop);
  if (slice.length > 0) {
    if (*slice.text == '[') read_key_line(slice, line);
    if (*slice.text == '"' || *slice.text == '@') read_value_line(slice, line);
    if (line->kind == REGISTRY_LINE_VALUE) join_lines(end, line, &stop);
  }
  *offset = static_cast<size_t>(stop - text->bytes) + (stop < end);
  line->end = *offset;
  return true;
}
