// TLS by OpenSSL, one record or one flight at a time. The library reads from a BIO that shows it
// the bytes of the current call and nothing else, and writes to memory. It is fed whole records
// only, so that it never holds bytes of the caller's back: what it didn't need is `extra`.
//
// The protocols are those that the Windows service offers to credentials of the same kind: TLS 1.2
// is the newest. A rehearsal thereby meets the servers that the real computers will meet.
#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <string.h>

#include <bit>

#include "platform/host/certificates.h"
#include "platform/host/host.h"

namespace {

// ---- the two BIOs ----------------------------------------------------------------------------

// The bytes that the library may take in the current call.
struct feed {
  const uint8_t* bytes;
  uint32_t left;
};

int feed_read(BIO* bio, char* out, int size) {
  auto* source = static_cast<feed*>(BIO_get_data(bio));
  BIO_clear_retry_flags(bio);
  if (!source || source->left == 0) {
    BIO_set_retry_read(bio);
    return -1;
  }
  const auto count =
      source->left < static_cast<uint32_t>(size) ? source->left : static_cast<uint32_t>(size);
  memcpy(out, source->bytes, count);
  source->bytes += count;
  source->left -= count;
  return static_cast<int>(count);
}

long feed_control(BIO*, int command, long, void*) {
  return command == BIO_CTRL_FLUSH;
}

int feed_create(BIO* bio) {
  BIO_set_init(bio, 1);
  return 1;
}

BIO_METHOD* make_feed_method() {
  BIO_METHOD* method = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "bytes at hand");
  if (!method) return nullptr;
  BIO_meth_set_read(method, feed_read);
  BIO_meth_set_ctrl(method, feed_control);
  BIO_meth_set_create(method, feed_create);
  return method;
}

BIO* new_feed() {
  static BIO_METHOD* const method = make_feed_method();
  return method ? BIO_new(method) : nullptr;
}

// What the library has written, as one block. Nothing written gives a null token.
bool take_token(SSL* ssl, xp_tls_token* token) {
  BIO* written = SSL_get_wbio(ssl);
  const size_t length = BIO_ctrl_pending(written);
  if (length == 0) return true;
  auto* bytes = static_cast<uint8_t*>(xp_heap_alloc(length));
  if (!bytes) return false;
  const int got = BIO_read(written, bytes, static_cast<int>(length));
  *token = {.bytes = bytes, .length = got > 0 ? static_cast<uint32_t>(got) : 0};
  return true;
}

// ---- records ---------------------------------------------------------------------------------

constexpr uint32_t RECORD_HEADER = 5;
constexpr uint32_t RECORD_LONGEST = 16384 + 2048;  // RFC 5246, 6.2.3

// Bytes of the record at the front, 0 when it isn't whole yet. Bytes that can't be a record go to
// the library as they are, which refuses them.
uint32_t record_size(const uint8_t* bytes, uint32_t length) {
  if (length == 0) return 0;
  if (bytes[0] < 20 || bytes[0] > 24) return length;
  if (length < RECORD_HEADER) return 0;
  const uint32_t payload = static_cast<uint32_t>(bytes[3]) << 8 | bytes[4];
  if (bytes[1] != 3 || payload > RECORD_LONGEST) return length;
  return RECORD_HEADER + payload <= length ? RECORD_HEADER + payload : 0;
}

// What a context carries once its channel is up, and once the peer has asked for another handshake.
char channel_is_up;
char renegotiation_asked;

// Sees every message: one of the handshake that comes once the channel is up asks for another
// handshake (HelloRequest to a client, ClientHello to a server).
void watch_messages(int written, int, int content, const void* bytes, size_t length, SSL* ssl,
                    void*) {
  if (written || content != SSL3_RT_HANDSHAKE || length == 0 || !SSL_get_app_data(ssl)) return;
  const uint8_t kind = *static_cast<const uint8_t*>(bytes);
  const int wanted = SSL_is_server(ssl) ? SSL3_MT_CLIENT_HELLO : SSL3_MT_HELLO_REQUEST;
  if (kind == wanted) SSL_set_app_data(ssl, &renegotiation_asked);
}

bool asked_to_renegotiate(SSL* ssl) {
  return SSL_get_app_data(ssl) == &renegotiation_asked;
}

SSL* context_of(const xp_tls_handle* handle) {
  return std::bit_cast<SSL*>(handle->lower);
}

SSL_CTX* credentials_of(const xp_tls_handle* handle) {
  return std::bit_cast<SSL_CTX*>(handle->lower);
}

// ---- service and credentials -----------------------------------------------------------------

bool tls_load(xp_tls_service* service) {
  *service = {.library = service, .table = TLS_method()};
  return true;
}

void tls_unload(xp_tls_service* service) {
  *service = {};
}

