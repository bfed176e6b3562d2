// What the back end answers on computers that are set up in some special way.
// tests/e2e/windows_scenes_test.sh sets each computer up and runs the one test that belongs to it.
#include <gtest/gtest.h>

#include "object/xp_ref.h"
#include "stream/xp_socket.h"
#include "tests/windows/windows_support.h"

namespace {

std::string item(xp_locale_item which, int32_t index = 0) {
  char text[128] = {};
  EXPECT_GT(xp_platform->locale->item_narrow(which, index, text, sizeof text), 0);
  return text;
}

// Set up: TZ=Europe/Berlin.
TEST(scene, ZoneWithDaylightRules) {
  xp_zone_record zone;
  EXPECT_NE(xp_platform->clock->zone(&zone), XP_ZONE_INVALID);
  EXPECT_EQ(zone.bias, -60);
  EXPECT_EQ(zone.standard_bias, 0);
  EXPECT_EQ(zone.daylight_bias, -60);
  const struct {
    const xp_system_time& date;
    uint16_t month;
    uint16_t hour;
  } rules[] = {{zone.daylight_date, 3, 2}, {zone.standard_date, 10, 3}};
  for (const auto& rule : rules) {
    EXPECT_EQ(rule.date.year, 0) << "a yearly rule";
    EXPECT_EQ(rule.date.month, rule.month);
    EXPECT_EQ(rule.date.day, 5) << "the last";
    EXPECT_EQ(rule.date.weekday, 0) << "Sunday";
    EXPECT_EQ(rule.date.hour, rule.hour);
  }
}

// Set up: TZ=Asia/Kolkata.
TEST(scene, ZoneWithoutDaylightRules) {
  xp_zone_record zone;
  EXPECT_EQ(xp_platform->clock->zone(&zone), XP_ZONE_UNKNOWN);
  EXPECT_EQ(zone.bias, -330);
  EXPECT_EQ(zone.daylight_date.month, 0);
}

// Set up: a person who has chosen separators and names of their own, beyond ASCII.
TEST(scene, ConventionsOfTheUser) {
  EXPECT_EQ(item(XP_LOCALE_DATE_SEPARATOR), "~");
  EXPECT_EQ(item(XP_LOCALE_DECIMAL_POINT), "\xD9\xAB");
  EXPECT_EQ(item(XP_LOCALE_AM), "vörm €");
}

// Set up: WINHTTP can't be loaded.
TEST(scene, WithoutWinHttp) {
  char16_t* proxies = nullptr;
  char16_t* bypasses = nullptr;
  EXPECT_FALSE(xp_platform->proxy->defaults(&proxies, &bypasses));
  EXPECT_EQ(proxies, nullptr);
  EXPECT_EQ(bypasses, nullptr);
}

// Set up: SHFOLDER can't be loaded.
TEST(scene, WithoutShellFolders) {
  char16_t path[300];
  EXPECT_EQ(xp_platform->folders->get(XP_FOLDER_SHELL_COMMON_DATA, path, 300), 0u);
  EXPECT_GT(xp_platform->folders->get(XP_FOLDER_WINDOWS, path, 300), 0u);
  EXPECT_GT(xp_platform->folders->get(XP_FOLDER_KNOWN_PROGRAM_FILES_64, path, 300), 0u);
}

// Set up: the system is Windows 8.1, which calls itself 8 to programs that don't name it.
TEST(scene, VersionOfADeclaredSystem) {
  xp_os_version version = {};
  ASSERT_TRUE(xp_platform->system->os_version(&version));
  EXPECT_EQ(version.major, 6u);
  EXPECT_EQ(version.minor, 3u);
  EXPECT_EQ(version.build, 9600u);
}

// Set up: a further argument "Grüße €".
TEST(scene, ArgumentsBeyondAscii) {
  EXPECT_NE(std::string(xp_platform->system->command_line()).find("Grüße €"), std::string::npos);
}

// Set up: a terminal of 97 columns with a line waiting on its input.
TEST(scene, Terminal) {
  const xp_console_ops& console = *xp_platform->console;
  EXPECT_TRUE(console.is_console(XP_CONSOLE_INPUT));
  EXPECT_TRUE(console.is_console(XP_CONSOLE_OUTPUT));
  EXPECT_EQ(console.width(XP_CONSOLE_OUTPUT), 97);
  uint32_t done = 0;
  EXPECT_EQ(console.write_wide(XP_CONSOLE_OUTPUT, u"Grüße", 5, &done), XP_CONSOLE_OK);
  EXPECT_EQ(done, 5u);
  char16_t unit = 0;
  EXPECT_EQ(console.read_wide(XP_CONSOLE_INPUT, &unit, 1, &done), XP_CONSOLE_OK);
  EXPECT_EQ(done, 1u);
  EXPECT_EQ(unit, u'q');
}

// Set up: a TLS server on port 47299 that sends each line back in reverse.
TEST(scene, TlsConversation) {
  const xp_ref<xp_str> name(xp_str_new("localhost:47299"));
  const xp_ref<xp_stream> stream(xp_socket_new(name.get()));
  int32_t limit = 20;
  uint32_t word = XP_SECURITY_ON | XP_SECURITY_CHECK_CHAIN | XP_SECURITY_CHECK_NAME;
  ASSERT_EQ(xp_stream_option(stream.get(), SOCKET_OPTION_TIMEOUTS, &limit), 0);
  ASSERT_EQ(xp_stream_option(stream.get(), SOCKET_OPTION_SECURITY, &word), 0);
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  std::string sent;
  for (int i = 0; i < 12000; i++)
    sent += static_cast<char>('a' + i % 26);
  for (int round = 0; round < 4; round++) {
    const std::string line = sent + "\n";
    const auto length = static_cast<int32_t>(line.size());
    ASSERT_EQ(xp_stream_write(stream.get(), line.data(), length), length);
    std::string got;
    while (got.size() < line.size()) {
      char bytes[5000];
      const int32_t count = xp_stream_read(stream.get(), bytes, sizeof bytes);
      ASSERT_GT(count, 0);
      got.append(bytes, static_cast<size_t>(count));
    }
    EXPECT_EQ(got, std::string(sent.rbegin(), sent.rend()) + "\n");
  }
  xp_stream_close(stream.get());
}

}  // namespace
