// The records that a run writes: log categories and event ids. The top two bits of an id are its
// severity. docs/results.md tells an administrator what each means.
#pragma once

#include <stdint.h>

constexpr char RUVO_EVENT_SOURCE[] = "Tallyport";

enum ruvo_category : uint32_t {
  RUVO_LOG_OUTCOME = 1,        // outcome of the run and of the install, failures
  RUVO_LOG_COURSE = 2,         // decisions and steps
  RUVO_LOG_SPAN = 0x80000000,  // start and end of a run
};

enum ruvo_event : uint32_t {
  RUVO_EVENT_INSTALLED = 1000,
  RUVO_EVENT_INSTALLED_REBOOT = 1001,
  RUVO_EVENT_STARTED = 0x4000044C,
  RUVO_EVENT_DOWNLOADING = 0x4000044D,
  RUVO_EVENT_INSTALLING = 0x4000044D,
  RUVO_EVENT_COMPLETED = 0x4000044E,
  RUVO_EVENT_NOT_NECESSARY = 0x4000044F,
  RUVO_EVENT_DISABLED = 0x40000450,
  RUVO_EVENT_CACHE = 0x40000451,
  RUVO_EVENT_PACKAGE_NOT_NECESSARY = 0x800003EB,
  RUVO_EVENT_SECOND_ATTEMPT = 0x8000044E,
  RUVO_EVENT_PACKAGE_NAME = 0x8000044F,
  RUVO_EVENT_INSTALL_FAILED = 0x800004B0,
  RUVO_EVENT_NO_INSTALLER = 0x800004B1,
  RUVO_EVENT_SIGNATURE = 0x800004B2,
  RUVO_EVENT_OPERATION = 0x800004B3,
  RUVO_EVENT_EXPIRED = 0x800004B4,
  RUVO_EVENT_OS_UNKNOWN = 0x800004B5,
  RUVO_EVENT_OS_NOT_TARGETED = 0x800004B6,
  RUVO_EVENT_NOT_SELECTED = 0x800004B7,
  RUVO_EVENT_GATED_OFF = 0x800004B8,
};
