#include <string.h>

#include "platform/platform.h"
#include "update/ruvo.h"

namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// What a backslash before this character makes plain.
bool is_escapable(char c) {
  return c == ' ' || c == '"' || c == '\'' || c == '\\';
}

struct splitter {
  char** vector;
  int32_t count;
  char* write;  // where the next byte of text goes
  bool open;    // an argument is being written

  void start() {
    if (!open) vector[count++] = write;
    open = true;
  }
  void put(char c) {
    start();
    *write++ = c;
  }
  void end() {
    if (open) *write++ = 0;
    open = false;
  }
};

}  // namespace

char** ruvo_split_command_line(const char* text, int32_t* count) {
  *count = 0;
  const size_t length = strlen(text);
  // An argument takes at least one byte and a separator, so half the length suffices for them.
  const size_t pointers = length / 2 + 2;
  auto* block = static_cast<char**>(xp_heap_alloc(pointers * sizeof(char*) + length + 2));
  if (!block) return nullptr;
  // Argument 0 starts at the first byte, whatever it is.
  splitter out = {.vector = block,
                  .count = 1,
                  .write = reinterpret_cast<char*>(block + pointers),
                  .open = true};
  block[0] = out.write;
  char quote = 0;
  for (const char* read = text; *read; read++) {
    const char c = *read;
    if (c == '\\' && is_escapable(read[1])) {
      out.put(*++read);
    } else if (quote) {
      if (c == quote)
        quote = 0;
      else
        out.put(c);
    } else if (c == '"' || c == '\'') {
      quote = c;
      out.start();
    } else if (is_blank(c)) {
      out.end();
    } else {
      out.put(c);
    }
  }
  out.end();
  block[out.count] = nullptr;
  *count = out.count;
  return block;
}
