#include "stream/xp_http.h"

#include <string.h>
#include <atomic>

#include "object/xp_array.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "stream/xp_connection.h"
#include "stream/xp_form.h"
#include "stream/xp_http_body.h"

namespace {

constexpr uint32_t HTTP_REQUEST = xp_tag("hreq");
constexpr int32_t BUFFER_SIZE = 0x4000;
constexpr int32_t REDIRECTS_MOST = 10;
constexpr int32_t REPEATED_ROOM = 16;
constexpr int32_t HEADER_NAME_MOST = 255;
// What the names and values of one response may add up to; header lines beyond it are passed over,
// so that an endless header costs no memory.
constexpr int32_t HEADER_BYTES_MOST = 0x400000;

// The state of one exchange.
struct request : xp_object {
  xp_http* http;
  xp_stream* output;      // takes the body
  xp_stream* connection;  // in use
  xp_http_callback callback;
  void* callback_argument;
  int32_t get;
  int32_t redirects_left;
  int32_t connection_open;   // users of the connection that are this exchange
  int32_t header_bytes;      // names and values kept of the response
  char buffer[BUFFER_SIZE];  // every line and every chunk in turn
};

void request_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* self = static_cast<request*>(object);
  xp_object_release(self->http);
  xp_object_release(self->output);
  xp_object_release(self->connection);
  xp_object_free(self);
}

request* request_new(xp_http* http, int32_t get, xp_stream* output, xp_http_callback callback,
                     void* argument) {
  auto* self = xp_object_new<request>(HTTP_REQUEST);
  if (!self) return nullptr;
  self->release = request_release;
  self->http = xp_retain(http);
  self->output = xp_retain(output);
  self->callback = callback;
  self->callback_argument = argument;
  self->get = get;
  self->redirects_left = REDIRECTS_MOST;
  return self;
}

// ---- small parts -----------------------------------------------------------------------------

template <class T>
void replace(T** field, T* object) {
  T* old = *field;
  *field = object;
  xp_object_release(old);
}

const char* part_text(const xp_url_part& part) {
  return part.text ? part.text : "";
}

bool is_text(const xp_str* string, const char* text) {
  return string &&
         xp_text_compare_nocase(string->text, string->length, text, xp_text_length(text)) == 0;
}

bool is_cancelled(xp_http* http) {
  return std::atomic_ref(http->cancelled).load(std::memory_order_relaxed) != 0;
}

void cancel(xp_http* http) {
  std::atomic_ref(http->cancelled).store(1, std::memory_order_relaxed);
}

int32_t tell(request* self, int32_t event, int32_t value, xp_object* object) {
  if (!self->callback) return 0;
  return self->callback(self->http, event, value, object, self->callback_argument);
}

void set_message(xp_http* http, const char* text) {
  replace(&http->message, xp_str_new_constant(text));
}

// Whether the exchange speaks to a proxy.
bool has_proxy(const xp_http* http) {
  return !xp_str_is_empty(http->proxy);
}

bool is_https(const xp_http* http) {
  if (!http->url || !http->url->scheme.text) return false;
  return xp_text_compare_nocase(http->url->scheme.text, http->url->scheme.length, "https", 5) == 0;
}

// A dictionary's value that is a string, borrowed as long as the dictionary holds it.
xp_str* string_header(xp_dict* headers, const char* name) {
  const xp_ref<> value(xp_dict_get(headers, name, -1));
  return xp_as_str(value.get());
}

bool has_header(xp_dict* headers, const char* name) {
  const xp_ref<> value(xp_dict_get(headers, name, -1));
  return static_cast<bool>(value);
}

// A line of an HTTP/1.0 or 1.1 response with something behind its status.
bool is_status_line(const char* line, int32_t length) {
  return length >= 13 && (xp_text_compare_nocase(line, 9, "HTTP/1.0 ", 9) == 0 ||
                          xp_text_compare_nocase(line, 9, "HTTP/1.1 ", 9) == 0);
}

