// What the engine hands to its conversions. Inside of format/ only.
#pragma once

#include <string.h>

#include "format/xp_fmt.h"

// The longest piece of output. A count stays at it rather than overflow, and one byte remains
// for the NUL.
constexpr int32_t XP_FMT_MOST = 0x7FFFFFFE;

// The argument slots and the next one to take.
struct xp_fmt_arguments {
  const uint64_t* slots;
  uint32_t count;
  uint32_t next;
};

// The next slot, 0 beyond the last.
inline uint64_t xp_fmt_take(xp_fmt_arguments* arguments) {
  const uint32_t index = arguments->next;
  if (index >= arguments->count) return 0;
  arguments->next = index + 1;
  return arguments->slots[index];
}
// Slots carry pointers as numbers.
template <class T>
T* xp_fmt_pointer(uint64_t slot) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(slot));  // NOLINT(performance-no-int-to-ptr)
}
template <class T>
const T* xp_fmt_take_pointer(xp_fmt_arguments* arguments) {
  return xp_fmt_pointer<const T>(xp_fmt_take(arguments));
}
inline int32_t xp_fmt_take_int(xp_fmt_arguments* arguments) {
  return static_cast<int32_t>(static_cast<uint32_t>(xp_fmt_take(arguments)));
}

// Where output goes. A null `at` counts.
struct xp_fmt_sink {
  char* at;
  int32_t room;     // bytes that still fit
  int32_t written;  // or that would be
};

// Accounts for bytes that stand at `at` already, or would.
inline void xp_fmt_advance(xp_fmt_sink* out, int32_t bytes) {
  if (out->at) {
    out->at += bytes;
    out->room -= bytes;
    out->written += bytes;
  } else {
    out->written = bytes > XP_FMT_MOST - out->written ? XP_FMT_MOST : out->written + bytes;
  }
}

// The bytes of `text` that fit.
inline void xp_fmt_put(xp_fmt_sink* out, const char* text, size_t length) {
  const auto most = static_cast<size_t>(out->at ? out->room : XP_FMT_MOST);
  if (length > most) length = most;
  if (out->at) memcpy(out->at, text, length);
  xp_fmt_advance(out, static_cast<int32_t>(length));
}

// Length of the whole characters within the first `most` bytes of a NUL-terminated text.
int32_t xp_fmt_fit(const char* text, int32_t most);

// Copies up to `stop`, a NUL, `end` (null: none) or as far as there is room; returns the position
// behind. For literals, which are short: a loop beats a search and a copy.
inline const char* xp_fmt_put_until(xp_fmt_sink* out, const char* at, const char* end, char stop) {
  const char* start = at;
  char* to = out->at;
  int32_t room = to ? out->room : XP_FMT_MOST;
  for (char c; room > 0 && at != end && (c = *at) != 0 && c != stop; room--, at++)
    if (to) *to++ = c;
  xp_fmt_advance(out, static_cast<int32_t>(at - start));
  return at;
}

// The characters of a NUL-terminated text that fit as a whole.
inline void xp_fmt_put_characters(xp_fmt_sink* out, const char* text) {
  const size_t length = strlen(text);
  const int32_t room = out->at ? out->room : XP_FMT_MOST;
  xp_fmt_put(
      out, text,
      length <= static_cast<size_t>(room) ? length : static_cast<size_t>(xp_fmt_fit(text, room)));
}

// The two digits of each number below 100, counted from `zero`.
struct xp_fmt_digit_pairs {
  char of[100][2];
};

consteval xp_fmt_digit_pairs xp_fmt_make_digit_pairs(char zero) {
  xp_fmt_digit_pairs pairs = {};
  for (int i = 0; i < 100; i++) {
    pairs.of[i][0] = static_cast<char>(zero + i / 10);
    pairs.of[i][1] = static_cast<char>(zero + i % 10);
  }
  return pairs;
}

// One parsed directive with its place in the output.
struct xp_fmt_directive {
  uint32_t flags;               // xp_fmt_flag
  uint32_t width;               // 0 when none was given
  uint32_t precision;           // XP_FMT_NO_PRECISION when none was given
  int32_t length;               // the value of a `*`, negative when there was none
  const char* sub_format;       // not NUL-terminated; null when there is none
  int32_t sub_format_length;    // bytes
  char letter;                  // the conversion character or the subtype in its place
  char* out;                    // null counts
  int32_t limit;                // most bytes to write at `out`
  int32_t room;                 // bytes left in the buffer; `limit` is this or lower
  xp_fmt_arguments* arguments;  // takes what the conversion needs
};

constexpr uint32_t XP_FMT_NO_PRECISION = 0xFFFFFFFF;

// The limit of a conversion that puts a NUL of its own behind its text, counted in: it stands where
// the engine's would, unless a precision set the limit.
inline int32_t xp_fmt_limit_with_nul(const xp_fmt_directive* directive) {
  const bool by_room = directive->precision > static_cast<uint32_t>(directive->room);
  return by_room ? directive->limit + 1 : directive->limit;
}

// A conversion takes its arguments, writes at most `limit` bytes at `out` and returns how many;
// with `out` null how many it would write.
using xp_fmt_conversion = int32_t (*)(const xp_fmt_directive* directive);

// format/xp_fmt_text.cpp
int32_t xp_fmt_convert_byte(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_text(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_counted(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_pascal(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_object(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_guid(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_bytes(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_block(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_tag(const xp_fmt_directive* directive);

// format/xp_fmt_number.cpp
int32_t xp_fmt_convert_signed(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_unsigned(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_octal(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_hex(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_hex_small(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_pointer(const xp_fmt_directive* directive);

// format/xp_fmt_float.cpp
int32_t xp_fmt_convert_float(const xp_fmt_directive* directive);

// format/xp_fmt_date.cpp
int32_t xp_fmt_convert_time(const xp_fmt_directive* directive);
int32_t xp_fmt_convert_local_time(const xp_fmt_directive* directive);
