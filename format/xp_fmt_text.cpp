// Text conversions: the one routine behind all text, and the ways by which objects, wide text,
// counted text, tags and bytes reach it.
#include <string.h>

#include "format/xp_fmt.h"
#include "format/xp_fmt_engine.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"

namespace {

// ---- escaping schemes ------------------------------------------------------------------------

// What a scheme makes of a byte.
enum action : uint8_t {
  PASS,
  PERCENT,         // % and two capital hexadecimal digits
  BACKSLASH,       // a backslash in front
  BACKSLASH_T,     // a backslash and t
  BACKSLASH_N,     // a backslash and n
  RETURN,          // a backslash and n; a line feed right behind is dropped
  DOUBLED,         // twice
  TO_BLANK,        // a blank in its place
  TO_BACKQUOTE,    // a backquote in its place
  CLOSES_SECTION,  // a blank when two ] stand before it
};

constexpr uint8_t action_size[] = {1, 3, 2, 2, 2, 2, 2, 1, 1, 1};

struct scheme {
  uint32_t flag;
  action of[256];

  consteval action& operator[](char byte) { return of[static_cast<uint8_t>(byte)]; }
};

consteval void set_controls(scheme* s, action what) {
  for (int byte = 0; byte < 0x20; byte++)
    s->of[byte] = what;
}

consteval scheme make_percent() {
  scheme s = {XP_FMT_PLUS, {}};
  for (int byte = 0; byte < 256; byte++) {
    const bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    const bool mark = byte == '-' || byte == '.' || byte == '_' || byte == '~';
    if (!letter && !mark && !(byte >= '0' && byte <= '9')) s.of[byte] = PERCENT;
  }
  return s;
}

consteval scheme make_json() {
  scheme s = {XP_FMT_JSON, {}};
  set_controls(&s, TO_BLANK);
  s['"'] = s['\\'] = BACKSLASH;
  s['\t'] = BACKSLASH_T;
  s['\n'] = BACKSLASH_N;
  s['\r'] = RETURN;
  return s;
}

consteval scheme make_cdata() {
  scheme s = {XP_FMT_CDATA, {}};
  s['>'] = CLOSES_SECTION;
  return s;
}

consteval scheme make_blank() {
  scheme s = {XP_FMT_BLANK, {}};
  set_controls(&s, TO_BLANK);
  s['\t'] = PASS;
  s['\''] = TO_BACKQUOTE;
  return s;
}

consteval scheme make_quote(uint32_t flag, char quote, action what) {
  scheme s = {flag, {}};
  s[quote] = what;
  if (what == BACKSLASH) s['\\'] = BACKSLASH;
  return s;
}

// The first one whose flag is set applies.
constexpr scheme schemes[] = {
    make_percent(),
    make_json(),
    make_cdata(),
    make_blank(),
    make_quote(XP_FMT_DQUOTE, '"', BACKSLASH),
    make_quote(XP_FMT_DOUBLE, '\'', DOUBLED),
    make_quote(XP_FMT_QUOTE, '\'', BACKSLASH),
};

constexpr uint32_t ESCAPES = XP_FMT_PLUS | XP_FMT_JSON | XP_FMT_CDATA | XP_FMT_BLANK |
                             XP_FMT_DQUOTE | XP_FMT_DOUBLE | XP_FMT_QUOTE;

const scheme* find_scheme(uint32_t flags) {
  if (!(flags & ESCAPES)) return nullptr;
  for (const scheme& row : schemes)
    if (flags & row.flag) return &row;
  return nullptr;
}

constexpr char section_open[] = "<![CDATA[";
constexpr char section_close[] = "]]>";
constexpr int32_t OPEN_SIZE = sizeof(section_open) - 1;
constexpr int32_t CLOSE_SIZE = sizeof(section_close) - 1;

// ---- one text on its way out -----------------------------------------------------------------

struct text_job {
  char* out;  // null counts
  int64_t limit;
  int64_t position;
  const char* text;
  int32_t length;
  uint32_t flags;
  const scheme* escape;  // null: the bytes as they are
  int64_t extra;         // bytes that the scheme adds, by which the padding goes
  int64_t dropped;       // line feeds behind returns, which `extra` doesn't know
};

bool needs_section(const char* text, int32_t length) {
  for (int32_t i = 0; i < length; i++)
    if (text[i] == '<' || text[i] == '>' || text[i] == '&') return true;
  return false;
}

void measure(text_job* job) {
  if (!job->escape) return;
  if (job->escape->flag == XP_FMT_CDATA) {
    if (needs_section(job->text, job->length))
      job->extra = OPEN_SIZE + CLOSE_SIZE;
    else
      job->escape = nullptr;
    return;
  }
  bool after_return = false;
  for (int32_t i = 0; i < job->length; i++) {
    const action what = job->escape->of[static_cast<uint8_t>(job->text[i])];
    if (after_return && what == BACKSLASH_N)
      job->dropped++;
    else
      job->extra += action_size[what] - 1;
    after_return = what == RETURN;
  }
}

void put_run(text_job* job, const char* bytes, int64_t count) {
  const int64_t left = job->limit - job->position;
  if (count > left) count = left;
  if (count <= 0) return;
  if (job->out) memcpy(job->out + job->position, bytes, static_cast<size_t>(count));
  job->position += count;
}

// Pads until `position`, or the limit.
void pad_to(text_job* job, int64_t position) {
  if (position > job->limit) position = job->limit;
  if (position <= job->position) return;
  const auto count = static_cast<size_t>(position - job->position);
  if (job->out) memset(job->out + job->position, job->flags & XP_FMT_ZERO ? '0' : ' ', count);
  job->position = position;
}

char fold(char byte, uint32_t flags) {
  if (flags & XP_FMT_UPPER) return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 32) : byte;
  if (flags & XP_FMT_LOWER) return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
  return byte;
}