// SSL 2 doesn't exist in the library; asking for it fails as it does on Windows.
bool set_protocols(SSL_CTX* context, uint32_t protocols) {
  switch (protocols) {
    case XP_TLS_ANY:
      return SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION) == 1;
    case XP_TLS_SSL3:
      return SSL_CTX_set_min_proto_version(context, SSL3_VERSION) == 1 &&
             SSL_CTX_set_max_proto_version(context, SSL3_VERSION) == 1;
    case XP_TLS_TLS1:
      // Its signatures are below the security level that is the rule today.
      SSL_CTX_set_security_level(context, 0);
      return SSL_CTX_set_min_proto_version(context, TLS1_VERSION) == 1 &&
             SSL_CTX_set_max_proto_version(context, TLS1_VERSION) == 1;
    default:
      return false;
  }
}

bool set_certificate(SSL_CTX* context, const xp_tls_certificate* certificate) {
  if (!certificate) return true;
  if (SSL_CTX_use_certificate(context, certificate->leaf) != 1 ||
      SSL_CTX_use_PrivateKey(context, certificate->key) != 1)
    return false;
  return !certificate->chain || SSL_CTX_set1_chain(context, certificate->chain) == 1;
}

// A check that the caller doesn't want isn't made; then the roots aren't read, either.
void set_checks(SSL_CTX* context, uint32_t leniency) {
  if (leniency & XP_TLS_SKIP_CHAIN) {
    SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
    return;
  }
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
  host_trust_roots(SSL_CTX_get_cert_store(context));
}

bool tls_acquire(const xp_tls_service*, const xp_tls_credentials_request* request,
                 xp_tls_handle* credentials) {
  ERR_clear_error();
  // A server without a certificate has nothing to offer.
  if (request->server && !request->certificate) return false;
  SSL_CTX* context = SSL_CTX_new(TLS_method());
  if (!context) return false;
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
  SSL_CTX_set_msg_callback(context, watch_messages);
  if (!set_protocols(context, request->protocols) ||
      !set_certificate(context, request->certificate)) {
    SSL_CTX_free(context);
    return false;
  }
  if (!request->server) set_checks(context, request->leniency);
  *credentials = {.lower = reinterpret_cast<uintptr_t>(context), .upper = request->leniency};
  return true;
}

void tls_free_credentials(const xp_tls_service*, xp_tls_handle* credentials) {
  SSL_CTX_free(credentials_of(credentials));
  *credentials = {};
}

// ---- handshake -------------------------------------------------------------------------------

bool is_address(const char* host) {
  ASN1_OCTET_STRING* address = a2i_IPADDRESS(host);
  ASN1_OCTET_STRING_free(address);
  return address != nullptr;
}

// Tells the peer which name is wanted, and has the certificate's names compared with it.
bool set_target(SSL* ssl, const char* target, uint32_t leniency) {
  if (!target || !*target) return true;
  const bool address = is_address(target);
  if (!address && SSL_set_tlsext_host_name(ssl, target) != 1) return false;
  if (leniency & XP_TLS_SKIP_NAME) return true;
  X509_VERIFY_PARAM* checks = SSL_get0_param(ssl);
  return address ? X509_VERIFY_PARAM_set1_ip_asc(checks, target) == 1
                 : X509_VERIFY_PARAM_set1_host(checks, target, 0) == 1;
}

SSL* new_context(xp_tls_handle* credentials, const xp_tls_step* step) {
  SSL* ssl = SSL_new(credentials_of(credentials));
  if (!ssl) return nullptr;
  BIO* in = new_feed();
  BIO* out = BIO_new(BIO_s_mem());
  SSL_set_bio(ssl, in, out);
  step->server ? SSL_set_accept_state(ssl) : SSL_set_connect_state(ssl);
  const auto leniency = static_cast<uint32_t>(credentials->upper);
  if (in && out && (step->server || set_target(ssl, step->target, leniency))) return ssl;
  SSL_free(ssl);
  return nullptr;
}

// Runs the library on `size` bytes of the input; they are all used up.
int run_handshake(SSL* ssl, const xp_tls_step* step, uint32_t size) {
  feed source = {.bytes = step->bytes, .left = size};
  BIO_set_data(SSL_get_rbio(ssl), &source);
  const int result = SSL_do_handshake(ssl);
  BIO_set_data(SSL_get_rbio(ssl), nullptr);
  return result;
}

