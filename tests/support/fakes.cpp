#include "tests/support/fakes.h"

#include "object/xp_object.h"

fake_platform::fake_platform()
    : real(xp_platform),
      heap(*real->heap),
      lock(*real->lock),
      text(*real->text),
      locale(*real->locale),
      clock(*real->clock),
      files(*real->files),
      console(*real->console),
      folders(*real->folders),
      registry(*real->registry),
      event_log(*real->event_log),
      installer(*real->installer),
      trust(*real->trust),
      system(*real->system),
      proxy(*real->proxy),
      random(*real->random),
      sockets(*real->sockets),
      tls(*real->tls),
      set_{.heap = &heap,
           .lock = &lock,
           .text = &text,
           .locale = &locale,
           .clock = &clock,
           .files = &files,
           .console = &console,
           .folders = &folders,
           .registry = &registry,
           .event_log = &event_log,
           .installer = &installer,
           .trust = &trust,
           .system = &system,
           .proxy = &proxy,
           .random = &random,
           .sockets = &sockets,
           .tls = &tls} {
  xp_platform = &set_;
}

fake_platform::~fake_platform() {
  xp_platform = real;
}

namespace {

// One watch is active at a time; its counters stand here so that the plain slots reach them.
struct watch_state {
  const xp_platform_set* real;
  xp_platform_set set;
  int64_t live;
  int64_t asked;
  int64_t fail_after;
  bool from_then_on;
  bool failed;
};

watch_state state;

bool must_fail() {
  state.asked++;
  if (state.fail_after < 0) return false;
  if (state.fail_after > 0) {
    state.fail_after--;
    return false;
  }
  state.failed = true;
  if (!state.from_then_on) state.fail_after = -1;
  return true;
}

void* watched_alloc(size_t size) {
  if (must_fail()) return nullptr;
  void* block = state.real->heap->alloc(size);
  if (block) state.live++;
  return block;
}

void* watched_resize(void* block, size_t old_size, size_t new_size) {
  if (must_fail()) return nullptr;
  void* moved = state.real->heap->resize(block, old_size, new_size);
  if (moved && !block) state.live++;
  return moved;
}

void watched_free(void* block) {
  state.live--;
  state.real->heap->free(block);
}

constexpr xp_heap_ops watched_heap = {
    .alloc = watched_alloc, .resize = watched_resize, .free = watched_free};

}  // namespace

heap_watch::heap_watch() {
  state = {.real = xp_platform,
           .set = *xp_platform,
           .live = 0,
           .asked = 0,
           .fail_after = -1,
           .from_then_on = false,
           .failed = false};
  state.set.heap = &watched_heap;
  xp_platform = &state.set;
}

heap_watch::~heap_watch() {
  xp_platform = state.real;
}

int64_t heap_watch::live() const {
  return state.live;
}

int64_t heap_watch::asked() const {
  return state.asked;
}

void heap_watch::fail_after(int64_t count, bool from_then_on) {
  state.fail_after = count;
  state.from_then_on = from_then_on;
  state.failed = false;
}

bool heap_watch::failed() const {
  return state.failed;
}
