#include "stream/xp_http.h"

#include <string>

#include "codec/xp_gzip.h"
#include "object/xp_array.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "tests/support/memory_stream.h"
#include "tests/support/scripted_net.h"

namespace {

xp_dict* headers_of(std::initializer_list<std::pair<const char*, xp_object*>> entries) {
  xp_dict* dict = xp_dict_new(0);
  for (const auto& [key, value] : entries) {
    xp_dict_set(dict, key, -1, value);
    xp_object_release(value);
  }
  return dict;
}

// A client, its output and what the callback saw.
struct client {
  explicit client(const char* url) {
    http.reset(xp_http_new());
    http->url = xp_url_new(url, -1);
    http->connect_timeout = http->send_timeout = http->receive_timeout = 30;
    output.reset(memory_stream_new(""));
  }
  int32_t get() { return run(1); }
  int32_t post() { return run(0); }
  int32_t run(int32_t get) {
    events.clear();
    return xp_http_exchange(http.get(), get, output.get(), note, this);
  }
  std::string body() const { return *output->written; }
  std::string message() const { return xp_str_text(http->message); }
  // A response header's text; of an array its texts, joined by "|".
  std::string header(const char* name) const {
    const xp_ref<> value(xp_dict_get(http->response_headers, name, -1));
    if (xp_array* array = xp_as_array(value.get())) {
      std::string all;
      for (int32_t i = 0; i < array->count; i++)
        all += (i ? "|" : "") + std::string(xp_str_text(xp_as_str(array->cells[i])));
      return all;
    }
    return value ? xp_str_text(xp_as_str(value.get())) : "-";
  }
  void decode_gzip() {
    http->decoders = headers_of({{"gzip", xp_http_decoder_new(xp_gzip_stream_new, nullptr)}});
  }
  void use_proxy(const char* proxy) { http->proxy = xp_str_new(proxy); }

  static int32_t note(xp_http*, int32_t event, int32_t value, xp_object* object, void* argument) {
    auto* self = static_cast<client*>(argument);
    self->events += std::to_string(event) + ":" + std::to_string(value) + (object ? "o " : " ");
    if (event == XP_HTTP_CONNECTED && self->keep && !self->http->connection) {
      self->http->connection = static_cast<xp_stream*>(xp_retain(object));
      EXPECT_EQ(xp_stream_open(self->http->connection, STREAM_MODE_WRITE), XP_OK);
    }
    return event == self->refuse ? self->refusal : 0;
  }

