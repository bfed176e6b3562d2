#include "stream/xp_tls.h"

#include <string>

#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "stream/xp_file_stream.h"
#include "stream/xp_http.h"
#include "tests/support/memory_stream.h"
#include "tests/support/scripted_tls.h"

namespace {

const std::string handshake = toy_record('h') + toy_record('H');

// A network and a service; the parts are set before `open`.
struct channel {
  explicit channel(const std::string& received, size_t piece = 100000) : tls(&net.fake) {
    peer = &net.add();
    peer->drip(received, piece, 0);
    make("h:443");
  }
  void make(const char* name) {
    const xp_ref<xp_str> text(xp_str_new(name));
    stream.reset(xp_socket_new(text.get()));
  }
  int32_t set(int32_t selector, uint32_t value) {
    return xp_stream_option(stream.get(), selector, &value);
  }
  int32_t set_text(int32_t selector, const char* value) {
    const xp_ref<xp_str> text(xp_str_new(value));
    return xp_stream_option(stream.get(), selector, text.get());
  }
  int32_t open(uint32_t word = XP_SECURITY_ON) {
    EXPECT_EQ(set(SOCKET_OPTION_SECURITY, word), XP_OK) << "only recorded before the connection";
    return xp_stream_open(stream.get(), STREAM_MODE_WRITE);
  }
  std::string read(int32_t length = 100) {
    std::string buffer(static_cast<size_t>(length), '?');
    const int32_t got = xp_stream_read(stream.get(), buffer.data(), length);
    return got < 0 ? "<" + std::to_string(got) + ">" : buffer.substr(0, static_cast<size_t>(got));
  }
  int32_t get(int32_t selector, int32_t value = 0) {
    xp_stream_option(stream.get(), selector, &value);
    return value;
  }
  xp_socket* fields() { return static_cast<xp_socket*>(stream.get()); }

