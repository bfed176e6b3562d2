// A computer in memory for tests of the update client: a registry, an event log, a package
// installer and a trust service that answer from what the test wrote down, and record what was
// asked of them. Files stay real.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/fakes.h"

struct fake_event {
  uint16_t type;
  uint32_t id;
  std::string text;

  bool operator==(const fake_event&) const = default;
};

struct fake_value {
  uint32_t type;
  std::string bytes;  // texts with their NUL
};

// Active from construction to the end of its scope; one at a time.
struct fake_machine : fake_platform {
  fake_machine();
  ~fake_machine();

  // ---- the registry: "HKLM\path" and "HKCU\path" in any case, then values by name.
  std::map<std::string, std::map<std::string, fake_value>> keys;
  std::vector<std::string> registry_opens;  // "HKLM\path mask"
  bool refuse_registry_writes = false;
  void set_text(const char* key, const char* name, const char* text);
  std::string text(const char* key, const char* name);  // "(none)" when absent

  // ---- the event log
  std::vector<fake_event> events;
  std::vector<std::string> texts() const;

  // ---- the package and the products
  uint32_t open_code = 0;
  std::map<std::string, std::string> texts_by_query;
  std::map<std::string, int32_t> integers_by_query;
  std::map<std::string, int32_t> product_states;
  std::vector<uint32_t> install_codes = {0};  // one an attempt; the last one repeats
  std::vector<std::u16string> installs;       // property strings, in order
  std::vector<std::string> course;            // "open", "close", "silence", "install", "sleep N"
  bool has_file_version = false;
  xp_file_version installed_file = {};

  // ---- trust
  bool trust_missing = false;
  bool trust_names = true;
  bool trust_data = true;
  int32_t trust_code = 0;
  std::vector<std::u16string> signers = {u"Velandrim Software Inc."};

  // ---- the system
  bool os_known = true;
  xp_os_version os = {10, 0, 19045};
  bool wow64_process = false;
  uint32_t now = 1700000000;          // seconds since 1970
  std::vector<std::string> messages;  // texts of message boxes
};
