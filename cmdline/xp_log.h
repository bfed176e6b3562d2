// `xlog`, the log object: filters records by a category mask and writes each surviving one to the
// Application event log, or to a stream when it has one. Logging never fails a run: a record that
// can't be written is lost.
#pragma once

#include "object/xp_str.h"
#include "stream/xp_stream.h"

constexpr uint32_t XP_LOG = xp_tag("xlog");

enum xp_log_flag : uint32_t {
  XP_LOG_STAMP = 0x1,          // start each record with a time stamp
  XP_LOG_NUMERIC_STAMP = 0x2,  // the stamp is numeric: 2012-03-01 10:20:30.123000
  XP_LOG_KEEP_EMPTY = 0x100,   // keep a record with an empty text
};

struct xp_logger : xp_object {
  uint32_t categories;  // a set bit lets records of that category through
  uint32_t flags;       // xp_log_flag
  xp_str* source;       // name of the event source
  xp_stream* stream;    // when set, records go here, each ended by CR LF
};

// A log without categories, flags and stream, over the event source of that name; null when
// memory is out.
xp_logger* xp_log_new(const char* source);
// The log of the process, borrowed; null when there is none, and then every record is dropped.
xp_logger* xp_log_default();
// Makes `log` the log of the process and takes over the caller's reference; null takes it away.
void xp_log_set_default(xp_logger* log);
// Tells the event log where the message table of the source is: in this program's own file.
void xp_log_register_source(const char* source);

// Formats and writes one record. `log` null means the log of the process. A `category` of 0
// always passes. The top two bits of `event_id` are the severity. Returns the bytes of the
// record, or 0 when nothing was recorded.
int32_t xp_log_v(xp_logger* log, uint32_t category, uint32_t event_id, const char* format,
                 const uint64_t* slots, uint32_t count);

template <class... A>
int32_t xp_log(xp_logger* log, uint32_t category, uint32_t event_id, const char* format,
               const A&... arguments) {
  const uint64_t slots[sizeof...(A) + 1] = {xp_fmt_slot(arguments)..., 0};
  return xp_log_v(log, category, event_id, format, slots, sizeof...(A));
}
