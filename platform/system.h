// Facts about the computer and the process, and the ways to speak to the user and to end.
#pragma once

#include <stdint.h>

struct xp_os_version {
  uint32_t major;
  uint32_t minor;
  uint32_t build;
};

// The fixed file version: high and low halves of its two words.
struct xp_file_version {
  uint16_t part[4];
};

struct xp_system_ops {
  bool (*os_version)(xp_os_version* out);
  // True in a 32-bit process on a 64-bit system.
  bool (*is_wow64)();
  // The version resource of a file (UTF-8 path); false when it can't be read.
  bool (*file_version)(const char* path, xp_file_version* out);
  // Shows a message and blocks until the user answers.
  void (*message_box)(const char* text, const char* title);
  // Path of the program file with a NUL, into `size` bytes. Returns the bytes without the NUL, 0
  // on failure; a longer path is cut.
  uint32_t (*program_path)(char* out, uint32_t size);
  // The command line of the process, NUL-terminated UTF-8; lives as long as the process.
  const char* (*command_line)();
  void (*exit_process)(uint32_t result);
};
