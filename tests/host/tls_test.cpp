// The TLS channel against OpenSSL's own server, which stands behind the socket table in this very
// process: what is sent goes into it at once, and what it answers comes in pieces of a chosen size.
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <string>

#include "object/xp_ref.h"
#include "stream/xp_tls.h"
#include "tests/support/fakes.h"

namespace {

EVP_PKEY* new_key() {
  return EVP_EC_gen("P-256");
}

X509* new_certificate(EVP_PKEY* key) {
  X509* certificate = X509_new();
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -60);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
  X509_set_pubkey(certificate, key);
  X509_NAME* name = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("peer"), -1, -1, 0);
  X509_set_issuer_name(certificate, name);
  X509_sign(certificate, key, EVP_sha256());
  return certificate;
}

struct openssl_peer {
  explicit openssl_peer(size_t piece_size, int version = TLS1_2_VERSION) : piece(piece_size) {
    active = this;
    context = SSL_CTX_new(TLS_server_method());
    EVP_PKEY* key = new_key();
    X509* certificate = new_certificate(key);
    SSL_CTX_set_security_level(context, version < TLS1_2_VERSION ? 0 : 2);
    SSL_CTX_set_min_proto_version(context, version);
    SSL_CTX_set_max_proto_version(context, version);
    SSL_CTX_use_certificate(context, certificate);
    SSL_CTX_use_PrivateKey(context, key);
    X509_free(certificate);
    EVP_PKEY_free(key);
    ssl = SSL_new(context);
    SSL_set_bio(ssl, BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    SSL_set_accept_state(ssl);
    install();
  }
  ~openssl_peer() {
    stream.reset();
    SSL_free(ssl);
    SSL_CTX_free(context);
  }
  openssl_peer(const openssl_peer&) = delete;
  openssl_peer& operator=(const openssl_peer&) = delete;

  void install() {
    fake.sockets.resolve = [](const char*, const char*) {
      return reinterpret_cast<xp_resolved*>(1);
    };
    fake.sockets.next = [](const xp_resolved*) { return static_cast<const xp_resolved*>(nullptr); };
    fake.sockets.free_resolved = [](xp_resolved*) {};
    fake.sockets.address_bytes = [](const xp_resolved*, void*, uint32_t) { return 0u; };
    fake.sockets.create = [](const xp_resolved*) { return xp_socket_handle{1}; };
    fake.sockets.close = [](xp_socket_handle) {};
    fake.sockets.set_nonblocking = [](xp_socket_handle) { return true; };
    fake.sockets.connect = [](xp_socket_handle, const xp_resolved*) { return XP_SOCKET_OK; };
    fake.sockets.send = [](xp_socket_handle, const void* bytes, int32_t length,
                           xp_socket_error* error) {
      *error = XP_SOCKET_OK;
      BIO_write(SSL_get_rbio(active->ssl), bytes, length);
      active->work();
      return length;
    };
    fake.sockets.recv = [](xp_socket_handle, void* buffer, int32_t length, xp_socket_error* error) {
      return active->give(buffer, length, error);
    };
    // Whatever hasn't come by now won't.
    fake.sockets.wait = [](xp_socket_handle, uint32_t, int32_t) { return 0; };
    const xp_ref<xp_str> name(xp_str_new("peer:443"));
    stream.reset(xp_socket_new(name.get()));
  }
  // Takes what the client has sent.
  void work() {
    char buffer[20000];
    int got;
    while ((got = SSL_read(ssl, buffer, sizeof buffer)) > 0)
      received.append(buffer, static_cast<size_t>(got));
  }
  int32_t give(void* buffer, int32_t length, xp_socket_error* error) {
    BIO* out = SSL_get_wbio(ssl);
    const int got = BIO_read(out, buffer, std::min(length, static_cast<int32_t>(piece)));
    *error = got > 0 ? XP_SOCKET_OK : XP_SOCKET_WOULD_BLOCK;
    if (got > 0 && flip && --flip == 0) static_cast<char*>(buffer)[got - 1] ^= 1;
    return got > 0 ? got : -1;
  }
  int32_t open(uint32_t word = XP_SECURITY_ON) {
    xp_stream_option(stream.get(), SOCKET_OPTION_SECURITY, &word);
    int32_t seconds = 1;
    xp_stream_option(stream.get(), SOCKET_OPTION_TIMEOUTS, &seconds);
    return xp_stream_open(stream.get(), STREAM_MODE_WRITE);
  }
  std::string read(size_t count) {
    std::string all;
    char buffer[5000];
    while (all.size() < count) {
      const int32_t got = xp_stream_read(stream.get(), buffer, sizeof buffer);
      if (got < 1) return all + "<" + std::to_string(got) + ">";
      all.append(buffer, static_cast<size_t>(got));
    }
    return all;
  }
  int32_t closing() { return static_cast<xp_socket*>(stream.get())->closing; }

  static openssl_peer* active;
  fake_platform fake;
  SSL_CTX* context;
  SSL* ssl;
  size_t piece;
  int flip = 0;  // the receive with this number has its last bit turned over
  std::string received;
  xp_ref<xp_stream> stream;
};

openssl_peer* openssl_peer::active;

std::string some_bytes(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; i++)
    bytes[i] = static_cast<char>(i * 2654435761u >> 13);
  return bytes;
}