// The replacement of the byte at `index`, 1 to 3 bytes.
int32_t escape_byte(const text_job* job, int32_t index, char* piece) {
  static const char hex[] = "0123456789ABCDEF";
  const char byte = fold(job->text[index], job->flags);
  const auto number = static_cast<uint8_t>(byte);
  const action what = job->escape ? job->escape->of[number] : PASS;
  piece[0] = byte;
  switch (what) {
    case PASS:
      break;
    case PERCENT:
      piece[0] = '%';
      piece[1] = hex[number >> 4];
      piece[2] = hex[number & 15];
      break;
    case BACKSLASH:
      piece[0] = '\\';
      piece[1] = byte;
      break;
    case BACKSLASH_T:
      piece[0] = '\\';
      piece[1] = 't';
      break;
    case BACKSLASH_N:
    case RETURN:
      piece[0] = '\\';
      piece[1] = 'n';
      break;
    case DOUBLED:
      piece[1] = byte;
      break;
    case TO_BLANK:
      piece[0] = ' ';
      break;
    case TO_BACKQUOTE:
      piece[0] = '`';
      break;
    case CLOSES_SECTION:
      if (index >= 2 && job->text[index - 1] == ']' && job->text[index - 2] == ']') piece[0] = ' ';
      break;
  }
  return action_size[what];
}

// Length of the bytes from `index` on that the scheme lets pass.
int32_t passing_run(const text_job* job, int32_t index) {
  int32_t end = index;
  while (end < job->length && job->escape->of[static_cast<uint8_t>(job->text[end])] == PASS)
    end++;
  return end - index;
}

// An escape that doesn't fit as a whole ends the text.
void put_escaped(text_job* job) {
  const bool folds = (job->flags & (XP_FMT_UPPER | XP_FMT_LOWER)) != 0;
  for (int32_t i = 0; i < job->length; i++) {
    if (!folds) {
      const int32_t run = passing_run(job, i);
      put_run(job, job->text + i, run);
      i += run;
      if (i == job->length) return;
    }
    char piece[3];
    const int32_t size = escape_byte(job, i, piece);
    if (size > job->limit - job->position) return;
    for (int32_t k = 0; k < size; k++)
      job->out[job->position + k] = piece[k];
    job->position += size;
    const bool pair = job->escape && job->escape->flag == XP_FMT_JSON && job->text[i] == '\r' &&
                      i + 1 < job->length && job->text[i + 1] == '\n';
    if (pair) i++;
  }
}

void put_body(text_job* job) {
  if (!job->out) {
    const int64_t section = job->escape && job->escape->flag == XP_FMT_CDATA ? job->extra : 0;
    job->position += job->length + job->extra - section - job->dropped;
  } else if (job->escape || job->flags & (XP_FMT_UPPER | XP_FMT_LOWER)) {
    put_escaped(job);
  } else {
    put_run(job, job->text, job->length);
  }
}

int32_t put_text(text_job* job, int64_t width) {
  measure(job);
  const bool section = job->escape && job->escape->flag == XP_FMT_CDATA;
  if (section) {
    if (OPEN_SIZE + CLOSE_SIZE > job->limit) return 0;
    put_run(job, section_open, OPEN_SIZE);
    job->limit -= CLOSE_SIZE;
  }
  if (!(job->flags & XP_FMT_LEFT)) pad_to(job, job->position + width - job->length - job->extra);
  put_body(job);
  if (section) {
    job->limit += CLOSE_SIZE;
    put_run(job, section_close, CLOSE_SIZE);
  }
  if (job->flags & XP_FMT_LEFT) pad_to(job, width);
  return job->position > XP_FMT_MOST ? XP_FMT_MOST : static_cast<int32_t>(job->position);
}

}  // namespace

