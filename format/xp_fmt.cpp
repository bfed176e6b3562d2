// The engine: reads a format piece by piece, and hands each directive to its conversion.
#include "format/xp_fmt.h"

#include <string.h>

#include "format/xp_fmt_engine.h"
#include "object/xp_ascii.h"
#include "object/xp_str.h"

namespace {

// ---- conversions that the engine does itself -------------------------------------------------

int32_t put_letter(const xp_fmt_directive* directive) {
  if (!directive->out) return 1;
  if (directive->limit < 1) return 0;
  *directive->out = directive->letter;
  return 1;
}

// Uses up an argument all the same.
int32_t put_letter_drop_argument(const xp_fmt_directive* directive) {
  xp_fmt_take(directive->arguments);
  return put_letter(directive);
}

// ---- the table of conversions ----------------------------------------------------------------

// Which subtypes a conversion character reads in `{...}`.
enum family : uint8_t {
  IGNORES_SUBTYPE,
  POINTERS,
  NUMBERS,
  REALS,  // has no members
};

struct conversion {
  xp_fmt_conversion print;
  char letter;
  family subtypes;
};

constexpr conversion conversion_rows[] = {
    {xp_fmt_convert_byte, 'c', IGNORES_SUBTYPE},
    {xp_fmt_convert_text, 's', IGNORES_SUBTYPE},
    {xp_fmt_convert_counted, 'S', IGNORES_SUBTYPE},
    {xp_fmt_convert_pascal, 'P', IGNORES_SUBTYPE},
    {xp_fmt_convert_object, 'O', IGNORES_SUBTYPE},
    {xp_fmt_convert_bytes, 'H', IGNORES_SUBTYPE},
    {xp_fmt_convert_bytes, 'h', IGNORES_SUBTYPE},
    {xp_fmt_convert_tag, 'T', IGNORES_SUBTYPE},
    {xp_fmt_convert_signed, 'd', NUMBERS},
    {xp_fmt_convert_signed, 'i', IGNORES_SUBTYPE},
    {xp_fmt_convert_unsigned, 'u', NUMBERS},
    {xp_fmt_convert_octal, 'o', IGNORES_SUBTYPE},
    {xp_fmt_convert_hex_small, 'x', NUMBERS},
    {xp_fmt_convert_hex, 'X', NUMBERS},
    {xp_fmt_convert_pointer, 'p', POINTERS},
    {xp_fmt_convert_float, 'e', REALS},
    {xp_fmt_convert_float, 'E', REALS},
    {xp_fmt_convert_float, 'f', REALS},
    {xp_fmt_convert_float, 'F', REALS},
    {xp_fmt_convert_float, 'g', IGNORES_SUBTYPE},
    {xp_fmt_convert_float, 'G', IGNORES_SUBTYPE},
    {xp_fmt_convert_time, 'z', IGNORES_SUBTYPE},
    {xp_fmt_convert_time, 'D', IGNORES_SUBTYPE},
    {xp_fmt_convert_local_time, 'Z', IGNORES_SUBTYPE},
    {put_letter_drop_argument, 'a', IGNORES_SUBTYPE},
    {put_letter_drop_argument, 'A', IGNORES_SUBTYPE},
};

struct subtype {
  xp_fmt_conversion print;
  family of;
  char letter;
};

constexpr subtype subtype_rows[] = {
    // clang-format off
    {xp_fmt_convert_text, POINTERS, 's'},
    {xp_fmt_convert_counted, POINTERS, 'S'},
    {xp_fmt_convert_pascal, POINTERS, 'P'},
    {xp_fmt_convert_object, POINTERS, 'O'},
    {xp_fmt_convert_guid, POINTERS, 'U'},
    {xp_fmt_convert_block, POINTERS, 'H'},
    {xp_fmt_convert_block, POINTERS, 'h'},
    {xp_fmt_convert_tag, NUMBERS, 'T'},
    {xp_fmt_convert_time, NUMBERS, 'z'},
    {xp_fmt_convert_local_time, NUMBERS, 'Z'},
    // clang-format on
};

// Bits of one flag character or 0.
constexpr uint32_t flag_of(char c) {
  switch (c) {
    case '#':
      return XP_FMT_ALTERNATE;
    case '-':
      return XP_FMT_LEFT;
    case '+':
      return XP_FMT_PLUS;
    case '\'':
      return XP_FMT_GROUP;
    case ' ':
      return XP_FMT_SPACE;
    case ',':
      return XP_FMT_MONEY;
    case '0':
      return XP_FMT_ZERO;
    default:
      return 0;
  }
}

// The rows by their character; any other character prints itself.
struct conversion_table {
  conversion by_letter[256];
  bool decorates[256];  // characters that can stand between the `%` and the conversion
};

consteval conversion_table make_conversion_table() {
  conversion_table table = {};
  for (conversion& row : table.by_letter)
    row = {put_letter, 0, IGNORES_SUBTYPE};
  for (const conversion& row : conversion_rows)
    table.by_letter[static_cast<uint8_t>(row.letter)] = row;
  for (const char c : "#-+' ,0123456789*.lIt")
    table.decorates[static_cast<uint8_t>(c)] = true;
  return table;
}

constexpr conversion_table conversions = make_conversion_table();

// A subtype that isn't listed uses up an argument and prints its letter.
xp_fmt_conversion find_subtype(family of, char letter) {
  for (const subtype& row : subtype_rows)
    if (row.of == of && row.letter == letter) return row.print;
  return put_letter_drop_argument;
}

// ---- the directive parser --------------------------------------------------------------------

// Each step takes the read position and returns the one behind what it has read.

// A number too large stays at the largest.
const char* read_number(const char* at, uint32_t* value) {
  uint32_t number = 0;
  for (; xp_ascii_is_digit(*at); at++) {
    const auto digit = static_cast<uint32_t>(*at - '0');
    number = number > (INT32_MAX - digit) / 10 ? INT32_MAX : number * 10 + digit;
  }
  *value = number;
  return at;
}

// Digits are a position only when a `$` follows; otherwise they are flag and width.
const char* read_position(const char* at, xp_fmt_arguments* arguments) {
  if (!xp_ascii_is_digit(*at)) return at;
  uint32_t position = 0;
  const char* behind = read_number(at, &position);
  if (*behind != '$') return at;
  if (position != 0) arguments->next = position - 1;
  return behind + 1;
}

// Left beats zeros, and plus beats space, in whatever order they stand.
const char* read_flags(const char* at, uint32_t* flags) {
  for (uint32_t flag; (flag = flag_of(*at)) != 0; at++)
    *flags |= flag;
  if (*flags & XP_FMT_LEFT) *flags &= ~static_cast<uint32_t>(XP_FMT_ZERO);
  if (*flags & XP_FMT_PLUS) *flags &= ~static_cast<uint32_t>(XP_FMT_SPACE);
  return at;
}

// Digits or `*`. The lowest value of a `*` becomes the directive's explicit length: as an unsigned
// number the "none" of -1 is above all others.
const char* read_amount(const char* at, xp_fmt_directive* directive, uint32_t* amount) {
  if (*at != '*') return read_number(at, amount);
  *amount = static_cast<uint32_t>(xp_fmt_take(directive->arguments));
  if (*amount < static_cast<uint32_t>(directive->length))
    directive->length = static_cast<int32_t>(*amount);
  return at + 1;
}

const char* read_length(const char* at, uint32_t* flags) {
  if (at[0] == 'l') {
    *flags |= XP_FMT_WIDE;
    if (at[1] != 'l') return at + 1;
    *flags |= XP_FMT_64;
    return at + 2;
  }
  if (at[0] == 'I' && at[1] == '6' && at[2] == '4') {
    *flags |= XP_FMT_64;
    return at + 3;
  }
  if (at[0] == 't') {
    *flags |= XP_FMT_T;
    return at + 1;
  }
  return at;
}

// The quote is counted: each further one sets the next of three bits.
uint32_t option_of(char c, uint32_t flags) {
  switch (c) {
    case '$':
      return XP_FMT_MONEY;
    case '\'':
      if (!(flags & XP_FMT_QUOTE)) return XP_FMT_QUOTE;
      return flags & XP_FMT_DOUBLE ? XP_FMT_DQUOTE : XP_FMT_DOUBLE;
    case '`':
      return XP_FMT_BLANK;
    case '<':
      return XP_FMT_CDATA;
    case '~':
      return XP_FMT_JSON;
    case '^':
      return XP_FMT_UPPER;
    case '_':
      return XP_FMT_LOWER;
    default:
      return 0;
  }
}

// Whether `at`, a `{`, opens an extension; otherwise it is ordinary text.
bool opens_extension(const char* at) {
  if (at[0] != '{' || at[1] == 0) return false;
  return at[1] == ':' || at[2] == ':' || at[2] == '}';
}

// `at` is behind the `{`. The end of the format ends the directive wherever it comes.
const char* read_extension(const char* at, char* subtype_letter, xp_fmt_directive* directive) {
  if (*at != ':') *subtype_letter = *at++;
  if (*at == ':') {
    for (at++; *at && *at != ':' && *at != '}'; at++)
      directive->flags |= option_of(*at, directive->flags);
  }
  if (*at == ':') {
    directive->sub_format = ++at;
    while (*at && *at != '}')
      at++;
    directive->sub_format_length = static_cast<int32_t>(at - directive->sub_format);
  }
  return *at ? at + 1 : at;
}

const char* read_decoration(const char* at, xp_fmt_directive* directive) {
  at = read_position(at, directive->arguments);
  at = read_flags(at, &directive->flags);
  at = read_amount(at, directive, &directive->width);
  if (*at == '.') at = read_amount(at + 1, directive, &directive->precision);
  return read_length(at, &directive->flags);
}

// Reads the directive behind its `%`. Null when the format ends before a conversion character.
const char* read_directive(const char* at, xp_fmt_directive* directive, xp_fmt_conversion* print) {
  if (conversions.decorates[static_cast<uint8_t>(*at)]) at = read_decoration(at, directive);
  if (!*at) return nullptr;

  const conversion& row = conversions.by_letter[static_cast<uint8_t>(*at)];
  directive->letter = *at++;
  *print = row.print;
  if (!opens_extension(at)) return at;

  char letter = 0;
  at = read_extension(at + 1, &letter, directive);
  if (letter && row.subtypes != IGNORES_SUBTYPE) {
    directive->letter = letter;
    *print = find_subtype(row.subtypes, letter);
  }
  return at;
}

// ---- the loop --------------------------------------------------------------------------------

// Reads and prints one directive; null when it ended the format.
const char* put_directive(xp_fmt_sink* out, const char* at, xp_fmt_arguments* arguments) {
  xp_fmt_directive directive = {};
  directive.precision = XP_FMT_NO_PRECISION;
  directive.length = -1;
  directive.arguments = arguments;
  xp_fmt_conversion print = nullptr;
  at = read_directive(at, &directive, &print);
  if (!at) return nullptr;

  directive.out = out->at;
  directive.room = out->room;
  directive.limit = directive.room;
  // A byte limit is for the buffer: counting gives an upper bound.
  if (out->at && directive.precision < static_cast<uint32_t>(directive.limit))
    directive.limit = static_cast<int32_t>(directive.precision);
  xp_fmt_advance(out, print(&directive));
  return at;
}

}  // namespace

