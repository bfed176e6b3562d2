#include <string>
#include <vector>

#include "cmdline/xp_log.h"
#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "tests/support/fake_machine.h"
#include "tests/support/temp_folder.h"
#include "update/ruvo.h"
#include "update/ruvo_events.h"

namespace {

std::string printed;

xp_console_status capture_write(xp_console_handle, const void* bytes, uint32_t length,
                                uint32_t* done) {
  printed.append(static_cast<const char*>(bytes), length);
  *done = length;
  return XP_CONSOLE_OK;
}

std::string standard_input;

xp_console_status feed_read(xp_console_handle, void* out, uint32_t length, uint32_t* done) {
  *done = std::min<uint32_t>(length, static_cast<uint32_t>(standard_input.size()));
  memcpy(out, standard_input.data(), *done);
  return XP_CONSOLE_OK;
}

// A machine in memory with a scratch folder; a run is a call.
struct run_machine : fake_machine {
  temp_folder folder;

  run_machine() {
    console.is_console = [](xp_console_handle) { return false; };
    console.write_bytes = capture_write;
    console.read_bytes = feed_read;
    console.flush = [](xp_console_handle) { return XP_CONSOLE_OK; };
    standard_input.clear();
    folder.write("setup.msi", "a package");
  }
  ~run_machine() { xp_log_set_default(nullptr); }

  std::string place(const char* name) {
    xp_ref path(xp_path_child(folder.path.get(), name));
    xp_ref text(xp_str_from_object(path.get()));
    return text->text;
  }
  std::string package() { return place("setup.msi"); }

