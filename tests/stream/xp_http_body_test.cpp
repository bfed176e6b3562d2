#include "stream/xp_http_body.h"

#include <string>

#include "object/xp_ref.h"
#include "tests/support/fakes.h"
#include "tests/support/memory_stream.h"

namespace {

struct body_reading {
  // Reads to the end in reads of `length` bytes over a stream that gives at most `piece` a time.
  body_reading(const std::string& framed, int64_t size, int32_t length = 100, int32_t piece = 0) {
    const xp_ref<memory_stream> inner(memory_stream_new(framed));
    inner->most_per_read = piece;
    EXPECT_EQ(xp_stream_open(inner.get(), 0), XP_OK);
    const xp_ref<xp_stream> body(xp_http_transfer_new(inner.get(), size));
    EXPECT_EQ(xp_stream_open(body.get(), 0), XP_OK);
    std::string buffer(static_cast<size_t>(length), '?');
    while ((code = xp_stream_read(body.get(), buffer.data(), length)) > 0)
      bytes.append(buffer, 0, static_cast<size_t>(code));
    rest = framed.substr(static_cast<size_t>(inner->position));
    again = code == 0 ? xp_stream_read(body.get(), buffer.data(), length) : 0;
    xp_stream_close(body.get());
    xp_stream_close(inner.get());
  }
  std::string bytes;
  std::string rest;  // left in the inner stream
  int32_t code;      // that ended it
  int32_t again;     // of one more read after an orderly end
};

struct chunk_row {
  const char* framed;
  const char* bytes;
  int32_t code;
  const char* rest;
};

constexpr chunk_row chunk_rows[] = {
    {"5\r\nhello\r\n0\r\n\r\n", "hello", 0, ""},
    {"5;x=y\r\nhello\r\n0;z\r\n\r\nnext", "hello", 0, "next"},
    {"A\r\n0123456789\r\na\r\n0123456789\r\n0\r\n\r\n", "01234567890123456789", 0, ""},
    {"0\r\nH: v\r\nI: w\r\n\r\nrest", "", 0, "rest"},
    {"0\r\n\rx\r\n\r\nrest", "", 0, "rest"},
    {"000005\r\nhello\r\n0\r\n\r\n", "hello", 0, ""},
    {"5\r\nhelloX", "hello", -1, ""},
    {"5\r\nhello\rX", "hello", -1, ""},
    {"5 \r\nhello", "", -1, "\r\nhello"},
    {"g\r\n", "", -1, "\r\n"},
    {"5\rX", "", -1, ""},
    {"-5\r\n", "", -1, "5\r\n"},
    {"7fffffffffffffff\r\nhello", "hello", 0, ""},
    {"8000000000000000\r\nhello", "", -1, "\r\nhello"},
    {"10000000000000005\r\nhello", "", -1, "\r\nhello"},
    // Cut short by the peer: a plain end.
    {"", "", 0, ""},
    {"5", "", 0, ""},
    {"5\r\nhel", "hel", 0, ""},
    {"5\r\nhello", "hello", 0, ""},
    {"0\r\nH", "", 0, ""},
};

TEST(XpHttpBody, TakesTheFramingOfChunksOff) {
  for (const chunk_row& row : chunk_rows)
    for (const int32_t length : {1, 3, 100}) {
      const body_reading reading(row.framed, -1, length);
      EXPECT_EQ(reading.bytes, row.bytes) << row.framed << " by " << length;
      EXPECT_EQ(reading.code, row.code) << row.framed << " by " << length;
      if (row.code == 0) {
        EXPECT_EQ(reading.rest, row.rest) << row.framed << " by " << length;
      }
      EXPECT_EQ(reading.again, 0) << row.framed;
    }
}

TEST(XpHttpBody, PassesAnExtensionOfAnyLength) {
  const std::string framed = "5;" + std::string(1000000, 'x') + "\r\nhello\r\n0\r\n\r\n";
  EXPECT_EQ(body_reading(framed, -1).bytes, "hello");
}

TEST(XpHttpBody, CountsABodyOfKnownLength) {
  for (const int32_t piece : {0, 1, 2}) {
    const body_reading reading("hello next", 5, 100, piece);
    EXPECT_EQ(reading.bytes, "hello");
    EXPECT_EQ(reading.rest, " next");
    EXPECT_EQ(reading.code + reading.again, 0);
  }
  const body_reading cut("hel", 5);
  EXPECT_EQ(cut.bytes, "hel");
  EXPECT_EQ(cut.code + cut.again, 0) << "cut short by the peer";
}

TEST(XpHttpBody, TellsWhatIsToCome) {
  const xp_ref<memory_stream> inner(memory_stream_new("hello"));
  ASSERT_EQ(xp_stream_open(inner.get(), 0), XP_OK);
  EXPECT_EQ(xp_http_transfer_new(inner.get(), 0), nullptr);
  const xp_ref<xp_stream> counted(xp_http_transfer_new(inner.get(), int64_t{1} << 40));
  const xp_ref<xp_stream> chunked(xp_http_transfer_new(inner.get(), -7));
  EXPECT_EQ(xp_stream_open(counted.get(), STREAM_MODE_WRITE), XP_E_STREAM);
  ASSERT_EQ(xp_stream_open(counted.get(), 0), XP_OK);
  ASSERT_EQ(xp_stream_open(chunked.get(), 0), XP_OK);
  char buffer[3];
  EXPECT_EQ(xp_stream_read(counted.get(), buffer, 3), 3);
  int64_t size = 0;
  EXPECT_EQ(xp_stream_size(counted.get(), &size), XP_OK);
  EXPECT_EQ(size, (int64_t{1} << 40) - 3);
  EXPECT_EQ(xp_stream_size(chunked.get(), &size), XP_OK);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(xp_stream_write(counted.get(), "x", 1), XP_E_STREAM);
  EXPECT_EQ(xp_stream_rewind(counted.get()), XP_E_STREAM);
  EXPECT_EQ(counted->control, nullptr);
  xp_stream_close(inner.get());
  EXPECT_EQ(xp_stream_read(counted.get(), buffer, 3), XP_E_STREAM) << "closed underneath";
  EXPECT_EQ(xp_stream_read(counted.get(), buffer, 3), 0);
}

}  // namespace
