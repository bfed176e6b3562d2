// The services of the system that an update asks: event log, trust, Windows Installer.
#include <gtest/gtest.h>

#include "tests/windows/windows_support.h"

// Order matters: these need windows.h.
#include <msi.h>
#include <msiquery.h>

namespace {

TEST(windows_event_log, TakesRecordsOfEveryType) {
  const xp_event_log_ops& log = *xp_platform->event_log;
  const xp_event_source source = log.open("Tallyport");
  ASSERT_NE(source, 0);
  EXPECT_TRUE(log.report(source, XP_EVENT_SUCCESS, 1000, "install completed successfully"));
  EXPECT_TRUE(log.report(source, XP_EVENT_INFORMATION, 0x4000044C, "Pfad: C:\\Müll €"));
  EXPECT_TRUE(log.report(source, XP_EVENT_WARNING, 0x800004B0, ""));
  EXPECT_TRUE(log.report(source, XP_EVENT_ERROR, 0xC0000514, "100 % sure: %1"));
  log.close(source);
}

struct loaded_trust : testing::Test {
  const xp_trust_ops& ops = *xp_platform->trust;
  xp_trust* trust = ops.load();
  void SetUp() override { ASSERT_NE(trust, nullptr); }
  ~loaded_trust() override {
    if (trust) ops.unload(trust);
  }
};

TEST_F(loaded_trust, NoUnsignedFilePasses) {
  const scratch_folder scratch;
  struct {
    std::u16string path;
    int32_t result;  // 0: any but success
    const char* what;
  } const rows[] = {
      {test_program(), static_cast<int32_t>(0x800B0100), "a program without a signature"},
      {scratch.file(u"a.msi", "no package at all"), static_cast<int32_t>(0x800B0003),
       "recognised by content, not by extension"},
      {scratch.file(u"empty.msi", ""), 0, "an empty file"},
      {scratch.child(u"none.msi"), 0, "a missing file"},
  };
  for (const auto& row : rows) {
    const int32_t result = ops.verify(trust, row.path.c_str());
    if (row.result)
      EXPECT_EQ(result, row.result) << row.what;
    else
      EXPECT_NE(result, 0) << row.what;
    char16_t name[64];
    EXPECT_EQ(ops.signer_name(trust, 0, name, 64), -1) << row.what;
    ops.close(trust);
  }
}

TEST_F(loaded_trust, TheServiceCanNameSigners) {
  EXPECT_TRUE(ops.can_name_signers(trust));
  EXPECT_FALSE(ops.has_signers(trust)) << "nothing verified yet";
}

const xp_installer_ops& installer() {
  return *xp_platform->installer;
}

TEST(windows_installer, NoPackageOpensFromAMissingOrForeignFile) {
  const scratch_folder scratch;
  xp_package package = 77;
  EXPECT_NE(installer().open(scratch.child(u"none.msi").c_str(), &package), 0u);
  EXPECT_NE(installer().open(scratch.file(u"junk.msi", "no package").c_str(), &package), 0u);
  EXPECT_EQ(package, 77u) << "untouched by a failure";
  EXPECT_NE(installer().install(scratch.child(u"none.msi").c_str(), u"A=1"), 0u);
}

TEST(windows_installer, AbsentProductsAndMalformedCodesAreNotPresent) {
  for (const char* code : {"{11111111-2222-3333-4444-555555555555}", "no code", ""}) {
    const int32_t state = installer().product_state(code);
    EXPECT_NE(state, XP_PRODUCT_DEFAULT) << code;
    EXPECT_NE(state, XP_PRODUCT_ADVERTISED) << code;
  }
}

// A package made on the spot by the installer's own calls.
struct made_package : testing::Test {
  scratch_folder scratch;
  std::u16string path = scratch.child(u"Päckchen.msi");
  xp_package package = 0;

  void SetUp() override;
  void TearDown() override {
    if (package) installer().close(package);
  }
};

void made_package::SetUp() {
  MSIHANDLE database = 0;
  ASSERT_EQ(
      MsiOpenDatabaseW(w(path), reinterpret_cast<const wchar_t*>(MSIDBOPEN_CREATE), &database), 0u);
  for (const char* sql :
       {"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL "
        "LOCALIZABLE PRIMARY KEY `Property`)",
        "INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductCode', '{CODE}')",
        "INSERT INTO `Property` (`Property`, `Value`) VALUES ('PROP_VERSION', '12345678')",
        "CREATE TABLE `Registry` (`Registry` CHAR(72) NOT NULL, `Root` SHORT, `Key` CHAR(255) "
        "NOT NULL PRIMARY KEY `Registry`)",
        "INSERT INTO `Registry` (`Registry`, `Root`, `Key`) VALUES ('REG_VERSION', 2, 'SOFT\\X')",
        "INSERT INTO `Registry` (`Registry`, `Key`) VALUES ('REG2_VERSION', 'SOFT\\Y')"}) {
    MSIHANDLE view = 0;
    ASSERT_EQ(MsiDatabaseOpenViewA(database, sql, &view), 0u) << sql;
    ASSERT_EQ(MsiViewExecute(view, 0), 0u) << sql;
    MsiCloseHandle(view);
  }
  MsiDatabaseCommit(database);
  MsiCloseHandle(database);
  ASSERT_EQ(installer().open(path.c_str(), &package), 0u);
}

TEST_F(made_package, QueriesGiveTheFirstFieldOfTheFirstRow) {
  char text[64] = "before";
  EXPECT_EQ(installer().query_text(
                package, "SELECT Value FROM Property WHERE Property='ProductCode'", text, 64),
            0u);
  EXPECT_STREQ(text, "{CODE}");
  int32_t number = 9;
  EXPECT_EQ(installer().query_integer(
                package, "SELECT `Root` FROM Registry WHERE Registry='REG_VERSION'", &number),
            0u);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(installer().query_integer(
                package, "SELECT `Root` FROM Registry WHERE Registry='REG2_VERSION'", &number),
            0u);
  EXPECT_EQ(number, INT32_MIN) << "the null integer";
}

TEST_F(made_package, WhatCannotBeReadIsAFailureAndAnEmptyText) {
  for (const char* sql : {"SELECT Value FROM Property WHERE Property='Absent'",
                          "SELECT UpgradeCode FROM Upgrade", "no sql"}) {
    char text[64] = "before";
    int32_t number = 9;
    EXPECT_NE(installer().query_text(package, sql, text, 64), 0u) << sql;
    EXPECT_STREQ(text, "") << sql;
    EXPECT_NE(installer().query_integer(package, sql, &number), 0u) << sql;
    EXPECT_EQ(number, 9) << sql;
  }
  constexpr char VERSION[] = "SELECT Value FROM Property WHERE Property='PROP_VERSION'";
  char text[9] = "before";
  EXPECT_NE(installer().query_text(package, VERSION, text, 8), 0u) << "no room for the NUL";
  EXPECT_STREQ(text, "");
  EXPECT_EQ(installer().query_text(package, VERSION, text, 9), 0u);
  EXPECT_STREQ(text, "12345678");
}

}  // namespace
