#include "cmdline/xp_log.h"

#include <string.h>

#include "object/xp_ref.h"

static void log_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* log = static_cast<xp_logger*>(object);
  xp_stream_close(log->stream);
  xp_object_release(log->stream);
  xp_object_release(log->source);
  xp_object_free(object);
}

xp_logger* xp_log_new(const char* source) {
  auto* log = xp_object_new<xp_logger>(XP_LOG);
  if (!log) return nullptr;
  log->release = log_release;
  log->source = xp_str_new(source);
  return log;
}

// The process keeps two references: the one that owns the log, and the one in use, which a caller
// may lend to another log for a while.
static xp_logger* owned_log;
static xp_logger* log_in_use;

xp_logger* xp_log_default() {
  return log_in_use;
}

void xp_log_set_default(xp_logger* log) {
  xp_logger* old = owned_log;
  owned_log = log;
  log_in_use = log;
  xp_object_release(old);
}

void xp_log_register_source(const char* source) {
  constexpr uint32_t ALL_TYPES = XP_EVENT_ERROR | XP_EVENT_WARNING | XP_EVENT_INFORMATION;
  char path[256];
  xp_registry_key key;
  xp_fmt_print(path, sizeof(path), "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\%s",
               source);
  const xp_registry_ops* registry = xp_platform->registry;
  if (registry->create(XP_HIVE_LOCAL_MACHINE, path, &key) != XP_REGISTRY_OK) return;
  char program[256];
  const uint32_t length = xp_platform->system->program_path(program, sizeof(program));
  if (length > 0 && registry->write(key, "EventMessageFile", XP_REG_EXPAND_TEXT, program,
                                    length + 1) == XP_REGISTRY_OK)
    (void)registry->write(key, "TypesSupported", XP_REG_DWORD, &ALL_TYPES, sizeof(ALL_TYPES));
  registry->close(key);
}

// ---- one record ------------------------------------------------------------------------------

namespace {

constexpr int32_t STAMP_SIZE = 32;                // the longest stamp
constexpr int32_t RECORD_EXTRA = STAMP_SIZE + 3;  // and CR, LF, NUL

// By the top two bits of the event id: success, informational, warning, error.
constexpr xp_event_type event_types[4] = {XP_EVENT_SUCCESS, XP_EVENT_INFORMATION, XP_EVENT_WARNING,
                                          XP_EVENT_ERROR};

int32_t put_stamp(char* buffer, uint32_t flags) {
  if (!(flags & XP_LOG_STAMP)) return 0;
  // The value 0 stands for this moment.
  if (!(flags & XP_LOG_NUMERIC_STAMP))
    return xp_fmt_print(buffer, STAMP_SIZE + 1, "%d{z::#F #T} ", 0);
  xp_system_time now;
  xp_platform->clock->utc(&now);
  const uint32_t micro = now.millisecond * 1000u;
  return xp_fmt_print(buffer, STAMP_SIZE + 1, "%04u-%02u-%02u %02u:%02u:%02u.%06u", now.year,
                      now.month, now.day, now.hour, now.minute, now.second,
                      micro < 999999u ? micro : 999999u);
}

void report_event(const xp_logger* log, uint32_t event_id, const char* text) {
  const xp_event_log_ops* events = xp_platform->event_log;
  const xp_event_source source = events->open(xp_str_text(log->source));
  if (!source) return;
  (void)events->report(source, event_types[event_id >> 30], event_id, text);
  events->close(source);
}

}  // namespace

int32_t xp_log_v(xp_logger* log, uint32_t category, uint32_t event_id, const char* format,
                 const uint64_t* slots, uint32_t count) {
  if (!log) log = log_in_use;
  if (!log) return 0;
  if (category && !(category & log->categories)) return 0;
  if (log->stream && log->stream->open_count < 1) return 0;
  const int32_t measured = xp_fmt_vprint(nullptr, 0, format, slots, count);
  if (measured <= 0 && !(log->flags & XP_LOG_KEEP_EMPTY)) return 0;
  const size_t size = static_cast<size_t>(measured) + RECORD_EXTRA;
  auto record = xp_block<>::of(size);
  if (!record) return 0;
  int32_t length = put_stamp(record.get(), log->flags);
  length += xp_fmt_vprint(record.get() + length, measured + 1, format, slots, count);
  if (log->stream) {
    memcpy(record.get() + length, "\r\n", 2);
    (void)xp_stream_write(log->stream, record.get(), length + 2);
  } else {
    report_event(log, event_id, record.get());
  }
  return length;
}
