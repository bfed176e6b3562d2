// xpdoc: reads a document of any kind from a file or from standard input, says what it is, and
// prints it, or the part of it that a key path names, in its own style or in another.
//
// Results: 0; 1 when there is nothing to print, with the reason on standard error; 2 for a bad
// command line.
#include <string.h>

#include "cmdline/xp_args.h"
#include "document/xp_plst.h"
#include "format/xp_fmt.h"
#include "object/xp_array.h"
#include "object/xp_dict.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "paths/xp_path.h"
#include "stream/xp_console_stream.h"
#include "stream/xp_file_stream.h"

namespace {

constexpr int32_t FAILED = 1;
constexpr int32_t MISUSED = 2;

struct style_name {
  const char* name;
  const xp_style* style;
};

constexpr style_name style_names[] = {
    {"plist", &xp_style_plist},
    {"json", &xp_style_json},
    {"json-lines", &xp_style_json_lines},
    {"sections", &xp_style_sections},
    {"form", &xp_style_form},
    {"rules", &xp_style_rules},
    {"list", &xp_style_list},
};

struct request {
  xp_object* file;    // null: standard input
  const char* key;    // null: the whole document
  const char* style;  // null: the document's own
  int32_t kind;       // say what it is and no more
  int32_t help;
};

void complain(const char* format, const char* what) {
  xp_ref stream(xp_console_output_new(XP_CONSOLE_KIND_ERROR));
  if (!stream || xp_stream_open(stream.get(), STREAM_MODE_WRITE) != 0) return;
  xp_stream_printf(stream.get(), "xpdoc: ");
  xp_stream_printf(stream.get(), format, what);
  xp_stream_printf(stream.get(), "\n");
  xp_stream_close(stream.get());
}

// ---- input -----------------------------------------------------------------------------------

// The whole of a stream, with a NUL behind it that `length` doesn't count.
struct input {
  xp_block<char> text;
  size_t length = 0;
  size_t capacity = 0;

