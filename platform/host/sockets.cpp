// POSIX sockets. `wait` is poll, which has no limit on the number of a descriptor.
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include "platform/host/host.h"

// The resolver's records go by the seam's name; nothing looks inside them outside this file.
static xp_resolved* as_resolved(addrinfo* info) {
  return reinterpret_cast<xp_resolved*>(info);
}

static const addrinfo* as_info(const xp_resolved* address) {
  return reinterpret_cast<const addrinfo*>(address);
}

static int descriptor(xp_socket_handle socket) {
  return static_cast<int>(socket);
}

static xp_socket_error error_of(int number) {
  switch (number) {
    case 0:
      return XP_SOCKET_OK;
    case EWOULDBLOCK:
      return XP_SOCKET_WOULD_BLOCK;
    case EINTR:
    case EINPROGRESS:
      return XP_SOCKET_IN_PROGRESS;
    case EALREADY:
      return XP_SOCKET_ALREADY;
    case EISCONN:
      return XP_SOCKET_CONNECTED;
    case ECONNRESET:
    case EPIPE:
      return XP_SOCKET_RESET;
    case EINVAL:
      return XP_SOCKET_BAD_ARGUMENT;
    default:
      return XP_SOCKET_FAILED;
  }
}

static xp_socket_error outcome(int result) {
  return result < 0 ? error_of(errno) : XP_SOCKET_OK;
}

static void sockets_start() {}

static xp_resolved* sockets_resolve(const char* host, const char* service) {
  addrinfo hints = {};
  hints.ai_family = host ? AF_UNSPEC : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  if (!host) hints.ai_flags = AI_PASSIVE;
  addrinfo* list = nullptr;
  if (getaddrinfo(host, service, &hints, &list) != 0) return nullptr;
  return as_resolved(list);
}

static const xp_resolved* sockets_next(const xp_resolved* address) {
  return as_resolved(as_info(address)->ai_next);
}

static void sockets_free_resolved(xp_resolved* list) {
  if (list) freeaddrinfo(reinterpret_cast<addrinfo*>(list));
}

static uint32_t sockets_address_bytes(const xp_resolved* address, void* out, uint32_t size) {
  const addrinfo* info = as_info(address);
  const uint32_t bytes = info->ai_addrlen < size ? info->ai_addrlen : size;
  memcpy(out, info->ai_addr, bytes);
  return bytes;
}

static uint32_t sockets_address_parts(const void* address, uint8_t out[18]) {
  sa_family_t family;
  memcpy(&family, static_cast<const char*>(address) + offsetof(sockaddr, sa_family), sizeof family);
  if (family == AF_INET) {
    sockaddr_in in;
    memcpy(&in, address, sizeof in);
    memcpy(out, &in.sin_addr, 4);
    memcpy(out + 4, &in.sin_port, 2);
    return 6;
  }
  sockaddr_in6 in6;
  memcpy(&in6, address, sizeof in6);
  memcpy(out, &in6.sin6_addr, 16);
  memcpy(out + 16, &in6.sin6_port, 2);
  return 18;
}

static xp_socket_handle sockets_create(const xp_resolved* address) {
  const addrinfo* info = as_info(address);
  return socket(info->ai_family, info->ai_socktype | SOCK_CLOEXEC, info->ai_protocol);
}

static void sockets_close(xp_socket_handle socket) {
  close(descriptor(socket));
}

static bool sockets_set_nonblocking(xp_socket_handle socket) {
  const int flags = fcntl(descriptor(socket), F_GETFL);
  return flags >= 0 && fcntl(descriptor(socket), F_SETFL, flags | O_NONBLOCK) == 0;
}

