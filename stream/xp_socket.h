// `sock`: a TCP connection as a stream. It is made closed; settings are given through its `option`
// slot, and opening resolves the name, connects (or listens for exactly one connection) within a
// time limit and starts TLS when that has been asked for.
//
// Every wait is limited by the time limit of its operation, in whole seconds. The limits are for
// silence, not for the whole: as long as bytes move, a transfer goes on.
#pragma once

#include "object/xp_str.h"
#include "stream/xp_stream.h"

constexpr uint32_t XP_SOCKET = xp_tag("sock");

// Selectors of `option`. A null argument stands for the value told; an output through it is
// skipped.
enum xp_socket_selector : int32_t {
  // xp_str* itself: the TLS certificate to present (stream/xp_tls.h); retained, null clears it
  SOCKET_OPTION_KEYS = static_cast<int32_t>(xp_tag("keys")),
  // xp_str* itself: service name of the certificate store; the same
  SOCKET_OPTION_SERVICE = static_cast<int32_t>(xp_tag("srvc")),
  // xp_object* itself, kept for the caller; the same
  SOCKET_OPTION_LIPC = static_cast<int32_t>(xp_tag("lipc")),
  // uint32_t, null XP_SECURITY_ON: the security word. On a connected socket the handshake runs at
  // once, and its outcome is the result.
  SOCKET_OPTION_SECURITY = static_cast<int32_t>(xp_tag("secy")),
  SOCKET_OPTION_PORT = static_cast<int32_t>(xp_tag("port")),      // int32_t: the default port
  SOCKET_OPTION_TIMEOUTS = static_cast<int32_t>(xp_tag("tout")),  // int32_t: all three limits
  SOCKET_OPTION_CONNECT_TIMEOUT = static_cast<int32_t>(xp_tag("tcon")),  // int32_t: seconds
  SOCKET_OPTION_SEND_TIMEOUT = static_cast<int32_t>(xp_tag("tsnd")),     // int32_t: seconds
  SOCKET_OPTION_RECEIVE_TIMEOUT = static_cast<int32_t>(xp_tag("trcv")),  // int32_t: seconds
  // int32_t, null 16384: bytes of the write buffer, at most 131272; it only grows. 0 or below
  // sends what is buffered and ends buffering. XP_E_MEMORY when memory is out.
  SOCKET_OPTION_WRITE_BUFFER = static_cast<int32_t>(xp_tag("wbuf")),
  // int32_t: bytes readable now, without waiting (at most 1 without TLS); the result is the failure
  SOCKET_OPTION_PEEK = static_cast<int32_t>(xp_tag("peek")),
  // int32_t: in, seconds to wait, 0 meaning 1; out, bytes readable, 0 for none and on failure
  SOCKET_OPTION_POLL = static_cast<int32_t>(xp_tag("poll")),
  SOCKET_OPTION_CHECK = static_cast<int32_t>(xp_tag("chck")),      // int32_t: 1 when it seems alive
  SOCKET_OPTION_RECONNECT = static_cast<int32_t>(xp_tag("recn")),  // int32_t: the code of opening
  // int32_t: 0. Makes a wait of another thread stop at its next turn.
  SOCKET_OPTION_DEAF = static_cast<int32_t>(xp_tag("deaf")),
  SOCKET_OPTION_HOST = static_cast<int32_t>(xp_tag("host")),  // xp_str*: this computer's name, new
  SOCKET_OPTION_PEER = static_cast<int32_t>(xp_tag("peer")),  // int32_t: port of the peer
  SOCKET_OPTION_BIND = static_cast<int32_t>(xp_tag("bind")),  // int32_t: the default port
  // The peer's address, 4 or 16 bytes, then its port in network order; the result is 6 or 18.
  SOCKET_OPTION_ADDRESS = static_cast<int32_t>(xp_tag("addr")),
};

