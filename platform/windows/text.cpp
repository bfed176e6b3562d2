// UTF-8 and UTF-16, and the order of texts by the user's locale.
#include <string.h>

#include "platform/windows/backend.h"

namespace {

int32_t text_to_wide(const char* text, int32_t length, char16_t* out, int32_t capacity) {
  if (!text || length == 0) return 0;
  return MultiByteToWideChar(CP_UTF8, 0, text, length, windows_wide(out), out ? capacity : 0);
}

int32_t text_to_utf8(const char16_t* wide, int32_t length, char* out, int32_t capacity) {
  if (!wide || length == 0) return 0;
  return WideCharToMultiByte(CP_UTF8, 0, windows_wide(wide), length, out, out ? capacity : 0,
                             nullptr, nullptr);
}

int32_t compare_by_flags(DWORD flags, const wchar_t* a, int32_t a_length, const wchar_t* b,
                         int32_t b_length) {
  const int order = CompareStringW(LOCALE_USER_DEFAULT, flags, a, a_length, b, b_length);
  // 1, 2 and 3 are less, equal and greater; 0 is a failure, which only a null text can cause.
  return order ? order - CSTR_EQUAL : (a ? 1 : 0) - (b ? 1 : 0);
}

int32_t text_compare_wide(const char16_t* a, int32_t a_length, const char16_t* b, int32_t b_length,
                          bool ignore_case) {
  return compare_by_flags(ignore_case ? NORM_IGNORECASE : 0, windows_wide(a), a_length,
                          windows_wide(b), b_length);
}

// The UTF-16 form of an 8-bit operand; names of ordinary length need no heap.
struct wide_operand {
  wide_operand(const char* text, int32_t length) {
    if (!text) return;
    const int bytes = length < 0 ? static_cast<int>(strlen(text)) : length;
    units = wide = local;
    // UTF-16 never has more units than UTF-8 has bytes.
    if (bytes > LOCAL)
      units = wide = block =
          static_cast<wchar_t*>(xp_heap_alloc(static_cast<size_t>(bytes) * sizeof(wchar_t)));
    if (wide && bytes > 0) count = MultiByteToWideChar(CP_UTF8, 0, text, bytes, wide, bytes);
  }
  ~wide_operand() { xp_heap_free(block); }
  wide_operand(const wide_operand&) = delete;
  wide_operand& operator=(const wide_operand&) = delete;

  static constexpr int LOCAL = 300;
  wchar_t local[LOCAL];
  wchar_t* block = nullptr;
  wchar_t* wide = nullptr;
  const wchar_t* units = nullptr;
  int count = 0;
};

// The 8-bit comparison of the system reads its operands in a code page of the locale, in which
// two different UTF-8 texts can be equal (some of their bytes have no weight there). So the texts
// are compared as UTF-16.
int32_t text_compare_narrow(const char* a, int32_t a_length, const char* b, int32_t b_length) {
  const wide_operand left(a, a_length);
  const wide_operand right(b, b_length);
  return compare_by_flags(NORM_IGNORECASE | SORT_STRINGSORT, left.units, left.count, right.units,
                          right.count);
}

}  // namespace

constinit const xp_text_ops windows_text = {.to_wide = text_to_wide,
                                            .to_utf8 = text_to_utf8,
                                            .compare_wide = text_compare_wide,
                                            .compare_narrow = text_compare_narrow};