  xp_ref<xp_http> http;
  xp_ref<memory_stream> output;
  std::string events;
  bool keep = false;
  int32_t refuse = -1;
  int32_t refusal = 7;
};

constexpr char OK_5[] = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";

// ---- what is sent ----------------------------------------------------------------------------

TEST(XpHttp, SendsAGet) {
  scripted_net net;
  scripted_peer& peer = net.add(OK_5);
  client one("http://u:p@h:8080/a?b=1");
  one.decode_gzip();
  one.http->request_headers = headers_of({{"User-Agent", xp_str_new("Me/1")}});
  EXPECT_EQ(one.get(), 0);
  EXPECT_EQ(peer.host + " " + peer.service, "h 8080");
  EXPECT_EQ(peer.sent,
            "GET /a?b=1 HTTP/1.1\r\n"
            "Host: h:8080\r\n"
            "Accept: */*\r\n"
            "Accept-Encoding: gzip\r\n"
            "User-Agent: Me/1\r\n"
            "Content-Length: 0\r\n"
            "\r\n");
  EXPECT_EQ(peer.sends, 1) << "one write for the whole request";
  EXPECT_EQ(one.http->status, 200);
  EXPECT_EQ(one.http->done, 1);
  EXPECT_EQ(one.body(), "hello");
  EXPECT_EQ(one.message(), "HTTP/1.1 200 OK");
  EXPECT_EQ(one.events, "0:0o 1:0o 2:200o 200:5 201:5 202:0 3:0o ");
  EXPECT_STREQ(one.http->method->text, "GET");
}

struct target_row {
  const char* url;
  const char* proxy;
  int32_t get;
  const char* line;
};

TEST(XpHttp, NamesTheTargetByTheParts) {
  constexpr target_row rows[] = {
      {"http://h", "", 1, "GET / HTTP/1.1"},
      {"http://h/p?x", "", 1, "GET /p?x HTTP/1.1"},
      {"http://h/p?x&k=v", "", 1, "GET /p?x&k=v HTTP/1.1"},
      {"http://h/p?", "", 1, "GET /p? HTTP/1.1"},
      {"http://h/p%20q#f", "", 1, "GET /p%20q#f HTTP/1.1"},
      {"http://h:8080/a?b=1", "p:1", 1, "GET http://h:8080/a?b=1 HTTP/1.1"},
      {"http://h/p?k=v", "", 0, "POST /p HTTP/1.1"},
  };
  for (const target_row& row : rows) {
    scripted_net net;
    scripted_peer& peer = net.add(OK_5);
    client one(row.url);
    one.use_proxy(row.proxy);
    EXPECT_EQ(one.run(row.get), 0);
    EXPECT_EQ(peer.sent.substr(0, peer.sent.find("\r\n")), row.line);
    EXPECT_EQ(peer.host, *row.proxy ? "p" : "h");
  }
}

TEST(XpHttp, PostsTheFormOfTheUrl) {
  scripted_net net;
  scripted_peer& peer = net.add(OK_5);
  client one("http://h/p?a=1&b=%41");
  EXPECT_EQ(one.post(), 0);
  EXPECT_EQ(peer.sent,
            "POST /p HTTP/1.1\r\nHost: h\r\nUser-Agent: xp_http/1.1\r\nAccept: */*\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 9\r\n\r\n"
            "a=1&b=%41");
}

TEST(XpHttp, TakesAGivenMethod) {
  scripted_net net;
  scripted_peer& head = net.add(OK_5);
  scripted_peer& post = net.add(OK_5);
  client one("http://h/p?a=1");
  one.http->method = xp_str_new("DELETE");
  EXPECT_EQ(one.get(), 0);
  EXPECT_EQ(head.sent.substr(0, 14), "DELETE /p?a=1 ");
  client two("http://h/p?a=1");
  two.http->method = xp_str_new("post");
  EXPECT_EQ(two.get(), 0);
  EXPECT_EQ(post.sent.substr(0, 8), "post /p ");
  EXPECT_EQ(post.sent.substr(post.sent.size() - 3), "a=1");
}

TEST(XpHttp, UploadsABodyInChunks) {
  scripted_net net;
  scripted_peer& peer = net.add(OK_5);
  client one("http://h/p?a=1");
  one.http->body = memory_stream_new(std::string(0x4001, 'u'));
  one.http->request_headers = headers_of({{"Accept", xp_str_new("text/plain")},
                                          {"X-Count", xp_num_new(7)},
                                          {"X-Empty", xp_str_new("")}});
  EXPECT_EQ(one.post(), 0);
  EXPECT_EQ(peer.sent,
            "POST /p?a=1 HTTP/1.1\r\nHost: h\r\nUser-Agent: xp_http/1.1\r\n"
            // in the order of the buckets
            "X-Count: 7\r\nAccept: text/plain\r\nContent-Length: 16385\r\n\r\n" +
                std::string(0x4001, 'u'));
  EXPECT_EQ(one.events.substr(0, 45), "0:0o 100:16385 101:16384 101:1 102:0 1:0o 2:2");
  EXPECT_EQ(one.http->body->open_count, 0);
}

TEST(XpHttp, TakesTheLengthOfAnUploadFromItsOwner) {
  const struct {
    xp_object* told;
    const char* line;
    const char* event;
  } rows[] = {{xp_num_new(2), "Content-Length: 2\r\n\r\nab", "100:2 "},
              {xp_str_new("2"), "Content-Length: 2\r\n\r\nab", "100:2 "}};
  for (const auto& row : rows) {
    scripted_net net;
    scripted_peer& peer = net.add(OK_5);
    client one("http://h/p");
    one.http->body = memory_stream_new("ab");
    one.http->request_headers = headers_of({{"Content-Length", row.told}});
    EXPECT_EQ(one.post(), 0);
    EXPECT_EQ(peer.sent.substr(peer.sent.find("Content-Length")), row.line);
    EXPECT_NE(one.events.find(row.event), std::string::npos);
  }
}

TEST(XpHttp, FailsAnUpload) {
  const struct {
    int32_t refuse;
    int64_t fail_read_at;
    bool send_fails;
    int32_t code;
  } rows[] = {{XP_HTTP_UPLOAD_MOVED, -1, false, XP_E_CANCELLED},
              {XP_HTTP_REQUEST_SENT, -1, false, 7},
              {-1, 0, false, XP_E_IO},
              {-1, -1, true, XP_E_STREAM}};
  for (const auto& row : rows) {
    scripted_net net;
    net.add(OK_5).send_fails = row.send_fails;
    client one("http://h/p");
    one.refuse = row.refuse;
    memory_stream* body = memory_stream_new(std::string(100000, 'x'));
    body->fail_read_at = row.fail_read_at;
    one.http->body = body;
    EXPECT_EQ(one.post(), row.code);
    EXPECT_EQ(one.message(), "send request failed");
    EXPECT_EQ(one.http->status, 0);
    EXPECT_EQ(one.http->done, 1);
    EXPECT_EQ(one.events.substr(one.events.rfind("3:")), "3:" + std::to_string(row.code) + " ");
  }
}

// ---- what is received ------------------------------------------------------------------------

struct exchange {
  const char* reason;
  std::string response;
  int32_t code;
  int32_t status;
  std::string body;
  const char* message;
};

const exchange exchanges[] = {
    {"a status other than 200 delivers its body",
     "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone", 0, 404, "gone",
     "HTTP/1.1 404 Not Found"},
    {"a redirect is not followed by itself",
     "HTTP/1.1 302 Found\r\nLocation: http://other/\r\nContent-Length: 1\r\n\r\nx", 0, 302, "x",
     "HTTP/1.1 302 Found"},
    {"HTTP/1.0, names in any case", "http/1.0 200 ok\r\ncontent-LENGTH: 2\r\n\r\nok", 0, 200, "ok",
     "http/1.0 200 ok"},
    {"nothing behind the status", "HTTP/1.1 200\r\nContent-Length: 2\r\n\r\nok", 0, -1, "ok",
     "HTTP/1.1 200"},
    {"a foreign protocol", "ICY 200 OK  \r\nContent-Length: 2\r\n\r\nok", 0, -1, "ok",
     "ICY 200 OK  "},
    {"no digits", "HTTP/1.1 abc no\r\n\r\n", 0, 0, "", "HTTP/1.1 abc no"},
    {"one empty line in front", "\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", 0, 200, "ok",
     "HTTP/1.1 200 OK"},
    {"two empty lines in front", "\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", 0, -1,
     "", ""},
    {"an empty body", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 0, 200, "",
     "HTTP/1.1 200 OK"},
    {"no framing, no body", "HTTP/1.1 200 OK\r\n\r\nbody", 0, 200, "", "HTTP/1.1 200 OK"},
    {"chunks", "HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, Chunked\r\n\r\n2\r\nok\r\n0\r\n\r\n", 0,
     200, "ok", "HTTP/1.1 200 OK"},
    {"a length wins over chunks",
     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n2\r\nok", 0, 200,
     "2\r\n", "HTTP/1.1 200 OK"},
    {"the same length twice", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 2\r\n\r\nok",
     0, 200, "ok", "HTTP/1.1 200 OK"},
    {"two lengths are none", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 3\r\n\r\nok",
     0, 200, "", "HTTP/1.1 200 OK"},
    {"a length without digits", "HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nok", 0, 200, "",
     "HTTP/1.1 200 OK"},
    {"more than comes", "HTTP/1.1 200 OK\r\nContent-Length: 9223372036854775807\r\n\r\nok", 0, 200,
     "ok", "HTTP/1.1 200 OK"},
    {"a negative length reads chunks", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nxyz", -1, 200,
     "", "read response failed"},
    {"a bad chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nokX", -1, 200, "ok",
     "read response failed"},
    {"a chunk beyond 64 bits",
     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10000000000000000\r\nx", -1, 200, "",
     "read response failed"},
    {"an unknown coding comes as it is",
     "HTTP/1.1 200 OK\r\nContent-Encoding: GZIP\r\nContent-Length: 2\r\n\r\nok", 0, 200, "ok",
     "HTTP/1.1 200 OK"},
    {"two codings come as they are",
     "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Encoding: br\r\nContent-Length: "
     "2\r\n\r\n"
     "ok",
     0, 200, "ok", "HTTP/1.1 200 OK"},
    {"no gzip member",
     "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 10\r\n\r\n0123456789",
     XP_E_GZIP_SIGNATURE, 200, "", "read response failed"},
    {"nothing at all", "", -1, -1, "", "read response failed"},
    {"half a status line", "HTTP/1.1 200 O", -1, 200, "", "read response failed"},
    {"half a header", "HTTP/1.1 200 OK\r\nContent-Len", -1, 200, "", "read response failed"},
};

TEST(XpHttp, ReadsAResponse) {
  for (const exchange& row : exchanges)
    for (const size_t piece : {size_t{1}, size_t{100000}}) {
      scripted_net net;
      net.add().drip(row.response, piece, 0).end();
      client one("http://h/p");
      one.decode_gzip();
      EXPECT_EQ(one.get(), row.code) << row.reason;
      EXPECT_EQ(one.http->status, row.status) << row.reason;
      EXPECT_EQ(one.body(), row.body) << row.reason;
      EXPECT_EQ(one.message(), row.message) << row.reason;
      EXPECT_EQ(one.http->done, 1) << row.reason;
      EXPECT_EQ(one.output->open_count, 0) << row.reason;
    }
}

TEST(XpHttp, KeepsHeaders) {
  scripted_net net;
  net.add(
      "HTTP/1.1 200 OK\r\nA: 1\r\na: 1\r\nB: 1\r\nb: 2\r\nB:3 \r\nnone\r\n: empty\r\nC:\r\nD:   "
      "\r\n" +
      std::string(300, 'n') + ": long\r\n\r\n");
  client one("http://h/p");
  EXPECT_EQ(one.get(), 0);
  EXPECT_EQ(one.header("A"), "1") << "the same value twice";
  EXPECT_EQ(one.header("B"), "1|2|3 ");
  EXPECT_EQ(one.header("C"), "-");
  EXPECT_EQ(one.header("D"), "-");
  EXPECT_EQ(one.header(std::string(255, 'n').c_str()), "long");
  EXPECT_EQ(xp_dict_count(one.http->response_headers), 3u);
}

TEST(XpHttp, BearsHostileHeaders) {
  std::string many = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 10000; i++)
    many += "X-" + std::to_string(i) + ": " + std::to_string(i) + "\r\n";
  const std::string line = "HTTP/1.1 200 OK\r\nX: " + std::string(1 << 20, 'x') + "\r\n";
  std::string endless = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 1000; i++)
    endless += std::to_string(i) + ": " + std::string(10000, 'x') + "\r\n";
  for (const std::string& head : {many, line, endless}) {
    scripted_net net;
    net.add(head + "Content-Length: 2\r\n\r\nok");
    client one("http://h/p");
    EXPECT_EQ(one.get(), 0);
    EXPECT_EQ(one.http->status, 200);
    const xp_word kept = xp_dict_count(one.http->response_headers);
    if (head == many) {
      EXPECT_EQ(kept, 10001u);
      EXPECT_EQ(one.body(), "ok");
    }
    if (head == endless) {
      EXPECT_LT(kept, 450u) << "what is kept has a limit";
    }
  }
}

