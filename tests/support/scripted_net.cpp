#include "tests/support/scripted_net.h"

#include <string.h>

// One address of a scripted list.
struct xp_resolved {
  scripted_net* net;
  std::string host;
  std::string service;
  xp_resolved* next;
};

namespace {

scripted_net* active;

struct scripted_socket {
  scripted_peer* peer = nullptr;
  bool open = false;
  bool listening = false;
  bool connecting = false;
  int64_t ready_at = 0;  // when the next step may happen
};

std::vector<scripted_socket> sockets;

scripted_socket* socket_of(xp_socket_handle handle) {
  if (handle < 0 || static_cast<size_t>(handle) >= sockets.size()) return nullptr;
  scripted_socket* socket = &sockets[static_cast<size_t>(handle)];
  return socket->open ? socket : nullptr;
}

void net_start() {}

xp_resolved* net_resolve(const char* host, const char* service) {
  active->lookups++;
  if (!active->resolves || scripted_call_fails("resolve")) return nullptr;
  if (!host) active->last_listen = service;
  xp_resolved* list = nullptr;
  for (int i = 0; i < active->addresses; i++)
    list = new xp_resolved{active, host ? host : "", service, list};
  active->lists++;
  return list;
}

const xp_resolved* net_next(const xp_resolved* address) {
  return address->next;
}

void net_free(xp_resolved* list) {
  if (list) active->lists--;
  while (list) {
    xp_resolved* next = list->next;
    delete list;
    list = next;
  }
}

// The form of this platform: one byte that tells the family, then the parts.
uint32_t net_address_bytes(const xp_resolved* address, void* out, uint32_t size) {
  const bool v6 = address->host.find("::") != std::string::npos;
  uint8_t bytes[19] = {static_cast<uint8_t>(v6 ? 6 : 4), 10, 0, 0, 1};
  const int port = atoi(address->service.c_str());
  const uint32_t end = v6 ? 17 : 5;
  bytes[end] = static_cast<uint8_t>(port >> 8);
  bytes[end + 1] = static_cast<uint8_t>(port);
  memcpy(out, bytes, end + 2 < size ? end + 2 : size);
  return end + 2;
}

uint32_t net_address_parts(const void* address, uint8_t out[18]) {
  const auto* bytes = static_cast<const uint8_t*>(address);
  const uint32_t size = *bytes == 4 ? 6 : 18;
  memcpy(out, bytes + 1, size);
  return size;
}

xp_socket_handle net_create(const xp_resolved*) {
  if (scripted_call_fails("create")) return XP_SOCKET_INVALID;
  sockets.push_back({});
  sockets.back().open = true;
  active->open++;
  return static_cast<xp_socket_handle>(sockets.size() - 1);
}

void net_close(xp_socket_handle handle) {
  scripted_socket* socket = socket_of(handle);
  ASSERT_NE(socket, nullptr) << "closed twice, or never open";
  socket->open = false;
  active->open--;
}

bool net_set_nonblocking(xp_socket_handle) {
  return !scripted_call_fails("set_nonblocking");
}

void net_set_reuse_address(xp_socket_handle) {}

xp_socket_error net_pending_error(xp_socket_handle handle) {
  if (scripted_call_fails("pending_error")) return XP_SOCKET_FAILED;
  const scripted_socket* socket = socket_of(handle);
  return socket->peer && socket->peer->refused ? XP_SOCKET_FAILED : XP_SOCKET_OK;
}

scripted_peer* next_peer() {
  static scripted_peer refusing;
  refusing.refused = true;
  for (scripted_peer& peer : active->peers)
    if (peer.host.empty()) return &peer;
  return &refusing;
}

// The first call starts the attempt, the second tells what became of it.
xp_socket_error net_connect(xp_socket_handle handle, const xp_resolved* address) {
  if (scripted_call_fails("connect")) return XP_SOCKET_FAILED;
  scripted_socket* socket = socket_of(handle);
  if (!socket->peer) {
    socket->peer = next_peer();
    if (!socket->peer->refused) {
      socket->peer->host = address->host;
      socket->peer->service = address->service;
    }
    socket->connecting = true;
    return XP_SOCKET_WOULD_BLOCK;
  }
  if (socket->peer->refused) return XP_SOCKET_FAILED;
  socket->connecting = false;
  socket->ready_at = active->now;
  return XP_SOCKET_CONNECTED;
}

xp_socket_error net_bind(xp_socket_handle, const xp_resolved*) {
  return scripted_call_fails("bind") ? XP_SOCKET_FAILED : XP_SOCKET_OK;
}

xp_socket_error net_listen(xp_socket_handle handle, int32_t) {
  if (scripted_call_fails("listen")) return XP_SOCKET_FAILED;
  socket_of(handle)->listening = true;
  return XP_SOCKET_OK;
}

xp_socket_error net_accept(xp_socket_handle, xp_socket_handle* out, void* address) {
  if (scripted_call_fails("accept")) return XP_SOCKET_FAILED;
  scripted_peer* peer = next_peer();
  if (peer->refused || peer->unreachable) return XP_SOCKET_WOULD_BLOCK;
  peer->host = "accepted";
  *out = net_create(nullptr);
  if (*out == XP_SOCKET_INVALID) return XP_SOCKET_FAILED;
  sockets[static_cast<size_t>(*out)].peer = peer;
  sockets[static_cast<size_t>(*out)].ready_at = active->now;
  const xp_resolved from{active, "", "4660", nullptr};
  net_address_bytes(&from, address, XP_SOCKET_ADDRESS_SIZE);
  return XP_SOCKET_OK;
}

int32_t net_send(xp_socket_handle handle, const void* bytes, int32_t length,
                 xp_socket_error* error) {
  *error = XP_SOCKET_FAILED;
  scripted_socket* socket = socket_of(handle);
  if (scripted_call_fails("send") || !socket || !socket->peer || socket->peer->send_fails)
    return -1;
  scripted_peer* peer = socket->peer;
  *error = XP_SOCKET_WOULD_BLOCK;
  if (peer->send_blocks) return -1;
  *error = XP_SOCKET_OK;
  if (peer->send_limit > 0 && length > peer->send_limit) length = peer->send_limit;
  peer->sent.append(static_cast<const char*>(bytes), static_cast<size_t>(length));
  if (length > 0) peer->sends++;
  return length;
}

// The step that is due, or null.
peer_step* due_step(scripted_socket* socket) {
  std::deque<peer_step>& steps = socket->peer->steps;
  static peer_step ending{peer_step::END, "", 0};
  if (steps.empty()) return &ending;
  if (steps.front().what == peer_step::SILENCE) return nullptr;
  return socket->ready_at + steps.front().delay <= active->now ? &steps.front() : nullptr;
}

int32_t net_recv(xp_socket_handle handle, void* buffer, int32_t length, xp_socket_error* error) {
  *error = XP_SOCKET_FAILED;
  scripted_socket* socket = socket_of(handle);
  if (scripted_call_fails("recv") || !socket || !socket->peer) return -1;
  peer_step* step = due_step(socket);
  if (!step || (length == 0 && step->what != peer_step::RESET)) {
    *error = XP_SOCKET_WOULD_BLOCK;
    return -1;
  }
  if (length > 0) socket->peer->receives++;
  if (step->what == peer_step::RESET) {
    *error = XP_SOCKET_RESET;
    return -1;
  }
  *error = XP_SOCKET_OK;
  if (step->what == peer_step::END) return 0;
  const size_t count = std::min(step->bytes.size(), static_cast<size_t>(length));
  memcpy(buffer, step->bytes.data(), count);
  step->bytes.erase(0, count);
  step->delay = 0;
  if (step->bytes.empty()) socket->peer->steps.pop_front();
  socket->ready_at = active->now;
  return static_cast<int32_t>(count);
}

int32_t wait_until(int64_t when, int32_t seconds, int32_t events) {
  const bool comes = when >= 0 && (seconds < 0 || when <= active->now + seconds);
  if (!comes && seconds < 0) {
    active->stuck = true;
    return -1;
  }
  const int64_t end = comes ? std::max(when, active->now) : active->now + seconds;
  active->waited += end - active->now;
  active->now = end;
  return comes ? events : 0;
}

int32_t net_wait(xp_socket_handle handle, uint32_t events, int32_t seconds) {
  scripted_socket* socket = socket_of(handle);
  if (scripted_call_fails("wait") || !socket) return -1;
  if (socket->listening) {
    const scripted_peer* peer = next_peer();
    return wait_until(peer->refused || peer->unreachable ? -1 : active->now, seconds,
                      XP_SOCKET_READABLE);
  }
  if (!socket->peer) return XP_SOCKET_WRITABLE;  // a failed attempt has nothing to wait for
  if (socket->connecting)
    return wait_until(socket->peer->unreachable ? -1 : active->now, seconds, XP_SOCKET_WRITABLE);
  if (events & XP_SOCKET_WRITABLE)
    return wait_until(socket->peer->send_blocks ? -1 : active->now, seconds, XP_SOCKET_WRITABLE);
  const std::deque<peer_step>& steps = socket->peer->steps;
  int64_t when = active->now;
  if (!steps.empty())
    when = steps.front().what == peer_step::SILENCE ? -1 : socket->ready_at + steps.front().delay;
  return wait_until(when, seconds, XP_SOCKET_READABLE);
}

bool net_host_name(char* out, uint32_t size) {
  if (scripted_call_fails("host_name")) return false;
  strncpy(out, "scripted", size);
  return true;
}

}  // namespace

