#include "stream/xp_connection.h"

#include <algorithm>
#include <string>

#include "object/xp_ref.h"
#include "tests/support/scripted_net.h"

namespace {

struct line_reader {
  line_reader() {
    const xp_ref<xp_str> name(xp_str_new("h:80"));
    connection.reset(xp_conn_stream_new(name.get()));
    EXPECT_EQ(xp_stream_open(connection.get(), STREAM_MODE_WRITE), XP_OK);
  }
  std::string line(int32_t limit = 100) {
    std::string buffer(static_cast<size_t>(limit), '?');
    const int32_t length = xp_conn_read_line(connection.get(), buffer.data(), limit);
    return length < 0 ? "<" + std::to_string(length) + ">"
                      : buffer.substr(0, static_cast<size_t>(length));
  }
  std::string read(int32_t length) {
    std::string buffer(static_cast<size_t>(length), '?');
    const int32_t got = xp_stream_read(connection.get(), buffer.data(), length);
    return got < 0 ? "<" + std::to_string(got) + ">" : buffer.substr(0, static_cast<size_t>(got));
  }
  xp_connection* fields() { return static_cast<xp_connection*>(connection.get()); }

  xp_ref<xp_stream> connection;
};

TEST(XpConnection, ServesLinesOfOneReadFromWhatItHolds) {
  scripted_net net;
  scripted_peer& peer = net.add("HTTP/1.1 200 OK\r\nA: b\r\n\r\nbody");
  line_reader reader;
  EXPECT_EQ(reader.line(), "HTTP/1.1 200 OK");
  EXPECT_EQ(reader.line(), "A: b");
  EXPECT_EQ(reader.line(), "");
  EXPECT_EQ(peer.receives, 1);
  EXPECT_EQ(reader.read(2), "bo");
  EXPECT_EQ(peer.receives, 1);
  EXPECT_EQ(reader.read(9), "dy") << "joined with one read, which meets the end";
  EXPECT_EQ(reader.line(), "<-1>") << "0 is an empty line, never the end";
}

TEST(XpConnection, FindsADelimiterCutInTwo) {
  scripted_net net;
  net.add().bytes("one\r").bytes("\ntwo\r").bytes("x\rthree\n\r\n");
  line_reader reader;
  EXPECT_EQ(reader.line(), "one");
  EXPECT_EQ(reader.line(), "two\rx\rthree\n") << "a lone CR or LF is text";
}

TEST(XpConnection, ReadsEveryLineWhateverThePieces) {
  const std::string text = "a\r\n\r\nbcd\r\ne";
  for (size_t piece = 1; piece <= text.size(); piece++) {
    scripted_net net;
    net.add().drip(text, piece, 0).end();
    line_reader reader;
    for (const char* expected : {"a", "", "bcd", "e", "<-1>"})
      EXPECT_EQ(reader.line(), expected) << piece;
  }
}

TEST(XpConnection, CutsALongLine) {
  for (const size_t piece : {size_t{1}, size_t{4}, size_t{10}}) {
    scripted_net net;
    net.add().drip("abcdefgh\r\n", piece, 0).end();
    line_reader reader;
    for (const char* expected : {"abcd", "efgh", "", "<-1>"})
      EXPECT_EQ(reader.line(4), expected) << piece;
  }
  scripted_net net;
  net.add("x\r\nabcdefgh\r\n");
  line_reader reader;
  EXPECT_EQ(reader.line(), "x");
  EXPECT_EQ(reader.line(4), "abcd") << "from what is held, too";
  EXPECT_EQ(reader.line(4), "efgh");
  EXPECT_EQ(reader.line(4), "");
}

TEST(XpConnection, GivesTheCodeOfAFailedRead) {
  scripted_net net;
  net.add("half").silence();
  line_reader reader;
  int32_t seconds = 5;
  xp_stream_option(reader.connection.get(), SOCKET_OPTION_RECEIVE_TIMEOUT, &seconds);
  EXPECT_EQ(reader.line(), "half");
  EXPECT_EQ(reader.line(), "<-199>");
}

TEST(XpConnection, ReceivesABodyInLargeRuns) {
  scripted_net net;
  scripted_peer& peer = net.add("head\r\n");
  peer.bytes(std::string(100000, 'b') + "\r\nnext\r\n");
  line_reader reader;
  EXPECT_EQ(reader.line(), "head");
  std::string body;
  while (body.size() < 100000)
    body += reader.read(std::min<int32_t>(0x4000, 100000 - static_cast<int32_t>(body.size())));
  EXPECT_EQ(body, std::string(100000, 'b'));
  EXPECT_EQ(peer.receives, 2);
  EXPECT_EQ(reader.line(), "") << "what was read ahead comes next";
  EXPECT_EQ(reader.line(), "next");
}

TEST(XpConnection, ForgetsWhatItHolds) {
  scripted_net net;
  scripted_peer& peer = net.add("a\r\nrest");
  peer.bytes("new");
  line_reader reader;
  EXPECT_EQ(reader.line(), "a");
  EXPECT_EQ(xp_stream_option(reader.connection.get(), STREAM_OPTION_SEEK, nullptr), XP_E_STREAM);
  EXPECT_EQ(reader.read(9), "new");
}

TEST(XpConnection, WorksOnTheSocketsOwnCount) {
  scripted_net net;
  scripted_peer& peer = net.add("a\r\nheld");
  line_reader reader;
  EXPECT_EQ(reader.line(), "a");
  EXPECT_EQ(xp_stream_write(reader.connection.get(), "x", 1), 1);
  EXPECT_EQ(peer.sent, "x");
  int64_t size = 0;
  EXPECT_EQ(xp_stream_size(reader.connection.get(), &size), XP_OK);
  EXPECT_EQ(size, -1);
  xp_stream_close(reader.connection.get());
  EXPECT_EQ(reader.fields()->inner->open_count, 0);
  // Held bytes survive the close; the closed socket adds nothing.
  char buffer[9];
  EXPECT_EQ(reader.connection->read(reader.connection.get(), buffer, 9), 4);
  EXPECT_EQ(reader.connection->read(reader.connection.get(), buffer, 9), XP_E_STREAM);
  EXPECT_EQ(reader.connection->write(reader.connection.get(), "x", 1), XP_E_STREAM);
  EXPECT_EQ(reader.line(), "<-1>");
  EXPECT_EQ(xp_conn_stream_new(nullptr), nullptr);
}

}  // namespace