// The digits at the front of the three bytes that hold the status.
int32_t status_of(const char* line, int32_t length) {
  int32_t status = 0;
  for (int32_t i = 9; i < 12 && i < length && line[i] >= '0' && line[i] <= '9'; i++)
    status = status * 10 + (line[i] - '0');
  return status;
}

void close_connection(request* self) {
  while (self->connection_open > 0) {
    self->connection_open--;
    xp_stream_close(self->connection);
  }
}

void drop_connection(request* self) {
  close_connection(self);
  replace<xp_stream>(&self->connection, nullptr);
}

int32_t open_connection(request* self) {
  const int32_t code = xp_stream_open(self->connection, STREAM_MODE_WRITE);
  if (code == XP_OK) self->connection_open++;
  return code;
}

// ---- endings ---------------------------------------------------------------------------------

// Every failure ends here: `message` has been set.
int32_t fail(request* self, int32_t code) {
  self->http->done = 1;
  close_connection(self);
  (void)tell(self, XP_HTTP_ENDED, code, nullptr);
  return code;
}

int32_t fail_connection(request* self, int32_t code) {
  self->http->status = 0;
  set_message(self->http, "socket creation failed");
  return fail(self, code);
}

int32_t fail_send(request* self, int32_t code) {
  self->http->status = 0;
  set_message(self->http, "send request failed");
  return fail(self, code);
}

int32_t reject_redirect(request* self) {
  set_message(self->http, "redirect rejected");
  close_connection(self);
  (void)tell(self, XP_HTTP_ENDED, XP_E_CANCELLED, nullptr);
  return XP_OK;
}

// `transfer` is the last read or write, `refusal` what the response event said.
int32_t end(request* self, int32_t transfer, int32_t refusal) {
  xp_http* http = self->http;
  int32_t code = refusal;
  if (is_cancelled(http)) {
    code = XP_E_CANCELLED;
    set_message(http, "read response cancelled");
  } else if (transfer < 0) {
    code = transfer;
    set_message(http, "read response failed");
  }
  http->done = 1;
  close_connection(self);
  (void)tell(self, XP_HTTP_ENDED, code, http->response_headers);
  return code;
}

// ---- connection ------------------------------------------------------------------------------

int32_t ask_connection(xp_stream* connection, int32_t selector, int32_t* value) {
  *value = 0;
  return xp_stream_option(connection, selector, value);
}

// The connection that the owner keeps, if it is alive or can be made so.
void use_kept_connection(request* self) {
  xp_stream* kept = self->http->connection;
  if (!kept) return;
  int32_t value;
  const bool alive = ask_connection(kept, SOCKET_OPTION_CHECK, &value) == XP_OK && value != 0;
  if (alive || (ask_connection(kept, SOCKET_OPTION_RECONNECT, &value) == XP_OK && value == XP_OK))
    self->connection = xp_retain(kept);
  else
    replace<xp_stream>(&self->http->connection, nullptr);
}

void set_option(request* self, int32_t selector, int32_t value) {
  (void)xp_stream_option(self->connection, selector, &value);  // plain settings can't fail
}

void set_timeouts(request* self) {
  set_option(self, SOCKET_OPTION_CONNECT_TIMEOUT, self->http->connect_timeout);
  set_option(self, SOCKET_OPTION_RECEIVE_TIMEOUT, self->http->receive_timeout);
  set_option(self, SOCKET_OPTION_SEND_TIMEOUT, self->http->send_timeout);
}

uint32_t security_word(int32_t level) {
  uint32_t word = XP_SECURITY_ON;
  if (level > 1) word |= XP_SECURITY_CHECK_CHAIN;
  if (level > 2) word |= XP_SECURITY_CHECK_NAME;
  return word;
}

int32_t set_security(request* self) {
  uint32_t word = security_word(self->http->security_level);
  return xp_stream_option(self->connection, SOCKET_OPTION_SECURITY, &word);
}

