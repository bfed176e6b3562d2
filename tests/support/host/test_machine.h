// A machine folder of a test's own, gone at the end of the scope.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

struct test_machine {
  test_machine() {
    char name[] = "/tmp/ruvo-machine-XXXXXX";
    path = mkdtemp(name);
    if (const char* before = getenv("RUVO_MACHINE")) before_ = before;
    setenv("RUVO_MACHINE", path.c_str(), 1);
  }
  ~test_machine() {
    setenv("RUVO_MACHINE", before_.c_str(), 1);
    if (before_.empty()) unsetenv("RUVO_MACHINE");
    std::filesystem::remove_all(path);
  }
  test_machine(const test_machine&) = delete;
  test_machine& operator=(const test_machine&) = delete;

  void write(const std::string& name, const std::string& content) const {
    const std::filesystem::path file = path + "/" + name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  std::string read(const std::string& name) const {
    std::ostringstream content;
    content << std::ifstream(path + "/" + name, std::ios::binary).rdbuf();
    return content.str();
  }
  bool has(const std::string& name) const { return std::filesystem::exists(path + "/" + name); }

  std::string path;

 private:
  std::string before_;
};