  int32_t run(std::vector<std::string> arguments) {
    std::vector<const char*> argv = {"ruvo"};
    for (const std::string& argument : arguments)
      argv.push_back(argument.c_str());
    const auto argc = static_cast<int32_t>(argv.size());
    argv.push_back(nullptr);
    events.clear();
    printed.clear();
    return ruvo_run(argc, argv.data());
  }
  int32_t run_with_settings(const std::string& entries, std::vector<std::string> arguments = {}) {
    folder.write("update.plist", "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
    arguments.insert(arguments.begin(), {"--result", "-X", place("update.plist")});
    return run(arguments);
  }
};

std::string key_string(const char* key, const std::string& value) {
  return std::string("<key>") + key + "</key><string>" + value + "</string>";
}

}  // namespace

TEST(Run, TheLocalCourseLeavesItsRecordsInOrder) {
  run_machine machine;
  EXPECT_EQ(machine.run({"--file", machine.package(), "--result", "--loglevel=15"}), 0);
  const std::string properties = "PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress";
  EXPECT_EQ(machine.events, (std::vector<fake_event>{
                                {4, 0x4000044C, "update process started"},
                                {4, 0x4000044D, "starting install with properties: " + properties},
                                {0, 1000, "install completed successfully"},
                                {4, 0x4000044E, "update process completed with result 0"}}));
  EXPECT_EQ(content_of(machine.folder.at("setup.msi").get()), "a package");
  EXPECT_EQ(printed, "");
}

TEST(Run, TheLogLevelChoosesTheCategories) {
  struct {
    const char* level;
    size_t records;
  } const rows[] = {{"0", 0}, {"-1", 0}, {"1", 1}, {"2", 2}, {"14", 2}, {"15", 4}, {"99", 4}};
  for (const auto& row : rows) {
    run_machine machine;
    EXPECT_EQ(machine.run({"-f", machine.package(), "-l", row.level}), 0);
    EXPECT_EQ(machine.events.size(), row.records) << row.level;
  }
  run_machine machine;
  EXPECT_EQ(machine.run({"-f", machine.package()}), 0);
  EXPECT_EQ(machine.texts(), std::vector<std::string>{"install completed successfully"});
}

TEST(Run, EachEndHasItsResult) {
  struct {
    const char* what;
    void (*prepare)(run_machine&);
    std::vector<std::string> arguments;  // "@" stands for the package
    int32_t result;
    std::vector<std::string> records;  // at loglevel 2
  } const rows[] = {
      {"nothing to do", nullptr, {}, 2, {}},
      {"an empty URL", nullptr, {"--url="}, 2, {}},
      {"a file URL of nothing", nullptr, {"--url=file://"}, 2, {}},
      {"a missing file", nullptr, {"--file=@x"}, 5, {"failed to extract installer"}},
      {"no signature",
       [](run_machine& m) { m.trust_code = static_cast<int32_t>(0x800B0100); },
       {"--file=@"},
       static_cast<int32_t>(0x800B0100),
       {"invalid, incorrect, or missing signature"}},
      {"another publisher",
       [](run_machine& m) { m.signers = {u"Another"}; },
       {"--file=@"},
       -1,
       {"invalid, incorrect, or missing signature"}},
      {"verify only", nullptr, {"--file=@", "--verify"}, 0, {}},
      {"a broken package",
       [](run_machine& m) { m.open_code = 1620; },
       {"--file=@"},
       1620,
       {"failure to open installer"}},
      {"a failed install",
       [](run_machine& m) { m.install_codes = {1603}; },
       {"--file=@"},
       1603,
       {"starting install with properties: PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress",
        "install failed with result 1603"}},
      {"a reboot",
       [](run_machine& m) { m.install_codes = {3010}; },
       {"--file=@"},
       3010,
       {"starting install with properties: PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress",
        "install completed successfully, reboot needed"}},
      {"no OS version",
       [](run_machine& m) { m.os_known = false; },
       {"--file=@"},
       7,
       {"OS version not sufficient"}},
      {"installed already",
       [](run_machine& m) { m.set_text("HKLM\\Software\\v", "version", "8.0"); },
       {"--url=http://127.0.0.1:1/a.msi", "--mode=2", "--instpath=HKLM:\\Software\\v"},
       0,
       {"install not necessary"}},
  };
  for (const auto& row : rows) {
    run_machine machine;
    if (row.prepare) row.prepare(machine);
    std::vector<std::string> arguments = row.arguments;
    for (std::string& argument : arguments)
      if (const size_t at = argument.find('@'); at != std::string::npos)
        argument.replace(at, 1, machine.package());
    arguments.insert(arguments.end(), {"-r", "-l2"});
    EXPECT_EQ(machine.run(arguments), row.result) << row.what;
    EXPECT_EQ(machine.texts(), row.records) << row.what;
    arguments.erase(arguments.end() - 2);  // without -r the process result is 0
    EXPECT_EQ(machine.run(arguments), 0) << row.what;
  }
}

TEST(Run, AFileUrlIsALocalCourse) {
  run_machine machine;
  EXPECT_EQ(machine.run({"--url", "FILE://" + machine.package(), "-r"}), 0);
  EXPECT_EQ(content_of(machine.folder.at("setup.msi").get()), "a package");
}

TEST(Run, UsageAndInvalidOptions) {
  run_machine machine;
  EXPECT_EQ(machine.run({"--help", "--result"}), 0);
  EXPECT_TRUE(printed.starts_with("Usage: ruvo [-qrx?]"));
  const std::string text = printed;
  EXPECT_EQ(machine.run({"--result", "--bogus"}), 1);
  EXPECT_EQ(printed, "\ninvalid option: --bogus\n\n" + text);
  EXPECT_EQ(machine.run({"--bogus", "--quiet"}), 0);
  EXPECT_EQ(printed, "\ninvalid option: --bogus\n\n" + text);
  EXPECT_EQ(machine.run({"--result", "--quiet", "--bogus"}), 1);
  EXPECT_EQ(printed, "");
  EXPECT_TRUE(machine.events.empty());
  EXPECT_TRUE(machine.course.empty());
}

TEST(Run, TheUserIsToldOnlyAfterASuccess) {
  const std::string standard =
      "The Velandrim Tallyhall Platform Client component has been updated to version 8.1 on this "
      "computer.";
  struct {
    std::string key;
    std::vector<std::string> messages;
  } const rows[] = {
      {"", {}},
      {"<key>notify</key><true/>", {standard}},
      {"<key>notify</key><string></string>", {standard}},
      {"<key>notify</key><false/>", {}},
      {"<key>notify</key><integer>1</integer>", {}},
      {key_string("notify", "Printer"),
       {"The Printer component has been updated to version 8.1 on this computer."}},
  };
  for (const auto& row : rows) {
    run_machine machine;
    machine.install_codes = {3010, 1603};
    const std::vector<std::string> arguments = {"-f", machine.package(), "-v", "8.1"};
    EXPECT_EQ(machine.run_with_settings(row.key, arguments), 3010);
    EXPECT_EQ(machine.messages, row.messages);
    machine.messages.clear();
    EXPECT_EQ(machine.run_with_settings(row.key, arguments), 1603);
    EXPECT_TRUE(machine.messages.empty());
  }
}

TEST(Run, SettingsWinOverOptionsWhereTheirTypeIsRight) {
  run_machine machine;
  const std::string package = machine.package();
  EXPECT_EQ(machine.run_with_settings("<key>properties</key><string>TP_A=1</string>",
                                      {"-f", package, "PROP_B=2"}),
            0);
  EXPECT_TRUE(machine.installs.back().ends_with(u"ReallySuppress TP_A=1"));
  EXPECT_EQ(machine.run_with_settings("<key>properties</key><array></array>",
                                      {"-f", package, "PROP_B=2"}),
            0);
  EXPECT_TRUE(machine.installs.back().ends_with(u"ReallySuppress"));
  EXPECT_EQ(machine.run_with_settings("<key>properties</key><integer>3</integer>",
                                      {"-f", package, "PROP_B=2"}),
            0);
  EXPECT_TRUE(machine.installs.back().ends_with(u"ReallySuppress PROP_B=2"));
  EXPECT_EQ(machine.run_with_settings("<key>loglevel</key><integer>2</integer>", {"-f", package}),
            0);
  EXPECT_EQ(machine.events.size(), 2u);
  EXPECT_EQ(machine.run_with_settings("<key>loglevel</key><string>2</string>", {"-f", package}), 0);
  EXPECT_EQ(machine.events.size(), 1u);
}

TEST(Run, SettingsReachTheGates) {
  run_machine machine;
  machine.set_text("HKLM\\System\\CurrentControlSet\\Services\\Tallyport\\Settings", "ruvoseed",
                   "1048575");
  struct {
    std::string entries;
    int32_t result;
  } const rows[] = {
      {"", 2},
      {key_string("expiration", "20120102030405Z"), 6},
      {key_string("expiration", "no date"), 2},
      {"<key>osversion</key><dict>" + key_string("minimum", "10.1") + "</dict>", 8},
      {"<key>osversion</key><dict>" + key_string("maximum", "6.3") + "</dict>", 8},
      {"<key>osversion</key><dict>" + key_string("minimum", "6.1") +
           key_string("maximum", "10.0.19045") + "</dict>",
       2},
      {key_string("osversion", "10.1"), 2},
      {"<key>coverage</key><integer>524288</integer>", 9},
      {"<key>coverage</key><integer>1048576</integer>", 2},
      {"<key>enabled</key><true/>", 2},
      {"<key>enabled</key><string>false</string>", 2},
      {"<key>enabled</key><false/>" + key_string("expiration", "20120102030405Z"), 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(machine.run_with_settings(row.entries), row.result) << row.entries;
}

TEST(Run, DisabledInstructionsTouchNothing) {
  run_machine machine;
  machine.keys["hklm\\system\\currentcontrolset\\services\\tallyport\\settings"];
  EXPECT_EQ(
      machine.run_with_settings("<key>enabled</key><false/>", {"-f", machine.package(), "-l2"}), 0);
  EXPECT_EQ(machine.texts(), std::vector<std::string>{"update process is disabled"});
  EXPECT_EQ(
      machine.text("HKLM\\System\\CurrentControlSet\\Services\\Tallyport\\Settings", "ruvoseed"),
      "(none)");
  EXPECT_TRUE(machine.course.empty());
}

TEST(Run, SettingsFromStandardInput) {
  run_machine machine;
  standard_input = "<plist version=\"1.0\"><dict>" + key_string("expiration", "20120102030405Z") +
                   "</dict></plist>";
  EXPECT_EQ(machine.run({"-rx"}), 6);
  standard_input = "";
  EXPECT_EQ(machine.run({"-rx"}), 2);
  standard_input = "<plist version=\"1.0\"><array/></plist>";
  EXPECT_EQ(machine.run({"-rx"}), 2);
  // A file wins over standard input, also one that isn't there.
  EXPECT_EQ(machine.run({"-rx", "-X", machine.place("absent.plist")}), 2);
}

TEST(Run, ASettingsFileIsReadUpToItsLimit) {
  run_machine machine;
  const std::string head = "<plist version=\"1.0\"><dict>" +
                           key_string("expiration", "20120102030405Z") + "<key>pad</key><string>";
  const std::string tail = "</string></dict></plist>";
  for (const size_t size : {32767u, 32768u}) {
    machine.folder.write("big.plist",
                         head + std::string(size - head.size() - tail.size(), 'x') + tail);
    const int32_t result = machine.run({"-r", "-X", machine.place("big.plist")});
    // A document that loses its last byte is not complete; what that gives is the reader's word.
    EXPECT_TRUE(size == 32768 || result == 6);
  }
}

TEST(Run, APathThatCannotBeFormedEndsWith4) {
  run_machine machine;
  (void)machine.run({});
  bool seen = false;
  sweep_allocations([&](heap_watch&) { seen |= machine.run({"-r", "-f", "relative.msi"}) == 4; });
  EXPECT_TRUE(seen);
}

TEST(Run, EveryAllocationMayFail) {
  run_machine machine;
  machine.folder.write("update.plist", "<plist version=\"1.0\"><dict>" +
                                           key_string("properties", "TP_A=1") +
                                           "<key>notify</key><true/></dict></plist>");
  const std::vector<std::string> arguments = {"-r", "-f", machine.package(), "-X",
                                              machine.place("update.plist")};
  // What lives as long as the process is made before: the log, and shared values.
  EXPECT_EQ(machine.run(arguments), 0);
  const xp_block<char16_t> package(xp_path_to_wide(machine.folder.at("setup.msi").get()));
  sweep_allocations([&](heap_watch&) {
    const int32_t result = machine.run(arguments);
    EXPECT_EQ(content_of(package.get(), xp_platform->files), "a package") << "it stays";
    // Lost options or settings, no installer, no memory for the check; nothing else.
    EXPECT_TRUE(result == 0 || result == 1 || result == 2 || result == 4 || result == 5 ||
                result == -1)
        << result;
  });
}