TEST(XpHttp, DecodesGzipOnTheWay) {
  // echo -n hello | gzip -n
  const std::string packed(
      "\x1f\x8b\x08\0\0\0\0\0\0\x03\xcb\x48\xcd\xc9\xc9\x07\0\x86\xa6\x10\x36\x05\0\0\0", 25);
  for (size_t length = 0; length <= packed.size(); length++) {
    scripted_net net;
    net.add("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 25\r\n\r\n" +
            packed.substr(0, length));
    client one("http://h/p");
    one.decode_gzip();
    EXPECT_EQ(one.get(), 0) << "a body that ends early is no failure";
    EXPECT_TRUE(length < packed.size() || one.body() == "hello");
  }
  std::string corrupt = packed;
  corrupt[17] = 'x';
  scripted_net net;
  net.add("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 25\r\n\r\n" + corrupt);
  client one("http://h/p");
  one.decode_gzip();
  EXPECT_EQ(one.get(), XP_E_GZIP_CHECKSUM);
}

// ---- peers that fail ---------------------------------------------------------------------------

TEST(XpHttp, EndsAtEverySilenceWithinTheReceiveTimeout) {
  const std::string whole =
      "HTTP/1.1 200 OK\r\nA: b\r\nTransfer-Encoding: chunked\r\n\r\n5;x\r\nhello\r\n0\r\n\r\n";
  for (const bool reset : {false, true})
    for (size_t length = 0; length < whole.size(); length++) {
      scripted_net net;
      scripted_peer& peer = net.add(whole.substr(0, length));
      reset ? peer.reset() : peer.silence();
      client one("http://h/p");
      ASSERT_EQ(one.get(), reset ? XP_E_STREAM : XP_E_TIMEOUT) << length;
      ASSERT_EQ(one.message(), "read response failed") << length;
      // What came of a line or a chunk before the silence is taken first, so that it costs one wait
      // more.
      ASSERT_LE(net.now, 60) << length;
    }
}