void push(request* self) {
  int32_t sent;
  (void)ask_connection(self->connection, STREAM_OPTION_PUSH, &sent);
}

int32_t read_line(request* self, int32_t limit) {
  return xp_conn_read_line(self->connection, self->buffer, limit);
}

int32_t fail_tunnel(request* self, int32_t length) {
  if (length < 0) length = 0;
  self->http->status = status_of(self->buffer, length);
  replace(&self->http->message, xp_str_format("proxy CONNECT failed: %.*s", length, self->buffer));
  return fail(self, XP_E_CONNECT);
}

// Asks the proxy for a tunnel. Only one line of its reply is consumed; its empty line is met when
// the response is read.
bool ask_for_tunnel(request* self, int32_t* length) {
  const char* host = part_text(self->http->url->host);
  const char* format =
      strchr(host, ':') ? "CONNECT %s HTTP/1.1\r\n" : "CONNECT %s:443 HTTP/1.1\r\n";
  // A proxy that can't be written to sends no line.
  (void)xp_stream_printf(self->connection, format, host);
  (void)xp_stream_write(self->connection, "\r\n", 2);
  push(self);
  *length = read_line(self, BUFFER_SIZE);
  return is_status_line(self->buffer, *length) && status_of(self->buffer, *length) == 200;
}

// How a new connection is opened. `*ended` tells that the exchange has been ended already, with
// the code that is the result.
int32_t open_https(request* self, bool* ended) {
  xp_http* http = self->http;
  set_option(self, SOCKET_OPTION_PORT, 443);
  (void)xp_stream_option(self->connection, SOCKET_OPTION_KEYS, http->keys);
  if (!has_proxy(http)) {
    if (const int32_t code = set_security(self); code != XP_OK) return code;
    return open_connection(self);
  }
  if (const int32_t code = open_connection(self); code != XP_OK) return code;
  int32_t length;
  if (ask_for_tunnel(self, &length)) return set_security(self);
  *ended = true;
  return fail_tunnel(self, length);
}

int32_t new_connection(request* self, bool* ended) {
  xp_http* http = self->http;
  xp_object* target = http->url;
  if (has_proxy(http)) target = http->proxy;
  self->connection = xp_conn_stream_new(target);
  if (!self->connection) return XP_E_STREAM;
  set_timeouts(self);
  if (is_https(http)) return open_https(self, ended);
  set_option(self, SOCKET_OPTION_PORT, 80);
  return open_connection(self);
}

int32_t connect(request* self, bool* ended) {
  if (!self->connection) return new_connection(self, ended);
  set_timeouts(self);
  return open_connection(self);
}

// ---- request ---------------------------------------------------------------------------------

bool choose_method(request* self) {
  xp_http* http = self->http;
  if (!http->method)
    http->method = xp_str_new_constant(self->get ? "GET" : "POST");
  else if (is_text(http->method, "POST"))
    self->get = 0;
  return http->method != nullptr;
}

// Only a request to a proxy names scheme and host. Null with `*failed` clear when there is none.
xp_str* make_prefix(const xp_http* http, bool* failed) {
  *failed = false;
  if (!has_proxy(http) || is_https(http) || !http->url) return nullptr;
  xp_str* prefix =
      xp_str_format("%s://%s", part_text(http->url->scheme), part_text(http->url->host));
  *failed = !prefix;
  return prefix;
}

// The results of writing aren't looked at: a connection that has died shows when the status line
// is read.
bool write_request_line(request* self) {
  const xp_http* http = self->http;
  const xp_url* url = http->url;
  bool failed;
  const xp_ref<xp_str> prefix(make_prefix(http, &failed));
  if (failed) return false;
  const char* path = url ? part_text(url->path) : "";
  const bool bare = !url || (!self->get && !http->body);
  const char* query = bare ? nullptr : url->query.text;
  const char* form = bare ? nullptr : url->form.text;
  xp_stream* to = self->connection;
  if (query && form)
    (void)xp_stream_printf(to, "%p{O} %p{O}/%s?%s&%s HTTP/1.1\r\n", http->method, prefix.get(),
                           path, query, form);
  else if (query || form)
    (void)xp_stream_printf(to, "%p{O} %p{O}/%s?%s HTTP/1.1\r\n", http->method, prefix.get(), path,
                           query ? query : form);
  else
    (void)xp_stream_printf(to, "%p{O} %p{O}/%s HTTP/1.1\r\n", http->method, prefix.get(), path);
  return true;
}

