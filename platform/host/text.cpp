// UTF-8 and UTF-16 by ICU, and its collation for the user's order.
#include <string.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "platform/host/host.h"

namespace {

constexpr UChar32 REPLACEMENT = 0xFFFD;

int32_t measured(const char* text, int32_t length) {
  return length < 0 ? static_cast<int32_t>(strlen(text)) + 1 : length;
}

int32_t measured(const char16_t* wide, int32_t length) {
  if (length >= 0) return length;
  int32_t units = 0;
  while (wide[units])
    units++;
  return units + 1;
}

using bytes8 = uint8_t __attribute__((vector_size(8)));
using bytes16 = uint8_t __attribute__((vector_size(16)));
using units8 = uint16_t __attribute__((vector_size(16)));
using units16 = uint16_t __attribute__((vector_size(32)));

// A block of ASCII bytes at once; false when there is another byte among them.
template <class BYTES, class UNITS>
bool widen_ascii(const char* text, char16_t* out) {
  uint64_t first;
  uint64_t last;
  memcpy(&first, text, sizeof(first));
  memcpy(&last, text + sizeof(BYTES) - sizeof(last), sizeof(last));
  if ((first | last) & 0x8080808080808080) return false;
  BYTES block;
  memcpy(&block, text, sizeof(block));
  const UNITS wide = __builtin_convertvector(block, UNITS);
  memcpy(out, &wide, sizeof(wide));
  return true;
}

// How many ASCII bytes at the start are widened as a block, of at most `room`.
int32_t widen_block(const char* text, char16_t* out, int32_t room) {
  if (room >= 16 && widen_ascii<bytes16, units16>(text, out)) return 16;
  return room >= 8 && widen_ascii<bytes8, units8>(text, out) ? 8 : 0;
}

// Faster than ICU's own conversion on the short texts that are compared. `out` null counts.
int32_t host_to_wide(const char* text, int32_t length, char16_t* out, int32_t capacity) {
  if (!text) return 0;
  length = measured(text, length);
  if (capacity == 0) out = nullptr;
  int32_t units = 0;
  for (int32_t i = 0; i < length;) {
    const int32_t room = length - i < capacity - units ? length - i : capacity - units;
    const int32_t widened = out ? widen_block(text + i, out + units, room) : 0;
    if (widened > 0) {
      i += widened;
      units += widened;
      continue;
    }
    UChar32 character;
    U8_NEXT_OR_FFFD(text, i, length, character);
    const int32_t size = U16_LENGTH(character);
    if (out && capacity - units < size) return 0;
    if (out && size == 1) {
      out[units] = static_cast<char16_t>(character);
    } else if (out) {
      out[units] = U16_LEAD(character);
      out[units + 1] = U16_TRAIL(character);
    }
    units += size;
  }
  return units;
}

int32_t host_to_utf8(const char16_t* wide, int32_t length, char* out, int32_t capacity) {
  if (!wide) return 0;
  int32_t needed = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(out, out ? capacity : 0, &needed, wide, measured(wide, length), REPLACEMENT,
                     nullptr, &status);
  if (capacity == 0 && status == U_BUFFER_OVERFLOW_ERROR) return needed;
  return U_SUCCESS(status) ? needed : 0;
}

// The user's collators, opened on first use: [ignore_case]. Null when ICU has none to give.
UCollator* collators[2];

[[gnu::noinline]] UCollator* open_collator(bool ignore_case) {
  UCollator*& collator = collators[ignore_case];
  UErrorCode status = U_ZERO_ERROR;
  collator = ucol_open(host_user_locale(), &status);
  if (U_FAILURE(status)) return nullptr;
  // Secondary strength sees accents but not case.
  ucol_setStrength(collator, ignore_case ? UCOL_SECONDARY : UCOL_TERTIARY);
  return collator;
}

UCollator* user_collator(bool ignore_case) {
  UCollator* collator = collators[ignore_case];
  return collator ? collator : open_collator(ignore_case);
}

int32_t compare_code_points(const char16_t* a, int32_t a_length, const char16_t* b,
                            int32_t b_length) {
  const int32_t order = u_strCompare(a, a_length, b, b_length, true);
  return order < 0 ? -1 : order > 0;
}

// Without the NUL of a measured text, which counts for nothing in the order.
int32_t trimmed(const char16_t* wide, int32_t length) {
  return length > 0 && !wide[length - 1] ? length - 1 : length;
}

int32_t host_compare_wide(const char16_t* a, int32_t a_length, const char16_t* b, int32_t b_length,
                          bool ignore_case) {
  if (UCollator* collator = user_collator(ignore_case))
    return ucol_strcoll(collator, a, trimmed(a, a_length), b, trimmed(b, b_length));
  return compare_code_points(a, a_length, b, b_length);
}

int32_t host_compare_narrow(const char* a, int32_t a_length, const char* b, int32_t b_length) {
  UErrorCode status = U_ZERO_ERROR;
  UCollator* collator = user_collator(true);
  if (!collator) return 0;
  return ucol_strcollUTF8(collator, a, a_length, b, b_length, &status);
}

}  // namespace

const char* host_user_locale() {
  const char* locale = uloc_getDefault();
  return strcmp(locale, "en_US_POSIX") == 0 ? "en_US" : locale;
}

constinit const xp_text_ops host_text = {.to_wide = host_to_wide,
                                         .to_utf8 = host_to_utf8,
                                         .compare_wide = host_compare_wide,
                                         .compare_narrow = host_compare_narrow};
