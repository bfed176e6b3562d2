// What a test needs beside the program that it watches:
//   windows_helper hold FILE SECONDS     keeps a file open, shared for reading only
//   windows_helper answer TITLE SECONDS  waits for a message box, prints its text as UTF-8, and
//                                        presses OK; fails when none comes
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int hold(const char* path, int seconds) {
  const HANDLE file = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return 1;
  puts("held");
  fflush(stdout);
  Sleep(static_cast<DWORD>(seconds) * 1000);
  return 0;
}

static int answer(const char* title, int seconds) {
  HWND box = nullptr;
  for (int i = 0; i < seconds * 10 && !box; i++) {
    Sleep(100);
    box = FindWindowA("#32770", title);
  }
  if (!box) return 1;
  Sleep(300);  // the box fills itself after it exists
  constexpr int MESSAGE = 0xFFFF;
  wchar_t wide[512] = {};
  char text[2048] = {};
  GetDlgItemTextW(box, MESSAGE, wide, 512);
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, sizeof text, nullptr, nullptr);
  puts(text);
  return PostMessageA(box, WM_COMMAND, IDOK, 0) ? 0 : 1;
}

int main(int argc, char** argv) {
  if (argc == 4 && strcmp(argv[1], "hold") == 0) return hold(argv[2], atoi(argv[3]));
  if (argc == 4 && strcmp(argv[1], "answer") == 0) return answer(argv[2], atoi(argv[3]));
  fputs("usage: windows_helper hold FILE SECONDS | answer TITLE SECONDS\n", stderr);
  return 2;
}
