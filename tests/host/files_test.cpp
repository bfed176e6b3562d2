// What the stand-in computer's files do beyond what the unit tests see on either platform.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/host/machine.h"
#include "tests/support/fakes.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr uint32_t BOTH = XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE;
constexpr uint32_t READ_WRITE = XP_FILE_READ | XP_FILE_WRITE;

struct HostFiles : testing::Test {
  HostFiles() : file(folder.write("File.txt", "content")) {}

  std::u16string wide(const char* name) const {
    const xp_block<char16_t> text(xp_path_to_wide(folder.at(name).get()));
    return text.get();
  }
  std::string native(const char* name) const {
    char path[HOST_PATH_SIZE] = "";
    EXPECT_EQ(host_native_path(wide(name).c_str(), path, sizeof(path)), XP_FILE_OK);
    return path;
  }
  xp_file_status open(const char* name, uint32_t access, uint32_t share,
                      xp_file_handle* out) const {
    return host_files.open(wide(name).c_str(), access, share, XP_FILE_OPEN_EXISTING, out);
  }
  // The entries that fit, sorted.
  std::vector<std::string> found(const char* pattern) const {
    std::vector<std::string> names;
    xp_find_entry entry;
    xp_find_handle find = 0;
    xp_file_status status = host_files.find_first(wide(pattern).c_str(), &entry, &find);
    for (; status == XP_FILE_OK; status = host_files.find_next(find, &entry)) {
      char name[800] = "";
      host_text.to_utf8(entry.name, -1, name, sizeof(name));
      if (name[0] != '.') names.push_back(name);
    }
    host_files.find_close(find);
    std::sort(names.begin(), names.end());
    return names;
  }

  temp_folder folder;
  xp_ref<xp_path> file;
};

}  // namespace

TEST_F(HostFiles, AnOpenSaysWhatOthersMayDo) {
  const struct {
    uint32_t first_access, first_share, second_access, second_share;
    xp_file_status second;
    const char* reason;
  } rows[] = {
      {READ_WRITE, XP_FILE_SHARE_READ, READ_WRITE, BOTH, XP_FILE_SHARING, "one writer"},
      {READ_WRITE, XP_FILE_SHARE_READ, XP_FILE_READ, BOTH, XP_FILE_OK, "readers beside it"},
      {READ_WRITE, XP_FILE_SHARE_READ, XP_FILE_READ, XP_FILE_SHARE_READ, XP_FILE_SHARING,
       "a reader that wants no writer is too late"},
      {XP_FILE_READ, BOTH, READ_WRITE, XP_FILE_SHARE_READ, XP_FILE_OK, "a writer beside a reader"},
      {XP_FILE_READ, 0, XP_FILE_READ, BOTH, XP_FILE_SHARING, "nobody beside it"},
      {XP_FILE_READ, 0, XP_FILE_QUERY, BOTH, XP_FILE_OK, "asking is no use"},
  };
  for (const auto& row : rows) {
    xp_file_handle first = 0;
    xp_file_handle second = 0;
    ASSERT_EQ(open("File.txt", row.first_access, row.first_share, &first), XP_FILE_OK);
    EXPECT_EQ(open("File.txt", row.second_access, row.second_share, &second), row.second)
        << row.reason;
    if (second) host_files.close(second);
    host_files.close(first);
    ASSERT_EQ(open("File.txt", row.second_access, row.second_share, &second), XP_FILE_OK)
        << "closing ends it: " << row.reason;
    host_files.close(second);
  }
}

TEST_F(HostFiles, SharingHoldsBetweenProcessesAndEndsWithThem) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t other = fork();
  if (other == 0) {
    xp_file_handle mine = 0;
    const char done = open("File.txt", READ_WRITE, XP_FILE_SHARE_READ, &mine) == XP_FILE_OK;
    if (write(ready[1], &done, 1) == 1) pause();
    _exit(1);
  }
  char done = 0;
  ASSERT_EQ(read(ready[0], &done, 1), 1);
  EXPECT_TRUE(done);
  xp_file_handle handle = 0;
  EXPECT_EQ(open("File.txt", READ_WRITE, XP_FILE_SHARE_READ, &handle), XP_FILE_SHARING);
  EXPECT_EQ(host_files.remove(wide("File.txt").c_str()), XP_FILE_SHARING);
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
  EXPECT_EQ(open("File.txt", READ_WRITE, XP_FILE_SHARE_READ, &handle), XP_FILE_OK);
  host_files.close(handle);
  EXPECT_EQ(host_files.remove(wide("FILE.TXT").c_str()), XP_FILE_OK);
  close(ready[0]);
  close(ready[1]);
}

