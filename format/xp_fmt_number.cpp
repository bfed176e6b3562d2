// Integer conversions: one routine for all bases, with digit grouping.
#include <string.h>

#include "format/xp_fmt.h"
#include "format/xp_fmt_engine.h"
#include "time/xp_locale.h"

// Digits, and behind them the letter of the hexadecimal prefix.
static const char capital_digits[] = "0123456789ABCDEFX";
static const char small_digits[] = "0123456789abcdefx";

const char xp_fmt_most_negative[] =
    "\xE2\x88\x92"
    "9223372036854775808";

namespace {

// The digits of one number, filled from the end: 22 octal digits with 21 separators of 15 bytes,
// a prefix of 2, or zeros up to 160 bytes.
struct digit_buffer {
  static constexpr int32_t SIZE = 512;
  static constexpr uint32_t MOST_ZEROS = 160;

  char bytes[SIZE];
  int32_t start = SIZE;

  void push(char byte) { bytes[--start] = byte; }
  uint32_t length() const { return static_cast<uint32_t>(SIZE - start); }
};

// How digits are grouped: the sizes from the right, and what stands between the groups.
struct grouping {
  const uint8_t* sizes;  // null: ungrouped
  const char* separator;
  int32_t separator_length;
};

constexpr uint8_t GROUPS_END = 0xFF;

grouping find_grouping(uint32_t flags) {
  if (!(flags & (XP_FMT_GROUP | XP_FMT_MONEY))) return {};
  const xp_locale* locale = xp_locale_get();
  const bool money = (flags & XP_FMT_MONEY) != 0;
  const char* separator = money ? locale->money_thousands_separator : locale->thousands_separator;
  return {money ? locale->money_grouping : locale->grouping, separator, xp_fmt_fit(separator, 15)};
}

// How many digits until a separator is due, for the group at `index`.
int32_t group_size(const grouping& groups, size_t index) {
  const uint8_t size = groups.sizes[index];
  return size == GROUPS_END ? 0 : size;
}

// A count of 0 means that no separator is due any more.
void push_grouped(digit_buffer* out, uint64_t value, uint32_t base, const char* digits,
                  const grouping& groups) {
  constexpr size_t LAST = sizeof(xp_locale::grouping) - 1;
  size_t index = 0;
  int32_t due = group_size(groups, index);
  int32_t count = 0;
  for (; value != 0; value /= base) {
    if (due != 0 && count == due) {
      for (int32_t i = groups.separator_length; i > 0; i--)
        out->push(groups.separator[i - 1]);
      // A 0 behind a size repeats it.
      if (index < LAST && groups.sizes[index + 1] != 0) index++;
      due = group_size(groups, index);
      count = 0;
    }
    out->push(digits[value % base]);
    count++;
  }
}

void push_digits(digit_buffer* out, uint64_t value, uint32_t base, const char* digits) {
  for (; value != 0; value /= base)
    out->push(digits[value % base]);
}

// 0 for octal; 0 and a letter for hexadecimal, with the zeros of the width between prefix and
// digits.
void push_prefix(digit_buffer* out, uint32_t base, const char* digits, uint32_t flags,
                 uint32_t width) {
  if (base == 8) out->push('0');
  if (base != 16) return;
  if ((flags & (XP_FMT_ZERO | XP_FMT_LEFT)) == XP_FMT_ZERO) {
    if (width > digit_buffer::MOST_ZEROS) width = digit_buffer::MOST_ZEROS;
    while (out->length() + 2 < width)
      out->push('0');
  }
  out->push(digits[16]);
  out->push('0');
}

}  // namespace

int32_t xp_fmt_unsigned(char* buffer, int32_t limit, uint64_t value, uint32_t base,
                        const char* digits, uint32_t flags, uint32_t width) {
  if (value == 0) return xp_fmt_text(buffer, limit, "0", 1, flags, width);
  digit_buffer out;
  const grouping groups = find_grouping(flags);
  if (groups.sizes)
    push_grouped(&out, value, base, digits, groups);
  else
    push_digits(&out, value, base, digits);
  if (flags & XP_FMT_ALTERNATE) push_prefix(&out, base, digits, flags, width);
  return xp_fmt_text(buffer, limit, out.bytes + out.start, static_cast<int32_t>(out.length()),
                     flags, width);
}

// ---- conversions -----------------------------------------------------------------------------

static bool is_64_bits(uint32_t flags) {
  return (flags & (XP_FMT_64 | XP_FMT_T)) != 0;
}

static int32_t put_number(const xp_fmt_directive* directive, uint32_t base, const char* digits) {
  uint64_t value = xp_fmt_take(directive->arguments);
  if (!is_64_bits(directive->flags)) value = static_cast<uint32_t>(value);
  return xp_fmt_unsigned(directive->out, directive->limit, value, base, digits, directive->flags,
                         directive->width);
}

// The sign stands in front of the field, outside of the width.
int32_t xp_fmt_convert_signed(const xp_fmt_directive* directive) {
  const uint64_t slot = xp_fmt_take(directive->arguments);
  const auto value = is_64_bits(directive->flags)
                         ? static_cast<int64_t>(slot)
                         : static_cast<int64_t>(static_cast<int32_t>(slot));
  char* out = directive->out;
  if (out && directive->limit == 0) return 0;
  if (value == INT64_MIN)
    return xp_fmt_text(out, directive->limit, xp_fmt_most_negative, -1, directive->flags,
                       directive->width);

  char sign = 0;
  if (value < 0)
    sign = '-';
  else if (directive->flags & XP_FMT_PLUS)
    sign = '+';
  const auto magnitude = static_cast<uint64_t>(value < 0 ? -value : value);
  if (!sign)
    return xp_fmt_unsigned(out, directive->limit, magnitude, 10, capital_digits, directive->flags,
                           directive->width);
  if (out) *out = sign;
  const int32_t rest = xp_fmt_unsigned(out ? out + 1 : nullptr, directive->limit - 1, magnitude, 10,
                                       capital_digits, directive->flags, directive->width);
  return rest < XP_FMT_MOST ? rest + 1 : rest;
}

int32_t xp_fmt_convert_unsigned(const xp_fmt_directive* directive) {
  return put_number(directive, 10, capital_digits);
}

int32_t xp_fmt_convert_octal(const xp_fmt_directive* directive) {
  return put_number(directive, 8, capital_digits);
}

int32_t xp_fmt_convert_hex(const xp_fmt_directive* directive) {
  return put_number(directive, 16, capital_digits);
}

int32_t xp_fmt_convert_hex_small(const xp_fmt_directive* directive) {
  return put_number(directive, 16, small_digits);
}

int32_t xp_fmt_convert_pointer(const xp_fmt_directive* directive) {
  const uint64_t value = xp_fmt_take(directive->arguments);
  return xp_fmt_unsigned(directive->out, directive->limit, value, 16, small_digits,
                         directive->flags | XP_FMT_ALTERNATE, directive->width);
}
