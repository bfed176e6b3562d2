#include "cmdline/xp_args.h"

#include <string.h>

#include "object/xp_array.h"
#include "object/xp_ascii.h"
#include "object/xp_list.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "paths/xp_path.h"

namespace {

uint32_t type_code(const xp_arg_option* option) {
  return option->type & XARG_TYPE_MASK;
}

bool is_flag(const xp_arg_option* option) {
  return type_code(option) == XARG_FLAG || type_code(option) == XARG_FLAG_OFF;
}

bool is_marker(uint8_t letter) {
  return letter == XARG_FIRST || letter == XARG_REST;
}

// Types whose value, if any, stands behind "=" only.
bool needs_no_value(const xp_arg_option* option) {
  const uint32_t type = type_code(option);
  return is_flag(option) || type == XARG_COUNT || type == XARG_IGNORE || type == XARG_CALL;
}

template <class T>
T* target_of(const xp_arg_option* option) {
  return static_cast<T*>(option->target);
}

// ---- values ----------------------------------------------------------------------------------

// "0x" or "0X" and hexadecimal digits, other characters passed over; anything else as
// xp_text_to_int reads it. Wraps in 32 bits.
int32_t number_of(const char* text) {
  if (!text || !*text) return 0;
  if (text[0] != '0' || (text[1] != 'x' && text[1] != 'X'))
    return xp_text_to_int(text, xp_text_length(text));
  uint32_t value = 0;
  for (const char* p = text + 2; *p; p++) {
    const int32_t digit = xp_ascii_hex_value(*p);
    if (digit >= 0) value = value << 4 | static_cast<uint32_t>(digit);
  }
  return static_cast<int32_t>(value);
}

// The first four characters but "_" and "-", the first in the lowest byte.
uint32_t tag_of(const char* text) {
  uint32_t tag = 0;
  for (uint32_t shift = 0; *text && shift < 32; text++) {
    if (*text == '_' || *text == '-') continue;
    tag |= static_cast<uint32_t>(static_cast<uint8_t>(*text)) << shift;
    shift += 8;
  }
  return tag;
}

// A copy with "/" turned into backslashes, when the text holds "/" and no backslash; otherwise
// null, and the text is used as it stands.
char* with_backslashes(const char* text) {
  if (strchr(text, '\\') || !strchr(text, '/')) return nullptr;
  const size_t size = strlen(text) + 1;
  auto* copy = static_cast<char*>(xp_heap_alloc(size));
  if (!copy) return nullptr;
  for (size_t i = 0; i < size; i++)
    copy[i] = text[i] == '/' ? '\\' : text[i];
  return copy;
}

// Paths enter the system here, so this is where a computer's own way of writing them is left.
xp_object* new_path(const char* text) {
  constexpr uint32_t ROOM = 4096;
  auto native = xp_block<>::of(ROOM);
  if (native && xp_platform->files->from_native(text, native.get(), ROOM)) text = native.get();
  xp_ref current(xp_path_known(xp_tag("curr")));
  return xp_path_resolve(current.get(), text);
}

// The object of an object type, or null; `known` tells whether the type is one.
xp_object* new_object(uint32_t type, const char* text, bool* known) {
  *known = true;
  switch (type) {
    case XARG_STRING:
      return xp_str_new(text);
    case XARG_PATH:
      return new_path(text);
    case XARG_PATH_SLASH: {
      xp_block<> slashed(with_backslashes(text));
      return new_path(slashed ? slashed.get() : text);
    }
    case XARG_STRING_SLASH: {
      char* slashed = with_backslashes(text);
      if (!slashed) return xp_str_new(text);
      xp_str* string = xp_str_new_heap(slashed, xp_text_length(slashed));
      if (!string) xp_heap_free(slashed);
      return string;
    }
    case XARG_NUMBER:
      return xp_num_new(number_of(text));
    default:
      *known = false;
      return nullptr;
  }
}

// Appends to the container of the target, or replaces the object there.
void store_object(const xp_arg_option* option, xp_object* object) {
  auto** target = target_of<xp_object*>(option);
  if (option->type & XARG_ARRAY) {
    if (!*target) *target = xp_array_new(0);
    if (object) (void)xp_array_append(xp_as_array(*target), object);
  } else if (option->type & XARG_LIST) {
    if (!*target) *target = xp_list_new();
    if (object) (void)xp_list_append(xp_as_list(*target), object);
  } else {
    xp_object* old = *target;
    *target = xp_object_retain(object);
    xp_object_release(old);
  }
}

// Stores a value of one of the types that take one; `text` is not null.
int32_t store_value(const xp_arg_option* option, const char* text) {
  switch (type_code(option)) {
    case XARG_INT:
      *target_of<int32_t>(option) = number_of(text);
      return 0;
    case XARG_RAW:
      *target_of<const char*>(option) = text;
      return 0;
    case XARG_FLOAT:
      *target_of<double>(option) = xp_text_to_double(text, xp_text_length(text));
      return 0;
    case XARG_TAG:
      *target_of<uint32_t>(option) = tag_of(text);
      return 0;
    default:
      break;
  }
  bool known;
  xp_ref object(new_object(type_code(option), text, &known));
  if (!known) return XARG_E_TYPE;
  store_object(option, object.get());
  return 0;
}

void add_count(const xp_arg_option* option, int32_t number) {
  auto* target = target_of<int32_t>(option);
  *target = static_cast<int32_t>(static_cast<uint32_t>(*target) + static_cast<uint32_t>(number));
}

int32_t call_back(xp_args* args, const xp_arg_option* option, int32_t form, int32_t* offset) {
  const auto callback = reinterpret_cast<xp_arg_callback>(option->target);
  return callback(args, form, static_cast<int8_t>(option->letter), args->argc, args->argv,
                  &args->index, offset, args->context);
}

// The argument behind the one in hand, null at the end; becomes the one in hand.
const char* take_next(xp_args* args) {
  if (args->index + 1 >= args->argc || !args->argv[args->index + 1]) return nullptr;
  return args->argv[++args->index];
}

// ---- long options ----------------------------------------------------------------------------

struct long_match {
  const xp_arg_option* option;
  bool negated;
};

enum name_match { NO_MATCH, ABBREVIATION, EXACT };

name_match match_name(const xp_arg_option* option, const char* part, int32_t length) {
  const int32_t whole = xp_text_length(option->name);
  if (length > whole || xp_text_compare(part, length, option->name, length, 1) != 0)
    return NO_MATCH;
  return length == whole ? EXACT : ABBREVIATION;
}

// Matches one record; a flag's name may stand behind any number of "no-".
name_match match_record(const xp_arg_option* option, const char* part, int32_t length,
                        bool* negated) {
  *negated = false;
  for (;;) {
    const name_match match = match_name(option, part, length);
    if (match != NO_MATCH || !is_flag(option)) return match;
    if (length < 3 || memcmp(part, "no-", 3) != 0) return NO_MATCH;
    *negated = !*negated;
    part += 3;
    length -= 3;
  }
}

// An exact match wins over an abbreviation; two abbreviations met before it are ambiguous.
bool find_long(const xp_args* args, const char* part, int32_t length, long_match* found) {
  *found = {nullptr, false};
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (!option->name || !option->target) continue;
    bool negated;
    const name_match match = match_record(option, part, length, &negated);
    if (match == NO_MATCH) continue;
    if (match == ABBREVIATION && found->option) return false;
    *found = {option, negated};
    if (match == EXACT) return true;
  }
  return found->option != nullptr;
}

