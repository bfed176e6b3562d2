#include "stream/xp_connection.h"

#include <string.h>

#include "object/xp_ref.h"

static xp_connection* as_connection(xp_stream* stream) {
  return static_cast<xp_connection*>(stream);
}

// ---- held bytes ------------------------------------------------------------------------------

static void forget_held(xp_connection* connection) {
  connection->held_count = connection->held_start = 0;
}

static const char* held_of(const xp_connection* connection) {
  return connection->held_bytes + connection->held_start;
}

static void drop_held(xp_connection* connection, uint32_t count) {
  connection->held_count -= count;
  connection->held_start = connection->held_count > 0 ? connection->held_start + count : 0;
}

static int32_t take_held(xp_connection* connection, void* buffer, int32_t length) {
  const uint32_t wanted = length > 0 ? static_cast<uint32_t>(length) : 0;
  const uint32_t count = connection->held_count < wanted ? connection->held_count : wanted;
  if (count == 0) return 0;
  memcpy(buffer, held_of(connection), count);
  drop_held(connection, count);
  return static_cast<int32_t>(count);
}

// Nothing is held when room is made.
static bool make_room(xp_connection* connection, uint32_t count) {
  if (count <= connection->held_capacity) return true;
  void* grown = xp_heap_resize(connection->held_bytes, connection->held_capacity, count);
  if (!grown) return false;
  connection->held_bytes = static_cast<char*>(grown);
  connection->held_capacity = count;
  return true;
}

static bool hold(xp_connection* connection, const char* bytes, uint32_t count) {
  if (!make_room(connection, count)) return false;
  if (count > 0) memcpy(connection->held_bytes, bytes, count);
  connection->held_start = 0;
  connection->held_count = count;
  return true;
}

// A body comes in chunks; on a plain socket it is received in larger runs, which halves the
// system's work. A TLS channel has a buffer of its own.
constexpr int32_t CHUNK = 0x4000;
constexpr int32_t READ_AHEAD = 0x20000;

static bool may_read_ahead(const xp_connection* connection, int32_t length) {
  const xp_socket* socket = xp_as_socket(connection->inner);
  return length >= CHUNK && socket && socket->tls_state < 0;
}

static int32_t read_inner(xp_connection* connection, char* buffer, int32_t length, bool ahead) {
  if (!ahead || !make_room(connection, READ_AHEAD))
    return xp_stream_read(connection->inner, buffer, length);
  const int32_t got = xp_stream_read(connection->inner, connection->held_bytes, READ_AHEAD);
  if (got < 1) return got;
  connection->held_start = 0;
  connection->held_count = static_cast<uint32_t>(got);
  return take_held(connection, buffer, length);
}

// ---- slots -----------------------------------------------------------------------------------

static int32_t connection_open(xp_stream* stream, uint32_t mode) {
  xp_stream* inner = as_connection(stream)->inner;
  return inner ? xp_stream_open(inner, mode) : XP_E_STREAM;
}

static int32_t connection_close(xp_stream* stream) {
  xp_stream* inner = as_connection(stream)->inner;
  if (!inner) return XP_E_STREAM;
  xp_stream_close(inner);
  return XP_OK;
}

static int32_t connection_read(xp_stream* stream, void* buffer, int32_t length) {
  xp_connection* connection = as_connection(stream);
  const int32_t held = take_held(connection, buffer, length);
  if (held > 0 && held == length) return held;
  const bool ahead = may_read_ahead(connection, length);
  const int32_t got =
      read_inner(connection, static_cast<char*>(buffer) + held, length - held, ahead);
  if (got < 0) return held > 0 ? held : got;
  return held + got;
}

static int32_t connection_write(xp_stream* stream, const void* bytes, int32_t length) {
  xp_stream* inner = as_connection(stream)->inner;
  if (!inner || inner->open_count < 1) return XP_E_STREAM;
  if (!bytes) return length == 0 ? 0 : XP_E_STREAM;
  return xp_stream_write(inner, bytes, length);
}

static int32_t connection_size(xp_stream* stream, int64_t* out) {
  xp_stream* inner = as_connection(stream)->inner;
  if (!inner || inner->open_count == 0 || !out) return XP_E_STREAM;
  return xp_stream_size(inner, out);
}

static int32_t connection_rewind(xp_stream* stream) {
  forget_held(as_connection(stream));
  return xp_stream_rewind(as_connection(stream)->inner);
}

static int32_t connection_option(xp_stream* stream, int32_t selector, void* argument) {
  if (selector == STREAM_OPTION_SEEK) forget_held(as_connection(stream));
  return xp_stream_option(as_connection(stream)->inner, selector, argument);
}

static void connection_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* connection = static_cast<xp_connection*>(object);
  xp_object_release(connection->inner);
  xp_heap_free(connection->held_bytes);
  xp_object_free(connection);
}

xp_stream* xp_conn_stream_new(xp_object* target) {
  xp_ref<xp_stream> inner(xp_socket_new(target));
  auto* connection = inner ? xp_object_new<xp_connection>(XP_CONNECTION) : nullptr;
  if (!connection) return nullptr;
  connection->release = connection_release;
  connection->control = xp_stream_is_stream;
  connection->open = connection_open;
  connection->close = connection_close;
  connection->read = connection_read;
  connection->write = connection_write;
  connection->size = connection_size;
  connection->rewind = connection_rewind;
  connection->option = connection_option;
  connection->inner = inner.take();
  return connection;
}

// ---- lines -----------------------------------------------------------------------------------

// Index of the first CR LF, -1 for none.
static int32_t find_line_end(const char* bytes, int32_t length) {
  const char* cursor = bytes;
  const char* end = bytes + length;
  while (end - cursor >= 2) {
    cursor = static_cast<const char*>(memchr(cursor, '\r', static_cast<size_t>(end - cursor - 1)));
    if (!cursor) return -1;
    if (cursor[1] == '\n') return static_cast<int32_t>(cursor - bytes);
    cursor++;
  }
  return -1;
}

// Serves the line from the held bytes. True when that settles the call; otherwise `*count` bytes
// without a delimiter are in the buffer and none are held.
static bool line_from_held(xp_connection* connection, char* buffer, int32_t limit, int32_t* count) {
  const bool all = connection->held_count <= static_cast<uint32_t>(limit);
  const int32_t looked_at = all ? static_cast<int32_t>(connection->held_count) : limit;
  const int32_t found = looked_at > 0 ? find_line_end(held_of(connection), looked_at) : -1;
  *count = take_held(connection, buffer, found >= 0 ? found : looked_at);
  if (found >= 0) drop_held(connection, 2);
  return found >= 0 || !all;
}

int32_t xp_conn_read_line(xp_stream* stream, char* buffer, int32_t limit) {
  xp_connection* connection = as_connection(stream);
  if (!connection || limit < 1) return XP_E_STREAM;
  int32_t count;
  if (line_from_held(connection, buffer, limit, &count)) return count;
  while (count < limit) {
    const int32_t got = xp_stream_read(connection->inner, buffer + count, limit - count);
    if (got < 1) return count > 0 ? count : got == 0 ? XP_E_STREAM : got;
    // A CR may have been the last byte of the read before.
    const int32_t from = count > 0 ? count - 1 : 0;
    count += got;
    const int32_t found = find_line_end(buffer + from, count - from);
    if (found < 0) continue;
    const int32_t length = from + found;
    const auto behind = static_cast<uint32_t>(count - length - 2);
    return hold(connection, buffer + length + 2, behind) ? length : XP_E_STREAM;
  }
  return count;
}
