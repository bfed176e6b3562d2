// The bare text routines of object/xp_str.h.
#include <string.h>

#include <bit>

#include "object/xp_lanes.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"

int32_t xp_text_character_size(char first_byte) {
  const auto byte = static_cast<uint8_t>(first_byte);
  if (byte < 0xC0) return 1;
  if (byte < 0xE0) return 2;
  if (byte < 0xF0) return 3;
  if (byte < 0xF8) return 4;
  return byte < 0xFC ? 5 : 6;
}

int32_t xp_text_length(const char* text) {
  return text ? static_cast<int32_t>(strlen(text)) : 0;
}

int32_t xp_wide_length(const char16_t* wide) {
  int32_t length = 0;
  if (wide)
    while (wide[length])
      length++;
  return length;
}

namespace {

// What the fast path of xp_text_compare knows of a byte: 0 when only the locale can order it,
// otherwise the byte's rank, with or without its case.
struct simple_table {
  uint8_t rank[2][256];  // [case_sensitive][byte]
};

consteval simple_table make_simple_table() {
  simple_table table = {};
  for (int byte = 0x20; byte <= 0x7A; byte++) {
    const bool simple =
        byte <= 0x3A || (byte >= 0x40 && byte <= 0x5A) || byte == 0x5F || byte >= 0x61;
    if (!simple) continue;
    table.rank[1][byte] = static_cast<uint8_t>(byte);
    table.rank[0][byte] = static_cast<uint8_t>(byte >= 0x61 ? byte - 0x20 : byte);
  }
  return table;
}

constexpr simple_table simple = make_simple_table();

// One text of the locale path, in UTF-16.
struct wide_text {
  static constexpr int32_t STACK_UNITS = 128;

  char16_t stack[STACK_UNITS];
  xp_block<char16_t> heap;
  char16_t* units = stack;
  int32_t count = 0;

  // `length` goes to the conversion as it came, so that a negative one includes the NUL.
  bool convert(const char* text, int32_t length, int32_t bytes) {
    // 2 * bytes + 1 units always suffice: a byte gives at most one unit.
    const int64_t capacity = static_cast<int64_t>(bytes) * 2 + 1;
    if (capacity > STACK_UNITS) {
      heap.reset(static_cast<char16_t*>(xp_heap_alloc(static_cast<size_t>(bytes) * 4 + 4)));
      if (!heap) return false;
      units = heap.get();
    }
    const auto room = static_cast<int32_t>(capacity > INT32_MAX ? INT32_MAX : capacity);
    count = text ? xp_text_to_wide(text, length, units, room) : 0;
    return true;
  }
};

int32_t compare_by_locale(const char* a, int32_t a_length, int32_t a_bytes, const char* b,
                          int32_t b_length, int32_t b_bytes, bool ignore_case) {
  wide_text wide_a;
  wide_text wide_b;
  if (!wide_a.convert(a, a_length, a_bytes) || !wide_b.convert(b, b_length, b_bytes)) return -1;
  return xp_platform->text->compare_wide(wide_a.units, wide_a.count, wide_b.units, wide_b.count,
                                         ignore_case);
}

int32_t order(int32_t a, int32_t b) {
  return a < b ? -1 : a > b;
}

// Lanes in [low, high], by one compare of signed numbers.
xp_lane_mask in_range(xp_lanes lanes, int low, int high) {
  const auto shifted = std::bit_cast<xp_lane_mask>(lanes + static_cast<uint8_t>(0x80 - low));
  return shifted <= xp_lane_mask{} + static_cast<int8_t>(high - low - 0x80);
}

// Lanes that the fast path passes over: bytes that it can order, and that are the same but for
// what is ignored.
template <bool CASE_SENSITIVE>
xp_lane_mask lanes_alike(xp_lanes a, xp_lanes b) {
  const xp_lane_mask letters = in_range(a | 0x20, 'a', 'z');
  const xp_lane_mask is_simple =
      letters | in_range(a, 0x20, 0x3A) | (a == xp_lanes_of('@')) | (a == xp_lanes_of('_'));
  const xp_lanes apart = a ^ b;
  const xp_lane_mask same = apart == xp_lanes{};
  if (CASE_SENSITIVE) return is_simple & same;
  return is_simple & (same | (letters & (apart == xp_lanes_of(0x20))));
}

// How many bytes at the start of both texts the fast path passes over.
template <bool CASE_SENSITIVE>
int32_t count_alike(const char* a, const char* b, int32_t length) {
  int32_t i = 0;
  for (; length - i >= XP_LANES; i += XP_LANES) {
    const xp_lane_mask alike = lanes_alike<CASE_SENSITIVE>(xp_lanes_at(a + i), xp_lanes_at(b + i));
    if (xp_lanes_any(~alike)) return i + xp_lanes_first(~alike);
  }
  // The zeros behind the rest aren't simple.
  const auto rest = static_cast<uint32_t>(length - i);
  return i + xp_lanes_first(~lanes_alike<CASE_SENSITIVE>(xp_lanes_of_short(a + i, rest),
                                                         xp_lanes_of_short(b + i, rest)));
}

}  // namespace

