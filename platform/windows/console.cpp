// The standard handles. A handle may be a console, a pipe, a file, closed or absent; each call
// finds out afresh.
#include "platform/windows/backend.h"

namespace {

HANDLE standard_handle(xp_console_handle handle) {
  switch (handle) {
    case XP_CONSOLE_INPUT:
      return GetStdHandle(STD_INPUT_HANDLE);
    case XP_CONSOLE_ERROR:
      return GetStdHandle(STD_ERROR_HANDLE);
    case XP_CONSOLE_OUTPUT:
      break;
  }
  return GetStdHandle(STD_OUTPUT_HANDLE);
}

xp_console_status failure() {
  return GetLastError() == ERROR_NOT_ENOUGH_MEMORY ? XP_CONSOLE_OUT_OF_MEMORY : XP_CONSOLE_FAILED;
}

bool console_is_console(xp_console_handle handle) {
  DWORD mode;
  return GetConsoleMode(standard_handle(handle), &mode) != 0;
}

xp_console_status console_read_wide(xp_console_handle handle, char16_t* out, uint32_t units,
                                    uint32_t* done) {
  DWORD moved = 0;
  const BOOL read = ReadConsoleW(standard_handle(handle), out, units, &moved, nullptr);
  *done = moved;
  return read ? XP_CONSOLE_OK : failure();
}

xp_console_status console_write_wide(xp_console_handle handle, const char16_t* wide, uint32_t units,
                                     uint32_t* done) {
  DWORD moved = 0;
  const BOOL written = WriteConsoleW(standard_handle(handle), wide, units, &moved, nullptr);
  *done = moved;
  return written ? XP_CONSOLE_OK : failure();
}

xp_console_status console_read_bytes(xp_console_handle handle, void* out, uint32_t length,
                                     uint32_t* done) {
  DWORD moved = 0;
  const BOOL read = ReadFile(standard_handle(handle), out, length, &moved, nullptr);
  *done = moved;
  if (read) return XP_CONSOLE_OK;
  // The end of a pipe is an error of its own: its writer has gone.
  return windows_file_status(GetLastError()) == XP_FILE_END ? XP_CONSOLE_OK : failure();
}

xp_console_status console_write_bytes(xp_console_handle handle, const void* bytes, uint32_t length,
                                      uint32_t* done) {
  DWORD moved = 0;
  const BOOL written = WriteFile(standard_handle(handle), bytes, length, &moved, nullptr);
  *done = moved;
  return written ? XP_CONSOLE_OK : failure();
}

xp_console_status console_flush(xp_console_handle handle) {
  return FlushFileBuffers(standard_handle(handle)) ? XP_CONSOLE_OK : failure();
}

int32_t console_width(xp_console_handle handle) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(standard_handle(handle), &info)) return 0;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

}  // namespace

constinit const xp_console_ops windows_console = {.is_console = console_is_console,
                                                  .read_wide = console_read_wide,
                                                  .write_wide = console_write_wide,
                                                  .read_bytes = console_read_bytes,
                                                  .write_bytes = console_write_bytes,
                                                  .flush = console_flush,
                                                  .width = console_width};
