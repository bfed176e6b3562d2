// The computer's default proxy: two plain texts that a person wrote for a rehearsal, or else what
// Windows itself keeps for WinHTTP.
#include <string.h>

#include "platform/host/host.h"
#include "platform/host/pe_file.h"
#include "platform/host/registry_file.h"

namespace {

constexpr char REHEARSAL_KEY[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ruvo\\Rehearsal";
constexpr char WINHTTP_KEY[] =
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet "
    "Settings\\Connections";
constexpr uint32_t NAMED_PROXY = 2;  // of the flags: the lists count

// A text as a UTF-16 block of the heap; an empty one is a null block. False when memory is out.
bool widen(const char* text, size_t length, char16_t** out) {
  *out = nullptr;
  if (length == 0) return true;
  auto* wide = static_cast<char16_t*>(xp_heap_alloc((length + 1) * sizeof(char16_t)));
  if (!wide) return false;
  xp_text_to_wide(text, static_cast<int32_t>(length), wide, static_cast<int32_t>(length));
  *out = wide;
  return true;
}

struct two_lists {
  const char* proxy;
  size_t proxy_length;
  const char* bypass;
  size_t bypass_length;
};

// A length and that many bytes; false when they reach beyond the end.
bool take_list(const uint8_t** at, const uint8_t* end, const char** text, size_t* length) {
  if (end - *at < 4) return false;
  const uint32_t size = pe_dword(*at);
  *at += 4;
  if (size > static_cast<size_t>(end - *at)) return false;
  *text = reinterpret_cast<const char*>(*at);
  *length = strnlen(*text, size);
  *at += size;
  return true;
}

// Layout of WinHttpSettings: version 0x18 or 0x28, a counter, flags, then the two lists.
bool read_winhttp(const host_buffer* bytes, two_lists* out) {
  const auto* at = reinterpret_cast<const uint8_t*>(bytes->bytes);
  const uint8_t* const end = at + bytes->length;
  if (bytes->length < 12) return false;
  if (!(pe_dword(at + 8) & NAMED_PROXY)) return true;
  at += 12;
  two_lists lists = {};
  if (!take_list(&at, end, &lists.proxy, &lists.proxy_length) ||
      !take_list(&at, end, &lists.bypass, &lists.bypass_length))
    return false;
  *out = lists;
  return true;
}

bool hand_out(const two_lists* lists, char16_t** proxy_list, char16_t** bypass_list) {
  if (!widen(lists->proxy, lists->proxy_length, proxy_list)) return false;
  if (widen(lists->bypass, lists->bypass_length, bypass_list)) return true;
  xp_heap_free(*proxy_list);
  *proxy_list = nullptr;
  return false;
}

bool host_proxy_defaults(char16_t** proxy_list, char16_t** bypass_list) {
  registry_text registry;
  registry_value stored;
  host_buffer proxy, bypass;
  two_lists lists = {};
  *proxy_list = *bypass_list = nullptr;
  if (!registry_load(&registry)) return false;
  const bool rehearsed = registry_get_text(&registry, REHEARSAL_KEY, "Proxy", &proxy);
  if (registry_get_text(&registry, REHEARSAL_KEY, "ProxyBypass", &bypass) || rehearsed)
    lists = {proxy.bytes, proxy.length, bypass.bytes, bypass.length};
  else if (registry_get(&registry, WINHTTP_KEY, "WinHttpSettings", &stored) == XP_REGISTRY_OK &&
           !read_winhttp(&stored.bytes, &lists))
    return false;
  return hand_out(&lists, proxy_list, bypass_list);
}

}  // namespace

constinit const xp_proxy_ops host_proxy = {.defaults = host_proxy_defaults};
