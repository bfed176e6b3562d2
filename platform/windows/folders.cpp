// The places that the system knows by name. The shell's functions are looked for once, at the
// first question that needs them, and kept.
#include <shlobj.h>
#include <string.h>

#include "platform/windows/backend.h"

namespace {

// The length of an answer, 0 when it did not fit: the calls then give the size needed.
uint32_t fitting(uint32_t length, uint32_t capacity) {
  return length < capacity ? length : 0;
}

uint32_t copy_out(const wchar_t* text, char16_t* out, uint32_t capacity) {
  const size_t length = wcslen(text);
  if (length == 0 || length >= capacity) return 0;
  memcpy(out, text, (length + 1) * sizeof(wchar_t));
  return static_cast<uint32_t>(length);
}

// A library that only this question needs. It is loaded at most once; one that lacks the function
// is freed again.
template <class Function>
struct shell_function {
  const wchar_t* library;
  const char* name;
  bool looked_for;
  Function function;

  Function get() {
    if (looked_for) return function;
    looked_for = true;
    const HMODULE module = windows_load(library);
    function = windows_find<Function>(module, name);
    if (module && !function) FreeLibrary(module);
    return function;
  }
};

constinit shell_function<decltype(&SHGetKnownFolderPath)> known_folder_path = {
    L"SHELL32", "SHGetKnownFolderPath", false, nullptr};
constinit shell_function<decltype(&SHGetFolderPathW)> shell_folder_path = {
    L"SHFOLDER", "SHGetFolderPathW", false, nullptr};
// The shell's own partner in memory: whoever answers SHGetKnownFolderPath has it loaded.
constinit shell_function<decltype(&CoTaskMemFree)> task_memory_free = {L"OLE32", "CoTaskMemFree",
                                                                       false, nullptr};

constexpr GUID USER_PROFILES = {
    0x0762D272, 0xC50A, 0x4BB0, {0xA3, 0x82, 0x69, 0x7D, 0xCD, 0x72, 0x9B, 0x80}};
constexpr GUID PROGRAM_FILES_32 = {
    0x7C5A40EF, 0xA0FB, 0x4BFC, {0x87, 0x4A, 0xC0, 0xF2, 0xE0, 0xB9, 0xFA, 0x8E}};
constexpr GUID PROGRAM_FILES_64 = {
    0x6D809377, 0x6AF0, 0x444B, {0x89, 0x57, 0xA3, 0x77, 0x3F, 0x02, 0x20, 0x0E}};

uint32_t known_folder(const GUID& id, char16_t* out, uint32_t capacity) {
  const auto ask = known_folder_path.get();
  const auto release = task_memory_free.get();
  wchar_t* text = nullptr;
  if (!ask || !release || ask(id, 0, nullptr, &text) != S_OK || !text) return 0;
  const uint32_t length = copy_out(text, out, capacity);
  release(text);
  return length;
}

uint32_t shell_folder(int number, char16_t* out, uint32_t capacity) {
  const auto ask = shell_folder_path.get();
  wchar_t text[MAX_PATH] = {};
  // The result is not asked for: what counts is whether a text came back.
  if (ask) (void)ask(nullptr, number, nullptr, 0, text);
  text[MAX_PATH - 1] = 0;
  return copy_out(text, out, capacity);
}

uint32_t system_windows_folder(char16_t* out, uint32_t capacity) {
  const auto ask = windows_find<decltype(&GetSystemWindowsDirectoryW)>(
      GetModuleHandleA("KERNEL32"), "GetSystemWindowsDirectoryW");
  return ask ? fitting(ask(windows_wide(out), capacity), capacity) : 0;
}

uint32_t folders_get(xp_folder_source source, char16_t* out, uint32_t capacity) {
  wchar_t* const text = windows_wide(out);
  switch (source) {
    case XP_FOLDER_CURRENT:
      return fitting(GetCurrentDirectoryW(capacity, text), capacity);
    case XP_FOLDER_PROGRAM_FILE:
      return fitting(GetModuleFileNameW(nullptr, text, capacity), capacity);
    case XP_FOLDER_KNOWN_USER_PROFILES:
      return known_folder(USER_PROFILES, out, capacity);
    case XP_FOLDER_KNOWN_PROGRAM_FILES_32:
      return known_folder(PROGRAM_FILES_32, out, capacity);
    case XP_FOLDER_KNOWN_PROGRAM_FILES_64:
      return known_folder(PROGRAM_FILES_64, out, capacity);
    case XP_FOLDER_SHELL_PROGRAM_FILES:
      return shell_folder(CSIDL_PROGRAM_FILES, out, capacity);
    case XP_FOLDER_SHELL_PROGRAM_FILES_32:
      return shell_folder(CSIDL_PROGRAM_FILESX86, out, capacity);
    case XP_FOLDER_SHELL_PROGRAM_COMMON:
      return shell_folder(CSIDL_PROGRAM_FILES_COMMON, out, capacity);
    case XP_FOLDER_SHELL_LOCAL_DATA:
      return shell_folder(CSIDL_LOCAL_APPDATA, out, capacity);
    case XP_FOLDER_SHELL_ROAMING_DATA:
      return shell_folder(CSIDL_APPDATA, out, capacity);
    case XP_FOLDER_SHELL_COMMON_DATA:
      return shell_folder(CSIDL_COMMON_APPDATA, out, capacity);
    case XP_FOLDER_SYSTEM:
      return fitting(GetSystemDirectoryW(text, capacity), capacity);
    case XP_FOLDER_SYSTEM_WINDOWS:
      return system_windows_folder(out, capacity);
    case XP_FOLDER_WINDOWS:
      return fitting(GetWindowsDirectoryW(text, capacity), capacity);
    case XP_FOLDER_TEMP:
      return fitting(GetTempPathW(capacity, text), capacity);
  }
  return 0;
}

}  // namespace

constinit const xp_folder_ops windows_folders = {.get = folders_get};
