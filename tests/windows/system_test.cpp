// Facts about the computer and the process, its folders, clocks and conventions.
#include <gtest/gtest.h>

#include "platform/windows/backend.h"
#include "tests/support/fakes.h"
#include "tests/windows/windows_support.h"
#include "time/xp_time.h"

// Order matters: this needs windows.h.
#include <winhttp.h>

namespace {

const xp_system_ops& facts() {
  return *xp_platform->system;
}

// The same tests are built with and without a manifest that makes UTF-8 the code page.
TEST(windows_system, BothKindsOfCodePageAreTested) {
  const bool manifest = utf8(test_program()).find("utf8") != std::string::npos;
  EXPECT_EQ(windows_8bit_is_utf8(), manifest);
  EXPECT_EQ(windows_8bit_carries("M\xC3\xA4rz"), manifest);
  EXPECT_TRUE(windows_8bit_carries("plain"));
}

TEST(windows_system, CommandLineIsUtf8WhateverTheCodePage) {
  const auto* wide_line = reinterpret_cast<const char16_t*>(GetCommandLineW());
  EXPECT_EQ(std::string(facts().command_line()), utf8(wide_line));
  EXPECT_EQ(facts().command_line(), facts().command_line()) << "made once";
}

TEST(windows_system, ProgramPathIsCutToItsRoom) {
  char whole[1024];
  const uint32_t length = facts().program_path(whole, sizeof whole);
  EXPECT_EQ(std::string(whole, length), utf8(test_program()));
  char cut[8] = "xxxxxxx";
  EXPECT_EQ(facts().program_path(cut, sizeof cut), 7u);
  EXPECT_EQ(std::string(cut), std::string(whole, 7));
  EXPECT_EQ(facts().program_path(cut, 0), 0u);
}

TEST(windows_system, VersionIsTheOneTheSystemTells) {
  xp_os_version version = {};
  ASSERT_TRUE(facts().os_version(&version));
  EXPECT_GE(version.major, 6u);
  EXPECT_GT(version.build, 0u);
  EXPECT_FALSE(facts().is_wow64()) << "this program is a 64-bit one";
}

TEST(windows_system, FileVersionNeedsAVersionBlock) {
  const scratch_folder scratch;
  xp_file_version version = {{7, 7, 7, 7}};
  EXPECT_FALSE(facts().file_version(utf8(scratch.child(u"none.exe")).c_str(), &version));
  EXPECT_FALSE(facts().file_version(utf8(scratch.file(u"text.txt", "no block")).c_str(), &version));
  EXPECT_EQ(version.part[0], 7) << "untouched by a failure";
  const std::u16string copy = scratch.child(u"Täſt.exe");
  ASSERT_TRUE(CopyFileW(w(program_file()), w(copy), FALSE));
  EXPECT_TRUE(facts().file_version(utf8(copy).c_str(), &version));
  EXPECT_EQ(version.part[0], 8);
}

TEST(windows_system, ThereIsNoMessageBoxWithoutADesktopAndNoWaitForIt) {
  if (GetSystemMetrics(SM_CXSCREEN) > 0 && GetDesktopWindow() && getenv("DISPLAY"))
    GTEST_SKIP() << "a person would have to answer";
  const DWORD before = GetTickCount();
  facts().message_box("Text mit Ümlaut", "Title");
  EXPECT_LT(GetTickCount() - before, 20000u);
}

TEST(windows_folders, AnswersAreWholePathsAndFit) {
  for (uint32_t source = XP_FOLDER_CURRENT; source <= XP_FOLDER_TEMP; source++) {
    char16_t path[300] = {};
    const uint32_t length =
        xp_platform->folders->get(static_cast<xp_folder_source>(source), path, 300);
    ASSERT_GE(length, 3u) << source;
    EXPECT_EQ(std::u16string(path).size(), length);
    EXPECT_EQ(path[1], u':') << source;
    EXPECT_EQ(path[length - 1] == u'\\', source == XP_FOLDER_TEMP || length == 3) << source;
    char16_t same[300];
    EXPECT_EQ(xp_platform->folders->get(static_cast<xp_folder_source>(source), same, length), 0u)
        << source << ": no room for the NUL";
    EXPECT_EQ(xp_platform->folders->get(static_cast<xp_folder_source>(source), same, length + 1),
              length)
        << source;
  }
  char16_t path[300];
  EXPECT_EQ(xp_platform->folders->get(static_cast<xp_folder_source>(999), path, 300), 0u);
}

TEST(windows_clock, ClocksAgree) {
  xp_system_time utc;
  xp_system_time local;
  xp_zone_record zone;
  xp_platform->clock->utc(&utc);
  xp_platform->clock->local(&local);
  const xp_zone_status status = xp_platform->clock->zone(&zone);
  ASSERT_NE(status, XP_ZONE_INVALID);
  const auto minutes = [](const xp_system_time& time) {
    SYSTEMTIME system = {time.year, time.month,  time.weekday, time.day,
                         time.hour, time.minute, time.second,  time.millisecond};
    FILETIME file;
    SystemTimeToFileTime(&system, &file);
    return static_cast<int64_t>(
        ((static_cast<uint64_t>(file.dwHighDateTime) << 32) | file.dwLowDateTime) / 600000000);
  };
  const int64_t season = status == XP_ZONE_DAYLIGHT ? zone.daylight_bias : zone.standard_bias;
  const int64_t expected = -(zone.bias + season);
  EXPECT_NEAR(static_cast<double>(minutes(local) - minutes(utc)), static_cast<double>(expected), 1);
  EXPECT_LE(utc.weekday, 6);
}

TEST(windows_clock, TicksFollowTheWait) {
  // The count moves in steps of about 16 ms, so each of the two readings may lag by one.
  const uint32_t before = xp_platform->clock->ticks();
  xp_platform->clock->sleep(60);
  const uint32_t waited = xp_platform->clock->ticks() - before;
  EXPECT_GE(waited, 60u - 2 * 16);
  EXPECT_LT(waited, 30000u);
}

TEST(windows_locale, EveryItemHasATextThatFitsExactly) {
  for (int32_t item = XP_LOCALE_DATE_SEPARATOR; item <= XP_LOCALE_DAY_ABBREVIATION; item++) {
    if (item == XP_LOCALE_POSITIVE_SIGN) continue;  // empty in most locales
    const auto which = static_cast<xp_locale_item>(item);
    char16_t wide_text[128];
    const int32_t units = xp_platform->locale->item_wide(which, 0, nullptr, 0);
    ASSERT_GT(units, 1) << item;
    EXPECT_EQ(xp_platform->locale->item_wide(which, 0, wide_text, units), units) << item;
    EXPECT_EQ(xp_platform->locale->item_wide(which, 0, wide_text, units - 1), 0) << item;
    EXPECT_EQ(xp_platform->locale->item_wide(which, 0, wide_text, 0), 0) << item;
    char text[128];
    const int32_t bytes = xp_platform->locale->item_narrow(which, 0, text, 128);
    EXPECT_EQ(utf8(wide_text).size() + 1, static_cast<size_t>(bytes)) << item;
    EXPECT_EQ(std::string(text), utf8(wide_text)) << item;
  }
}

TEST(windows_locale, NamesHaveTheirNumberAndNoMore) {
  char16_t first[128];
  char16_t last[128];
  EXPECT_GT(xp_platform->locale->item_wide(XP_LOCALE_MONTH_NAME, 0, first, 128), 0);
  EXPECT_GT(xp_platform->locale->item_wide(XP_LOCALE_MONTH_NAME, 11, last, 128), 0);
  EXPECT_NE(std::u16string(first), last);
  EXPECT_EQ(xp_platform->locale->item_wide(XP_LOCALE_MONTH_NAME, 12, last, 128), 0);
  EXPECT_EQ(xp_platform->locale->item_wide(XP_LOCALE_DAY_NAME, 7, last, 128), 0);
  EXPECT_EQ(xp_platform->locale->item_wide(XP_LOCALE_DAY_NAME, -1, last, 128), 0);
  EXPECT_EQ(xp_platform->locale->item_wide(static_cast<xp_locale_item>(99), 0, last, 128), 0);
}

TEST(windows_locale, DatesAndTimesInTheUsersForm) {
  const xp_time_fields fields = {
      .year = 2006, .month = 3, .day = 15, .hour = 17, .minute = 4, .second = 5, .weekday = 3};
  char16_t text[128];
  const int32_t units = xp_platform->locale->date(&fields, false, text, 128);
  ASSERT_GT(units, 1);
  EXPECT_EQ(xp_platform->locale->date(&fields, false, nullptr, 0), units);
  EXPECT_EQ(xp_platform->locale->date(&fields, false, text, units - 1), 0);
  EXPECT_NE(utf8(text).find("15"), std::string::npos);
  EXPECT_GT(xp_platform->locale->date(&fields, true, text, 128), units) << "the long form";
  const int32_t with_seconds = xp_platform->locale->time(&fields, true, text, 128);
  EXPECT_NE(utf8(text).find("05"), std::string::npos);
  EXPECT_LT(xp_platform->locale->time(&fields, false, text, 128), with_seconds);
  const xp_time_fields wrong = {
      .year = 2006, .month = 13, .day = 1, .hour = 0, .minute = 0, .second = 0, .weekday = 0};
  EXPECT_EQ(xp_platform->locale->date(&wrong, false, text, 128), 0);
}

TEST(windows_text, NarrowComparisonSeesEveryCharacter) {
  const auto order = [](const char* a, const char* b) {
    return xp_platform->text->compare_narrow(a, -1, b, -1);
  };
  EXPECT_EQ(order("C:\\A\\b", "c:\\a\\B"), 0);
  EXPECT_EQ(order("ÄÖ.msi", "äö.MSI"), 0);
  // Their second bytes have no weight in the Western code page.
  EXPECT_NE(order("\xC3\x81", "\xC3\x8D"), 0);
  EXPECT_LT(order("a", "b"), 0);
  EXPECT_GT(order("ab", "a"), 0);
  EXPECT_EQ(xp_platform->text->compare_narrow("abX", 2, "ABY", 2), 0);
  EXPECT_EQ(xp_platform->text->compare_narrow("", 0, "", 0), 0);
  const std::string longer(2000, 'x');
  EXPECT_EQ(order(longer.c_str(), longer.c_str()), 0);
  EXPECT_GT(order((longer + "y").c_str(), longer.c_str()), 0);
}

// The configuration of the computer, put back at the end of the scope.
struct proxy_configuration {
  proxy_configuration() { WinHttpGetDefaultProxyConfiguration(&before); }
  ~proxy_configuration() {
    WinHttpSetDefaultProxyConfiguration(&before);
    if (before.lpszProxy) GlobalFree(before.lpszProxy);
    if (before.lpszProxyBypass) GlobalFree(before.lpszProxyBypass);
  }
  static void set(const wchar_t* proxies, const wchar_t* bypasses) {
    WINHTTP_PROXY_INFO info = {
        .dwAccessType = static_cast<DWORD>(proxies ? WINHTTP_ACCESS_TYPE_NAMED_PROXY
                                                   : WINHTTP_ACCESS_TYPE_NO_PROXY),
        .lpszProxy = const_cast<wchar_t*>(proxies),
        .lpszProxyBypass = const_cast<wchar_t*>(bypasses)};
    ASSERT_TRUE(WinHttpSetDefaultProxyConfiguration(&info)) << GetLastError();
  }