// The security word; 0 is a plain connection.
enum xp_security : uint32_t {
  XP_SECURITY_PROTOCOL = 0xFF,  // 1 SSL 2, 2 SSL 3, 3 TLS 1.0, anything else the service's choice
  XP_SECURITY_SERVER = 0x08000000,       // this end is the server
  XP_SECURITY_CHECK_NAME = 0x10000000,   // have the server's name checked
  XP_SECURITY_CHECK_CHAIN = 0x20000000,  // have the certificate validated
  XP_SECURITY_ON = 0x40000000,
};

constexpr uint32_t XP_TLS_RECORD_BUFFER = 0x10000;

struct xp_socket : xp_stream {
  xp_str* name;     // whom to connect to or where to listen (stream/xp_socket_name.h)
  xp_str* host;     // host part of `name`, set by opening
  xp_object* lipc;  // kept for the caller
  xp_socket_handle handle;
  xp_socket_handle listener;
  uint32_t security;  // the security word
  int32_t port;       // used when `name` has none; 0 for none
  int32_t tls_state;  // below 0 while no TLS channel is up, then the low byte of `security`
  int32_t closing;    // the peer is gone, a transfer failed, or `deaf`; atomic
  xp_str* keys;
  uint8_t address[XP_SOCKET_ADDRESS_SIZE];  // the peer's, in the platform's form
  int32_t connect_timeout;                  // seconds; 0 or below: no limit
  int32_t send_timeout;                     // seconds; 0 or below: no limit
  int32_t receive_timeout;                  // seconds; 0: no limit, below: don't wait
  int32_t buffer_capacity;
  int32_t buffer_fill;
  uint8_t* buffer;  // write buffer, null when off
  int32_t peek_count;
  uint8_t peek_bytes[4];  // read ahead by `peek` and `poll`
  xp_str* srvc;
  // The TLS channel (stream/xp_tls.cpp).
  xp_tls_service service;           // the security library and its table
  xp_tls_store* certificate_store;  // may be null
  xp_tls_handle credentials;
  xp_tls_handle context;
  uint32_t header_size;
  uint32_t trailer_size;
  uint32_t maximum_message;
  uint32_t plain_count;    // decrypted bytes in `record_buffer`
  uint32_t record_count;   // all bytes in `record_buffer`, the plain ones included
  uint8_t* record_buffer;  // XP_TLS_RECORD_BUFFER bytes
  uint8_t* send_buffer;    // room for one sealed record
  uint32_t plain_at;       // where the decrypted bytes begin in `record_buffer`
  uint32_t sealed_at;      // where those begin that are to be decrypted
};

// A closed socket for an `xstr` in the forms of xp_socket_name.h, or for the host of an `xurl`.
// Null for anything else and for no memory.
xp_stream* xp_socket_new(xp_object* target);

inline xp_socket* xp_as_socket(xp_object* object) {
  return xp_cast<xp_socket>(object, XP_SOCKET);
}

// ---- for the TLS channel ---------------------------------------------------------------------

// Sends all `length` bytes on the plain socket: the count, XP_E_TIMEOUT, or XP_E_STREAM (-1).
// A length below 1 gives 0.
int32_t xp_socket_send_all(xp_socket* socket, const void* bytes, int32_t length);
// One receive on the plain socket, waiting by the receive timeout: bytes, 0 at the peer's orderly
// end (and, when the timeout forbids waiting, for nothing there), XP_E_TIMEOUT, or XP_E_STREAM.
int32_t xp_socket_receive(xp_socket* socket, void* buffer, int32_t length);
// The same for a look at what is there: `wait` is -1 not to wait, or seconds. Nothing there is
// XP_SOCKET_NOTHING.
constexpr int32_t XP_SOCKET_NOTHING = -2;
int32_t xp_socket_receive_within(xp_socket* socket, void* buffer, int32_t length, int32_t wait);
void xp_socket_set_closing(xp_socket* socket);
// Whether TLS runs as the server: by the security word, or by a name that begins with ":".
bool xp_socket_is_tls_server(const xp_socket* socket);
