#include "platform/host/registry_file.h"

#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/fakes.h"
#include "tests/support/host/test_machine.h"

namespace {

constexpr char HANDMADE[] =
    "Windows Registry Editor Version 5.00\r\n"
    "\r\n"
    "; written by a person\r\n"
    "  [HKLM\\Software\\Example]  \r\n"
    "@=\"default\"\r\n"
    "\"text\"=\"a \\\"quoted\\\" C:\\\\x and C:\\forgotten\"\r\n"
    "\"open\"=\"no end\r\n"
    "\"number\" = DWORD:1F\r\n"
    "\"bytes\"=hex:01,02,\\\r\n"
    "  03 ; a note\r\n"
    "\"expanded\"=hex(2):25,00,54,00,25,00,00,00\r\n"
    "\"cut\"=hex(1):41,00,e4,00\r\n"
    "\"bad\"=dword:xyz\r\n"
    "what is this line?\r\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Example\\Deep\\Deeper]\r\n"
    "[HKEY_CLASSES_ROOT\\Installer]\r\n"
    "\"x\"=\"1\"\r\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\EXAMPLE]\r\n"
    "\"Number\"=dword:00000020\r\n"
    "\"open\"=-\r\n"
    "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Example\\Deep]\r\n"
    "\"nobody\"=\"x\"\r\n";

xp_registry_key open_key(const char* path, uint32_t access = XP_KEY_QUERY_VALUE) {
  xp_registry_key key = 0;
  if (xp_platform->registry->open(XP_HIVE_LOCAL_MACHINE, path, access, &key) != XP_REGISTRY_OK)
    return 0;
  return key;
}

// Status, type and bytes of a value as one line, for comparing.
std::string look_up(const char* path, const char* name) {
  const xp_registry_key key = open_key(path);
  if (!key) return "no key";
  char bytes[256] = {};
  uint32_t type = 99, size = sizeof bytes;
  const xp_registry_status status = xp_platform->registry->read(key, name, &type, bytes, &size);
  xp_platform->registry->close(key);
  if (status != XP_REGISTRY_OK) return "status " + std::to_string(status);
  return std::to_string(type) + ":" + std::string(bytes, size);
}

std::string bytes_of(std::initializer_list<int> values) {
  std::string text;
  for (int value : values)
    text.push_back(static_cast<char>(value));
  return text;
}

void write_text(const char* path, const char* name, const char* text) {
  xp_registry_key key = 0;
  ASSERT_EQ(xp_platform->registry->create(XP_HIVE_LOCAL_MACHINE, path, &key), XP_REGISTRY_OK);
  EXPECT_EQ(xp_platform->registry->write(key, name, XP_REG_TEXT, text,
                                         static_cast<uint32_t>(strlen(text) + 1)),
            XP_REGISTRY_OK);
  xp_platform->registry->close(key);
}

}  // namespace

