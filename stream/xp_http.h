// The HTTP/1.1 client: one whole exchange in one blocking call, directly or through an HTTP proxy,
// over TCP or TLS.
//
// All settings live in an `http` object, whose fields its owner sets before the call and which
// survives it. There is no authentication, no retry and no cache; a redirect is followed and a
// connection kept only when asked for. docs/network.md tells what is sent, byte for byte.
#pragma once

#include "object/xp_dict.h"
#include "object/xp_str.h"
#include "stream/xp_stream.h"
#include "stream/xp_url.h"

constexpr uint32_t XP_HTTP = xp_tag("http");
constexpr uint32_t XP_HTTP_DECODER = xp_tag("hdec");

// All object fields are owned references, released with the object; each may be null.
struct xp_http : xp_object {
  int32_t done;               // set when an exchange has ended with a final outcome; never cleared
  int32_t status;             // of the last response; -1 malformed; 0 no response
  xp_url* url;                // a followed redirect replaces it
  xp_dict* request_headers;   // header name to any object with a text
  xp_stream* body;            // to upload
  xp_dict* response_headers;  // of the last response: `xstr`, or `arry` of them for a repeated name
  xp_dict* decoders;          // content coding to `hdec`
  xp_stream* connection;      // kept between exchanges by the owner
  xp_str* proxy;              // "host:port" of an HTTP proxy
  xp_str* message;            // the status line of the last response, or what failed
  xp_str* method;             // filled in on first use
  xp_str* keys;               // client certificate (stream/xp_tls.h)
  int32_t connect_timeout;    // seconds, as the socket options tcon, trcv and tsnd take them
  int32_t receive_timeout;    //
  int32_t send_timeout;       //
  int32_t security_level;     // 0, 1 nothing is checked; 2 the certificate chain; 3 the name, too
  int32_t follow_redirects;
  uintptr_t busy;     // callers don't start an exchange while it is set; the client leaves it alone
  int32_t cancelled;  // ends the exchange at the next look; may be set by any thread; atomic
};

// Makes a stream that decodes what is written to it into `output`; null on failure.
using xp_http_decoder_factory = xp_stream* (*)(xp_http* http, xp_stream* output, void* argument);

struct xp_http_decoder : xp_object {
  xp_http_decoder_factory factory;
  void* argument;
};

// What the callback is told, with `value` and `object`; a result other than 0 does what stands
// behind the arrow.
enum xp_http_event : int32_t {
  XP_HTTP_CONNECTED = 0,           // 0, connection -> fails as a connection failure
  XP_HTTP_REQUEST_SENT = 1,        // 0, request headers -> fails as a send failure
  XP_HTTP_RESPONSE = 2,            // status, response headers -> body is dropped; is the result
  XP_HTTP_ENDED = 3,               // the result, response headers after a normal end; always last
  XP_HTTP_REDIRECT = 4,            // 0, the new URL -> the redirect is rejected
  XP_HTTP_UPLOAD_STARTED = 100,    // low 32 bits of the length, null
  XP_HTTP_UPLOAD_MOVED = 101,      // bytes just written, null -> upload ends with XP_E_CANCELLED
  XP_HTTP_UPLOAD_ENDED = 102,      // 0, null
  XP_HTTP_DOWNLOAD_STARTED = 200,  // low 32 bits of the body's size or -1, null
  XP_HTTP_DOWNLOAD_MOVED = 201,    // bytes just read, null -> sets `cancelled`
  XP_HTTP_DOWNLOAD_ENDED = 202,    // 0, null
};

using xp_http_callback = int32_t (*)(xp_http* http, int32_t event, int32_t value, xp_object* object,
                                     void* argument);

xp_http* xp_http_new();
xp_http_decoder* xp_http_decoder_new(xp_http_decoder_factory factory, void* argument);

// Carries out one exchange: GET when `get` is not 0, otherwise POST, unless `method` says
// otherwise. The response's body goes to `output`, whatever its status. `output` and `callback`
// may be null.
//
// 0 with `done` set: a response was received; look at `status`. 0 with `done` clear: a redirect
// was rejected. Otherwise a code of object/xp_result.h or what the callback returned, and
// `message` tells what failed. A body that the peer ends early is no failure.
int32_t xp_http_exchange(xp_http* http, int32_t get, xp_stream* output, xp_http_callback callback,
                         void* argument);