int32_t xp_text_compare(const char* a, int32_t a_length, const char* b, int32_t b_length,
                        int32_t case_sensitive) {
  const int32_t a_bytes = a_length < 0 ? xp_text_length(a) : a_length;
  const int32_t b_bytes = b_length < 0 ? xp_text_length(b) : b_length;
  const int32_t common = a_bytes < b_bytes ? a_bytes : b_bytes;
  const int32_t at =
      case_sensitive ? count_alike<true>(a, b, common) : count_alike<false>(a, b, common);
  if (at < common) {
    const uint8_t* rank = simple.rank[case_sensitive != 0];
    const uint8_t rank_a = rank[static_cast<uint8_t>(a[at])];
    const uint8_t rank_b = rank[static_cast<uint8_t>(b[at])];
    if (rank_a && rank_b) return order(rank_a, rank_b);
    return compare_by_locale(a, a_length, a_bytes, b, b_length, b_bytes, !case_sensitive);
  }
  return order(a_bytes, b_bytes);
}

namespace {

struct fold_table {
  uint8_t byte[2][256];  // [ignore_case][byte]
};

consteval fold_table make_fold_table() {
  fold_table table = {};
  for (int i = 0; i < 256; i++) {
    table.byte[0][i] = static_cast<uint8_t>(i);
    table.byte[1][i] = static_cast<uint8_t>(i >= 0x61 && i <= 0x7A ? i - 0x20 : i);
  }
  return table;
}

constexpr fold_table fold = make_fold_table();

// The byte at `position`: 0 behind a counted text's end. A measured text ends the walk at its NUL
// before this reads beyond it.
uint8_t byte_at(const char* text, int32_t length, int32_t position) {
  if (!text || (length >= 0 && position >= length)) return 0;
  return static_cast<uint8_t>(text[position]);
}

int32_t compare_folded(const char* a, int32_t a_length, const char* b, int32_t b_length,
                       const uint8_t* table) {
  if (a_length >= 0 && b_length >= 0) {
    const int32_t common = a_length < b_length ? a_length : b_length;
    for (int32_t i = 0; i < common; i++) {
      const uint8_t byte_a = table[static_cast<uint8_t>(a[i])];
      const uint8_t byte_b = table[static_cast<uint8_t>(b[i])];
      if (byte_a != byte_b) return byte_a < byte_b ? -1 : 1;
    }
    return order(a_length, b_length);
  }
  for (int32_t i = 0;; i++) {
    const uint8_t byte_a = table[byte_at(a, a_length, i)];
    const uint8_t byte_b = table[byte_at(b, b_length, i)];
    if (byte_a != byte_b) return byte_a < byte_b ? -1 : 1;
    if (!byte_a) return 0;
  }
}

}  // namespace

int32_t xp_text_compare_bytes(const char* a, int32_t a_length, const char* b, int32_t b_length) {
  return compare_folded(a, a_length, b, b_length, fold.byte[0]);
}

int32_t xp_text_compare_nocase(const char* a, int32_t a_length, const char* b, int32_t b_length) {
  return compare_folded(a, a_length, b, b_length, fold.byte[1]);
}
