#include <string>

#include "cmdline/xp_args.h"
#include "object/xp_ref.h"
#include "tests/support/memory_stream.h"
#include "update/ruvo_options.h"

#include <gtest/gtest.h>

namespace {

int32_t console_width;

int32_t width_option(xp_stream*, int32_t selector, void* argument) {
  if (selector != STREAM_OPTION_WIDTH) return XP_E_STREAM;
  *static_cast<int32_t*>(argument) = console_width;
  return 0;
}

std::string usage(const xp_arg_option* options, int32_t count, const char* program, int32_t width) {
  const char* const argv[] = {"argv0", nullptr};
  xp_ref args(xp_args_new(options, count, nullptr, 1, argv));
  xp_ref stream(memory_stream_new(""));
  console_width = width;
  if (width) stream->option = width_option;
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  xp_arg_usage(args.get(), program, stream.get());
  xp_stream_close(stream.get());
  return *stream->written;
}

}  // namespace

TEST(Usage, OfTheProgramIsThisText) {
  ruvo_state state = {};
  xp_arg_option options[RUVO_OPTION_COUNT];
  ruvo_fill_options(options, &state);
  EXPECT_EQ(usage(options, RUVO_OPTION_COUNT, "ruvo", 0),
            R"(Usage: ruvo [-qrx?] [--url=string | -u string] [--proxy=string | -p string]
   [--name=string | -n string] [--file=path | -f path] [--version=string |
   -v string] [--digest=string | -d string] [--instpath=string | -w string]
   [--mode=integer | -m integer] [--quiet] [--loglevel=integer | -l integer]
   [--verify] [--notify=string | -t string] [--result] [-X path] [--help]
   [properties]
Options:
   -u string, --url=string        URL of installer
   -p string, --proxy=string      Proxy server
   -n string, --name=string       Canonical name of installer
   -f path, --file=path           Local MSI installer
   -v string, --version=string    Version of installer
   -d string, --digest=string     sha256 digest of installer
   -w string, --instpath=string   system path for installed version
   -m integer, --mode=integer     install mode
   -q, --quiet                    suppress output
   -l integer, --loglevel=integer record activity in system logs
   --verify                       verify only
   -t string, --notify=string     attempt to notify user after install
   -r, --result                   return error code as process result
   -x                             read settings from stdin (xml plist format)
   -X path                        read settings from file (xml plist format)
   -?, --help                     print usage
)");
}

TEST(Usage, WrapsBetweenPiecesOnly) {
  int32_t value = 0;
  const xp_arg_option options[] = {
      {nullptr, XARG_FIRST, XARG_INT, &value, "a,b", nullptr},
      {"colour", 0, XARG_FLAG_OFF, &value, "no colours", nullptr},
      {"depth", 'd', XARG_COUNT, &value, "more", "N"},
  };
  EXPECT_EQ(usage(options, 3, nullptr, 20), R"(Usage: argv0
   {command}
   [--no-colour]
   [--depth=N | -d]
   [properties]
Options:
   command       a,b
   --no-colour   no colours
   -d, --depth=N more
)");
}

TEST(Usage, OfNothingIsNothing) {
  xp_ref stream(memory_stream_new(""));
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  xp_arg_usage(nullptr, "x", stream.get());
  EXPECT_EQ(*stream->written, "");
}
