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

// ---- plain numbers ---------------------------------------------------------------------------

namespace {

// Flags under which a number is more than its digits in a field.
constexpr uint32_t NOT_PLAIN =
    XP_FMT_GROUP | XP_FMT_MONEY | XP_FMT_PLUS | XP_FMT_LEFT | ~static_cast<uint32_t>(0x1FF);

struct power_table {
  uint64_t of[20];
};

consteval power_table make_powers() {
  power_table table = {};
  uint64_t power = 1;
  for (uint64_t& entry : table.of) {
    entry = power;
    power *= 10;
  }
  return table;
}

constexpr power_table powers = make_powers();

constexpr xp_fmt_digit_pairs pairs = xp_fmt_make_digit_pairs('0');

// Digits of a value above 0.
uint32_t count_digits(uint64_t value, uint32_t base) {
  const auto bits = static_cast<uint32_t>(std::bit_width(value));
  if (base == 16) return (bits + 3) / 4;
  if (base == 8) return (bits + 2) / 3;
  // 1233 / 4096 is the logarithm of 2 to the base 10, near enough for 64 bits.
  const uint32_t least = bits * 1233 / 4096;
  return least + (least < 20 && value >= powers.of[least]);
}

// Writes the digits of a value so that they end at `end`.
template <class T>
void write_decimal(char* end, T value) {
  for (; value >= 100; value /= 100) {
    end -= 2;
    memcpy(end, pairs.of[value % 100], 2);
  }
  if (value >= 10)
    memcpy(end - 2, pairs.of[value], 2);
  else
    end[-1] = static_cast<char>('0' + value);
}

void write_bits(char* end, uint64_t value, uint32_t bits_a_digit, const char* digits) {
  for (; value != 0; value >>= bits_a_digit)
    *--end = digits[value & ((1u << bits_a_digit) - 1)];
}

void write_digits(char* end, uint64_t value, uint32_t base, const char* digits) {
  if (base != 10)
    write_bits(end, value, base == 16 ? 4 : 3, digits);
  else if (value <= UINT32_MAX)
    write_decimal(end, static_cast<uint32_t>(value));
  else
    write_decimal(end, value);
}

// The common number, padded in front at most, straight into the output; 0 when it isn't one or
// doesn't fit. The bytes are those of the general way.
int32_t put_plain(char* buffer, int32_t limit, uint64_t value, uint32_t base, const char* digits,
                  uint32_t flags, uint32_t width) {
  if (flags & NOT_PLAIN || !buffer || limit <= 0) return 0;
  uint32_t prefix = 0;
  if (flags & XP_FMT_ALTERNATE) {
    if (base != 16 || flags & XP_FMT_ZERO) return 0;
    prefix = 2;
  }
  const uint32_t count = prefix + count_digits(value, base);
  const uint32_t field = width > count ? width : count;
  if (field > static_cast<uint32_t>(limit)) return 0;
  char* out = buffer;
  for (uint32_t blanks = field - count; blanks > 0; blanks--)
    *out++ = flags & XP_FMT_ZERO ? '0' : ' ';
  if (prefix) {
    out[0] = '0';
    out[1] = digits[16];
  }
  write_digits(buffer + field, value, base, digits);
  return static_cast<int32_t>(field);
}

}  // namespace

int32_t xp_fmt_unsigned(char* buffer, int32_t limit, uint64_t value, uint32_t base,
                        const char* digits, uint32_t flags, uint32_t width) {
  if (value == 0) return xp_fmt_text(buffer, limit, "0", 1, flags, width);
  if (const int32_t put = put_plain(buffer, limit, value, base, digits, flags, width)) return put;
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
