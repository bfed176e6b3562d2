// winlaunch PROGRAM [ARGUMENT...]: runs a Windows program and prints its exit code in full on the
// last line of standard output, as EXIT=0x800b0100 -2146762496. The Unix side of Wine sees only
// the low 8 bits of a code. The own code is 0 when the program ran, 125 when it could not be
// started.
#include <windows.h>

#include <stdio.h>
#include <wchar.h>

// What stands behind the own name in the command line, quotes and all.
static wchar_t* rest_of(wchar_t* line) {
  bool quoted = false;
  while (*line && (quoted || (*line != L' ' && *line != L'\t'))) {
    if (*line == L'"') quoted = !quoted;
    line++;
  }
  while (*line == L' ' || *line == L'\t')
    line++;
  return line;
}

int main() {
  wchar_t* command = _wcsdup(rest_of(GetCommandLineW()));
  if (!command || !*command) {
    fputs("usage: winlaunch PROGRAM [ARGUMENT...]\n", stderr);
    return 125;
  }
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process;
  if (!CreateProcessW(nullptr, command, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                      &process)) {
    fprintf(stderr, "winlaunch: cannot start %ls: error %lu\n", command, GetLastError());
    return 125;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  free(command);
  printf("EXIT=0x%08lx %ld\n", code, static_cast<long>(code));
  return 0;
}
