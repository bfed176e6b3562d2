// TCP sockets. All of them are made non-blocking by their owner, who waits in `wait`.
#pragma once

#include <stdint.h>

using xp_socket_handle = int64_t;
constexpr xp_socket_handle XP_SOCKET_INVALID = -1;

// Why a call failed. The four errors that a started connect or accept can go on from have their
// own values, and so has a reset; all others are one.
enum xp_socket_error : int32_t {
  XP_SOCKET_OK = 0,
  XP_SOCKET_WOULD_BLOCK,
  XP_SOCKET_IN_PROGRESS,
  XP_SOCKET_ALREADY,
  XP_SOCKET_BAD_ARGUMENT,
  XP_SOCKET_CONNECTED,  // connect on a socket that is connected
  XP_SOCKET_RESET,
  XP_SOCKET_FAILED,
};

// What `wait` waits for, and tells to be ready.
enum xp_socket_event : uint32_t {
  XP_SOCKET_READABLE = 1,  // also an end or a failure that a receive would report
  XP_SOCKET_WRITABLE = 2,
  XP_SOCKET_EXCEPTION = 4,
};

// One address of a list that the resolver made.
struct xp_resolved;

// Room for a socket address in the platform's form.
constexpr uint32_t XP_SOCKET_ADDRESS_SIZE = 128;

struct xp_socket_ops {
  // Makes the socket service ready for this process; may be called any number of times.
  void (*start)();
  // Addresses of stream sockets for `host` and the numeric or named `service`. A null host asks
  // for the local IPv4 addresses to listen on. Null when there is none.
  xp_resolved* (*resolve)(const char* host, const char* service);
  // The address behind this one, null at the end.
  const xp_resolved* (*next)(const xp_resolved* address);
  void (*free_resolved)(xp_resolved* list);
  // Copies the socket address; returns its bytes, at most `size`.
  uint32_t (*address_bytes)(const xp_resolved* address, void* out, uint32_t size);
  // A socket address as 4 or 16 bytes and then the port in network order; returns 6 or 18.
  uint32_t (*address_parts)(const void* address, uint8_t out[18]);

  // A new socket for that address, or XP_SOCKET_INVALID.
  xp_socket_handle (*create)(const xp_resolved* address);
  void (*close)(xp_socket_handle socket);
  bool (*set_nonblocking)(xp_socket_handle socket);
  void (*set_reuse_address)(xp_socket_handle socket);
  // The error left on the socket, XP_SOCKET_OK for none; XP_SOCKET_FAILED if it can't be read.
  xp_socket_error (*pending_error)(xp_socket_handle socket);

  xp_socket_error (*connect)(xp_socket_handle socket, const xp_resolved* address);
  xp_socket_error (*bind)(xp_socket_handle socket, const xp_resolved* address);
  xp_socket_error (*listen)(xp_socket_handle socket, int32_t backlog);
  // *out receives the connection, `address` (XP_SOCKET_ADDRESS_SIZE bytes) its peer.
  xp_socket_error (*accept)(xp_socket_handle socket, xp_socket_handle* out, void* address);
  // Bytes moved (0 from `recv` is the peer's orderly end), or -1 with *error set. Neither raises a
  // signal when the peer is gone.
  int32_t (*send)(xp_socket_handle socket, const void* bytes, int32_t length,
                  xp_socket_error* error);
  int32_t (*recv)(xp_socket_handle socket, void* buffer, int32_t length, xp_socket_error* error);
  // Waits until one of the `events` holds, at most `seconds` (negative: without limit, 0: only a
  // look). Returns the events that hold, 0 on a timeout, -1 on failure.
  int32_t (*wait)(xp_socket_handle socket, uint32_t events, int32_t seconds);

  // This computer's name, NUL-terminated; false when there is none or it doesn't fit.
  bool (*host_name)(char* out, uint32_t size);
};
