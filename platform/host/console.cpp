// The standard handles on a terminal, a pipe or a file. A terminal speaks UTF-8 here, so UTF-16 is
// converted on its way in and out.
#include <errno.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include "platform/host/host.h"

namespace {

int descriptor(xp_console_handle handle) {
  switch (handle) {
    case XP_CONSOLE_INPUT:
      return STDIN_FILENO;
    case XP_CONSOLE_OUTPUT:
      return STDOUT_FILENO;
    default:
      return STDERR_FILENO;
  }
}

ssize_t read_some(int file, void* out, size_t length) {
  ssize_t got;
  do {
    got = read(file, out, length);
  } while (got < 0 && errno == EINTR);
  return got;
}

ssize_t write_some(int file, const void* bytes, size_t length) {
  ssize_t put;
  do {
    put = write(file, bytes, length);
  } while (put < 0 && errno == EINTR);
  return put;
}

bool write_all(int file, const char* bytes, int32_t length) {
  while (length > 0) {
    const ssize_t put = write_some(file, bytes, static_cast<size_t>(length));
    if (put <= 0) return false;
    bytes += put;
    length -= static_cast<int32_t>(put);
  }
  return true;
}

bool host_is_console(xp_console_handle handle) {
  return isatty(descriptor(handle)) == 1;
}

// What was read of a character that is not given out yet: a UTF-16 low half, or the byte that
// turned out not to continue the character before it.
struct {
  char16_t low_half;
  bool has_byte;
  uint8_t byte;
} input;

bool next_byte(int file, uint8_t* out) {
  if (input.has_byte) {
    input.has_byte = false;
    *out = input.byte;
    return true;
  }
  return read_some(file, out, 1) == 1;
}

// One character of the terminal, U+FFFD for what is none; false at the end.
bool next_character(int file, UChar32* out) {
  uint8_t bytes[U8_MAX_LENGTH];
  if (!next_byte(file, &bytes[0])) return false;
  int32_t have = 1;
  const int32_t whole = U8_COUNT_TRAIL_BYTES(bytes[0]) + 1;
  while (have < whole) {
    uint8_t byte;
    if (!next_byte(file, &byte)) break;
    if (!U8_IS_TRAIL(byte)) {
      input.has_byte = true;
      input.byte = byte;
      break;
    }
    bytes[have++] = byte;
  }
  int32_t at = 0;
  U8_NEXT_OR_FFFD(bytes, at, have, *out);
  return true;
}

xp_console_status host_read_wide(xp_console_handle handle, char16_t* out, uint32_t units,
                                 uint32_t* done) {
  *done = 0;
  const int file = descriptor(handle);
  while (*done < units) {
    UChar32 character;
    if (input.low_half) {
      out[(*done)++] = input.low_half;
      input.low_half = 0;
    } else if (!next_character(file, &character)) {
      return *done > 0 ? XP_CONSOLE_OK : XP_CONSOLE_FAILED;
    } else if (U_IS_BMP(character)) {
      out[(*done)++] = static_cast<char16_t>(character);
    } else {
      out[(*done)++] = U16_LEAD(character);
      input.low_half = U16_TRAIL(character);
    }
  }
  return XP_CONSOLE_OK;
}

xp_console_status host_write_wide(xp_console_handle handle, const char16_t* wide, uint32_t units,
                                  uint32_t* done) {
  host_ignore_write_signals();
  *done = 0;
  const int file = descriptor(handle);
  char buffer[1024];
  uint32_t at = 0;
  while (at < units) {
    int32_t used = 0;
    while (at < units && used <= static_cast<int32_t>(sizeof(buffer)) - U8_MAX_LENGTH) {
      UChar32 character;
      U16_NEXT_OR_FFFD(wide, at, units, character);
      U8_APPEND_UNSAFE(buffer, used, character);
    }
    if (!write_all(file, buffer, used)) return XP_CONSOLE_FAILED;
    *done = at;
  }
  return XP_CONSOLE_OK;
}

xp_console_status host_read_bytes(xp_console_handle handle, void* out, uint32_t length,
                                  uint32_t* done) {
  const ssize_t got = read_some(descriptor(handle), out, length);
  *done = got > 0 ? static_cast<uint32_t>(got) : 0;
  return got < 0 ? XP_CONSOLE_FAILED : XP_CONSOLE_OK;
}

xp_console_status host_write_bytes(xp_console_handle handle, const void* bytes, uint32_t length,
                                   uint32_t* done) {
  host_ignore_write_signals();
  const ssize_t put = write_some(descriptor(handle), bytes, length);
  *done = put > 0 ? static_cast<uint32_t>(put) : 0;
  return put < 0 ? XP_CONSOLE_FAILED : XP_CONSOLE_OK;
}

xp_console_status host_flush(xp_console_handle handle) {
  int result;
  do {
    result = fsync(descriptor(handle));
  } while (result < 0 && errno == EINTR);
  // Pipes and sockets have nothing to sync: what was written has been handed over.
  return result == 0 || errno == EINVAL || errno == EROFS ? XP_CONSOLE_OK : XP_CONSOLE_FAILED;
}

int32_t host_width(xp_console_handle handle) {
  winsize window = {};
  if (!host_is_console(handle)) return 0;
  return ioctl(descriptor(handle), TIOCGWINSZ, &window) == 0 ? window.ws_col : 0;
}

}  // namespace

void host_ignore_write_signals() {
  static bool done = false;
  if (done) return;
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  done = true;
}

constinit const xp_console_ops host_console = {.is_console = host_is_console,
                                               .read_wide = host_read_wide,
                                               .write_wide = host_write_wide,
                                               .read_bytes = host_read_bytes,
                                               .write_bytes = host_write_bytes,
                                               .flush = host_flush,
                                               .width = host_width};
