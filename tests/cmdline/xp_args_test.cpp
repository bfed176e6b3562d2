#include "cmdline/xp_args.h"

#include <string>
#include <vector>

#include "object/xp_array.h"
#include "object/xp_list.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "paths/xp_path.h"
#include "tests/support/fakes.h"

namespace {

// A table with an option of each type, and what it stores.
struct everything {
  int32_t number = -1;
  const char* raw = nullptr;
  int32_t flag = -1;
  int32_t off = -1;
  double real = -1;
  uint32_t tag = 0;
  int32_t count = 0;
  xp_object* string = nullptr;
  xp_object* slashed = nullptr;
  xp_object* path = nullptr;
  xp_object* num = nullptr;
  xp_object* array = nullptr;
  xp_object* list = nullptr;
  int32_t ignored = -1;
  xp_object* rest = nullptr;

  ~everything() {
    for (xp_object* object : {string, slashed, path, num, array, list, rest})
      xp_object_release(object);
  }

  struct outcome {
    int32_t result;
    int32_t index;
  };

  outcome parse(std::vector<const char*> arguments) {
    const xp_arg_option options[] = {
        {"number", 'n', XARG_INT, &number, "h", nullptr},
        {"raw", 'r', XARG_RAW, &raw, "h", nullptr},
        {"flag", 'f', XARG_FLAG, &flag, "h", nullptr},
        {"off", 'o', XARG_FLAG_OFF, &off, "h", nullptr},
        {"real", 'R', XARG_FLOAT, &real, "h", nullptr},
        {"tag", 't', XARG_TAG, &tag, "h", nullptr},
        {"count", 'v', XARG_COUNT, &count, "h", nullptr},
        {"string", 's', XARG_STRING, &string, "h", nullptr},
        {"stringslash", 'S', XARG_STRING_SLASH, &slashed, "h", nullptr},
        {"path", 'p', XARG_PATH, &path, "h", nullptr},
        {"pathslash", 'P', XARG_PATH_SLASH, &path, "h", nullptr},
        {"num", 'N', XARG_NUMBER, &num, "h", nullptr},
        {"array", 'a', XARG_STRING | XARG_ARRAY, &array, "h", nullptr},
        {"list", 'l', XARG_STRING | XARG_LIST, &list, "h", nullptr},
        {"ignored", 'i', XARG_IGNORE, &ignored, "h", nullptr},
        {"hidden", 'h', XARG_FLAG, nullptr, "no target", nullptr},
        {"unused", 'u', 4, &ignored, "a type code that isn't in use", nullptr},
        {nullptr, XARG_REST, XARG_STRING | XARG_ARRAY, &rest, nullptr, nullptr},
    };
    arguments.insert(arguments.begin(), "program");
    const auto argc = static_cast<int32_t>(arguments.size());
    arguments.push_back(nullptr);
    xp_ref args(xp_args_new(options, sizeof(options) / sizeof(options[0]), nullptr, argc,
                            arguments.data()));
    if (!args) return {-1000, 0};
    const int32_t result = xp_args_parse(args.get());
    return {result, args->index};
  }
};

std::string text_of(xp_object* object) {
  if (!object) return "(null)";
  xp_ref text(xp_str_from_object(object));
  return text ? text->text : "(no memory)";
}

}  // namespace

TEST(Args, EachTypeStoresItsValue) {
  everything e;
  EXPECT_EQ(e.parse({"--number=0x1G0", "-r", "raw", "-f", "-o", "--real=2.5", "--tag=a_b-cdef",
                     "-vv", "--count=3", "--string", "text", "-Sa/b", "-N=7", "--num=7", "-a1",
                     "--array=2", "-l", "x", "--ignored"})
                .result,
            0);
  EXPECT_EQ(e.number, 0x10);  // characters that are no digits are passed over
  EXPECT_STREQ(e.raw, "raw");
  EXPECT_EQ(e.flag, 1);
  EXPECT_EQ(e.off, 0);
  EXPECT_EQ(e.real, 2.5);
  EXPECT_EQ(e.tag, xp_tag("abcd"));
  EXPECT_EQ(e.count, 5);
  EXPECT_EQ(text_of(e.string), "text");
  EXPECT_EQ(text_of(e.slashed), "a\\b");
  EXPECT_EQ(text_of(e.num), "7");
  EXPECT_EQ(xp_array_count(xp_as_array(e.array)), 2);
  EXPECT_NE(e.list, nullptr);
  EXPECT_EQ(e.ignored, -1);
}

