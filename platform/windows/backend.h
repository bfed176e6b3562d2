// What the files of this back end share: its tables, the system's header, and the few helpers
// that more than one table needs.
//
// Text. The system's text is UTF-8, and the program's manifest makes UTF-8 the 8-bit code page of
// the process, so an 8-bit call takes our text as it stands. Systems before Windows 10 1903 don't
// know that line of the manifest and keep their own code page. There, text beyond ASCII takes the
// wide twin of the call, so that no character is lost on any system.
#pragma once

#include <windows.h>

#include "platform/platform.h"

extern const xp_heap_ops windows_heap;
extern const xp_lock_ops windows_lock;
extern const xp_text_ops windows_text;
extern const xp_locale_ops windows_locale;
extern const xp_clock_ops windows_clock;
extern const xp_file_ops windows_files;
extern const xp_console_ops windows_console;
extern const xp_folder_ops windows_folders;
extern const xp_registry_ops windows_registry;
extern const xp_event_log_ops windows_event_log;
extern const xp_installer_ops windows_installer;
extern const xp_trust_ops windows_trust;
extern const xp_system_ops windows_system;
extern const xp_proxy_ops windows_proxy;
extern const xp_random_ops windows_random;
extern const xp_socket_ops windows_sockets;
extern const xp_tls_ops windows_tls;

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline const wchar_t* windows_wide(const char16_t* text) {
  return reinterpret_cast<const wchar_t*>(text);
}

inline wchar_t* windows_wide(char16_t* text) {
  return reinterpret_cast<wchar_t*>(text);
}

// Whether an 8-bit call of this process reads `text` (UTF-8, NUL-terminated) as it is meant. Null
// counts as carried.
bool windows_8bit_carries(const char* text);
// Whether the 8-bit code page of the process is UTF-8.
bool windows_8bit_is_utf8();

// A UTF-16 copy of a UTF-8 text for the wide twin of a call; `text` is null when memory is out.
struct windows_wide_copy {
  explicit windows_wide_copy(const char* utf8);
  ~windows_wide_copy();
  windows_wide_copy(const windows_wide_copy&) = delete;
  windows_wide_copy& operator=(const windows_wide_copy&) = delete;

  wchar_t* text;
};

// Holds the process error mode at 0x8001 (no dialog for a drive without media or a file that
// can't be opened) and puts the old one back. The mode belongs to the process: one thread assumed.
struct windows_quiet_errors {
  windows_quiet_errors();
  ~windows_quiet_errors();
  windows_quiet_errors(const windows_quiet_errors&) = delete;
  windows_quiet_errors& operator=(const windows_quiet_errors&) = delete;

 private:
  UINT before_;
};

// Loads a library of the system by its bare name, without a dialog; null when it is missing. The
// caller frees it with FreeLibrary.
HMODULE windows_load(const wchar_t* name);

// Finds an exported function; null when `library` is null or lacks it.
template <class Function>
Function windows_find(HMODULE library, const char* name) {
  if (!library) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// The one place where a system error of a file call gets its meaning. Called after a failure only:
// 0, which some calls leave behind, is XP_FILE_FAILED.
xp_file_status windows_file_status(DWORD error);
// The same for the registry, whose calls return their code: 0 is XP_REGISTRY_OK.
xp_registry_status windows_registry_status(LSTATUS result);
