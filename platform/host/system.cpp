// Facts about the stand-in computer and the process.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "platform/host/event_log.h"
#include "platform/host/host.h"
#include "platform/host/machine.h"
#include "platform/host/pe_file.h"
#include "platform/host/registry_file.h"

namespace {

constexpr char VERSION_KEY[] =
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr size_t MOST_PROGRAM_BYTES = 512u << 20;
constexpr size_t MOST_ARGUMENT_BYTES = 16u << 20;

// Windows 10 and later keep two numbers; before it there was only the text "6.3".
bool read_major_minor(const registry_text* registry, xp_os_version* out) {
  if (registry_get_number(registry, VERSION_KEY, "CurrentMajorVersionNumber", &out->major)) {
    if (!registry_get_number(registry, VERSION_KEY, "CurrentMinorVersionNumber", &out->minor))
      out->minor = 0;
    return true;
  }
  host_buffer text;
  return registry_get_text(registry, VERSION_KEY, "CurrentVersion", &text) &&
         sscanf(text.bytes, "%u.%u", &out->major, &out->minor) == 2;
}

bool host_os_version(xp_os_version* out) {
  registry_text registry;
  xp_os_version version = {};
  host_buffer build;
  if (!registry_load(&registry) || !read_major_minor(&registry, &version)) return false;
  if (registry_get_text(&registry, VERSION_KEY, "CurrentBuildNumber", &build) ||
      registry_get_text(&registry, VERSION_KEY, "CurrentBuild", &build))
    version.build = static_cast<uint32_t>(strtoul(build.bytes, nullptr, 10));
  *out = version;
  return true;
}

bool host_is_wow64() {
  return false;
}

bool host_file_version(const char* path, xp_file_version* out) {
  char16_t wide[HOST_PATH_SIZE];
  char native[HOST_PATH_SIZE];
  host_buffer bytes;
  pe_file file;
  if (xp_text_to_wide(path, -1, wide, HOST_PATH_SIZE) == 0 ||
      host_native_path(wide, native, sizeof native) != XP_FILE_OK ||
      host_read_file(native, MOST_PROGRAM_BYTES, &bytes) != HOST_READ_OK)
    return false;
  return pe_open(bytes.bytes, bytes.length, &file) && pe_file_version(&file, out->part);
}

// Nobody sits at a rehearsal: what the user would read goes to the event log, with the box's
// title as its source, and the box counts as answered.
void host_message_box(const char* text, const char* title) {
  (void)host_record_event("message-box", 0, title, text);  // nobody to tell about a full disk
}

uint32_t host_program_path(char* out, uint32_t size) {
  char native[HOST_PATH_SIZE];
  char16_t wide[HOST_PATH_SIZE + 3];
  char path[3 * (HOST_PATH_SIZE + 3)];
  const ssize_t length = readlink("/proc/self/exe", native, sizeof native - 1);
  if (length <= 0 || size == 0) return 0;
  native[length] = 0;
  const uint32_t units = host_windows_path(native, wide, HOST_PATH_SIZE + 3);
  if (units == 0 || units >= HOST_PATH_SIZE + 3) return 0;
  auto kept =
      static_cast<uint32_t>(xp_text_to_utf8(wide, static_cast<int32_t>(units), path, sizeof path));
  if (kept >= size) kept = size - 1;
  memcpy(out, path, kept);
  out[kept] = 0;
  return kept;
}

// An argument as a command line carries it: in double quotes where it needs them. Between them a
// backslash before a blank, a quote or a backslash hides it, so each backslash and each double
// quote gets one; single quotes are plain there.
bool add_argument(const char* argument, host_buffer* line) {
  if (*argument && !strpbrk(argument, " \t\r\n\"'\\")) return host_buffer_add_text(line, argument);
  if (!host_buffer_add_text(line, "\"")) return false;
  for (; *argument; argument++) {
    const bool hidden = *argument == '"' || *argument == '\\';
    if ((hidden && !host_buffer_add_text(line, "\\")) || !host_buffer_add(line, argument, 1))
      return false;
  }
  return host_buffer_add_text(line, "\"");
}

// /proc files don't tell their size: read until nothing comes.
bool read_arguments(host_buffer* out) {
  FILE* file = fopen("/proc/self/cmdline", "re");
  if (!file) return false;
  bool read = true;
  while (read && out->length < MOST_ARGUMENT_BYTES) {
    read = host_buffer_reserve(out, 4096);
    const size_t got = read ? fread(out->bytes + out->length, 1, 4096, file) : 0;
    out->length += got;
    if (got == 0) break;
  }
  if (read) out->bytes[out->length] = 0;
  fclose(file);
  return read && out->length > 0;
}

// The computer's memory, not the program's: the text lives as long as the process.
const char* build_command_line() {
  host_buffer arguments;
  host_buffer line;
  if (!read_arguments(&arguments)) return nullptr;
  for (size_t at = 0; at < arguments.length; at += strlen(arguments.bytes + at) + 1) {
    if (at > 0 && !host_buffer_add_text(&line, " ")) return nullptr;
    if (!add_argument(arguments.bytes + at, &line)) return nullptr;
  }
  return line.bytes ? strdup(line.bytes) : nullptr;
}

const char* host_command_line() {
  static const char* line;
  if (!line) line = build_command_line();
  return line ? line : "";
}

// The whole process result is left in the machine folder, as one signed decimal number, for
// whoever rehearses.
void keep_result(uint32_t result) {
  char path[HOST_PATH_SIZE];
  if (!host_machine_path("result", path, sizeof path)) return;
  FILE* file = fopen(path, "we");
  if (!file) return;
  fprintf(file, "%d\n", static_cast<int32_t>(result));
  fclose(file);
}

// A Unix process has eight bits for its result. A failure whose low byte is 0 stays a failure.
[[noreturn]] void host_exit_process(uint32_t result) {
  keep_result(result);
  const uint32_t low = result & 0xFF;
  exit(static_cast<int>(result != 0 && low == 0 ? 1 : low));
}

}  // namespace

constinit const xp_system_ops host_system = {.os_version = host_os_version,
                                             .is_wow64 = host_is_wow64,
                                             .file_version = host_file_version,
                                             .message_box = host_message_box,
                                             .program_path = host_program_path,
                                             .command_line = host_command_line,
                                             .exit_process = host_exit_process};
