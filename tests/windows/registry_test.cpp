// The registry: its two views, rights, sizes, and text beyond ASCII on either kind of system.
#include <gtest/gtest.h>

#include "platform/windows/backend.h"
#include "tests/windows/windows_support.h"

namespace {

const xp_registry_ops& registry() {
  return *xp_platform->registry;
}

constexpr char KEY[] = "SOFTWARE\\Ruvo-Test Ä€";

struct windows_registry_keys : testing::Test {
  xp_registry_key key = 0;

  void SetUp() override {
    ASSERT_EQ(registry().create(XP_HIVE_LOCAL_MACHINE, KEY, &key), XP_REGISTRY_OK);
  }
  void TearDown() override {
    if (key) registry().close(key);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, w(wide(KEY)));
  }

  std::string read_text(const char* name, uint32_t* type = nullptr) {
    char out[64];
    uint32_t size = sizeof out;
    if (registry().read(key, name, type, out, &size) != XP_REGISTRY_OK) return "(none)";
    return std::string(out, size);
  }
};

TEST_F(windows_registry_keys, TextIsStoredAndReadWithItsNul) {
  const std::string text = "8.0.1 – März 日本";
  ASSERT_EQ(registry().write(key, "Version ü", XP_REG_TEXT, text.c_str(),
                             static_cast<uint32_t>(text.size() + 1)),
            XP_REGISTRY_OK);
  uint32_t type = 99;
  EXPECT_EQ(read_text("Version ü", &type), text + '\0');
  EXPECT_EQ(type, XP_REG_TEXT);

  // What others see: the key and the value under their true names.
  HKEY raw;
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(wide(KEY)), 0, KEY_READ, &raw), ERROR_SUCCESS);
  wchar_t stored[64] = {};
  DWORD size = sizeof stored;
  EXPECT_EQ(RegQueryValueExW(raw, L"Version \u00FC", nullptr, nullptr, (BYTE*)stored, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(utf8(reinterpret_cast<char16_t*>(stored)), text);
  RegCloseKey(raw);
}

TEST_F(windows_registry_keys, TextThatHasNoNulIsReadWithout) {
  ASSERT_EQ(registry().write(key, "bare", XP_REG_EXPAND_TEXT, "abc", 3), XP_REGISTRY_OK);
  uint32_t type = 99;
  const std::string text = read_text("bare", &type);
  EXPECT_EQ(text.substr(0, 3), "abc");
  EXPECT_EQ(type, XP_REG_EXPAND_TEXT);
}

TEST_F(windows_registry_keys, ATooSmallBufferTellsTheSize) {
  struct {
    uint32_t type;
    const void* bytes;
    uint32_t size;
  } const rows[] = {
      {XP_REG_TEXT, "12345678", 9},
      {XP_REG_TEXT, "ääää", 9},
      {XP_REG_BINARY, "12345678", 9},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(registry().write(key, "value", row.type, row.bytes, row.size), XP_REGISTRY_OK);
    char out[9];
    uint32_t size = 8;
    EXPECT_EQ(registry().read(key, "value", nullptr, out, &size), XP_REGISTRY_MORE_DATA);
    EXPECT_EQ(size, 9u);
    EXPECT_EQ(registry().read(key, "value", nullptr, out, &size), XP_REGISTRY_OK);
    EXPECT_EQ(std::string(out, size), std::string(static_cast<const char*>(row.bytes), row.size));
  }
}

TEST_F(windows_registry_keys, NumbersAndBytesComeBack) {
  const uint32_t number = 0x12345678;
  ASSERT_EQ(registry().write(key, "number", XP_REG_DWORD, &number, 4), XP_REGISTRY_OK);
  uint32_t type = 0;
  uint32_t back = 0;
  uint32_t size = sizeof back;
  EXPECT_EQ(registry().read(key, "number", &type, &back, &size), XP_REGISTRY_OK);
  EXPECT_EQ(type, XP_REG_DWORD);
  EXPECT_EQ(back, number);
  EXPECT_EQ(registry().read(key, "absent", &type, &back, &size), XP_REGISTRY_NOT_FOUND);
}

TEST_F(windows_registry_keys, RightsOfTheOpenBindTheKey) {
  xp_registry_key reader = 0;
  ASSERT_EQ(
      registry().open(XP_HIVE_LOCAL_MACHINE, KEY, XP_KEY_QUERY_VALUE | XP_KEY_VIEW_64, &reader),
      XP_REGISTRY_OK);
  EXPECT_EQ(registry().write(reader, "x", XP_REG_TEXT, "1", 2), XP_REGISTRY_DENIED);
  registry().close(reader);
  xp_registry_key none = 0;
  EXPECT_EQ(
      registry().open(XP_HIVE_LOCAL_MACHINE, "SOFTWARE\\No such key", XP_KEY_QUERY_VALUE, &none),
      XP_REGISTRY_NOT_FOUND);
  EXPECT_EQ(registry().open(XP_HIVE_CURRENT_USER, KEY, XP_KEY_QUERY_VALUE, &none),
            XP_REGISTRY_NOT_FOUND)
      << "the hives are told apart";
}

TEST_F(windows_registry_keys, TheWideViewIsTheOneOf64BitPrograms) {
  ASSERT_EQ(registry().write(key, "view", XP_REG_TEXT, "64", 3), XP_REGISTRY_OK);
  xp_registry_key view = 0;
  ASSERT_EQ(registry().open(XP_HIVE_LOCAL_MACHINE, KEY, XP_KEY_QUERY_VALUE | XP_KEY_VIEW_64, &view),
            XP_REGISTRY_OK);
  char out[8];
  uint32_t size = sizeof out;
  EXPECT_EQ(registry().read(view, "view", nullptr, out, &size), XP_REGISTRY_OK);
  registry().close(view);
  EXPECT_EQ(
      registry().open(XP_HIVE_LOCAL_MACHINE, KEY, XP_KEY_QUERY_VALUE | KEY_WOW64_32KEY, &view),
      XP_REGISTRY_NOT_FOUND);
}

TEST(windows_registry_errors, GetTheirMeaning) {
  EXPECT_EQ(windows_registry_status(ERROR_SUCCESS), XP_REGISTRY_OK);
  EXPECT_EQ(windows_registry_status(ERROR_FILE_NOT_FOUND), XP_REGISTRY_NOT_FOUND);
  EXPECT_EQ(windows_registry_status(ERROR_ACCESS_DENIED), XP_REGISTRY_DENIED);
  EXPECT_EQ(windows_registry_status(ERROR_MORE_DATA), XP_REGISTRY_MORE_DATA);
  EXPECT_EQ(windows_registry_status(ERROR_KEY_DELETED), XP_REGISTRY_FAILED);
}

}  // namespace
