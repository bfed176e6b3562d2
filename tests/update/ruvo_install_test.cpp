#include "update/ruvo_install.h"

#include "cmdline/xp_log.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "tests/support/fake_machine.h"
#include "update/ruvo_events.h"

namespace {

constexpr char PRODUCT_QUERY[] = "SELECT Value FROM Property WHERE Property='ProductCode'";
constexpr char UPGRADE_QUERY[] = "SELECT UpgradeCode FROM Upgrade";
constexpr char REPLACED_QUERY[] =
    "SELECT Value FROM Property WHERE Property='PROP_UPGRADE_PRODUCTID'";
constexpr char FEATURE_QUERY[] = "SELECT Feature FROM Feature WHERE Feature='FEAT_TALLYPORT'";
constexpr char VERSION_QUERY[] = "SELECT Value FROM Property WHERE Property='PROP_VERSION'";
constexpr char KEY2_QUERY[] = "SELECT `Key` FROM Registry WHERE Registry='REG2_VERSION'";
constexpr char ROOT2_QUERY[] = "SELECT `Root` FROM Registry WHERE Registry='REG2_VERSION'";
constexpr char KEY_QUERY[] = "SELECT `Key` FROM Registry WHERE Registry='REG_VERSION'";
constexpr char ROOT_QUERY[] = "SELECT `Root` FROM Registry WHERE Registry='REG_VERSION'";

constexpr char CODE[] = "{12345678-9ABC-DEF0-1234-56789ABCDEF0}";
constexpr char SOURCE_LIST[] =
    "HKLM\\SOFTWARE\\Classes\\Installer\\Products\\87654321CBA90FED21436587A9CBED0F\\SourceList";
constexpr char FIRST[] = "PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress";

// A machine with a log of its own that lets every record through.
struct install_machine : fake_machine {
  install_machine() {
    texts_by_query[PRODUCT_QUERY] = CODE;
    xp_log_set_default(xp_log_new("Tallyport"));
    xp_log_default()->categories = 0xFFFFFFFF;
  }
  ~install_machine() { xp_log_set_default(nullptr); }

  int32_t install(const char* version = nullptr, int32_t mode = 0, xp_array* list = nullptr) {
    xp_ref path(xp_path_new(nullptr, "C:\\packages\\client.msi", -1));
    xp_ref wanted(version ? xp_str_new(version) : nullptr);
    return ruvo_install(path.get(), wanted.get(), list, mode);
  }
  std::string properties() const {
    return installs.empty() ? "(none)" : std::string(installs[0].begin(), installs[0].end());
  }
};

std::vector<std::string> kept(const std::vector<const char*>& properties) {
  xp_ref array(xp_array_new(0));
  for (const char* text : properties) {
    xp_ref string(xp_str_new(text));
    xp_array_append(array.get(), string.get());
  }
  xp_ref number(xp_num_new(3));
  xp_array_append(array.get(), number.get());
  ruvo_filter_properties(array.get());
  std::vector<std::string> result;
  for (int32_t i = 0; i < xp_array_count(array.get()); i++) {
    xp_ref element(xp_array_get(array.get(), i));
    result.push_back(xp_as_str(element.get())->text);
  }
  return result;
}

}  // namespace

TEST(Install, OnlyWellFormedPropertiesOfOurFamiliesSurvive) {
  EXPECT_EQ(kept({"TP_A=1",
                  "PATH=c:\\x",
                  "path=c:\\x",
                  "PROP_B=",
                  "FOO=1",
                  "=1",
                  "TP_A",
                  "TP_{A=1",
                  "PROP_A=x{y}",
                  "ARPSYSTEMCOMPONENT=1",
                  "PROP_A=b=c",
                  "prop_a=1",
                  "",
                  "PROP_A=a\tb",
                  "PROP_A\n=1",
                  "TP_1=2",
                  "1TP_=2",
                  "SHELL=x",
                  "PROP_A=b c",
                  "PROP_A=\xC3\xA9",
                  "ARPSYSTEMCOMPONENTS=1"}),
            (std::vector<std::string>{"TP_A=1", "PROP_B=", "ARPSYSTEMCOMPONENT=1", "PROP_A=b=c",
                                      "TP_1=2", "PROP_A=b c", "PROP_A=\xC3\xA9"}));
  ruvo_filter_properties(nullptr);
}

