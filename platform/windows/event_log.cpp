// The Application event log.
#include "platform/windows/backend.h"

namespace {

static_assert(XP_EVENT_SUCCESS == EVENTLOG_SUCCESS && XP_EVENT_ERROR == EVENTLOG_ERROR_TYPE &&
              XP_EVENT_WARNING == EVENTLOG_WARNING_TYPE &&
              XP_EVENT_INFORMATION == EVENTLOG_INFORMATION_TYPE);

xp_event_source event_log_open(const char* source_name) {
  if (windows_8bit_carries(source_name))
    return reinterpret_cast<xp_event_source>(RegisterEventSourceA(nullptr, source_name));
  const windows_wide_copy wide(source_name);
  if (!wide.text) return 0;
  return reinterpret_cast<xp_event_source>(RegisterEventSourceW(nullptr, wide.text));
}

bool event_log_report(xp_event_source source, xp_event_type type, uint32_t event_id,
                      const char* text) {
  const auto handle = reinterpret_cast<HANDLE>(source);
  if (windows_8bit_carries(text))
    return ReportEventA(handle, type, 0, event_id, nullptr, 1, 0, &text, nullptr) != 0;
  const windows_wide_copy wide(text);
  const wchar_t* insertion = wide.text;
  return insertion &&
         ReportEventW(handle, type, 0, event_id, nullptr, 1, 0, &insertion, nullptr) != 0;
}

void event_log_close(xp_event_source source) {
  DeregisterEventSource(reinterpret_cast<HANDLE>(source));
}

}  // namespace

constinit const xp_event_log_ops windows_event_log = {
    .open = event_log_open, .report = event_log_report, .close = event_log_close};
