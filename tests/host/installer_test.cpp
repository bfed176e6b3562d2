#include "platform/installer.h"

#include <vector>

#include "platform/host/installer_session.h"
#include "tests/support/fakes.h"
#include "tests/support/host/packages.h"
#include "tests/support/host/test_machine.h"
#include "tests/support/host/test_program.h"

namespace {

constexpr char CODE[] = "{11111111-1111-1111-1111-111111111111}";
constexpr char PACKED[] = "11111111111111111111111111111111";

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

uint32_t install(const std::string& path, const std::string& properties = "") {
  return xp_platform->installer->install(wide(path).c_str(), wide(properties).c_str());
}

// A text value of the machine's registry, "none" without one.
std::string registry(const std::string& key, const char* name) {
  registry_text now;
  host_buffer text;
  if (!registry_load(&now) || !registry_get_text(&now, key.c_str(), name, &text)) return "none";
  return text.bytes;
}

const std::string PRODUCTS = "HKLM\\SOFTWARE\\Classes\\Installer\\Products\\";
const std::string UNINSTALL = "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

std::string query(xp_package package, const char* sql, uint32_t size = 64) {
  std::vector<char> out(size);
  const uint32_t code = xp_platform->installer->query_text(package, sql, out.data(), size);
  return code == 0 ? out.data() : "code " + std::to_string(code);
}

}  // namespace

