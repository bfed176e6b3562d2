// The plain conversions between text and numbers of object/xp_num.h, and their scan of decimals.
#include "object/xp_decimal.h"

#include <string.h>

#include "format/xp_fmt.h"
#include "object/xp_ascii.h"
#include "object/xp_num.h"
#include "object/xp_str.h"

namespace {

uint64_t scan_hex(const char* text, uint32_t length) {
  uint64_t value = 0;
  for (uint32_t i = 0; i < length; i++) {
    const int32_t digit = xp_ascii_hex_value(text[i]);
    if (digit < 0) break;
    value = value << 4 | static_cast<uint64_t>(digit);
  }
  return value;
}

uint64_t scan_digits(const char* text, uint32_t length) {
  uint64_t value = 0;
  for (uint32_t i = 0; i < length && xp_ascii_is_digit(text[i]); i++)
    value = value * 10 + static_cast<uint64_t>(text[i] - '0');
  return value;
}

}  // namespace

xp_decimal xp_decimal_scan(const char* text, int32_t length) {
  xp_decimal decimal = {};
  decimal.fraction_digits = -1;
  if (!text || length <= 0) return decimal;
  const char* end = text + length;
  decimal.negative = *text == '-';
  if (decimal.negative) text++;
  for (; text < end && xp_ascii_is_digit(*text); text++)
    decimal.digits = decimal.digits * 10 + static_cast<uint64_t>(*text - '0');
  if (text == end || *text != '.') return decimal;
  const char* fraction = ++text;
  decimal.scale = 1;
  for (; text < end && xp_ascii_is_digit(*text); text++) {
    decimal.scale *= 10;
    decimal.digits = decimal.digits * 10 + static_cast<uint64_t>(*text - '0');
    decimal.nonzero_fraction |= *text != '0';
  }
  decimal.fraction_digits = static_cast<int32_t>(text - fraction);
  return decimal;
}

double xp_decimal_real(const xp_decimal* decimal) {
  double real = static_cast<double>(decimal->digits);
  if (decimal->scale) real /= static_cast<double>(decimal->scale);
  return decimal->negative ? -real : real;
}

int32_t xp_text_to_int(const char* text, int32_t length) {
  return static_cast<int32_t>(xp_text_to_int64(text, length));
}

int64_t xp_text_to_int64(const char* text, int32_t length) {
  if (!text || length == 0) return 0;
  // A negative length is a large one: any byte that is no digit, and so the NUL, ends the text.
  auto left = static_cast<uint32_t>(length);
  const bool negative = text[0] == '-';
  if (negative || text[0] == '+') {
    text++;
    left--;
  }
  const bool hex = left >= 2 && text[0] == '0' && text[1] == 'x';
  const uint64_t value = hex ? scan_hex(text + 2, left - 2) : scan_digits(text, left);
  return static_cast<int64_t>(negative ? 0 - value : value);
}

double xp_text_to_double(const char* text, int32_t length) {
  const xp_decimal decimal = xp_decimal_scan(text, length);
  return xp_decimal_real(&decimal);
}

int32_t xp_hex_to_bytes(void* buffer, int32_t size, const char* text, int32_t length) {
  if (length < 0) length = xp_text_length(text);
  if (!buffer) return length / 2;
  auto* out = static_cast<uint8_t*>(buffer);
  int32_t written = 0;
  for (int32_t i = 0; text && i < length && written < size; i += 2) {
    const int32_t high = xp_ascii_hex_value(text[i]);
    const int32_t low = length - i > 1 ? xp_ascii_hex_value(text[i + 1]) : 0;
    out[written++] = static_cast<uint8_t>((high < 0 ? 0 : high) << 4 | (low < 0 ? 0 : low));
  }
  return written;
}

namespace {

// The text of the numbers below 100, two digits each.
struct digit_pairs {
  char text[100][2];
};

consteval digit_pairs make_digit_pairs() {
  digit_pairs pairs = {};
  for (int i = 0; i < 100; i++) {
    pairs.text[i][0] = static_cast<char>('0' + i / 10);
    pairs.text[i][1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}

constexpr digit_pairs pairs = make_digit_pairs();

constexpr int32_t MOST_DIGITS = 20;

int32_t count_digits(uint64_t value) {
  int32_t count = 1;
  for (; value >= 10000; value /= 10000)
    count += 4;
  return count + (value >= 10) + (value >= 100) + (value >= 1000);
}

// Writes the last `count` digits, two at a time.
void put_digits(char* out, int32_t count, uint64_t value) {
  for (; count >= 2; value /= 100)
    memcpy(out + (count -= 2), pairs.text[value % 100], 2);
  if (count) *out = static_cast<char>('0' + value % 10);
}

// Keeps the leading bytes of `text` that leave room for a NUL.
int32_t put_cut(char* buffer, int32_t size, const char* text, int32_t length) {
  const int32_t shown = length < size ? length : size - 1;
  memcpy(buffer, text, static_cast<size_t>(shown));
  buffer[shown] = 0;
  return shown;
}

}  // namespace

int32_t xp_int64_to_text(char* buffer, int32_t size, int64_t value) {
  if (buffer && size <= 0) return 0;
  if (value == INT64_MIN) {
    const int32_t length = xp_text_length(xp_fmt_most_negative);
    return buffer ? put_cut(buffer, size, xp_fmt_most_negative, length) : length;
  }
  const uint64_t magnitude =
      value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  const int32_t count = count_digits(magnitude);
  const int32_t sign = value < 0;
  if (!buffer) return sign + count;
  if (sign) *buffer++ = '-';
  // One byte holds the sign alone, without a NUL.
  if (size == sign) return sign;
  if (size - sign > count) {
    put_digits(buffer, count, magnitude);
    buffer[count] = 0;
    return sign + count;
  }
  char digits[MOST_DIGITS];
  put_digits(digits, count, magnitude);
  return sign + put_cut(buffer, size - sign, digits, count);
}