TEST(XpHttp, GoesOnAsLongAsBytesArrive) {
  scripted_net net;
  net.add().drip(OK_5, 1, 29).end();
  client one("http://h/p");
  EXPECT_EQ(one.get(), 0);
  EXPECT_EQ(one.body(), "hello");
  EXPECT_EQ(net.now, 29 * static_cast<int64_t>(sizeof OK_5 - 1));
}

TEST(XpHttp, FailsToConnect) {
  {
    scripted_net net;
    client one("http://h/p");
    EXPECT_EQ(one.get(), XP_E_CONNECT);
    EXPECT_EQ(one.message(), "socket creation failed");
    EXPECT_EQ(one.http->status, 0);
    EXPECT_EQ(one.events, "3:-1098 ");
    xp_ref<xp_url> url(one.http->url);
    one.http->url = nullptr;
    EXPECT_EQ(one.get(), XP_E_STREAM) << "no URL";
  }
  {
    scripted_net net;
    net.resolves = false;
    client one("http://h/p");
    EXPECT_EQ(one.get(), XP_E_NOT_FOUND);
  }
  {
    scripted_net net;
    net.add(OK_5);
    client one("http://h/p");
    one.refuse = XP_HTTP_CONNECTED;
    EXPECT_EQ(one.get(), 7);
    EXPECT_EQ(one.message(), "socket creation failed");
  }
  EXPECT_EQ(xp_http_exchange(nullptr, 1, nullptr, nullptr, nullptr), XP_E_PARAMETER);
}

