// The reader of section text, of document/xp_section.h.
#include "document/xp_section.h"
#include "document/xp_tokens.h"

namespace {

constexpr xp_token_end to_line_end = {"\n\r", false};
constexpr xp_token_end to_name_end = {"]\n\r", true};
constexpr xp_token_end to_key_end = {"=\n\r", true};
constexpr xp_token_end to_single_quote = {"'\n\r", false};
constexpr xp_token_end to_double_quote = {"\"\n\r", false};

struct section_scan {
  const char* at;
  bool in_section;
  xp_xml_record section;  // the name of the open one
  xp_plst_builder* builder;
};

const char* skip_spaces(const char* at) {
  while (*at == ' ' || *at == '\t')
    at++;
  return at;
}

bool is_comment(char byte) {
  return byte == '#' || byte == ';';
}

// What may stand behind a name or a value.
int32_t expect_line_end(const section_scan* scan) {
  const char byte = *scan->at;
  return !byte || xp_is_line_end(byte) || is_comment(byte) ? 0 : XP_SECTION_E_LINE;
}

int32_t close_section(section_scan* scan) {
  if (!scan->in_section) return 0;
  scan->in_section = false;
  return xp_pairs_event(XML_CLOSE, &scan->section, scan->builder);
}

int32_t read_comment(section_scan* scan) {
  const char* end = xp_token_walk(scan->at, to_line_end);
  const xp_xml_record comment = xp_token(scan->at, end);
  scan->at = end;
  return xp_pairs_event(XML_COMMENT, &comment, scan->builder);
}

int32_t read_section(section_scan* scan) {
  if (const int32_t result = close_section(scan)) return result;
  const char* name = scan->at + 1;
  const char* end = xp_token_walk(name, to_name_end);
  if (*end != ']') return XP_SECTION_E_SYNTAX;
  scan->section = xp_token(name, end);
  scan->in_section = true;
  if (const int32_t result = xp_pairs_event(XML_OPEN, &scan->section, scan->builder)) return result;
  scan->at = skip_spaces(end + 1);
  return expect_line_end(scan);
}

// A value in quotes; one that isn't closed ends with its line.
xp_xml_record read_quoted(section_scan* scan, const xp_token_end& to_quote) {
  const char* first = scan->at + 1;
  const char* end = xp_token_walk(first, to_quote);
  scan->at = *end == to_quote.bytes[0] ? skip_spaces(end + 1) : end;
  return xp_token(first, end);
}

xp_xml_record read_value(section_scan* scan) {
  if (*scan->at == '\'') return read_quoted(scan, to_single_quote);
  if (*scan->at == '"') return read_quoted(scan, to_double_quote);
  const char* first = scan->at;
  scan->at = xp_token_walk(first, to_line_end);
  return xp_token(first, scan->at);
}

int32_t read_pair(section_scan* scan) {
  const char* end = xp_token_walk(scan->at, to_key_end);
  xp_xml_record key = xp_token_trimmed(scan->at, end);
  if (key.length == 0 || *end != '=') return XP_SECTION_E_SYNTAX;
  scan->at = skip_spaces(end + 1);
  const bool empty = expect_line_end(scan) == 0;
  xp_xml_record value = empty ? xp_token(scan->at, scan->at) : read_value(scan);
  value.attrs = &key;
  value.link = scan->in_section ? &scan->section : nullptr;
  if (const int32_t result = xp_pairs_event(empty ? XML_EMPTY : XML_TEXT, &value, scan->builder))
    return result;
  return expect_line_end(scan);
}

int32_t read_token(section_scan* scan) {
  switch (*scan->at) {
    case '"':
    case '\'':
    case '=':
    case ']':
      return XP_SECTION_E_SYNTAX;
    case ';':
    case '#':
      return read_comment(scan);
    case '[':
      return read_section(scan);
    default:
      return read_pair(scan);
  }
}

}  // namespace

int32_t xp_sections_read(const char* text, xp_plst_builder* builder) {
  section_scan scan = {text, false, {}, builder};
  for (;;) {
    while (*scan.at && !xp_begins_token(*scan.at))
      scan.at++;
    if (!*scan.at) return close_section(&scan);
    if (const int32_t result = read_token(&scan)) return result;
  }
}
