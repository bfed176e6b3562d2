// Drives the network code against a real peer and prints what came of it in one line,
//   result=0 done=1 status=200 bytes=1234 message=HTTP/1.1 200 OK
// for network_test.sh to look at.
//
//   fetch get URL FILE [NAME=VALUE...]    settings: proxy, level, keys, follow, times, seconds,
//                                         header (User-Agent), upload (a file to POST)
//   fetch listen NAME [keys=...]          accepts one connection as an HTTP server and answers
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "codec/xp_gzip.h"
#include "object/xp_ref.h"
#include "paths/xp_path.h"
#include "stream/xp_connection.h"
#include "stream/xp_file_stream.h"
#include "stream/xp_http.h"

namespace {

// The value of NAME=VALUE among the arguments, or `otherwise`.
const char* setting(char** arguments, const char* name, const char* otherwise) {
  const size_t length = strlen(name);
  for (; *arguments; arguments++)
    if (strncmp(*arguments, name, length) == 0 && (*arguments)[length] == '=')
      return *arguments + length + 1;
  return otherwise;
}

xp_dict* dict_of(const char* key, xp_object* value) {
  xp_dict* dict = xp_dict_new(0);
  xp_dict_set(dict, key, -1, value);
  xp_object_release(value);
  return dict;
}

int32_t keep_connection(xp_http* http, int32_t event, int32_t, xp_object* object, void*) {
  if (event != XP_HTTP_CONNECTED || http->connection) return 0;
  http->connection = static_cast<xp_stream*>(xp_retain(object));
  return xp_stream_open(http->connection, STREAM_MODE_WRITE);
}

xp_stream* file_stream(const char* name) {
  const xp_ref<xp_path> path(xp_path_full(name, -1));
  return xp_file_stream_new(path.get());
}

int get(const char* url, const char* file, char** settings) {
  const xp_ref<xp_http> http(xp_http_new());
  http->url = xp_url_new(url, -1);
  http->decoders = dict_of("gzip", xp_http_decoder_new(xp_gzip_stream_new, nullptr));
  http->proxy = xp_str_new(setting(settings, "proxy", ""));
  http->keys = xp_str_new(setting(settings, "keys", ""));
  http->security_level = atoi(setting(settings, "level", "0"));
  http->follow_redirects = atoi(setting(settings, "follow", "0"));
  http->request_headers = dict_of("User-Agent", xp_str_new(setting(settings, "header", "fetch")));
  const int seconds = atoi(setting(settings, "seconds", "30"));
  http->connect_timeout = http->send_timeout = http->receive_timeout = seconds;
  const char* upload = setting(settings, "upload", nullptr);
  if (upload) http->body = file_stream(upload);
  const int times = atoi(setting(settings, "times", "1"));
  const xp_ref<xp_stream> output(file_stream(file));
  int32_t result = 0;
  for (int i = 0; i < times && result == 0; i++) {
    fclose(fopen(file, "w"));
    result = xp_http_exchange(http.get(), !upload, output.get(),
                              times > 1 ? keep_connection : nullptr, nullptr);
  }
  xp_stream_close(http->connection);
  int64_t bytes = 0;
  if (xp_stream_open(output.get(), 0) == XP_OK) xp_stream_size(output.get(), &bytes);
  xp_stream_close(output.get());
  printf("result=%d done=%d status=%d bytes=%lld message=%s\n", result, http->done, http->status,
         static_cast<long long>(bytes), xp_str_text(http->message));
  return result != 0;
}

// Reads a request's head, and answers with its first line.
int answer(xp_stream* connection) {
  char first[1024] = "";
  char line[1024];
  int32_t length;
  while ((length = xp_conn_read_line(connection, line, sizeof line - 1)) > 0)
    if (!*first) snprintf(first, sizeof first, "%.*s", length, line);
  xp_stream_printf(connection, "HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s",
                   static_cast<int32_t>(strlen(first)), first);
  printf("request=%s\n", first);
  return length < 0;
}

int listen(const char* name, char** settings) {
  const xp_ref<xp_str> where(xp_str_new(name));
  const xp_ref<xp_stream> connection(xp_conn_stream_new(where.get()));
  int32_t seconds = 20;
  xp_stream_option(connection.get(), SOCKET_OPTION_TIMEOUTS, &seconds);
  const xp_ref<xp_str> keys(xp_str_new(setting(settings, "keys", "")));
  if (keys->length > 0) {
    xp_stream_option(connection.get(), SOCKET_OPTION_KEYS, keys.get());
    xp_stream_option(connection.get(), SOCKET_OPTION_SECURITY, nullptr);
  }
  const int32_t opened = xp_stream_open(connection.get(), STREAM_MODE_WRITE);
  if (opened != XP_OK) {
    printf("open=%d\n", opened);
    return 1;
  }
  const int failed = answer(connection.get());
  xp_stream_close(connection.get());
  return failed;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 4 && strcmp(argv[1], "get") == 0) return get(argv[2], argv[3], argv + 4);
  if (argc >= 3 && strcmp(argv[1], "listen") == 0) return listen(argv[2], argv + 3);
  return 2;
}
