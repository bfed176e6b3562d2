// A machine folder of the test run's own, so that no test touches the user's, or sees another
// run's. It is named before main starts and removed behind the last test.
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

int remove_entry(const char* path, const struct stat*, int, FTW*) {
  return remove(path);
}

struct own_machine {
  char path[64] = "/tmp/ruvo-machine-XXXXXX";

  own_machine() {
    if (!mkdtemp(path)) abort();
    setenv("RUVO_MACHINE", path, 1);
  }
  // A child that a test forks and that ends by exit() comes past here, too.
  ~own_machine() {
    if (owner == getpid()) nftw(path, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
  }
  const pid_t owner = getpid();
};

const own_machine machine;

}  // namespace
