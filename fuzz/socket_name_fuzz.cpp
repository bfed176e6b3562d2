// Any bytes as a socket's name: the parts lie within it.
#include <stdint.h>
#include <stdlib.h>

#include "stream/xp_socket_name.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const char* text = reinterpret_cast<const char*>(bytes);
  xp_socket_name name;
  if (!xp_socket_name_parse(text, static_cast<int32_t>(size), &name)) return 0;
  if (name.host && (name.host < text || name.host + name.host_length > text + size)) abort();
  if (name.port && name.port + name.port_length != text + size) abort();
  if (name.listens == (name.host != nullptr) && size > 0) abort();
  return 0;
}