TEST_F(HostFiles, FoldersAreNoFiles) {
  folder.make("Folder");
  xp_file_handle handle = 0;
  for (uint32_t access : {uint32_t{XP_FILE_QUERY}, uint32_t{XP_FILE_READ}, READ_WRITE})
    EXPECT_EQ(open("Folder", access, BOTH, &handle), XP_FILE_DENIED) << access;
  EXPECT_EQ(host_files.remove(wide("folder").c_str()), XP_FILE_DENIED);
  EXPECT_EQ(host_files.make_folder(wide("FOLDER").c_str()), XP_FILE_EXISTS);
  EXPECT_EQ(host_files.make_folder(wide("a\\b").c_str()), XP_FILE_NOT_FOUND);
  EXPECT_EQ(
      host_files.open(wide("FILE.TXT").c_str(), XP_FILE_READ, BOTH, XP_FILE_CREATE_NEW, &handle),
      XP_FILE_EXISTS)
      << "one name, whatever its case";
}

TEST_F(HostFiles, ANewFileTakesNoStandardHandlesNumber) {
  const int saved = dup(STDERR_FILENO);
  close(STDERR_FILENO);
  xp_file_handle handle = 0;
  const xp_file_status status = open("File.txt", XP_FILE_READ, BOTH, &handle);
  dup2(saved, STDERR_FILENO);
  close(saved);
  EXPECT_EQ(status, XP_FILE_OK);
  EXPECT_GT(handle, STDERR_FILENO);
  host_files.close(handle);
}

TEST_F(HostFiles, APipeWithoutAWriterIsEmptyAndNobodyWaits) {
  ASSERT_EQ(mkfifo(native("pipe").c_str(), 0600), 0);
  xp_file_handle handle = 0;
  ASSERT_EQ(open("pipe", XP_FILE_READ, BOTH, &handle), XP_FILE_OK);
  char byte;
  uint32_t done = 9;
  EXPECT_EQ(host_files.read(handle, &byte, 1, &done), XP_FILE_OK);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(host_files.seek(handle, 0, XP_FILE_FROM_END, nullptr), XP_FILE_FAILED);
  host_files.close(handle);
}

TEST_F(HostFiles, AFullDeviceIsToldWithWhatWentBefore) {
  xp_file_handle handle = 0;
  ASSERT_EQ(host_files.open(u"Z:\\dev\\full", READ_WRITE, BOTH, XP_FILE_OPEN_EXISTING, &handle),
            XP_FILE_OK);
  uint32_t done = 9;
  EXPECT_EQ(host_files.write(handle, "abc", 3, &done), XP_FILE_FULL);
  EXPECT_EQ(done, 0u);
  host_files.close(handle);

  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small = {5000, before.rlim_max};
  const std::string bytes(8000, 'x');
  ASSERT_EQ(open("File.txt", READ_WRITE, BOTH, &handle), XP_FILE_OK);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const xp_file_status status = host_files.write(handle, bytes.data(), 8000, &done);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(status, XP_FILE_FULL) << "and no signal ends the process";
  EXPECT_EQ(done, 5000u);
  host_files.close(handle);
}

TEST_F(HostFiles, PatternsFindWhatTheFolderHolds) {
  using names = std::vector<std::string>;
  folder.make("Sub");
  folder.write("b.TXT", "");
  folder.write("noext", "");
  EXPECT_EQ(found("*"), (names{"File.txt", "Sub", "b.TXT", "noext"}));
  EXPECT_EQ(found("*.*"), found("*")) << "also names without a dot";
  EXPECT_EQ(found("*.txt"), (names{"File.txt", "b.TXT"}));
  EXPECT_EQ(found("?.t?t"), (names{"b.TXT"}));
  EXPECT_EQ(found("file.TXT"), (names{"File.txt"})) << "by its name on the disk";
  xp_find_entry entry;
  xp_find_handle find = 0;
  EXPECT_EQ(host_files.find_first(wide("*.no").c_str(), &entry, &find), XP_FILE_NOT_FOUND);
  EXPECT_EQ(host_files.find_first(wide("no\\*").c_str(), &entry, &find), XP_FILE_NOT_FOUND);
  EXPECT_EQ(host_files.find_first((wide("Sub") + u"\\").c_str(), &entry, &find), XP_FILE_NOT_FOUND)
      << "no entry of anything";
  EXPECT_EQ(host_files.find_first(u"C:\\", &entry, &find), XP_FILE_NOT_FOUND);
  EXPECT_EQ(host_files.find_first(u"", &entry, &find), XP_FILE_BAD_NAME);
  EXPECT_EQ(host_files.find_first(wide("a*b\\c").c_str(), &entry, &find), XP_FILE_BAD_NAME);
  host_files.find_close(0);
}

