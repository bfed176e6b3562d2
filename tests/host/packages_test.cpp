#include "tests/host/packages.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <map>

namespace {

namespace fs = std::filesystem;

struct own_folder {
  own_folder() {
    char name[] = "/tmp/ruvo-packages-XXXXXX";
    path = mkdtemp(name);
  }
  ~own_folder() { fs::remove_all(path); }
  std::string path;
};

// The test program lies in build/PRESET of the source folder.
std::string script() {
  const fs::path program = fs::read_symlink("/proc/self/exe");
  return (program.parent_path() / "../../tests/support/make_package.sh").lexically_normal();
}

}  // namespace

std::string package_folder() {
  static const own_folder folder;
  return folder.path;
}

std::string make_package(const std::string& options) {
  static std::map<std::string, std::string> made;
  std::string& path = made[options];
  if (!path.empty()) return path;
  path = package_folder() + "/" + std::to_string(made.size()) + ".msi";
  const std::string command = script() + " " + options + " " + path;
  if (system(command.c_str()) != 0) path.clear();
  return path;
}

std::string authority_root() {
  make_package("");
  return package_folder() + "/authority/root.pem";
}
