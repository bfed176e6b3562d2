// The usage text of cmdline/xp_args.h.
#include <string.h>

#include "cmdline/xp_args.h"
#include "object/xp_str.h"

namespace {

constexpr int32_t PIECE_SIZE = 128;  // a piece of the synopsis and its NUL
constexpr int32_t DEFAULT_WIDTH = 80;

struct usage_layout {
  xp_stream* stream;
  int32_t width;        // column limit
  int32_t column;       // length of the line so far
  int32_t help_column;  // the help lines start one past it
};

uint32_t type_code(const xp_arg_option* option) {
  return option->type & XARG_TYPE_MASK;
}

bool is_flag(const xp_arg_option* option) {
  return type_code(option) == XARG_FLAG || type_code(option) == XARG_FLAG_OFF;
}

bool shows_no_value(const xp_arg_option* option) {
  return is_flag(option) || type_code(option) == XARG_IGNORE;
}

bool is_listed(const xp_arg_option* option) {
  return option->help && option->target;
}

const char* value_name(const xp_arg_option* option) {
  if (option->value_name) return option->value_name;
  if (option->letter == XARG_FIRST) return "command";
  switch (type_code(option)) {
    case XARG_INT:
    case XARG_COUNT:
      return "integer";
    case XARG_RAW:
    case XARG_STRING:
      return "string";
    case XARG_FLOAT:
      return "float";
    case XARG_TAG:
      return "tag";
    case XARG_PATH:
    case XARG_PATH_SLASH:
    case XARG_STRING_SLASH:
      return "path";
    default:
      return "<undefined>";
  }
}

const char* negation(const xp_arg_option* option) {
  return type_code(option) == XARG_FLAG_OFF ? "no-" : "";
}

// Prints a piece behind a blank, on a new line when it would pass the width. `extra` is what the
// piece's frame adds to its length.
void print_piece(usage_layout* layout, const char* format, const char* piece, int32_t extra) {
  const int32_t length = xp_text_length(piece) + extra;
  if (layout->width < layout->column + length) {
    xp_stream_printf(layout->stream, "\n  ");
    layout->column = 2;
  }
  xp_stream_printf(layout->stream, format, piece);
  layout->column += length;
}

void print_first_records(usage_layout* layout, const xp_args* args) {
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (option->letter == XARG_FIRST)
      print_piece(layout, " {%s}", shows_no_value(option) ? "" : value_name(option), 3);
  }
}

// "[-qrx?]": the flags that have a letter, in one piece.
void print_flag_group(usage_layout* layout, const xp_args* args) {
  char piece[PIECE_SIZE];
  int32_t length = xp_fmt_print(piece, PIECE_SIZE, "[-");
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (option->letter && is_listed(option) && is_flag(option) && length < PIECE_SIZE - 2)
      piece[length++] = static_cast<char>(option->letter);
  }
  if (length == 2) return;
  xp_fmt_append(piece, PIECE_SIZE, length, "]");
  print_piece(layout, " %s", piece, 1);
}

// "[--name=value |" and the like; the width of the option's text in the list below.
int32_t print_long_piece(usage_layout* layout, const xp_arg_option* option) {
  char piece[PIECE_SIZE];
  int32_t length = xp_fmt_print(piece, PIECE_SIZE, "[--%s%s", negation(option), option->name);
  if (!shows_no_value(option))
    length = xp_fmt_append(piece, PIECE_SIZE, length, "=%s", value_name(option));
  const bool closed = !option->letter || is_flag(option);
  length = xp_fmt_append(piece, PIECE_SIZE, length, closed ? "]" : " |");
  print_piece(layout, " %s", piece, 1);
  return option->letter ? length : length - 2;
}

int32_t print_short_piece(usage_layout* layout, const xp_arg_option* option) {
  char piece[PIECE_SIZE];
  int32_t length = xp_fmt_print(piece, PIECE_SIZE, "%s-%c", option->name ? "" : "[",
                                static_cast<int32_t>(option->letter));
  if (!shows_no_value(option) && type_code(option) != XARG_COUNT)
    length = xp_fmt_append(piece, PIECE_SIZE, length, " %s", value_name(option));
  length = xp_fmt_append(piece, PIECE_SIZE, length, "]");
  print_piece(layout, " %s", piece, 1);
  return length - 2;
}

void print_synopsis(usage_layout* layout, const xp_args* args) {
  print_first_records(layout, args);
  print_flag_group(layout, args);
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (!is_listed(option)) continue;
    int32_t text_width = 0;
    if (option->name) text_width += print_long_piece(layout, option);
    if (option->letter == XARG_FIRST)
      text_width += xp_text_length(value_name(option));
    else if (option->letter && !is_flag(option))
      text_width += print_short_piece(layout, option);
    if (layout->help_column < text_width + 3) layout->help_column = text_width + 3;
  }
  print_piece(layout, " %s", "[properties]", 1);
}

// The option text behind its three blanks; returns its length with them.
int32_t print_option_text(xp_stream* stream, const xp_arg_option* option) {
  char text[PIECE_SIZE];
  int32_t length = xp_fmt_print(text, PIECE_SIZE, "   ");
  if (option->letter == XARG_FIRST) {
    length = xp_fmt_append(text, PIECE_SIZE, length, "%s", value_name(option));
  } else if (option->letter) {
    length = xp_fmt_append(text, PIECE_SIZE, length, "-%c", static_cast<int32_t>(option->letter));
    if (!shows_no_value(option) && type_code(option) != XARG_COUNT)
      length = xp_fmt_append(text, PIECE_SIZE, length, " %s", value_name(option));
    if (option->name) length = xp_fmt_append(text, PIECE_SIZE, length, ", ");
  }
  if (option->name && option->letter != XARG_FIRST) {
    length = xp_fmt_append(text, PIECE_SIZE, length, "--%s%s", negation(option), option->name);
    if (!shows_no_value(option))
      length = xp_fmt_append(text, PIECE_SIZE, length, "=%s", value_name(option));
  }
  xp_stream_printf(stream, "%s", text);
  return length;
}

void print_blanks(xp_stream* stream, int32_t count) {
  static const char blanks[] = "                                ";
  constexpr int32_t most = sizeof(blanks) - 1;
  for (; count > 0; count -= most)
    xp_stream_printf(stream, "%.*s", count < most ? count : most, blanks);
}

void print_options(const usage_layout* layout, const xp_args* args) {
  xp_stream_printf(layout->stream, "\n%s:\n", "Options");
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (!is_listed(option)) continue;
    const int32_t length = print_option_text(layout->stream, option);
    print_blanks(layout->stream,
                 layout->help_column < length ? 0 : layout->help_column + 1 - length);
    xp_stream_printf(layout->stream, "%s\n", option->help);
  }
}

}  // namespace

void xp_arg_usage(xp_args* args, const char* program, xp_stream* stream) {
  if (!args) return;
  if (!program) program = args->argc < 1 ? "" : args->argv[0];
  usage_layout layout = {.stream = stream, .width = 0, .column = 0, .help_column = 3};
  if (xp_stream_option(stream, STREAM_OPTION_WIDTH, &layout.width) != 0)
    layout.width = DEFAULT_WIDTH;
  layout.column = xp_stream_printf(stream, "%s: %s", "Usage", program);
  print_synopsis(&layout, args);
  print_options(&layout, args);
}
