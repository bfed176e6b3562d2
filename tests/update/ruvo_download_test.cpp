#include "update/ruvo_download.h"

#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "paths/xp_file.h"
#include "stream/xp_file_stream.h"
#include "tests/support/scripted_net.h"

namespace {

// An existing empty file, which goes with the scope.
struct installer_file {
  installer_file() : path(xp_path_temp_file()) {
    EXPECT_EQ(xp_file_create(path.get()), XP_OK);
    EXPECT_EQ(content(), "");
  }
  ~installer_file() { xp_file_delete(path.get()); }
  installer_file(const installer_file&) = delete;
  installer_file& operator=(const installer_file&) = delete;

  std::string content() const {
    const xp_ref<xp_stream> file(xp_file_stream_new(path.get()));
    EXPECT_EQ(xp_stream_open(file.get(), 0), XP_OK);
    char buffer[1000];
    const int32_t got = xp_stream_read(file.get(), buffer, sizeof buffer);
    xp_stream_close(file.get());
    return std::string(buffer, got > 0 ? static_cast<size_t>(got) : 0);
  }

  xp_ref<xp_path> path;
};

int32_t download(const char* url, const char* proxy, const installer_file& file) {
  const xp_ref<xp_str> address(xp_str_new_constant(url));
  const xp_ref<xp_str> through(proxy ? xp_str_new_constant(proxy) : nullptr);
  return ruvo_download(address.get(), through.get(), file.path.get());
}

// echo -n hello | gzip -n
const std::string packed(
    "\x1f\x8b\x08\0\0\0\0\0\0\x03\xcb\x48\xcd\xc9\xc9\x07\0\x86\xa6\x10\x36\x05\0\0\0", 25);
const std::string gzip_response =
    "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n19\r\n" +
    packed + "\r\n0\r\n\r\n";

TEST(RuvoDownload, AsksForTheInstallerAndStoresItDecoded) {
  for (const char* proxy : {static_cast<const char*>(nullptr), "", "proxy:8080"}) {
    scripted_net net;
    scripted_peer& peer = net.add(gzip_response);
    const installer_file file;
    EXPECT_EQ(download("http://h/d/app.msi?v=1", proxy, file), 0);
    EXPECT_EQ(file.content(), "hello");
    const bool through = proxy && *proxy;
    EXPECT_EQ(peer.host, through ? "proxy" : "h");
    EXPECT_EQ(peer.sent, std::string("GET ") + (through ? "http://h" : "") +
                             "/d/app.msi?v=1 HTTP/1.1\r\n"
                             "Host: h\r\n"
                             "Accept: */*\r\n"
                             "Accept-Encoding: gzip\r\n"
                             "User-Agent: Tallyport/8.0.0.0\r\n"
                             "Content-Length: 0\r\n"
                             "\r\n");
  }
}

struct outcome_row {
  const char* reason;
  std::string response;
  int32_t result;
};

TEST(RuvoDownload, GivesTheCodeOrTheStatus) {
  const outcome_row rows[] = {
      {"redirects are not followed",
       "HTTP/1.1 302 Found\r\nLocation: http://o/\r\nContent-Length: 0\r\n\r\n", 302},
      {"missing", "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n", 404},
      {"no HTTP", "SSH-2.0-server\r\n\r\n", -1},
      {"closed at once", "", -1},
      {"bad gzip",
       "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 10\r\n\r\n0123456789",
       XP_E_GZIP_SIGNATURE},
      {"cut short", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", 0},
  };
  for (const outcome_row& row : rows) {
    scripted_net net;
    net.add().drip(row.response, 7, 0);
    const installer_file file;
    EXPECT_EQ(download("http://h/a.msi", nullptr, file), row.result) << row.reason;
  }
}

TEST(RuvoDownload, WaitsThirtySecondsForEachSign) {
  scripted_net net;
  net.add("HTTP/1.1 200 OK\r\n").silence();
  net.add().unreachable = true;
  net.add(gzip_response).send_blocks = true;
  const installer_file file;
  EXPECT_EQ(download("http://h/a.msi", nullptr, file), XP_E_TIMEOUT);
  EXPECT_EQ(net.now, 30);
  EXPECT_EQ(download("http://h/a.msi", nullptr, file), XP_E_CONNECT);
  EXPECT_EQ(net.now, 60);
  EXPECT_EQ(download("http://h/a.msi", nullptr, file), 0)
      << "what came before the request is taken";
  EXPECT_EQ(net.now, 90);
}

TEST(RuvoDownload, FailsWithoutAUrlOrAPath) {
  scripted_net net;
  const installer_file file;
  EXPECT_EQ(download("", nullptr, file), XP_E_STREAM);
  net.add(gzip_response);
  const xp_ref<xp_str> url(xp_str_new("http://h/a.msi"));
  EXPECT_EQ(ruvo_download(url.get(), nullptr, nullptr), XP_E_STREAM);
}

}  // namespace