int32_t xp_fmt_text(char* buffer, int32_t limit, const char* text, int32_t length, uint32_t flags,
                    uint32_t width) {
  if (!text) length = 0;
  if (length < 0) length = xp_text_length(text);
  constexpr uint32_t SPECIAL = ESCAPES | XP_FMT_UPPER | XP_FMT_LOWER;
  if (!(flags & SPECIAL) && width <= static_cast<uint32_t>(length)) {
    // Most text: bytes as they are, cut to the limit.
    if (!buffer) return length > XP_FMT_MOST ? XP_FMT_MOST : length;
    if (length > limit) length = limit;
    if (length <= 0) return 0;
    memcpy(buffer, text, static_cast<size_t>(length));
    return length;
  }
  text_job job = {};
  job.out = buffer;
  job.limit = buffer ? (limit < 0 ? 0 : limit) : INT64_MAX / 2;
  job.text = text;
  job.length = length;
  job.flags = flags;
  job.escape = find_scheme(flags);
  return put_text(&job, width);
}

int32_t xp_fmt_wide(char* buffer, int32_t limit, const char16_t* wide, int32_t length,
                    uint32_t flags, uint32_t width) {
  if (length < 0) length = xp_wide_length(wide);
  // A unit gives at most 3 bytes, and a pair 4. Short texts need no block.
  constexpr int32_t STACK_UNITS = 32;
  char stack[STACK_UNITS * 4 + 1];
  char* bytes = stack;
  int32_t converted = 0;
  xp_block block;
  if (wide && length > STACK_UNITS) {
    if (length <= INT32_MAX / 4 - 1)
      block = xp_block<char>::of(static_cast<size_t>(length) * 4 + 1);
    bytes = block.get();
  }
  if (wide && length > 0 && bytes) converted = xp_text_to_utf8(wide, length, bytes, length * 4);
  return xp_fmt_text(buffer, limit, converted > 0 ? bytes : "", converted, flags, width);
}

int32_t xp_fmt_fit(const char* text, int32_t most) {
  const int32_t length = xp_text_length(text);
  if (length <= most) return length;
  int32_t whole = 0;
  for (;;) {
    const int32_t next = xp_text_character_size(text[whole]);
    if (next > most - whole) return whole;
    whole += next;
  }
}

int32_t xp_fmt_guid(char* buffer, int32_t limit, const void* bytes) {
  constexpr int32_t GUID_SIZE = 36;
  static const char hex[] = "0123456789ABCDEF";
  if (!bytes) return 0;
  if (!buffer) return GUID_SIZE;
  if (limit < GUID_SIZE + 1) return 0;
  const auto* byte = static_cast<const uint8_t*>(bytes);
  char* out = buffer;
  for (int32_t i = 0; i < 16; i++) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *out++ = '-';
    *out++ = hex[byte[i] >> 4];
    *out++ = hex[byte[i] & 15];
  }
  *out = 0;
  return GUID_SIZE;
}

// ---- conversions -----------------------------------------------------------------------------

static int32_t put_plain(const xp_fmt_directive* directive, const char* text, int32_t length) {
  return xp_fmt_text(directive->out, directive->limit, text, length, directive->flags,
                     directive->width);
}

static int32_t put_maybe_wide(const xp_fmt_directive* directive, const void* text, int32_t length) {
  if (!text) return 0;
  if (directive->flags & XP_FMT_WIDE)
    return xp_fmt_wide(directive->out, directive->limit, static_cast<const char16_t*>(text), length,
                       directive->flags, directive->width);
  return put_plain(directive, static_cast<const char*>(text), length);
}

// A plain byte ignores the width; a UTF-16 unit is text.
int32_t xp_fmt_convert_byte(const xp_fmt_directive* directive) {
  const auto value = static_cast<uint32_t>(xp_fmt_take(directive->arguments));
  if (directive->flags & XP_FMT_WIDE) {
    const auto unit = static_cast<char16_t>(value);
    return put_maybe_wide(directive, &unit, 1);
  }
  if (!directive->out) return 1;
  if (directive->limit < 1) return 0;
  *directive->out = static_cast<char>(value);
  return 1;
}

int32_t xp_fmt_convert_text(const xp_fmt_directive* directive) {
  return put_maybe_wide(directive, xp_fmt_take_pointer<void>(directive->arguments),
                        directive->length);
}

int32_t xp_fmt_convert_counted(const xp_fmt_directive* directive) {
  const int32_t length = xp_fmt_take_int(directive->arguments);
  const void* text = xp_fmt_take_pointer<void>(directive->arguments);
  return length == 0 ? 0 : put_maybe_wide(directive, text, length);
}

