#include "stream/xp_socket.h"

#include <string>

#include "object/xp_ref.h"
#include "stream/xp_socket_name.h"
#include "stream/xp_url.h"
#include "tests/support/scripted_net.h"

namespace {

struct socket_under_test {
  explicit socket_under_test(const char* name, int32_t port = 80) {
    const xp_ref<xp_str> text(xp_str_new(name));
    stream.reset(xp_socket_new(text.get()));
    set(SOCKET_OPTION_PORT, port);
  }
  int32_t set(int32_t selector, int32_t value) {
    return xp_stream_option(stream.get(), selector, &value);
  }
  int32_t get(int32_t selector, int32_t value = 0) {
    xp_stream_option(stream.get(), selector, &value);
    return value;
  }
  int32_t open() { return xp_stream_open(stream.get(), STREAM_MODE_WRITE); }
  int32_t write(const std::string& text) {
    return xp_stream_write(stream.get(), text.data(), static_cast<int32_t>(text.size()));
  }
  // What one read gives, or the code in angle brackets.
  std::string read(int32_t length = 100) {
    std::string buffer(static_cast<size_t>(length), '?');
    const int32_t got = xp_stream_read(stream.get(), buffer.data(), length);
    return got < 0 ? "<" + std::to_string(got) + ">" : buffer.substr(0, static_cast<size_t>(got));
  }
  xp_socket* fields() { return static_cast<xp_socket*>(stream.get()); }