  scripted_net net;
  scripted_tls tls;
  scripted_peer* peer;
  xp_ref<xp_stream> stream;
};

TEST(XpTls, ShakesHandsAndMovesRecordsWhateverThePieces) {
  const std::string received =
      handshake + toy_record('d', "first") + toy_record('d', "second") + toy_record('c');
  for (size_t piece = 1; piece <= received.size(); piece++) {
    channel one(received, piece);
    ASSERT_EQ(one.open(), XP_OK) << piece;
    EXPECT_EQ(one.tls.target, "h");
    EXPECT_EQ(one.read(), "first") << piece;
    EXPECT_EQ(one.read(3), "sec") << piece;
    EXPECT_EQ(one.read(), "ond") << piece;
    EXPECT_EQ(one.fields()->closing, 0);
    EXPECT_EQ(one.read(), "") << piece;
    EXPECT_EQ(one.fields()->closing, 1) << "the peer's closing alert";
    xp_stream_close(one.stream.get());
    EXPECT_EQ(one.peer->sent, "<hello><more><done><bye>") << piece;
  }
}

TEST(XpTls, OpensRecordsOfOneReceiveWithoutAnother) {
  channel one(handshake + toy_record('d', "first") + toy_record('d', "second"));
  ASSERT_EQ(one.open(), XP_OK);
  const int receives = one.peer->receives;
  EXPECT_EQ(one.read(), "first");
  EXPECT_EQ(one.read(), "second");
  EXPECT_EQ(one.peer->receives, receives);
}

TEST(XpTls, PassesEmptyRecordsOver) {
  channel one(handshake + toy_record('d') + toy_record('d') + toy_record('d', "x"));
  ASSERT_EQ(one.open(), XP_OK);
  EXPECT_EQ(one.read(), "x");
}

struct handshake_row {
  const char* reason;
  std::string received;
  int32_t code;
  const char* sent;
};

TEST(XpTls, FailsAHandshakeByItsCause) {
  const handshake_row rows[] = {
      {"the peer closes", "", XP_E_TLS_NETWORK, "<hello>"},
      {"half a record", "h", XP_E_TLS_NETWORK, "<hello>"},
      {"closes in the middle", toy_record('h'), XP_E_TLS_NETWORK, "<hello><more>"},
      {"refused at once", toy_record('f'), XP_E_TLS_REFUSED, "<hello>"},
      {"refused with an alert", toy_record('h') + toy_record('e'), XP_E_TLS_REFUSED,
       "<hello><more><alert>"},
      {"an unexpected success", toy_record('o'), XP_E_TLS_NETWORK, "<hello>"},
      {"a certificate is wanted", toy_record('i') + toy_record('H'), XP_OK, "<hello><done>"},
  };
  for (const handshake_row& row : rows) {
    channel one(row.received);
    EXPECT_EQ(one.open(), row.code) << row.reason;
    EXPECT_EQ(one.peer->sent, row.sent) << row.reason;
    EXPECT_EQ(one.fields()->tls_state, row.code == XP_OK ? 0 : -1) << row.reason;
  }
}

TEST(XpTls, WaitsForTheHandshakeNoLongerThanTheReceiveTimeout) {
  channel one(toy_record('h'));
  one.peer->silence();
  one.set(SOCKET_OPTION_RECEIVE_TIMEOUT, 30);
  EXPECT_EQ(one.open(), XP_E_TLS_NETWORK);
  EXPECT_EQ(one.net.now, 30);
}

TEST(XpTls, FailsWithoutAService) {
  for (int which = 0; which < 3; which++) {
    channel one(handshake);
    one.tls.missing = which == 0;
    one.tls.no_credentials = which == 1;
    one.tls.no_sizes = which == 2;
    EXPECT_EQ(one.open(), which == 2 ? XP_E_TLS_NETWORK : XP_E_TLS_SERVICE);
  }
}

struct word_row {
  uint32_t word;
  uint32_t protocols;
  uint32_t leniency;
};

TEST(XpTls, TakesTheSecurityWordApart) {
  constexpr word_row rows[] = {
      {0x40000000, XP_TLS_ANY, XP_TLS_SKIP_NAME | XP_TLS_SKIP_CHAIN},
      {0x60000000, XP_TLS_ANY, XP_TLS_SKIP_NAME},
      {0x70000000, XP_TLS_ANY, 0},
      {0x50000000, XP_TLS_ANY, XP_TLS_SKIP_CHAIN},
      {0x70000001, XP_TLS_SSL2, 0},
      {0x70000002, XP_TLS_SSL3, 0},
      {0x70000003, XP_TLS_TLS1, 0},
      {0x70000004, XP_TLS_ANY, 0},
  };
  for (const word_row& row : rows) {
    channel one(handshake);
    ASSERT_EQ(one.open(row.word), XP_OK);
    EXPECT_EQ(one.tls.request.protocols, row.protocols) << row.word;
    EXPECT_EQ(one.tls.request.leniency, row.leniency) << row.word;
    EXPECT_FALSE(one.tls.request.server);
    EXPECT_EQ(one.fields()->tls_state, static_cast<int32_t>(row.word & 0xFF));
  }
}

TEST(XpTls, IsTheServerWhenItListensOrIsToldSo) {
  const struct {
    const char* name;
    uint32_t word;
    bool server;
  } rows[] = {
      {":443", 0x40000000, true}, {".:443", 0x40000000, false}, {"h:443", 0x48000000, true}};
  for (const auto& row : rows) {
    channel one(row.server ? toy_record('h') + toy_record('H') + toy_record('d', "x") : handshake);
    one.make(row.name);
    ASSERT_EQ(one.open(row.word), XP_OK) << row.name;
    EXPECT_EQ(one.tls.request.server, row.server) << row.name;
    EXPECT_EQ(one.peer->sent, row.server ? "<more><done>" : "<hello><more><done>") << row.name;
    EXPECT_TRUE(!row.server || one.read() == "x") << row.name;
  }
}

TEST(XpTls, StartsOnAConnectedSocket) {
  channel one("");
  ASSERT_EQ(xp_stream_open(one.stream.get(), STREAM_MODE_WRITE), XP_OK);
  EXPECT_EQ(one.fields()->tls_state, -1);
  one.peer->bytes(handshake);
  EXPECT_EQ(xp_stream_option(one.stream.get(), SOCKET_OPTION_SECURITY, nullptr), XP_OK);
  EXPECT_EQ(one.fields()->tls_state, 0);
  EXPECT_EQ(one.set(SOCKET_OPTION_SECURITY, XP_SECURITY_ON), XP_OK) << "the channel is up";
}

TEST(XpTls, EndsAtARecordItCannotOpen) {
  for (const char kind : {'r', 'x'}) {
    channel one(handshake + toy_record(kind) + toy_record('d', "x"));
    ASSERT_EQ(one.open(), XP_OK);
    EXPECT_EQ(one.read(), "<-1099>") << kind;
    EXPECT_EQ(one.fields()->closing, 1) << kind;
    EXPECT_EQ(one.fields()->record_count, 0u) << kind;
  }
  channel cut(handshake + "d\x05hal");
  ASSERT_EQ(cut.open(), XP_OK);
  EXPECT_EQ(cut.read(), "") << "the connection ends within a record";
  EXPECT_EQ(cut.fields()->closing, 1);
}

TEST(XpTls, SealsALongWriteInSeveralRecords) {
  channel one(handshake);
  ASSERT_EQ(one.open(), XP_OK);
  one.peer->sent.clear();
  const std::string text(250, 't');
  EXPECT_EQ(xp_stream_write(one.stream.get(), text.data(), 250), 250);
  EXPECT_EQ(one.peer->sent, "s\x64" + text.substr(0, 100) + ";s\x64" + text.substr(0, 100) +
                                ";s\x32" + text.substr(0, 50) + ";");
  one.peer->sent.clear();
  one.set(SOCKET_OPTION_WRITE_BUFFER, 1000);
  EXPECT_EQ(xp_stream_write(one.stream.get(), "ab", 2), 2);
  EXPECT_EQ(xp_stream_write(one.stream.get(), "cd", 2), 2);
  EXPECT_EQ(one.get(STREAM_OPTION_PUSH), 4);
  EXPECT_EQ(one.peer->sent,
            "s\x04"
            "abcd;");
  one.tls.seal_fails = true;
  one.set(SOCKET_OPTION_WRITE_BUFFER, 0);
  EXPECT_EQ(xp_stream_write(one.stream.get(), "x", 1), XP_E_TLS_RECORD);
  EXPECT_EQ(one.fields()->closing, 1);
}

TEST(XpTls, LooksAheadInTheChannel) {
  channel one(handshake);
  one.peer->bytes("d\x05he", 3).bytes("llo", 2).silence();
  ASSERT_EQ(one.open(), XP_OK);
  EXPECT_EQ(one.get(SOCKET_OPTION_PEEK, 9), 0);
  EXPECT_EQ(one.get(SOCKET_OPTION_POLL, 9), 5) << "one wait for each part";
  EXPECT_EQ(one.net.now, 5);
  EXPECT_EQ(one.get(SOCKET_OPTION_PEEK), 5);
  EXPECT_EQ(one.read(2), "he");
  EXPECT_EQ(one.get(SOCKET_OPTION_POLL, 9), 3);
  EXPECT_EQ(one.net.now, 5);
  EXPECT_EQ(one.read(), "llo");
}

TEST(XpTls, ClosesWithoutAWordWhenThereIsNone) {
  channel one(handshake);
  ASSERT_EQ(one.open(), XP_OK);
  one.tls.no_closing_token = true;
  xp_stream_close(one.stream.get());
  EXPECT_EQ(one.tls.alive, 0);
  EXPECT_EQ(one.fields()->tls_state, -1);
}

struct keys_row {
  const char* keys;
  const char* service;  // null: not set
  const char* store;    // place and name
  const char* subject;
};

TEST(XpTls, LooksTheCertificateUpWhereItIsTold) {
  constexpr keys_row rows[] = {
      {"me", nullptr, "0 MY", "me"},   {"me:password", nullptr, "0 MY", "me"},
      {"me", "", "180224 MY", "me"},   {"me", "tallyd", "376832 tallyd\\MY", "me"},
      {"a@b", nullptr, "0 MY", "a@b"}, {"", nullptr, "", ""},
  };
  for (const keys_row& row : rows)
    for (const bool found : {true, false}) {
      channel one(handshake);
      one.tls.has_certificate = found;
      one.set_text(SOCKET_OPTION_KEYS, row.keys);
      if (row.service) one.set_text(SOCKET_OPTION_SERVICE, row.service);
      ASSERT_EQ(one.open(), XP_OK) << "not found is no failure";
      EXPECT_EQ(one.tls.store, row.store) << row.keys;
      EXPECT_EQ(one.tls.subject, row.subject) << row.keys;
      EXPECT_EQ(one.tls.request.certificate != nullptr, found && *row.keys) << row.keys;
    }
}

TEST(XpTls, LooksIntoAPfxFile) {
  const xp_ref<xp_path> path(xp_path_temp_file());
  ASSERT_EQ(xp_file_create(path.get()), XP_OK);
  const xp_ref<xp_stream> file(xp_file_stream_new(path.get()));
  ASSERT_EQ(xp_stream_open(file.get(), STREAM_MODE_WRITE), XP_OK);
  ASSERT_EQ(xp_stream_write(file.get(), "PFX pass", 8), 8);
  xp_stream_close(file.get());
  const xp_ref<xp_str> name(xp_str_from_object(path.get()));
  const struct {
    std::string keys;
    const char* store;
    bool can_import;
  } rows[] = {{std::string("me:pass@") + name->text, "99 pfx", true},
              {std::string("me:wrong@") + name->text, "", true},
              {std::string("me:pass@") + name->text, "", false},
              {"me:pass@no-such-file", "", true}};
  for (const auto& row : rows) {
    channel one(handshake);
    if (!row.can_import) one.net.fake.tls.can_import = [] { return false; };
    one.set_text(SOCKET_OPTION_KEYS, row.keys.c_str());
    ASSERT_EQ(one.open(), XP_OK) << row.keys;
    EXPECT_EQ(one.tls.store, row.store) << row.keys;
  }
  xp_file_delete(path.get());
}

TEST(XpTls, SurvivesEveryFailedAllocation) {
  sweep_allocations([](heap_watch& watch) {
    channel one(handshake + toy_record('d', "x"));
    if (!one.stream) return;
    one.set_text(SOCKET_OPTION_KEYS, "me");
    const int32_t code = one.open();
    ASSERT_TRUE(code == XP_OK || watch.failed()) << code;
    ASSERT_EQ(one.read(), code == XP_OK ? "x" : "<-1>");
    one.stream.reset();
  });
}

// ---- the HTTP client over it
// ---------------------------------------------------------------------

const std::string response = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";

struct https_row {
  int32_t level;
  uint32_t leniency;
};

TEST(XpTls, CarriesAnExchange) {
  constexpr https_row rows[] = {{0, 12}, {1, 12}, {2, 4}, {3, 0}, {9, 0}};
  for (const https_row& row : rows) {
    channel one(handshake + toy_record('d', response.substr(0, 30)) +
                toy_record('d', response.substr(30)));
    const xp_ref<xp_http> http(xp_http_new());
    http->url = xp_url_new("HTTPS://h/p", -1);
    http->security_level = row.level;
    http->keys = xp_str_new("me");
    const xp_ref<memory_stream> output(memory_stream_new(""));
    EXPECT_EQ(xp_http_exchange(http.get(), 1, output.get(), nullptr, nullptr), 0);
    EXPECT_EQ(*output->written, "hello");
    EXPECT_EQ(one.peer->service, "443");
    EXPECT_EQ(one.tls.request.leniency, row.leniency) << row.level;
    EXPECT_EQ(one.tls.subject, "me");
  }
}

TEST(XpTls, CarriesAnExchangeThroughATunnel) {
  channel one("HTTP/1.1 200 OK\r\n\r\n");
  one.peer->bytes(handshake).bytes(toy_record('d', response));
  const xp_ref<xp_http> http(xp_http_new());
  http->url = xp_url_new("https://h:8443/p", -1);
  http->proxy = xp_str_new("proxy:3128");
  const xp_ref<memory_stream> output(memory_stream_new(""));
  EXPECT_EQ(xp_http_exchange(http.get(), 1, output.get(), nullptr, nullptr), 0);
  EXPECT_EQ(http->status, 200);
  EXPECT_EQ(*output->written, "hello");
  EXPECT_EQ(one.tls.target, "proxy") << "whom the socket is connected to";
  EXPECT_EQ(one.peer->sent.substr(0, 46), "CONNECT h:8443 HTTP/1.1\r\n\r\n<hello><more><done>");
  EXPECT_NE(one.peer->sent.find("GET /p HTTP/1.1\r\nHost: h:8443\r\n"), std::string::npos);
}

TEST(XpTls, TakesAProxysHeaderLineForTheStatusLine) {
  channel one("HTTP/1.1 200 OK\r\nVia: x\r\n\r\n");
  one.peer->bytes(handshake).bytes(toy_record('d', response));
  const xp_ref<xp_http> http(xp_http_new());
  http->url = xp_url_new("https://h/p", -1);
  http->proxy = xp_str_new("proxy:3128");
  const xp_ref<memory_stream> output(memory_stream_new(""));
  EXPECT_EQ(xp_http_exchange(http.get(), 1, output.get(), nullptr, nullptr), 0);
  EXPECT_EQ(http->status, -1);
  EXPECT_STREQ(http->message->text, "Via: x");
  EXPECT_EQ(*output->written, "");
}

TEST(XpTls, FailsAnExchangeWithTheHandshakesCode) {
  for (const bool tunnel : {false, true}) {
    channel one(tunnel ? "HTTP/1.1 200 OK\r\n\r\n" : toy_record('f'));
    one.peer->bytes(toy_record('f'));
    const xp_ref<xp_http> http(xp_http_new());
    http->url = xp_url_new("https://h/p", -1);
    if (tunnel) http->proxy = xp_str_new("proxy:3128");
    EXPECT_EQ(xp_http_exchange(http.get(), 1, nullptr, nullptr, nullptr), XP_E_TLS_REFUSED);
    EXPECT_STREQ(http->message->text, "socket creation failed");
    EXPECT_EQ(http->done, 1);
  }
}

}  // namespace
