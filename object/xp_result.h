// The result codes that all folders share. 0 is success, negative values are failures; `read` and
// `write` of streams return byte counts, which are never negative.
#pragma once

#include <stdint.h>

enum xp_result : int32_t {
  XP_OK = 0,
  XP_E_STREAM = -1,       // no stream, not open, wrong direction, unknown selector, no connection
  XP_E_IO = -36,          // input or output failed
  XP_E_EOF = -39,         // end of file on a file stream
  XP_E_POSITION = -40,    // positioning failed
  XP_E_NOT_FOUND = -43,   // file not found or not openable; host not resolved; no port known
  XP_E_EXISTS = -48,      // there is one already, or it is of the wrong kind
  XP_E_PARAMETER = -50,   // bad parameter
  XP_E_MEMORY = -108,     // out of memory
  XP_E_CANCELLED = -128,  // cancelled by the caller
  XP_E_TIMEOUT = -199,    // timed out
  XP_E_GZIP_SIGNATURE = -200,
  XP_E_GZIP_HEADER = -202,
  XP_E_GZIP_CHECKSUM = -203,
  XP_E_GZIP_LENGTH = -204,
  XP_E_LISTEN = -1095,       // could not listen or accept
  XP_E_TLS_SERVICE = -1096,  // the TLS service could not be loaded or gave no credentials
  XP_E_CONNECT = -1098,      // could not connect; the proxy refused CONNECT
  XP_E_TLS_RECORD = -1099,   // a TLS record could not be sealed or opened
  XP_E_TLS_NETWORK = -2003,  // TLS handshake failed on the network side
  XP_E_TLS_REFUSED = -2005,  // TLS handshake refused by the security service
};