  xp_ref<xp_stream> stream;
};

struct name_row {
  const char* name;
  const char* host;  // null for none
  const char* port;  // null for none
  bool listens;
};

TEST(XpSocketName, HasTheFormsOfItsContract) {
  constexpr name_row rows[] = {
      {"h", "h", nullptr, false},
      {"h:81", "h", "81", false},
      {"h:", "h", nullptr, false},
      {"h 8080", "h", "8080", false},
      {"h/8080", "h", "8080", false},
      {"a:b:c", "a:b:c", nullptr, false},
      {"fe80::1 8080", "fe80::1", "8080", false},
      {"[::1]:8080", "::1", "8080", false},
      {"[::1]", "::1", nullptr, false},
      {"[::1]x/9", "::1", "9", false},
      {"[]", "", nullptr, false},
      {":8080", nullptr, "8080", true},
      {":", nullptr, nullptr, true},
      {".:8080", nullptr, "8080", true},
      {"..:80", "..", "80", false},
      {"", "", nullptr, false},
  };
  for (const name_row& row : rows) {
    xp_socket_name name;
    ASSERT_TRUE(xp_socket_name_parse(row.name, xp_text_length(row.name), &name)) << row.name;
    EXPECT_EQ(name.listens, row.listens) << row.name;
    const auto text = [](const char* from, int32_t length) {
      return from ? std::string(from, static_cast<size_t>(length)) : "-";
    };
    EXPECT_EQ(text(name.host, name.host_length), row.host ? row.host : "-") << row.name;
    EXPECT_EQ(text(name.port, name.port_length), row.port ? row.port : "-") << row.name;
  }
  xp_socket_name name;
  EXPECT_FALSE(xp_socket_name_parse("[::1", 4, &name));
}

TEST(XpSocket, ConnectsToItsNameAndMovesBytes) {
  scripted_net net;
  scripted_peer& peer = net.add("answer");
  socket_under_test socket("h:81");
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(peer.host + " " + peer.service, "h 81") << "a port in the name wins";
  EXPECT_EQ(socket.write("question"), 8);
  EXPECT_EQ(peer.sent, "question");
  EXPECT_EQ(socket.read(4), "answ");
  EXPECT_EQ(socket.read(), "er");
  EXPECT_EQ(socket.get(SOCKET_OPTION_CHECK), 1);
  EXPECT_EQ(socket.read(), "") << "the peer's orderly end";
  EXPECT_EQ(socket.get(SOCKET_OPTION_CHECK), 0);
  int64_t size = 0;
  EXPECT_EQ(xp_stream_size(socket.stream.get(), &size), XP_OK);
  EXPECT_EQ(size, -1);
  xp_stream_close(socket.stream.get());
  EXPECT_EQ(net.open, 0);
}

TEST(XpSocket, TakesTheHostOfAUrl) {
  scripted_net net;
  scripted_peer& peer = net.add();
  const xp_ref<xp_url> url(xp_url_new("http://u@[::1]:8080/x", -1));
  const xp_ref<xp_stream> stream(xp_socket_new(url.get()));
  ASSERT_EQ(xp_stream_open(stream.get(), 0), XP_OK);
  EXPECT_EQ(peer.host + " " + peer.service, "::1 8080");
  uint8_t address[18] = {};
  EXPECT_EQ(xp_stream_option(stream.get(), SOCKET_OPTION_ADDRESS, address), 18);
  EXPECT_EQ(address[16] << 8 | address[17], 8080);
  int32_t port = 0;
  EXPECT_EQ(xp_stream_option(stream.get(), SOCKET_OPTION_PEER, &port), XP_OK);
  EXPECT_EQ(port, 8080);
  EXPECT_EQ(xp_socket_new(nullptr), nullptr);
  EXPECT_EQ(xp_socket_new(stream.get()), nullptr) << "neither a name nor a URL";
}

TEST(XpSocket, NeedsANameAndAPort) {
  scripted_net net;
  EXPECT_EQ(socket_under_test("h", 0).open(), XP_E_NOT_FOUND);
  EXPECT_EQ(socket_under_test(":", 0).open(), XP_E_NOT_FOUND);
  EXPECT_EQ(socket_under_test("[::1").open(), XP_E_PARAMETER);
  EXPECT_EQ(net.lookups, 0);
  net.resolves = false;
  EXPECT_EQ(socket_under_test("h").open(), XP_E_NOT_FOUND);
  EXPECT_EQ(socket_under_test(":80").open(), XP_E_NOT_FOUND);
}

TEST(XpSocket, TriesEachAddressWithinItsOwnLimit) {
  scripted_net net;
  net.addresses = 3;
  net.add().unreachable = true;
  net.add().unreachable = true;
  scripted_peer& third = net.add("x");
  socket_under_test socket("h");
  socket.set(SOCKET_OPTION_CONNECT_TIMEOUT, 30);
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(net.now, 60);
  EXPECT_EQ(net.open, 1);
  EXPECT_EQ(third.host, "h");
}

TEST(XpSocket, FailsWhenNoAddressConnects) {
  scripted_net net;
  net.addresses = 2;
  net.add().unreachable = true;
  socket_under_test socket("h");
  socket.set(SOCKET_OPTION_TIMEOUTS, 30);
  EXPECT_EQ(socket.open(), XP_E_CONNECT) << "one silent, one refused";
  EXPECT_EQ(net.now, 30);
  EXPECT_EQ(net.open, 0);
}

TEST(XpSocket, LooksLocalhostUpOnce) {
  // The list of the first look-up stays for the life of the process, so the addresses of this one
  // are the real system's and only the calls are counted.
  fake_platform fake;
  static int lookups;
  lookups = 0;
  static const xp_socket_ops* real;
  real = fake.real->sockets;
  fake.sockets.resolve = [](const char* host, const char* service) {
    lookups++;
    return real->resolve(host, service);
  };
  for (int i = 0; i < 2; i++)
    EXPECT_EQ(socket_under_test("localhost:9").open(), XP_E_CONNECT);
  EXPECT_EQ(lookups, 1);
  EXPECT_EQ(socket_under_test("Localhost:9").open(), XP_E_CONNECT);
  EXPECT_EQ(lookups, 2) << "case counts";
}

TEST(XpSocket, ListensForExactlyOneConnection) {
  scripted_net net;
  scripted_peer& peer = net.add("hello");
  socket_under_test socket(":8080");
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(net.last_listen, "8080");
  EXPECT_EQ(net.open, 1) << "the listening socket is gone";
  EXPECT_EQ(socket.read(), "hello");
  EXPECT_EQ(socket.write("hi"), 2);
  EXPECT_EQ(peer.sent, "hi");
  EXPECT_EQ(socket.get(SOCKET_OPTION_PEER), 4660);
  uint8_t address[18];
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_ADDRESS, address), 6);

  socket_under_test client_tls(".:");
  net.add("x");
  ASSERT_EQ(client_tls.open(), XP_OK) << "the port setting serves an empty port";
  EXPECT_EQ(net.last_listen, "80");
}

TEST(XpSocket, ListensNoLongerThanItsLimit) {
  scripted_net net;
  socket_under_test socket(":8080");
  socket.set(SOCKET_OPTION_CONNECT_TIMEOUT, 5);
  EXPECT_EQ(socket.open(), XP_E_LISTEN);
  EXPECT_EQ(net.now, 5);
  EXPECT_EQ(net.open, 0);
}

TEST(XpSocket, GivesUpOnSilenceAfterTheReceiveTimeout) {
  scripted_net net;
  net.add("x").silence();
  socket_under_test socket("h");
  socket.set(SOCKET_OPTION_RECEIVE_TIMEOUT, 30);
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(socket.read(), "x");
  EXPECT_EQ(socket.read(), "<-199>");
  EXPECT_EQ(net.now, 30);
  EXPECT_EQ(socket.get(SOCKET_OPTION_CHECK), 0);
  socket.set(SOCKET_OPTION_RECEIVE_TIMEOUT, -1);
  EXPECT_EQ(socket.read(), "") << "no waiting at all";
  EXPECT_EQ(net.now, 30);
}

