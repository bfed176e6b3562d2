// Packages made by tests/support/make_package.sh, for the tests of tests/host.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>

// The folder that they and their authority lie in, gone at the end of the test run.
inline const std::string& package_folder() {
  struct own_folder {
    own_folder() {
      char name[] = "/tmp/ruvo-packages-XXXXXX";
      path = mkdtemp(name);
    }
    // A child that a test forks and that ends by exit() comes past here, too.
    ~own_folder() {
      if (owner == getpid()) std::filesystem::remove_all(path);
    }
    std::string path;
    const pid_t owner = getpid();
  };
  static const own_folder folder;
  return folder.path;
}

// Runs the script with `options` (as a shell would read them) and gives the path of what it made,
// or an empty text. The same options give the same file.
inline std::string make_package(const std::string& options) {
  static std::map<std::string, std::string> made;
  std::string& path = made[options];
  if (!path.empty()) return path;
  path = package_folder() + "/" + std::to_string(made.size()) + ".msi";
  // The test program lies in build/PRESET of the source folder.
  const auto program = std::filesystem::read_symlink("/proc/self/exe");
  const auto script = program.parent_path() / "../../tests/support/make_package.sh";
  const std::string command = script.string() + " " + options + " " + path;
  if (system(command.c_str()) != 0) path.clear();
  return path;
}

// The certificate that the authority's signatures end in.
inline std::string authority_root() {
  make_package("");
  return package_folder() + "/authority/root.pem";
}
