// What the fuzz targets of the document readers share.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

// The input as a NUL-terminated text in a block of its own, so that reading beyond is seen. It
// ends at the first NUL of the input.
class fuzz_text {
 public:
  fuzz_text(const uint8_t* bytes, size_t size) {
    length_ = size == 0 ? 0 : strnlen(reinterpret_cast<const char*>(bytes), size);
    text_ = static_cast<char*>(malloc(length_ + 1));
    if (!text_) abort();
    if (length_ != 0) memcpy(text_, bytes, length_);
    text_[length_] = 0;
  }
  fuzz_text(const fuzz_text&) = delete;
  fuzz_text& operator=(const fuzz_text&) = delete;
  ~fuzz_text() { free(text_); }

  const char* get() const { return text_; }
  size_t length() const { return length_; }

 private:
  char* text_;
  size_t length_;
};
