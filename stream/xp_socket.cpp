#include "stream/xp_socket.h"

#include <string.h>
#include <atomic>

#include "format/xp_fmt.h"
#include "object/xp_dict.h"
#include "object/xp_ref.h"
#include "stream/xp_socket_name.h"
#include "stream/xp_tls.h"
#include "stream/xp_url.h"

namespace {

constexpr int32_t WRITE_BUFFER_DEFAULT = 16384;
constexpr int32_t WRITE_BUFFER_MOST = 0x200C8;
constexpr int32_t LISTEN_BACKLOG = 5;
constexpr int32_t PORT_TEXT_SIZE = 16;

const xp_socket_ops* system_sockets() {
  return xp_platform->sockets;
}

bool is_closing(xp_socket* socket) {
  return std::atomic_ref(socket->closing).load(std::memory_order_relaxed) != 0;
}

void clear_closing(xp_socket* socket) {
  std::atomic_ref(socket->closing).store(0, std::memory_order_relaxed);
}

// The three object fields may be swapped by one thread while another sets them.
template <class T>
void swap_object(T** field, T* object) {
  T* old = std::atomic_ref(*field).exchange(xp_retain(object), std::memory_order_acq_rel);
  xp_object_release(old);
}

// 0 or below means no limit to `wait`.
int32_t limit_of(int32_t timeout) {
  return timeout > 0 ? timeout : -1;
}

// ---- addresses -------------------------------------------------------------------------------

// Address lists of "localhost" by port text, and once more by their own addresses, which tells
// that a list is kept. They stay for the life of the process.
std::atomic<xp_dict*> localhost_cache;

xp_dict* the_cache() {
  xp_dict* cache = localhost_cache.load(std::memory_order_acquire);
  if (cache) return cache;
  xp_dict* made = xp_dict_new(XP_DICT_RAW | XP_DICT_LOCKED);
  if (localhost_cache.compare_exchange_strong(cache, made)) return made;
  xp_object_release(made);
  return cache;
}

bool is_cached(const xp_resolved* list) {
  xp_dict* cache = localhost_cache.load(std::memory_order_acquire);
  const auto self = reinterpret_cast<uintptr_t>(list);
  return xp_dict_get(cache, reinterpret_cast<const char*>(&self), sizeof self) != nullptr;
}

// The entry that keeps the list goes first: a list that couldn't be entered under its port is
// still the caller's to free.
void cache_list(const char* port, xp_resolved* list) {
  xp_dict* cache = the_cache();
  auto* word = reinterpret_cast<xp_object*>(list);
  const auto self = reinterpret_cast<uintptr_t>(list);
  const char* key = reinterpret_cast<const char*>(&self);
  if (xp_dict_set(cache, key, sizeof self, word) != 0) return;
  if (xp_dict_set(cache, port, -1, word) != 0)
    (void)xp_dict_set(cache, key, sizeof self, nullptr);  // a key that is there needs no memory
}

xp_resolved* resolve_host(const char* host, const char* port) {
  const bool local = strcmp(host, "localhost") == 0;
  if (local) {
    xp_object* kept = xp_dict_get(localhost_cache.load(std::memory_order_acquire), port, -1);
    if (kept) return reinterpret_cast<xp_resolved*>(kept);
  }
  xp_resolved* list = system_sockets()->resolve(host, port);
  if (list && local) cache_list(port, list);
  return list;
}

void drop_list(xp_resolved* list) {
  if (!is_cached(list)) system_sockets()->free_resolved(list);
}

// ---- connecting ------------------------------------------------------------------------------

bool may_go_on(xp_socket_error error) {
  return error == XP_SOCKET_IN_PROGRESS || error == XP_SOCKET_WOULD_BLOCK ||
         error == XP_SOCKET_ALREADY || error == XP_SOCKET_BAD_ARGUMENT;
}

// A first error of any kind waits: only the second call tells what became of the attempt.
bool connect_handle(xp_socket* socket, xp_socket_handle handle, const xp_resolved* address) {
  const xp_socket_ops* sockets = system_sockets();
  constexpr uint32_t all = XP_SOCKET_READABLE | XP_SOCKET_WRITABLE | XP_SOCKET_EXCEPTION;
  for (bool first = true;; first = false) {
    const xp_socket_error error = sockets->connect(handle, address);
    if (error == XP_SOCKET_OK || error == XP_SOCKET_CONNECTED) return true;
    if (!first && !may_go_on(error)) return false;
    const int32_t ready = sockets->wait(handle, all, limit_of(socket->connect_timeout));
    if (ready <= 0) return false;
    if (!first && ready & XP_SOCKET_EXCEPTION) return false;
    if (ready & (XP_SOCKET_READABLE | XP_SOCKET_WRITABLE) &&
        sockets->pending_error(handle) != XP_SOCKET_OK)
      return false;
    if (is_closing(socket)) return false;
  }
}

xp_socket_handle connect_address(xp_socket* socket, const xp_resolved* address) {
  const xp_socket_ops* sockets = system_sockets();
  const xp_socket_handle handle = sockets->create(address);
  if (handle == XP_SOCKET_INVALID) return XP_SOCKET_INVALID;
  clear_closing(socket);
  if (sockets->set_nonblocking(handle) && connect_handle(socket, handle, address)) {
    (void)sockets->address_bytes(address, socket->address, sizeof socket->address);
    return handle;
  }
  sockets->close(handle);
  return XP_SOCKET_INVALID;
}

// Gives the port text of the name, or that of `port`; false when there is neither.
bool port_text(const xp_socket* socket, const xp_socket_name* name, char out[PORT_TEXT_SIZE],
               const char** text) {
  *text = name->port;
  if (name->port) return true;
  if (socket->port == 0) return false;
  xp_fmt_print(out, PORT_TEXT_SIZE, "%d", socket->port);
  *text = out;
  return true;
}

int32_t connect_client(xp_socket* socket, const xp_socket_name* name) {
  xp_str* host = xp_str_new_n(name->host, name->host_length);
  if (!host) return XP_E_MEMORY;
  xp_object_release(socket->host);
  socket->host = host;
  char digits[PORT_TEXT_SIZE];
  const char* port;
  if (!port_text(socket, name, digits, &port)) return XP_E_NOT_FOUND;
  xp_resolved* list = resolve_host(host->text, port);
  if (!list) return XP_E_NOT_FOUND;
  for (const xp_resolved* address = list; address && socket->handle == XP_SOCKET_INVALID;
       address = system_sockets()->next(address))
    socket->handle = connect_address(socket, address);
  drop_list(list);
  return socket->handle == XP_SOCKET_INVALID ? XP_E_CONNECT : XP_OK;
}

// ---- listening -------------------------------------------------------------------------------

xp_socket_handle bind_address(const xp_resolved* address) {
  const xp_socket_ops* sockets = system_sockets();
  const xp_socket_handle handle = sockets->create(address);
  if (handle == XP_SOCKET_INVALID) return XP_SOCKET_INVALID;
  sockets->set_reuse_address(handle);
  if (sockets->bind(handle, address) == XP_SOCKET_OK) return handle;
  sockets->close(handle);
  return XP_SOCKET_INVALID;
}

// The same turns as connect_handle takes.
int32_t accept_handle(xp_socket* socket) {
  const xp_socket_ops* sockets = system_sockets();
  for (bool first = true;; first = false) {
    const xp_socket_error error =
        sockets->accept(socket->listener, &socket->handle, socket->address);
    if (error == XP_SOCKET_OK) return XP_OK;
    if (!first && !may_go_on(error)) return XP_E_LISTEN;
    const int32_t ready = sockets->wait(socket->listener, XP_SOCKET_READABLE | XP_SOCKET_EXCEPTION,
                                        limit_of(socket->connect_timeout));
    if (ready == 0) return XP_E_TIMEOUT;
    if (ready < 0 || (!first && ready & XP_SOCKET_EXCEPTION)) return XP_E_LISTEN;
    if (is_closing(socket)) return XP_E_CANCELLED;
  }
}

int32_t accept_one(xp_socket* socket) {
  const xp_socket_ops* sockets = system_sockets();
  if (sockets->listen(socket->listener, LISTEN_BACKLOG) != XP_SOCKET_OK) return XP_E_LISTEN;
  if (!sockets->set_nonblocking(socket->listener)) return XP_E_LISTEN;
  if (socket->connect_timeout != 0) {
    const int32_t ready =
        sockets->wait(socket->listener, XP_SOCKET_READABLE, limit_of(socket->connect_timeout));
    if (ready <= 0 || is_closing(socket)) return XP_E_LISTEN;
  }
  clear_closing(socket);
  const int32_t code = accept_handle(socket);
  if (code != XP_OK) return code;
  if (sockets->set_nonblocking(socket->handle)) return XP_OK;
  sockets->close(socket->handle);
  socket->handle = XP_SOCKET_INVALID;
  return XP_E_LISTEN;
}

int32_t connect_listener(xp_socket* socket, const xp_socket_name* name) {
  char digits[PORT_TEXT_SIZE];
  const char* port;
  if (!port_text(socket, name, digits, &port)) return XP_E_NOT_FOUND;
  const xp_socket_ops* sockets = system_sockets();
  xp_resolved* list = sockets->resolve(nullptr, port);
  if (!list) return XP_E_NOT_FOUND;
  for (const xp_resolved* address = list; address && socket->listener == XP_SOCKET_INVALID;
       address = sockets->next(address))
    socket->listener = bind_address(address);
  sockets->free_resolved(list);
  if (socket->listener == XP_SOCKET_INVALID) return XP_E_LISTEN;
  clear_closing(socket);
  const int32_t code = accept_one(socket);
  sockets->close(socket->listener);
  socket->listener = XP_SOCKET_INVALID;
  return code;
}

// ---- opening and closing ---------------------------------------------------------------------

int32_t xp_socket_shutdown(xp_stream* stream) {
  auto* socket = static_cast<xp_socket*>(stream);
  xp_tls_stop(socket);
  if (socket->handle != XP_SOCKET_INVALID) system_sockets()->close(socket->handle);
  socket->handle = XP_SOCKET_INVALID;
  return XP_OK;
}

// A failed handshake leaves the socket connected; opening again starts from the beginning.
int32_t xp_socket_connect(xp_stream* stream, uint32_t) {
  auto* socket = static_cast<xp_socket*>(stream);
  if (socket->handle != XP_SOCKET_INVALID) (void)xp_socket_shutdown(stream);
  xp_socket_name name;
  if (!xp_socket_name_parse(xp_str_text(socket->name), socket->name->length, &name))
    return XP_E_PARAMETER;
  const int32_t code =
      name.listens ? connect_listener(socket, &name) : connect_client(socket, &name);
  if (code != XP_OK) return code;
  clear_closing(socket);
  socket->buffer_fill = 0;
  socket->peek_count = 0;
  return xp_tls_start(socket, xp_socket_is_tls_server(socket));
}

// ---- moving bytes ----------------------------------------------------------------------------

int32_t take_peeked(xp_socket* socket, uint8_t* out, int32_t length) {
  const int32_t count = socket->peek_count < length ? socket->peek_count : length;
  memcpy(out, socket->peek_bytes, static_cast<size_t>(count));
  socket->peek_count -= count;
  memmove(socket->peek_bytes, socket->peek_bytes + count, static_cast<size_t>(socket->peek_count));
  return count;
}

int32_t read_more(xp_socket* socket, uint8_t* out, int32_t length, int32_t count) {
  const int32_t got = xp_socket_receive_within(socket, out + count, length - count, -1);
  if (got == XP_SOCKET_NOTHING) return count;
  return got < 0 ? got : count + got;
}

int32_t xp_socket_read(xp_stream* stream, void* buffer, int32_t length) {
  auto* socket = static_cast<xp_socket*>(stream);
  if (!buffer || length < 1) return 0;
  if (xp_tls_is_up(socket)) return xp_tls_read(socket, buffer, length, 0);
  auto* out = static_cast<uint8_t*>(buffer);
  const int32_t count = take_peeked(socket, out, length);
  if (count == length) return count;
  const int32_t result =
      count > 0 ? read_more(socket, out, length, count) : xp_socket_receive(socket, out, length);
  if (result < 0 || (result == 0 && socket->receive_timeout >= 0)) xp_socket_set_closing(socket);
  return result;
}

// `wait` as in xp_tls_read. Bytes readable, or -1 when the connection is gone.
int32_t readable(xp_socket* socket, int32_t wait) {
  if (xp_tls_is_up(socket)) return xp_tls_read(socket, nullptr, 0, wait);
  if (socket->peek_count > 0) return socket->peek_count;
  const int32_t got = xp_socket_receive_within(socket, socket->peek_bytes, 1, wait);
  if (got == XP_SOCKET_NOTHING) return 0;
  if (got > 0) return socket->peek_count = got;
  xp_socket_set_closing(socket);
  return XP_E_STREAM;
}

int32_t send_now(xp_socket* socket, const void* bytes, int32_t length) {
  return xp_tls_is_up(socket) ? xp_tls_write(socket, bytes, length)
                              : xp_socket_send_all(socket, bytes, length);
}

// Bytes that couldn't be sent stay in the buffer.
int32_t send_buffered(xp_socket* socket) {
  const int32_t sent = send_now(socket, socket->buffer, socket->buffer_fill);
  if (sent < 1)
    xp_socket_set_closing(socket);
  else
    socket->buffer_fill = 0;
  return sent;
}

int32_t flush(xp_socket* socket) {
  if (socket->buffer_fill == 0) return 0;
  const int32_t sent = send_buffered(socket);
  socket->buffer_fill = 0;
  return sent;
}

bool buffer_takes(xp_socket* socket, const void* bytes, int32_t length) {
  if (length > socket->buffer_capacity - socket->buffer_fill) return false;
  memcpy(socket->buffer + socket->buffer_fill, bytes, static_cast<size_t>(length));
  socket->buffer_fill += length;
  return true;
}

int32_t xp_socket_write(xp_stream* stream, const void* bytes, int32_t length) {
  auto* socket = static_cast<xp_socket*>(stream);
  if (!bytes) return flush(socket);
  if (length < 1) return 0;
  if (socket->buffer) {
    if (buffer_takes(socket, bytes, length)) return length;
    if (socket->buffer_fill > 0) {
      const int32_t sent = send_buffered(socket);
      if (sent < 1) return sent;
    }
    if (buffer_takes(socket, bytes, length)) return length;
  }
  const int32_t sent = send_now(socket, bytes, length);
  if (sent < 0) xp_socket_set_closing(socket);
  return sent;
}

// ---- options ---------------------------------------------------------------------------------

int32_t integer_or(const void* argument, int32_t value) {
  return argument ? *static_cast<const int32_t*>(argument) : value;
}

void store(void* argument, int32_t value) {
  if (argument) *static_cast<int32_t*>(argument) = value;
}

xp_str* string_argument(void* argument) {
  return xp_as_str(static_cast<xp_object*>(argument));
}

int32_t option_flags(xp_socket*, void* argument) {
  store(argument, 0);
  return XP_OK;
}

int32_t option_keys(xp_socket* socket, void* argument) {
  swap_object(&socket->keys, string_argument(argument));
  return XP_OK;
}

int32_t option_service(xp_socket* socket, void* argument) {
  swap_object(&socket->srvc, string_argument(argument));
  return XP_OK;
}

int32_t option_lipc(xp_socket* socket, void* argument) {
  swap_object(&socket->lipc, static_cast<xp_object*>(argument));
  return XP_OK;
}

int32_t option_security(xp_socket* socket, void* argument) {
  socket->security = argument ? *static_cast<const uint32_t*>(argument) : XP_SECURITY_ON;
  return xp_tls_start(socket, xp_socket_is_tls_server(socket));
}

int32_t option_port(xp_socket* socket, void* argument) {
  socket->port = integer_or(argument, 0);
  return XP_OK;
}

int32_t option_timeouts(xp_socket* socket, void* argument) {
  const int32_t seconds = integer_or(argument, 0);
  socket->connect_timeout = socket->send_timeout = socket->receive_timeout = seconds;
  return XP_OK;
}

int32_t option_connect_timeout(xp_socket* socket, void* argument) {
  socket->connect_timeout = integer_or(argument, 0);
  return XP_OK;
}

int32_t option_send_timeout(xp_socket* socket, void* argument) {
  socket->send_timeout = integer_or(argument, 0);
  return XP_OK;
}

int32_t option_receive_timeout(xp_socket* socket, void* argument) {
  socket->receive_timeout = integer_or(argument, 0);
  return XP_OK;
}

int32_t end_buffering(xp_socket* socket) {
  (void)flush(socket);  // a failure shows in `closing`
  xp_heap_free(socket->buffer);
  socket->buffer = nullptr;
  socket->buffer_capacity = 0;
  return XP_OK;
}

int32_t option_write_buffer(xp_socket* socket, void* argument) {
  int32_t wanted = integer_or(argument, WRITE_BUFFER_DEFAULT);
  if (wanted <= 0) return end_buffering(socket);
  if (wanted > WRITE_BUFFER_MOST) wanted = WRITE_BUFFER_MOST;
  if (wanted <= socket->buffer_capacity) return XP_OK;
  void* grown = xp_heap_resize(socket->buffer, static_cast<size_t>(socket->buffer_capacity),
                               static_cast<size_t>(wanted));
  if (!grown) return XP_E_MEMORY;
  socket->buffer = static_cast<uint8_t*>(grown);
  socket->buffer_capacity = wanted;
  return XP_OK;
}

int32_t option_push(xp_socket* socket, void* argument) {
  store(argument, xp_socket_write(socket, nullptr, 0));
  return XP_OK;
}

int32_t option_peek(xp_socket* socket, void* argument) {
  const int32_t count = readable(socket, -1);
  store(argument, count > 0 ? count : 0);
  return count < 0 ? count : XP_OK;
}

int32_t option_poll(xp_socket* socket, void* argument) {
  const int32_t seconds = integer_or(argument, 0);
  const int32_t count = readable(socket, seconds == 0 ? 1 : seconds);
  store(argument, count > 0 ? count : 0);
  return XP_OK;
}

// A receive of no bytes asks the system for the error that it holds.
int32_t option_check(xp_socket* socket, void* argument) {
  if (!is_closing(socket)) {
    char nothing;
    xp_socket_error error;
    if (system_sockets()->recv(socket->handle, &nothing, 0, &error) < 0 && error == XP_SOCKET_RESET)
      xp_socket_set_closing(socket);
  }
  store(argument, is_closing(socket) ? 0 : 1);
  return XP_OK;
}

int32_t option_reconnect(xp_socket* socket, void* argument) {
  (void)xp_socket_shutdown(socket);
  store(argument, xp_socket_connect(socket, 0));
  return XP_OK;
}

int32_t option_deaf(xp_socket* socket, void* argument) {
  store(argument, 0);
  xp_socket_set_closing(socket);
  xp_socket_error error;
  // What the sends say is of no matter: they are there to be noticed.
  (void)system_sockets()->send(socket->handle, "", 0, &error);
  (void)system_sockets()->send(socket->listener, "", 0, &error);
  return XP_OK;
}

int32_t option_host(xp_socket*, void* argument) {
  if (!argument) return XP_OK;
  char name[256];
  const bool known = system_sockets()->host_name(name, sizeof name);
  *static_cast<xp_object**>(argument) = xp_str_new(known ? name : "localhost");
  return XP_OK;
}

int32_t option_peer(xp_socket* socket, void* argument) {
  uint8_t parts[18];
  const uint32_t size = system_sockets()->address_parts(socket->address, parts);
  store(argument, parts[size - 2] << 8 | parts[size - 1]);
  return XP_OK;
}

int32_t option_bind(xp_socket* socket, void* argument) {
  store(argument, socket->port);
  return XP_OK;
}

int32_t option_address(xp_socket* socket, void* argument) {
  uint8_t parts[18];
  const uint32_t size = system_sockets()->address_parts(socket->address, parts);
  if (argument) memcpy(argument, parts, size);
  return static_cast<int32_t>(size);
}

struct option_row {
  int32_t selector;
  int32_t (*apply)(xp_socket* socket, void* argument);
};

constexpr option_row options[] = {
    {STREAM_OPTION_FLAGS, option_flags},
    {SOCKET_OPTION_KEYS, option_keys},
    {SOCKET_OPTION_SERVICE, option_service},
    {SOCKET_OPTION_LIPC, option_lipc},
    {SOCKET_OPTION_SECURITY, option_security},
    {SOCKET_OPTION_PORT, option_port},
    {SOCKET_OPTION_TIMEOUTS, option_timeouts},
    {SOCKET_OPTION_CONNECT_TIMEOUT, option_connect_timeout},
    {SOCKET_OPTION_SEND_TIMEOUT, option_send_timeout},
    {SOCKET_OPTION_RECEIVE_TIMEOUT, option_receive_timeout},
    {SOCKET_OPTION_WRITE_BUFFER, option_write_buffer},
    {STREAM_OPTION_PUSH, option_push},
    {SOCKET_OPTION_PEEK, option_peek},
    {SOCKET_OPTION_POLL, option_poll},
    {SOCKET_OPTION_CHECK, option_check},
    {SOCKET_OPTION_RECONNECT, option_reconnect},
    {SOCKET_OPTION_DEAF, option_deaf},
    {SOCKET_OPTION_HOST, option_host},
    {SOCKET_OPTION_PEER, option_peer},
    {SOCKET_OPTION_BIND, option_bind},
    {SOCKET_OPTION_ADDRESS, option_address},
};

int32_t socket_option(xp_stream* stream, int32_t selector, void* argument) {
  for (const option_row& row : options)
    if (row.selector == selector) return row.apply(static_cast<xp_socket*>(stream), argument);
  return XP_E_STREAM;
}

void socket_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* socket = static_cast<xp_socket*>(object);
  (void)xp_socket_shutdown(socket);
  xp_heap_free(socket->buffer);
  xp_object_release(socket->name);
  xp_object_release(socket->host);
  xp_object_release(socket->lipc);
  xp_object_release(socket->keys);
  xp_object_release(socket->srvc);
  xp_object_free(socket);
}

