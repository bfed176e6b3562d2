// Paths as a person on a Linux computer writes them.
#include <string.h>

#include "platform/host/machine.h"

uint32_t host_from_native(const char* text, char* out, uint32_t capacity) {
  if (!strchr(text, '/')) return 0;
  const bool absolute = text[0] == '/';
  const size_t drive = absolute ? 2 : 0;
  const size_t length = strlen(text) + drive;
  if (length >= capacity) return 0;
  memcpy(out, "Z:", drive);
  for (size_t i = drive; i <= length; i++)
    out[i] = text[i - drive] == '/' ? '\\' : text[i - drive];
  return static_cast<uint32_t>(length);
}
