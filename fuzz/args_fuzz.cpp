// Any lines as the arguments of the program's own option table, and of a table with every type:
// parsing ends, what it stored can be released, and the usage text prints.
#include <string>
#include <vector>

#include "cmdline/xp_args.h"
#include "fuzz/fuzz_text.h"
#include "object/xp_ref.h"
#include "tests/support/memory_stream.h"
#include "update/ruvo_options.h"

namespace {

// The lines as argv: each in a block of its own, so that reading beyond one is seen.
struct argument_vector {
  argument_vector(const uint8_t* bytes, size_t size) {
    const std::string lines(reinterpret_cast<const char*>(bytes), size);
    add("ruvo");
    for (size_t at = 0; at < lines.size();) {
      const size_t feed = lines.find('\n', at);
      const size_t end = feed == std::string::npos ? lines.size() : feed;
      add(lines.substr(at, end - at));
      at = end + 1;
    }
    pointers.push_back(nullptr);
  }
  argument_vector(const argument_vector&) = delete;
  argument_vector& operator=(const argument_vector&) = delete;
  ~argument_vector() {
    for (const fuzz_text* text : texts)
      delete text;
  }

  void add(const std::string& line) {
    texts.push_back(new fuzz_text(reinterpret_cast<const uint8_t*>(line.data()), line.size()));
    pointers.push_back(texts.back()->get());
  }
  int32_t count() const { return static_cast<int32_t>(texts.size()); }

  std::vector<const fuzz_text*> texts;
  std::vector<const char*> pointers;
};

void parse(const xp_arg_option* options, int32_t count, const argument_vector& arguments) {
  const xp_ref args(
      xp_args_new(options, count, nullptr, arguments.count(), arguments.pointers.data()));
  const int32_t result = xp_args_parse(args.get());
  // A "--" at the end is passed with the argument behind it, which isn't there.
  if (args->index < 0 || args->index > arguments.count() + 1) abort();
  // A failure stands at the argument in question, which a caller prints.
  if (result != 0 && args->index >= arguments.count()) abort();
  const xp_ref stream(memory_stream_new(""));
  if (xp_stream_open(stream.get(), STREAM_MODE_WRITE) != 0) abort();
  xp_arg_usage(args.get(), nullptr, stream.get());
  if (stream->written->empty()) abort();
  xp_stream_close(stream.get());
}

void parse_as_program(const argument_vector& arguments) {
  ruvo_state state = {};
  xp_arg_option options[RUVO_OPTION_COUNT];
  ruvo_fill_options(options, &state);
  parse(options, RUVO_OPTION_COUNT, arguments);
  for (xp_object* object :
       {static_cast<xp_object*>(state.url), state.proxy, static_cast<xp_object*>(state.name),
        static_cast<xp_object*>(state.file), static_cast<xp_object*>(state.version),
        static_cast<xp_object*>(state.digest), static_cast<xp_object*>(state.instpath),
        state.notify, static_cast<xp_object*>(state.settings_file),
        static_cast<xp_object*>(state.properties)})
    xp_object_release(object);
}

void parse_every_type(const argument_vector& arguments) {
  int32_t number = 0;
  double real = 0;
  const char* raw = nullptr;
  xp_object* objects[8] = {};
  const xp_arg_option options[] = {
      {"number", 'n', XARG_INT, &number, "h", nullptr},
      {"raw", 'r', XARG_RAW, &raw, "h", nullptr},
      {"flag", 'f', XARG_FLAG, &number, "h", nullptr},
      {"off", 'o', XARG_FLAG_OFF, &number, "h", nullptr},
      {"real", 'R', XARG_FLOAT, &real, "h", nullptr},
      {"tag", 't', XARG_TAG, &number, "h", nullptr},
      {"count", 'c', XARG_COUNT, &number, "h", nullptr},
      {"string", 's', XARG_STRING, &objects[0], "h", nullptr},
      {"string-slash", 'S', XARG_STRING_SLASH, &objects[1], "h", nullptr},
      {"path", 'p', XARG_PATH, &objects[2], "h", nullptr},
      {"path-slash", 'P', XARG_PATH_SLASH, &objects[3], "h", nullptr},
      {"num", 'N', XARG_NUMBER, &objects[4], "h", nullptr},
      {"array", 'a', XARG_PATH | XARG_ARRAY, &objects[5], "h", nullptr},
      {"list", 'l', XARG_NUMBER | XARG_LIST, &objects[6], "h", nullptr},
      {"ignored", 'i', XARG_IGNORE, &number, "h", nullptr},
      {nullptr, XARG_FIRST, XARG_RAW, &raw, "start|stop", nullptr},
      {nullptr, XARG_REST, XARG_STRING | XARG_LIST, &objects[7], nullptr, nullptr},
  };
  parse(options, sizeof options / sizeof *options, arguments);
  for (xp_object* object : objects)
    xp_object_release(object);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const argument_vector arguments(bytes, size);
  parse_as_program(arguments);
  parse_every_type(arguments);
  return 0;
}