// Adds one decoder's name to the list.
int32_t join_name(xp_dict*, const char* key, int32_t key_length, xp_object*, void* context) {
  auto* names = static_cast<xp_ref<xp_str>*>(context);
  const char* comma = xp_str_is_empty(names->get()) ? "" : ", ";
  names->reset(xp_str_format("%p{O}%s%.*s", names->get(), comma, key_length, key));
  return names->get() ? 0 : -1;
}

bool write_accept_encoding(request* self) {
  xp_dict* decoders = self->http->decoders;
  if (xp_dict_count(decoders) == 0) return true;
  xp_ref<xp_str> names;
  if (xp_dict_each(decoders, join_name, &names) != 0) return false;
  if (!xp_str_is_empty(names.get()))
    (void)xp_stream_printf(self->connection, "Accept-Encoding: %p{O}\r\n", names.get());
  return true;
}

int32_t write_header(xp_dict*, const char* key, int32_t key_length, xp_object* value,
                     void* context) {
  if (key_length > 0 && value && value->render && value->render(value, nullptr, 0) > 0)
    (void)xp_stream_printf(static_cast<xp_stream*>(context), "%.*s: %p{O}\r\n", key_length, key,
                           value);
  return 0;
}

bool write_headers(request* self) {
  const xp_http* http = self->http;
  xp_stream* to = self->connection;
  (void)xp_stream_printf(to, "Host: %s\r\n", http->url ? part_text(http->url->host) : "");
  if (!has_header(http->request_headers, "User-Agent"))
    (void)xp_stream_printf(to, "User-Agent: xp_http/1.1\r\n");
  if (!has_header(http->request_headers, "Accept")) (void)xp_stream_printf(to, "Accept: */*\r\n");
  if (!write_accept_encoding(self)) return false;
  if (http->connection) (void)xp_stream_printf(to, "Connection: Keep-Alive\r\n");
  return xp_dict_count(http->request_headers) == 0 ||
         xp_dict_each(http->request_headers, write_header, to) == 0;
}

// The form pairs of the URL are the body of a POST; a GET has none, and says so.
int32_t send_form(request* self) {
  const xp_http* http = self->http;
  const xp_url_part none = {};
  const xp_url_part& form = !self->get && http->url ? http->url->form : none;
  xp_stream* to = self->connection;
  if (form.length > 0 && !has_header(http->request_headers, "Content-Type"))
    (void)xp_stream_printf(to, "Content-Type: application/x-www-form-urlencoded\r\n");
  (void)xp_stream_printf(to, "Content-Length: %lld\r\n", static_cast<int64_t>(form.length));
  (void)xp_stream_write(to, "\r\n", 2);
  if (form.length == 0) return XP_OK;
  const int32_t sent = xp_stream_write(to, form.text, form.length);
  return sent < 0 ? sent : XP_OK;
}

// The length that the caller's own header tells; false when there is none.
bool told_length(xp_dict* headers, int64_t* length) {
  const xp_ref<> value(xp_dict_get(headers, "Content-Length", -1));
  if (!value) return false;
  *length = 0;
  if (const xp_num* number = xp_as_num(value.get()))
    *length = number->integer;
  else if (const xp_str* text = xp_as_str(value.get()))
    *length = xp_text_to_int64(text->text, text->length);
  return true;
}