TEST(XpHttp, FailsWhenTheOutputDoes) {
  for (const bool shortened : {false, true}) {
    scripted_net net;
    net.add(OK_5);
    client one("http://h/p");
    if (shortened)
      one.output->write = [](xp_stream*, const void*, int32_t length) { return length - 1; };
    else
      one.output->fail_write_at = 3;
    EXPECT_EQ(one.get(), XP_E_IO);
    EXPECT_EQ(one.message(), "read response failed");
    EXPECT_EQ(one.output->open_count, 0);
  }
  scripted_net net;
  net.add(OK_5);
  client one("http://h/p");
  EXPECT_EQ(xp_http_exchange(one.http.get(), 1, nullptr, nullptr, nullptr), XP_E_STREAM);
}

TEST(XpHttp, CanBeCancelled) {
  {
    scripted_net net;
    net.add(OK_5);
    client one("http://h/p");
    one.refuse = XP_HTTP_DOWNLOAD_MOVED;
    EXPECT_EQ(one.get(), XP_E_CANCELLED);
    EXPECT_EQ(one.message(), "read response cancelled");
    EXPECT_EQ(one.body(), "") << "the chunk isn't written";
    EXPECT_EQ(one.http->cancelled, 1);
  }
  scripted_net net;
  net.add(OK_5);
  client one("http://h/p");
  one.http->cancelled = 1;
  EXPECT_EQ(one.get(), XP_E_CANCELLED) << "nothing clears it";
}

