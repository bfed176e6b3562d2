// Lines from a connection. The first byte gives the size of the pieces, the second the limit; the
// lines and what divides them must add up to the bytes that came.
#include <stdint.h>
#include <stdlib.h>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "stream/xp_connection.h"
#include "tests/support/canned_socket.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size < 2) return 0;
  canned_socket socket;
  socket.deliver(bytes + 2, size - 2, bytes[0] + size_t{1});
  const int32_t limit = bytes[1] + 1;
  const xp_ref<xp_str> name(xp_str_new("h:1"));
  const xp_ref<xp_stream> connection(xp_conn_stream_new(name.get()));
  if (xp_stream_open(connection.get(), STREAM_MODE_WRITE) != XP_OK) abort();
  char line[256];
  size_t total = 0;
  int32_t length;
  while ((length = xp_conn_read_line(connection.get(), line, limit)) >= 0) {
    if (length > limit) abort();
    // What stands between two lines is a delimiter or nothing.
    const size_t count = static_cast<size_t>(length);
    const uint8_t* rest = bytes + 2 + total;
    const size_t left = size - 2 - total;
    if (count > left || memcmp(line, rest, count) != 0) abort();
    const bool delimited = left >= count + 2 && rest[count] == '\r' && rest[count + 1] == '\n';
    if (count == 0 && !delimited) abort();
    // A delimiter that didn't fit the limit comes as the next line.
    total += count;
    if (delimited && count + 2 <= static_cast<size_t>(limit)) total += 2;
  }
  xp_stream_close(connection.get());
  return 0;
}
