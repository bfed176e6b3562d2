// The three standard handles. The handle is taken afresh at each call.
#pragma once

#include <stdint.h>

enum xp_console_handle : uint32_t { XP_CONSOLE_INPUT, XP_CONSOLE_OUTPUT, XP_CONSOLE_ERROR };

enum xp_console_status : int32_t {
  XP_CONSOLE_OK = 0,
  XP_CONSOLE_OUT_OF_MEMORY,  // the text was too much for one call
  XP_CONSOLE_FAILED,
};

struct xp_console_ops {
  // A console speaks UTF-16; anything else (a pipe, a file, a closed handle) speaks bytes.
  bool (*is_console)(xp_console_handle handle);
  // Console calls; counts in UTF-16 units, *done the units moved.
  xp_console_status (*read_wide)(xp_console_handle handle, char16_t* out, uint32_t units,
                                 uint32_t* done);
  xp_console_status (*write_wide)(xp_console_handle handle, const char16_t* wide, uint32_t units,
                                  uint32_t* done);
  // Byte calls. A read at the end is XP_CONSOLE_OK with *done 0.
  xp_console_status (*read_bytes)(xp_console_handle handle, void* out, uint32_t length,
                                  uint32_t* done);
  xp_console_status (*write_bytes)(xp_console_handle handle, const void* bytes, uint32_t length,
                                   uint32_t* done);
  xp_console_status (*flush)(xp_console_handle handle);
  // Columns of the visible window, 0 when the handle is no console.
  int32_t (*width)(xp_console_handle handle);
};
