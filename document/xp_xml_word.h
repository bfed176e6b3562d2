// Bytes of a text as a number, for code that looks at several at once.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>
#include <type_traits>

// The little-endian number in `sizeof(Word)` bytes, also of a literal in a constant expression.
template <class Word>
constexpr Word xp_xml_load(const char* text) {
  static_assert(std::endian::native == std::endian::little);
  Word word = 0;
  if (std::is_constant_evaluated()) {
    for (size_t i = 0; i < sizeof(Word); i++)
      word |= static_cast<Word>(static_cast<Word>(static_cast<uint8_t>(text[i])) << (8 * i));
  } else {
    memcpy(&word, text, sizeof(Word));
  }
  return word;
}
