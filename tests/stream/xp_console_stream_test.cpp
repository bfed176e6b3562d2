#include "stream/xp_console_stream.h"

#include <string>

#include "object/xp_ref.h"
#include "tests/support/fakes.h"

namespace {

// One console for all three handles.
struct {
  bool is_console;
  int32_t columns;
  std::u16string input;       // what read_wide has to give
  std::string input_bytes;    // what read_bytes has to give
  std::u16string wide;        // what write_wide took
  std::string bytes;          // what write_bytes took
  uint32_t most_bytes;        // bytes that write_bytes takes at once
  size_t broken_after;        // bytes until write_bytes fails
  uint32_t most_units;        // units that write_wide takes at once, else out of memory
  int32_t wide_calls;         // calls of write_wide so far
  int32_t wide_fails_at;      // call of write_wide that fails for good
  xp_console_status flushed;  // what flush gives
  int32_t flushes;
  xp_console_handle last;
} screen;

xp_console_status fake_read_wide(xp_console_handle, char16_t* out, uint32_t units, uint32_t* done) {
  *done = 0;
  if (screen.input.empty()) return XP_CONSOLE_FAILED;
  *done = static_cast<uint32_t>(screen.input.copy(out, units));
  screen.input.erase(0, *done);
  return XP_CONSOLE_OK;
}

xp_console_status fake_write_wide(xp_console_handle handle, const char16_t* wide, uint32_t units,
                                  uint32_t* done) {
  screen.last = handle;
  *done = 0;
  if (++screen.wide_calls == screen.wide_fails_at) return XP_CONSOLE_FAILED;
  if (units > screen.most_units) return XP_CONSOLE_OUT_OF_MEMORY;
  screen.wide.append(wide, units);
  *done = units;
  return XP_CONSOLE_OK;
}

xp_console_status fake_read_bytes(xp_console_handle, void* out, uint32_t length, uint32_t* done) {
  *done = static_cast<uint32_t>(screen.input_bytes.copy(static_cast<char*>(out), length));
  screen.input_bytes.erase(0, *done);
  return XP_CONSOLE_OK;
}

xp_console_status fake_write_bytes(xp_console_handle handle, const void* bytes, uint32_t length,
                                   uint32_t* done) {
  screen.last = handle;
  *done = length < screen.most_bytes ? length : screen.most_bytes;
  if (screen.bytes.size() + *done > screen.broken_after) {
    *done = 0;
    return XP_CONSOLE_FAILED;
  }
  screen.bytes.append(static_cast<const char*>(bytes), *done);
  return XP_CONSOLE_OK;
}

struct ConsoleStream : testing::Test {
  ConsoleStream() {
    screen = {};
    screen.is_console = true;
    screen.most_bytes = screen.most_units = 0x7FFFFFFF;
    screen.broken_after = 0x7FFFFFFF;
    fake.console = {.is_console = [](xp_console_handle) { return screen.is_console; },
                    .read_wide = fake_read_wide,
                    .write_wide = fake_write_wide,
                    .read_bytes = fake_read_bytes,
                    .write_bytes = fake_write_bytes,
                    .flush = [](xp_console_handle) { return screen.flushes++, screen.flushed; },
                    .width = [](xp_console_handle) { return screen.columns; }};
  }
  fake_platform fake;
  xp_ref<xp_stream> in{xp_console_input_new()};
  xp_ref<xp_stream> out{xp_console_output_new(XP_CONSOLE_KIND_ERROR)};
};

std::string read_of(xp_stream* stream, int32_t length) {
  char buffer[64];
  const int32_t got = xp_stream_read(stream, buffer, length);
  return got < 0 ? "failed" : std::string(buffer, static_cast<size_t>(got));
}

}  // namespace

TEST_F(ConsoleStream, DirectionsThatHaveNoMeaningAreRefused) {
  EXPECT_EQ(xp_stream_open(in.get(), STREAM_MODE_WRITE), XP_E_STREAM);
  EXPECT_EQ(xp_stream_open(out.get(), 0), XP_E_STREAM);
  ASSERT_EQ(xp_stream_open(in.get(), 0), 0);
  ASSERT_EQ(xp_stream_open(out.get(), STREAM_MODE_WRITE), 0);
  char byte;
  EXPECT_EQ(in->write(in.get(), "x", 1), XP_E_STREAM);
  EXPECT_EQ(xp_stream_read(out.get(), &byte, 1), XP_E_STREAM);
  EXPECT_EQ(xp_stream_rewind(in.get()), XP_E_STREAM);
  EXPECT_EQ(xp_stream_rewind(out.get()), XP_E_STREAM);
  EXPECT_EQ(xp_stream_option(in.get(), STREAM_OPTION_WIDTH, nullptr), XP_E_STREAM);
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_TELL, nullptr), XP_E_STREAM);
  int64_t size = 0;
  EXPECT_EQ(xp_stream_size(in.get(), &size), 0);
  EXPECT_EQ(size, -1);
}

TEST_F(ConsoleStream, ACharacterThatDoesNotFitWaitsForTheNextRead) {
  ASSERT_EQ(xp_stream_open(in.get(), 0), 0);
  screen.input = u"\u20ACa\u00E9";
  EXPECT_EQ(read_of(in.get(), 2), "\xE2\x82");
  EXPECT_EQ(read_of(in.get(), 2),
            "\xAC"
            "a");
  EXPECT_EQ(read_of(in.get(), 0), "");
  EXPECT_EQ(read_of(in.get(), 60), "\xC3\xA9");
  EXPECT_EQ(read_of(in.get(), 60), "");
}