TEST(XpHttp, DropsABodyThatIsNotWanted) {
  scripted_net net;
  net.add(OK_5);
  client one("http://h/p");
  one.refuse = XP_HTTP_RESPONSE;
  EXPECT_EQ(one.get(), 7);
  EXPECT_EQ(one.body(), "");
  EXPECT_EQ(one.output->opens, 0);
  EXPECT_EQ(one.events, "0:0o 1:0 2:200o 3:7o ");
  EXPECT_EQ(one.message(), "HTTP/1.1 200 OK");
}

// ---- redirects, kept connections, proxies ------------------------------------------------------

std::string redirect_to(const char* location) {
  return std::string("HTTP/1.1 302 Found\r\nLocation: ") + location +
         "\r\nContent-Length: 1\r\n\r\nx";
}

TEST(XpHttp, FollowsNineRedirects) {
  for (const int redirects : {9, 10}) {
    scripted_net net;
    for (int i = 0; i < redirects; i++)
      net.add(redirect_to(("http://h" + std::to_string(i + 1) + "/n").c_str()));
    net.add(OK_5);
    client one("http://h0/p");
    one.http->follow_redirects = 1;
    EXPECT_EQ(one.get(), 0);
    EXPECT_EQ(one.http->done, redirects == 9) << redirects;
    EXPECT_EQ(one.message(), redirects == 9 ? "HTTP/1.1 200 OK" : "redirect rejected");
    EXPECT_EQ(one.body(), redirects == 9 ? "hello" : "");
    EXPECT_EQ(net.peers[9].sent.substr(0, 24), "GET /n HTTP/1.1\r\nHost: h");
    EXPECT_EQ(net.open, 0);
  }
}

TEST(XpHttp, RejectsARedirectThatLeadsNowhere) {
  const struct {
    std::string response;
    int32_t refuse;
  } rows[] = {{"HTTP/1.1 302 Found\r\n\r\n", -1},
              {"HTTP/1.1 302 Found\r\nLocation: http://a/\r\nLocation: http://b/\r\n\r\n", -1},
              {redirect_to("http://a/"), XP_HTTP_REDIRECT}};
  for (const auto& row : rows) {
    scripted_net net;
    net.add(row.response);
    client one("http://h/p");
    one.http->follow_redirects = 1;
    one.refuse = row.refuse;
    EXPECT_EQ(one.get(), 0);
    EXPECT_EQ(one.http->done, 0);
    EXPECT_EQ(one.message(), "redirect rejected");
    EXPECT_EQ(one.events.substr(one.events.rfind("3:")), "3:-128 ");
  }
}

