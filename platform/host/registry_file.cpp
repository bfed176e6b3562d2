#include "platform/host/registry_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include "object/xp_ref.h"
#include "platform/host/machine.h"
#include "platform/host/registry_scan.h"
#include "platform/text.h"

namespace {

constexpr size_t MOST_BYTES = 64u << 20;  // of a registry file
constexpr char HEADER[] = "Windows Registry Editor Version 5.00\n";

// A walk over the lines that knows the section it is in.
struct section_walk {
  size_t offset = 0;
  registry_line line;
  registry_key_name section;
  bool known = false;  // a section has begun, and its name fits
};

bool walk(const registry_text* registry, section_walk* at) {
  if (!registry_next_line(&registry->text, &at->offset, &at->line)) return false;
  if (at->line.kind == REGISTRY_LINE_KEY)
    at->known = registry_compare_form(at->line.key.text, at->line.key.length, &at->section);
  return true;
}

// Where a value and its section stand.
struct value_place {
  bool section = false;       // there is one
  size_t section_end = 0;     // behind its last line that isn't blank
  bool section_open = false;  // that line would join the next
  bool found = false;         // the value is set
  size_t begin = 0, end = 0;  // its line
  registry_slice data;
};

void note_value(const section_walk* at, const char* name, value_place* place) {
  const registry_line* line = &at->line;
  const bool same = line->default_name ? *name == 0 : *name && registry_same_name(line, name);
  if (!same) return;
  place->found = !line->removes;
  place->begin = line->begin;
  place->end = line->end;
  place->data = line->data;
}

// The last word of the text on a value: a later line wins, a removal forgets.
void find_value(const registry_text* registry, const registry_key_name* key, const char* name,
                value_place* place) {
  section_walk at;
  *place = {};
  while (walk(registry, &at)) {
    const registry_line* line = &at.line;
    if (!at.known) continue;
    if (line->kind == REGISTRY_LINE_KEY && line->removes && registry_at_or_below(key, &at.section))
      *place = {};
    if (!registry_same_key(&at.section, key) || (line->kind == REGISTRY_LINE_KEY && line->removes))
      continue;
    if (line->kind == REGISTRY_LINE_KEY) place->section = true;
    if (!place->section) continue;
    if (line->kind == REGISTRY_LINE_VALUE) note_value(&at, name, place);
    if (line->kind == REGISTRY_LINE_OTHER) continue;
    place->section_end = line->end;
    place->section_open = line->open;
  }
}

// A control character would break the line that a name stands in.
bool one_line(const char* text) {
  for (; *text; text++)
    if (static_cast<uint8_t>(*text) < ' ') return false;
  return true;
}

bool compare_key(const char* key, registry_key_name* out) {
  return one_line(key) && registry_compare_form(key, strlen(key), out);
}

const char* line_end_of(const registry_text* registry) {
  return registry->crlf ? "\r\n" : "\n";
}

// Appends a section header, a blank line before it. Undoes a half of it.
bool add_section(registry_text* registry, const char* key, const char* value_line) {
  const char* feed = line_end_of(registry);
  host_buffer lines;
  const host_buffer* text = &registry->text;
  const bool open_line = text->length > 0 && text->bytes[text->length - 1] != '\n';
  return host_buffer_add_text(&lines, open_line ? feed : "") &&
         host_buffer_add_text(&lines, feed) && host_buffer_add_text(&lines, "[") &&
         host_buffer_add_text(&lines, key) && host_buffer_add_text(&lines, "]") &&
         host_buffer_add_text(&lines, feed) && host_buffer_add_text(&lines, value_line) &&
         host_buffer_add(&registry->text, lines.bytes, lines.length);
}

// `"name"=data` and a line end.
bool value_line(const registry_text* registry, const char* name, uint32_t type, const void* bytes,
                size_t size, host_buffer* out) {
  if (*name) {
    if (!host_buffer_add_text(out, "\"") || !registry_escape(name, strlen(name), out) ||
        !host_buffer_add_text(out, "\"="))
      return false;
  } else if (!host_buffer_add_text(out, "@=")) {
    return false;
  }
  return registry_encode(type, bytes, size, out->length, line_end_of(registry), out) &&
         host_buffer_add_text(out, line_end_of(registry));
}

bool to_utf16(const registry_text* registry, host_buffer* out) {
  const size_t length = registry->text.length;
  if (!host_buffer_add(out, "\xFF\xFE", 2) || !host_buffer_reserve(out, length * 2)) return false;
  if (length == 0) return true;
  const int32_t units =
      xp_text_to_wide(registry->text.bytes, static_cast<int32_t>(length),
                      reinterpret_cast<char16_t*>(out->bytes + 2), static_cast<int32_t>(length));
  out->length += static_cast<size_t>(units) * 2;
  return true;
}

bool from_utf16(host_buffer* bytes) {
  const auto units = static_cast<int32_t>(bytes->length / 2 - 1);
  host_buffer narrow;
  if (!host_buffer_reserve(&narrow, static_cast<size_t>(units) * 3)) return false;
  if (units > 0)
    narrow.length = static_cast<size_t>(xp_text_to_utf8(
        reinterpret_cast<const char16_t*>(bytes->bytes + 2), units, narrow.bytes, units * 3));
  narrow.bytes[narrow.length] = 0;
  host_buffer_swap(bytes, &narrow);
  return true;
}

bool replace_file(const char* path, const void* bytes, size_t length) {
  char next[HOST_PATH_SIZE];
  if (snprintf(next, sizeof next, "%s.new", path) >= static_cast<int>(sizeof next)) return false;
  const int descriptor = open(next, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0) return false;
  bool written = host_write_all(descriptor, bytes, length);
  if (close(descriptor) != 0) written = false;
  if (written && rename(next, path) == 0) return true;
  unlink(next);
  return false;
}

}  // namespace

