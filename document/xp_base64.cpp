#include "document/xp_base64.h"

#include <string.h>

#include <bit>

// ---- encoding ----------------------------------------------------------------------------------

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Twelve bits give two characters at one look.
struct pair_table {
  char text[4096][2];
};

consteval pair_table make_pairs() {
  pair_table table = {};
  for (uint32_t i = 0; i < 4096; i++) {
    table.text[i][0] = alphabet[i >> 6];
    table.text[i][1] = alphabet[i & 63];
  }
  return table;
}

constexpr pair_table pairs = make_pairs();

constexpr bool LITTLE_ENDIAN = std::endian::native == std::endian::little;

uint64_t load_big_endian(const uint8_t* bytes) {
  uint64_t value;
  memcpy(&value, bytes, sizeof(value));
  return LITTLE_ENDIAN ? __builtin_bswap64(value) : value;
}

uint32_t load_little_endian(const uint8_t* bytes) {
  uint32_t value;
  memcpy(&value, bytes, sizeof(value));
  return LITTLE_ENDIAN ? value : __builtin_bswap32(value);
}

void put_group(char* out, uint32_t group) {
  memcpy(out, pairs.text[group >> 12], 2);
  memcpy(out + 2, pairs.text[group & 0xFFF], 2);
}

// Where the text goes, and the bytes of a group that isn't complete yet.
struct encoder {
  char* out;
  int32_t room;
  uint8_t held[3];
  int32_t held_count;
};

// Puts the group that is held, padded, or what fits of it.
void put_held(encoder& to) {
  char cut[4];
  const int32_t count = to.room < 4 ? to.room : 4;
  char* out = count < 4 ? cut : to.out;
  put_group(out, static_cast<uint32_t>(to.held[0] << 16 | to.held[1] << 8 | to.held[2]));
  for (int32_t i = to.held_count; i < 3; i++)
    out[i + 1] = '=';
  if (count < 4) memcpy(to.out, cut, static_cast<size_t>(count));
  to.out += count;
  to.room -= count;
  to.held_count = 0;
  memset(to.held, 0, sizeof(to.held));
}

// Six bytes at a time, as long as eight can be read, then three, as long as there is room for their
// text. Returns how many have been taken.
int32_t encode_fast(encoder& to, const uint8_t* bytes, int32_t length) {
  const uint8_t* at = bytes;
  char* out = to.out;
  for (; length >= 8 && to.room >= 8; at += 6, length -= 6, out += 8, to.room -= 8) {
    const uint64_t value = load_big_endian(at);
    memcpy(out, pairs.text[value >> 52], 2);
    memcpy(out + 2, pairs.text[value >> 40 & 0xFFF], 2);
    memcpy(out + 4, pairs.text[value >> 28 & 0xFFF], 2);
    memcpy(out + 6, pairs.text[value >> 16 & 0xFFF], 2);
  }
  for (; length >= 3 && to.room >= 4; at += 3, length -= 3, out += 4, to.room -= 4)
    put_group(out, static_cast<uint32_t>(at[0] << 16 | at[1] << 8 | at[2]));
  to.out = out;
  return static_cast<int32_t>(at - bytes);
}

void encode_span(encoder& to, const uint8_t* bytes, int32_t length) {
  for (int32_t i = 0; i < length; i++) {
    if (to.held_count == 0) i += encode_fast(to, bytes + i, length - i);
    if (i == length || to.room == 0) return;
    to.held[to.held_count++] = bytes[i];
    if (to.held_count == 3) put_held(to);
  }
}

}  // namespace

int32_t xp_base64_encode(const xp_byte_span* spans, int32_t count, char* buffer, int32_t size) {
  uint64_t bytes = 0;
  for (int32_t i = 0; i < count; i++)
    if (spans[i].length > 0) bytes += static_cast<uint64_t>(spans[i].length);
  const uint64_t whole = (bytes + 2) / 3 * 4;
  if (whole > INT32_MAX) return -1;
  if (!buffer) return static_cast<int32_t>(whole);
  encoder to = {};
  to.out = buffer;
  to.room = size > 0 ? size : 0;
  for (int32_t i = 0; i < count; i++)
    encode_span(to, static_cast<const uint8_t*>(spans[i].bytes), spans[i].length);
  if (to.held_count > 0) put_held(to);
  return static_cast<int32_t>(to.out - buffer);
}

// ---- decoding ----------------------------------------------------------------------------------