xp_str* name_of(xp_object* target) {
  if (xp_url* url = xp_as_url(target)) return xp_str_new_n(url->host.text, url->host.length);
  return xp_retain(xp_as_str(target));
}

// What one receive said.
int32_t received(xp_socket* socket, void* buffer, int32_t length) {
  xp_socket_error error;
  const int32_t got = system_sockets()->recv(socket->handle, buffer, length, &error);
  if (got >= 0) return got;
  return error == XP_SOCKET_WOULD_BLOCK ? XP_SOCKET_NOTHING : XP_E_STREAM;
}

}  // namespace

bool xp_socket_is_tls_server(const xp_socket* socket) {
  return socket->security & XP_SECURITY_SERVER || *xp_str_text(socket->name) == ':';
}

void xp_socket_set_closing(xp_socket* socket) {
  std::atomic_ref(socket->closing).store(1, std::memory_order_relaxed);
}

int32_t xp_socket_send_all(xp_socket* socket, const void* bytes, int32_t length) {
  const xp_socket_ops* sockets = system_sockets();
  const auto* cursor = static_cast<const uint8_t*>(bytes);
  int32_t sent = 0;
  while (sent < length) {
    xp_socket_error error = XP_SOCKET_FAILED;
    const int32_t count = sockets->send(socket->handle, cursor + sent, length - sent, &error);
    if (count > 0) {
      sent += count;
      continue;
    }
    if (error != XP_SOCKET_WOULD_BLOCK) return XP_E_STREAM;
    const int32_t ready =
        sockets->wait(socket->handle, XP_SOCKET_WRITABLE, limit_of(socket->send_timeout));
    if (ready <= 0) return ready == 0 ? XP_E_TIMEOUT : XP_E_STREAM;
  }
  return sent;
}

