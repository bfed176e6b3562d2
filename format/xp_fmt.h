// The format engine: a printf of the system's own.
//
//   %[position$][flags][width][.precision][length]conversion[{subtype:options:sub-format}]
//
// Beyond the familiar conversions: %p{O} an object's text, %.*s an exact byte count, %ls UTF-16,
// %S counted text, %H bytes in hexadecimal, %T a four-character tag, %z and %Z times. Precision
// is a byte limit for everything but the floating conversions. docs/format.md has the tables.
//
// Each argument is packed into one 64-bit slot, and position numbers are slot numbers.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <bit>
#include <type_traits>

struct xp_object;
struct xp_str;
struct xp_time_fields;

// Flag word of a directive.
enum xp_fmt_flag : uint32_t {
  XP_FMT_ALTERNATE = 0x1,  // #
  XP_FMT_LEFT = 0x2,       // -
  XP_FMT_PLUS = 0x4,       // +; text: percent-encode
  XP_FMT_GROUP = 0x8,      // '
  XP_FMT_SPACE = 0x10,     // space
  XP_FMT_ZERO = 0x20,      // 0
  XP_FMT_WIDE = 0x40,      // l
  XP_FMT_64 = 0x80,        // I64; ll is this and XP_FMT_WIDE
  XP_FMT_T = 0x100,        // t: 64 bits, too
  XP_FMT_MONEY = 0x200,    // , or option $
  XP_FMT_UPPER = 0x400,    // option ^, or a capital E, F, G
  XP_FMT_LOWER = 0x800,    // option _
  XP_FMT_STRIP = 0x1000,   // g: strip trailing zeros
  XP_FMT_QUOTE = 0x2000,   // option ': backslash before ' and backslash
  XP_FMT_DOUBLE = 0x4000,  // option '': ' doubled
  XP_FMT_DQUOTE = 0x8000,  // option ''': backslash before " and backslash
  XP_FMT_BLANK = 0x10000,  // option `: ' becomes `, control bytes blanks
  XP_FMT_CDATA = 0x20000,  // option <: CDATA section when needed
  XP_FMT_JSON = 0x40000,   // option ~: JSON escapes
};

// An argument as its slot: pointers, integers (sign- or zero-extended), bits of a double.
template <class T>
constexpr uint64_t xp_fmt_slot(const T& value) {
  if constexpr (std::is_floating_point_v<T>)
    return std::bit_cast<uint64_t>(static_cast<double>(value));
  else if constexpr (std::is_pointer_v<std::decay_t<T>>)
    return static_cast<uint64_t>(
        reinterpret_cast<uintptr_t>(static_cast<const volatile void*>(value)));
  else if constexpr (std::is_null_pointer_v<T>)
    return 0;
  else
    return static_cast<uint64_t>(static_cast<int64_t>(value));
}

// The engine. `buffer` null counts; otherwise at most `size` - 1 bytes (`size` is at least 1) and
// a NUL are written. Returns the bytes written, or that would be written, without the NUL. A slot
// beyond `count` reads as 0.
int32_t xp_fmt_vprint(char* buffer, int32_t size, const char* format, const uint64_t* slots,
                      uint32_t count);
// Formats at `buffer` + `offset` and returns `offset` plus the result; with `buffer` null the
// sum with the count. An `offset` not below `size` gives `size` - 1 and writes nothing.
int32_t xp_fmt_vappend(char* buffer, int32_t size, int32_t offset, const char* format,
                       const uint64_t* slots, uint32_t count);
// A new string of the formatted text; null when memory is out.
xp_str* xp_str_vformat(const char* format, const uint64_t* slots, uint32_t count);

template <class... A>
int32_t xp_fmt_print(char* buffer, int32_t size, const char* format, const A&... arguments) {
  const uint64_t slots[sizeof...(A) + 1] = {xp_fmt_slot(arguments)..., 0};
  return xp_fmt_vprint(buffer, size, format, slots, sizeof...(A));
}

template <class... A>
int32_t xp_fmt_append(char* buffer, int32_t size, int32_t offset, const char* format,
                      const A&... arguments) {
  const uint64_t slots[sizeof...(A) + 1] = {xp_fmt_slot(arguments)..., 0};
  return xp_fmt_vappend(buffer, size, offset, format, slots, sizeof...(A));
}

template <class... A>
xp_str* xp_str_format(const char* format, const A&... arguments) {
  const uint64_t slots[sizeof...(A) + 1] = {xp_fmt_slot(arguments)..., 0};
  return xp_str_vformat(format, slots, sizeof...(A));
}

// ---- text conversions ------------------------------------------------------------------------

// Writes text with width, case and one escaping scheme by `flags`; returns the bytes written.
// `length` negative measures to the NUL. `buffer` null counts, without a limit.
int32_t xp_fmt_text(char* buffer, int32_t limit, const char* text, int32_t length, uint32_t flags,
                    uint32_t width);
// The same from UTF-16; `length` in units.
int32_t xp_fmt_wide(char* buffer, int32_t limit, const char16_t* wide, int32_t length,
                    uint32_t flags, uint32_t width);
// 16 bytes as a GUID in capitals, in memory order; 36, or 0 with a limit below 37.
int32_t xp_fmt_guid(char* buffer, int32_t limit, const void* bytes);

// ---- numeric conversions ---------------------------------------------------------------------

// What the most negative 64-bit number prints as, with the true minus sign; 22 bytes.
extern const char xp_fmt_most_negative[];

// `value` in base 8, 10 or 16 through xp_fmt_text. `digits` holds 16 digits and the letter of the
// hexadecimal prefix.
int32_t xp_fmt_unsigned(char* buffer, int32_t limit, uint64_t value, uint32_t base,
                        const char* digits, uint32_t flags, uint32_t width);
// Fills 80 digits of `value`; returns the position of the point, 0x7FFFFFFF when the integer part
// has more than 80.
int32_t xp_fmt_digits(double value, char* digits);
// Exponent in scientific notation after rounding to `precision` significant digits (0: before).
int32_t xp_fmt_decimal_exponent(double value, int32_t precision);
// %f and %e; the bytes written or, with `buffer` null, needed.
int32_t xp_fmt_fixed(double value, uint32_t flags, int32_t precision, char* buffer, int32_t size);
int32_t xp_fmt_exponent(double value, uint32_t flags, int32_t precision, char* buffer,
                        int32_t size);

// ---- dates -----------------------------------------------------------------------------------

// A strftime of the system's own; `escape` opens a directive, 0 meaning '%'. `length` negative
// measures the format. At most `size` - 1 bytes and a NUL; returns the bytes written or, with
// `buffer` null, needed.
int32_t xp_fmt_date(char* buffer, int32_t size, const char* format, int32_t length,
                    const xp_time_fields* fields, char escape);
