// events.log of the machine folder: one record a line, the newest at the end.
//
//   2026-03-14T09:26:53.589Z<TAB>warning<TAB>0x800004B2<TAB>Source<TAB>text
//
// Control characters of a text (and of a source's name) are shown as their Unicode pictures,
// U+2400 and on, so a record stays one line and its columns stay columns.
#include "platform/host/event_log.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "platform/host/buffer.h"
#include "platform/host/host.h"
#include "platform/host/machine.h"

namespace {

struct type_name {
  xp_event_type type;
  const char* name;
};

constexpr type_name TYPES[] = {
    {XP_EVENT_SUCCESS, "success"},
    {XP_EVENT_ERROR, "error"},
    {XP_EVENT_WARNING, "warning"},
    {XP_EVENT_INFORMATION, "information"},
};

bool add_time(host_buffer* line) {
  struct timespec now;
  struct tm parts;
  char text[40];
  clock_gettime(CLOCK_REALTIME, &now);
  gmtime_r(&now.tv_sec, &parts);
  size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  length += static_cast<size_t>(
      snprintf(text + length, sizeof text - length, ".%03ldZ", now.tv_nsec / 1000000));
  return host_buffer_add(line, text, length);
}

bool add_visible(const char* text, host_buffer* line) {
  for (; *text; text++) {
    const auto c = static_cast<uint8_t>(*text);
    const char picture[3] = {'\xE2', '\x90',
                             static_cast<char>(0x80 + (c == 0x7F ? 0x21 : c & 0x1F))};
    const bool control = c < ' ' || c == 0x7F;
    if (!host_buffer_add(line, control ? picture : text, control ? sizeof picture : 1))
      return false;
  }
  return true;
}

// One write of a whole line to a file that is open for appending: records of several processes
// don't mix.
bool append(const host_buffer* line) {
  char path[HOST_PATH_SIZE];
  if (!host_machine_path("events.log", path, sizeof path)) return false;
  const int log = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (log < 0) return false;
  const bool written = write(log, line->bytes, line->length) == static_cast<ssize_t>(line->length);
  close(log);
  return written;
}

// The handle of a source is a copy of its name.
xp_event_source host_event_open(const char* source_name) {
  const size_t size = strlen(source_name) + 1;
  void* name = xp_heap_alloc(size);
  if (name) memcpy(name, source_name, size);
  return reinterpret_cast<xp_event_source>(name);
}

bool host_event_report(xp_event_source source, xp_event_type type, uint32_t event_id,
                       const char* text) {
  const char* name = "unknown";
  for (const type_name& row : TYPES)
    if (row.type == type) name = row.name;
  return host_record_event(name, event_id, reinterpret_cast<const char*>(source), text);
}

void host_event_close(xp_event_source source) {
  xp_heap_free(reinterpret_cast<void*>(source));
}

}  // namespace

bool host_record_event(const char* type, uint32_t event_id, const char* source, const char* text) {
  host_buffer line;
  char id[16];
  snprintf(id, sizeof id, "\t0x%08X\t", event_id);
  return add_time(&line) && host_buffer_add_text(&line, "\t") &&
         host_buffer_add_text(&line, type) && host_buffer_add_text(&line, id) &&
         add_visible(source, &line) && host_buffer_add_text(&line, "\t") &&
         add_visible(text, &line) && host_buffer_add_text(&line, "\n") && append(&line);
}

constinit const xp_event_log_ops host_event_log = {
    .open = host_event_open, .report = host_event_report, .close = host_event_close};