bool is_yes(const char* value) {
  return !value || strcmp(value, "yes") == 0 || strcmp(value, "true") == 0;
}

int32_t name_part(const char* text) {
  const char* equals = strchr(text, '=');
  return equals ? static_cast<int32_t>(equals - text) : xp_text_length(text);
}

}  // namespace

int32_t xp_arg_long(xp_args* args, const char* text) {
  const int32_t length = name_part(text);
  const char* value = text[length] ? text + length + 1 : nullptr;
  long_match found;
  if (!find_long(args, text, length, &found)) return XARG_E_UNKNOWN;
  const xp_arg_option* option = found.option;
  if (!value && !needs_no_value(option)) {
    value = take_next(args);
    if (!value) return XARG_E_NO_VALUE;
  }
  switch (type_code(option)) {
    case XARG_FLAG:
    case XARG_FLAG_OFF:
      *target_of<int32_t>(option) = is_yes(value) != found.negated;
      return 0;
    case XARG_COUNT:
      add_count(option, value ? number_of(value) : 1);
      return 0;
    case XARG_IGNORE:
      return 0;
    case XARG_CALL: {
      int32_t offset = 2;
      return call_back(args, option, XARG_FORM_LONG, &offset);
    }
    default:
      return store_value(option, value);
  }
}

// ---- short options ---------------------------------------------------------------------------

static const xp_arg_option* find_letter(const xp_args* args, char letter) {
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (option->target && option->letter && !is_marker(option->letter) &&
        option->letter == static_cast<uint8_t>(letter))
      return option;
  }
  return nullptr;
}

