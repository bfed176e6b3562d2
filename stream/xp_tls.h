// The TLS channel of a socket. It does no cryptography: it feeds the platform's security service
// the bytes received and sends what it gives back.
#pragma once

#include "stream/xp_socket.h"

// Loads the service and runs the handshake. 0 at once when the socket's security word is 0, the
// channel is up or the socket isn't connected. Otherwise 0, or
//   XP_E_TLS_SERVICE  the service or its credentials could not be had
//   XP_E_MEMORY       no record buffer
//   XP_E_TLS_NETWORK  the network failed, or the handshake went an unexpected way
//   XP_E_TLS_REFUSED  the service refused, its validation of the certificate among the reasons
// After a failure the socket is connected and plain; the caller has to fail.
[[nodiscard]] int32_t xp_tls_start(xp_socket* socket, bool server);
inline bool xp_tls_is_up(const xp_socket* socket) {
  return socket->tls_state >= 0;
}

// Seals and sends. `length`, XP_E_TLS_RECORD, or the code of sending. A length below 1 is returned
// unchanged.
int32_t xp_tls_write(xp_socket* socket, const void* bytes, int32_t length);
// `wait` 0 reads: bytes delivered, 0 at the end, or a code. -1 looks and any other value waits that
// many seconds; nothing is delivered then, and the result is the count of bytes readable.
int32_t xp_tls_read(xp_socket* socket, void* buffer, int32_t length, int32_t wait);
// Tells the peer of the end, if it can be told, and brings the channel down.
void xp_tls_stop(xp_socket* socket);

// The certificate to present is named by the socket's `keys`: a text that its subject contains, up
// to the first ":"; or such a text, ":", a password, "@" and the path of a PFX file.
//
// A store at a place of xp_tls_store_place; null when it can't be opened.
xp_tls_store* xp_tls_open_store(uint32_t flags, const char* name);
void xp_tls_close_store(xp_tls_store* store);
// The store of a PFX file; null when it can't be read or opened.
xp_tls_store* xp_tls_load_pfx(const char* password, const char* file);