xp_tls_status tls_step(const xp_tls_service*, xp_tls_handle* credentials, xp_tls_handle* context,
                       xp_tls_step* step) {
  ERR_clear_error();
  const uint32_t size = step->bytes ? record_size(step->bytes, step->length) : 0;
  if (step->bytes && size == 0) return XP_TLS_INCOMPLETE;
  SSL* ssl = step->started ? context_of(context) : new_context(credentials, step);
  if (!ssl) return XP_TLS_REFUSED;
  const int result = run_handshake(ssl, step, size);
  const bool going_on = result == 1 || SSL_get_error(ssl, result) == SSL_ERROR_WANT_READ;
  const bool told = take_token(ssl, &step->token);
  if (!going_on || !told) {
    step->explained = step->token.length > 0;
    if (!step->started) SSL_free(ssl);
    return XP_TLS_REFUSED;
  }
  *context = {.lower = reinterpret_cast<uintptr_t>(ssl), .upper = 0};
  step->extra = step->length - size;
  step->has_extra = step->extra > 0;
  if (result != 1) return XP_TLS_CONTINUE;
  SSL_set_app_data(ssl, &channel_is_up);
  return XP_TLS_OK;
}

void tls_delete_context(const xp_tls_service*, xp_tls_handle* context) {
  SSL_free(context_of(context));
  *context = {};
}

void tls_free_token(const xp_tls_service*, xp_tls_token* token) {
  xp_heap_free(token->bytes);
  *token = {};
}

// ---- records of the open channel -------------------------------------------------------------

// The trailer is room for what any cipher adds, and for a message that the library itself has to
// say first.
bool tls_sizes(const xp_tls_service*, xp_tls_handle*, xp_tls_sizes* out) {
  *out = {.header = RECORD_HEADER, .trailer = 256, .maximum = 16384};
  return true;
}

xp_tls_status tls_seal(const xp_tls_service*, xp_tls_handle* context, uint8_t* record,
                       uint32_t sizes[3]) {
  ERR_clear_error();
  SSL* ssl = context_of(context);
  const uint32_t room = sizes[0] + sizes[1] + sizes[2];
  if (SSL_write(ssl, record + sizes[0], static_cast<int>(sizes[1])) <= 0) return XP_TLS_REFUSED;
  BIO* written = SSL_get_wbio(ssl);
  if (BIO_ctrl_pending(written) > room) return XP_TLS_REFUSED;
  const int length = BIO_read(written, record, static_cast<int>(room));
  if (length < static_cast<int>(sizes[0])) return XP_TLS_REFUSED;
  sizes[1] = static_cast<uint32_t>(length) - sizes[0];
  sizes[2] = 0;
  return XP_TLS_OK;
}

xp_tls_status status_without_data(SSL* ssl, int result) {
  switch (SSL_get_error(ssl, result)) {
    case SSL_ERROR_ZERO_RETURN:
      return XP_TLS_EXPIRED;
    case SSL_ERROR_WANT_READ:
      return asked_to_renegotiate(ssl) ? XP_TLS_RENEGOTIATE : XP_TLS_OK;
    default:
      return XP_TLS_REFUSED;
  }
}

// The library takes the record over before it gives the first byte back, so the data can go where
// the record lay.
xp_tls_status tls_open(const xp_tls_service*, xp_tls_handle* context, uint8_t* bytes,
                       uint32_t length, xp_tls_piece pieces[4]) {
  ERR_clear_error();
  SSL* ssl = context_of(context);
  const uint32_t size = record_size(bytes, length);
  if (size == 0) return XP_TLS_INCOMPLETE;
  feed source = {.bytes = bytes, .left = size};
  BIO_set_data(SSL_get_rbio(ssl), &source);
  const int got = SSL_read(ssl, bytes, static_cast<int>(size));
  BIO_set_data(SSL_get_rbio(ssl), nullptr);
  if (got <= 0) {
    const xp_tls_status status = status_without_data(ssl, got);
    if (status != XP_TLS_OK) return status;
  }
  for (int i = 0; i < 4; i++)
    pieces[i] = {};
  if (got > 0)
    pieces[0] = {.bytes = bytes, .length = static_cast<uint32_t>(got), .kind = XP_TLS_PIECE_DATA};
  if (length > size)
    pieces[1] = {.bytes = bytes + size, .length = length - size, .kind = XP_TLS_PIECE_EXTRA};
  return XP_TLS_OK;
}

bool tls_closing_token(const xp_tls_service*, xp_tls_handle*, xp_tls_handle* context, bool,
                       const char*, xp_tls_token* token) {
  ERR_clear_error();
  SSL* ssl = context_of(context);
  return SSL_shutdown(ssl) >= 0 && take_token(ssl, token) && token->length > 0;
}

}  // namespace

constinit const xp_tls_ops host_tls = {
    .load = tls_load,
    .unload = tls_unload,
    .open_store = host_open_store,
    .close_store = host_close_store,
    .can_import = [] { return true; },
    .is_pfx = host_is_pfx,
    .import_pfx = host_import_pfx,
    .find_certificate = host_find_certificate,
    .free_certificate = host_free_certificate,
    .acquire = tls_acquire,
    .free_credentials = tls_free_credentials,
    .step = tls_step,
    .delete_context = tls_delete_context,
    .free_token = tls_free_token,
    .sizes = tls_sizes,
    .seal = tls_seal,
    .open = tls_open,
    .closing_token = tls_closing_token,
};