TEST(Args, NamesMatchByAbbreviationExactlyAndNegated) {
  struct {
    const char* argument;
    int32_t result;
    int32_t flag;
  } const rows[] = {
      {"--flag", 0, 1},
      {"--fl", 0, 1},
      {"--flag=yes", 0, 1},
      {"--flag=true", 0, 1},
      {"--flag=YES", 0, 0},  // the two words are case-sensitive
      {"--flag=no", 0, 0},
      {"--no-flag", 0, 0},
      {"--no-no-flag", 0, 1},
      {"--no-flag=no", 0, 1},
      {"--FLAG", XARG_E_UNKNOWN, -1},
      {"--flagg", XARG_E_UNKNOWN, -1},
      {"--no-string", XARG_E_UNKNOWN, -1},  // only flags take the prefix
      {"--hidden", XARG_E_UNKNOWN, -1},     // a record without a target isn't there
      {"--r", XARG_E_UNKNOWN, -1},          // raw and real
      {"-flag", XARG_E_ONE_DASH, -1},
      {"-f=1", XARG_E_UNKNOWN, 1},  // what was stored before stays
      {"-h", XARG_E_UNKNOWN, -1},
      {"--unused=1", XARG_E_TYPE, -1},
      {"-", 0, -1},
  };
  for (const auto& row : rows) {
    everything e;
    EXPECT_EQ(e.parse({row.argument}).result, row.result) << row.argument;
    EXPECT_EQ(e.flag, row.flag) << row.argument;
  }
}

TEST(Args, AnExactNameWinsOverAnAbbreviationBeforeIt) {
  everything e;
  // "string" is whole, and the start of "stringslash"; "num" is whole, and the start of "number".
  EXPECT_EQ(e.parse({"--string=a", "--num=3"}).result, 0);
  EXPECT_EQ(text_of(e.string), "a");
  EXPECT_EQ(text_of(e.num), "3");
  EXPECT_EQ(e.number, -1);
}

TEST(Args, ValuesAreTakenFromWhereTheyStand) {
  {
    everything e;  // a value may begin with a dash
    EXPECT_EQ(e.parse({"--string", "--flag"}).result, 0);
    EXPECT_EQ(text_of(e.string), "--flag");
    EXPECT_EQ(e.flag, -1);
  }
  {
    everything e;  // behind a letter, "=" belongs to the value
    EXPECT_EQ(e.parse({"-s=x"}).result, 0);
    EXPECT_EQ(text_of(e.string), "=x");
  }
  {
    everything e;  // a cluster ends at the first letter with a value
    EXPECT_EQ(e.parse({"-fvn2"}).result, 0);
    EXPECT_EQ(e.flag, 1);
    EXPECT_EQ(e.count, 1);
    EXPECT_EQ(e.number, 2);
  }
  {
    everything e;
    EXPECT_EQ(e.parse({"--number="}).result, 0);
    EXPECT_EQ(e.number, 0);
  }
  everything e;
  EXPECT_EQ(e.parse({"-f", "--number"}).result, XARG_E_NO_VALUE);
  const auto outcome = e.parse({"-f", "-n"});
  EXPECT_EQ(outcome.result, XARG_E_NO_VALUE);
  EXPECT_EQ(outcome.index, 2);
}

TEST(Args, TwoDashesEndTheOptions) {
  {
    everything e;
    EXPECT_EQ(e.parse({"a", "", "--", "b"}).result, 0);
    EXPECT_EQ(xp_array_count(xp_as_array(e.rest)), 2);  // the empty one counts, "b" is passed over
  }
  everything e;
  EXPECT_EQ(e.parse({"--"}).result, 0);
  const auto outcome = e.parse({"--", "a", "b"});
  EXPECT_NE(outcome.result, 0);
  EXPECT_EQ(outcome.index, 3);
}

