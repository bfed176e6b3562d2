// Whole runs of the download course, from a command line to what is installed and what lies on the
// disk, on a scripted network; and the same runs with every allocation, every call of a socket or
// of the security service, and every call of a file failing in turn.
#include <algorithm>
#include <string>
#include <vector>

#include "cmdline/xp_log.h"
#include "object/xp_bool.h"
#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "tests/support/fake_machine.h"
#include "tests/support/fault_files.h"
#include "tests/support/scripted_tls.h"
#include "tests/support/temp_folder.h"
#include "update/ruvo.h"
#include "update/ruvo_container.h"

namespace {

// ---- what is served --------------------------------------------------------------------------

// More than one chunk of the exchange.
std::string large_package() {
  std::string text;
  while (text.size() < 20000)
    text += "package ";
  return text;
}
const std::string large = large_package();
const char large_digest[] = "9c5b01469948fc18a249f93f1a3b0a00891448fe0d90feeef1579f0a0bdc8b0d";

// echo -n hello | gzip -n
const std::string packed(
    "\x1f\x8b\x08\0\0\0\0\0\0\x03\xcb\x48\xcd\xc9\xc9\x07\0\x86\xa6\x10\x36\x05\0\0\0", 25);
const std::string packed_response =
    "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n19\r\n" +
    packed + "\r\n0\r\n\r\n";

// A container that stores the package "boxed" as boxed.msi.
std::string container() {
  const std::string head = "some program boxed.msi boxed";
  const ruvo_container_trailer_record trailer = {.name_offset = 13,
                                                 .name_length = 9,
                                                 .offset0 = 1,
                                                 .size0 = 1,
                                                 .offset1 = 23,
                                                 .size1 = 5,
                                                 .count = 3,
                                                 .magic = 0x50547672};
  return head + std::string(reinterpret_cast<const char*>(&trailer), sizeof trailer);
}

std::string response(const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// The handshake of the toy protocol, and then the text in two records.
void serve_securely(scripted_peer& peer, const std::string& text) {
  const size_t half = text.size() / 2;
  peer.bytes(toy_record('h')).bytes(toy_record('H'));
  peer.bytes(toy_record('d', text.substr(0, half)) + toy_record('d', text.substr(half)));
}

// ---- courses ---------------------------------------------------------------------------------

struct download_course {
  const char* what;
  std::vector<std::string> arguments = {};  // "@" stands for the temporary folder
  std::string entries = {};                 // of a settings document, empty for none
  void (*serve)(scripted_net& net) = nullptr;
  bool connects = true;
  bool is_local = false;
  std::string host = "h";      // to whom
  std::string package;         // what the publisher signed
  std::string found = {};      // a file below the temporary folder before the run
  std::string found_was = {};  // its content
  std::string left = {};       // and after it; empty for nothing at all
  std::string left_is = {};
  std::string made = {};  // beside it
};

const download_course courses[] = {
    {.what = "a stale copy is replaced",
     .arguments = {"--url=http://h/d/setup.msi?v=1", "--digest=" + std::string(64, '0')},
     .serve = [](scripted_net& net) { net.add().drip(response(large), 9000, 1); },
     .package = large,
     .found = "Tallyport\\setup.msi",
     .found_was = large + "and more, which must go",
     .left = "Tallyport\\setup.msi",
     .left_is = large},
    {.what = "a copy with the right digest is taken",
     .arguments = {"--url=http://h/d/setup.msi", std::string("--digest=") + large_digest},
     .serve = [](scripted_net& net) { net.add(response(large)); },
     .connects = false,
     .package = large,
     .found = "Tallyport\\setup.msi",
     .found_was = large,
     .left = "Tallyport\\setup.msi",
     .left_is = large},
    {.what = "a name without an ending, by a document, through the computer's proxy, in gzip",
     .arguments = {},
     .entries = "<key>url</key><string>http://h/d/</string><key>name</key><string>setup</string>"
                "<key>proxy</key><true/>",
     .serve = [](scripted_net& net) { net.add().drip(packed_response, 30, 1).end(); },
     .host = "p",
     .package = "hello",
     .left = "Tallyport\\setup",
     .left_is = "hello"},
    {.what = "a container, in a tunnel",
     .arguments = {"--url=https://h/d/client.exe", "--proxy=p:8080"},
     .serve =
         [](scripted_net& net) {
           scripted_peer& peer = net.add("HTTP/1.1 200 Connection established\r\n\r\n");
           serve_securely(peer, response(container()));
         },
     .host = "p",
     .package = "boxed",
     .left = "Tallyport\\client.exe",
     .left_is = container()},
    {.what = "no name, over TLS",
     .arguments = {"--url=https://h/"},
     .serve = [](scripted_net& net) { serve_securely(net.add(), response("nameless")); },
     .package = "nameless"},
    {.what = "a local package",
     .arguments = {"--file=@given.msi"},
     .connects = false,
     .is_local = true,
     .package = "local",
     .found = "given.msi",
     .found_was = "local",
     .left = "given.msi",
     .left_is = "local"},
    {.what = "a local container",
     .arguments = {"--file=@client.exe"},
     .connects = false,
     .is_local = true,
     .package = "boxed",
     .found = "client.exe",
     .found_was = container(),
     .left = "client.exe",
     .left_is = container(),
     .made = "boxed.msi"},
};

// ---- the computer ----------------------------------------------------------------------------

// What the slots of the tables reach.
std::u16string temporary;  // the temporary folder with its last backslash
xp_file_ops disk;          // the file table without faults
std::string signed_package;

constexpr auto BAD_SIGNATURE = static_cast<int32_t>(0x800B0100);

uint32_t give_temporary(char16_t* out, uint32_t capacity) {
  if (temporary.size() >= capacity) return 0;
  memcpy(out, temporary.c_str(), (temporary.size() + 1) * sizeof(char16_t));
  return static_cast<uint32_t>(temporary.size());
}

bool give_proxies(char16_t** proxies, char16_t** bypass) {
  *bypass = nullptr;
  *proxies = static_cast<char16_t*>(xp_heap_alloc(sizeof(u"p:8080")));
  if (*proxies) memcpy(*proxies, u"p:8080", sizeof(u"p:8080"));
  return true;
}

// Only the whole package, byte for byte, is what was signed.
int32_t judge_content(xp_trust*, const char16_t* path) {
  return content_of(path, &disk) == signed_package ? 0 : BAD_SIGNATURE;
}

struct outcome {
  int32_t result;
  bool failed;              // the fault was met
  std::string failed_call;  // of the network
  bool connected;
  std::vector<std::u16string> installs;
  std::map<std::string, std::string> files;  // below the temporary folder
};

// The faults of one run are set in these.
struct run_faults {
  heap_watch heap;
  scripted_net net;
  scripted_tls tls{&net.fake};
  fault_files files;
};

struct download_machine : fake_machine {
  temp_folder folder;
  int runs = 0;
  xp_ref<xp_path> place;  // the temporary folder of this run

  download_machine() {
    disk = files;
    files.temp_folder = give_temporary;
    folders.get = [](xp_folder_source source, char16_t* out, uint32_t capacity) {
      return source == XP_FOLDER_TEMP ? give_temporary(out, capacity) : 0;
    };
    proxy.defaults = give_proxies;
    trust.verify = judge_content;
    // What lives as long as the process.
    xp_log_set_default(xp_log_new("Tallyport"));
    xp_object_release(xp_bool_new(true));
  }
  ~download_machine() { xp_log_set_default(nullptr); }

  // A temporary folder that nobody has seen, and in it what the course finds there.
  void start(const download_course& c) {
    // Few in a folder: Windows reads a folder to find a name in it.
    const std::string group = "runs" + std::to_string(runs / 16);
    if (runs % 16 == 0) folder.make(group.c_str());
    place = folder.make((group + "\\" + std::to_string(runs++ % 16)).c_str());
    const xp_block<char16_t> wide(xp_path_to_wide(place.get()));
    temporary = std::u16string(wide.get()) + u"\\";
    signed_package = c.package;
    folder.write("update.plist", "<plist version=\"1.0\"><dict>" + c.entries + "</dict></plist>");
    if (c.found.empty()) return;
    const std::string below = text_of(place).substr(text_of(folder.path).size() + 1) + "\\";
    if (!c.is_local) folder.make((below + "Tallyport").c_str());
    folder.write((below + c.found).c_str(), c.found_was);
  }

  // One run in that folder. `arm` sets the fault.
  template <class Arm>
  outcome run(const download_course& c, Arm arm) {
    std::vector<const char*> argv = {"ruvo", "--result", "--loglevel=2"};
    std::vector<std::string> arguments = c.arguments;
    for (std::string& argument : arguments) {
      const size_t at = argument.find('@');
      if (at != std::string::npos) argument.replace(at, 1, text_of(place) + "\\");
      argv.push_back(argument.c_str());
    }
    const std::string home = text_of(folder.path);
    const std::string document = home + "\\update.plist";
    if (!c.entries.empty()) argv.insert(argv.end(), {"-X", document.c_str()});
    argv.push_back("PROP_A=1");
    const auto argc = static_cast<int32_t>(argv.size());
    argv.push_back(nullptr);
    installs.clear();
    events.clear();
    outcome got = {};
    {
      run_faults faults;
      if (c.serve) c.serve(faults.net);
      arm(faults);
      got.result = ruvo_run(argc, argv.data());
      got.failed = faults.net.call_failed || faults.files.failed() || faults.heap.failed();
      got.failed_call = faults.net.failed_call;
      got.connected = faults.net.lookups > 0;
      EXPECT_EQ(faults.heap.live(), 0) << c.what;
      EXPECT_EQ(faults.files.open_handles(), 0) << c.what;
      for (const std::string& name : faults.files.names())
        EXPECT_TRUE(name.starts_with(home) || home.starts_with(name)) << c.what << ": " << name;
      if (got.connected && !got.failed) {
        EXPECT_EQ(faults.net.peers.front().host, c.host) << c.what;
      }
    }
    got.installs = installs;
    got.files = files_below(place.get());
    return got;
  }
  outcome run(const download_course& c) {
    return run(c, [](run_faults&) {});
  }
};

// ---- judging ---------------------------------------------------------------------------------

// What a fault may do beyond giving its result.
enum tolerance : uint32_t {
  NOTHING_ELSE = 0,
  MAY_PASS = 1,           // the run goes on and succeeds
  CACHE_MAY_GO = 2,       // without a cache folder: the run succeeds and leaves the disk as it was
  FILES_MAY_STAY = 4,     // deleting is what failed
  MAY_DO_NOTHING = 8,     // the instructions are lost, the wish for a result among them
  PROPERTY_MAY_GO = 16,   // one of the command line's
  REFUSED_MAY_STAY = 32,  // a wrong body, or none, which a later step refuses
  EXACTLY = 64,           // nothing failed, now or before
};

std::string listing(const std::map<std::string, std::string>& files) {
  std::string text;
  for (const auto& [name, content] : files)
    text += " " + name + " of " + std::to_string(content.size()) + " bytes";
  return text;
}

bool installed(const outcome& got, bool property_may_go) {
  const std::u16string properties = u"PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress";
  using list = std::vector<std::u16string>;
  return got.installs == list{properties + u" PROP_A=1"} ||
         (property_may_go && got.installs == list{properties});
}

// What is given stays, and so does the package that was made beside it. When its own name couldn't
// be read it got another one.
void expect_local_files(const download_course& c, const outcome& got, const std::string& when) {
  for (const auto& [name, content] : got.files)
    EXPECT_TRUE(name == c.left
                    ? content == c.left_is
                    : name.ends_with(".msi") && (content == c.package || content == c.left_is))
        << when << " left" << listing(got.files);
  EXPECT_TRUE(got.files.contains(c.left)) << when;
}

// The success of the course: the package installed once, and exactly the documented file left.
void expect_success(const download_course& c, const outcome& got, const std::string& when,
                    uint32_t tolerated) {
  EXPECT_EQ(got.result, 0) << when;
  EXPECT_TRUE(installed(got, tolerated & PROPERTY_MAY_GO)) << when;
  if (c.is_local && !(tolerated & EXACTLY)) return expect_local_files(c, got, when);
  std::map<std::string, std::string> left;
  if (tolerated & CACHE_MAY_GO) {
    if (!c.found.empty()) left[c.found] = c.found_was;
    if (got.files == left) return;
  }
  if (!c.left.empty()) left[c.left] = c.left_is;
  if (!c.made.empty()) left[c.made] = c.package;
  const bool more_may_stay = tolerated & FILES_MAY_STAY;
  EXPECT_TRUE(more_may_stay
                  ? std::includes(got.files.begin(), got.files.end(), left.begin(), left.end())
                  : got.files == left)
      << when << " left" << listing(got.files);
}

// A failure installs nothing, and leaves no file but a whole one under the name of the cached one:
// the new one, or the old one when the run ended before. Behind the download, what is refused
// stays.
void expect_failure(const download_course& c, const outcome& got, const std::string& when,
                    uint32_t tolerated) {
  EXPECT_TRUE(got.installs.empty()) << when;
  const bool any = tolerated & REFUSED_MAY_STAY && (got.result == BAD_SIGNATURE || got.result == 5);
  if (c.is_local) return expect_local_files(c, got, when);
  for (const auto& [name, content] : got.files) {
    EXPECT_EQ(name, c.left) << when;
    EXPECT_TRUE(any || content == c.left_is || (content == c.found_was && !c.found.empty()))
        << when << listing(got.files);
  }
}

void expect_outcome(const download_course& c, const outcome& got, const std::string& when,
                    const std::vector<int32_t>& results, uint32_t tolerated) {
  if (got.result != 0) {
    EXPECT_NE(std::find(results.begin(), results.end(), got.result), results.end())
        << when << ": " << got.result;
    expect_failure(c, got, when, tolerated);
  } else if (tolerated & MAY_DO_NOTHING && got.installs.empty()) {
    EXPECT_FALSE(got.connected) << when;
  } else {
    EXPECT_TRUE(tolerated & MAY_PASS) << when << " passed";
    expect_success(c, got, when, tolerated);
  }
}

// The next run on the same computer is as good as any.
void expect_recovery(download_machine& machine, const download_course& c, const std::string& when,
                     uint32_t tolerated) {
  expect_success(c, machine.run(c), when + ", the run after it", tolerated & FILES_MAY_STAY);
}

}  // namespace

TEST(DownloadRun, InstallsAndLeavesWhatItShould) {
  for (const download_course& c : courses) {
    download_machine machine;
    machine.start(c);
    const outcome got = machine.run(c);
    expect_success(c, got, c.what, EXACTLY);
    EXPECT_EQ(got.connected, c.connects) << c.what;
    expect_success(c, machine.run(c), std::string(c.what) + ", again", EXACTLY);
  }
}

TEST(DownloadRun, EveryAllocationMayFail) {
  const std::vector<int32_t> results = {2, 4, 5, -1, -43, -50, -108, -1098, -2003, BAD_SIGNATURE};
  download_machine machine;
  for (const download_course& c : courses) {
    bool failed = true;
    for (int64_t n = 0; failed; n++) {
      machine.start(c);
      const outcome got = machine.run(c, [&](run_faults& faults) { faults.heap.fail_after(n); });
      failed = got.failed;
      const std::string when = c.what + std::string(", allocation ") + std::to_string(n);
      expect_outcome(c, got, when, results,
                     MAY_PASS | CACHE_MAY_GO | MAY_DO_NOTHING | PROPERTY_MAY_GO);
      expect_recovery(machine, c, when, NOTHING_ELSE);
    }
  }
}

TEST(DownloadRun, EveryCallOfTheNetworkMayFail) {
  struct {
    const char* call;
    std::vector<int32_t> results;
    uint32_t alone;   // what is tolerated when this call fails alone ...
    uint32_t broken;  // ... and when all behind it fail, too
  } const rows[] = {
      {"resolve", {-43}, NOTHING_ELSE, NOTHING_ELSE},
      {"create", {-1098}, NOTHING_ELSE, NOTHING_ELSE},
      {"set_nonblocking", {-1098}, NOTHING_ELSE, NOTHING_ELSE},
      // Only the second call tells what became of the attempt.
      {"connect", {-1098}, MAY_PASS, NOTHING_ELSE},
      {"pending_error", {-1098}, NOTHING_ELSE, NOTHING_ELSE},
      // A failure behind bytes that are held already shows at the next read, if it lasts; in the
      // middle of a header it cuts the line in two.
      {"wait", {-1098, -2003, -1, 5, BAD_SIGNATURE}, MAY_PASS | REFUSED_MAY_STAY, NOTHING_ELSE},
      {"recv", {-1098, -2003, -1, 5, BAD_SIGNATURE}, MAY_PASS | REFUSED_MAY_STAY, NOTHING_ELSE},
      // What was sent isn't looked at: a dead connection shows at the answer. The toy peer refuses
      // a handshake without a word of it.
      {"send", {-1098, -2003, -2005, -1}, MAY_PASS, MAY_PASS},
      {"tls load", {-1096}, NOTHING_ELSE, NOTHING_ELSE},
      {"tls acquire", {-1096}, NOTHING_ELSE, NOTHING_ELSE},
      {"tls step", {-2005}, NOTHING_ELSE, NOTHING_ELSE},
      {"tls sizes", {-2003}, NOTHING_ELSE, NOTHING_ELSE},
      {"tls seal", {-1099, -1}, MAY_PASS, MAY_PASS},
      // A record lost behind bytes that are held already makes the body a short one.
      {"tls open", {-1099, -1, BAD_SIGNATURE}, REFUSED_MAY_STAY, NOTHING_ELSE},
      {"tls closing_token", {}, MAY_PASS, MAY_PASS},
  };
  download_machine machine;
  std::map<std::string, int> met;
  for (const download_course& c : courses)
    for (const bool once : {true, false})
      for (int64_t n = 0;; n++) {
        machine.start(c);
        const outcome got = machine.run(c, [&](run_faults& faults) {
          faults.net.fail_call = n;
          faults.net.fail_once = once;
        });
        if (!got.failed) {
          EXPECT_EQ(n > 0, c.connects);
          break;
        }
        const std::string when = c.what + (", " + got.failed_call) + ", call " + std::to_string(n);
        const auto* row = std::find_if(std::begin(rows), std::end(rows),
                                       [&](const auto& r) { return got.failed_call == r.call; });
        ASSERT_NE(row, std::end(rows)) << when;
        met[row->call]++;
        expect_outcome(c, got, when, row->results, once ? row->alone : row->broken);
        expect_recovery(machine, c, when, NOTHING_ELSE);
        if (HasFatalFailure()) return;
      }
  EXPECT_EQ(met.size(), std::size(rows)) << "each was met";
}

TEST(DownloadRun, EveryCallOfAFileMayFail) {
  struct {
    const char* what;
    file_slot slot;
    xp_file_status status;
    std::vector<int32_t> results;
    uint32_t tolerated;
  } const rows[] = {
      {"open", FILE_OPEN, XP_FILE_DENIED, {-43, 5, BAD_SIGNATURE}, MAY_PASS},
      {"read", FILE_READ, XP_FILE_FAILED, {5, BAD_SIGNATURE}, MAY_PASS},
      {"write", FILE_WRITE, XP_FILE_FULL, {-36, 5}, NOTHING_ELSE},
      {"seek", FILE_SEEK, XP_FILE_FAILED, {5, BAD_SIGNATURE}, MAY_PASS},
      {"delete", FILE_REMOVE, XP_FILE_DENIED, {}, MAY_PASS | FILES_MAY_STAY},
      {"make folder", FILE_MAKE_FOLDER, XP_FILE_DENIED, {}, MAY_PASS | CACHE_MAY_GO},
      {"find", FILE_FIND_FIRST, XP_FILE_FAILED, {}, MAY_PASS | CACHE_MAY_GO},
      {"temporary folder", FILE_TEMP_FOLDER, XP_FILE_FAILED, {-1}, NOTHING_ELSE},
      {"temporary name", FILE_TEMP_NAME, XP_FILE_FAILED, {-1}, NOTHING_ELSE},
  };
  download_machine machine;
  for (const auto& row : rows) {
    int met = 0;
    for (const download_course& c : courses)
      for (const bool from_then_on : {false, true})
        for (int32_t n = 1;; n++) {
          machine.start(c);
          const outcome got = machine.run(c, [&](run_faults& faults) {
            faults.files.fail(row.slot, n, row.status, from_then_on);
          });
          if (!got.failed) break;
          met++;
          const std::string when = std::string(c.what) + ", " + row.what + " " + std::to_string(n) +
                                   (from_then_on ? " and on" : "");
          std::vector<int32_t> results = row.results;
          if (!c.entries.empty()) results.push_back(2);  // the document can't be read
          expect_outcome(c, got, when, results, row.tolerated);
          expect_recovery(machine, c, when, row.tolerated);
        }
    EXPECT_GT(met, 0) << row.what;
  }
}

TEST(DownloadRun, ADiskThatTakesOrGivesTooLittleEndsIt) {
  download_machine machine;
  for (const download_course& c : courses)
    for (const bool takes : {true, false}) {
      machine.start(c);
      const outcome got = machine.run(c, [&](run_faults& faults) {
        if (takes)
          faults.files.shorten_writes(4);
        else
          faults.files.shorten_reads(4);
      });
      const std::string when = c.what + std::string(takes ? ", writing" : ", reading");
      // The copy of a package reads and writes; a document of four bytes is none.
      const int32_t result = takes && c.connects ? -36 : takes || c.entries.empty() ? 5 : 2;
      expect_outcome(c, got, when, {result}, NOTHING_ELSE);
      expect_recovery(machine, c, when, NOTHING_ELSE);
    }
}
