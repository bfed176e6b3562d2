// A security service that plays a toy protocol, for tests of what is built on the real one. A
// record is a letter, a length byte and that many bytes:
//   h  the handshake goes on       H  the handshake is done
//   i  asks for a certificate once f  the service refuses, without a word; e  with one
//   o  a success of no meaning     d  data
//   c  the peer closes             r  wants another handshake; x  a broken record
// It counts what it hands out, and fails the test when something isn't given back.
#pragma once

#include <string>

#include "tests/support/scripted_net.h"

std::string toy_record(char kind, const std::string& payload = "");

struct scripted_tls {
  // Replaces the security table of the fakes.
  explicit scripted_tls(fake_platform* fake);
  ~scripted_tls();
  scripted_tls(const scripted_tls&) = delete;
  scripted_tls& operator=(const scripted_tls&) = delete;

  bool missing = false;         // load fails
  bool no_credentials = false;  // acquire fails
  bool no_sizes = false;        // sizes fails
  bool seal_fails = false;
  bool no_closing_token = false;
  bool has_certificate = true;              // the store holds what is looked for
  xp_tls_credentials_request request = {};  // of the last acquire
  std::string target;                       // of the last step
  std::string store;                        // place and name of the last opened store
  std::string subject;                      // last one looked for
  int opens = 0;                            // records that `open` was asked for
  int alive = 0;  // services, credentials, contexts, stores, certificates, tokens
};
