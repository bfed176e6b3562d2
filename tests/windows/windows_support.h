// What tests of the Windows back end share: texts, scratch files, the program file.
#pragma once

#include <windows.h>

#include <string>

#include "platform/platform.h"

inline std::u16string wide(const std::string& utf8) {
  const int32_t units = xp_text_to_wide(utf8.c_str(), -1, nullptr, 0);
  std::u16string out(static_cast<size_t>(units), 0);
  (void)xp_text_to_wide(utf8.c_str(), -1, out.data(), units);
  out.pop_back();
  return out;
}

inline std::string utf8(const std::u16string& text) {
  const int32_t bytes = xp_text_to_utf8(text.c_str(), -1, nullptr, 0);
  std::string out(static_cast<size_t>(bytes), 0);
  (void)xp_text_to_utf8(text.c_str(), -1, out.data(), bytes);
  out.pop_back();
  return out;
}

inline const wchar_t* w(const std::u16string& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}

// A folder of its own in the temporary folder, removed with the files in it.
struct scratch_folder {
  scratch_folder() {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    path = std::u16string(reinterpret_cast<const char16_t*>(temp)) + u"ruvo-test-" +
           wide(std::to_string(GetCurrentProcessId()));
    CreateDirectoryW(w(path), nullptr);
  }
  ~scratch_folder() {
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW(w(path + u"\\*"), &data);
    if (find != INVALID_HANDLE_VALUE) {
      do {
        const std::u16string name =
            path + u"\\" + reinterpret_cast<const char16_t*>(data.cFileName);
        SetFileAttributesW(w(name), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(w(name));
        RemoveDirectoryW(w(name));
      } while (FindNextFileW(find, &data));
      FindClose(find);
    }
    RemoveDirectoryW(w(path));
  }

  std::u16string child(const char16_t* name) const { return path + u"\\" + name; }
  std::u16string file(const char16_t* name, const std::string& content) const {
    const std::u16string whole = child(name);
    const HANDLE handle =
        CreateFileW(w(whole), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD done;
    WriteFile(handle, content.data(), static_cast<DWORD>(content.size()), &done, nullptr);
    CloseHandle(handle);
    return whole;
  }

  std::u16string path;
};

// The running test program, and ruvo.exe beside it.
inline std::u16string test_program() {
  wchar_t path[1024];
  GetModuleFileNameW(nullptr, path, 1024);
  return reinterpret_cast<const char16_t*>(path);
}

inline std::u16string program_file() {
  std::u16string path = test_program();
  return path.substr(0, path.rfind(u'\\') + 1) + u"ruvo.exe";
}
