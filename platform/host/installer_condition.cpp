// Conditions of a package. Grammar, loosest first: IMP, EQV, XOR, OR, AND, NOT, a comparison or a
// group in parentheses. Source: Windows Installer, "Conditional Statement Syntax".
#include <stdlib.h>
#include <string.h>

#include "platform/host/installer_session.h"

namespace {

constexpr int MOST_DEPTH = 100;  // of parentheses and NOTs

struct reader {
  const installer_session* session;
  const char* at;
  int depth;
  bool broken;
};

struct operand {
  char* text;      // owned; null for a property that isn't set
  bool is_number;  // it reads as a whole number
  long number;
};

enum comparison {
  EQUAL,
  UNEQUAL,
  GREATER,
  GREATER_EQUAL,
  LESS,
  LESS_EQUAL,
  CONTAINS,
  STARTS,
  ENDS
};

struct operator_row {
  const char* text;
  comparison which;
};

// The longer ones first.
constexpr operator_row OPERATORS[] = {
    {"<>", UNEQUAL}, {">=", GREATER_EQUAL}, {"<=", LESS_EQUAL}, {"><", CONTAINS}, {"<<", STARTS},
    {">>", ENDS},    {"=", EQUAL},          {">", GREATER},     {"<", LESS},
};

// Binary words, loosest first.
constexpr const char* WORDS[] = {"IMP", "EQV", "XOR", "OR", "AND"};
constexpr int WORD_COUNT = 5;

void skip_blanks(reader* in) {
  while (g_ascii_isspace(*in->at))
    in->at++;
}

bool word_character(char c) {
  return g_ascii_isalnum(c) || c == '_' || c == '.';
}

bool take_word(reader* in, const char* word) {
  skip_blanks(in);
  const size_t length = strlen(word);
  if (g_ascii_strncasecmp(in->at, word, length) != 0 || word_character(in->at[length]))
    return false;
  in->at += length;
  return true;
}

void set_number(operand* out) {
  if (!out->text || !*out->text) return;
  char* end = nullptr;
  out->number = strtol(out->text, &end, 10);
  out->is_number = *end == 0 && !g_ascii_isspace(*out->text);
}

// "$component" and "&feature" say what becomes of it (3: installed locally), "?component" and
// "!feature" what it is (2: absent).
const char* state_text(const installer_session* session, char mark) {
  if (mark == '$' || mark == '&') return "3";
  return *session_property(session, "Installed") ? "3" : "2";
}

operand read_operand(reader* in) {
  operand out = {};
  skip_blanks(in);
  const char* const begin = in->at;
  if (*begin == '"') {
    const char* end = strchr(begin + 1, '"');
    if (!end) in->broken = true;
    if (end) out.text = g_strndup(begin + 1, static_cast<size_t>(end - begin - 1));
    in->at = end ? end + 1 : begin + strlen(begin);
    return out;
  }
  const char mark = *begin && strchr("$&?!%", *begin) ? *begin : 0;
  const bool negative = *begin == '-';
  if (mark || negative) in->at++;
  const char* const name = in->at;
  while (word_character(*in->at))
    in->at++;
  if (in->at == name) {
    in->broken = true;
    return out;
  }
  g_autofree char* key = g_strndup(name, static_cast<size_t>(in->at - name));
  if (negative || g_ascii_isdigit(*key)) {
    out.text = g_strndup(begin, static_cast<size_t>(in->at - begin));
  } else if (mark && mark != '%') {
    out.text = g_strdup(state_text(in->session, mark));
  } else if (!mark && g_hash_table_contains(in->session->properties, key)) {
    out.text = g_strdup(session_property(in->session, key));
  }
  set_number(&out);
  return out;
}

bool read_operator(reader* in, comparison* which, bool* ignore_case) {
  skip_blanks(in);
  *ignore_case = *in->at == '~';
  const char* at = in->at + *ignore_case;
  for (const operator_row& row : OPERATORS) {
    if (strncmp(at, row.text, strlen(row.text)) != 0) continue;
    in->at = at + strlen(row.text);
    *which = row.which;
    return true;
  }
  return false;
}

bool by_order(comparison which, long order) {
  switch (which) {
    case EQUAL:
      return order == 0;
    case UNEQUAL:
      return order != 0;
    case GREATER:
      return order > 0;
    case GREATER_EQUAL:
      return order >= 0;
    case LESS:
      return order < 0;
    case LESS_EQUAL:
      return order <= 0;
    default:
      return false;
  }
}

bool compare_texts(comparison which, const char* left, const char* right, bool ignore_case) {
  g_autofree char* a = ignore_case ? g_utf8_casefold(left, -1) : g_strdup(left);
  g_autofree char* b = ignore_case ? g_utf8_casefold(right, -1) : g_strdup(right);
  switch (which) {
    case CONTAINS:
      return strstr(a, b) != nullptr;
    case STARTS:
      return g_str_has_prefix(a, b);
    case ENDS:
      return g_str_has_suffix(a, b);
    default:
      return by_order(which, strcmp(a, b));
  }
}

bool compare_operands(comparison which, const operand* left, const operand* right,
                      bool ignore_case) {
  if (left->is_number && right->is_number && which <= LESS_EQUAL)
    return by_order(which, left->number < right->number ? -1 : left->number > right->number);
  // A number is never equal to a text, nor in any order with it.
  if (left->is_number != right->is_number && left->text && right->text && *left->text &&
      *right->text && which <= LESS_EQUAL)
    return which == UNEQUAL;
  return compare_texts(which, left->text ? left->text : "", right->text ? right->text : "",
                       ignore_case);
}

bool read_comparison(reader* in) {
  operand left = read_operand(in);
  comparison which;
  bool ignore_case;
  bool holds = left.text && *left.text && !(left.is_number && left.number == 0);
  if (!in->broken && read_operator(in, &which, &ignore_case)) {
    operand right = read_operand(in);
    holds = compare_operands(which, &left, &right, ignore_case);
    g_free(right.text);
  }
  g_free(left.text);
  return holds;
}

bool read_level(reader* in, int level);

bool read_term(reader* in) {
  if (++in->depth > MOST_DEPTH) in->broken = true;
  bool holds = false;
  skip_blanks(in);
  if (in->broken) return false;
  if (take_word(in, "NOT")) {
    holds = !read_term(in);
  } else if (*in->at == '(') {
    in->at++;
    holds = read_level(in, 0);
    skip_blanks(in);
    if (*in->at == ')')
      in->at++;
    else
      in->broken = true;
  } else {
    holds = read_comparison(in);
  }
  in->depth--;
  return holds;
}

bool combine(int level, bool left, bool right) {
  switch (level) {
    case 0:
      return !left || right;
    case 1:
      return left == right;
    case 2:
      return left != right;
    case 3:
      return left || right;
    default:
      return left && right;
  }
}

bool read_level(reader* in, int level) {
  if (level == WORD_COUNT) return read_term(in);
  bool holds = read_level(in, level + 1);
  while (!in->broken && take_word(in, WORDS[level])) {
    const bool right = read_level(in, level + 1);
    holds = combine(level, holds, right);
  }
  return holds;
}

}  // namespace

bool session_condition(const installer_session* session, const char* condition) {
  reader in = {.session = session, .at = condition, .depth = 0, .broken = false};
  skip_blanks(&in);
  if (!*in.at) return true;
  const bool holds = read_level(&in, 0);
  skip_blanks(&in);
  return holds && !in.broken && !*in.at;
}
