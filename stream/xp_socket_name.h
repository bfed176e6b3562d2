// What a socket's name means: whom to connect to, or which port to listen on.
//
//   :8080  .:8080         listen; TLS runs as the server, or as the client
//   [::1]:8080  [::1]     an address in brackets
//   host:8080             exactly one colon
//   host  fe80::1         no port
//   host 8080  fe80::1/8080
#pragma once

#include <stdint.h>

struct xp_socket_name {
  const char* host;     // not NUL-terminated; null for a listening name
  int32_t host_length;  // bytes
  const char* port;     // up to the end of the name; null when the name has none
  int32_t port_length;  // bytes
  bool listens;
};

// Takes a name apart; the parts point into it. False for a bracket that isn't closed.
[[nodiscard]] bool xp_socket_name_parse(const char* name, int32_t length, xp_socket_name* out);