TEST(XpSocket, GivesUpOnAPeerThatTakesNothing) {
  scripted_net net;
  net.add().send_blocks = true;
  socket_under_test socket("h");
  socket.set(SOCKET_OPTION_SEND_TIMEOUT, 7);
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(socket.write("x"), XP_E_TIMEOUT);
  EXPECT_EQ(net.now, 7);
  EXPECT_EQ(socket.fields()->closing, 1);
}

TEST(XpSocket, SendsAllInAsManyCallsAsItTakes) {
  scripted_net net;
  scripted_peer& peer = net.add();
  peer.send_limit = 3;
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(socket.write("0123456789"), 10);
  EXPECT_EQ(peer.sent, "0123456789");
  EXPECT_EQ(peer.sends, 4);
}

TEST(XpSocket, NoticesAReset) {
  scripted_net net;
  net.add().reset();
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(socket.get(SOCKET_OPTION_CHECK), 0);
  EXPECT_EQ(socket.fields()->closing, 1);
  EXPECT_EQ(socket.read(), "<-1>");
}

TEST(XpSocket, LooksAheadWithoutLosingBytes) {
  scripted_net net;
  net.add().bytes("abc", 3).silence();
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(socket.get(SOCKET_OPTION_PEEK, 9), 0);
  EXPECT_EQ(net.now, 0);
  EXPECT_EQ(socket.get(SOCKET_OPTION_POLL), 0) << "0 means one second";
  EXPECT_EQ(net.now, 1);
  EXPECT_EQ(socket.get(SOCKET_OPTION_POLL, 5), 1);
  EXPECT_EQ(net.now, 3);
  EXPECT_EQ(socket.get(SOCKET_OPTION_PEEK), 1) << "answered from what was read ahead";
  EXPECT_EQ(socket.read(1), "a");
  EXPECT_EQ(socket.get(SOCKET_OPTION_PEEK), 1);
  EXPECT_EQ(socket.read(5), "bc") << "joined with what there is, without waiting";
  EXPECT_EQ(socket.get(SOCKET_OPTION_CHECK), 1);
}

TEST(XpSocket, TellsByPeekThatTheConnectionIsGone) {
  scripted_net net;
  net.add().end();
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  int32_t count = 9;
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_PEEK, &count), XP_E_STREAM);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_POLL, &count), XP_OK);
}

TEST(XpSocket, CollectsSmallWrites) {
  scripted_net net;
  scripted_peer& peer = net.add();
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_WRITE_BUFFER, nullptr), XP_OK);
  EXPECT_EQ(socket.fields()->buffer_capacity, 16384);
  EXPECT_EQ(socket.get(STREAM_OPTION_PUSH, 7), 0) << "nothing to send";
  const std::string ten = "0123456789";
  for (int i = 0; i < 1638; i++)
    EXPECT_EQ(socket.write(ten), 10);
  EXPECT_EQ(peer.sends, 0);
  EXPECT_EQ(socket.write(ten), 10);
  EXPECT_EQ(peer.sends, 1);
  EXPECT_EQ(peer.sent.size(), 16380u);
  EXPECT_EQ(socket.get(STREAM_OPTION_PUSH), 10);
  EXPECT_EQ(peer.sent.size(), 16390u);

  socket.set(SOCKET_OPTION_WRITE_BUFFER, 200000);
  EXPECT_EQ(socket.fields()->buffer_capacity, 131272);
  socket.write("kept");
  socket.set(SOCKET_OPTION_WRITE_BUFFER, 10);
  EXPECT_EQ(socket.fields()->buffer_capacity, 131272) << "it only grows";
  const int sends = peer.sends;
  EXPECT_EQ(socket.write(std::string(131272, 'x')), 131272);
  EXPECT_EQ(peer.sends, sends + 1) << "the kept bytes went, the new ones fit";
  EXPECT_EQ(socket.write(std::string(131273, 'y')), 131273);
  EXPECT_EQ(peer.sends, sends + 3) << "too many for any buffer";
  socket.write("last");
  socket.set(SOCKET_OPTION_WRITE_BUFFER, 0);
  EXPECT_EQ(socket.fields()->buffer, nullptr);
  EXPECT_EQ(peer.sent.substr(peer.sent.size() - 4), "last");
}

TEST(XpSocket, KeepsWhatItCouldNotSend) {
  scripted_net net;
  scripted_peer& peer = net.add();
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  socket.set(SOCKET_OPTION_WRITE_BUFFER, 8);
  EXPECT_EQ(socket.write("12345678"), 8);
  peer.send_fails = true;
  EXPECT_EQ(socket.write("9"), XP_E_STREAM);
  EXPECT_EQ(socket.fields()->buffer_fill, 8);
  EXPECT_EQ(socket.get(STREAM_OPTION_PUSH), XP_E_STREAM);
  EXPECT_EQ(socket.fields()->buffer_fill, 0) << "a flush gives them up";
}

