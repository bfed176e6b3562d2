// The computer's default proxy configuration, which WinHTTP keeps.
#include <string.h>

#include "platform/windows/backend.h"

#include <winhttp.h>

namespace {

// Moves a text of the system to a block of the process heap. False when memory is out.
bool take_text(wchar_t* text, char16_t** out) {
  if (!text) return true;
  const size_t size = (wcslen(text) + 1) * sizeof(wchar_t);
  *out = static_cast<char16_t*>(xp_heap_alloc(size));
  if (*out) memcpy(*out, text, size);
  GlobalFree(text);
  return *out != nullptr;
}

bool take_lists(const WINHTTP_PROXY_INFO& info, char16_t** proxy_list, char16_t** bypass_list) {
  // Both are taken in any case: each frees its text.
  const bool proxies = take_text(info.lpszProxy, proxy_list);
  const bool bypasses = take_text(info.lpszProxyBypass, bypass_list);
  if (proxies && bypasses) return true;
  xp_heap_free(*proxy_list);
  xp_heap_free(*bypass_list);
  *proxy_list = *bypass_list = nullptr;
  return false;
}

bool proxy_defaults(char16_t** proxy_list, char16_t** bypass_list) {
  *proxy_list = *bypass_list = nullptr;
  const HMODULE library = windows_load(L"WINHTTP");
  if (!library) return false;
  const auto ask = windows_find<decltype(&WinHttpGetDefaultProxyConfiguration)>(
      library, "WinHttpGetDefaultProxyConfiguration");
  WINHTTP_PROXY_INFO info = {};
  const bool known = ask && ask(&info) && take_lists(info, proxy_list, bypass_list);
  FreeLibrary(library);
  return known;
}

}  // namespace

constinit const xp_proxy_ops windows_proxy = {.defaults = proxy_defaults};
