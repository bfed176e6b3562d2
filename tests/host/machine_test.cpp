#include "platform/host/machine.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "platform/host/host.h"
#include "tests/support/fakes.h"

namespace {

std::string narrow(const std::u16string& wide) {
  std::string text(wide.size() * 3 + 1, 0);
  text.resize(
      static_cast<size_t>(host_text.to_utf8(wide.data(), static_cast<int32_t>(wide.size()),
                                            text.data(), static_cast<int32_t>(text.size()))));
  return text;
}

std::string full(const char16_t* path) {
  char16_t out[4096];
  const uint32_t length = host_full_path(path, out, 4096);
  return narrow(std::u16string(out, length));
}

std::string native(const char16_t* path) {
  char out[HOST_PATH_SIZE];
  const xp_file_status status = host_native_path(path, out, sizeof(out));
  return status == XP_FILE_OK ? out : "status " + std::to_string(status);
}

std::string windows_name(const std::string& path) {
  char16_t out[4096];
  const uint32_t length = host_windows_path(path.c_str(), out, 4096);
  return narrow(std::u16string(out, length));
}

std::string in_machine(const char* name) {
  char out[HOST_PATH_SIZE];
  return host_machine_path(name, out, sizeof(out)) ? out : "none";
}

std::string content(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// A computer of the test's own in an empty folder, and the current folder put back at the end.
struct Machine : testing::Test {
  Machine() : before_(getenv("RUVO_MACHINE")), cwd_(open(".", O_RDONLY | O_DIRECTORY)) {
    char path[] = "/tmp/ruvo-test-XXXXXX";
    folder = mkdtemp(path);
    setenv("RUVO_MACHINE", (folder + "/machine").c_str(), 1);
  }
  ~Machine() override {
    EXPECT_EQ(fchdir(cwd_), 0);
    close(cwd_);
    setenv("RUVO_MACHINE", before_.c_str(), 1);
    EXPECT_EQ(system(("rm -r " + folder).c_str()), 0);
  }
  void make(const std::string& name) {
    const std::string path = in_machine(name.c_str());
    if (name.back() == '/')
      EXPECT_EQ(mkdir(path.c_str(), 0777), 0) << path;
    else
      std::ofstream(path) << name;
  }
  std::string folder;

 private:
  std::string before_;
  int cwd_;
};

}  // namespace

TEST_F(Machine, FirstUseMakesAFreshComputer) {
  EXPECT_EQ(in_machine(""), folder + "/machine");
  for (const char* name : {"drive_c/Windows/System32", "drive_c/Windows/Temp",
                           "drive_c/Program Files/Common Files", "drive_c/Program Files (x86)",
                           "drive_c/ProgramData", "drive_c/Users/Administrator/AppData/Roaming",
                           "drive_c/Users/Administrator/AppData/Local", "trust"})
    EXPECT_EQ(access(in_machine(name).c_str(), W_OK), 0) << name;
  const std::string registry = content(in_machine("registry.reg"));
  EXPECT_NE(registry.find("\"CurrentBuildNumber\"=\"19045\""), std::string::npos);
  EXPECT_NE(registry.find("EventLog\\Application]\n"), std::string::npos);
}

TEST_F(Machine, WhatAPersonPutThereStays) {
  ASSERT_EQ(mkdir((folder + "/machine").c_str(), 0777), 0);
  std::ofstream(folder + "/machine/registry.reg") << "mine";
  EXPECT_EQ(content(in_machine("registry.reg")), "mine");
  EXPECT_EQ(access(in_machine("drive_c/Windows").c_str(), F_OK), 0);
  EXPECT_EQ(system(("rm -r " + in_machine("drive_c/Users")).c_str()), 0);
  const std::string elsewhere = folder + "/other";
  setenv("RUVO_MACHINE", elsewhere.c_str(), 1);
  EXPECT_EQ(in_machine("trust"), elsewhere + "/trust");
  setenv("RUVO_MACHINE", (folder + "/machine").c_str(), 1);
  EXPECT_EQ(access(in_machine("drive_c/Users").c_str(), F_OK), -1);
}

TEST_F(Machine, TheStateFolderHoldsItWhenNobodyNamesOne) {
  const std::string state = getenv("XDG_STATE_HOME") ? getenv("XDG_STATE_HOME") : "";
  const std::string home = getenv("HOME") ? getenv("HOME") : "";
  setenv("RUVO_MACHINE", "", 1);
  setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
  EXPECT_EQ(in_machine(""), folder + "/state/ruvo/machine");
  setenv("XDG_STATE_HOME", "not/absolute", 1);
  setenv("HOME", folder.c_str(), 1);
  EXPECT_EQ(in_machine(""), folder + "/.local/state/ruvo/machine");
  setenv("HOME", "/proc/no-place", 1);
  EXPECT_EQ(in_machine(""), "none");
  EXPECT_EQ(native(u"C:\\x"), "status " + std::to_string(XP_FILE_FAILED));
  setenv("HOME", home.c_str(), 1);
  if (state.empty())
    unsetenv("XDG_STATE_HOME");
  else
    setenv("XDG_STATE_HOME", state.c_str(), 1);
}

TEST_F(Machine, FullPathsAreAbsoluteAndPlain) {
  ASSERT_EQ(chdir(folder.c_str()), 0);
  const std::string here = "Z:\\tmp" + windows_name(folder).substr(6);
  const struct {
    const char16_t* given;
    std::string full;
    const char* reason;
  } rows[] = {
      {u"/tmp/a.msi", "Z:\\tmp\\a.msi", "a Linux path lies on Z:"},
      {u"//tmp//a.msi", "Z:\\tmp\\a.msi", "more slashes are one"},
      {u"/", "Z:\\", "the root"},
      {u"a/b\\c", here + "\\a\\b\\c", "both separate, seen from the current folder"},
      {u"./a/../../x", windows_name("/tmp/x"), "dots are followed"},
      {u"\\x", "Z:\\x", "root of the current drive"},
      {u"z:x", here + "\\x", "current folder of the current drive"},
      {u"C:x", "C:\\x", "another drive has no current folder but its root"},
      {u"C:", "C:\\", "a drive alone"},
      {u"c:/a//b/./c/", "c:\\a\\b\\c\\", "the separator at the end stays"},
      {u"C:\\..\\..\\a", "C:\\a", "nothing is above a root"},
      {u"C:\\a. . \\b.txt.", "C:\\a\\b.txt", "Windows drops dots and blanks at a name's end"},
      {u"Z:\\a. \\b.", "Z:\\a. \\b.", "Linux doesn't"},
      {u"C:\\a\\...", "C:\\a", "a name of dots is none"},
      {u"\\\\server\\share\\a\\..\\..\\b", "\\\\server\\share\\b", "the share is a root"},
      {u"\\\\?\\C:\\a\\..\\b", "\\\\?\\C:\\a\\..\\b", "verbatim"},
      {u"", "", "nothing names nothing"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(full(row.given), row.full) << row.reason;
}

TEST_F(Machine, FullPathMeasuresWhatDoesNotFit) {
  char16_t out[8] = {};
  EXPECT_EQ(host_full_path(u"C:\\abc", nullptr, 0), 7u);
  EXPECT_EQ(host_full_path(u"C:\\abc", out, 6), 7u);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(host_full_path(u"C:\\abc", out, 7), 6u);
  EXPECT_EQ(std::u16string(out), u"C:\\abc");
  const std::u16string endless(40000, u'a');
  EXPECT_EQ(host_full_path((u"C:\\" + endless).c_str(), out, 8), 0u);
}

TEST_F(Machine, NamesOnADriveAreFoundWithoutRegardToCase) {
  make("drive_c/Data/");
  make("drive_c/Data/Caf\u00C9.txt");
  make("drive_c/Data/readme");
  make("drive_c/Data/README");
  EXPECT_EQ(native(u"c:\\DATA\\caf\u00E9.TXT"), in_machine("drive_c/Data/Caf\u00C9.txt"));
  EXPECT_EQ(native(u"C:\\data\\readme"), in_machine("drive_c/Data/readme"));
  EXPECT_EQ(native(u"C:\\data\\README"), in_machine("drive_c/Data/README"));
  EXPECT_EQ(native(u"C:\\data\\New\\Deep"), in_machine("drive_c/Data/New/Deep"));
  EXPECT_EQ(native(u"\\\\?\\C:\\data\\readme"), in_machine("drive_c/Data/readme"));
  EXPECT_EQ(native(u"C:\\"), in_machine("drive_c"));
  EXPECT_EQ(native(u"d:\\x"), in_machine("drive_d/x"));
  EXPECT_EQ(native((u"Z:\\TMP" + std::u16string(u"\\x")).c_str()), "/TMP/x");
  EXPECT_EQ(native(u"Z:\\"), "/");
}

TEST_F(Machine, NamesThatWindowsDoesNotTakeAreRefused) {
  const std::string bad = "status " + std::to_string(XP_FILE_BAD_NAME);
  const std::string absent = "status " + std::to_string(XP_FILE_NOT_FOUND);
  for (const char16_t* path :
       {u"C:\\a:b", u"C:\\a*", u"C:\\a?", u"C:\\a|b", u"C:\\<", u"C:\\>", u"C:\\a\"", u"C:\\a\tb",
        u"C:\\nul", u"C:\\x\\Con.txt", u"C:\\com1", u"C:\\LPT9 .log", u"C:\\aux\\x", u"Z:\\a*",
        u"\\\\?\\C:\\a\\..\\b", u"\\\\?\\C:\\a/b", u"\\\\.\\pipe\\x", u""})
    EXPECT_EQ(native(path), bad) << narrow(path);
  for (const char16_t* path : {u"\\\\server\\share\\x", u"\\\\?\\UNC\\server\\share", u"\\\\"})
    EXPECT_EQ(native(path), absent) << narrow(path);
  EXPECT_EQ(native(u"Z:\\dev\\null:x"), "/dev/null:x");
  EXPECT_EQ(native(u"C:\\com0"), in_machine("drive_c/com0"));
  EXPECT_EQ(native(u"C:\\console"), in_machine("drive_c/console"));
  EXPECT_EQ(native((u"C:\\" + std::u16string(5000, u'a')).c_str()), bad);
}

TEST_F(Machine, LinuxPathsGetTheirWindowsNames) {
  EXPECT_EQ(windows_name(in_machine("drive_c/Windows/Temp")), "C:\\Windows\\Temp");
  EXPECT_EQ(windows_name(in_machine("drive_c")), "C:\\");
  EXPECT_EQ(
      windows_name(in_machine("drive_cx/a")), "Z:" + [&] {
        std::string path = in_machine("drive_cx/a");
        for (char& byte : path)
          if (byte == '/') byte = '\\';
        return path;
      }());
  EXPECT_EQ(windows_name("/"), "Z:\\");
  EXPECT_EQ(windows_name("/a\\b"), "");
  ASSERT_EQ(chdir(in_machine("drive_c/Windows").c_str()), 0);
  EXPECT_EQ(full(u"Temp\\x"), "C:\\Windows\\Temp\\x");
  EXPECT_EQ(full(u"\\x"), "C:\\x");
}

TEST(MachineErrors, EachErrnoHasItsMeaning) {
  const struct {
    int error;
    xp_file_status status;
  } rows[] = {{0, XP_FILE_OK},
              {ENOENT, XP_FILE_NOT_FOUND},
              {ENOTDIR, XP_FILE_NOT_FOUND},
              {EEXIST, XP_FILE_EXISTS},
              {EACCES, XP_FILE_DENIED},
              {EISDIR, XP_FILE_DENIED},
              {ENOSPC, XP_FILE_FULL},
              {EDQUOT, XP_FILE_FULL},
              {ENAMETOOLONG, XP_FILE_BAD_NAME},
              {ETXTBSY, XP_FILE_SHARING},
              {EIO, XP_FILE_FAILED}};
  for (const auto& row : rows)
    EXPECT_EQ(host_file_status(row.error), row.status) << row.error;
}
