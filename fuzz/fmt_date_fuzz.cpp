// Any date format with any fields: the output stays within the buffer, ends in a NUL, and a count
// is what is written with room for it.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "format/xp_fmt.h"
#include "time/xp_time.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  xp_time_fields fields;
  constexpr size_t HEAD = sizeof(fields) + 2;
  if (size < HEAD) return 0;
  memcpy(&fields, bytes, sizeof(fields));
  const char escape = static_cast<char>(bytes[sizeof(fields)]);
  const int32_t small = 1 + bytes[sizeof(fields) + 1];

  // A block of its own without a NUL, so that reading beyond is seen.
  const size_t length = size - HEAD;
  auto* format = static_cast<char*>(malloc(length + 1));
  if (!format) abort();
  memcpy(format, bytes + HEAD, length);
  format = static_cast<char*>(realloc(format, length ? length : 1));
  if (!format) abort();

  const auto bytes_of_format = static_cast<int32_t>(length);
  const int32_t count = xp_fmt_date(nullptr, 0, format, bytes_of_format, &fields, escape);
  const int32_t rooms[] = {small, count + 1};
  for (const int32_t room : rooms) {
    auto* buffer = static_cast<char*>(malloc(static_cast<size_t>(room)));
    if (!buffer) abort();
    const int32_t written = xp_fmt_date(buffer, room, format, bytes_of_format, &fields, escape);
    if (written < 0 || written > room - 1 || written > count || buffer[written] != 0) abort();
    if (room > count && written != count) abort();
    free(buffer);
  }
  free(format);
  return 0;
}
