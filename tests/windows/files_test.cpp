// What the file system of Windows answers, and what our table makes of it.
#include <gtest/gtest.h>

#include "platform/windows/backend.h"
#include "tests/windows/windows_support.h"

namespace {

const xp_file_ops& files() {
  return *xp_platform->files;
}

struct status_row {
  DWORD error;
  xp_file_status status;
  const char* why;
};

TEST(windows_files, SystemErrorsGetTheirMeaning) {
  constexpr status_row ROWS[] = {
      {0, XP_FILE_FAILED, "a failure that left no error is still one"},
      {ERROR_HANDLE_EOF, XP_FILE_END, ""},
      {ERROR_BROKEN_PIPE, XP_FILE_END, "the end of a pipe"},
      {ERROR_FILE_NOT_FOUND, XP_FILE_NOT_FOUND, ""},
      {ERROR_PATH_NOT_FOUND, XP_FILE_NOT_FOUND, ""},
      {ERROR_NOT_READY, XP_FILE_NOT_FOUND, "a drive without media"},
      {ERROR_ALREADY_EXISTS, XP_FILE_EXISTS, ""},
      {ERROR_FILE_EXISTS, XP_FILE_EXISTS, ""},
      {ERROR_ACCESS_DENIED, XP_FILE_DENIED, ""},
      {ERROR_SHARING_VIOLATION, XP_FILE_SHARING, ""},
      {ERROR_DISK_FULL, XP_FILE_FULL, ""},
      {ERROR_INVALID_NAME, XP_FILE_BAD_NAME, ""},
      {ERROR_NOT_ENOUGH_MEMORY, XP_FILE_OUT_OF_MEMORY, ""},
      {ERROR_CRC, XP_FILE_FAILED, "no meaning of its own"},
  };
  for (const status_row& row : ROWS)
    EXPECT_EQ(windows_file_status(row.error), row.status) << row.error << " " << row.why;
}

TEST(windows_files, RealFailuresAreToldApart) {
  const scratch_folder scratch;
  const std::u16string file = scratch.file(u"here.txt", "1234");
  struct {
    std::u16string path;
    uint32_t access;
    xp_file_disposition disposition;
    xp_file_status expected;
  } const rows[] = {
      {scratch.child(u"none"), XP_FILE_READ, XP_FILE_OPEN_EXISTING, XP_FILE_NOT_FOUND},
      {scratch.child(u"none\\deep"), XP_FILE_READ, XP_FILE_CREATE_NEW, XP_FILE_NOT_FOUND},
      {file, XP_FILE_READ, XP_FILE_CREATE_NEW, XP_FILE_EXISTS},
      {scratch.child(u"HERE.TXT"), XP_FILE_READ, XP_FILE_CREATE_NEW, XP_FILE_EXISTS},
      {scratch.child(u"a<b"), XP_FILE_READ, XP_FILE_CREATE_NEW, XP_FILE_BAD_NAME},
      {scratch.path, XP_FILE_READ, XP_FILE_OPEN_EXISTING, XP_FILE_DENIED},
      {scratch.path, XP_FILE_QUERY, XP_FILE_OPEN_EXISTING, XP_FILE_DENIED},
  };
  for (const auto& row : rows) {
    xp_file_handle handle = 0;
    EXPECT_EQ(files().open(row.path.c_str(), row.access, XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE,
                           row.disposition, &handle),
              row.expected)
        << utf8(row.path);
  }
  EXPECT_EQ(files().remove(scratch.child(u"none").c_str()), XP_FILE_NOT_FOUND);
  EXPECT_EQ(files().make_folder(scratch.path.c_str()), XP_FILE_EXISTS);
  EXPECT_EQ(files().make_folder(scratch.child(u"a\\b").c_str()), XP_FILE_NOT_FOUND);
}

TEST(windows_files, AWriterSharesOnlyReading) {
  const scratch_folder scratch;
  const std::u16string file = scratch.file(u"held.txt", "1234");
  xp_file_handle writer = 0;
  ASSERT_EQ(files().open(file.c_str(), XP_FILE_READ | XP_FILE_WRITE, XP_FILE_SHARE_READ,
                         XP_FILE_OPEN_EXISTING, &writer),
            XP_FILE_OK);
  xp_file_handle other = 0;
  EXPECT_EQ(files().open(file.c_str(), XP_FILE_WRITE, XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE,
                         XP_FILE_OPEN_EXISTING, &other),
            XP_FILE_SHARING);
  EXPECT_EQ(files().open(file.c_str(), XP_FILE_READ, XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE,
                         XP_FILE_OPEN_EXISTING, &other),
            XP_FILE_OK);
  files().close(other);
  EXPECT_EQ(files().remove(file.c_str()), XP_FILE_SHARING);
  files().close(writer);
  EXPECT_EQ(files().remove(file.c_str()), XP_FILE_OK);
}

TEST(windows_files, PositionsAndSizesBeyondFourGigabytes) {
  const scratch_folder scratch;
  const std::u16string file = scratch.file(u"large.bin", "head");
  xp_file_handle handle = 0;
  ASSERT_EQ(
      files().open(file.c_str(), XP_FILE_READ | XP_FILE_WRITE, 0, XP_FILE_OPEN_EXISTING, &handle),
      XP_FILE_OK);
  constexpr int64_t FAR_AWAY = 0x100000000 + 5;
  int64_t position = 0;
  EXPECT_EQ(files().seek(handle, FAR_AWAY, XP_FILE_FROM_START, &position), XP_FILE_OK);
  EXPECT_EQ(position, FAR_AWAY);
  EXPECT_EQ(files().truncate(handle), XP_FILE_OK);
  EXPECT_EQ(files().seek(handle, -2, XP_FILE_FROM_END, &position), XP_FILE_OK);
  EXPECT_EQ(position, FAR_AWAY - 2);
  char bytes[8];
  uint32_t done = 99;
  EXPECT_EQ(files().read(handle, bytes, sizeof bytes, &done), XP_FILE_OK);
  EXPECT_EQ(done, 2u);
  const xp_file_status at_end = files().read(handle, bytes, sizeof bytes, &done);
  EXPECT_TRUE(at_end == XP_FILE_OK || at_end == XP_FILE_END);
  EXPECT_EQ(done, 0u);
  EXPECT_NE(files().seek(handle, -1, XP_FILE_FROM_START, nullptr), XP_FILE_OK);
  files().close(handle);
}

TEST(windows_files, AWalkGivesLongAndShortNames) {
  const scratch_folder scratch;
  (void)scratch.file(u"Ein längerer Name €.txt", "");
  ASSERT_EQ(files().make_folder(scratch.child(u"Folder with a long name").c_str()), XP_FILE_OK);
  xp_find_entry entry = {};
  xp_find_handle find = 0;
  ASSERT_EQ(files().find_first(scratch.child(u"*").c_str(), &entry, &find), XP_FILE_OK);
  int folders = 0;
  int others = 0;
  xp_file_status status = XP_FILE_OK;
  for (; status == XP_FILE_OK; status = files().find_next(find, &entry)) {
    const std::u16string name = entry.name;
    if (name == u"." || name == u"..") continue;
    (entry.attributes & XP_FIND_FOLDER ? folders : others)++;
    const std::u16string alias = entry.short_name;
    EXPECT_LE(alias.size(), 12u);
    if (alias.empty()) continue;  // the volume may keep no aliases
    xp_find_entry by_alias = {};
    xp_find_handle again = 0;
    ASSERT_EQ(files().find_first((scratch.path + u"\\" + alias).c_str(), &by_alias, &again),
              XP_FILE_OK);
    files().find_close(again);
    EXPECT_EQ(std::u16string(by_alias.name), name);
  }
  EXPECT_EQ(status, XP_FILE_END);
  files().find_close(find);
  EXPECT_EQ(folders, 1);
  EXPECT_EQ(others, 1);
  EXPECT_EQ(files().find_first(scratch.child(u"none*").c_str(), &entry, &find), XP_FILE_NOT_FOUND);
}

TEST(windows_files, FullPathTellsTheRoomItNeeds) {
  char16_t out[64];
  const uint32_t length = files().full_path(u"c:\\a\\.\\b\\..\\c", out, 64);
  EXPECT_EQ(std::u16string(out, length), u"c:\\a\\c");
  EXPECT_EQ(files().full_path(u"c:\\a\\c", out, 6), 7u);
  EXPECT_EQ(files().full_path(u"", out, 64), 0u);
}

TEST(windows_files, TemporaryNamesAreFreshFilesInTheFolder) {
  const scratch_folder scratch;
  char16_t first[260];
  char16_t second[260];
  ASSERT_EQ(files().temp_name(scratch.path.c_str(), u"tmp", first), XP_FILE_OK);
  ASSERT_EQ(files().temp_name(scratch.path.c_str(), u"tmp", second), XP_FILE_OK);
  EXPECT_NE(std::u16string(first), second);
  EXPECT_EQ(std::u16string(first).substr(0, scratch.path.size() + 4), scratch.path + u"\\tmp");
  EXPECT_EQ(files().temp_name(scratch.child(u"none").c_str(), u"tmp", second), XP_FILE_NOT_FOUND);
  char16_t folder[260];
  const uint32_t length = files().temp_folder(folder, 260);
  ASSERT_GT(length, 3u);
  EXPECT_EQ(folder[length - 1], u'\\');
}

}  // namespace