static void sockets_set_reuse_address(xp_socket_handle socket) {
  const int on = 1;
  (void)setsockopt(descriptor(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

static xp_socket_error sockets_pending_error(xp_socket_handle socket) {
  int number = 0;
  socklen_t size = sizeof number;
  if (getsockopt(descriptor(socket), SOL_SOCKET, SO_ERROR, &number, &size) != 0)
    return XP_SOCKET_FAILED;
  return error_of(number);
}

static xp_socket_error sockets_connect(xp_socket_handle socket, const xp_resolved* address) {
  const addrinfo* info = as_info(address);
  return outcome(connect(descriptor(socket), info->ai_addr, info->ai_addrlen));
}

static xp_socket_error sockets_bind(xp_socket_handle socket, const xp_resolved* address) {
  const addrinfo* info = as_info(address);
  return outcome(bind(descriptor(socket), info->ai_addr, info->ai_addrlen));
}

static xp_socket_error sockets_listen(xp_socket_handle socket, int32_t backlog) {
  return outcome(listen(descriptor(socket), backlog));
}

static xp_socket_error sockets_accept(xp_socket_handle socket, xp_socket_handle* out,
                                      void* address) {
  socklen_t size = XP_SOCKET_ADDRESS_SIZE;
  const int made =
      accept4(descriptor(socket), static_cast<sockaddr*>(address), &size, SOCK_CLOEXEC);
  if (made < 0) return error_of(errno);
  *out = made;
  return XP_SOCKET_OK;
}

static int32_t sockets_send(xp_socket_handle socket, const void* bytes, int32_t length,
                            xp_socket_error* error) {
  ssize_t sent;
  do
    sent = send(descriptor(socket), bytes, static_cast<size_t>(length), MSG_NOSIGNAL);
  while (sent < 0 && errno == EINTR);
  *error = outcome(static_cast<int>(sent));
  return static_cast<int32_t>(sent);
}

static int32_t sockets_recv(xp_socket_handle socket, void* buffer, int32_t length,
                            xp_socket_error* error) {
  ssize_t got;
  do
    got = recv(descriptor(socket), buffer, static_cast<size_t>(length), 0);
  while (got < 0 && errno == EINTR);
  *error = outcome(static_cast<int>(got));
  return static_cast<int32_t>(got);
}

static int64_t milliseconds_now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

static int32_t events_of(short revents) {
  uint32_t events = 0;
  if (revents & (POLLIN | POLLHUP | POLLERR)) events |= XP_SOCKET_READABLE;
  if (revents & (POLLOUT | POLLERR)) events |= XP_SOCKET_WRITABLE;
  if (revents & POLLPRI) events |= XP_SOCKET_EXCEPTION;
  return static_cast<int32_t>(events);
}

static int32_t sockets_wait(xp_socket_handle socket, uint32_t events, int32_t seconds) {
  pollfd entry = {};
  entry.fd = descriptor(socket);
  if (events & XP_SOCKET_READABLE) entry.events |= POLLIN;
  if (events & XP_SOCKET_WRITABLE) entry.events |= POLLOUT;
  if (events & XP_SOCKET_EXCEPTION) entry.events |= POLLPRI;
  const int64_t end = milliseconds_now() + static_cast<int64_t>(seconds) * 1000;
  for (;;) {
    int64_t left = seconds < 0 ? -1 : end - milliseconds_now();
    if (seconds >= 0 && left < 0) left = 0;
    const int ready = poll(&entry, 1, left > INT32_MAX ? INT32_MAX : static_cast<int>(left));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0 || entry.revents & POLLNVAL) return -1;
    if (ready > 0) return events_of(entry.revents);
    if (left >= 0 && left <= INT32_MAX) return 0;
  }
}

static bool sockets_host_name(char* out, uint32_t size) {
  if (gethostname(out, size) != 0) return false;
  return memchr(out, 0, size) != nullptr;
}

constinit const xp_socket_ops host_sockets = {
    .start = sockets_start,
    .resolve = sockets_resolve,
    .next = sockets_next,
    .free_resolved = sockets_free_resolved,
    .address_bytes = sockets_address_bytes,
    .address_parts = sockets_address_parts,
    .create = sockets_create,
    .close = sockets_close,
    .set_nonblocking = sockets_set_nonblocking,
    .set_reuse_address = sockets_set_reuse_address,
    .pending_error = sockets_pending_error,
    .connect = sockets_connect,
    .bind = sockets_bind,
    .listen = sockets_listen,
    .accept = sockets_accept,
    .send = sockets_send,
    .recv = sockets_recv,
    .wait = sockets_wait,
    .host_name = sockets_host_name,
};
