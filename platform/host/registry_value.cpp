// How a value stands behind its "=": quoted text, dword, hexadecimal bytes.
#include <stdio.h>
#include <string.h>

#include "object/xp_ascii.h"
#include "platform/host/registry_scan.h"
#include "platform/text.h"

namespace {

constexpr size_t LINE_WIDTH = 76;  // where the registry editor breaks hexadecimal data

bool is_text(uint32_t type) {
  return type == XP_REG_TEXT || type == XP_REG_EXPAND_TEXT || type == REGISTRY_MULTI_TEXT;
}

// Reads hexadecimal digits; the number of digits taken.
size_t read_number(const char* at, const char* end, uint32_t* out) {
  size_t taken = 0;
  *out = 0;
  while (at + taken < end && taken < 8 && xp_ascii_hex_value(at[taken]) >= 0)
    *out = *out << 4 | static_cast<uint32_t>(xp_ascii_hex_value(at[taken++]));
  return taken;
}

// UTF-16LE bytes as UTF-8, in place of them.
registry_decoded narrow(host_buffer* bytes) {
  const size_t units = bytes->length / 2;
  host_buffer narrow_text;
  // A unit gives at most three bytes.
  if (!host_buffer_reserve(&narrow_text, units * 3)) return REGISTRY_NO_MEMORY;
  if (units > 0) {
    char16_t* wide = reinterpret_cast<char16_t*>(bytes->bytes);  // heap blocks are aligned
    const int32_t length = xp_text_to_utf8(wide, static_cast<int32_t>(units), narrow_text.bytes,
                                           static_cast<int32_t>(units * 3));
    narrow_text.length = static_cast<size_t>(length);
  }
  narrow_text.bytes[narrow_text.length] = 0;
  host_buffer_swap(bytes, &narrow_text);
  return REGISTRY_DECODED;
}

// Pairs of digits; commas, blanks, backslashes, line ends and comments stand between them.
registry_decoded decode_hex(const char* at, const char* end, host_buffer* out) {
  if (!host_buffer_reserve(out, static_cast<size_t>(end - at) / 2 + 1)) return REGISTRY_NO_MEMORY;
  while (at < end) {
    if (*at == ';') {
      const void* feed = memchr(at, '\n', static_cast<size_t>(end - at));
      at = feed ? static_cast<const char*>(feed) : end;
    } else if (xp_ascii_hex_value(*at) >= 0) {
      int byte = xp_ascii_hex_value(*at++);
      if (at < end && xp_ascii_hex_value(*at) >= 0) byte = byte << 4 | xp_ascii_hex_value(*at++);
      out->bytes[out->length++] = static_cast<char>(byte);
    } else if (strchr(", \t\r\n\\", *at) && *at) {
      at++;
    } else {
      return REGISTRY_NOT_A_VALUE;
    }
  }
  out->bytes[out->length] = 0;
  return REGISTRY_DECODED;
}

registry_decoded decode_dword(registry_slice data, registry_value* out) {
  uint32_t number;
  if (read_number(data.text, data.text + data.length, &number) == 0) return REGISTRY_NOT_A_VALUE;
  const uint8_t bytes[4] = {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
                            static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
  out->type = XP_REG_DWORD;
  return host_buffer_add(&out->bytes, bytes, sizeof bytes) ? REGISTRY_DECODED : REGISTRY_NO_MEMORY;
}

// "hex:" or "hex(TYPE):".
registry_decoded decode_typed_hex(registry_slice data, registry_value* out) {
  const char* const end = data.text + data.length;
  const char* at = data.text + 3;
  out->type = XP_REG_BINARY;
  if (at < end && *at == '(') {
    const size_t taken = read_number(at + 1, end, &out->type);
    at += 1 + taken;
    if (taken == 0 || at == end || *at++ != ')') return REGISTRY_NOT_A_VALUE;
  }
  if (at == end || *at++ != ':') return REGISTRY_NOT_A_VALUE;
  const registry_decoded decoded = decode_hex(at, end, &out->bytes);
  return decoded == REGISTRY_DECODED && is_text(out->type) ? narrow(&out->bytes) : decoded;
}

// Without a closing quote the text reaches to the end of its line.
registry_decoded decode_quoted(registry_slice data, registry_value* out) {
  registry_slice inner = {data.text + 1, 0};
  const char* const end = data.text + data.length;
  for (const char* at = inner.text; at < end && *at != '"'; at++) {
    if (*at == '\\' && at + 1 < end) {
      at++;
      inner.length++;
    }
    inner.length++;
  }
  out->type = XP_REG_TEXT;
  if (!registry_unescape(inner, &out->bytes)) return REGISTRY_NO_MEMORY;
  return host_buffer_add(&out->bytes, "", 1) ? REGISTRY_DECODED : REGISTRY_NO_MEMORY;
}

bool same_word(registry_slice data, const char* word) {
  for (size_t i = 0; word[i]; i++)
    if (i >= data.length || (data.text[i] | 0x20) != (word[i] | 0x20)) return false;
  return true;
}

// Whether a text can stand in quotes: one NUL, at its end, and no character that breaks a line.
bool quotable(uint32_t type, const char* bytes, size_t size) {
  if (type != XP_REG_TEXT || size == 0 || bytes[size - 1] != 0) return false;
  for (size_t i = 0; i + 1 < size; i++)
    if (static_cast<uint8_t>(bytes[i]) < ' ') return false;
  return true;
}

bool encode_hex(const char* prefix, const uint8_t* bytes, size_t size, size_t column,
                const char* line_end, host_buffer* out) {
  if (!host_buffer_add_text(out, prefix)) return false;
  column += strlen(prefix);
  for (size_t i = 0; i < size; i++) {
    char pair[8];
    const int length = snprintf(pair, sizeof pair, i + 1 < size ? "%02x," : "%02x", bytes[i]);
    if (!host_buffer_add(out, pair, static_cast<size_t>(length))) return false;
    column += 3;
    if (column <= LINE_WIDTH || i + 1 == size) continue;
    if (!host_buffer_add_text(out, "\\") || !host_buffer_add_text(out, line_end) ||
        !host_buffer_add_text(out, "  "))
      return false;
    column = 2;
  }
  return true;
}

bool widen(const void* bytes, size_t size, host_buffer* out) {
  if (size > INT32_MAX / 4) return false;
  if (!host_buffer_reserve(out, size * 2)) return false;  // a byte gives at most one unit
  if (size == 0) return true;
  const int32_t units =
      xp_text_to_wide(static_cast<const char*>(bytes), static_cast<int32_t>(size),
                      reinterpret_cast<char16_t*>(out->bytes), static_cast<int32_t>(size));
  out->length = static_cast<size_t>(units) * 2;
  return true;
}

}  // namespace

bool registry_unescape(registry_slice escaped, host_buffer* out) {
  if (!host_buffer_reserve(out, escaped.length)) return false;
  for (size_t i = 0; i < escaped.length; i++) {
    const char next = i + 1 < escaped.length ? escaped.text[i + 1] : 0;
    // A backslash that a person forgot to double stands for itself.
    if (escaped.text[i] == '\\' && (next == '\\' || next == '"')) i++;
    out->bytes[out->length++] = escaped.text[i];
  }
  out->bytes[out->length] = 0;
  return true;
}

bool registry_escape(const char* text, size_t length, host_buffer* out) {
  if (!host_buffer_reserve(out, length * 2)) return false;
  for (size_t i = 0; i < length; i++) {
    if (text[i] == '\\' || text[i] == '"') out->bytes[out->length++] = '\\';
    out->bytes[out->length++] = text[i];
  }
  out->bytes[out->length] = 0;
  return true;
}

registry_decoded registry_decode(registry_slice data, registry_value* out) {
  host_buffer_clear(&out->bytes);
  if (data.length == 0) return REGISTRY_NOT_A_VALUE;
  if (*data.text == '"') return decode_quoted(data, out);
  if (same_word(data, "dword:")) return decode_dword({data.text + 6, data.length - 6}, out);
  if (same_word(data, "hex")) return decode_typed_hex(data, out);
  return REGISTRY_NOT_A_VALUE;
}

bool registry_encode(uint32_t type, const void* bytes, size_t size, size_t column,
                     const char* line_end, host_buffer* out) {
  const auto* at = static_cast<const uint8_t*>(bytes);
  char prefix[24];
  if (quotable(type, static_cast<const char*>(bytes), size))
    return host_buffer_add_text(out, "\"") &&
           registry_escape(static_cast<const char*>(bytes), size - 1, out) &&
           host_buffer_add_text(out, "\"");
  if (type == XP_REG_DWORD && size == 4) {
    const uint32_t number = at[0] | static_cast<uint32_t>(at[1]) << 8 |
                            static_cast<uint32_t>(at[2]) << 16 | static_cast<uint32_t>(at[3]) << 24;
    snprintf(prefix, sizeof prefix, "dword:%08x", number);
    return host_buffer_add_text(out, prefix);
  }
  if (type == XP_REG_BINARY) return encode_hex("hex:", at, size, column, line_end, out);
  snprintf(prefix, sizeof prefix, "hex(%x):", type);
  if (!is_text(type)) return encode_hex(prefix, at, size, column, line_end, out);
  host_buffer wide;
  return widen(bytes, size, &wide) &&
         encode_hex(prefix, reinterpret_cast<const uint8_t*>(wide.bytes), wide.length, column,
                    line_end, out);
}
