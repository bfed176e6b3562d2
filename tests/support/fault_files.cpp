#include "tests/support/fault_files.h"

namespace {

struct slot_fault {
  int32_t calls;
  int32_t fails_at;  // call that fails; 0: none
  bool from_then_on;
  xp_file_status status;
};

struct {
  const xp_platform_set* real;
  xp_platform_set set;
  slot_fault faults[FILE_SLOTS];
  uint32_t most_read;
  uint32_t most_written;
  int32_t handles;
  bool failed;
} state;

std::vector<std::string> seen_names;

const xp_file_ops& below() {
  return *state.real->files;
}

// Counts a call; true when it is one that fails.
bool fails(file_slot slot) {
  slot_fault& fault = state.faults[slot];
  fault.calls++;
  if (fault.fails_at == 0) return false;
  const bool due =
      fault.from_then_on ? fault.calls >= fault.fails_at : fault.calls == fault.fails_at;
  state.failed |= due;
  return due;
}

xp_file_status status_of(file_slot slot) {
  return state.faults[slot].status;
}

void note(const char16_t* path) {
  const int32_t bytes = xp_text_to_utf8(path, -1, nullptr, 0);
  std::string name(static_cast<size_t>(bytes), 0);
  xp_text_to_utf8(path, -1, name.data(), bytes);
  name.pop_back();
  seen_names.push_back(name);
}

xp_file_status opened(xp_file_status status) {
  if (status == XP_FILE_OK) state.handles++;
  return status;
}

uint32_t least(uint32_t a, uint32_t b) {
  return a < b ? a : b;
}

constexpr xp_file_ops faulty = {
    .open =
        [](const char16_t* path, uint32_t access, uint32_t share, xp_file_disposition disposition,
           xp_file_handle* out) {
          note(path);
          return fails(FILE_OPEN) ? status_of(FILE_OPEN)
                                  : opened(below().open(path, access, share, disposition, out));
        },
    .read =
        [](xp_file_handle file, void* buffer, uint32_t length, uint32_t* done) {
          *done = 0;
          return fails(FILE_READ)
                     ? status_of(FILE_READ)
                     : below().read(file, buffer, least(length, state.most_read), done);
        },
    .write =
        [](xp_file_handle file, const void* bytes, uint32_t length, uint32_t* done) {
          *done = 0;
          return fails(FILE_WRITE)
                     ? status_of(FILE_WRITE)
                     : below().write(file, bytes, least(length, state.most_written), done);
        },
    .seek =
        [](xp_file_handle file, int64_t distance, xp_file_origin origin, int64_t* out) {
          return fails(FILE_SEEK) ? status_of(FILE_SEEK)
                                  : below().seek(file, distance, origin, out);
        },
    .truncate =
        [](xp_file_handle file) {
          return fails(FILE_TRUNCATE) ? status_of(FILE_TRUNCATE) : below().truncate(file);
        },
    .flush =
        [](xp_file_handle file) {
          return fails(FILE_FLUSH) ? status_of(FILE_FLUSH) : below().flush(file);
        },
    .close =
        [](xp_file_handle file) {
          (void)fails(FILE_CLOSE);  // counted; a close has no result to fail with
          state.handles--;
          below().close(file);
        },
    .remove =
        [](const char16_t* path) {
          note(path);
          return fails(FILE_REMOVE) ? status_of(FILE_REMOVE) : below().remove(path);
        },
    .make_folder =
        [](const char16_t* path) {
          note(path);
          return fails(FILE_MAKE_FOLDER) ? status_of(FILE_MAKE_FOLDER) : below().make_folder(path);
        },
    .find_first =
        [](const char16_t* pattern, xp_find_entry* entry, xp_find_handle* out) {
          note(pattern);
          return fails(FILE_FIND_FIRST) ? status_of(FILE_FIND_FIRST)
                                        : opened(below().find_first(pattern, entry, out));
        },
    .find_next =
        [](xp_find_handle find, xp_find_entry* entry) {
          return fails(FILE_FIND_NEXT) ? status_of(FILE_FIND_NEXT) : below().find_next(find, entry);
        },
    .find_close =
        [](xp_find_handle find) {
          (void)fails(FILE_FIND_CLOSE);
          state.handles--;
          below().find_close(find);
        },
    .from_native = [](const char* text, char* out,
                      uint32_t capacity) { return below().from_native(text, out, capacity); },
    .full_path =
        [](const char16_t* path, char16_t* out, uint32_t capacity) {
          return fails(FILE_FULL_PATH) ? 0 : below().full_path(path, out, capacity);
        },
    .temp_folder =
        [](char16_t* out, uint32_t capacity) {
          return fails(FILE_TEMP_FOLDER) ? 0 : below().temp_folder(out, capacity);
        },
    .temp_name =
        [](const char16_t* folder, const char16_t* prefix, char16_t* out) {
          return fails(FILE_TEMP_NAME) ? status_of(FILE_TEMP_NAME)
                                       : below().temp_name(folder, prefix, out);
        },
};

}  // namespace

fault_files::fault_files() {
  state = {};
  state.real = xp_platform;
  state.set = *xp_platform;
  state.set.files = &faulty;
  state.most_read = state.most_written = UINT32_MAX;
  seen_names.clear();
  xp_platform = &state.set;
}

fault_files::~fault_files() {
  xp_platform = state.real;
}

void fault_files::fail(file_slot slot, int32_t nth, xp_file_status status, bool from_then_on) {
  slot_fault& fault = state.faults[slot];
  fault.fails_at = fault.calls + nth;
  fault.from_then_on = from_then_on;
  fault.status = status;
}

void fault_files::shorten_reads(uint32_t most) {
  state.most_read = most;
}

void fault_files::shorten_writes(uint32_t most) {
  state.most_written = most;
}

bool fault_files::failed() const {
  return state.failed;
}

int32_t fault_files::calls(file_slot slot) const {
  return state.faults[slot].calls;
}

const std::vector<std::string>& fault_files::names() const {
  return seen_names;
}

int32_t fault_files::open_handles() const {
  return state.handles;
}