  WINHTTP_PROXY_INFO before = {};
};

TEST(windows_proxy, ListsOfTheComputerComeAsTheyAre) {
  const proxy_configuration restored;
  sweep_allocations([](heap_watch& watch) {
    proxy_configuration::set(L"http=p1:80;https=p2:81", L"<local>");
    char16_t* proxies = reinterpret_cast<char16_t*>(1);
    char16_t* bypasses = reinterpret_cast<char16_t*>(1);
    const bool known = xp_platform->proxy->defaults(&proxies, &bypasses);
    if (watch.failed()) {
      EXPECT_FALSE(known);
      EXPECT_EQ(proxies, nullptr);
      EXPECT_EQ(bypasses, nullptr);
      return;
    }
    ASSERT_TRUE(known);
    EXPECT_EQ(std::u16string(proxies), u"http=p1:80;https=p2:81");
    EXPECT_EQ(std::u16string(bypasses), u"<local>");
    xp_heap_free(proxies);
    xp_heap_free(bypasses);
  });
  proxy_configuration::set(nullptr, nullptr);
  char16_t* proxies = reinterpret_cast<char16_t*>(1);
  char16_t* bypasses = reinterpret_cast<char16_t*>(1);
  EXPECT_TRUE(xp_platform->proxy->defaults(&proxies, &bypasses));
  EXPECT_EQ(proxies, nullptr);
  EXPECT_EQ(bypasses, nullptr);
}

TEST(windows_random, FillsWhatItIsAskedTo) {
  unsigned char bytes[40] = {};
  ASSERT_TRUE(xp_platform->random->fill(bytes, 32));
  int zeros = 0;
  for (int i = 0; i < 32; i++)
    zeros += bytes[i] == 0;
  EXPECT_LT(zeros, 8);
  for (int i = 32; i < 40; i++)
    EXPECT_EQ(bytes[i], 0);
}

TEST(windows_heap, GrowthIsZeroFilledAlsoAfterShrinking) {
  auto* block = static_cast<char*>(xp_heap_alloc(100));
  memset(block, 'x', 100);
  block = static_cast<char*>(xp_heap_resize(block, 100, 10));
  block = static_cast<char*>(xp_heap_resize(block, 10, 5000));
  for (int i = 0; i < 5000; i++)
    ASSERT_EQ(block[i], i < 10 ? 'x' : 0) << i;
  xp_heap_free(block);
  void* empty = xp_heap_alloc(0);
  EXPECT_NE(empty, nullptr);
  xp_heap_free(empty);
  EXPECT_EQ(xp_heap_alloc(static_cast<size_t>(1) << 60), nullptr);
}

}  // namespace
