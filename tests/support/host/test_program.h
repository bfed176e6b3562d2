// A Windows program file with nothing in it but a version resource.
#pragma once

#include <stdint.h>

#include <string>

inline void put_number(std::string* bytes, size_t at, uint32_t value, int size = 4) {
  for (int i = 0; i < size; i++)
    (*bytes)[at + static_cast<size_t>(i)] = static_cast<char>(value >> 8 * i);
}

// Headers, and one section at 0x200. `high` and `low` are the two halves of the file version.
inline std::string test_program(uint32_t high, uint32_t low) {
  std::string bytes(0x400, 0);
  const size_t header = 0x40, optional = header + 24, section = optional + 240, data = 0x200;
  bytes.replace(0, 2, "MZ");
  put_number(&bytes, 60, header);
  bytes.replace(header, 4, std::string("PE\0\0", 4));
  put_number(&bytes, header + 6, 1, 2);
  put_number(&bytes, header + 20, 240, 2);
  put_number(&bytes, optional, 0x20B, 2);
  put_number(&bytes, optional + 108, 16);
  put_number(&bytes, optional + 112 + 16, 0x1000);
  put_number(&bytes, optional + 112 + 20, 0x200);
  put_number(&bytes, section + 12, 0x1000);
  put_number(&bytes, section + 16, 0x200);
  put_number(&bytes, section + 20, data);
  const uint32_t ids[] = {16, 1, 1033};
  for (uint32_t level = 0; level < 3; level++) {
    const size_t folder = data + level * 24;
    put_number(&bytes, folder + 14, 1, 2);
    put_number(&bytes, folder + 16, ids[level]);
    put_number(&bytes, folder + 20, level < 2 ? 0x80000000 | (level + 1) * 24 : 72);
  }
  put_number(&bytes, data + 72, 0x1000 + 96);
  put_number(&bytes, data + 76, 92);
  put_number(&bytes, data + 96 + 40, 0xFEEF04BD);
  put_number(&bytes, data + 96 + 48, high);
  put_number(&bytes, data + 96 + 52, low);
  return bytes;
}
