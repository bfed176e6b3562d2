// The formatted text as a std::string, after checking what must hold of every print: the result
// is the length, a NUL stands behind it, and counting promises no less than was written.
#pragma once

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "format/xp_fmt.h"

struct printed {
  std::string text;
  int32_t count;  // what counting gives
};

template <class... A>
printed print_into(int32_t size, const char* format, const A&... arguments) {
  std::string buffer(static_cast<size_t>(size) + 1, '\x7F');
  const int32_t written = xp_fmt_print(buffer.data(), size, format, arguments...);
  const int32_t count = xp_fmt_print(nullptr, 0, format, arguments...);
  EXPECT_GE(written, 0) << format;
  EXPECT_LE(written, size - 1) << format;
  EXPECT_EQ(buffer[static_cast<size_t>(written)], 0) << format;
  EXPECT_EQ(buffer.back(), '\x7F') << format;
  EXPECT_GE(count, written) << format;
  buffer.resize(static_cast<size_t>(written));
  return {buffer, count};
}

// With ample room, and a count that is exact.
template <class... A>
std::string print(const char* format, const A&... arguments) {
  const printed result = print_into(1024, format, arguments...);
  EXPECT_EQ(static_cast<size_t>(result.count), result.text.size()) << format;
  return result.text;
}
