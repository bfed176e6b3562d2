// Whether a package can be read at all. The library for packages trusts what a file says of
// itself, and a file that lies can crash it; so a child process goes first.
#include <errno.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/host/installer_session.h"

namespace {

constexpr unsigned MOST_SECONDS = 60;

bool read_every_table(LibmsiDatabase* database) {
  const package_table tables(database, "SELECT `Name` FROM `_Tables`");
  for (uint32_t i = 0; i < tables.count(); i++) {
    g_autofree char* sql = g_strdup_printf("SELECT * FROM `%s`", tables.text(i, 0));
    const package_table table(database, sql);
  }
  return tables.count() > 0;
}

bool try_reading(const char* native) {
  installer_session session;
  registry_text nowhere;
  session.database = libmsi_database_new(native, LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
  if (!session.database || !read_every_table(session.database)) return false;
  session.package_name = g_strdup("");
  session.package_folder = g_strdup("");
  session_read_package(&session);
  // What these find is of no account here, only that they come to an end.
  (void)session_resolve(&session);
  if (product_code_valid(session_property(&session, "ProductCode")))
    (void)installer_register(&session, &nowhere);
  return true;
}

// What a crash would print or leave behind is of no use to anybody.
void be_quiet() {
  const struct rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  const int nothing = open("/dev/null", O_RDWR);
  dup2(nothing, STDOUT_FILENO);
  dup2(nothing, STDERR_FILENO);
  alarm(MOST_SECONDS);
}

}  // namespace

bool session_try_reading(const char* native) {
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    be_quiet();
    _exit(try_reading(native) ? 0 : 1);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
