// A network that plays a script: names, connections and what their peers do, in a time of its own
// that only waits move. It stands behind the seam's socket table, so the same tests run everywhere
// and a silence of thirty seconds takes none.
//
//   scripted_net net;
//   net.add("HTTP/1.1 200 OK\r\n\r\n").end();      // the first connection
//   net.add().bytes("half").silence();             // the second one
#pragma once

#include <stdint.h>
#include <deque>
#include <string>
#include <vector>

#include "tests/support/fakes.h"

// What the peer does next, `delay` seconds after what it did before.
struct peer_step {
  enum kind { BYTES, END, RESET, SILENCE } what;
  std::string bytes;
  int64_t delay = 0;
};

struct scripted_peer {
  scripted_peer& bytes(std::string text, int64_t delay = 0) {
    steps.push_back({peer_step::BYTES, std::move(text), delay});
    return *this;
  }
  // One step for each `size` bytes.
  scripted_peer& drip(const std::string& text, size_t size, int64_t delay) {
    for (size_t at = 0; at < text.size(); at += size)
      bytes(text.substr(at, size), delay);
    return *this;
  }
  // The orderly end, a reset, or nothing ever again. A script without any of them ends orderly.
  scripted_peer& end() {
    steps.push_back({peer_step::END, "", 0});
    return *this;
  }
  scripted_peer& reset() {
    steps.push_back({peer_step::RESET, "", 0});
    return *this;
  }
  scripted_peer& silence() {
    steps.push_back({peer_step::SILENCE, "", 0});
    return *this;
  }

  std::deque<peer_step> steps;
  bool refused = false;      // connecting fails
  bool unreachable = false;  // connecting never ends
  int32_t send_limit = 0;    // bytes taken by one send, 0 for all
  bool send_blocks = false;  // no send ever takes a byte
  bool send_fails = false;   // every send fails
  std::string sent;          // what the client has sent
  std::string host;          // whom it was connected for
  std::string service;
  int sends = 0;  // calls that moved bytes
  int receives = 0;
};

struct scripted_net {
  scripted_net();
  ~scripted_net();
  scripted_net(const scripted_net&) = delete;
  scripted_net& operator=(const scripted_net&) = delete;

  // Adds the next connection's peer; it answers at once with `bytes`. Unset ones are refused.
  scripted_peer& add(std::string bytes = "");

  std::deque<scripted_peer> peers;
  int addresses = 1;     // that a name resolves to
  bool resolves = true;  // false: no name is known
  int lookups = 0;
  int64_t now = 0;           // seconds
  int64_t waited = 0;        // seconds of all waits
  int open = 0;              // sockets that aren't closed
  int lists = 0;             // address lists that aren't freed
  bool stuck = false;        // a wait without limit for something that never comes
  int64_t fail_call = -1;    // this call (0: the next) fails ...
  bool fail_once = false;    // ... alone, or else with all behind it
  bool call_failed = false;  // it has
  std::string failed_call;   // the slot that it was, "tls ..." for those of the security service
  std::string last_listen;   // service of the last listening address

  fake_platform fake;
};

// Counts a call of the slot on the active network; true when it is one that fails.
bool scripted_call_fails(const char* slot);