TEST(XpHttp, UsesAKeptConnectionAgain) {
  scripted_net net;
  scripted_peer& peer = net.add(std::string(OK_5) + OK_5);
  peer.silence();
  scripted_peer& later = net.add(OK_5);
  client one("http://h/p");
  one.keep = true;
  EXPECT_EQ(one.get(), 0);
  EXPECT_EQ(one.get(), 0);
  EXPECT_EQ(one.body(), "hellohello");
  EXPECT_EQ(net.lookups, 1);
  EXPECT_NE(peer.sent.find("Connection: Keep-Alive\r\n"), std::string::npos);
  peer.steps.clear();
  peer.reset();
  EXPECT_EQ(one.get(), 0) << "a dead connection is made anew";
  EXPECT_EQ(later.sent.substr(0, 15), "GET /p HTTP/1.1");
  EXPECT_EQ(one.body(), "hellohellohello");
  EXPECT_EQ(net.open, 1);
  xp_stream_close(one.http->connection);
}

struct proxy_row {
  const char* reply;
  int32_t status;
  const char* message;
};

TEST(XpHttp, FailsWhenTheProxyRefusesATunnel) {
  constexpr proxy_row rows[] = {
      {"HTTP/1.1 407 Proxy Authentication Required\r\n\r\n", 407,
       "proxy CONNECT failed: HTTP/1.1 407 Proxy Authentication Required"},
      {"HTTP/1.1 200\r\n\r\n", 200, "proxy CONNECT failed: HTTP/1.1 200"},
      {"nonsense\r\n", 0, "proxy CONNECT failed: nonsense"},
      {"", 0, "proxy CONNECT failed: "},
  };
  for (const proxy_row& row : rows) {
    scripted_net net;
    scripted_peer& proxy = net.add(row.reply);
    client one("https://h/p");
    one.use_proxy("proxy:3128");
    EXPECT_EQ(one.get(), XP_E_CONNECT);
    EXPECT_EQ(proxy.sent, "CONNECT h:443 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(proxy.host + proxy.service, "proxy3128");
    EXPECT_EQ(one.http->status, row.status);
    EXPECT_EQ(one.message(), row.message);
    EXPECT_EQ(one.http->done, 1);
    EXPECT_EQ(one.events, "3:-1098 ");
  }
}

// ---- sweeps ------------------------------------------------------------------------------------

TEST(XpHttp, SurvivesEveryFailedAllocation) {
  sweep_allocations([](heap_watch& watch) {
    scripted_net net;
    net.add(redirect_to("http://h2/n?a=1&b"));
    net.add(
        "HTTP/1.1 200 OK\r\nA: 1\r\nA: 2\r\nTransfer-Encoding: chunked\r\n\r\n"
        "5\r\nhello\r\n0\r\n\r\n");
    xp_ref<xp_http> http(xp_http_new());
    const xp_ref<memory_stream> output(memory_stream_new(""));
    if (!http || !output) return;
    http->url = xp_url_new("http://h/p", -1);
    http->follow_redirects = 1;
    const int32_t code = xp_http_exchange(http.get(), 1, output.get(), nullptr, nullptr);
    const bool delivered = code == 0 && http->done == 1 && *output->written == "hello";
    ASSERT_TRUE(delivered || watch.failed()) << code;
  });
}

TEST(XpHttp, SurvivesEveryFailedSocketCall) {
  for (int64_t call = 0; call < 1000; call++) {
    scripted_net net;
    net.add().drip(OK_5, 20, 1).end();
    net.fail_call = call;
    client one("http://h/p");
    const int32_t code = one.get();
    EXPECT_EQ(net.open, 0) << call;
    if (!net.call_failed) {
      EXPECT_EQ(code, 0);
      EXPECT_GT(call, 10);
      return;
    }
    EXPECT_TRUE(code < 0 || one.body() == "hello") << call << ": " << code;
    EXPECT_EQ(one.http->done, 1) << call;
  }
}

}  // namespace