int32_t xp_fmt_vprint(char* buffer, int32_t size, const char* format, const uint64_t* slots,
                      uint32_t count) {
  if (buffer && size < 1) return 0;
  xp_fmt_sink out = {buffer, buffer ? size - 1 : XP_FMT_MOST, 0};
  xp_fmt_arguments arguments = {slots, count, 0};
  const char* at = format;
  while (at && *at && out.room > 0) {
    if (*at == '%') {
      at = put_directive(&out, at + 1, &arguments);
    } else {
      at = xp_fmt_put_until(&out, at, nullptr, '%');
    }
  }
  if (out.at) *out.at = 0;
  return out.written;
}

int32_t xp_fmt_vappend(char* buffer, int32_t size, int32_t offset, const char* format,
                       const uint64_t* slots, uint32_t count) {
  if (offset < 0) offset = 0;
  if (!buffer) {
    const int32_t added = xp_fmt_vprint(nullptr, 0, format, slots, count);
    return added > XP_FMT_MOST - offset ? XP_FMT_MOST : offset + added;
  }
  if (offset >= size) return size > 0 ? size - 1 : 0;
  return offset + xp_fmt_vprint(buffer + offset, size - offset, format, slots, count);
}

xp_str* xp_str_vformat(const char* format, const uint64_t* slots, uint32_t count) {
  char stack[256];
  // Below this nothing can have been cut, neither by a byte nor by a conversion that would not
  // start in the room left.
  constexpr int32_t SURE = 224;
  const int32_t length = xp_fmt_vprint(stack, sizeof(stack), format, slots, count);
  if (length < SURE) return xp_str_new_n(stack, length);

  const int32_t needed = xp_fmt_vprint(nullptr, 0, format, slots, count);
  xp_str* string = xp_str_new_n(nullptr, needed);
  if (!string) return nullptr;
  string->length = xp_fmt_vprint(const_cast<char*>(string->text), needed + 1, format, slots, count);
  return string;
}