TEST(Registry, HandWrittenTextIsReadAsTheEditorWouldImportIt) {
  test_machine machine;
  machine.write("registry.reg", HANDMADE);
  const std::string nul(1, 0);
  struct {
    const char* path;
    const char* name;
    std::string expected;
  } rows[] = {
      {"software\\example", "", "1:default" + nul},
      {"SOFTWARE\\Example\\", "TEXT", "1:a \"quoted\" C:\\x and C:\\forgotten" + nul},
      {"SOFTWARE\\Example", "number", "4:" + bytes_of({0x20, 0, 0, 0})},  // the later line
      {"SOFTWARE\\Example", "open", "status 1"},                          // removed again
      {"SOFTWARE\\Example", "bytes", "3:" + bytes_of({1, 2, 3})},
      {"SOFTWARE\\Example", "expanded", "2:%T%" + nul},
      {"SOFTWARE\\Example", "cut", "1:A\xC3\xA4"},  // stored without a NUL
      {"SOFTWARE\\Example", "bad", "status 1"},
      {"SOFTWARE\\Example", "none", "status 1"},
      {"SOFTWARE\\Classes\\Installer", "x", "1:1" + nul},
      {"SOFTWARE\\Example\\Deep\\Deeper", "", "no key"},
      {"SOFTWARE\\Example\\Deep", "nobody", "no key"},
      {"SOFTWARE", "x", "status 1"},  // exists by what lies below it
      {"SOFT", "x", "no key"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(look_up(row.path, row.name), row.expected) << row.path << " " << row.name;
}

TEST(Registry, AChangeLeavesEverythingElseAsThePersonWroteIt) {
  test_machine machine;
  machine.write("registry.reg", HANDMADE);
  write_text("Software\\EXAMPLE", "TEXT", "C:\\new \"x\"");
  write_text("Software\\Example", "added", "1");
  std::string expected = HANDMADE;
  const std::string old = "\"text\"=\"a \\\"quoted\\\" C:\\\\x and C:\\forgotten\"\r\n";
  expected.replace(expected.find(old), old.size(), "\"TEXT\"=\"C:\\\\new \\\"x\\\"\"\r\n");
  const std::string last = "\"open\"=-\r\n";
  expected.insert(expected.find(last) + last.size(), "\"added\"=\"1\"\r\n");
  EXPECT_EQ(machine.read("registry.reg"), expected);
}

TEST(Registry, AValueIsAddedBehindWhateverAPersonLeftAtTheEnd) {
  struct {
    const char* text;
    const char* why;
  } rows[] = {
      {"[HKLM\\Software\\Example]", "no line end"},
      {"[HKLM\\Software\\Example]\n\"x\"=hex:01,\\", "data that goes on, no line end"},
      {"[HKLM\\Software\\Example]\n\"x\"=hex:01,\\\r\n", "data that goes on"},
      {"[HKLM\\Software\\Example ]\n\"x\"=\"1\"", "a key whose name ends in a blank"},
  };
  for (const auto& row : rows) {
    test_machine machine;
    machine.write("registry.reg", row.text);
    write_text("Software\\Example", "added", "2");
    EXPECT_EQ(look_up("Software\\Example", "added"), "1:2" + std::string(1, 0)) << row.why;
    EXPECT_NE(machine.read("registry.reg").find(row.text), std::string::npos) << row.why;
  }
}

TEST(Registry, EveryValueComesBackAsItWasWritten) {
  struct {
    uint32_t type;
    std::string bytes;
    const char* why;
  } rows[] = {
      {XP_REG_TEXT, std::string("plain\0", 6), "quoted"},
      {XP_REG_TEXT, std::string("\0", 1), "empty"},
      {XP_REG_TEXT, "no NUL", "kept without one"},
      {XP_REG_TEXT, "", "no bytes"},
      {XP_REG_TEXT, std::string("two\r\nlines\0", 11), "would break its line"},
      {XP_REG_TEXT, std::string("\xC3\xA4\xF0\x9F\x98\x80\0", 7), "beyond 16 bits"},
      {XP_REG_TEXT, std::string("a\0b\0", 4), "NUL inside"},
      {XP_REG_EXPAND_TEXT, std::string("%SystemRoot%\\x.exe; and a long tail of it\0", 42),
       "folds"},
      {REGISTRY_MULTI_TEXT, std::string("a\0b\0\0", 5), "several texts"},
      {XP_REG_BINARY, std::string(200, '\x7F'), "many lines"},
      {XP_REG_DWORD, bytes_of({0xEF, 0xBE, 0xAD, 0xDE}), "number"},
      {XP_REG_DWORD, "abc", "a number of odd size"},
      {XP_REG_NONE, "x", "no type"},
      {0xFFFFFFFF, "x", "unknown type"},
  };
  for (const bool utf16 : {false, true}) {
    test_machine machine;
    if (utf16) machine.write("registry.reg", bytes_of({0xFF, 0xFE}));
    xp_registry_key key = 0;
    ASSERT_EQ(xp_platform->registry->create(XP_HIVE_CURRENT_USER, "Software\\V", &key),
              XP_REGISTRY_OK);
    int number = 0;
    for (const auto& row : rows) {
      const std::string name = "na\"me\\" + std::to_string(number++);
      char bytes[256];
      uint32_t type = 77, size = sizeof bytes;
      ASSERT_EQ(xp_platform->registry->write(key, name.c_str(), row.type, row.bytes.data(),
                                             static_cast<uint32_t>(row.bytes.size())),
                XP_REGISTRY_OK);
      ASSERT_EQ(xp_platform->registry->read(key, name.c_str(), &type, bytes, &size),
                XP_REGISTRY_OK);
      EXPECT_EQ(type, row.type) << row.why;
      EXPECT_EQ(std::string(bytes, size), row.bytes) << row.why;
    }
    xp_platform->registry->close(key);
    EXPECT_EQ(machine.read("registry.reg").substr(0, 2), utf16 ? bytes_of({0xFF, 0xFE}) : "Wi");
  }
}

TEST(Registry, SizesTellWhatAValueNeeds) {
  test_machine machine;
  write_text("A\\B", "v", "12345");
  const xp_registry_key key = open_key("a\\b");
  char bytes[6] = "-----";
  uint32_t size = 5, type = 0;
  EXPECT_EQ(xp_platform->registry->read(key, "v", &type, bytes, &size), XP_REGISTRY_MORE_DATA);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(type, XP_REG_TEXT);
  EXPECT_STREQ(bytes, "-----");
  EXPECT_EQ(xp_platform->registry->read(key, "v", nullptr, bytes, &size), XP_REGISTRY_OK);
  EXPECT_STREQ(bytes, "12345");
  xp_platform->registry->close(key);
}

TEST(Registry, RightsAreThoseAskedForAndThoseGranted) {
  test_machine machine;
  machine.write("registry.reg",
                "[HKLM\\A]\n[HKLM\\Closed\\Below]\n[HKLM\\ReadOnly]\n\"v\"=\"1\"\n"
                "[HKLM\\SOFTWARE\\Ruvo\\Rehearsal\\Denied]\n"
                "\"HKLM\\\\closed\"=\"all\"\n\"HKEY_LOCAL_MACHINE\\\\READONLY\"=\"write\"\n");
  const xp_registry_ops* registry = xp_platform->registry;
  xp_registry_key key = 0;
  uint32_t size = 0;
  ASSERT_EQ(registry->open(XP_HIVE_LOCAL_MACHINE, "A", XP_KEY_QUERY_VALUE | XP_KEY_VIEW_64, &key),
            XP_REGISTRY_OK);
  EXPECT_EQ(registry->write(key, "v", XP_REG_TEXT, "", 1), XP_REGISTRY_DENIED);
  registry->close(key);
  ASSERT_EQ(registry->open(XP_HIVE_LOCAL_MACHINE, "A", XP_KEY_SET_VALUE, &key), XP_REGISTRY_OK);
  EXPECT_EQ(registry->read(key, "v", nullptr, nullptr, &size), XP_REGISTRY_DENIED);
  registry->close(key);

  struct {
    const char* path;
    uint32_t access;
    xp_registry_status expected;
  } rows[] = {
      {"Closed\\Below", XP_KEY_QUERY_VALUE, XP_REGISTRY_DENIED},
      {"Closed", XP_KEY_QUERY_VALUE, XP_REGISTRY_DENIED},
      {"ReadOnly", XP_KEY_QUERY_VALUE, XP_REGISTRY_OK},
      {"ReadOnly", XP_KEY_ALL_ACCESS | XP_KEY_VIEW_64, XP_REGISTRY_DENIED},
      {"Missing", XP_KEY_ALL_ACCESS, XP_REGISTRY_NOT_FOUND},
  };
  for (const auto& row : rows) {
    key = 0;
    EXPECT_EQ(registry->open(XP_HIVE_LOCAL_MACHINE, row.path, row.access, &key), row.expected)
        << row.path;
    if (key) registry->close(key);
  }
  EXPECT_EQ(registry->create(XP_HIVE_LOCAL_MACHINE, "ReadOnly\\New", &key), XP_REGISTRY_DENIED);
}

TEST(Registry, WritersOfSeveralProcessesLoseNothing) {
  test_machine machine;
  constexpr int WRITERS = 4, VALUES = 25;
  for (int writer = 0; writer < WRITERS; writer++) {
    if (fork() != 0) continue;
    for (int i = 0; i < VALUES; i++)
      write_text("Shared", (std::to_string(writer) + "." + std::to_string(i)).c_str(), "1");
    _exit(testing::Test::HasFailure());
  }
  for (int writer = 0; writer < WRITERS; writer++) {
    int status = 1;
    wait(&status);
    EXPECT_EQ(status, 0);
  }
  const std::string text = machine.read("registry.reg");
  size_t lines = 0;
  for (size_t at = text.find("=\"1\""); at != std::string::npos; at = text.find("=\"1\"", at + 1))
    lines++;
  EXPECT_EQ(lines, static_cast<size_t>(WRITERS * VALUES));
}

TEST(Registry, ARemovedKeyTakesItsSectionsAndThoseBelowAlong) {
  host_buffer bytes;
  registry_text registry;
  ASSERT_TRUE(host_buffer_add_text(&bytes,
                                   "[HKLM\\A]\n\"v\"=\"1\"\n[HKLM\\A\\B]\n; note\n[HKLM\\AB]\n"
                                   "\"k\"=\"2\"\n[HKLM\\a]\n\"w\"=\"3\"\n"));
  ASSERT_TRUE(registry_parse(&bytes, &registry));
  registry_remove_key(&registry, "HKEY_LOCAL_MACHINE\\A");
  EXPECT_STREQ(registry.text.bytes, "[HKLM\\AB]\n\"k\"=\"2\"\n");
}

TEST(Registry, NamesThatBreakALineAreRefused) {
  test_machine machine;
  xp_registry_key key = 0;
  EXPECT_EQ(xp_platform->registry->create(XP_HIVE_LOCAL_MACHINE, "A\n[B]", &key),
            XP_REGISTRY_FAILED);
  ASSERT_EQ(xp_platform->registry->create(XP_HIVE_LOCAL_MACHINE, "A", &key), XP_REGISTRY_OK);
  EXPECT_EQ(xp_platform->registry->write(key, "x\ny", XP_REG_TEXT, "", 1), XP_REGISTRY_FAILED);
  xp_platform->registry->close(key);
}

TEST(Registry, OutOfMemoryIsAFailureThatChangesNothing) {
  test_machine machine;
  machine.write("registry.reg", HANDMADE);
  sweep_allocations([&](heap_watch& watch) {
    xp_registry_key key = 0;
    const xp_registry_status made =
        xp_platform->registry->create(XP_HIVE_LOCAL_MACHINE, "New\\Key", &key);
    if (made != XP_REGISTRY_OK) {
      EXPECT_TRUE(watch.failed());
      EXPECT_EQ(made, XP_REGISTRY_FAILED);
      return;
    }
    const std::string before = machine.read("registry.reg");
    char bytes[16];
    uint32_t size = sizeof bytes;
    if (xp_platform->registry->write(key, "v", XP_REG_EXPAND_TEXT, "text", 5) != XP_REGISTRY_OK) {
      EXPECT_TRUE(watch.failed());
      EXPECT_EQ(machine.read("registry.reg"), before);
    } else if (xp_platform->registry->read(key, "v", nullptr, bytes, &size) != XP_REGISTRY_OK) {
      EXPECT_TRUE(watch.failed());
    }
    xp_platform->registry->close(key);
  });
  EXPECT_FALSE(machine.has("registry.reg.new"));
}

TEST(Registry, AnyBytesAreReadToTheEnd) {
  // Every prefix of a text, and the text with each byte changed: no crash, and a change still
  // works.
  const std::string whole = HANDMADE;
  for (size_t i = 0; i < whole.size(); i++) {
    for (const bool cut : {true, false}) {
      std::string broken = whole;
      if (cut) broken.resize(i);
      if (!cut) broken[i] = static_cast<char>(broken[i] ^ 0x55);
      host_buffer bytes;
      registry_text registry;
      registry_value value;
      ASSERT_TRUE(host_buffer_add(&bytes, broken.data(), broken.size()));
      ASSERT_TRUE(registry_parse(&bytes, &registry));
      ASSERT_TRUE(registry_set_text(&registry, "HKLM\\SOFTWARE\\Example", "number", "n"));
      ASSERT_EQ(registry_get(&registry, "HKLM\\SOFTWARE\\Example", "number", &value),
                XP_REGISTRY_OK);
      ASSERT_STREQ(value.bytes.bytes, "n");
    }
  }
}
