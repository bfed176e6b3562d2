// Windows sockets. `wait` is select, on one socket at a time.
#include <string.h>

#include "platform/windows/backend.h"

// Order matters: these need windows.h.
#include <winsock2.h>
#include <ws2tcpip.h>

namespace {

static_assert(XP_SOCKET_INVALID == static_cast<xp_socket_handle>(INVALID_SOCKET));

// The resolver's records go by the seam's name; nothing looks inside them outside this file.
xp_resolved* as_resolved(addrinfo* info) {
  return reinterpret_cast<xp_resolved*>(info);
}

const addrinfo* as_info(const xp_resolved* address) {
  return reinterpret_cast<const addrinfo*>(address);
}

SOCKET socket_of(xp_socket_handle handle) {
  return static_cast<SOCKET>(handle);
}

xp_socket_error error_of(int code) {
  switch (code) {
    case 0:
      return XP_SOCKET_OK;
    case WSAEWOULDBLOCK:
      return XP_SOCKET_WOULD_BLOCK;
    case WSAEINPROGRESS:
      return XP_SOCKET_IN_PROGRESS;
    case WSAEALREADY:
      return XP_SOCKET_ALREADY;
    case WSAEINVAL:
      return XP_SOCKET_BAD_ARGUMENT;
    case WSAEISCONN:
      return XP_SOCKET_CONNECTED;
    case WSAECONNRESET:
      return XP_SOCKET_RESET;
  }
  return XP_SOCKET_FAILED;
}

xp_socket_error outcome(int result) {
  return result == SOCKET_ERROR ? error_of(WSAGetLastError()) : XP_SOCKET_OK;
}

// The service counts its starts; ending it is left to the end of the process.
void sockets_start() {
  WSADATA data;
  (void)WSAStartup(MAKEWORD(1, 1), &data);
}

xp_resolved* sockets_resolve(const char* host, const char* service) {
  addrinfo hints = {};
  hints.ai_family = host ? AF_UNSPEC : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  if (!host) hints.ai_flags = AI_PASSIVE;
  addrinfo* list = nullptr;
  return getaddrinfo(host, service, &hints, &list) == 0 ? as_resolved(list) : nullptr;
}

const xp_resolved* sockets_next(const xp_resolved* address) {
  return as_resolved(as_info(address)->ai_next);
}

void sockets_free_resolved(xp_resolved* list) {
  if (list) freeaddrinfo(reinterpret_cast<addrinfo*>(list));
}

uint32_t sockets_address_bytes(const xp_resolved* address, void* out, uint32_t size) {
  const addrinfo* info = as_info(address);
  const auto bytes = static_cast<uint32_t>(info->ai_addrlen);
  const uint32_t copied = bytes < size ? bytes : size;
  memcpy(out, info->ai_addr, copied);
  return copied;
}

uint32_t sockets_address_parts(const void* address, uint8_t out[18]) {
  SOCKADDR_STORAGE any;
  memcpy(&any.ss_family, address, sizeof any.ss_family);
  if (any.ss_family == AF_INET) {
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

xp_socket_handle sockets_create(const xp_resolved* address) {
  const addrinfo* info = as_info(address);
  return static_cast<xp_socket_handle>(
      socket(info->ai_family, info->ai_socktype, info->ai_protocol));
}

void sockets_close(xp_socket_handle handle) {
  closesocket(socket_of(handle));
}

bool sockets_set_nonblocking(xp_socket_handle handle) {
  u_long on = 1;
  return ioctlsocket(socket_of(handle), static_cast<long>(FIONBIO), &on) == 0;
}

void sockets_set_reuse_address(xp_socket_handle handle) {
  const int on = 1;
  (void)setsockopt(socket_of(handle), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on),
                   sizeof on);
}

xp_socket_error sockets_pending_error(xp_socket_handle handle) {
  int code = 0;
  int size = sizeof code;
  if (getsockopt(socket_of(handle), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&code), &size))
    return XP_SOCKET_FAILED;
  return error_of(code);
}

xp_socket_error sockets_connect(xp_socket_handle handle, const xp_resolved* address) {
  const addrinfo* info = as_info(address);
  return outcome(connect(socket_of(handle), info->ai_addr, static_cast<int>(info->ai_addrlen)));
}

xp_socket_error sockets_bind(xp_socket_handle handle, const xp_resolved* address) {
  const addrinfo* info = as_info(address);
  return outcome(bind(socket_of(handle), info->ai_addr, static_cast<int>(info->ai_addrlen)));
}

xp_socket_error sockets_listen(xp_socket_handle handle, int32_t backlog) {
  return outcome(listen(socket_of(handle), backlog));
}

xp_socket_error sockets_accept(xp_socket_handle handle, xp_socket_handle* out, void* address) {
  int size = XP_SOCKET_ADDRESS_SIZE;
  const SOCKET made = accept(socket_of(handle), static_cast<sockaddr*>(address), &size);
  if (made == INVALID_SOCKET) return error_of(WSAGetLastError());
  *out = static_cast<xp_socket_handle>(made);
  return XP_SOCKET_OK;
}

int32_t sockets_send(xp_socket_handle handle, const void* bytes, int32_t length,
                     xp_socket_error* error) {
  const int sent = send(socket_of(handle), static_cast<const char*>(bytes), length, 0);
  *error = outcome(sent);
  return sent;
}

int32_t sockets_recv(xp_socket_handle handle, void* buffer, int32_t length,
                     xp_socket_error* error) {
  const int got = recv(socket_of(handle), static_cast<char*>(buffer), length, 0);
  *error = outcome(got);
  return got;
}

int32_t sockets_wait(xp_socket_handle handle, uint32_t events, int32_t seconds) {
  struct {
    uint32_t event;
    fd_set set;
  } waits[] = {{XP_SOCKET_READABLE, {}}, {XP_SOCKET_WRITABLE, {}}, {XP_SOCKET_EXCEPTION, {}}};
  fd_set* sets[3] = {};
  for (int i = 0; i < 3; i++) {
    if (!(events & waits[i].event)) continue;
    waits[i].set.fd_count = 1;
    waits[i].set.fd_array[0] = socket_of(handle);
    sets[i] = &waits[i].set;
  }
  timeval limit = {.tv_sec = seconds, .tv_usec = 0};
  const int ready = select(0, sets[0], sets[1], sets[2], seconds < 0 ? nullptr : &limit);
  if (ready <= 0) return ready == 0 ? 0 : -1;
  uint32_t held = 0;
  for (int i = 0; i < 3; i++)
    if (sets[i] && sets[i]->fd_count > 0) held |= waits[i].event;
  return static_cast<int32_t>(held);
}

bool sockets_host_name(char* out, uint32_t size) {
  return gethostname(out, static_cast<int>(size)) == 0 && memchr(out, 0, size) != nullptr;
}

}  // namespace

constinit const xp_socket_ops windows_sockets = {.start = sockets_start,
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
                                                 .host_name = sockets_host_name};
