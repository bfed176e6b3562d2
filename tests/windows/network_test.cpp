// Winsock and the security service as the real ones answer.
#include <gtest/gtest.h>

#include "tests/windows/windows_support.h"

namespace {

const xp_socket_ops& sockets() {
  return *xp_platform->sockets;
}

constexpr uint32_t ALL = XP_SOCKET_READABLE | XP_SOCKET_WRITABLE | XP_SOCKET_EXCEPTION;

// A listening socket on a free port of this computer.
struct local_listener : testing::Test {
  xp_resolved* list = nullptr;
  xp_socket_handle listener = XP_SOCKET_INVALID;
  std::string port;

  void SetUp() override {
    sockets().start();
    list = sockets().resolve(nullptr, "0");
    ASSERT_NE(list, nullptr);
    for (int candidate = 47100; candidate < 47200; candidate++) {
      port = std::to_string(candidate);
      sockets().free_resolved(list);
      list = sockets().resolve(nullptr, port.c_str());
      listener = sockets().create(list);
      ASSERT_NE(listener, XP_SOCKET_INVALID);
      if (sockets().bind(listener, list) == XP_SOCKET_OK) break;
      sockets().close(listener);
      listener = XP_SOCKET_INVALID;
    }
    ASSERT_NE(listener, XP_SOCKET_INVALID);
  }
  void TearDown() override {
    sockets().free_resolved(list);
    if (listener != XP_SOCKET_INVALID) sockets().close(listener);
  }
  // A non-blocking socket on its way to the port; the address list is kept in `addresses`.
  xp_socket_handle connecting(xp_resolved** addresses) {
    *addresses = sockets().resolve("127.0.0.1", port.c_str());
    const xp_socket_handle handle = sockets().create(*addresses);
    EXPECT_TRUE(sockets().set_nonblocking(handle));
    const xp_socket_error error = sockets().connect(handle, *addresses);
    EXPECT_TRUE(error == XP_SOCKET_WOULD_BLOCK || error == XP_SOCKET_OK) << error;
    return handle;
  }
};

TEST_F(local_listener, BytesGoBothWaysAndTheEndIsSeen) {
  ASSERT_EQ(sockets().listen(listener, 5), XP_SOCKET_OK);
  xp_resolved* addresses;
  const xp_socket_handle client = connecting(&addresses);
  EXPECT_NE(sockets().wait(client, ALL, 5) & static_cast<int32_t>(XP_SOCKET_WRITABLE), 0);
  EXPECT_EQ(sockets().connect(client, addresses), XP_SOCKET_CONNECTED);
  EXPECT_EQ(sockets().pending_error(client), XP_SOCKET_OK);

  xp_socket_handle server = XP_SOCKET_INVALID;
  uint8_t peer[XP_SOCKET_ADDRESS_SIZE] = {};
  ASSERT_EQ(sockets().accept(listener, &server, peer), XP_SOCKET_OK);
  uint8_t parts[18] = {};
  EXPECT_EQ(sockets().address_parts(peer, parts), 6u);
  EXPECT_EQ(parts[0], 127);

  char bytes[16];
  xp_socket_error error = XP_SOCKET_OK;
  EXPECT_EQ(sockets().recv(client, bytes, sizeof bytes, &error), -1);
  EXPECT_EQ(error, XP_SOCKET_WOULD_BLOCK);
  EXPECT_EQ(sockets().wait(client, XP_SOCKET_READABLE, 0), 0) << "a look finds nothing";
  EXPECT_EQ(sockets().send(server, "hello", 5, &error), 5);
  EXPECT_EQ(sockets().wait(client, XP_SOCKET_READABLE, 5), int32_t{XP_SOCKET_READABLE});
  EXPECT_EQ(sockets().recv(client, bytes, sizeof bytes, &error), 5);
  EXPECT_EQ(error, XP_SOCKET_OK);
  sockets().close(server);
  EXPECT_EQ(sockets().wait(client, XP_SOCKET_READABLE, 5), int32_t{XP_SOCKET_READABLE});
  EXPECT_EQ(sockets().recv(client, bytes, sizeof bytes, &error), 0);
  sockets().close(client);
  EXPECT_EQ(sockets().recv(client, bytes, sizeof bytes, &error), -1);
  EXPECT_EQ(error, XP_SOCKET_FAILED) << "a closed handle";
  sockets().free_resolved(addresses);
}

TEST_F(local_listener, ARefusedConnectionIsAnException) {
  xp_resolved* addresses;
  const xp_socket_handle client = connecting(&addresses);  // nobody listens
  const int32_t events = sockets().wait(client, ALL, 5);
  EXPECT_NE(events & static_cast<int32_t>(XP_SOCKET_EXCEPTION), 0) << events;
  EXPECT_EQ(sockets().pending_error(client), XP_SOCKET_FAILED);
  sockets().close(client);
  sockets().free_resolved(addresses);
}

TEST(windows_sockets, NamesThatResolveAndThatDoNot) {
  sockets().start();
  EXPECT_EQ(sockets().resolve("no-such-host.invalid", "80"), nullptr);
  xp_resolved* list = sockets().resolve("::1", "443");
  ASSERT_NE(list, nullptr);
  uint8_t address[XP_SOCKET_ADDRESS_SIZE];
  EXPECT_EQ(sockets().address_bytes(list, address, sizeof address), 28u);
  uint8_t parts[18] = {};
  EXPECT_EQ(sockets().address_parts(address, parts), 18u);
  EXPECT_EQ(parts[15], 1);
  EXPECT_EQ(parts[16] << 8 | parts[17], 443);
  EXPECT_EQ(sockets().next(list), nullptr);
  EXPECT_EQ(sockets().address_bytes(list, address, 4), 4u) << "cut to the room";
  sockets().free_resolved(list);
  char name[256];
  EXPECT_TRUE(sockets().host_name(name, sizeof name));
  EXPECT_FALSE(sockets().host_name(name, 1));
}

const xp_tls_ops& tls() {
  return *xp_platform->tls;
}

TEST(windows_tls, ServiceGivesCredentialsForWhatItKnows) {
  xp_tls_service service;
  ASSERT_TRUE(tls().load(&service));
  EXPECT_NE(service.table, nullptr);
  struct {
    uint32_t protocols;
    bool server;
    bool acquired;
    const char* why;
  } const rows[] = {
      {XP_TLS_ANY, false, true, "the service's choice"},
      {XP_TLS_SSL2, false, false, "a protocol that is gone"},
      {XP_TLS_ANY, true, false, "a server without a certificate"},
  };
  for (const auto& row : rows) {
    const xp_tls_credentials_request request = {.server = row.server,
                                                .certificate = nullptr,
                                                .protocols = row.protocols,
                                                .leniency = XP_TLS_SKIP_NAME | XP_TLS_SKIP_CHAIN};
    xp_tls_handle credentials = {};
    EXPECT_EQ(tls().acquire(&service, &request, &credentials), row.acquired) << row.why;
    if (row.acquired) tls().free_credentials(&service, &credentials);
  }
  tls().unload(&service);
  EXPECT_EQ(service.library, nullptr);
}

TEST(windows_tls, AFirstStepGreetsAndJunkIsRefused) {
  xp_tls_service service;
  ASSERT_TRUE(tls().load(&service));
  const xp_tls_credentials_request request = {.server = false,
                                              .certificate = nullptr,
                                              .protocols = XP_TLS_ANY,
                                              .leniency = XP_TLS_SKIP_NAME | XP_TLS_SKIP_CHAIN};
  xp_tls_handle credentials = {};
  xp_tls_handle context = {};
  ASSERT_TRUE(tls().acquire(&service, &request, &credentials));
  xp_tls_step step = {};
  step.target = "localhost";
  ASSERT_EQ(tls().step(&service, &credentials, &context, &step), XP_TLS_CONTINUE);
  ASSERT_NE(step.token.bytes, nullptr);
  EXPECT_EQ(step.token.bytes[0], 22) << "a handshake record";
  tls().free_token(&service, &step.token);
  EXPECT_EQ(step.token.bytes, nullptr);

  step.started = true;
  const uint8_t part[] = {22, 3};
  step.bytes = part;
  step.length = sizeof part;
  EXPECT_EQ(tls().step(&service, &credentials, &context, &step), XP_TLS_INCOMPLETE);
  // A fatal alert: handshake failure.
  const uint8_t alert[] = {21, 3, 3, 0, 2, 2, 40};
  step.bytes = alert;
  step.length = sizeof alert;
  EXPECT_EQ(tls().step(&service, &credentials, &context, &step), XP_TLS_REFUSED);
  if (step.explained) tls().free_token(&service, &step.token);
  tls().delete_context(&service, &context);
  tls().free_credentials(&service, &credentials);
  tls().unload(&service);
}

TEST(windows_tls, StoresOfEachPlaceAndWhatIsNoPfx) {
  EXPECT_TRUE(tls().can_import());
  EXPECT_FALSE(tls().is_pfx("junk", 4));
  EXPECT_EQ(tls().import_pfx("junk", 4, "password"), nullptr);
  xp_tls_store* mine = tls().open_store(XP_TLS_STORE_USER, "MY");
  ASSERT_NE(mine, nullptr);
  for (const char* subject : {"no certificate of that name", "kein Zertifikat für Müller"})
    EXPECT_EQ(tls().find_certificate(mine, subject), nullptr);
  tls().close_store(mine);
  EXPECT_EQ(tls().open_store(XP_TLS_STORE_MACHINE, "No such store"), nullptr);
  xp_tls_store* roots = tls().open_store(XP_TLS_STORE_MACHINE, "Root");
  ASSERT_NE(roots, nullptr) << "the machine's store is opened by its wide name";
  tls().close_store(roots);
}

}  // namespace