TEST(Args, PathsAreSeenFromTheCurrentFolder) {
  everything e;
  xp_ref current(xp_path_known(xp_tag("curr")));
  EXPECT_EQ(e.parse({"-Psub/a.msi"}).result, 0);
  EXPECT_EQ(text_of(e.path), text_of(current.get()) + "\\sub\\a.msi");
  EXPECT_EQ(e.parse({"--path=C:\\x\\b.msi"}).result, 0);
  EXPECT_EQ(text_of(e.path), "C:\\x\\b.msi");
}

TEST(Args, KeywordsOfAPositionalArgument) {
  struct {
    uint8_t type;
    const char* argument;
    int32_t result;
    int32_t stored;
  } const rows[] = {
      {XARG_INT, "start", 0, 0},
      {XARG_INT, "stop", 0, 1},
      {XARG_INT, "state", 0, 2},
      {XARG_INT, "sto", XARG_E_UNKNOWN, -1},
      {XARG_INT, "op", XARG_E_UNKNOWN, -1},  // inside a word
      {XARG_INT, "start,stop", XARG_E_SEPARATOR, -1},
      {XARG_FLOAT, "stop", XARG_E_TYPE, -1},
  };
  for (const auto& row : rows) {
    int32_t stored = -1;
    const xp_arg_option option = {nullptr, XARG_FIRST,         row.type,
                                  &stored, "start,stop|state", nullptr};
    const char* const argv[] = {"p", row.argument, nullptr};
    xp_ref args(xp_args_new(&option, 1, nullptr, 2, argv));
    EXPECT_EQ(xp_args_parse(args.get()), row.result) << row.argument;
    EXPECT_EQ(stored, row.stored) << row.argument;
  }
  // Only the first positional argument goes to the first record.
  int32_t word = -1;
  const xp_arg_option option = {nullptr, XARG_FIRST, XARG_INT, &word, "a,b", nullptr};
  const char* const argv[] = {"p", "b", "a", nullptr};
  xp_ref args(xp_args_new(&option, 1, nullptr, 3, argv));
  EXPECT_EQ(xp_args_parse(args.get()), XARG_E_UNWANTED);
  EXPECT_EQ(word, 1);
}

namespace {

std::string call_log;

int32_t record_call(xp_args*, int32_t form, int32_t letter, int32_t, const char* const* argv,
                    int32_t* index, int32_t* offset, void* context) {
  call_log += std::to_string(form) + static_cast<char>(letter) + (argv[*index] + *offset) + ";";
  auto* consume = static_cast<int32_t*>(context);
  if (*consume < 0) return 1;
  if (form == XARG_FORM_SHORT) *offset = *consume ? 0 : *offset;
  return 0;
}

}  // namespace

TEST(Args, CallbacksSeeTheirTextAndSteerTheWalk) {
  int32_t consume = 0;
  int32_t flag = 0;
  const xp_arg_option options[] = {
      {"call", 'c', XARG_CALL, reinterpret_cast<void*>(record_call), "h", nullptr},
      {"flag", 'f', XARG_FLAG, &flag, "h", nullptr},
  };
  const char* const argv[] = {"p", "--call=x", "-fcf", nullptr};
  xp_ref args(xp_args_new(options, 2, &consume, 3, argv));
  call_log.clear();
  EXPECT_EQ(xp_args_parse(args.get()), 0);
  EXPECT_EQ(call_log, "0ccall=x;1ccf;");
  EXPECT_EQ(flag, 1);

  consume = 1;  // a callback that takes the rest of the cluster
  const char* const cluster[] = {"p", "-cZ", nullptr};
  xp_ref rest(xp_args_new(options, 2, &consume, 2, cluster));
  EXPECT_EQ(xp_args_parse(rest.get()), 0);

  consume = -1;
  EXPECT_EQ(xp_args_parse(rest.get()), XARG_E_SEPARATOR);
}

TEST(Args, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch&) {
    everything e;
    (void)e.parse({"-sx", "-Sa/b", "-N9", "-a1", "-l1", "--path=C:\\x\\y.msi", "rest"});
  });
}