  bool grow() {
    const size_t wanted = capacity ? capacity * 2 : 0x10000;
    void* moved = xp_heap_resize(text.get(), capacity, wanted);
    if (!moved) return false;
    (void)text.take();
    text.reset(static_cast<char*>(moved));
    capacity = wanted;
    return true;
  }
};

bool read_all(xp_stream* stream, input* into) {
  for (;;) {
    if (into->capacity - into->length < 2 && !into->grow()) return false;
    const size_t room = into->capacity - into->length - 1;
    const int32_t count = xp_stream_read(stream, into->text.get() + into->length,
                                         static_cast<int32_t>(room < 0x100000 ? room : 0x100000));
    if (count == 0 || count == XP_E_EOF) break;
    if (count < 0) return false;
    into->length += static_cast<size_t>(count);
  }
  into->text[into->length] = 0;
  return true;
}

bool read_input(const request& asked, input* into) {
  xp_ref stream(asked.file ? xp_file_stream_new(static_cast<xp_path*>(asked.file))
                           : xp_console_input_new());
  if (!stream || xp_stream_open(stream.get(), 0) != 0) {
    complain("%s can't be opened", asked.file ? "the file" : "standard input");
    return false;
  }
  const bool whole = read_all(stream.get(), into);
  xp_stream_close(stream.get());
  if (!whole) complain("%s can't be read", asked.file ? "the file" : "standard input");
  return whole;
}

// Why a text that is no document may look like one.
const char* reason_of(const input& from) {
  const char* text = from.text.get();
  if (from.length == 0) return "it is empty";
  if (memcmp(text, "\xFF\xFE", 2) == 0 || memcmp(text, "\xFE\xFF", 2) == 0)
    return "it is UTF-16, and UTF-8 is wanted";
  if (strncmp(text, "\xEF\xBB\xBF", 3) == 0) return "it begins with a byte order mark";
  return "it is of no known kind, or has a mistake in it";
}

// ---- output ----------------------------------------------------------------------------------

// A closed pipe or a full disk shows as a short count.
bool print(const char* text, size_t length) {
  xp_ref stream(xp_console_output_new(XP_CONSOLE_KIND_OUTPUT));
  if (!stream || xp_stream_open(stream.get(), STREAM_MODE_WRITE) != 0) return false;
  while (length != 0) {
    const auto piece = static_cast<int32_t>(length < 0x4000 ? length : 0x4000);
    const int32_t written = xp_stream_write(stream.get(), text, piece);
    if (written < 1) break;
    text += written;
    length -= static_cast<size_t>(written);
  }
  xp_stream_close(stream.get());
  return length == 0;
}

int32_t print_string(xp_str* string) {
  if (string && print(string->text, static_cast<size_t>(string->length))) return 0;
  complain("%s", string ? "the output can't be written" : "out of memory");
  return FAILED;
}

int32_t print_in_style(xp_object* object, const xp_style* style) {
  xp_ref<xp_plst> document(xp_plst_new(object, style));
  xp_ref<xp_str> text(document ? xp_str_format("%p{O}", document.get()) : nullptr);
  return print_string(text.get());
}

int32_t print_line(xp_object* object) {
  xp_ref<xp_str> text(xp_str_format("%p{O}\n", object));
  return print_string(text.get());
}

// ---- what was asked --------------------------------------------------------------------------

const xp_style* style_by_name(const char* name) {
  for (const style_name& row : style_names)
    if (strcmp(row.name, name) == 0) return row.style;
  return nullptr;
}

bool is_container(xp_object* object) {
  return xp_as_dict(object) || xp_as_array(object);
}

// A scalar that a key path names is printed as a line of text, unless a style is asked for.
int32_t show(const request& asked, xp_plst* document, const xp_style* style) {
  xp_ref<> part(asked.key ? xp_plst_lookup(document, asked.key) : xp_object_retain(document->root));
  if (!part) {
    complain("nothing stands at %s", asked.key);
    return FAILED;
  }
  if (asked.key && !asked.style && !is_container(part.get())) return print_line(part.get());
  return print_in_style(part.get(), style);
}

int32_t run(const request& asked) {
  const xp_style* style = asked.style ? style_by_name(asked.style) : nullptr;
  if (asked.style && !style) {
    complain("no style %s: there are plist, json, json-lines, sections, form, rules and list",
             asked.style);
    return MISUSED;
  }
  input text;
  if (!read_input(asked, &text)) return FAILED;
  const char* kind = nullptr;
  // A document ends at its first NUL; what stands behind one would be lost without a word.
  const bool is_text = strlen(text.text.get()) == text.length;
  xp_ref<xp_plst> document(is_text ? xp_plst_parse_kind(text.text.get(), &kind) : nullptr);
  if (!document) {
    complain("this is no document: %s", is_text || text.text[0] == '\xFF' || text.text[0] == '\xFE'
                                            ? reason_of(text)
                                            : "it holds a zero byte");
    return FAILED;
  }
  if (!asked.kind) return show(asked, document.get(), style ? style : document->style);
  xp_ref<xp_str> line(xp_str_format("%s\n", kind));
  return print_string(line.get());
}

int32_t usage(xp_args* args, int32_t kind) {
  xp_ref stream(xp_console_output_new(kind));
  if (!stream || xp_stream_open(stream.get(), STREAM_MODE_WRITE) != 0) return FAILED;
  xp_arg_usage(args, "xpdoc", stream.get());
  xp_stream_close(stream.get());
  return kind == XP_CONSOLE_KIND_ERROR ? MISUSED : 0;
}

}  // namespace

int main(int argc, char** argv) {
  request asked = {};
  const xp_arg_option options[] = {
      {"key", 'k', XARG_RAW, &asked.key, "print what this names: /name, /#index, /@", "path"},
      {"style", 's', XARG_RAW, &asked.style,
       "plist, json, json-lines, sections, form, rules or list", "style"},
      {"kind", 't', XARG_FLAG, &asked.kind, "print what kind of document it is", nullptr},
      {"help", 'h', XARG_FLAG, &asked.help, "print this text", nullptr},
      {nullptr, XARG_FIRST, XARG_PATH, &asked.file, nullptr, "file"},
  };
  xp_ref<xp_args> args(xp_args_new(
      options, static_cast<int32_t>(sizeof(options) / sizeof(*options)), nullptr, argc, argv));
  if (!args) return FAILED;
  const int32_t parsed = xp_args_parse(args.get());
  xp_ref<> file(asked.file);
  if (parsed != 0) return usage(args.get(), XP_CONSOLE_KIND_ERROR);
  if (asked.help) return usage(args.get(), XP_CONSOLE_KIND_OUTPUT);
  return run(asked);
}