int32_t xp_fmt_convert_pascal(const xp_fmt_directive* directive) {
  const auto* bytes = xp_fmt_take_pointer<uint8_t>(directive->arguments);
  if (!bytes) return 0;
  return put_plain(directive, reinterpret_cast<const char*>(bytes) + 1, bytes[0]);
}

// Without an escape or padding the object writes itself into the output, and the width is the
// most it may write.
static int32_t render_object(const xp_fmt_directive* directive, xp_object* object) {
  if (!object->render) return 0;
  uint32_t limit = static_cast<uint32_t>(directive->limit);
  if (directive->width != 0 && directive->width < limit) limit = directive->width;
  const int32_t written = object->render(object, directive->out, directive->out ? limit : 0);
  if (written <= 0) return 0;
  return static_cast<uint32_t>(written) > limit ? static_cast<int32_t>(limit) : written;
}

// With an escape: from the object's own bytes when it shows them, otherwise from a copy.
static int32_t escape_object(const xp_fmt_directive* directive, xp_object* object) {
  uint32_t shown = 0;
  const auto* bytes = xp_fmt_pointer<const char>(xp_object_control(object, XP_CTL_PNTR, 0, &shown));
  if (bytes) return put_plain(directive, bytes, static_cast<int32_t>(shown));

  int32_t length = object->render ? object->render(object, nullptr, 0) : 0;
  if (length <= 0) return put_plain(directive, "", 0);
  auto copy = xp_block<char>::of(static_cast<size_t>(length));
  if (!copy) return 0;
  length = object->render(object, copy.get(), static_cast<uint32_t>(length));
  return put_plain(directive, copy.get(), length < 0 ? 0 : length);
}

int32_t xp_fmt_convert_object(const xp_fmt_directive* directive) {
  auto* object = xp_fmt_pointer<xp_object>(xp_fmt_take(directive->arguments));
  if (!object) {
    if (directive->sub_format_length <= 0) return 0;
    return put_plain(directive, directive->sub_format, directive->sub_format_length);
  }
  constexpr uint32_t NOT_PLAIN = ESCAPES | XP_FMT_LEFT;
  return directive->flags & NOT_PLAIN ? escape_object(directive, object)
                                      : render_object(directive, object);
}

int32_t xp_fmt_convert_guid(const xp_fmt_directive* directive) {
  const void* bytes = xp_fmt_take_pointer<void>(directive->arguments);
  return xp_fmt_guid(directive->out, xp_fmt_limit_with_nul(directive), bytes);
}

int32_t xp_fmt_convert_tag(const xp_fmt_directive* directive) {
  const auto tag = static_cast<uint32_t>(xp_fmt_take(directive->arguments));
  if (tag == 0) return 0;
  const char name[4] = {static_cast<char>(tag), static_cast<char>(tag >> 8),
                        static_cast<char>(tag >> 16), static_cast<char>(tag >> 24)};
  return put_plain(directive, name, 4);
}

// `most` bytes of a hexadecimal dump, fewer when the dump is shorter; a cut keeps the start.
static int32_t put_dump(const xp_fmt_directive* directive, const uint8_t* bytes, int32_t count,
                        uint32_t most) {
  if (!bytes || count <= 0) return 0;
  const char* digits = directive->letter == 'H' ? "0123456789ABCDEF" : "0123456789abcdef";
  const bool spaced = (directive->flags & XP_FMT_SPACE) != 0;
  const uint32_t step = spaced ? 3 : 2;
  int64_t length = int64_t{count} * step - (spaced ? 1 : 0);
  if (length > directive->limit) length = directive->limit;
  if (length > most) length = most;
  if (directive->out) {
    for (int64_t i = 0; i < length; i++) {
      const uint8_t byte = bytes[i / step];
      const int64_t place = i % step;
      directive->out[i] = place == 0 ? digits[byte >> 4] : place == 1 ? digits[byte & 15] : ' ';
    }
  }
  return static_cast<int32_t>(length);
}

int32_t xp_fmt_convert_bytes(const xp_fmt_directive* directive) {
  const int32_t count = xp_fmt_take_int(directive->arguments);
  const auto* bytes = xp_fmt_take_pointer<uint8_t>(directive->arguments);
  return put_dump(directive, bytes, count, directive->width != 0 ? directive->width : UINT32_MAX);
}

// The count came with the `*`; without one nothing is known to be there.
int32_t xp_fmt_convert_block(const xp_fmt_directive* directive) {
  const auto* bytes = xp_fmt_take_pointer<uint8_t>(directive->arguments);
  const int32_t count = directive->length;
  return put_dump(directive, bytes, count, static_cast<uint32_t>(count) * 2);
}
