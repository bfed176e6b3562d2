// The Application event log.
#pragma once

#include <stdint.h>

using xp_event_source = intptr_t;  // 0 is never valid

// Event types, as the log knows them.
enum xp_event_type : uint16_t {
  XP_EVENT_SUCCESS = 0,
  XP_EVENT_ERROR = 1,
  XP_EVENT_WARNING = 2,
  XP_EVENT_INFORMATION = 4,
};

struct xp_event_log_ops {
  // A handle for the source of that name, 0 on failure.
  xp_event_source (*open)(const char* source_name);
  // Writes one record with category 0 and `text` (UTF-8, NUL-terminated) as its only insertion.
  bool (*report)(xp_event_source source, xp_event_type type, uint32_t event_id, const char* text);
  void (*close)(xp_event_source source);
};