// A connection that has failed stays broken, unless the failure is a single one.
bool scripted_call_fails(const char* slot) {
  if (active->call_failed) return !active->fail_once;
  if (active->fail_call < 0 || active->fail_call-- > 0) return false;
  active->call_failed = true;
  active->failed_call = slot;
  return true;
}

scripted_net::scripted_net() {
  active = this;
  sockets.clear();
  fake.sockets = {.start = net_start,
                  .resolve = net_resolve,
                  .next = net_next,
                  .free_resolved = net_free,
                  .address_bytes = net_address_bytes,
                  .address_parts = net_address_parts,
                  .create = net_create,
                  .close = net_close,
                  .set_nonblocking = net_set_nonblocking,
                  .set_reuse_address = net_set_reuse_address,
                  .pending_error = net_pending_error,
                  .connect = net_connect,
                  .bind = net_bind,
                  .listen = net_listen,
                  .accept = net_accept,
                  .send = net_send,
                  .recv = net_recv,
                  .wait = net_wait,
                  .host_name = net_host_name};
}

scripted_net::~scripted_net() {
  EXPECT_EQ(open, 0) << "sockets left open";
  EXPECT_EQ(lists, 0) << "address lists left";
  EXPECT_FALSE(stuck) << "a wait without limit that nothing would have ended";
  active = nullptr;
}

scripted_peer& scripted_net::add(std::string bytes) {
  peers.emplace_back();
  if (!bytes.empty()) peers.back().bytes(std::move(bytes));
  return peers.back();
}
