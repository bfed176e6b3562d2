// `xarg`, the table-driven command line parser, and the usage text that it prints from the same
// table. A caller lays out an array of option records, each with a name, a letter, a type, a
// target and a help text; the parser stores each value through its record's target.
//
// Long options may be abbreviated ("--ver" for "--version") and flags negated ("--no-quiet");
// letters may be clustered ("-qr"), and a value may follow its letter directly ("-l2").
#pragma once

#include "object/xp_object.h"
#include "stream/xp_stream.h"

constexpr uint32_t XP_ARGS = xp_tag("xarg");

// Markers in the place of a letter: records without a name that take positional arguments.
enum xp_arg_letter : uint8_t {
  XARG_REST = 0x80,   // every positional argument
  XARG_FIRST = 0x81,  // the first positional argument
};

// Type codes, with the target's pointee. An object target is a reference that the target owns.
enum xp_arg_type : uint8_t {
  XARG_INT = 0,            // int32_t; "0x" for hexadecimal; no text is a bad number
  XARG_RAW = 1,            // const char*: the argument itself, not copied
  XARG_FLAG = 2,           // int32_t: 1; takes no value
  XARG_FLAG_OFF = 3,       // int32_t: short form 0; the usage text shows --no-name
  XARG_FLOAT = 5,          // double
  XARG_TAG = 6,            // uint32_t: first four characters other than "_" and "-"
  XARG_COUNT = 7,          // int32_t: adds 1, or what stands behind "="
  XARG_STRING = 8,         // xp_str
  XARG_PATH = 9,           // xp_path, resolved against the current folder
  XARG_PATH_SLASH = 10,    // xp_path, "/" standing for the backslash
  XARG_STRING_SLASH = 11,  // xp_str, "/" standing for the backslash
  XARG_NUMBER = 12,        // xp_num
  XARG_IGNORE = 16,        // nothing is stored; takes no value
  XARG_CALL = 17,          // the target is an xp_arg_callback
  XARG_TYPE_MASK = 0x1F,
  XARG_ARRAY = 0x40,  // object types: append to the xp_array in the target, made when null
  XARG_LIST = 0x80,   // object types: append to the xp_list in the target, made when null
};

struct xp_args;

enum xp_arg_form : int32_t { XARG_FORM_LONG, XARG_FORM_SHORT, XARG_FORM_POSITIONAL };

// Called for an XARG_CALL record. *index is the position in argv and may be moved on to consume
// arguments. *offset is where the option's text begins within its argument: behind the dashes, or
// at the letter. 0 for success; in the long and positional forms the result is the parser's. In
// the short form *offset is read back: below 1 ends the cluster, otherwise the walk goes on
// behind that offset, so a callback can consume the rest of a cluster.
using xp_arg_callback = int32_t (*)(xp_args* args, int32_t form, int32_t letter, int32_t argc,
                                    const char* const* argv, int32_t* index, int32_t* offset,
                                    void* context);

struct xp_arg_option {
  const char* name;        // long name without dashes, or null
  uint8_t letter;          // short letter, 0 for none, or xp_arg_letter
  uint8_t type;            // xp_arg_type with its flags
  void* target;            // a record with a null target is passed over
  const char* help;        // help line; null hides the record. For a positional record a list of
                           // keywords, separated by "," ";" or "|", that the argument must be in
  const char* value_name;  // what the usage text shows for the value; null: by the type
};

struct xp_args : xp_object {
  int32_t count;                 // records
  const xp_arg_option* options;  // not owned
  void* context;                 // handed to callbacks
  int32_t argc;
  const char* const* argv;  // ends in a null entry; argv[0] is the program
  int32_t index;            // of the argument in hand; where parsing stopped
  int32_t stopped;          // "--" was seen
  int32_t first_done;       // a positional argument was seen
};

// Results of parsing besides 0.
enum xp_arg_result : int32_t {
  XARG_E_UNWANTED = 1,    // a positional argument, and no record for it
  XARG_E_UNKNOWN = -1,    // unknown or ambiguous name, unknown letter, not a keyword of the list
  XARG_E_SEPARATOR = -2,  // a positional argument with a separator; a failed short callback
  XARG_E_NO_VALUE = -3,   // the option needs a value and is the last argument
  XARG_E_ONE_DASH = -4,   // a long name written with one dash
  XARG_E_TYPE = -5,       // a type that the form doesn't support
};

// A parser over `count` records; null when memory is out. The records and argv stay the caller's
// and must outlive it.
xp_args* xp_args_new(const xp_arg_option* options, int32_t count, void* context, int32_t argc,
                     const char* const* argv);
// Parses all arguments behind argv[0]. 0, or the first failure, which ends parsing: `index` then
// stands at the argument in question, and what was stored before stays.
int32_t xp_args_parse(xp_args* args);
// One argument each, without its dashes.
int32_t xp_arg_long(xp_args* args, const char* text);
int32_t xp_arg_short(xp_args* args, const char* text);
int32_t xp_arg_positional(xp_args* args, const char* text);

// Prints the usage text, wrapped to the stream's width (80 when it has none). `program` null:
// argv[0]. Null `args` prints nothing.
void xp_arg_usage(xp_args* args, const char* program, xp_stream* stream);