int32_t copy_upload(request* self) {
  xp_stream* body = self->http->body;
  for (;;) {
    const int32_t got = xp_stream_read(body, self->buffer, BUFFER_SIZE);
    if (got < 1) return got == XP_E_EOF ? XP_OK : got;
    const int32_t sent = xp_stream_write(self->connection, self->buffer, got);
    if (sent < 0) return sent;
    if (tell(self, XP_HTTP_UPLOAD_MOVED, sent, nullptr) != 0) return XP_E_CANCELLED;
  }
}

int32_t send_upload(request* self) {
  xp_stream* body = self->http->body;
  const bool opened = xp_stream_open(body, 0) == XP_OK;
  int64_t length = -1;
  if (!told_length(self->http->request_headers, &length) && opened) {
    if (xp_stream_size(body, &length) != XP_OK) length = -1;
    if (length != -1) (void)xp_stream_printf(self->connection, "Content-Length: %lld\r\n", length);
  }
  (void)xp_stream_write(self->connection, "\r\n", 2);
  (void)tell(self, XP_HTTP_UPLOAD_STARTED, static_cast<int32_t>(length), nullptr);
  const int32_t code = opened ? copy_upload(self) : XP_E_STREAM;
  (void)tell(self, XP_HTTP_UPLOAD_ENDED, 0, nullptr);
  if (opened) xp_stream_close(body);
  return code;
}

int32_t send_request(request* self) {
  if (!choose_method(self)) return XP_E_MEMORY;
  (void)xp_stream_option(self->connection, SOCKET_OPTION_WRITE_BUFFER, nullptr);
  if (!write_request_line(self) || !write_headers(self)) return XP_E_MEMORY;
  const int32_t code = self->http->body ? send_upload(self) : send_form(self);
  push(self);
  if (code != XP_OK) return code;
  return tell(self, XP_HTTP_REQUEST_SENT, 0, self->http->request_headers);
}

// ---- response --------------------------------------------------------------------------------

// The empty line that a proxy's reply left behind is skipped. A second one is the status line, and
// the end of the headers.
int32_t read_status(request* self, bool* has_headers) {
  xp_http* http = self->http;
  http->status = -1;
  int32_t length = read_line(self, BUFFER_SIZE - 1);
  if (length == 0) length = read_line(self, BUFFER_SIZE - 1);
  if (length < 0) return length;
  if (is_status_line(self->buffer, length)) http->status = status_of(self->buffer, length);
  replace(&http->message, xp_str_new_n(self->buffer, length));
  replace(&http->response_headers, xp_dict_new(XP_DICT_NOCASE));
  self->header_bytes = 0;
  *has_headers = length > 0;
  return http->message && http->response_headers ? XP_OK : XP_E_MEMORY;
}

// A value that is there already stays alone; any other joins what the name holds.
int32_t keep_header(request* self, const char* name, int32_t name_length, const char* value,
                    int32_t value_length) {
  if (self->header_bytes + name_length + value_length > HEADER_BYTES_MOST) return XP_OK;
  const xp_ref<xp_str> text(xp_str_new_n(value, value_length));
  if (!text) return XP_E_MEMORY;
  xp_dict* headers = self->http->response_headers;
  const xp_ref<> present(xp_dict_get(headers, name, name_length));
  const xp_str* same = xp_as_str(present.get());
  if (same && xp_text_compare_bytes(same->text, same->length, value, value_length) == 0)
    return XP_OK;
  self->header_bytes += name_length + value_length;
  const int32_t code = xp_dict_add_value(headers, name, name_length, text.get(), REPEATED_ROOM);
  return code == XP_OK ? XP_OK : XP_E_MEMORY;
}

int32_t take_header(request* self, int32_t length) {
  const char* line = self->buffer;
  const char* colon = static_cast<const char*>(memchr(line, ':', static_cast<size_t>(length)));
  if (!colon || colon == line) return XP_OK;
  const char* end_of_line = line + length;
  const char* value = colon + 1;
  while (value < end_of_line && *value == ' ')
    value++;
  if (value == end_of_line) return XP_OK;
  const auto name_length = static_cast<int32_t>(colon - line);
  return keep_header(self, line, name_length < HEADER_NAME_MOST ? name_length : HEADER_NAME_MOST,
                     value, static_cast<int32_t>(end_of_line - value));
}