TEST_F(ConsoleStream, HalvesOfASurrogatePairAreReplacedOneByOne) {
  ASSERT_EQ(xp_stream_open(in.get(), 0), 0);
  screen.input = u"\U0001F600";
  EXPECT_EQ(read_of(in.get(), 60), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST_F(ConsoleStream, RedirectedInputGivesItsBytesAndAFailureIsTheEnd) {
  ASSERT_EQ(xp_stream_open(in.get(), 0), 0);
  screen.is_console = false;
  screen.input_bytes = "\xE2\x82\xAC\xFF";
  EXPECT_EQ(read_of(in.get(), 2), "\xE2\x82");
  EXPECT_EQ(read_of(in.get(), 60), "\xAC\xFF");
  EXPECT_EQ(read_of(in.get(), 60), "");
  fake.console.read_bytes = [](xp_console_handle, void*, uint32_t, uint32_t*) {
    return XP_CONSOLE_FAILED;
  };
  EXPECT_EQ(read_of(in.get(), 60), "");
}

TEST_F(ConsoleStream, AConsoleGetsUtf16AndTheResultCountsBytes) {
  ASSERT_EQ(xp_stream_open(out.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_write(out.get(), "\xE2\x82\xAC\xF0\x9F\x98\x80\xC3\xA9!", 10), 10);
  EXPECT_EQ(screen.wide, u"\u20AC\U0001F600\u00E9!");
  EXPECT_EQ(screen.last, XP_CONSOLE_ERROR);
  EXPECT_EQ(xp_stream_write(out.get(), "", 0), 0);
  screen.wide_fails_at = 2;
  EXPECT_EQ(xp_stream_write(out.get(), "abc", 3), 0);
  xp_ref standard(xp_console_output_new(XP_CONSOLE_KIND_OUTPUT));
  ASSERT_EQ(xp_stream_open(standard.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_write(standard.get(), "abc", 3), 3);
  EXPECT_EQ(screen.last, XP_CONSOLE_OUTPUT);
}

TEST_F(ConsoleStream, ATextTooLongForOneCallGoesOutInSixteenths) {
  ASSERT_EQ(xp_stream_open(out.get(), STREAM_MODE_WRITE), 0);
  screen.most_units = 16;
  const std::string text(100, 'a');
  EXPECT_EQ(xp_stream_write(out.get(), text.data(), 100), 100);
  EXPECT_EQ(screen.wide, std::u16string(100, u'a'));
  EXPECT_EQ(screen.wide_calls, 1 + 15);  // 14 pieces of 7 and one of 2
  screen.wide_fails_at = screen.wide_calls + 5;
  EXPECT_EQ(xp_stream_write(out.get(), text.data(), 100), 0);
}

TEST_F(ConsoleStream, RedirectedOutputGetsAllBytesUntilAWriteFails) {
  ASSERT_EQ(xp_stream_open(out.get(), STREAM_MODE_WRITE), 0);
  screen.is_console = false;
  screen.most_bytes = 3;
  EXPECT_EQ(xp_stream_write(out.get(), "\xE2\x82\xAC\xFFx", 5), 5);
  EXPECT_EQ(screen.bytes, "\xE2\x82\xAC\xFFx");
  screen.broken_after = 11;
  EXPECT_EQ(xp_stream_write(out.get(), "0123456789", 10), 6);
  fake.console.write_bytes = [](xp_console_handle, const void*, uint32_t, uint32_t* done) {
    *done = 0;  // takes nothing and says that all is well
    return XP_CONSOLE_OK;
  };
  EXPECT_EQ(xp_stream_write(out.get(), "abc", 3), 0);
}

TEST_F(ConsoleStream, PushAndWidthAnswerForTheHandleOfTheMoment) {
  int32_t answer = 5;
  screen.columns = 120;
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_WIDTH, &answer), 0);
  EXPECT_EQ(answer, 120);
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_PUSH, &answer), 0);
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(screen.flushes, 0);
  screen.is_console = false;
  screen.columns = 0;
  screen.flushed = XP_CONSOLE_FAILED;
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_WIDTH, &answer), 0);
  EXPECT_EQ(answer, 80);
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_PUSH, &answer), 0);
  EXPECT_EQ(answer, -1);
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_PUSH, nullptr), 0);
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_WIDTH, nullptr), 0);
  EXPECT_EQ(screen.flushes, 2);
  ASSERT_EQ(xp_stream_open(out.get(), STREAM_MODE_WRITE), 0);
  xp_stream_close(out.get());
  EXPECT_EQ(screen.flushes, 3);
}

TEST(ConsoleStreamMemory, EveryAllocationMayFail) {
  fake_platform fake;
  fake.console.is_console = [](xp_console_handle) { return true; };
  fake.console.write_wide = fake_write_wide;
  screen = {};
  screen.most_units = 100;
  sweep_allocations([](heap_watch& watch) {
    xp_ref input(xp_console_input_new());
    xp_ref output(xp_console_output_new(XP_CONSOLE_KIND_ERROR));
    if (!input || !output) {
      EXPECT_TRUE(watch.failed());
      return;
    }
    ASSERT_EQ(xp_stream_open(output.get(), STREAM_MODE_WRITE), 0);
    const int32_t written = xp_stream_write(output.get(), "abc", 3);
    EXPECT_EQ(written, watch.failed() ? 0 : 3);
  });
}