int32_t xp_socket_receive(xp_socket* socket, void* buffer, int32_t length) {
  const int32_t timeout = socket->receive_timeout;
  for (;;) {
    const int32_t got = received(socket, buffer, length);
    if (got != XP_SOCKET_NOTHING) return got;
    if (timeout < 0) return 0;
    const int32_t ready =
        system_sockets()->wait(socket->handle, XP_SOCKET_READABLE, limit_of(timeout));
    if (ready <= 0) return ready == 0 ? XP_E_TIMEOUT : XP_E_STREAM;
  }
}

int32_t xp_socket_receive_within(xp_socket* socket, void* buffer, int32_t length, int32_t wait) {
  int32_t got = received(socket, buffer, length);
  if (got != XP_SOCKET_NOTHING || wait < 0) return got;
  const int32_t ready = system_sockets()->wait(socket->handle, XP_SOCKET_READABLE, wait);
  if (ready <= 0) return ready == 0 ? XP_SOCKET_NOTHING : XP_E_STREAM;
  return received(socket, buffer, length);
}

xp_stream* xp_socket_new(xp_object* target) {
  if (!target) return nullptr;
  system_sockets()->start();
  xp_ref<xp_str> name(name_of(target));
  auto* socket = name ? xp_object_new<xp_socket>(XP_SOCKET) : nullptr;
  if (!socket) return nullptr;
  socket->release = socket_release;
  socket->control = xp_stream_is_stream;
  socket->open = xp_socket_connect;
  socket->close = xp_socket_shutdown;
  socket->read = xp_socket_read;
  socket->write = xp_socket_write;
  socket->size = xp_stream_unknown_size;
  socket->rewind = xp_stream_no_rewind;
  socket->option = socket_option;
  socket->handle = XP_SOCKET_INVALID;
  socket->listener = XP_SOCKET_INVALID;
  socket->tls_state = -1;
  socket->name = name.take();
  return socket;
}
