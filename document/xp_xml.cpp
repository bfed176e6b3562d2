#include "document/xp_xml.h"

#include <stddef.h>
#include <string.h>

#include <bit>

#include "document/xp_xml_word.h"

namespace {

// Classes of a byte.
enum : uint8_t {
  NAME = 1,   // may stand in a name
  GAP = 2,    // passed over between the parts of a tag: up to 32 as a signed byte, but not NUL
  BLANK = 4,  // makes no text: up to 32 as an unsigned byte, but not NUL
};

struct byte_table {
  uint8_t of[256];
};

consteval byte_table make_classes() {
  byte_table table = {};
  for (int byte = 1; byte < 256; byte++) {
    uint8_t& entry = table.of[byte];
    if (byte <= 32 || byte >= 128) entry |= GAP;
    if (byte <= 32) entry |= BLANK;
    if (byte == '-' || byte == ':' || byte == '_' || (byte >= '0' && byte <= '9') ||
        (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z'))
      entry |= NAME;
  }
  return table;
}

consteval byte_table make_fold() {
  byte_table table = {};
  for (int byte = 0; byte < 256; byte++)
    table.of[byte] = static_cast<uint8_t>(byte >= 'a' && byte <= 'z' ? byte - 32 : byte);
  return table;
}

// What a byte inside markup waits for, by the byte that opens it; 0 for all others.
consteval byte_table make_closers() {
  constexpr uint8_t pairs[][2] = {{'"', '"'}, {'\'', '\''}, {'(', ')'},
                                  {'<', '>'}, {'[', ']'},   {'{', '}'}};
  byte_table table = {};
  for (const auto& pair : pairs)
    table.of[pair[0]] = pair[1];
  return table;
}

constexpr byte_table classes = make_classes();
constexpr byte_table fold = make_fold();
constexpr byte_table closers = make_closers();

bool is(char byte, uint8_t wanted) {
  return classes.of[static_cast<uint8_t>(byte)] & wanted;
}

const char* skip_gap(const char* cursor) {
  while (is(*cursor, GAP))
    cursor++;
  return cursor;
}

const char* skip_name(const char* cursor) {
  while (is(*cursor, NAME))
    cursor++;
  return cursor;
}

// Records count in 32 bits, and so do the strings that are made of them.
uint32_t length_of(const char* start, const char* end) {
  const auto length = static_cast<size_t>(end - start);
  return length < INT32_MAX ? static_cast<uint32_t>(length) : INT32_MAX;
}

// A text that ends before a mark, or at the NUL when there is none; `behind` is where to go on.
struct stretch {
  const char* end;
  const char* behind;
};

// Looks for the last byte of the mark, of which there are fewer than of the others.
template <size_t SIZE>
stretch up_to(const char* start, const char (&mark)[SIZE]) {
  constexpr ptrdiff_t LEAD = SIZE - 2;  // bytes before the last one
  const char* from = start;
  while (const char* last = strchr(from, mark[LEAD])) {
    if (last - start >= LEAD && memcmp(last - LEAD, mark, LEAD) == 0)
      return {last - LEAD, last + 1};
    from = last + 1;
  }
  const char* end = from + strlen(from);
  return {end, end};
}

stretch up_to_byte(const char* start, char quote) {
  const char* end = strchr(start, quote);
  if (end) return {end, end + 1};
  end = start + strlen(start);
  return {end, end};
}

// Whether the NUL-terminated text goes on with `word`, letters folded.
template <size_t SIZE>
bool starts_with(const char* cursor, const char (&word)[SIZE]) {
  for (size_t i = 0; i < SIZE - 1; i++)
    if (fold.of[static_cast<uint8_t>(cursor[i])] != static_cast<uint8_t>(word[i])) return false;
  return true;
}

// The walk of xp_xml_skip_markup. `end` is the closing ">", or the NUL.
stretch markup_end(const char* cursor) {
  if (*cursor == '>') return {cursor, cursor + 1};
  uint8_t expected[256];
  expected[0] = '>';
  int top = 0;
  // Square brackets inside square brackets. It falls below 0 when something else closes directly
  // inside a pair; quotes and the other brackets have a meaning at 0 only, so that in an internal
  // subset only the declarations up to the first one with brackets or quotes are taken in pairs.
  int64_t nested = 0;
  for (; *cursor; cursor++) {
    const auto byte = static_cast<uint8_t>(*cursor);
    if (byte == expected[top]) {
      if (top == 0) return {cursor, cursor + 1};
      top--;
      if (expected[top] == ']') nested--;
      continue;
    }
    const uint8_t closer = closers.of[byte];
    if (closer == 0 || expected[top] == '"' || expected[top] == '\'') continue;
    if (byte == '[') {
      if (expected[top] == ']') nested++;
    } else if (nested != 0) {
      continue;
    }
    if (top < 255) expected[++top] = closer;
  }
  return {cursor, cursor};
}

// The next "<" before `end`, or `end`; eight bytes at a time.
const char* find_tag(const char* cursor, const char* end) {
  constexpr uint64_t ONES = UINT64_C(0x0101010101010101);
  for (; end - cursor >= 8; cursor += 8) {
    const uint64_t word = xp_xml_load<uint64_t>(cursor) ^ (ONES * '<');
    // The lowest high bit that is set belongs to the first byte that is zero.
    const uint64_t zeros = (word - ONES) & ~word & (ONES << 7);
    if (zeros != 0) return cursor + std::countr_zero(zeros) / 8;
  }
  while (cursor != end && *cursor != '<')
    cursor++;
  return cursor;
}

struct scanner {
  const char* cursor;
  const char* text_end;  // the terminating NUL
  xp_xml_record* next;   // the first free record
  xp_xml_record* limit;
  xp_xml_record* open;  // the innermost open element
  xp_xml_handler handler;
  void* context;

  // Reports a text-like event; its record lives for the call.
  int32_t report(xp_xml_kind kind, const char* start, const char* end, xp_xml_record* link) {
    xp_xml_record record = {
        .link = link, .attrs = nullptr, .length = length_of(start, end), .text = start};
    return handler(kind, &record, context);
  }

  // The next record of the stack; null when they are used up.
  xp_xml_record* take(xp_xml_record* link, const char* start, const char* end) {
    if (next == limit) return nullptr;
    *next = {.link = link, .attrs = nullptr, .length = length_of(start, end), .text = start};
    return next++;
  }

  int32_t text_run();
  int32_t tag();
  int32_t instruction();
  int32_t declaration();
  int32_t end_tag();
  int32_t start_tag();
  int32_t attributes(xp_xml_record* owner, bool sections);
  int32_t attribute(xp_xml_record* owner, bool sections, const char* name, const char* name_end);
  stretch value(bool sections);
};

// Behind "=" and blanks: the value's end, with the cursor on its start.
stretch scanner::value(bool sections) {
  if (sections && *cursor == '"' && starts_with(cursor, "\"<![CDATA[")) {
    cursor += sizeof("\"<![CDATA[") - 1;
    return up_to(cursor, "]]>\"");
  }
  if (*cursor == '"' || *cursor == '\'') {
    const char quote = *cursor++;
    return up_to_byte(cursor, quote);
  }
  const char* end = skip_name(cursor);
  return {end, end};
}

// One attribute, with the cursor behind its name and blanks.
int32_t scanner::attribute(xp_xml_record* owner, bool sections, const char* name,
                           const char* name_end) {
  xp_xml_record* older = owner->attrs;
  xp_xml_record* record = take(nullptr, name, name_end);
  if (!record) return XML_E_RECORDS;
  record->attrs = older;
  owner->attrs = record;
  if (*cursor == '=') {
    if (next == limit) return XML_E_RECORDS;
    cursor = skip_gap(cursor + 1);
    const stretch found = value(sections);
    record->link = take(nullptr, cursor, found.end);
    cursor = found.behind;
  }
  const int32_t result = handler(XML_ATTRIBUTE, owner, context);
  if (result > 0) {
    owner->attrs = older;
    next = record;
    return 0;
  }
  return result;
}

// Attributes up to the first byte that can't begin a name, which is not an error: the rest of the
// tag is passed over. Only a start tag knows values in a CDATA section.
int32_t scanner::attributes(xp_xml_record* owner, bool sections) {
  for (;;) {
    const char* name = cursor = skip_gap(cursor);
    const char* name_end = skip_name(name);
    if (name == name_end) return 0;
    cursor = skip_gap(name_end);
    const int32_t result = attribute(owner, sections, name, name_end);
    if (result != 0) return result;
  }
}

int32_t scanner::instruction() {
  const char* name = skip_gap(cursor);
  cursor = skip_name(name);
  xp_xml_record* record = take(open, name, cursor);
  if (!record) return XML_E_RECORDS;
  int32_t result = attributes(record, false);
  if (result != 0) return result;
  result = handler(XML_INSTRUCTION, record, context);
  if (result != 0) return result;
  next = record;
  cursor = xp_xml_skip_markup(cursor);
  return 0;
}

// A comment, a DOCTYPE, or something that is passed over without an event. That last includes a
// CDATA section behind text.
int32_t scanner::declaration() {
  const char* name = skip_gap(cursor);
  if (name[0] == '-' && name[1] == '-') {
    const stretch body = up_to(name + 2, "-->");
    cursor = body.behind;
    return report(XML_COMMENT, name + 2, body.end, open);
  }
  const char* name_end = skip_name(name);
  const stretch body = markup_end(name_end);
  cursor = body.behind;
  if (name_end - name != 7 || !starts_with(name, "DOCTYPE")) return 0;
  return report(XML_DOCTYPE, skip_gap(name_end), body.end, nullptr);
}

int32_t scanner::end_tag() {
  const char* name = skip_gap(cursor);
  xp_xml_record* element = open;
  if (!element) return XML_E_NOT_OPEN;
  const auto length = static_cast<int32_t>(element->length);
  if (xp_xml_equal(name, element->text, length) != 0 || is(name[length], NAME)) return XML_E_NAME;
  const int32_t result = handler(XML_CLOSE, element, context);
  if (result != 0) return result;
  next = element;
  open = element->link;
  cursor = xp_xml_skip_markup(name + length);
  return 0;
}

int32_t scanner::start_tag() {
  const char* name = cursor;
  cursor = skip_name(name);
  xp_xml_record* element = take(open, name, cursor);
  if (!element) return XML_E_RECORDS;
  open = element;
  int32_t result = *cursor == '>' ? 0 : attributes(element, true);
  if (result != 0) return result;
  result = handler(XML_OPEN, element, context);
  if (result != 0) return result;
  if (*cursor == '/') {
    if (next == limit) return XML_E_RECORDS;
    result = report(XML_EMPTY, cursor, cursor, element);
    if (result != 0) return result;
    result = handler(XML_CLOSE, element, context);
    if (result != 0) return result;
    next = element;
    open = element->link;
  }
  cursor = xp_xml_skip_markup(cursor);
  return 0;
}

// The cursor is on a "<".
int32_t scanner::tag() {
  cursor = skip_gap(cursor + 1);
  switch (*cursor) {
    case '?':
      cursor++;
      return instruction();
    case '!':
      cursor++;
      return declaration();
    case '/':
      cursor++;
      return end_tag();
    default:
      return start_tag();
  }
}

// The run of text at the cursor up to the next "<" or NUL, and its event.
int32_t scanner::text_run() {
  const char* start = cursor;
  const char* stop = start;
  while (is(*stop, BLANK))
    stop++;
  const bool blank = stop == text_end || *stop == '<';
  if (!blank) stop = find_tag(stop, text_end);
  cursor = stop;
  if (stop == text_end) {
    if (!blank) return XML_E_TEXT;
    return open ? XML_E_OPEN : 0;
  }
  if (stop != start) return report(blank ? XML_SPACE : XML_TEXT, start, stop, open);
  if (!starts_with(stop, "<![CDATA[")) return report(XML_EMPTY, stop, stop, open);
  const char* body = stop + sizeof("<![CDATA[") - 1;
  const stretch found = up_to(body, "]]>");
  cursor = found.behind;
  return report(XML_TEXT, body, found.end, open);
}

}  // namespace

int32_t xp_xml_scan(const char* text, xp_xml_record* first, xp_xml_record* limit,
                    xp_xml_handler handler, void* context) {
  scanner scan = {.cursor = text,
                  .text_end = text + strlen(text),
                  .next = first,
                  .limit = limit,
                  .open = nullptr,
                  .handler = handler,
                  .context = context};
  for (;;) {
    int32_t result = scan.text_run();
    if (result != 0) return result;
    // Behind a CDATA section the text goes on, unless markup follows at once.
    if (*scan.cursor != '<') {
      if (*scan.cursor == 0) return scan.open ? XML_E_OPEN : 0;
      continue;
    }
    result = scan.tag();
    if (result != 0) return result;
  }
}

const char* xp_xml_skip_markup(const char* cursor) {
  return markup_end(cursor).behind;
}

int32_t xp_xml_equal(const char* a, const char* b, int32_t count) {
  for (int32_t i = 0; i < count; i++) {
    if (a[i] == b[i]) continue;
    const uint8_t left = fold.of[static_cast<uint8_t>(a[i])];
    const uint8_t right = fold.of[static_cast<uint8_t>(b[i])];
    if (left != right) return left < right ? -1 : 1;
  }
  return 0;
}

xp_xml_record* xp_xml_attribute_value(const xp_xml_record* element, const char* name) {
  const auto length = static_cast<uint32_t>(strlen(name));
  for (const xp_xml_record* attr = element->attrs; attr; attr = attr->attrs)
    if (attr->length == length && xp_xml_equal(attr->text, name, static_cast<int32_t>(length)) == 0)
      return attr->link;
  return nullptr;
}