TEST(Installer, QueriesGiveTheFirstFieldOfTheFirstRow) {
  const std::string path =
      make_package("--feature FEAT_X --reg-version 'Software\\X' --property PROP_VERSION=7.0");
  xp_package package = 0;
  ASSERT_EQ(xp_platform->installer->open(wide(path).c_str(), &package), 0u);
  const struct {
    const char* sql;
    const char* expected;
  } rows[] = {
      {"SELECT Feature FROM Feature WHERE Feature='FEAT_X'", "FEAT_X"},
      {"SELECT Feature FROM Feature WHERE Feature='FEAT_Y'", "code 259"},
      {"SELECT Value FROM Property WHERE Property='ProductCode'", CODE},
      {"SELECT UpgradeCode FROM Upgrade", "code 259"},
      {"SELECT `Key` FROM Registry WHERE Registry='REG_VERSION'", "Software\\X"},
      {"SELECT Value FROM Nowhere", "code 1615"},
      {"SELECT", "code 1615"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(query(package, row.sql), row.expected) << row.sql;
  EXPECT_EQ(query(package, rows[2].sql, 38), "code 234") << "no room for the NUL";
  EXPECT_EQ(query(package, rows[2].sql, 39), CODE);
  int32_t number = 0;
  EXPECT_EQ(xp_platform->installer->query_integer(
                package, "SELECT `Root` FROM Registry WHERE Registry='REG_VERSION'", &number),
            0u);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(
      xp_platform->installer->query_integer(package, "SELECT `Directory_` FROM `Feature`", &number),
      0u);
  EXPECT_EQ(number, INT32_MIN) << "null";
  xp_platform->installer->close(package);
}

TEST(Installer, AFirstInstallPutsFilesAndRowsAndRecordsTheProduct) {
  test_machine machine;
  machine.write("tool.exe", test_program(8 << 16, 3));
  machine.write("other.txt", "other");
  const std::string path = make_package(
      "--name 'Tally Client' --version 8.1.2 --property PROP_VERSION=8.1.2.0 --property "
      "PROP_PLACE=none --reg-version 'Software\\Tally\\[PROP_PLACE]' --windows-file tallyp32.exe=" +
      machine.path + "/tool.exe --file 'a long name.txt=" + machine.path + "/other.txt'");
  EXPECT_EQ(xp_platform->installer->product_state(CODE), -1);
  ASSERT_EQ(install(path, "PROP_PLACE=\"by \"\"choice\"\"\" REBOOT=ReallySuppress"), 0u);
  EXPECT_EQ(xp_platform->installer->product_state(CODE), XP_PRODUCT_DEFAULT);
  EXPECT_EQ(machine.read("drive_c/Windows/tallyp32.exe"), test_program(8 << 16, 3));
  EXPECT_EQ(machine.read("drive_c/Program Files/Tally Client/a long name.txt"), "other");
  EXPECT_EQ(registry("HKLM\\Software\\Tally\\by \"choice\"", "version"), "8.1.2.0");
  EXPECT_EQ(registry(PRODUCTS + PACKED, "ProductName"), "Tally Client");
  EXPECT_EQ(registry(PRODUCTS + PACKED + "\\SourceList", "PackageName"),
            path.substr(path.rfind('/') + 1));
  EXPECT_EQ(registry(UNINSTALL + CODE, "DisplayVersion"), "8.1.2");
  EXPECT_NE(machine.read("events.log").find("\tMsiInstaller\tProduct: Tally Client"),
            std::string::npos);
  for (const auto& entry : std::filesystem::directory_iterator(machine.path))
    EXPECT_NE(entry.path().filename().string().substr(0, 10), "installing") << "left behind";
}

TEST(Installer, WhatIsInstalledDecidesWhatAnInstallMayDo) {
  const std::string first = make_package("--version 1.0.0");
  const std::string second = make_package("--version 1.0.1 --property PROP_VERSION=2");
  const std::string reinstall = "REINSTALL=ALL REINSTALLMODE=vamus";
  test_machine machine;
  const std::string readme = "drive_c/Program Files/Rehearsal/readme.txt";
  EXPECT_EQ(install(first, reinstall), 0u) << "nothing there to reinstall";
  EXPECT_FALSE(machine.has(readme));
  EXPECT_EQ(xp_platform->installer->product_state(CODE), -1);
  EXPECT_EQ(install(first), 0u);
  std::filesystem::remove(machine.path + "/" + readme);
  EXPECT_EQ(install(first), 0u) << "the same package again";
  EXPECT_TRUE(machine.has(readme)) << "repaired";
  EXPECT_EQ(install(second), 1638u) << "another package of the product";
  EXPECT_EQ(install(second, "REINSTALL=ALL REINSTALLMODE=omus"), 1638u) << "without v";
  EXPECT_EQ(install(second, reinstall), 1603u) << "the source list names the first";
  const std::string name = second.substr(second.rfind('/') + 1);
  xp_registry_key key = 0;
  ASSERT_EQ(xp_platform->registry->create(
                XP_HIVE_LOCAL_MACHINE,
                ("SOFTWARE\\Classes\\Installer\\Products\\" + std::string(PACKED) + "\\SourceList")
                    .c_str(),
                &key),
            XP_REGISTRY_OK);
  xp_platform->registry->write(key, "PackageName", XP_REG_TEXT, name.c_str(),
                               static_cast<uint32_t>(name.size() + 1));
  xp_platform->registry->close(key);
  EXPECT_EQ(install(second, reinstall), 0u);
  EXPECT_EQ(registry(UNINSTALL + CODE, "DisplayVersion"), "1.0.1");
}

TEST(Installer, ANewerProductReplacesTheOlderOne) {
  const std::string upgrade = "{99999999-9999-9999-9999-999999999999}";
  const std::string newer_code = "{22222222-2222-2222-2222-222222222222}";
  test_machine machine;
  machine.write("old.txt", "old");
  machine.write("new.txt", "new");
  const std::string older = make_package("--version 1.0.0 --file shared.txt=" + machine.path +
                                         "/old.txt --file gone.txt=" + machine.path + "/old.txt");
  const std::string newer =
      make_package("--version 2.0.0 --product '" + newer_code + "' --upgrades '" + upgrade +
                   "' --file shared.txt=" + machine.path + "/new.txt");
  ASSERT_EQ(install(older), 0u);
  ASSERT_EQ(install(newer), 0u);
  EXPECT_EQ(xp_platform->installer->product_state(CODE), -1);
  EXPECT_EQ(xp_platform->installer->product_state(newer_code.c_str()), XP_PRODUCT_DEFAULT);
  EXPECT_EQ(machine.read("drive_c/Program Files/Rehearsal/shared.txt"), "new");
  EXPECT_FALSE(machine.has("drive_c/Program Files/Rehearsal/gone.txt"));
  EXPECT_EQ(registry(UNINSTALL + CODE, "DisplayName"), "none");
  // The other way round nothing is found that is older, and both stay.
  ASSERT_EQ(install(older), 0u);
  EXPECT_EQ(xp_platform->installer->product_state(newer_code.c_str()), XP_PRODUCT_DEFAULT);
}

TEST(Installer, RefusalsHaveTheInstallersCodes) {
  test_machine machine;
  machine.write("drive_c/junk.msi", "junk");
  xp_package package = 0;
  EXPECT_EQ(xp_platform->installer->open(u"C:\\none.msi", &package), 110u);
  EXPECT_EQ(xp_platform->installer->open(u"C:\\junk.msi", &package), 110u);
  EXPECT_EQ(install("C:\\none.msi"), 1619u);
  EXPECT_EQ(install("C:\\junk.msi"), 1620u);
  const std::string good = make_package("");
  for (const char* malformed : {"=1", "A", "A=1 B", "A=\"open", "1A=2", "A=1 =2"})
    EXPECT_EQ(install(good, malformed), 1639u) << malformed;
  EXPECT_EQ(install(make_package("--condition 'VersionNT >= 1000'")), 1603u);
  EXPECT_EQ(xp_platform->installer->product_state("{1111}"), -2);
  EXPECT_EQ(xp_platform->installer->product_state(CODE), -1) << "nothing was installed";
}

TEST(Installer, AFailureInTheMiddleLeavesEverythingAsItWas) {
  // The cabinet holds two files; the row of the second names a third that isn't in it.
  test_machine machine;
  machine.write("a.txt", "new");
  machine.write("drive_c/Program Files/Rehearsal/a.txt", "before");
  const std::string files =
      "--file a.txt=" + machine.path + "/a.txt --file b.txt=" + machine.path + "/a.txt ";
  const std::string before = (machine.has("registry.reg"), machine.read("registry.reg"));
  const char* const faults[] = {
      "--query \"INSERT INTO File (File, Component_, FileName, FileSize, Sequence) VALUES "
      "('F_9', 'C_1', 'c.txt', 1, 9)\"",
      "--query \"UPDATE Media SET Cabinet = '#none.cab'\"",
      "--query \"UPDATE Directory SET Directory_Parent = 'INSTALLDIR' WHERE Directory = "
      "'ProgramFiles64Folder'\" --query \"UPDATE Directory SET DefaultDir = 'Z:' WHERE Directory = "
      "'INSTALLDIR'\" --property INSTALLDIR=Z:\\\\tmp\\\\ruvo-escape",
  };
  for (const char* fault : faults) {
    EXPECT_EQ(install(make_package(files + fault)), 1603u) << fault;
    EXPECT_EQ(machine.read("drive_c/Program Files/Rehearsal/a.txt"), "before") << fault;
    EXPECT_FALSE(machine.has("drive_c/Program Files/Rehearsal/b.txt")) << fault;
    EXPECT_EQ(registry(PRODUCTS + PACKED, "ProductName"), "none") << fault;
  }
  EXPECT_FALSE(std::filesystem::exists("/tmp/ruvo-escape")) << "outside the drives";
}

TEST(Installer, ARegistryThatCantBeWrittenTakesTheFilesBack) {
  test_machine machine;
  machine.write("drive_c/Program Files/Rehearsal/readme.txt", "before");
  // A folder in the place of the file that the registry is written to first.
  std::filesystem::create_directories(machine.path + "/registry.reg.new");
  EXPECT_EQ(install(make_package("")), 1603u);
  EXPECT_EQ(machine.read("drive_c/Program Files/Rehearsal/readme.txt"), "before");
  std::filesystem::remove(machine.path + "/registry.reg.new");
  EXPECT_EQ(install(make_package("")), 0u);
  EXPECT_EQ(machine.read("drive_c/Program Files/Rehearsal/readme.txt"),
            "Installed by a rehearsal.\n");
}

TEST(Installer, PlayedResultsAreAnsweredInTurn) {
  test_machine machine;
  machine.write("registry.reg",
                "[HKLM\\SOFTWARE\\Ruvo\\Rehearsal]\n\"InstallResults\"=\"1618, 0,install+3010\"\n");
  const std::string path = make_package("");
  EXPECT_EQ(install(path), 1618u);
  EXPECT_EQ(install(path), 0u);
  EXPECT_EQ(xp_platform->installer->product_state(CODE), -1) << "only played";
  EXPECT_EQ(install(path), 3010u);
  EXPECT_EQ(xp_platform->installer->product_state(CODE), XP_PRODUCT_DEFAULT);
  EXPECT_EQ(install(path), 3010u) << "the last one stays";
}

TEST(Installer, FilesInUseAskTheHandler) {
  static std::string asked;
  static int32_t answer;
  struct {
    int32_t answer;
    uint32_t filter;
    uint32_t expected;
    const char* message;
  } rows[] = {
      {5, 0x20, 3010, "tool.exe"}, {2, 0x20, 1602, "tool.exe"}, {0, 0x20, 3010, "tool.exe"},
      {4, 0x20, 1603, "tool.exe"}, {2, 0x00, 3010, ""},
  };
  for (const auto& row : rows) {
    test_machine machine;
    machine.write("registry.reg",
                  "[HKLM\\SOFTWARE\\Ruvo\\Rehearsal]\n\"FilesInUse\"=\"tool.exe\"\n");
    asked.clear();
    answer = row.answer;
    xp_platform->installer->silence(
        [](void*, uint32_t type, const char* message) {
          if (type >> 24 == 5) asked = message;
          return answer;
        },
        row.filter);
    EXPECT_EQ(install(make_package("")), row.expected);
    EXPECT_EQ(asked, row.message);
  }
  xp_platform->installer->silence(nullptr, 0);
}

TEST(Installer, AdvertisedProductsAreKnownButNotInstalled) {
  test_machine machine;
  machine.write("registry.reg", "[" + PRODUCTS + PACKED + "]\n");
  EXPECT_EQ(xp_platform->installer->product_state(CODE), XP_PRODUCT_ADVERTISED);
}

TEST(Installer, RegistryRowsCarryTheirTypes) {
  const std::pair<const char*, const char*> rows[] = {
      {"Root, Key, Name, Value", "2, 'Software\\T', 'number', '#-2'"},
      {"Root, Key, Name, Value", "2, 'Software\\T', 'bytes', '#x01aF'"},
      {"Root, Key, Name, Value", "2, 'Software\\T', 'expand', '#%%A%'"},
      {"Root, Key, Name, Value", "2, 'Software\\T', 'hash', '##5'"},
      {"Root, Key, Name, Value", "2, 'Software\\T', 'list', 'a[~]b'"},
      {"Root, Key, Name", "2, 'Software\\T\\Empty', '+'"},
      {"Root, Key, Value", "2, 'Software\\T', 'default'"},
      {"Root, Key, Name, Value", "1, 'Software\\T', 'file', '[#F_1]'"},
  };
  std::string options = "--reg-version 'Software\\T'";
  int number = 0;
  auto add = [&](std::string columns, const std::string& values, const char* component) {
    for (size_t at = 0; (at = columns.find(", ", at)) != std::string::npos; at += 6)
      columns.replace(at, 2, "\\`, \\`");
    options += " --query \"INSERT INTO \\`Registry\\` (\\`Registry\\`, \\`Component_\\`, \\`" +
               columns + "\\`) VALUES ('R" + std::to_string(number++) + "', '" + component + "', " +
               values + ")\"";
  };
  for (const auto& [columns, values] : rows)
    add(columns, values, "C_REG_VERSION");
  add("Root, Key, Name, Value", "2, 'Software\\T', 'off', 'x'", "C_GONE");
  test_machine machine;
  ASSERT_EQ(install(make_package(options)), 0u);
  registry_text now;
  ASSERT_TRUE(registry_load(&now));
  const struct {
    const char* name;
    uint32_t type;
    std::string bytes;
  } expected[] = {
      {"number", XP_REG_DWORD, "\xFE\xFF\xFF\xFF"},
      {"bytes", XP_REG_BINARY, "\x01\xAF"},
      {"expand", XP_REG_EXPAND_TEXT, std::string("%A%\0", 4)},
      {"hash", XP_REG_TEXT, std::string("#5\0", 3)},
      {"list", REGISTRY_MULTI_TEXT, std::string("a\0b\0\0", 5)},
      {"", XP_REG_TEXT, std::string("default\0", 8)},
  };
  for (const auto& row : expected) {
    registry_value value;
    ASSERT_EQ(registry_get(&now, "HKLM\\Software\\T", row.name, &value), XP_REGISTRY_OK)
        << row.name;
    EXPECT_EQ(value.type, row.type) << row.name;
    EXPECT_EQ(std::string(value.bytes.bytes, value.bytes.length), row.bytes) << row.name;
  }
  EXPECT_TRUE(registry_has_key(&now, "HKLM\\Software\\T\\Empty"));
  EXPECT_EQ(registry("HKCU\\Software\\T", "file"), "C:\\Program Files\\Rehearsal\\readme.txt");
  EXPECT_EQ(registry("HKLM\\Software\\T", "off"), "none") << "a component that isn't installed";
}

TEST(InstallerSession, ConditionsFollowTheInstallersGrammar) {
  installer_session session;
  session_set(&session, "ONE", "1");
  session_set(&session, "ZERO", "0");
  session_set(&session, "TEXT", "Hello");
  session_set(&session, "VersionNT", "603");
  const struct {
    const char* condition;
    bool holds;
  } rows[] = {
      {"", true},
      {"ONE", true},
      {"ZERO", false},
      {"NONE", false},
      {"NOT NONE", true},
      {"ONE AND NOT ZERO", true},
      {"ZERO OR ONE AND ZERO", false},
      {"(ZERO OR ONE) AND ONE", true},
      {"ONE XOR ONE", false},
      {"ZERO IMP NONE", true},
      {"ZERO EQV NONE", true},
      {"VersionNT >= 601 and VersionNT<>700", true},
      {"VersionNT < 61", false},  // as numbers, not as texts
      {"TEXT = \"hello\"", false},
      {"TEXT ~= \"hello\"", true},
      {"TEXT >< \"ell\"", true},
      {"TEXT << \"He\" AND TEXT >> \"lo\"", true},
      {"TEXT > 5", false},
      {"TEXT <> 5", true},
      {"ONE = -1", false},
      {"&Feature = 3 AND !Feature = 2", true},
      {"ONE AND", false},
      {"(ONE", false},
      {"ONE ONE", false},
      {"\"open", false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(session_condition(&session, row.condition), row.holds) << row.condition;
  EXPECT_FALSE(session_condition(&session, std::string(100000, '(').c_str())) << "deep";
}

TEST(InstallerSession, FormattedTextsExpand) {
  installer_session session;
  session_set(&session, "A", "1");
  session_set(&session, "B", "[A]");
  const struct {
    const char* text;
    const char* expected;
  } rows[] = {
      {"x[A]y", "x1y"},
      {"[NONE]", ""},
      {"[B]", "[A]"},
      {"[\\[]A[\\]]", "[A]"},
      {"{[A]}{[NONE]x}z", "1z"},
      {"{plain}", "{plain}"},
      {"[open", "[open"},
      {"{open [A]", "{open 1"},
      {"[%PATH]", ""},
  };
  for (const auto& row : rows) {
    GString* text = session_format(&session, row.text);
    EXPECT_STREQ(text->str, row.expected) << row.text;
    g_string_free(text, true);
  }
}

TEST(InstallerSession, ProductCodesArePackedByGroups) {
  char packed[33];
  product_code_pack("{12345678-9abc-def0-1234-56789abcdef0}", packed);
  EXPECT_STREQ(packed, "87654321CBA90FED21436587A9CBED0F");
  EXPECT_TRUE(product_code_valid(CODE));
  EXPECT_FALSE(product_code_valid("{1111111g-1111-1111-1111-111111111111}"));
}

TEST(Installer, BrokenPackagesFailWithoutHarm) {
  std::ifstream file(make_package("--unsigned"), std::ios::binary);
  const std::string whole((std::istreambuf_iterator<char>(file)), {});
  test_machine machine;
  for (size_t i = 0; i < whole.size(); i += 211) {
    for (const bool cut : {true, false}) {
      std::string broken = whole;
      if (cut) broken.resize(i);
      if (!cut) broken[i] = static_cast<char>(broken[i] ^ 0xFF);
      machine.write("drive_c/broken.msi", broken);
      const uint32_t result = install("C:\\broken.msi");
      if (result == 0) continue;  // the byte was of no account
      EXPECT_TRUE(result == 1603 || result == 1619 || result == 1620 || result == 1638)
          << i << ": " << result;
    }
  }
}