TEST(HostTls, CarriesBytesBothWaysWhateverThePieces) {
  const std::string bytes = some_bytes(200000);
  for (const size_t piece : {1, 2, 3, 5, 100, 1500, 100000}) {
    openssl_peer peer(piece);
    ASSERT_EQ(peer.open(), XP_OK) << piece;
    const auto length = static_cast<int32_t>(bytes.size());
    EXPECT_EQ(xp_stream_write(peer.stream.get(), bytes.data(), length), length);
    EXPECT_EQ(peer.received, bytes) << piece;
    EXPECT_EQ(SSL_write(peer.ssl, bytes.data(), length), length);
    EXPECT_EQ(peer.read(bytes.size()), bytes) << piece;
    xp_stream_close(peer.stream.get());
    EXPECT_TRUE(SSL_get_shutdown(peer.ssl) & SSL_RECEIVED_SHUTDOWN) << "the peer was told";
  }
}

TEST(HostTls, EndsAtTheClosingAlert) {
  openssl_peer peer(100000);
  ASSERT_EQ(peer.open(), XP_OK);
  SSL_write(peer.ssl, "last", 4);
  SSL_shutdown(peer.ssl);
  EXPECT_EQ(peer.read(4), "last");
  EXPECT_EQ(peer.closing(), 0);
  EXPECT_EQ(peer.read(1), "<0>");
  EXPECT_EQ(peer.closing(), 1);
}

TEST(HostTls, RefusesToRenegotiate) {
  openssl_peer peer(100000);
  ASSERT_EQ(peer.open(), XP_OK);
  ASSERT_EQ(SSL_renegotiate(peer.ssl), 1);
  SSL_do_handshake(peer.ssl);
  EXPECT_EQ(peer.read(1), "<-1099>");
  EXPECT_EQ(peer.closing(), 1);
}

TEST(HostTls, NoticesAChangedBit) {
  openssl_peer peer(100000);
  ASSERT_EQ(peer.open(), XP_OK);
  SSL_write(peer.ssl, "data", 4);
  peer.flip = 1;
  EXPECT_EQ(peer.read(1), "<-1099>");

  openssl_peer handshake(100000);
  handshake.flip = 2;  // the first record is the server's greeting, the second its finish
  EXPECT_EQ(handshake.open(), XP_E_TLS_REFUSED);
}

TEST(HostTls, SpeaksTheProtocolsOfTheService) {
  const struct {
    int version;
    uint32_t word;
    int32_t code;
  } rows[] = {{TLS1_2_VERSION, 0x40000000, XP_OK},
              {TLS1_3_VERSION, 0x40000000, XP_E_TLS_REFUSED},
              {TLS1_VERSION, 0x40000003, XP_OK},
              {TLS1_2_VERSION, 0x40000003, XP_E_TLS_REFUSED},
              {TLS1_2_VERSION, 0x40000001, XP_E_TLS_SERVICE},
              {TLS1_2_VERSION, 0x60000000, XP_E_TLS_REFUSED},  // nobody knows this peer
              {TLS1_2_VERSION, 0x50000000, XP_OK}};  // nothing is checked without the chain
  for (const auto& row : rows) {
    openssl_peer peer(100000, row.version);
    EXPECT_EQ(peer.open(row.word), row.code) << row.version << " " << row.word;
  }
}

}  // namespace
