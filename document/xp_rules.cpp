// The reader of rule text, of document/xp_section.h.
#include "document/xp_section.h"
#include "document/xp_tokens.h"

namespace {

constexpr xp_token_end to_selector_end = {"{}", true};
constexpr xp_token_end to_key_end = {":}", true};
constexpr xp_token_end to_value_end = {";}", true};

struct rule_scan {
  const char* at;
  bool in_rule;
  xp_xml_record rule;  // the selector of the open one
  xp_plst_builder* builder;
};

int32_t close_rule(rule_scan* scan) {
  if (!scan->in_rule) return 0;
  scan->in_rule = false;
  return xp_pairs_event(XML_CLOSE, &scan->rule, scan->builder);
}

// Up to its closing mark, or the end of the text.
int32_t read_comment(rule_scan* scan) {
  const char* first = scan->at + 2;
  const char* end = first;
  while (*end && !(end[0] == '*' && end[1] == '/'))
    end++;
  scan->at = *end ? end + 2 : end;
  const xp_xml_record comment = xp_token(first, end);
  return xp_pairs_event(XML_COMMENT, &comment, scan->builder);
}

int32_t read_selector(rule_scan* scan) {
  const char* end = xp_token_walk(scan->at, to_selector_end);
  scan->rule = xp_token_trimmed(scan->at, end);
  if (*end != '{' || end[1] == '}' || scan->rule.length == 0) return XP_SECTION_E_SYNTAX;
  scan->at = end + 1;
  scan->in_rule = true;
  return xp_pairs_event(XML_OPEN, &scan->rule, scan->builder);
}

int32_t read_declaration(rule_scan* scan) {
  const char* end = xp_token_walk(scan->at, to_key_end);
  xp_xml_record key = xp_token_trimmed(scan->at, end);
  if (*end != ':' || key.length == 0) return XP_SECTION_E_SYNTAX;
  const char* first = end + 1;
  while (*first && static_cast<uint8_t>(*first) <= ' ')
    first++;
  end = xp_token_walk(first, to_value_end);
  xp_xml_record value = xp_token_trimmed(first, end);
  if (!*end || value.length == 0) return XP_SECTION_E_SYNTAX;
  value.attrs = &key;
  value.link = &scan->rule;
  scan->at = *end == ';' ? end + 1 : end;
  return xp_pairs_event(XML_TEXT, &value, scan->builder);
}

int32_t read_token(rule_scan* scan) {
  const char byte = *scan->at;
  if (byte == ':' || byte == ';') return XP_SECTION_E_SYNTAX;
  if (byte == '/' && scan->at[1] == '*') return read_comment(scan);
  if (byte != '}') return scan->in_rule ? read_declaration(scan) : read_selector(scan);
  if (!scan->in_rule) return XP_SECTION_E_SYNTAX;
  scan->at++;
  return close_rule(scan);
}

}  // namespace

int32_t xp_rules_read(const char* text, xp_plst_builder* builder) {
  rule_scan scan = {text, false, {}, builder};
  for (;;) {
    while (*scan.at && !xp_begins_token(*scan.at))
      scan.at++;
    if (!*scan.at) return close_rule(&scan);
    if (const int32_t result = read_token(&scan)) return result;
  }
}
