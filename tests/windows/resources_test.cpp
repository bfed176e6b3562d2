// The resources of ruvo.exe, read from the file as the event viewer, the loader and the shell
// read them.
#include <gtest/gtest.h>

#include "tests/windows/windows_support.h"

namespace {

struct program_resources : testing::Test {
  HMODULE module = LoadLibraryExW(w(program_file()), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  void SetUp() override { ASSERT_NE(module, nullptr) << utf8(program_file()); }
  ~program_resources() override {
    if (module) FreeLibrary(module);
  }

  // The text of a record, "" when the table has no entry for it.
  std::string message(DWORD id, const char* insertion) {
    char text[256] = {};
    const auto argument = reinterpret_cast<DWORD_PTR>(insertion);
    DWORD_PTR arguments[] = {argument};
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, id,
                       1033, text, sizeof text, reinterpret_cast<va_list*>(arguments));
    return std::string(text, length);
  }

  std::string resource(LPCSTR type, LPCSTR name, WORD language) {
    const HRSRC found = FindResourceExA(module, type, name, language);
    const HGLOBAL loaded = found ? LoadResource(module, found) : nullptr;
    if (!loaded) return {};
    return {static_cast<const char*>(LockResource(loaded)), SizeofResource(module, found)};
  }
};

struct message_row {
  DWORD first;
  DWORD last;
  const char* text;
};

constexpr message_row MESSAGES[] = {
    {0, 0, "text"},
    {1000, 1002, "text"},
    {1004, 1004, "text"},
    {0x40000014, 0x4000001B, "text"},
    {0x4000044C, 0x40000450, "text"},
    {0x800004B0, 0x800004B8, "text"},
    {0xC0000514, 0xC0000517, "text"},
    {0x00FF0001, 0x00FF0001, "NT Service installed."},
    {0x00FF0003, 0x00FF0003, "NT Service removed."},
    {0x40000004, 0x40000004, "Starting as an NT Service."},
    {0x40000007, 0x40000007, "Running as an NT Service."},
    {0x40000008, 0x40000008, "Exiting NT Service."},
    {0x8000000A, 0x8000000A, "Note: text"},
    {0x80001000, 0x80001000, "Debug warning: text"},
    {0xC0000006, 0xC0000006, "Error while initializing Tallyport."},
    {0xC0000009, 0xC0000009, "General error: text"},
    {0xC0FF0002, 0xC0FF0002, "NT Service could not be installed."},
    {0xC0FF0005, 0xC0FF0005, "Cannot register NT Service."},
};

TEST_F(program_resources, EveryRowOfTheMessageTableReadsBack) {
  for (const message_row& row : MESSAGES)
    for (DWORD id = row.first; id <= row.last; id++)
      EXPECT_EQ(message(id, "text"), std::string(row.text) + "\r\n") << std::hex << id;
}

TEST_F(program_resources, MessageTableHasNoOtherEntries) {
  // Neighbours of each stretch, and ids that the program reports without an entry.
  for (DWORD id :
       {1u, 999u, 1003u, 1005u, 0x40000013u, 0x4000001Cu, 0x4000044Bu, 0x40000451u, 0x800003EBu,
        0x8000044Eu, 0x8000044Fu, 0x800004AFu, 0x800004B9u, 0xC0000513u, 0xC0000518u, 0x4FFF044Cu})
    EXPECT_EQ(message(id, "text"), "") << std::hex << id;
  EXPECT_FALSE(resource(MAKEINTRESOURCEA(11), MAKEINTRESOURCEA(1), 1033).empty());
}

TEST_F(program_resources, ManifestAsksForTheAdministratorAndDeclaresEverySystem) {
  const std::string manifest = resource(MAKEINTRESOURCEA(24), MAKEINTRESOURCEA(1), 1033);
  for (const char* part :
       {"level=\"requireAdministrator\"", "{e2011457-1546-43c5-a5fe-008deee3d3f0}",
        "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}", "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}",
        "{1f676c76-80e1-4239-95bb-83d0f6d0da78}", "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",
        ">UTF-8</activeCodePage>"})
    EXPECT_NE(manifest.find(part), std::string::npos) << part;
}

TEST_F(program_resources, VersionBlockNamesTheProgram) {
  const std::string path = utf8(program_file());
  xp_file_version version = {};
  ASSERT_TRUE(xp_platform->system->file_version(path.c_str(), &version));
  EXPECT_EQ(version.part[0], 8);
  EXPECT_EQ(version.part[1] | version.part[2] | version.part[3], 0);

  std::string block(GetFileVersionInfoSizeA(path.c_str(), nullptr), 0);
  ASSERT_TRUE(GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
  const auto text = [&](const std::string& name) {
    void* value = nullptr;
    UINT length = 0;
    VerQueryValueA(block.data(), ("\\StringFileInfo\\040904B0\\" + name).c_str(), &value, &length);
    return std::string(value ? static_cast<const char*>(value) : "");
  };
  EXPECT_EQ(text("OriginalFilename"), "RUVO.EXE");
  EXPECT_EQ(text("FileDescription"), "Velandrim Tallyhall Platform Auto-updater");
  EXPECT_EQ(text("FileVersion"), "8.0.0.0");
}

}  // namespace