TEST_F(HostFiles, LinksAreReparsePoints) {
  folder.make("Sub");
  ASSERT_EQ(symlink("Sub", native("to-folder").c_str()), 0);
  ASSERT_EQ(symlink("File.txt", native("to-file").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", native("to-nothing").c_str()), 0);
  const struct {
    const char* name;
    uint32_t attributes;
  } rows[] = {{"Sub", XP_FIND_FOLDER},
              {"File.txt", 0},
              {"to-folder", XP_FIND_FOLDER | XP_FIND_REPARSE},
              {"to-file", XP_FIND_REPARSE},
              {"to-nothing", XP_FIND_REPARSE}};
  for (const auto& row : rows) {
    xp_find_entry entry;
    xp_find_handle find = 0;
    ASSERT_EQ(host_files.find_first(wide(row.name).c_str(), &entry, &find), XP_FILE_OK);
    EXPECT_EQ(entry.attributes, row.attributes) << row.name;
    EXPECT_EQ(entry.short_name[0], 0);
    host_files.find_close(find);
  }
  xp_file_handle handle = 0;
  EXPECT_EQ(open("to-nothing", XP_FILE_QUERY, BOTH, &handle), XP_FILE_NOT_FOUND);
}

TEST_F(HostFiles, CaseCountsOnTheLinuxDrive) {
  char16_t name[HOST_PATH_SIZE];
  const std::string upper = native("File.txt");
  ASSERT_EQ(chdir(upper.substr(0, upper.rfind('/')).c_str()), 0);
  std::u16string path = u"Z:" + std::u16string(upper.begin(), upper.end());
  std::replace(path.begin(), path.end(), u'/', u'\\');
  ASSERT_LT(host_full_path(path.c_str(), name, HOST_PATH_SIZE), HOST_PATH_SIZE);
  xp_find_entry entry;
  xp_find_handle find = 0;
  EXPECT_EQ(host_files.find_first(name, &entry, &find), XP_FILE_OK);
  host_files.find_close(find);
  path.back() = u'T';
  EXPECT_EQ(host_files.find_first(path.c_str(), &entry, &find), XP_FILE_NOT_FOUND);
  EXPECT_EQ(
      host_files.find_first((path.substr(0, path.size() - 8) + u"FILE*").c_str(), &entry, &find),
      XP_FILE_NOT_FOUND);
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(HostFiles, TemporaryNamesAreMadeInTheirFolder) {
  char16_t name[260];
  folder.make("Temp");
  ASSERT_EQ(host_files.temp_name(wide("Temp").c_str(), u"tmp", name), XP_FILE_OK);
  const std::u16string made(name);
  EXPECT_EQ(made.substr(0, made.size() - 8),
            wide("temp\\tmp").replace(wide("").size() + 1, 1, u"T"));
  EXPECT_EQ(made.substr(made.size() - 4), u".tmp");
  EXPECT_EQ(found("Temp\\*").size(), 1u);
  EXPECT_EQ(host_files.temp_name(wide("absent").c_str(), u"tmp", name), XP_FILE_NOT_FOUND);
  EXPECT_EQ(host_files.temp_name(std::u16string(250, u'a').c_str(), u"tmp", name),
            XP_FILE_BAD_NAME);
  char16_t small[16];
  EXPECT_EQ(host_files.temp_folder(small, 16), 17u);
  EXPECT_EQ(host_files.temp_folder(name, 260), 16u);
  EXPECT_EQ(std::u16string(name), u"C:\\Windows\\Temp\\");
}
