// The standard handles as pipes, files and nothing at all. A test has no console; that side is
// seen in whole runs on a terminal.
#include <gtest/gtest.h>

#include "tests/windows/windows_support.h"

namespace {

const xp_console_ops& console() {
  return *xp_platform->console;
}

// Puts a handle in the place of a standard one for the time of a scope.
struct standard_swap {
  standard_swap(DWORD which, HANDLE handle) : which_(which), before_(GetStdHandle(which)) {
    SetStdHandle(which, handle);
  }
  ~standard_swap() { SetStdHandle(which_, before_); }

 private:
  DWORD which_;
  HANDLE before_;
};

struct pipe {
  pipe() { CreatePipe(&read, &write, nullptr, 0); }
  ~pipe() {
    close(&read);
    close(&write);
  }
  static void close(HANDLE* handle) {
    if (*handle) CloseHandle(*handle);
    *handle = nullptr;
  }

  HANDLE read = nullptr;
  HANDLE write = nullptr;
};

TEST(windows_console, APipeTakesBytesAndHasNoWidth) {
  pipe ends;
  const standard_swap swap(STD_ERROR_HANDLE, ends.write);
  EXPECT_FALSE(console().is_console(XP_CONSOLE_ERROR));
  EXPECT_EQ(console().width(XP_CONSOLE_ERROR), 0);
  uint32_t done = 0;
  EXPECT_EQ(console().write_bytes(XP_CONSOLE_ERROR, "M\xC3\xA4rz", 5, &done), XP_CONSOLE_OK);
  EXPECT_EQ(done, 5u);
  char16_t unit = u'x';
  EXPECT_EQ(console().write_wide(XP_CONSOLE_ERROR, &unit, 1, &done), XP_CONSOLE_FAILED);
  char bytes[16];
  DWORD moved = 0;
  ASSERT_TRUE(ReadFile(ends.read, bytes, sizeof bytes, &moved, nullptr));
  EXPECT_EQ(std::string(bytes, moved), "M\xC3\xA4rz");
}

TEST(windows_console, APipeEndsWhenItsWriterHasGone) {
  pipe ends;
  const standard_swap swap(STD_INPUT_HANDLE, ends.read);
  DWORD moved = 0;
  WriteFile(ends.write, "abc", 3, &moved, nullptr);
  pipe::close(&ends.write);
  char bytes[16];
  uint32_t done = 99;
  EXPECT_EQ(console().read_bytes(XP_CONSOLE_INPUT, bytes, sizeof bytes, &done), XP_CONSOLE_OK);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(console().read_bytes(XP_CONSOLE_INPUT, bytes, sizeof bytes, &done), XP_CONSOLE_OK);
  EXPECT_EQ(done, 0u);
}

TEST(windows_console, AnAbsentHandleFailsEveryCall) {
  for (HANDLE absent : {HANDLE(nullptr), INVALID_HANDLE_VALUE}) {
    const standard_swap input(STD_INPUT_HANDLE, absent);
    const standard_swap output(STD_OUTPUT_HANDLE, absent);
    char16_t unit = u'x';
    char byte = 'x';
    uint32_t done = 99;
    EXPECT_FALSE(console().is_console(XP_CONSOLE_INPUT));
    EXPECT_EQ(console().read_bytes(XP_CONSOLE_INPUT, &byte, 1, &done), XP_CONSOLE_FAILED);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(console().read_wide(XP_CONSOLE_INPUT, &unit, 1, &done), XP_CONSOLE_FAILED);
    EXPECT_EQ(console().write_bytes(XP_CONSOLE_OUTPUT, &byte, 1, &done), XP_CONSOLE_FAILED);
    EXPECT_EQ(console().flush(XP_CONSOLE_OUTPUT), XP_CONSOLE_FAILED);
    EXPECT_EQ(console().width(XP_CONSOLE_OUTPUT), 0);
  }
}

TEST(windows_console, AFileIsFlushedAndReadToItsEnd) {
  const scratch_folder scratch;
  const std::u16string path = scratch.file(u"in.txt", "123");
  const HANDLE file =
      CreateFileW(w(path), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  {
    const standard_swap input(STD_INPUT_HANDLE, file);
    const standard_swap output(STD_OUTPUT_HANDLE, file);
    char bytes[8];
    uint32_t done = 0;
    EXPECT_EQ(console().read_bytes(XP_CONSOLE_INPUT, bytes, sizeof bytes, &done), XP_CONSOLE_OK);
    EXPECT_EQ(done, 3u);
    EXPECT_EQ(console().read_bytes(XP_CONSOLE_INPUT, bytes, sizeof bytes, &done), XP_CONSOLE_OK);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(console().flush(XP_CONSOLE_OUTPUT), XP_CONSOLE_OK);
  }
  CloseHandle(file);
}

}  // namespace
