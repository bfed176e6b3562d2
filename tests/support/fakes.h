// Swapping tables of the platform for a test, and the strict heap.
//
//   fake_platform fake;                       // a copy of the set in use, active in this scope
//   fake.files.open = always_denied;          // replace single slots; the others stay real
//   fake.use_files();
#pragma once

#include <gtest/gtest.h>
#include <stdint.h>

#include "platform/platform.h"

// Every table as a copy that a test may change slot by slot; the set in use comes back at the
// end of the scope. The tables are in use from construction on, so a changed slot takes effect
// at once.
struct fake_platform {
  fake_platform();
  ~fake_platform();
  fake_platform(const fake_platform&) = delete;
  fake_platform& operator=(const fake_platform&) = delete;

  const xp_platform_set* real;  // what was in use before
  xp_heap_ops heap;
  xp_lock_ops lock;
  xp_text_ops text;
  xp_locale_ops locale;
  xp_clock_ops clock;
  xp_file_ops files;
  xp_console_ops console;
  xp_folder_ops folders;
  xp_registry_ops registry;
  xp_event_log_ops event_log;
  xp_installer_ops installer;
  xp_trust_ops trust;
  xp_system_ops system;
  xp_proxy_ops proxy;
  xp_random_ops random;
  xp_socket_ops sockets;
  xp_tls_ops tls;

 private:
  xp_platform_set set_;
};

// The strict heap: counts what is alive and can make allocation number N fail.
struct heap_watch {
  heap_watch();
  ~heap_watch();
  heap_watch(const heap_watch&) = delete;
  heap_watch& operator=(const heap_watch&) = delete;

  // Blocks handed out since construction and not freed.
  int64_t live() const;
  // Allocations (and resizes) asked for since construction.
  int64_t asked() const;
  // Lets `count` more allocations succeed and fails the one behind them; with `from_then_on` all
  // later ones, too. Negative: none fails.
  void fail_after(int64_t count, bool from_then_on = false);
  // Whether a failure has been dealt since fail_after.
  bool failed() const;
};

// Runs `body(watch)` with allocation 0, 1, 2, ... failing until it passes untouched. The body does
// one whole scenario, checks the documented failure value where `watch.failed()`, and leaves
// nothing alive: that is checked here each time.
template <class Body>
void sweep_allocations(Body body, int64_t most = 100000) {
  for (int64_t n = 0; n < most; n++) {
    heap_watch watch;
    watch.fail_after(n);
    body(watch);
    ASSERT_EQ(watch.live(), 0) << "blocks leaked with allocation " << n << " failing";
    if (testing::Test::HasFatalFailure()) FAIL() << "with allocation " << n << " failing";
    if (!watch.failed()) return;
  }
  FAIL() << "the scenario never passed untouched";
}
