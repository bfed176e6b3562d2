#include "platform/system.h"

#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "platform/host/pe_file.h"
#include "tests/support/fakes.h"
#include "tests/support/host/test_machine.h"
#include "tests/support/host/test_program.h"

namespace {

constexpr char VERSION_KEY[] = "[HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion]\n";

std::string os_version(const std::string& values) {
  test_machine machine;
  machine.write("registry.reg", VERSION_KEY + values);
  xp_os_version version;
  if (!xp_platform->system->os_version(&version)) return "none";
  return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
         std::to_string(version.build);
}

}  // namespace

TEST(System, WindowsVersionIsWhatTheRegistrySays) {
  EXPECT_EQ(os_version("\"CurrentMajorVersionNumber\"=dword:a\n\"CurrentBuildNumber\"=\"19045\"\n"
                       "\"CurrentVersion\"=\"6.3\"\n"),
            "10.0.19045");
  EXPECT_EQ(os_version("\"CurrentVersion\"=\"6.1\"\n\"CurrentBuild\"=\"7601\"\n"), "6.1.7601");
  EXPECT_EQ(os_version("\"CurrentVersion\"=\"six\"\n"), "none");
  EXPECT_EQ(os_version(""), "none");
}

TEST(System, VersionOfAProgramIsThatOfItsResource) {
  test_machine machine;
  const std::string program = test_program(8 << 16 | 1, 70000);
  machine.write("drive_c/windows/prog.exe", program);
  machine.write("drive_c/windows/text.exe", "MZ no program");
  xp_file_version version = {};
  ASSERT_TRUE(xp_platform->system->file_version("c:\\windows\\prog.exe", &version));
  EXPECT_EQ(version.part[0], 8);
  EXPECT_EQ(version.part[1], 1);
  EXPECT_EQ(version.part[2], 1);
  EXPECT_EQ(version.part[3], 70000 - 65536);
  EXPECT_FALSE(xp_platform->system->file_version("c:\\windows\\text.exe", &version));
  EXPECT_FALSE(xp_platform->system->file_version("c:\\windows\\none.exe", &version));
}

TEST(System, BrokenProgramsHaveNoVersionAndDoNoHarm) {
  const std::string whole = test_program(1, 2);
  for (size_t i = 0; i < whole.size(); i++) {
    for (const int change : {-1, 0x80, 0xFF}) {
      // A block of the exact size, so that the sanitizer sees a read beyond its end.
      const size_t size = change < 0 ? i : whole.size();
      std::vector<uint8_t> bytes(whole.begin(), whole.begin() + static_cast<long>(size));
      if (change >= 0) bytes[i] = static_cast<uint8_t>(bytes[i] ^ change);
      pe_file file;
      uint16_t version[4];
      const bool found =
          pe_open(bytes.data(), bytes.size(), &file) && pe_file_version(&file, version);
      if (change < 0 && size < 0x200 + 96 + 92) {
        EXPECT_FALSE(found) << size;
      }
    }
  }
}

TEST(System, OwnPathIsOnTheDriveOfTheLinuxFiles) {
  char path[1024];
  const uint32_t length = xp_platform->system->program_path(path, sizeof path);
  ASSERT_GT(length, 3u);
  EXPECT_EQ(std::string(path, 3), "Z:\\");
  EXPECT_EQ(std::string(path).find("host_tests"), length - strlen("host_tests"));
  EXPECT_EQ(xp_platform->system->program_path(path, 3), 2u);
  EXPECT_STREQ(path, "Z:");
}

TEST(System, CommandLineQuotesWhatNeedsIt) {
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  if (fork() == 0) {
    // The test program starts itself once more to have a command line of the test's choice.
    dup2(pipe_ends[1], 1);
    execl("/proc/self/exe", "prog", "--gtest_filter=System.PrintsItsCommandLine", "a b", "", "q\"'",
          "C:\\x y\\", "\xC3\xA4\ttab", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipe_ends[1]);
  std::string output;
  char bytes[512];
  for (ssize_t got; (got = read(pipe_ends[0], bytes, sizeof bytes)) > 0;)
    output.append(bytes, static_cast<size_t>(got));
  close(pipe_ends[0]);
  wait(nullptr);
  EXPECT_NE(output.find("<prog --gtest_filter=System.PrintsItsCommandLine \"a b\" \"\" \"q\\\"'\" "
                        "\"C:\\\\x y\\\\\" \"\xC3\xA4\ttab\">"),
            std::string::npos)
      << output;
}

TEST(System, PrintsItsCommandLine) {
  const char* line = xp_platform->system->command_line();
  EXPECT_STRNE(line, "");
  printf("<%s>\n", line);  // read by the test above
}

TEST(System, AFailureStaysAFailureInEightBits) {
  test_machine machine;
  for (const uint32_t result : {0u, 6u, 3010u, 1603u, 256u, 0x800B0100u}) {
    const uint32_t low = result & 0xFF;
    EXPECT_EXIT(xp_platform->system->exit_process(result),
                testing::ExitedWithCode(static_cast<int>(result && !low ? 1 : low)), "");
    EXPECT_EQ(machine.read("result"), std::to_string(static_cast<int32_t>(result)) + "\n");
  }
}
