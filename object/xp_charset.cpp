#include "object/xp_charset.h"

#include <string.h>

#include "object/xp_lanes.h"
#include "object/xp_str.h"

namespace {

constexpr uint32_t TABLE_SIZE = 256;

// The set under construction.
struct charset {
  uint8_t* table;
  uint8_t mark;
  bool case_sensitive;
};

struct byte_span {
  uint8_t low;
  uint8_t high;
};

// A named class: fixed items that are compiled, and spans that are marked as they are, so that the
// rule of both cases doesn't reach them.
struct named_class {
  const char* name;  // with its brackets
  const char* items;
  byte_span spans[4];
  bool keeps_case_rule;  // the items follow the caller's case rule
};

constexpr char PUNCTUATION[] = "!-/:-@[\\]-`{-~";

constexpr named_class classes[] = {
    {"[:alnum:]", "0-9A-Za-z", {}, false},
    {"[:alpha:]", "A-Za-z", {}, false},
    {"[:ascii:]", "", {{0x20, 0x7E}}, false},
    {"[:blank:]", "", {{' ', ' '}, {'\t', '\t'}}, false},
    {"[:cntrl:]", "", {{0x00, 0x1F}, {0x7F, 0x7F}}, false},
    {"[:digit:]", "", {{'0', '9'}}, false},
    {"[:graph:]", "0-9A-Za-z!-/:-@[\\]-`{-~", {}, false},
    {"[:lower:]", "", {{'a', 'z'}}, false},
    {"[:print:]", "0-9A-Za-z!-/:-@[\\]-`{-~", {{' ', ' '}, {'\t', '\t'}}, false},
    {"[:punct:]", PUNCTUATION, {}, false},
    {"[:space:]", "", {{' ', ' '}, {'\t', '\t'}, {'\n', '\n'}, {'\r', '\r'}}, false},
    {"[:upper:]", "", {{'A', 'Z'}}, false},
    {"[:word:]", "0-9A-Z_", {}, true},
    {"[:xdigit:]", "0-9A-Fa-f", {}, false},
};

bool is_letter(uint32_t byte) {
  return (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z';
}

void mark_byte(const charset& set, uint32_t byte) {
  set.table[byte] = set.mark;
  if (!set.case_sensitive && is_letter(byte)) set.table[byte ^ 0x20] = set.mark;
}

void mark_class(const charset& set, const named_class& wanted) {
  for (const byte_span& span : wanted.spans)
    if (span.high)
      memset(set.table + span.low, set.mark, static_cast<size_t>(span.high - span.low) + 1);
  const bool case_sensitive = wanted.keeps_case_rule && set.case_sensitive;
  (void)xp_charset_compile(wanted.items, xp_text_length(wanted.items), case_sensitive, set.mark,
                           set.table);
}

// The class that the items begin with, null when there is none.
const named_class* class_at(const char* items, int32_t left) {
  if (left < 8 || items[0] != '[' || items[1] != ':') return nullptr;
  for (const named_class& each : classes) {
    const int32_t size = xp_text_length(each.name);
    if (size <= left && memcmp(items, each.name, static_cast<size_t>(size)) == 0) return &each;
  }
  return nullptr;
}

// Reads a byte, escaped or not, and moves behind it.
uint8_t read_byte(const char* items, int32_t length, int32_t* index) {
  if (items[*index] == '\\' && *index + 1 < length) ++*index;
  return static_cast<uint8_t>(items[(*index)++]);
}

// Marks the byte or the range that begins at `index`, and moves behind it.
void mark_item(const charset& set, const char* items, int32_t length, int32_t* index) {
  uint32_t low = read_byte(items, length, index);
  uint32_t high = low;
  if (*index + 1 < length && items[*index] == '-') {
    ++*index;
    high = read_byte(items, length, index);
  }
  if (low > high) {
    const uint32_t swapped = low;
    low = high;
    high = swapped;
  }
  for (uint32_t byte = low; byte <= high; byte++)
    mark_byte(set, byte);
}

int32_t find_marked(const char* text, int32_t length, int32_t start, const uint8_t* table) {
  for (int32_t i = start; i < length; i++)
    if (table[static_cast<uint8_t>(text[i])]) return i;
  return -1;
}

int32_t find_in_brackets(const char* text, int32_t length, int32_t start, const char* set,
                         int32_t set_length) {
  uint8_t table[TABLE_SIZE];
  const bool negated = set[1] == '^';
  const int32_t first = negated ? 2 : 1;
  memset(table, negated ? 0xFF : 0, sizeof(table));
  // A NUL can't stand among the items: the set is measured to its NUL.
  (void)xp_charset_compile(set + first, set_length - 1 - first, 0, !negated, table);
  return find_marked(text, length, start, table);
}

int32_t find_in_list(const char* text, int32_t length, int32_t start, const char* set,
                     int32_t set_length) {
  uint8_t table[TABLE_SIZE] = {};
  for (int32_t i = 0; i < set_length; i++)
    table[static_cast<uint8_t>(set[i])] = 1;
  return find_marked(text, length, start, table);
}

// Lists of up to LANES_LIST bytes, spread out for compares with sixteen bytes of text at a time.
constexpr int32_t LANES_LIST = 8;

struct lanes_list {
  xp_lanes bytes[LANES_LIST];
};

// COUNT is 4 or 8; what a shorter list leaves open repeats its first byte.
template <int32_t COUNT>
lanes_list spread_list(const char* set, int32_t set_length) {
  lanes_list list;
  for (int32_t k = 0; k < COUNT; k++)
    list.bytes[k] = xp_lanes_of(set[k < set_length ? k : 0]);
  return list;
}

template <int32_t COUNT>
xp_lane_mask lanes_in_list(xp_lanes lanes, const lanes_list& list) {
  xp_lane_mask found = lanes == list.bytes[0];
  for (int32_t k = 1; k < COUNT; k++)
    found |= lanes == list.bytes[k];
  return found;
}

// The first byte of [start, length) that is in the list, or -1.
template <int32_t COUNT>
int32_t find_by_lanes(const char* text, int32_t length, int32_t start, const char* set,
                      int32_t set_length) {
  const lanes_list list = spread_list<COUNT>(set, set_length);
  int32_t i = start;
  for (; length - i >= 4 * XP_LANES; i += 4 * XP_LANES) {
    xp_lane_mask found = {};
    for (int32_t k = 0; k < 4; k++)
      found |= lanes_in_list<COUNT>(xp_lanes_at(text + i + k * XP_LANES), list);
    if (xp_lanes_any(found)) break;
  }
  for (; length - i >= XP_LANES; i += XP_LANES) {
    const int32_t first = xp_lanes_first(lanes_in_list<COUNT>(xp_lanes_at(text + i), list));
    if (first < XP_LANES) return i + first;
  }
  // The zeros behind the rest are in no list: a list ends at its NUL.
  const xp_lanes rest = xp_lanes_of_short(text + i, static_cast<uint32_t>(length - i));
  const int32_t first = xp_lanes_first(lanes_in_list<COUNT>(rest, list));
  return first < XP_LANES ? i + first : -1;
}

}  // namespace

int32_t xp_charset_compile(const char* items, int32_t length, int32_t case_sensitive, uint8_t mark,
                           uint8_t* table) {
  const charset set = {table, mark, case_sensitive != 0};
  for (int32_t i = 0; i < length;) {
    if (items[i] == 0) return -1;
    if (const named_class* named = class_at(items + i, length - i)) {
      mark_class(set, *named);
      i += xp_text_length(named->name);
    } else {
      mark_item(set, items, length, &i);
    }
  }
  return 0;
}

int32_t xp_text_find_set(const char* text, int32_t length, const char* set, int32_t start) {
  if (!text) return -1;
  if (length < 0) length = xp_text_length(text);
  const int32_t set_length = xp_text_length(set);
  if (set_length == 0 || start < 0 || start >= length) return -1;
  if (set_length >= 3 && set[0] == '[' && set[set_length - 1] == ']')
    return find_in_brackets(text, length, start, set, set_length);
  if (set_length <= 4) return find_by_lanes<4>(text, length, start, set, set_length);
  if (set_length <= LANES_LIST)
    return find_by_lanes<LANES_LIST>(text, length, start, set, set_length);
  return find_in_list(text, length, start, set, set_length);
}