TEST(XpSocket, ConnectsAgain) {
  scripted_net net;
  net.add("one").silence();
  net.add("two");
  socket_under_test socket("h");
  ASSERT_EQ(socket.open(), XP_OK);
  socket.get(SOCKET_OPTION_PEEK);
  EXPECT_EQ(socket.get(SOCKET_OPTION_RECONNECT, 9), XP_OK);
  EXPECT_EQ(socket.read(), "two") << "nothing of the old connection is left";
  EXPECT_EQ(socket.get(SOCKET_OPTION_RECONNECT), XP_E_CONNECT);
  EXPECT_EQ(net.open, 0);
}

TEST(XpSocket, StopsAtTheNextTurnWhenMadeDeaf) {
  scripted_net net;
  net.add();
  static xp_stream* connecting;
  socket_under_test socket("h");
  connecting = socket.stream.get();
  static const xp_socket_ops* scripted;
  const xp_socket_ops below = net.fake.sockets;
  scripted = &below;
  net.fake.sockets.wait = [](xp_socket_handle handle, uint32_t events, int32_t seconds) {
    EXPECT_EQ(xp_stream_option(connecting, SOCKET_OPTION_DEAF, nullptr), XP_OK);
    return scripted->wait(handle, events, seconds);
  };
  EXPECT_EQ(socket.open(), XP_E_CONNECT);
  EXPECT_EQ(net.open, 0);
}

TEST(XpSocket, KnowsItsOptionsAlsoWhenClosed) {
  scripted_net net;
  socket_under_test socket("h", 443);
  EXPECT_EQ(socket.get(SOCKET_OPTION_BIND), 443);
  EXPECT_EQ(socket.get(STREAM_OPTION_FLAGS, 9), 0);
  EXPECT_EQ(socket.set(SOCKET_OPTION_TIMEOUTS, 9), XP_OK);
  EXPECT_EQ(socket.fields()->connect_timeout + socket.fields()->send_timeout +
                socket.fields()->receive_timeout,
            27);
  xp_object* name = nullptr;
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_HOST, &name), XP_OK);
  const xp_ref<> owned(name);
  EXPECT_STREQ(xp_str_text(xp_as_str(name)), "scripted");
  const xp_ref<xp_str> keys(xp_str_new("me"));
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_KEYS, keys.get()), XP_OK);
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_LIPC, keys.get()), XP_OK);
  EXPECT_EQ(keys->refcount, 3u);
  EXPECT_EQ(xp_stream_option(socket.stream.get(), SOCKET_OPTION_KEYS, nullptr), XP_OK);
  EXPECT_EQ(keys->refcount, 2u);
  EXPECT_EQ(socket.get(static_cast<int32_t>(xp_tag("none"))), 0);
  EXPECT_EQ(socket.set(static_cast<int32_t>(xp_tag("none")), 1), XP_E_STREAM);
  EXPECT_EQ(xp_stream_rewind(socket.stream.get()), XP_E_STREAM);
  // Every selector takes a null argument.
  for (const int32_t selector :
       {static_cast<int32_t>(STREAM_OPTION_FLAGS), static_cast<int32_t>(STREAM_OPTION_PUSH),
        static_cast<int32_t>(SOCKET_OPTION_PORT), static_cast<int32_t>(SOCKET_OPTION_TIMEOUTS),
        static_cast<int32_t>(SOCKET_OPTION_SERVICE), static_cast<int32_t>(SOCKET_OPTION_SECURITY),
        static_cast<int32_t>(SOCKET_OPTION_CHECK), static_cast<int32_t>(SOCKET_OPTION_DEAF),
        static_cast<int32_t>(SOCKET_OPTION_HOST), static_cast<int32_t>(SOCKET_OPTION_PEER),
        static_cast<int32_t>(SOCKET_OPTION_BIND)})
    EXPECT_EQ(xp_stream_option(socket.stream.get(), selector, nullptr), XP_OK) << selector;
  EXPECT_EQ(socket.fields()->security, XP_SECURITY_ON);
  EXPECT_EQ(socket.fields()->port, 0);
}

TEST(XpSocket, SurvivesEveryFailedAllocation) {
  sweep_allocations([](heap_watch& watch) {
    scripted_net net;
    net.add("x");
    socket_under_test socket("h:1");
    if (!socket.stream) return;
    const int32_t code = socket.open();
    const int32_t buffered = socket.set(SOCKET_OPTION_WRITE_BUFFER, 100);
    ASSERT_EQ(code == XP_OK && buffered == XP_OK, !watch.failed()) << code;
    ASSERT_EQ(socket.read(), code == XP_OK ? "x" : "<-1>");
    socket.stream.reset();
  });
}

}  // namespace
