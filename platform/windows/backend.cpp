// The Windows back end: thin calls on the documented Windows API.
#include "platform/windows/backend.h"

static constexpr xp_platform_set windows = {
    .heap = &windows_heap,
    .lock = &windows_lock,
    .text = &windows_text,
    .locale = &windows_locale,
    .clock = &windows_clock,
    .files = &windows_files,
    .console = &windows_console,
    .folders = &windows_folders,
    .registry = &windows_registry,
    .event_log = &windows_event_log,
    .installer = &windows_installer,
    .trust = &windows_trust,
    .system = &windows_system,
    .proxy = &windows_proxy,
    .random = &windows_random,
    .sockets = &windows_sockets,
    .tls = &windows_tls,
};

constinit const xp_platform_set* xp_platform = &windows;

bool windows_8bit_is_utf8() {
  return GetACP() == CP_UTF8;
}

bool windows_8bit_carries(const char* text) {
  if (!text || windows_8bit_is_utf8()) return true;
  for (; *text; text++)
    if (static_cast<unsigned char>(*text) >= 0x80) return false;
  return true;
}

windows_wide_copy::windows_wide_copy(const char* utf8) : text(nullptr) {
  const int units = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
  if (units <= 0) return;
  text = static_cast<wchar_t*>(xp_heap_alloc(static_cast<size_t>(units) * sizeof(wchar_t)));
  if (text) MultiByteToWideChar(CP_UTF8, 0, utf8, -1, text, units);
}

windows_wide_copy::~windows_wide_copy() {
  xp_heap_free(text);
}

windows_quiet_errors::windows_quiet_errors()
    : before_(SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}

windows_quiet_errors::~windows_quiet_errors() {
  SetErrorMode(before_);
}

HMODULE windows_load(const wchar_t* name) {
  const windows_quiet_errors quiet;
  return LoadLibraryW(name);
}
