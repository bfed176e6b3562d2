#include "update/ruvo_installed.h"

#include "object/xp_ref.h"
#include "tests/support/fake_machine.h"

namespace {

int32_t check(const char* instpath, const char* version, int32_t mode) {
  xp_ref place(instpath ? xp_str_new(instpath) : nullptr);
  xp_ref wanted(version ? xp_str_new(version) : nullptr);
  return ruvo_installed_check(place.get(), wanted.get(), mode);
}

}  // namespace

TEST(Installed, EachModeAsksItsQuestion) {
  struct {
    const char* installed;  // null: nothing
    const char* wanted;
    int32_t mode;
    int32_t result;
  } const rows[] = {
      {"8.0.0.9", "8.0.1.0", 3, 0},
      {"8.0.1.0", "8.0.1.0", 3, 2},
      {"8.0.1.0", "8.0.1", 3, 2},  // the shorter text orders first
      {"9.0", "10.0", 3, 2},       // as texts, not as numbers
      {"8.0", nullptr, 3, 0},
      {"8.0.1.0", "8.0.1.0", 1, 3},
      {"8.0.1.0", "8.0.1.0", 7, 3},
      {"8.0.1.0", "8.0.1.1", 1, 0},
      {"8.0.1.0", "8.0.1.0", -1, 3},
      {"8.0", "9.0", 2, 1},
      {"8.0", nullptr, 2, 1},
      {nullptr, "9.0", 2, 0},
      {"", "9.0", 2, 0},
      {"8.0.1.0", "8.0.1.0", 0, 0},
  };
  for (const auto& row : rows) {
    fake_machine machine;
    if (row.installed)
      machine.set_text("HKLM\\System\\CurrentControlSet\\Services\\Tallyport\\Settings", "version",
                       row.installed);
    EXPECT_EQ(check(nullptr, row.wanted, row.mode), row.result)
        << (row.installed ? row.installed : "-") << " mode " << row.mode;
    EXPECT_EQ(check("", row.wanted, row.mode), row.result);
    EXPECT_EQ(machine.registry_opens.empty(), row.mode == 0);
  }
}

TEST(Installed, ThePlaceNamesItsHive) {
  fake_machine machine;
  machine.set_text("HKCU\\Software\\x", "version", "1");
  machine.set_text("HKLM\\Software\\y", "version", "1");
  EXPECT_EQ(check("hkcu:\\Software\\x", "1", 2), 1);
  EXPECT_EQ(check("HKLM:\\Software\\y", "1", 2), 1);
  EXPECT_EQ(check("HKLM:\\Software\\x", "1", 2), 0);
  EXPECT_EQ(check("HKCR:\\x", "1", 2), 0);
  EXPECT_EQ(check("HK", "1", 2), 0);
}
