// Facts about the computer and the process, the message box and the end.
#include "object/xp_ref.h"
#include "platform/windows/backend.h"

namespace {

// The true version of systems newer than Windows 8 needs the manifest, which declares them.
bool system_os_version(xp_os_version* out) {
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof info;
  if (!GetVersionExA(&info)) return false;
  *out = {.major = info.dwMajorVersion, .minor = info.dwMinorVersion, .build = info.dwBuildNumber};
  return true;
}

bool system_is_wow64() {
  const auto ask =
      windows_find<decltype(&IsWow64Process)>(GetModuleHandleA("KERNEL32"), "IsWow64Process");
  BOOL wow64 = FALSE;
  return ask && ask(GetCurrentProcess(), &wow64) && wow64;
}

// Version resources of files in folders with any name: each step has its 8-bit and wide form.
DWORD version_size(const char* path, const wchar_t* wide) {
  DWORD ignored;
  return wide ? GetFileVersionInfoSizeW(wide, &ignored) : GetFileVersionInfoSizeA(path, &ignored);
}

bool version_of(const char* path, const wchar_t* wide, xp_file_version* out) {
  const DWORD size = version_size(path, wide);
  if (!size) return false;
  constexpr DWORD SPARE = 16;  // some systems write a little beyond the size that they name
  const auto block = xp_block<char>::of(size + SPARE);
  if (!block) return false;
  const BOOL read = wide ? GetFileVersionInfoW(wide, 0, size + SPARE, block.get())
                         : GetFileVersionInfoA(path, 0, size + SPARE, block.get());
  void* found = nullptr;
  UINT length = 0;
  if (!read || !VerQueryValueA(block.get(), "\\", &found, &length)) return false;
  if (!found || length < sizeof(VS_FIXEDFILEINFO)) return false;
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(found);
  *out = {{HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
           HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS)}};
  return true;
}

bool system_file_version(const char* path, xp_file_version* out) {
  if (windows_8bit_carries(path)) return version_of(path, nullptr, out);
  const windows_wide_copy wide(path);
  return wide.text && version_of(path, wide.text, out);
}

void system_message_box(const char* text, const char* title) {
  if (windows_8bit_carries(text) && windows_8bit_carries(title)) {
    MessageBoxA(nullptr, text, title, 0);
    return;
  }
  const windows_wide_copy wide_text(text);
  const windows_wide_copy wide_title(title);
  MessageBoxW(nullptr, wide_text.text, wide_title.text, 0);
}

// Longest path that the system can give, in units with the NUL.
constexpr uint32_t LONGEST_PATH = 32768;

// UTF-8 of `wide` in `size` bytes with a NUL, cut in front of a character that doesn't fit.
uint32_t copy_cut(const char16_t* wide, char* out, uint32_t size) {
  int32_t units = 0;
  while (wide[units])
    units++;
  while (units > 0) {
    const int32_t bytes = xp_text_to_utf8(wide, units, nullptr, 0);
    if (bytes > 0 && static_cast<uint32_t>(bytes) < size) {
      (void)xp_text_to_utf8(wide, units, out, bytes);
      out[bytes] = 0;
      return static_cast<uint32_t>(bytes);
    }
    units--;
    if (units > 0 && IS_HIGH_SURROGATE(wide[units - 1])) units--;
  }
  out[0] = 0;
  return 0;
}

uint32_t system_program_path(char* out, uint32_t size) {
  if (size == 0) return 0;
  if (windows_8bit_is_utf8()) {
    const DWORD length = GetModuleFileNameA(nullptr, out, size);
    // A cut path fills the buffer; older systems then leave out the NUL.
    if (length >= size) out[size - 1] = 0;
    return length < size ? length : size - 1;
  }
  const auto wide = xp_block<char16_t>::of(LONGEST_PATH);
  if (!wide) return 0;
  const DWORD units = GetModuleFileNameW(nullptr, windows_wide(wide.get()), LONGEST_PATH - 1);
  return units ? copy_cut(wide.get(), out, size) : 0;
}

// The converted command line, made at the first question and kept for the life of the process,
// like the one that the system holds.
char* converted_command_line;

const char* system_command_line() {
  if (windows_8bit_is_utf8()) return GetCommandLineA();
  if (converted_command_line) return converted_command_line;
  const wchar_t* wide = GetCommandLineW();
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  auto* text = bytes > 0 ? static_cast<char*>(HeapAlloc(GetProcessHeap(), 0, bytes)) : nullptr;
  if (!text) return GetCommandLineA();
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, bytes, nullptr, nullptr);
  return converted_command_line = text;
}

[[noreturn]] void system_exit_process(uint32_t result) {
  ExitProcess(result);
}

}  // namespace

constinit const xp_system_ops windows_system = {.os_version = system_os_version,
                                                .is_wow64 = system_is_wow64,
                                                .file_version = system_file_version,
                                                .message_box = system_message_box,
                                                .program_path = system_program_path,
                                                .command_line = system_command_line,
                                                .exit_process = system_exit_process};