registry_edit::~registry_edit() {
  if (lock >= 0) close(lock);  // which unlocks
}

bool registry_full_key(xp_registry_hive hive, const char* path, host_buffer* out) {
  const char* root = hive == XP_HIVE_CURRENT_USER ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE";
  while (*path == '\\')
    path++;
  return host_buffer_add_text(out, root) && (!*path || host_buffer_add_text(out, "\\")) &&
         host_buffer_add_text(out, path);
}

bool registry_parse(host_buffer* bytes, registry_text* out) {
  if (bytes->length >= 2 && memcmp(bytes->bytes, "\xFF\xFE", 2) == 0) {
    if (!from_utf16(bytes)) return false;
    out->utf16 = true;
  } else if (bytes->length >= 3 && memcmp(bytes->bytes, "\xEF\xBB\xBF", 3) == 0) {
    if (!host_buffer_replace(bytes, 0, 3, nullptr, 0)) return false;
  }
  host_buffer_swap(&out->text, bytes);
  const void* feed = out->text.length ? memchr(out->text.bytes, '\n', out->text.length) : nullptr;
  out->crlf = feed && feed != out->text.bytes && static_cast<const char*>(feed)[-1] == '\r';
  return true;
}

bool registry_load(registry_text* out) {
  char path[HOST_PATH_SIZE];
  host_buffer bytes;
  if (!host_machine_path("registry.reg", path, sizeof path)) return false;
  if (host_read_file(path, MOST_BYTES, &bytes) == HOST_READ_FAILED) return false;
  return registry_parse(&bytes, out);
}

bool registry_has_key(const registry_text* registry, const char* key) {
  registry_key_name wanted;
  section_walk at;
  bool exists = false;
  if (!compare_key(key, &wanted)) return false;
  while (walk(registry, &at)) {
    if (!at.known || at.line.kind != REGISTRY_LINE_KEY) continue;
    if (at.line.removes && registry_at_or_below(&wanted, &at.section)) exists = false;
    if (!at.line.removes && registry_at_or_below(&at.section, &wanted)) exists = true;
  }
  return exists;
}

xp_registry_status registry_get(const registry_text* registry, const char* key, const char* name,
                                registry_value* out) {
  registry_key_name wanted;
  value_place place;
  if (!compare_key(key, &wanted)) return XP_REGISTRY_NOT_FOUND;
  find_value(registry, &wanted, name ? name : "", &place);
  if (!place.found) return XP_REGISTRY_NOT_FOUND;
  switch (registry_decode(place.data, out)) {
    case REGISTRY_DECODED:
      return XP_REGISTRY_OK;
    case REGISTRY_NOT_A_VALUE:
      return XP_REGISTRY_NOT_FOUND;
    default:
      return XP_REGISTRY_FAILED;
  }
}

bool registry_get_text(const registry_text* registry, const char* key, const char* name,
                       host_buffer* out) {
  registry_value value;
  if (registry_get(registry, key, name, &value) != XP_REGISTRY_OK) return false;
  if (value.type != XP_REG_TEXT && value.type != XP_REG_EXPAND_TEXT) return false;
  const size_t length = strnlen(value.bytes.bytes, value.bytes.length);
  return host_buffer_add(out, value.bytes.bytes, length);
}

bool registry_get_number(const registry_text* registry, const char* key, const char* name,
                         uint32_t* out) {
  registry_value value;
  if (registry_get(registry, key, name, &value) != XP_REGISTRY_OK) return false;
  if (value.type != XP_REG_DWORD || value.bytes.length != 4) return false;
  const auto* bytes = reinterpret_cast<const uint8_t*>(value.bytes.bytes);
  *out = bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
         static_cast<uint32_t>(bytes[3]) << 24;
  return true;
}

