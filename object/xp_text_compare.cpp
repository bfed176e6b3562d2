// xp_text_compare: what plain ASCII can decide, by blocks of bytes where the processor has AVX2.
// The locale decides the rest.
#include <string.h>

#include <bit>

#include "object/xp_blocks.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"

namespace {

// ---- by the locale -----------------------------------------------------------------------------

// One text of the locale path, in UTF-16.
struct wide_text {
  static constexpr int32_t STACK_UNITS = 128;

  char16_t stack[STACK_UNITS];
  xp_block<char16_t> heap;
  char16_t* units = stack;
  int32_t count = 0;

  // A measured text is converted with its NUL.
  bool convert(const char* text, int32_t length) {
    const int32_t bytes = length < 0 ? xp_text_length(text) : length;
    // 2 * bytes + 1 units always suffice: a byte gives at most one unit.
    const int64_t capacity = static_cast<int64_t>(bytes) * 2 + 1;
    if (capacity > STACK_UNITS) {
      heap.reset(static_cast<char16_t*>(xp_heap_alloc(static_cast<size_t>(bytes) * 4 + 4)));
      if (!heap) return false;
      units = heap.get();
    }
    const auto room = static_cast<int32_t>(capacity > INT32_MAX ? INT32_MAX : capacity);
    count = text ? xp_text_to_wide(text, length < 0 ? bytes + 1 : bytes, units, room) : 0;
    return true;
  }
};

[[gnu::noinline]] int32_t compare_by_locale(const char* a, int32_t a_length, const char* b,
                                            int32_t b_length, bool ignore_case) {
  wide_text wide_a;
  wide_text wide_b;
  if (!wide_a.convert(a, a_length) || !wide_b.convert(b, b_length)) return -1;
  return xp_platform->text->compare_wide(wide_a.units, wide_a.count, wide_b.units, wide_b.count,
                                         ignore_case);
}

// ---- by bytes ----------------------------------------------------------------------------------

// The rank of a byte that only the locale can order.
constexpr uint8_t NOT_SIMPLE = 0x80;

// Compares with or without case. A walk by blocks passes over bytes that are the same in the bits
// of `compared`, and are letters or from the space to the colon; the two simple bytes left are
// rare. Its numbers stand in every byte of a block, in memory: as constants they would be made in
// registers again for each short text.
struct case_rule {
  uint8_t compared[XP_BLOCK];
  uint8_t fold[XP_BLOCK];  // capitals to small letters
  // Bytes of a range: byte + shift > low, of signed numbers.
  uint8_t letter_shift[XP_BLOCK];
  uint8_t letter_low[XP_BLOCK];
  uint8_t other_shift[XP_BLOCK];
  uint8_t other_low[XP_BLOCK];
  uint8_t rank[256];
  bool ignore_case;
};

consteval case_rule make_rule(bool ignore_case) {
  case_rule rule = {};
  rule.ignore_case = ignore_case;
  for (uint32_t k = 0; k < XP_BLOCK; k++) {
    rule.compared[k] = ignore_case ? 0xDF : 0xFF;
    rule.fold[k] = 0x20;
    rule.letter_shift[k] = 0x7F - 'z';
    rule.letter_low[k] = static_cast<uint8_t>(0x7F - 'z' + 'a' - 1);
    rule.other_shift[k] = 0x7F - ':';
    rule.other_low[k] = 0x7F - ':' + ' ' - 1;
  }
  for (int32_t byte = 0; byte < 256; byte++) {
    const bool small = byte >= 'a' && byte <= 'z';
    const bool simple =
        small || (byte >= ' ' && byte <= ':') || (byte >= '@' && byte <= 'Z') || byte == '_';
    const int32_t folded = small && ignore_case ? byte - 0x20 : byte;
    rule.rank[byte] = simple ? static_cast<uint8_t>(folded) : NOT_SIMPLE;
  }
  return rule;
}

constexpr case_rule rules[2] = {make_rule(true), make_rule(false)};  // [case_sensitive]

struct compared {
  const char* a;
  const char* b;
  int32_t a_length;  // negative: to the NUL
  int32_t b_length;
};

// How far the texts can be walked together: without a limit where both are measured, as a NUL isn't
// passed.
inline uint32_t common_length(const compared& texts) {
  const auto a = static_cast<uint32_t>(texts.a_length);
  const auto b = static_cast<uint32_t>(texts.b_length);
  return a < b ? a : b;
}

constexpr int32_t BY_LOCALE = 2;
constexpr int32_t ALIKE = 3;

// The result of texts that are alike up to `at`, where a walk stopped or their common length ends;
// ALIKE when they are so there too.
inline int32_t result_at(const compared& texts, uint32_t at, const case_rule& rule) {
  const uint32_t common = common_length(texts);
  if (at >= common) {
    at = common;
  } else {
    const uint32_t rank_a = rule.rank[static_cast<uint8_t>(texts.a[at])];
    const uint32_t rank_b = rule.rank[static_cast<uint8_t>(texts.b[at])];
    if (!((rank_a | rank_b) & NOT_SIMPLE))
      return rank_a < rank_b ? -1 : rank_a > rank_b ? 1 : ALIKE;
  }
  const bool a_ends =
      at == static_cast<uint32_t>(texts.a_length) || (texts.a_length < 0 && !texts.a[at]);
  const bool b_ends =
      at == static_cast<uint32_t>(texts.b_length) || (texts.b_length < 0 && !texts.b[at]);
  return a_ends || b_ends ? b_ends - a_ends : BY_LOCALE;
}

// The first position from `at` on at which the bytes are apart or not simple, or `end`.
uint32_t walk_bytes(const compared& texts, uint32_t at, uint32_t end, const case_rule& rule) {
  for (; at < end; at++) {
    const uint8_t rank = rule.rank[static_cast<uint8_t>(texts.a[at])];
    if (rank == NOT_SIMPLE || rank != rule.rank[static_cast<uint8_t>(texts.b[at])]) break;
  }
  return at;
}

// ---- by blocks ---------------------------------------------------------------------------------

#if defined(__x86_64__)

// A case rule in registers.
struct lane_rule {
  xp_block_lanes compared;
  xp_block_lanes fold;
  xp_block_lanes letter_shift;
  xp_block_mask letter_low;
  xp_block_lanes other_shift;
  xp_block_mask other_low;
};

XP_AVX2 inline lane_rule lane_rule_of(const case_rule& rule) {
  return {.compared = xp_block_at(rule.compared),
          .fold = xp_block_at(rule.fold),
          .letter_shift = xp_block_at(rule.letter_shift),
          .letter_low = reinterpret_cast<xp_block_mask>(xp_block_at(rule.letter_low)),
          .other_shift = xp_block_at(rule.other_shift),
          .other_low = reinterpret_cast<xp_block_mask>(xp_block_at(rule.other_low))};
}

// A bit for each byte of a block that a walk doesn't pass.
XP_AVX2 inline uint32_t stops(xp_block_lanes a, xp_block_lanes b, const lane_rule& rule) {
  const xp_block_mask same = ((a ^ b) & rule.compared) == xp_block_lanes{};
  const xp_block_mask letters =
      reinterpret_cast<xp_block_mask>((a | rule.fold) + rule.letter_shift) > rule.letter_low;
  // What is the same but for the bit of a letter's case is the same where both have that bit.
  const xp_block_mask others =
      reinterpret_cast<xp_block_mask>((a & b) + rule.other_shift) > rule.other_low;
  const xp_block_mask passed = same & (letters | others);
  return ~xp_block_bits(passed);
}

// The first position from `at` on at which a walk stops: at a byte that it doesn't pass, or before
// a block that would leave the page of one of the texts.
XP_AVX2 inline uint32_t walk_blocks(const compared& texts, uint32_t at, uint32_t common,
                                    const case_rule& rule) {
  const uint32_t a_left = xp_block_left_in_page(texts.a + at);
  const uint32_t b_left = xp_block_left_in_page(texts.b + at);
  const uint32_t end = at + (a_left < b_left ? a_left : b_left);
  const lane_rule in_registers = lane_rule_of(rule);
  for (; at < common && at + XP_BLOCK <= end; at += XP_BLOCK)
    if (const uint32_t found =
            stops(xp_block_at(texts.a + at), xp_block_at(texts.b + at), in_registers))
      return at + static_cast<uint32_t>(std::countr_zero(found));
  return at;
}

#endif

// Compares from `at` on; what is before is alike.
[[gnu::noinline]] int32_t compare_from(const char* a, int32_t a_length, const char* b,
                                       int32_t b_length, const case_rule& rule, uint32_t at) {
  constexpr uint32_t STEP = 8;
  const compared texts = {a, b, a_length, b_length};
  const uint32_t common = common_length(texts);
  for (uint32_t end = at; at == end && at < common;) {
#if defined(__x86_64__)
    if (xp_has_blocks()) at = walk_blocks(texts, at, common, rule);
#endif
    end = at < common && common - at > STEP ? at + STEP : common;
    at = walk_bytes(texts, at, end, rule);
  }
  const int32_t result = result_at(texts, at, rule);
  if (result != BY_LOCALE) return result;
  return compare_by_locale(a, a_length, b, b_length, rule.ignore_case);
}

#if defined(__x86_64__)

inline int32_t conclude(const compared& texts, const case_rule& rule, uint32_t at) {
  const int32_t result = result_at(texts, at, rule);
  if (result == ALIKE)
    return compare_from(texts.a, texts.a_length, texts.b, texts.b_length, rule, at);
  if (result == BY_LOCALE)
    return compare_by_locale(texts.a, texts.a_length, texts.b, texts.b_length, rule.ignore_case);
  return result;
}

[[gnu::noinline]] XP_AVX2 int32_t compare_long(const char* a, int32_t a_length, const char* b,
                                               int32_t b_length, const case_rule& rule) {
  const compared texts = {a, b, a_length, b_length};
  return conclude(texts, rule, walk_blocks(texts, XP_BLOCK, common_length(texts), rule));
}

// Most texts are apart within their first block.
XP_AVX2 int32_t compare_blocks(const char* a, int32_t a_length, const char* b, int32_t b_length,
                               const case_rule& rule) {
  const compared texts = {a, b, a_length, b_length};
  if (common_length(texts) == 0 || !xp_block_readable(a) || !xp_block_readable(b))
    return compare_from(a, a_length, b, b_length, rule, 0);
  const uint32_t found = stops(xp_block_at(a), xp_block_at(b), lane_rule_of(rule));
  if (!found) return compare_long(a, a_length, b, b_length, rule);
  return conclude(texts, rule, static_cast<uint32_t>(std::countr_zero(found)));
}

#endif

}  // namespace

int32_t xp_text_compare(const char* a, int32_t a_length, const char* b, int32_t b_length,
                        int32_t case_sensitive) {
  const case_rule& rule = rules[case_sensitive != 0];
  if (!a) a_length = 0;
  if (!b) b_length = 0;
#if defined(__x86_64__)
  if (xp_has_blocks()) return compare_blocks(a, a_length, b, b_length, rule);
#endif
  return compare_from(a, a_length, b, b_length, rule, 0);
}