int32_t read_headers(request* self) {
  while (!is_cancelled(self->http)) {
    const int32_t length = read_line(self, BUFFER_SIZE - 1);
    if (length < 1) return length;
    if (const int32_t code = take_header(self, length); code != XP_OK) return code;
  }
  return XP_OK;
}

// Sets the URL of a redirect and drops what belongs to the old one; false rejects it.
bool follow_redirect(request* self) {
  xp_http* http = self->http;
  if (--self->redirects_left == 0) return false;
  xp_str* location = string_header(http->response_headers, "Location");
  xp_url* url = xp_str_is_empty(location) ? nullptr : xp_url_from_str(location);
  if (!url) return false;
  replace(&http->url, url);
  drop_connection(self);
  replace<xp_str>(&http->message, nullptr);
  if (tell(self, XP_HTTP_REDIRECT, 0, http->url) != 0) return false;
  replace<xp_dict>(&http->response_headers, nullptr);
  return true;
}

// Whether the text contains the word, without regard to case.
bool contains(const xp_str* text, const char* word) {
  const int32_t length = xp_text_length(word);
  for (int32_t i = 0; text && i + length <= text->length; i++)
    if (xp_text_compare_nocase(text->text + i, length, word, length) == 0) return true;
  return false;
}

// A response with neither header has no body here. `*failed` tells that memory is out.
xp_stream* choose_framing(request* self, bool* failed) {
  xp_dict* headers = self->http->response_headers;
  int64_t length = 0;
  if (const xp_str* told = string_header(headers, "Content-Length"))
    length = xp_text_to_int64(told->text, told->length);
  else if (contains(string_header(headers, "Transfer-Encoding"), "chunked"))
    length = -1;
  xp_stream* transfer = xp_http_transfer_new(self->connection, length);
  *failed = length != 0 && !transfer;
  return transfer;
}

// The stream that takes the body: a decoder in front of the output, or the output itself.
xp_stream* choose_sink(request* self) {
  const xp_http* http = self->http;
  const xp_str* coding = string_header(http->response_headers, "Content-Encoding");
  const xp_ref<> entry(coding ? xp_dict_get(http->decoders, coding->text, coding->length)
                              : nullptr);
  const auto* decoder = xp_cast<xp_http_decoder>(entry.get(), XP_HTTP_DECODER);
  if (!decoder) return xp_retain(self->output);
  return decoder->factory(self->http, self->output, decoder->argument);
}

int32_t drop_body(request* self, xp_stream* transfer) {
  int32_t got;
  do
    got = xp_stream_read(transfer, self->buffer, BUFFER_SIZE);
  while (got > 0);
  return got;
}

int32_t write_chunk(xp_stream* sink, const char* bytes, int32_t length) {
  const int32_t written = xp_stream_write(sink, bytes, length);
  if (written < 0) return written;
  return written == length ? XP_OK : XP_E_IO;
}

// `opened` is what opening the sink gave; it counts only once there is something to write.
int32_t copy_body(request* self, xp_stream* transfer, xp_stream* sink, int32_t opened) {
  while (!is_cancelled(self->http)) {
    const int32_t got = xp_stream_read(transfer, self->buffer, BUFFER_SIZE);
    if (got < 1) return got;
    if (tell(self, XP_HTTP_DOWNLOAD_MOVED, got, nullptr) != 0) {
      cancel(self->http);
      return XP_OK;
    }
    const int32_t code = opened == XP_OK ? write_chunk(sink, self->buffer, got) : opened;
    if (code != XP_OK) return code;
  }
  return XP_OK;
}