namespace {

enum character : uint8_t {  // beside 0 to 63, the values of data
  PADDING = 64,
  INVALID = 65,
  SKIPPED = 66,
};

// For every byte what it is, and for the fast path its part in the three bytes of a group at each
// of the four places, in the order of memory. All but data have NOT_DATA in the byte behind those.
constexpr uint32_t NOT_DATA = LITTLE_ENDIAN ? 0xFF000000 : 0x000000FF;

struct decode_table {
  uint8_t kind[256];
  uint32_t at_place[4][256];
};

// The number whose bytes in memory are those of `group`, high byte first, and a zero.
constexpr uint32_t in_memory(uint32_t group) {
  return LITTLE_ENDIAN ? (group >> 16 & 0xFF) | (group & 0xFF00) | (group & 0xFF) << 16
                       : group << 8;
}

// What a text may hold beside the standard alphabet.
constexpr struct {
  uint8_t byte;
  uint8_t kind;
} further_characters[] = {{'-', 62},       {'_', 63},       {'=', PADDING}, {'\t', SKIPPED},
                          {'\n', SKIPPED}, {'\r', SKIPPED}, {' ', SKIPPED}};

consteval decode_table make_decode_table() {
  decode_table table = {};
  for (auto& kind : table.kind)
    kind = INVALID;
  for (uint8_t i = 0; i < 64; i++)
    table.kind[static_cast<uint8_t>(alphabet[i])] = i;
  for (const auto& row : further_characters)
    table.kind[row.byte] = row.kind;
  for (uint32_t place = 0; place < 4; place++)
    for (uint32_t c = 0; c < 256; c++) {
      const uint32_t kind = table.kind[c];
      table.at_place[place][c] = kind < 64 ? in_memory(kind << (18 - 6 * place)) : NOT_DATA;
    }
  return table;
}

constexpr decode_table decoding = make_decode_table();

struct decoder {
  uint8_t* out;      // null: the bytes are only counted
  int32_t room;      // what is left of the buffer; without one, nothing ends
  int32_t written;   // bytes given out
  uint32_t group;    // the value of the group so far
  uint32_t bits;     // in the group so far
  uint32_t holds;    // bits that the group may give, 24 less 6 for each padding
  uint32_t padding;  // bits of padding seen
  uint32_t count;    // characters of data seen
};

void put_byte(decoder& to, uint32_t byte) {
  if (to.room == 0) return;
  if (to.out) {
    *to.out++ = static_cast<uint8_t>(byte);
    to.room--;
  }
  to.written++;
}

void put_bytes(decoder& to, uint32_t group, uint32_t bytes) {
  for (uint32_t i = 0; i < bytes; i++)
    put_byte(to, group >> (16 - 8 * i));
}

// One byte of the text; false when it makes the text invalid.
bool take(decoder& to, uint8_t byte) {
  const uint8_t kind = decoding.kind[byte];
  if (kind == SKIPPED) return true;
  if (kind == INVALID) return false;
  if (kind == PADDING) {
    if (to.bits < 12 || to.holds < 12) return false;
    to.padding += 6;
    to.holds -= 6;
  } else {
    if (to.holds < 24) return false;
    to.count++;
  }
  to.bits += 6;
  to.group = to.group << 6 | (kind & 63);
  if (to.bits < 24) return true;
  put_bytes(to, to.group, to.holds / 8);
  to.bits = 0;
  to.group = 0;
  return true;
}

// The bytes of four characters as they stand in memory, or with NOT_DATA.
[[gnu::always_inline]] inline uint32_t group_of(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return decoding.at_place[0][a] | decoding.at_place[1][b] | decoding.at_place[2][c] |
         decoding.at_place[3][d];
}

// Decodes `most` times eight characters, or what comes before one that isn't data, and returns how
// many times it was. One byte is stored behind the last one of the bytes. The first four characters
// are loaded one by one and the others as one number: so neither the loads nor the arithmetic holds
// the other up.
template <bool writes>
int32_t decode_pairs(const uint8_t* text, int32_t most, uint8_t* out) {
  int32_t done = 0;
  for (; done < most; done++, text += 8) {
    const uint32_t word = load_little_endian(text + 4);
    const uint32_t first = group_of(text[0], text[1], text[2], text[3]);
    const uint32_t second = group_of(word & 0xFF, word >> 8 & 0xFF, word >> 16 & 0xFF, word >> 24);
    if ((first | second) & NOT_DATA) break;
    if constexpr (writes) {
      memcpy(out, &first, 4);
      memcpy(out + 3, &second, 4);
      out += 6;
    }
  }
  return done;
}

// Takes what it can of the text, eight characters at a time. Returns how many it has taken.
int32_t decode_fast(decoder& to, const uint8_t* text, int32_t length) {
  const int32_t whole = length / 8;
  int32_t done;
  if (to.out) {
    const int32_t fitting = (to.room - 1) / 6;
    done = decode_pairs<true>(text, whole < fitting ? whole : fitting, to.out);
    to.out += done * 6;
    to.room -= done * 6;
  } else {
    done = decode_pairs<false>(text, whole, nullptr);
  }
  to.written += done * 6;
  to.count += static_cast<uint32_t>(done) * 8;
  return done * 8;
}

// What stands in the last group; false when that can't be.
bool finish(decoder& to) {
  if (to.padding) return to.bits == 0;
  switch (to.count % 4) {
    case 1:
      return false;
    case 2:
      put_bytes(to, to.group << 12, 1);
      return true;
    case 3:
      put_bytes(to, to.group << 6, 2);
      return true;
    default:
      return true;
  }
}

}  // namespace

int32_t xp_base64_decode(xp_byte_span text, void* buffer, int32_t size) {
  const auto* bytes = static_cast<const uint8_t*>(text.bytes);
  decoder to = {};
  to.out = static_cast<uint8_t*>(buffer);
  to.room = buffer ? (size > 0 ? size : 0) : INT32_MAX;
  to.holds = 24;
  for (int32_t i = 0; i < text.length; i++) {
    if (to.bits == 0 && to.holds == 24) i += decode_fast(to, bytes + i, text.length - i);
    if (i < text.length && !take(to, bytes[i])) return -1;
  }
  return finish(to) ? to.written : -1;
}
