// The security service for TLS, as single operations on the bytes at hand: it neither sends nor
// receives, and keeps no bytes that it was not given whole. Which bytes to feed it, what to do with
// what it gives back and what each status means to a connection is decided above.
#pragma once

#include <stdint.h>

// The loaded service. `library` is null while it isn't loaded.
struct xp_tls_service {
  void* library;
  const void* table;
};

// A handle of the service: credentials or a context. What the words hold is the back end's matter.
struct xp_tls_handle {
  uintptr_t lower;
  uintptr_t upper;
};

struct xp_tls_store;        // an open certificate store
struct xp_tls_certificate;  // one certificate out of a store

// Outcome of an operation; negative values are failures.
enum xp_tls_status : int32_t {
  XP_TLS_OK = 0,
  XP_TLS_CONTINUE = 1,                // the handshake goes on
  XP_TLS_INCOMPLETE_CREDENTIALS = 2,  // the peer asks for a certificate; repeat the step
  XP_TLS_EXPIRED = 3,                 // the peer has closed the channel
  XP_TLS_RENEGOTIATE = 4,             // the peer wants a new handshake
  XP_TLS_OTHER = 5,                   // any other success
  XP_TLS_INCOMPLETE = -1,             // the bytes don't hold a whole record; none was used up
  XP_TLS_REFUSED = -2,                // any failure
};

// Protocols of the credentials; 0 leaves the choice to the service.
enum xp_tls_protocols : uint32_t {
  XP_TLS_ANY = 0,
  XP_TLS_SSL2 = 0xC,
  XP_TLS_SSL3 = 0x30,
  XP_TLS_TLS1 = 0xC0,
};

// What the service is not to check of the peer's certificate.
enum xp_tls_leniency : uint32_t {
  XP_TLS_SKIP_NAME = 4,
  XP_TLS_SKIP_CHAIN = 8,
};

// Places of certificate stores.
enum xp_tls_store_place : uint32_t {
  XP_TLS_STORE_USER = 0,           // the current user's
  XP_TLS_STORE_MACHINE = 0x2C000,  // the machine's, existing, read-only
  XP_TLS_STORE_SERVICE = 0x5C000,  // a service's, existing, read-only
};

// Bytes that the service allocated, to be sent and then freed.
struct xp_tls_token {
  uint8_t* bytes;
  uint32_t length;
};

struct xp_tls_credentials_request {
  bool server;
  xp_tls_certificate* certificate;  // may be null
  uint32_t protocols;
  uint32_t leniency;
};

// One handshake step.
struct xp_tls_step {
  bool server;
  bool started;          // in: the context exists already
  const char* target;    // in: the server's name, as a client; may be null
  const uint8_t* bytes;  // in: what was received; null at a client's first step
  uint32_t length;
  uint32_t extra;      // out: bytes at the end of the input that were not used
  bool has_extra;      // out: whether the service told about `extra`
  bool explained;      // out: a failure left a token for the peer
  xp_tls_token token;  // out: to be sent
};

enum xp_tls_piece_kind : uint32_t {
  XP_TLS_PIECE_EMPTY = 0,
  XP_TLS_PIECE_DATA = 1,   // decrypted bytes
  XP_TLS_PIECE_EXTRA = 2,  // bytes behind the record
  XP_TLS_PIECE_OTHER = 3,
};

// A part of the bytes that `open` was given.
struct xp_tls_piece {
  uint8_t* bytes;
  uint32_t length;
  uint32_t kind;  // an xp_tls_piece_kind
};

struct xp_tls_sizes {
  uint32_t header;
  uint32_t trailer;
  uint32_t maximum;  // bytes of data in one record
};

struct xp_tls_ops {
  // Loads the service; false when it is missing.
  bool (*load)(xp_tls_service* service);
  void (*unload)(xp_tls_service* service);

  // Certificates. A store that can't be opened is null. `name` is the store's name as the place
  // understands it.
  xp_tls_store* (*open_store)(uint32_t place, const char* name);
  void (*close_store)(xp_tls_store* store);
  // Whether PFX files can be read at all.
  bool (*can_import)();
  bool (*is_pfx)(const void* bytes, uint32_t length);
  // A store with the contents of a PFX file, whose password is text of the system's 8-bit code
  // page; null when it can't be opened.
  xp_tls_store* (*import_pfx)(const void* bytes, uint32_t length, const char* password);
  // The first certificate whose subject contains the text, without regard to case; null for none.
  xp_tls_certificate* (*find_certificate)(xp_tls_store* store, const char* subject);
  void (*free_certificate)(xp_tls_certificate* certificate);

  bool (*acquire)(const xp_tls_service* service, const xp_tls_credentials_request* request,
                  xp_tls_handle* credentials);
  void (*free_credentials)(const xp_tls_service* service, xp_tls_handle* credentials);
  // A status that isn't negative leaves a context behind.
  xp_tls_status (*step)(const xp_tls_service* service, xp_tls_handle* credentials,
                        xp_tls_handle* context, xp_tls_step* step);
  void (*delete_context)(const xp_tls_service* service, xp_tls_handle* context);
  void (*free_token)(const xp_tls_service* service, xp_tls_token* token);

  // False when the context has no sizes.
  bool (*sizes)(const xp_tls_service* service, xp_tls_handle* context, xp_tls_sizes* out);
  // Seals one record in place: `record` holds room for the header, the data, and room for the
  // trailer, and `sizes` their bytes, which come back as what each then has. The record to send
  // is the sum of them, from the start.
  xp_tls_status (*seal)(const xp_tls_service* service, xp_tls_handle* context, uint8_t* record,
                        uint32_t sizes[3]);
  // Opens the record at the front of the bytes in place. The pieces that come back lie in order
  // of their addresses.
  xp_tls_status (*open)(const xp_tls_service* service, xp_tls_handle* context, uint8_t* bytes,
                        uint32_t length, xp_tls_piece pieces[4]);
  // The bytes that tell the peer of the end. False when there are none.
  bool (*closing_token)(const xp_tls_service* service, xp_tls_handle* credentials,
                        xp_tls_handle* context, bool server, const char* target,
                        xp_tls_token* token);
};
