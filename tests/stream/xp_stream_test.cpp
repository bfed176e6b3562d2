#include "stream/xp_stream.h"

#include <string.h>

#include <string>

#include "object/xp_ref.h"
#include "tests/support/fakes.h"

namespace {

// A stream that notes which slots were reached and keeps what was written.
struct noting_stream : xp_stream {
  int32_t opens, closes, reads, rewinds, options;
  uint32_t last_mode;
  int32_t open_result;
  char written[64];
  int32_t used;
};

noting_stream* noting(xp_stream* stream) {
  return static_cast<noting_stream*>(stream);
}

int32_t noting_write(xp_stream* stream, const void* bytes, int32_t length) {
  memcpy(noting(stream)->written + noting(stream)->used, bytes, static_cast<size_t>(length));
  noting(stream)->used += length;
  return length;
}

xp_ref<noting_stream> make_noting() {
  auto* stream = xp_object_new<noting_stream>(xp_tag("test"));
  stream->open = [](xp_stream* s, uint32_t mode) {
    noting(s)->opens++;
    noting(s)->last_mode = mode;
    return noting(s)->open_result;
  };
  stream->close = [](xp_stream* s) { return ++noting(s)->closes; };
  stream->read = [](xp_stream* s, void*, int32_t length) {
    noting(s)->reads++;
    return length;
  };
  stream->write = noting_write;
  stream->size = [](xp_stream*, int64_t* out) -> int32_t {
    *out = 7;
    return 0;
  };
  stream->rewind = [](xp_stream* s) -> int32_t {
    noting(s)->rewinds++;
    return 0;
  };
  stream->option = [](xp_stream* s, int32_t, void*) -> int32_t {
    noting(s)->options++;
    return 0;
  };
  stream->control = xp_stream_is_stream;
  return xp_ref(stream);
}

std::string written(const xp_ref<noting_stream>& stream) {
  return std::string(stream->written, static_cast<size_t>(stream->used));
}

}  // namespace

TEST(Stream, ReadersNestBelowZeroAndTheLastOneClosesOnce) {
  auto stream = make_noting();
  EXPECT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(stream->open_count, -2);
  EXPECT_EQ(stream->opens, 1);
  xp_stream_close(stream.get());
  EXPECT_EQ(stream->closes, 0);
  xp_stream_close(stream.get());
  xp_stream_close(stream.get());
  EXPECT_EQ(stream->closes, 1);
  EXPECT_EQ(stream->open_count, 0);
}

TEST(Stream, AReaderJoinsAWriterButNoWriterJoinsAReader) {
  auto stream = make_noting();
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE | STREAM_MODE_APPEND), 0);
  EXPECT_EQ(stream->last_mode, STREAM_MODE_WRITE | STREAM_MODE_APPEND);
  EXPECT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(stream->open_count, 2);
  EXPECT_EQ(xp_stream_write(stream.get(), "x", 1), 1);
  xp_stream_close(stream.get());
  xp_stream_close(stream.get());
  EXPECT_EQ(stream->closes, 1);

  EXPECT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), XP_E_STREAM);
  EXPECT_EQ(stream->open_count, -1);
}

TEST(Stream, AFailedOpenLeavesTheStreamClosed) {
  auto stream = make_noting();
  stream->open_result = XP_E_NOT_FOUND;
  EXPECT_EQ(xp_stream_open(stream.get(), 0), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), XP_E_NOT_FOUND);
  EXPECT_EQ(stream->open_count, 0);
  EXPECT_EQ(xp_stream_open(nullptr, 0), XP_E_STREAM);
  EXPECT_EQ(xp_stream_open(nullptr, STREAM_MODE_WRITE), XP_E_STREAM);
}

TEST(Stream, SlotsAreReachedOnlyOnOpenStreamsInTheRightDirection) {
  auto stream = make_noting();
  char buffer[4];
  int64_t size = 99;
  EXPECT_EQ(xp_stream_read(stream.get(), buffer, 4), XP_E_STREAM);
  EXPECT_EQ(xp_stream_rewind(stream.get()), XP_E_STREAM);
  EXPECT_EQ(xp_stream_size(stream.get(), &size), XP_E_STREAM);
  EXPECT_EQ(size, 99);
  ASSERT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(xp_stream_write(stream.get(), "x", 1), XP_E_STREAM);
  EXPECT_EQ(stream->used, 0);
  EXPECT_EQ(xp_stream_read(stream.get(), buffer, 4), 4);
  EXPECT_EQ(xp_stream_size(stream.get(), &size), 0);
  EXPECT_EQ(size, 7);
  EXPECT_EQ(xp_stream_rewind(stream.get()), 0);
  stream->rewind = nullptr;
  EXPECT_EQ(xp_stream_rewind(stream.get()), XP_E_STREAM);
  xp_stream_close(stream.get());
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_write(stream.get(), nullptr, 1), XP_E_STREAM);
  EXPECT_EQ(xp_stream_read(nullptr, buffer, 4), XP_E_STREAM);
  EXPECT_EQ(xp_stream_write(nullptr, "x", 1), XP_E_STREAM);
  xp_stream_close(nullptr);
}

TEST(Stream, OptionsReachClosedStreamsAndAnEmptySlotIsUnknown) {
  auto stream = make_noting();
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_FLAGS, nullptr), 0);
  EXPECT_EQ(stream->options, 1);
  stream->option = nullptr;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_FLAGS, nullptr), XP_E_STREAM);
  EXPECT_EQ(xp_stream_option(nullptr, STREAM_OPTION_FLAGS, nullptr), XP_E_STREAM);
}

TEST(Stream, ControlSpeaksTheStreamProtocolAlone) {
  auto stream = make_noting();
  EXPECT_TRUE(xp_object_supports(stream.get(), XP_STREAM_PROTOCOL));
  EXPECT_FALSE(xp_object_supports(stream.get(), xp_tag("trav")));
  EXPECT_EQ(xp_object_control(stream.get(), XP_CTL_EMPTY, XP_STREAM_PROTOCOL, nullptr), 0u);
}

TEST(Stream, PrintfOfOneCharacterNeedsNoEngine) {
  auto stream = make_noting();
  heap_watch watch;
  EXPECT_EQ(xp_stream_printf(stream.get(), ""), 0);
  EXPECT_EQ(xp_stream_printf(stream.get(), nullptr), 0);
  EXPECT_EQ(xp_stream_printf(stream.get(), "\n"), XP_E_STREAM);
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_printf(stream.get(), "\n"), 1);
  EXPECT_EQ(xp_stream_printf(stream.get(), "%"), 1);
  EXPECT_EQ(written(stream), "\n%");
  EXPECT_EQ(watch.asked(), 0);
}

TEST(Stream, PrintfWritesTheFormattedTextOrNothing) {
  auto stream = make_noting();
  EXPECT_EQ(xp_stream_printf(stream.get(), "%d%%", 7), XP_E_STREAM);
  EXPECT_EQ(xp_stream_printf(nullptr, "%d%%", 7), XP_E_STREAM);
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_printf(stream.get(), "%s is %d%%", "half", 50), 11);
  EXPECT_EQ(written(stream), "half is 50%");
  heap_watch watch;
  watch.fail_after(0);
  EXPECT_EQ(xp_stream_printf(stream.get(), "%d!", 1), XP_E_STREAM);
  EXPECT_EQ(written(stream), "half is 50%");
}