TEST(Install, ThePackageAndTheProductsDecideThePropertyString) {
  struct {
    const char* query;  // gives the code of a product
    int32_t state;
    const char* begins;
  } const rows[] = {
      {PRODUCT_QUERY, 5, "REINSTALL=ALL REINSTALLMODE=vamus PROP_AUTOSPAWN=1"},
      {PRODUCT_QUERY, 1, "REINSTALL=ALL"},
      {PRODUCT_QUERY, 2, "PROP_AUTOSPAWN=1"},  // absent
      {PRODUCT_QUERY, -1, "PROP_AUTOSPAWN=1"},
      {REPLACED_QUERY, 5, "PROP_REPLACING=1 PROP_AUTOSPAWN=1"},
      {UPGRADE_QUERY, 5, "PROP_REPLACING=1"},
  };
  for (const auto& row : rows) {
    install_machine machine;
    machine.texts_by_query[row.query] = "{X}";
    machine.product_states["{X}"] = row.state;
    EXPECT_EQ(machine.install(), 0);
    EXPECT_TRUE(machine.properties().starts_with(row.begins)) << machine.properties();
    EXPECT_TRUE(machine.properties().ends_with("PROP_SILENCE=2 REBOOT=ReallySuppress"));
    EXPECT_EQ(machine.course, (std::vector<std::string>{"open", "close", "silence", "install"}));
    EXPECT_EQ(
        machine.events,
        (std::vector<fake_event>{
            {4, RUVO_EVENT_INSTALLING, "starting install with properties: " + machine.properties()},
            {0, RUVO_EVENT_INSTALLED, "install completed successfully"}}));
  }
}

TEST(Install, PropertiesFollowTheChosenString) {
  install_machine machine;
  xp_ref list(xp_array_new(0));
  xp_ref first(xp_str_new("TP_A=\xC3\xA9"));
  xp_ref second(xp_str_new("PROP_B=c d"));
  xp_array_append(list.get(), first.get());
  xp_array_append(list.get(), nullptr);
  xp_array_append(list.get(), second.get());
  EXPECT_EQ(machine.install(nullptr, 0, list.get()), 0);
  EXPECT_EQ(machine.installs[0],
            std::u16string(FIRST, FIRST + sizeof(FIRST) - 1) + u" TP_A=\u00E9  PROP_B=c d");
  xp_ref none(xp_array_new(0));
  machine.installs.clear();
  EXPECT_EQ(machine.install(nullptr, 0, none.get()), 0);
  EXPECT_EQ(machine.properties(), FIRST);
}

TEST(Install, TheVersionCheckComparesTextsAtThePackagesOwnPlace) {
  struct {
    int32_t mode;
    const char* installed;
    const char* declared;
    int32_t result;
  } const rows[] = {
      {0, "8.0", "8.0", 0},   {1, "8.0", "8.0", 128}, {1, "8.0", "8.1", 0},
      {2, "8.0", "9.0", 128}, {2, nullptr, "9.0", 0}, {3, "8.0", "8.1", 0},
      {3, "8.1", "8.0", 128}, {3, "10.0", "9.0", 0},  {3, "8.0", "8.0", 128},
      {3, "8.0", nullptr, 0}, {3, "8.0", "8.0.1", 0},
  };
  for (const auto& row : rows) {
    install_machine machine;
    machine.product_states[CODE] = 5;
    machine.texts_by_query[KEY_QUERY] = "Software\\V";
    machine.integers_by_query[ROOT_QUERY] = 2;
    if (row.installed) machine.set_text("HKLM\\Software\\V", "version", row.installed);
    if (row.declared) machine.texts_by_query[VERSION_QUERY] = row.declared;
    EXPECT_EQ(machine.install(nullptr, row.mode), row.result) << row.mode;
    if (row.result != 128) continue;
    EXPECT_EQ(machine.course, (std::vector<std::string>{"open", "close"}));
    EXPECT_EQ(
        machine.events,
        (std::vector<fake_event>{{2, RUVO_EVENT_PACKAGE_NOT_NECESSARY, "install not necessary"}}));
  }
}

TEST(Install, TheNewerRegistryRowIsTriedFirstAndTheHiveIsTheRoots) {
  install_machine machine;
  machine.product_states[CODE] = 5;
  machine.texts_by_query[KEY2_QUERY] = "Software\\New";
  machine.integers_by_query[ROOT2_QUERY] = 1;
  machine.texts_by_query[KEY_QUERY] = "Software\\Old";
  machine.integers_by_query[ROOT_QUERY] = 2;
  machine.set_text("HKLM\\Software\\Old", "version", "1");
  machine.texts_by_query[VERSION_QUERY] = "1";
  EXPECT_EQ(machine.install(nullptr, 1), 128);  // the older row serves when the newer gives nothing
  machine.set_text("HKCU\\Software\\New", "version", "2");
  EXPECT_EQ(machine.install(nullptr, 1), 0);
}

TEST(Install, AFirstInstallIsNeverCheckedForItsVersion) {
  install_machine machine;
  machine.texts_by_query[KEY_QUERY] = "Software\\V";
  machine.set_text("HKLM\\Software\\V", "version", "8.0");
  EXPECT_EQ(machine.install(nullptr, 2), 0);
}

