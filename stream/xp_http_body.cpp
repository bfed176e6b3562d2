#include "stream/xp_http_body.h"

#include "object/xp_ascii.h"

static xp_http_body* as_body(xp_stream* stream) {
  return static_cast<xp_http_body*>(stream);
}

// Reads within the run of `*left` bytes. A result below 1 ends the body.
static int32_t read_run(xp_http_body* body, int64_t* left, void* buffer, int32_t length) {
  const int32_t wanted = *left < length ? static_cast<int32_t>(*left) : length;
  const int32_t got = xp_stream_read(body->inner, buffer, wanted);
  if (got < 1)
    body->remaining = 0;
  else
    *left -= got;
  return got;
}

// ---- chunk headers ---------------------------------------------------------------------------

// The steps of a chunk header give 1 to go on, else the result that ends the read.
constexpr int32_t GO_ON = 1;

static int32_t next_byte(xp_http_body* body, char* byte) {
  return xp_stream_read(body->inner, byte, 1);
}

static int32_t expect(xp_http_body* body, char wanted) {
  char byte;
  const int32_t got = next_byte(body, &byte);
  if (got < 1) return got;
  return byte == wanted ? GO_ON : XP_E_STREAM;
}

// Takes the digits of the size into `chunk_left`; `*end` is the byte behind them. A size that 63
// bits can't hold is malformed.
static int32_t read_chunk_size(xp_http_body* body, char* end) {
  body->chunk_left = 0;
  for (;;) {
    const int32_t got = next_byte(body, end);
    if (got < 1) return got;
    const int32_t digit = xp_ascii_hex_value(*end);
    if (digit < 0) return GO_ON;
    if (body->chunk_left > INT64_MAX >> 4) return XP_E_STREAM;
    body->chunk_left = body->chunk_left << 4 | digit;
  }
}

static int32_t skip_extension(xp_http_body* body) {
  char byte;
  do {
    const int32_t got = next_byte(body, &byte);
    if (got < 1) return got;
  } while (byte != '\r');
  return GO_ON;
}

static int32_t read_chunk_header(xp_http_body* body) {
  int32_t step = GO_ON;
  if (body->chunk_left == 0) {
    step = expect(body, '\r');
    if (step == GO_ON) step = expect(body, '\n');
    if (step != GO_ON) return step;
  }
  char end;
  step = read_chunk_size(body, &end);
  if (step != GO_ON) return step;
  if (end == ';')
    step = skip_extension(body);
  else if (end != '\r')
    step = XP_E_STREAM;
  return step == GO_ON ? expect(body, '\n') : step;
}

// Drops trailer lines up to an empty one. The state is 0 at a line start and 2 within a line; a CR
// adds 1.
static int32_t skip_trailer(xp_http_body* body) {
  body->remaining = 0;
  for (uint32_t state = 0;;) {
    char byte;
    const int32_t got = next_byte(body, &byte);
    if (got < 1) return got;
    if (byte == '\r')
      state |= 1;
    else if (byte == '\n' && state == 1)
      return 0;
    else
      state = byte == '\n' && state == 3 ? 0 : 2;
  }
}

static int32_t body_read(xp_stream* stream, void* buffer, int32_t length) {
  xp_http_body* body = as_body(stream);
  if (body->remaining == 0 || length < 1) return 0;
  if (body->remaining > 0) return read_run(body, &body->remaining, buffer, length);
  if (body->chunk_left < 1) {
    const int32_t step = read_chunk_header(body);
    if (step != GO_ON) return step;
    if (body->chunk_left == 0) return skip_trailer(body);
  }
  return read_run(body, &body->chunk_left, buffer, length);
}

// ---- the other slots -------------------------------------------------------------------------

static int32_t body_open(xp_stream*, uint32_t mode) {
  return mode & STREAM_MODE_WRITE ? XP_E_STREAM : XP_OK;
}

static int32_t body_size(xp_stream* stream, int64_t* out) {
  const int64_t remaining = as_body(stream)->remaining;
  if (out) *out = remaining >= 0 ? remaining : -1;
  return XP_OK;
}

static void body_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_object_release(static_cast<xp_http_body*>(object)->inner);
  xp_object_free(object);
}

xp_stream* xp_http_transfer_new(xp_stream* inner, int64_t length) {
  if (length == 0 || !inner) return nullptr;
  auto* body = xp_object_new<xp_http_body>(XP_HTTP_BODY);
  if (!body) return nullptr;
  body->release = body_release;
  body->open = body_open;
  body->close = xp_stream_close_nothing;
  body->read = body_read;
  body->write = xp_stream_no_write;
  body->size = body_size;
  body->rewind = xp_stream_no_rewind;
  body->inner = xp_retain(inner);
  body->remaining = length < 0 ? -1 : length;
  body->chunk_left = -1;
  return body;
}
