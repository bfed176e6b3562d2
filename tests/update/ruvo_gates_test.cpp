#include "update/ruvo_gates.h"

#include "object/xp_ref.h"
#include "tests/support/fake_machine.h"

namespace {

constexpr char SETTINGS[] = "HKLM\\System\\CurrentControlSet\\Services\\Tallyport\\Settings";

int32_t compare(const char* text) {
  xp_ref string(xp_str_new(text));
  return ruvo_os_compare(string.get());
}

int32_t gate_result(ruvo_state state) {
  state.run_result = -77;
  return ruvo_pass_gates(&state) ? 0 : state.run_result;
}

}  // namespace

TEST(Gates, OsVersionsCompareNumberByNumber) {
  fake_machine machine;
  machine.os = {6, 1, 7601};
  struct {
    const char* text;
    int32_t order;
  } const rows[] = {
      {"6.1", 1},  // the build makes the system the larger
      {"6.1.7601", 0},     {"6.1.7601.0", 0}, {"6.1.7601.1", -1}, {"6.2", -1},
      {"5.2.9999", 1},     {"", 0},           {" \t ", 0},        {"\t6.1.7601 ", 0},
      {"6.1.76 01", 0},                        // blanks inside a number are passed over
      {"6.a.1", 1},                            // the letter ends the second number: 6, 0, 0, 1
      {"6.1.7601.0.9", 0}, {"4294967295", 1},  // signed, it is -1
  };
  for (const auto& row : rows)
    EXPECT_EQ(compare(row.text), row.order) << row.text;
  EXPECT_EQ(ruvo_os_compare(nullptr), 0);
  machine.os_known = false;
  EXPECT_EQ(compare("99"), 0);
}

TEST(Gates, SettingNumbersAreReadAsText) {
  fake_machine machine;
  EXPECT_EQ(ruvo_setting_number("ruvogate"), 0u);
  struct {
    const char* text;
    uint32_t number;
  } const rows[] = {
      {"12", 12},
      {"0x10", 16},
      {"0xfFg", 255},
      {"0X10", 0},
      {"0x", 0},
      {"+5", 5},
      {"-5", 0xFFFFFFFBu},
      {"-0x1", 0xFFFFFFFF},
      {"x", 0},
      {"12abc", 12},
      {"", 0},
      {"4294967297", 1},
      {"-", 0},
  };
  for (const auto& row : rows) {
    machine.set_text(SETTINGS, "ruvogate", row.text);
    EXPECT_EQ(ruvo_setting_number("ruvogate"), row.number) << row.text;
  }
  // A value that fills the buffer without a NUL is no reason to read beyond it.
  machine.keys[machine.keys.begin()->first]["ruvogate"] = {XP_REG_BINARY, std::string(64, '1')};
  (void)ruvo_setting_number("ruvogate");
  machine.keys[machine.keys.begin()->first]["ruvogate"] = {XP_REG_BINARY, std::string(65, '1')};
  EXPECT_EQ(ruvo_setting_number("ruvogate"), 0u);
}

TEST(Gates, TheRegistryIsOpenedInTheRightView) {
  fake_machine machine;
  (void)ruvo_setting_number("ruvogate");
  machine.wow64_process = true;
  (void)ruvo_setting_number("ruvogate");
  ASSERT_EQ(machine.registry_opens.size(), 2u);
  EXPECT_TRUE(machine.registry_opens[0].ends_with(" 101"));
  EXPECT_TRUE(machine.registry_opens[1].ends_with(" 1"));
}

TEST(Gates, EachRefusesWithItsResult) {
  fake_machine machine;
  machine.set_text(SETTINGS, "ruvoseed", "1048575");
  xp_ref version(xp_str_new("10.0"));
  EXPECT_EQ(gate_result({}), 0);
  EXPECT_EQ(gate_result({.expiration = machine.now}), 0);
  EXPECT_EQ(gate_result({.expiration = machine.now - 1}), RUVO_EXPIRED);
  EXPECT_EQ(gate_result({.os_minimum = version.get()}), 0);
  EXPECT_EQ(gate_result({.os_maximum = version.get()}), RUVO_OS_NOT_TARGETED);
  machine.os = {6, 1, 7601};
  EXPECT_EQ(gate_result({.os_minimum = version.get()}), RUVO_OS_NOT_TARGETED);
  machine.set_text(SETTINGS, "ruvogate", std::to_string(machine.now).c_str());
  EXPECT_EQ(gate_result({}), 0);
  machine.set_text(SETTINGS, "ruvogate", std::to_string(machine.now - 1).c_str());
  EXPECT_EQ(gate_result({}), RUVO_GATED_OFF);
  machine.set_text(SETTINGS, "ruvogate", "-5");  // far above now
  EXPECT_EQ(gate_result({}), 0);
  machine.os_known = false;
  EXPECT_EQ(gate_result({}), RUVO_OS_UNKNOWN);
  EXPECT_EQ(gate_result({.expiration = 1}), RUVO_EXPIRED);  // the first refusal counts
}

TEST(Gates, CoverageIsComparedWithTheLowBitsOfTheSeed) {
  struct {
    const char* seed;
    int64_t coverage;
    int32_t result;
  } const rows[] = {
      {"524288", 524288, 0},       {"524288", 524287, RUVO_NOT_SELECTED},
      {"1048575", 0xFFFFF, 0},     {"1048575", 0xFFFFE, RUVO_NOT_SELECTED},
      {"1048576", 1, 0},  // low bits 0: selected by every coverage
      {"1048575", 0, 0},           {"1048575", -1, 0},
      {"1048575", 0x100000000, 0},  // the low 32 bits count: 0
  };
  for (const auto& row : rows) {
    fake_machine machine;
    machine.set_text(SETTINGS, "ruvoseed", row.seed);
    EXPECT_EQ(gate_result({.coverage = row.coverage}), row.result) << row.seed << row.coverage;
    EXPECT_EQ(machine.text(SETTINGS, "ruvoseed"), row.seed);
  }
}

TEST(Gates, TheSeedIsDrawnOnceAndKept) {
  fake_machine machine;
  machine.keys["hklm\\system\\currentcontrolset\\services\\tallyport\\settings"];
  EXPECT_EQ(gate_result({}), 0);
  const std::string seed = machine.text(SETTINGS, "ruvoseed");
  EXPECT_GT(std::stoul(seed), 0u);
  EXPECT_LE(std::stoul(seed), 0x7FFFFFFFu);  // bit 31 is cleared
  EXPECT_EQ(gate_result({}), 0);
  EXPECT_EQ(machine.text(SETTINGS, "ruvoseed"), seed);
  EXPECT_TRUE(machine.registry_opens[2].ends_with(" F013F"));
}

TEST(Gates, ASeedThatCannotBeStoredServesThisRun) {
  fake_machine machine;
  EXPECT_EQ(gate_result({.coverage = 0x100000}), 0);  // no key at all
  EXPECT_EQ(machine.text(SETTINGS, "ruvoseed"), "(none)");
  machine.set_text(SETTINGS, "ruvoseed", "no number");
  machine.refuse_registry_writes = true;
  EXPECT_EQ(gate_result({.coverage = 0x100000}), 0);
  EXPECT_EQ(machine.text(SETTINGS, "ruvoseed"), "no number");
  machine.refuse_registry_writes = false;
  EXPECT_EQ(gate_result({}), 0);
  EXPECT_NE(machine.text(SETTINGS, "ruvoseed"), "no number");
}