TEST(Install, TheSourceListFollowsThePackagesName) {
  struct {
    const char* remembered;
    const char* becomes;
    bool logged;
  } const rows[] = {
      {"old.msi", "client.msi", true},
      {"CLIENT.MSI", "CLIENT.MSI", false},  // equal but for case
      {"client.msi", "client.msi", false},
  };
  for (const auto& row : rows) {
    install_machine machine;
    machine.set_text(SOURCE_LIST, "PackageName", row.remembered);
    EXPECT_EQ(machine.install(), 0);
    EXPECT_EQ(machine.text(SOURCE_LIST, "PackageName"), row.becomes);
    EXPECT_TRUE(machine.registry_opens.back().ends_with(" 103"));
    const fake_event change = {2, RUVO_EVENT_PACKAGE_NAME,
                               "changing package name from old.msi to client.msi"};
    EXPECT_EQ(machine.events[0] == change, row.logged);
  }
  install_machine machine;  // a value of another type is left alone
  machine.set_text(SOURCE_LIST, "PackageName", "old.msi");
  machine.keys.begin()->second["packagename"].type = XP_REG_EXPAND_TEXT;
  EXPECT_EQ(machine.install(), 0);
  EXPECT_EQ(machine.text(SOURCE_LIST, "PackageName"), "old.msi");
}

TEST(Install, ASecondAttemptOnlyWhereTheFileStillReportsAnotherVersion) {
  struct {
    bool feature;
    bool file;
    const char* wanted;
    uint32_t first;
    size_t attempts;
  } const rows[] = {
      {true, true, "1.2.3.5", 0, 2},    {true, true, "1.2.3.4", 0, 1},
      {true, true, nullptr, 0, 2},      {true, true, "1.2.3.5", 3010, 2},
      {true, true, "1.2.3.5", 1603, 1}, {true, false, "1.2.3.5", 0, 1},
      {false, true, "1.2.3.5", 0, 1},
  };
  for (const auto& row : rows) {
    install_machine machine;
    if (row.feature) machine.texts_by_query[FEATURE_QUERY] = "FEAT_TALLYPORT";
    machine.has_file_version = row.file;
    machine.installed_file = {{1, 2, 3, 4}};
    machine.install_codes = {row.first, 1618};
    EXPECT_EQ(machine.install(row.wanted),
              static_cast<int32_t>(row.attempts == 2 ? 1618 : row.first));
    EXPECT_EQ(machine.installs.size(), row.attempts);
    EXPECT_EQ(std::count(machine.course.begin(), machine.course.end(), "sleep 10000"),
              static_cast<int64_t>(row.attempts) - 1);
  }
}

TEST(Install, FailuresComeBackWithTheirCodesAndRecords) {
  install_machine machine;
  machine.open_code = 1620;
  EXPECT_EQ(machine.install(), 1620);
  machine.open_code = 0;
  machine.install_codes = {1603};
  EXPECT_EQ(machine.install(), 1603);
  machine.install_codes = {3010};
  machine.installs.clear();
  EXPECT_EQ(machine.install(), 3010);
  std::vector<fake_event> outcomes;
  for (const fake_event& event : machine.events)
    if (event.id != RUVO_EVENT_INSTALLING) outcomes.push_back(event);
  EXPECT_EQ(
      outcomes,
      (std::vector<fake_event>{
          {2, RUVO_EVENT_OPERATION, "failure to open installer"},
          {2, RUVO_EVENT_INSTALL_FAILED, "install failed with result 1603"},
          {0, RUVO_EVENT_INSTALLED_REBOOT, "install completed successfully, reboot needed"}}));
}

TEST(Install, FilesInUseNeverStopAnInstall) {
  EXPECT_EQ(ruvo_msi_ui_handler(nullptr, 0x05000000, ""), 5);
  EXPECT_EQ(ruvo_msi_ui_handler(nullptr, 0x05000010, ""), 5);
  EXPECT_EQ(ruvo_msi_ui_handler(nullptr, 0x01000005, ""), 0);
}

TEST(Install, EveryAllocationMayFail) {
  install_machine machine;
  xp_ref path(xp_path_new(nullptr, "C:\\a\\b.msi", -1));
  xp_ref list(xp_array_new(0));
  xp_ref property(xp_str_new("TP_A=1"));
  xp_array_append(list.get(), property.get());
  int32_t failed_at_start = 0;
  sweep_allocations([&](heap_watch&) {
    const int32_t result = ruvo_install(path.get(), nullptr, list.get(), 0);
    EXPECT_TRUE(result == 0 || result == -1);
    failed_at_start += result == -1;
  });
  EXPECT_EQ(failed_at_start, 1);  // only the path's own copy is needed
}
