// A file table that wraps the table below it: it forwards every call, and fails or shortens those
// that a test picks out.
//
//   fault_files faults;
//   faults.fail(FILE_WRITE, 2, XP_FILE_FULL);   // the second write from now on finds a full disk
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "platform/platform.h"

enum file_slot : uint32_t {
  FILE_OPEN,
  FILE_READ,
  FILE_WRITE,
  FILE_SEEK,
  FILE_TRUNCATE,
  FILE_FLUSH,
  FILE_CLOSE,
  FILE_REMOVE,
  FILE_MAKE_FOLDER,
  FILE_FIND_FIRST,
  FILE_FIND_NEXT,
  FILE_FIND_CLOSE,
  FILE_FULL_PATH,    // a failure is the answer 0
  FILE_TEMP_FOLDER,  // a failure is the answer 0
  FILE_TEMP_NAME,
  FILE_SLOTS
};

// One at a time; in use from construction to the end of the scope.
struct fault_files {
  fault_files();
  ~fault_files();
  fault_files(const fault_files&) = delete;
  fault_files& operator=(const fault_files&) = delete;

  // Call number `nth` of the slot, counted from 1 at this moment, gives `status` and does nothing;
  // with `from_then_on` all later ones do, too.
  void fail(file_slot slot, int32_t nth, xp_file_status status, bool from_then_on = false);
  // No read (or write) moves more than `most` bytes; a write then reports success.
  void shorten_reads(uint32_t most);
  void shorten_writes(uint32_t most);

  // Whether a call has failed by `fail`.
  bool failed() const;
  // Calls of the slot since construction, failed ones, too.
  int32_t calls(file_slot slot) const;
  // Names given to open, remove, make_folder and find_first, in order, in UTF-8.
  const std::vector<std::string>& names() const;
  // Files and searches that are open at this moment.
  int32_t open_handles() const;
};