int32_t deliver_body(request* self, xp_stream* transfer) {
  const xp_ref<xp_stream> sink(choose_sink(self));
  int64_t size = -1;
  (void)xp_stream_size(transfer, &size);
  (void)xp_stream_option(sink.get(), static_cast<int32_t>(xp_tag("rsrv")), &size);  // a hint
  (void)tell(self, XP_HTTP_DOWNLOAD_STARTED, static_cast<int32_t>(size), nullptr);
  const int32_t opened = xp_stream_open(sink.get(), STREAM_MODE_WRITE);
  const int32_t code = copy_body(self, transfer, sink.get(), opened);
  if (opened == XP_OK) xp_stream_close(sink.get());
  (void)tell(self, XP_HTTP_DOWNLOAD_ENDED, 0, nullptr);
  return code;
}

int32_t read_body(request* self) {
  xp_http* http = self->http;
  bool failed;
  const xp_ref<xp_stream> transfer(choose_framing(self, &failed));
  const int32_t refusal = tell(self, XP_HTTP_RESPONSE, http->status, http->response_headers);
  if (failed) return end(self, XP_E_MEMORY, refusal);
  if (!transfer) return end(self, XP_OK, refusal);
  int32_t code = xp_stream_open(transfer.get(), 0);
  if (code == XP_OK)
    code = refusal != 0 ? drop_body(self, transfer.get()) : deliver_body(self, transfer.get());
  xp_stream_close(transfer.get());
  return end(self, code, refusal);
}

// One request and its response. `*again` asks for the next turn, with the URL of a redirect.
int32_t run_turn(request* self, bool* again) {
  xp_http* http = self->http;
  *again = false;
  bool ended = false;
  int32_t code = connect(self, &ended);
  if (ended) return code;
  if (code == XP_OK) code = tell(self, XP_HTTP_CONNECTED, 0, self->connection);
  if (code != XP_OK) return fail_connection(self, code);
  code = send_request(self);
  if (code != XP_OK) return fail_send(self, code);
  bool has_headers = false;
  code = read_status(self, &has_headers);
  if (code == XP_OK && has_headers) code = read_headers(self);
  if (code != XP_OK || is_cancelled(http)) return end(self, code, 0);
  if (http->status < 300 || http->status > 399 || !http->follow_redirects) return read_body(self);
  if (!follow_redirect(self)) return reject_redirect(self);
  *again = true;
  return XP_OK;
}

// ---- kinds -----------------------------------------------------------------------------------

void http_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* http = static_cast<xp_http*>(object);
  xp_object* const fields[] = {http->url,      http->request_headers,
                               http->body,     http->response_headers,
                               http->decoders, http->connection,
                               http->proxy,    http->message,
                               http->method,   http->keys};
  for (xp_object* field : fields)
    xp_object_release(field);
  xp_object_free(http);
}

}  // namespace

xp_http* xp_http_new() {
  auto* http = xp_object_new<xp_http>(XP_HTTP);
  if (http) http->release = http_release;
  return http;
}

xp_http_decoder* xp_http_decoder_new(xp_http_decoder_factory factory, void* argument) {
  auto* decoder = xp_object_new<xp_http_decoder>(XP_HTTP_DECODER);
  if (!decoder) return nullptr;
  decoder->factory = factory;
  decoder->argument = argument;
  return decoder;
}

int32_t xp_http_exchange(xp_http* http, int32_t get, xp_stream* output, xp_http_callback callback,
                         void* argument) {
  if (!http) return XP_E_PARAMETER;
  replace<xp_str>(&http->message, nullptr);
  replace<xp_dict>(&http->response_headers, nullptr);
  const xp_ref<request> self(request_new(http, get, output, callback, argument));
  if (!self) {
    http->done = 1;
    http->status = 0;
    if (callback) (void)callback(http, XP_HTTP_ENDED, XP_E_MEMORY, nullptr, argument);
    return XP_E_MEMORY;
  }
  use_kept_connection(self.get());
  for (bool again = true;;) {
    const int32_t code = run_turn(self.get(), &again);
    if (!again) return code;
  }
}