static bool is_long_name(const xp_args* args, const char* text) {
  const int32_t length = name_part(text);
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (option->name && option->target && match_name(option, text, length) == EXACT) return true;
  }
  return false;
}

int32_t xp_arg_short(xp_args* args, const char* text) {
  if (is_long_name(args, text)) return XARG_E_ONE_DASH;
  const int32_t length = xp_text_length(text);
  for (int32_t at = 0; at < length; at++) {
    const xp_arg_option* option = find_letter(args, text[at]);
    if (!option) return XARG_E_UNKNOWN;
    switch (type_code(option)) {
      case XARG_FLAG:
        *target_of<int32_t>(option) = 1;
        continue;
      case XARG_FLAG_OFF:
        *target_of<int32_t>(option) = 0;
        continue;
      case XARG_COUNT:
        add_count(option, 1);
        continue;
      case XARG_IGNORE:
        continue;
      case XARG_CALL: {
        int32_t offset = at + 1;  // the dash counts
        if (call_back(args, option, XARG_FORM_SHORT, &offset) != 0) return XARG_E_SEPARATOR;
        if (offset < 1) return 0;
        if (offset > length) return 0;
        at = offset - 1;
        continue;
      }
      default:
        break;
    }
    const char* value = text + at + 1;
    if (!*value) value = take_next(args);
    return value ? store_value(option, value) : XARG_E_NO_VALUE;
  }
  return 0;
}

// ---- positional arguments --------------------------------------------------------------------

static const xp_arg_option* find_marker(const xp_args* args, uint8_t marker) {
  for (int32_t i = 0; i < args->count; i++) {
    const xp_arg_option* option = &args->options[i];
    if (option->target && !option->name && option->letter == marker) return option;
  }
  return nullptr;
}

static bool is_separator(char c) {
  return c == ',' || c == ';' || c == '|';
}

// The word's place in the list, counted in separators, or -1. Only the first occurrence of its
// letters is looked at, so a word that is also the start of an earlier one is not found.
static int32_t keyword_index(const char* list, const char* word) {
  const char* at = strstr(list, word);
  if (!at) return -1;
  const char* end = at + strlen(word);
  if ((at != list && !is_separator(at[-1])) || (*end && !is_separator(*end))) return -1;
  int32_t index = 0;
  for (const char* p = list; p < at; p++)
    index += is_separator(*p);
  return index;
}

static int32_t store_keyword(const xp_arg_option* option, const char* text) {
  if (strpbrk(text, ",;|")) return XARG_E_SEPARATOR;
  const int32_t index = keyword_index(option->help, text);
  if (index < 0) return XARG_E_UNKNOWN;
  switch (type_code(option)) {
    case XARG_INT:
      *target_of<int32_t>(option) = index;
      return 0;
    case XARG_RAW:
    case XARG_STRING:
      return store_value(option, text);
    default:
      return XARG_E_TYPE;
  }
}

int32_t xp_arg_positional(xp_args* args, const char* text) {
  const xp_arg_option* option = nullptr;
  if (!args->first_done) {
    args->first_done = 1;
    option = find_marker(args, XARG_FIRST);
  }
  if (!option) option = find_marker(args, XARG_REST);
  if (!option) return XARG_E_UNWANTED;
  if (option->help && *option->help) return store_keyword(option, text);
  if (type_code(option) == XARG_CALL) {
    int32_t offset = 0;
    return call_back(args, option, XARG_FORM_POSITIONAL, &offset);
  }
  return needs_no_value(option) ? XARG_E_TYPE : store_value(option, text);
}

// ---- the loop --------------------------------------------------------------------------------

xp_args* xp_args_new(const xp_arg_option* options, int32_t count, void* context, int32_t argc,
                     const char* const* argv) {
  auto* args = xp_object_new<xp_args>(XP_ARGS);
  if (!args) return nullptr;
  args->count = count;
  args->options = options;
  args->context = context;
  args->argc = argc;
  args->argv = argv;
  return args;
}

int32_t xp_args_parse(xp_args* args) {
  args->index = 0;
  args->stopped = 0;
  args->first_done = 0;
  while (++args->index < args->argc) {
    const char* text = args->argv[args->index];
    if (args->stopped) return XARG_E_UNWANTED;
    int32_t result;
    if (text[0] != '-') {
      result = xp_arg_positional(args, text);
    } else if (text[1] != '-') {
      result = xp_arg_short(args, text + 1);
    } else if (text[2]) {
      result = xp_arg_long(args, text + 2);
    } else {
      // The one argument right behind "--" is passed over without being read.
      args->stopped = 1;
      args->index++;
      continue;
    }
    if (result != 0) return result;
  }
  return 0;
}
