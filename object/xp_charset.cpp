#include "object/xp_charset.h"

#include <string.h>

#include <bit>

#include "object/xp_blocks.h"
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

// The same for a text so short that a table would take longer.
int32_t find_in_short(const char* text, int32_t length, int32_t start, const char* set,
                      int32_t set_length) {
  for (int32_t i = start; i < length; i++)
    for (int32_t k = 0; k < set_length; k++)
      if (text[i] == set[k]) return i;
  return -1;
}

#if defined(__x86_64__)

// The same for a text that lies in one block, which can be read.
XP_AVX2 int32_t find_in_block(const char* text, int32_t length, int32_t start, const char* set) {
  const xp_block_lanes lanes = xp_block_at(text + start);
  xp_block_mask mask = {};
  for (; *set; set++)
    mask |= lanes == xp_block_lanes{} + static_cast<uint8_t>(*set);
  const uint32_t found = xp_block_bits(mask);
  const int32_t at = start + std::countr_zero(found);
  return found && at < length ? at : -1;
}

// The same by blocks, for lists of COUNT bytes and texts of at least a block.
template <int32_t COUNT>
struct block_list {
  xp_block_lanes bytes[COUNT];
};

template <int32_t COUNT>
XP_AVX2 inline uint32_t found_in(const char* text, const block_list<COUNT>& list) {
  const xp_block_lanes lanes = xp_block_at(text);
  xp_block_mask found = lanes == list.bytes[0];
#pragma GCC unroll 8
  for (int32_t k = 1; k < COUNT; k++)
    found |= lanes == list.bytes[k];
  return xp_block_bits(found);
}

template <int32_t COUNT>
XP_AVX2 int32_t find_by_blocks(const char* text, int32_t length, int32_t start, const char* set) {
  constexpr auto SIZE = static_cast<int32_t>(XP_BLOCK);
  block_list<COUNT> list;
#pragma GCC unroll 8
  for (int32_t k = 0; k < COUNT; k++)  // unrolled, the list has registers of its own
    list.bytes[k] = xp_block_lanes{} + static_cast<uint8_t>(set[k]);
  int32_t i = start;
  for (; length - i >= SIZE; i += SIZE)
    if (const uint32_t found = found_in(text + i, list)) return i + std::countr_zero(found);
  if (i == length) return -1;
  // The last block ends with the text and begins among bytes that aren't in the list.
  i = length - SIZE;
  const uint32_t found = found_in(text + i, list);
  return found ? i + std::countr_zero(found) : -1;
}

using block_finder = int32_t (*)(const char* text, int32_t length, int32_t start, const char* set);

// By the length of the list, less 1.
constexpr block_finder block_finders[] = {
    find_by_blocks<1>, find_by_blocks<2>, find_by_blocks<3>, find_by_blocks<4>,
    find_by_blocks<5>, find_by_blocks<6>, find_by_blocks<7>, find_by_blocks<8>,
};
constexpr int32_t LONGEST_BLOCK_LIST = sizeof(block_finders) / sizeof(block_finders[0]);

#endif

// These two are kept out of xp_text_find_set, which for most texts has less to do than to save
// registers for them.
[[gnu::noinline]] int32_t find_in_measured(const char* text, const char* set, int32_t start) {
  return xp_text_find_set(text, xp_text_length(text), set, start);
}

[[gnu::noinline]] int32_t find_by_table(const char* text, int32_t length, int32_t start,
                                        const char* set) {
  const int32_t set_length = xp_text_length(set);
  if (set_length >= 3 && set[0] == '[' && set[set_length - 1] == ']')
    return find_in_brackets(text, length, start, set, set_length);
  const int64_t compares = static_cast<int64_t>(set_length) * length;
  return compares > length + static_cast<int64_t>(TABLE_SIZE) + set_length
             ? find_in_list(text, length, start, set, set_length)
             : find_in_short(text, length, start, set, set_length);
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
  if (!text || !set || !set[0]) return -1;
  if (length < 0) return find_in_measured(text, set, start);
  if (start < 0 || start >= length) return -1;
#if defined(__x86_64__)
  if (set[0] != '[' && xp_has_blocks()) {
    if (length - start <= static_cast<int32_t>(XP_BLOCK)) {
      if (xp_block_readable(text + start)) return find_in_block(text, length, start, set);
    } else {
      for (int32_t count = 1; count <= LONGEST_BLOCK_LIST; count++)
        if (!set[count]) return block_finders[count - 1](text, length, start, set);
    }
  }
#endif
  return find_by_table(text, length, start, set);
}