bool registry_each_value(const registry_text* registry, const char* key, registry_visit visit,
                         void* context) {
  registry_key_name wanted;
  section_walk at;
  if (!compare_key(key, &wanted)) return true;
  while (walk(registry, &at)) {
    if (!at.known || at.line.kind != REGISTRY_LINE_VALUE || at.line.removes) continue;
    if (!registry_same_key(&at.section, &wanted)) continue;
    host_buffer name;
    registry_value value;
    if (!registry_unescape(at.line.name, &name)) return false;
    const registry_decoded decoded = registry_decode(at.line.data, &value);
    if (decoded == REGISTRY_NO_MEMORY) return false;
    if (decoded == REGISTRY_DECODED && !visit(context, name.bytes, &value)) return false;
  }
  return true;
}

bool registry_make_key(registry_text* registry, const char* key) {
  registry_key_name wanted;
  if (!compare_key(key, &wanted)) return false;
  return registry_has_key(registry, key) || add_section(registry, key, "");
}

bool registry_set(registry_text* registry, const char* key, const char* name, uint32_t type,
                  const void* bytes, size_t size) {
  registry_key_name wanted;
  value_place place;
  host_buffer line;
  if (!name) name = "";
  if (!compare_key(key, &wanted) || !one_line(name) ||
      !value_line(registry, name, type, bytes, size, &line))
    return false;
  find_value(registry, &wanted, name, &place);
  if (place.found)
    return host_buffer_replace(&registry->text, place.begin, place.end - place.begin, line.bytes,
                               line.length);
  if (!place.section) return add_section(registry, key, line.bytes);
  // The section's last line may be the last of the file and lack its line end.
  const char* feed = line_end_of(registry);
  if (registry->text.bytes[place.section_end - 1] != '\n' &&
      !host_buffer_replace(&line, 0, 0, feed, strlen(feed)))
    return false;
  // A blank line ends hexadecimal data that a person has left off in the middle.
  if (place.section_open && !host_buffer_replace(&line, 0, 0, feed, strlen(feed))) return false;
  return host_buffer_replace(&registry->text, place.section_end, 0, line.bytes, line.length);
}

bool registry_set_text(registry_text* registry, const char* key, const char* name,
                       const char* text) {
  return registry_set(registry, key, name, XP_REG_TEXT, text, strlen(text) + 1);
}

bool registry_set_number(registry_text* registry, const char* key, const char* name,
                         uint32_t number) {
  const uint8_t bytes[4] = {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
                            static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
  return registry_set(registry, key, name, XP_REG_DWORD, bytes, sizeof bytes);
}

void registry_remove_key(registry_text* registry, const char* key) {
  registry_key_name wanted;
  section_walk at;
  size_t kept = 0;
  if (!compare_key(key, &wanted)) return;
  // What stays moves to the front over what goes; lines not yet read lie behind both.
  host_buffer* text = &registry->text;
  while (walk(registry, &at)) {
    if (at.known && registry_at_or_below(&at.section, &wanted)) continue;
    memmove(text->bytes + kept, text->bytes + at.line.begin, at.line.end - at.line.begin);
    kept += at.line.end - at.line.begin;
  }
  if (!text->bytes) return;
  text->length = kept;
  text->bytes[kept] = 0;
}

void registry_remove_value(registry_text* registry, const char* key, const char* name) {
  registry_key_name wanted;
  value_place place;
  if (!compare_key(key, &wanted)) return;
  for (;;) {
    find_value(registry, &wanted, name, &place);
    if (!place.found) return;
    host_buffer* text = &registry->text;
    memmove(text->bytes + place.begin, text->bytes + place.end, text->length - place.end + 1);
    text->length -= place.end - place.begin;
  }
}

bool registry_edit_begin(registry_edit* edit) {
  char path[HOST_PATH_SIZE];
  if (!host_machine_path("registry.lock", path, sizeof path)) return false;
  edit->lock = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  return edit->lock >= 0 && flock(edit->lock, LOCK_EX) == 0 && registry_load(&edit->now);
}

bool registry_edit_save(registry_edit* edit) {
  char path[HOST_PATH_SIZE];
  registry_text* now = &edit->now;
  if (!host_machine_path("registry.reg", path, sizeof path)) return false;
  registry_line first;
  size_t offset = 0;
  const bool headless = !registry_next_line(&now->text, &offset, &first) ||
                        first.kind != REGISTRY_LINE_OTHER || first.end - first.begin < 3;
  if (headless && !host_buffer_replace(&now->text, 0, 0, HEADER, sizeof HEADER - 1)) return false;
  if (!now->utf16) return replace_file(path, now->text.bytes, now->text.length);
  host_buffer wide;
  return to_utf16(now, &wide) && replace_file(path, wide.bytes, wide.length);
}
