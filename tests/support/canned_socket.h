// A socket table for one connection that takes everything and delivers the bytes it was given, at
// most `piece` at a time. For fuzz targets and benchmarks, which link no test library.
#pragma once

#include <string.h>

#include <algorithm>

#include "platform/platform.h"

class canned_socket {
 public:
  canned_socket() : real_(xp_platform), set_(*xp_platform), ops_() {
    current() = this;
    ops_.start = [] {};
    ops_.resolve = [](const char*, const char*) { return reinterpret_cast<xp_resolved*>(1); };
    ops_.next = [](const xp_resolved*) { return static_cast<const xp_resolved*>(nullptr); };
    ops_.free_resolved = [](xp_resolved*) {};
    ops_.address_bytes = [](const xp_resolved*, void*, uint32_t) { return 0u; };
    ops_.create = [](const xp_resolved*) { return xp_socket_handle{1}; };
    ops_.close = [](xp_socket_handle) {};
    ops_.set_nonblocking = [](xp_socket_handle) { return true; };
    // A redirect to ":port" names a socket that listens; here no port is to be had.
    ops_.set_reuse_address = [](xp_socket_handle) {};
    ops_.bind = [](xp_socket_handle, const xp_resolved*) { return XP_SOCKET_FAILED; };
    ops_.connect = [](xp_socket_handle, const xp_resolved*) { return XP_SOCKET_OK; };
    ops_.send = [](xp_socket_handle, const void*, int32_t length, xp_socket_error* error) {
      *error = XP_SOCKET_OK;
      return length;
    };
    ops_.recv = [](xp_socket_handle, void* buffer, int32_t length, xp_socket_error* error) {
      *error = XP_SOCKET_OK;
      return current()->take(buffer, static_cast<size_t>(length));
    };
    set_.sockets = &ops_;
    xp_platform = &set_;
  }
  ~canned_socket() { xp_platform = real_; }
  canned_socket(const canned_socket&) = delete;
  canned_socket& operator=(const canned_socket&) = delete;

  void deliver(const void* bytes, size_t size, size_t piece = SIZE_MAX) {
    bytes_ = static_cast<const char*>(bytes);
    left_ = size;
    piece_ = piece;
  }

 private:
  static canned_socket*& current() {
    static canned_socket* socket;
    return socket;
  }
  int32_t take(void* buffer, size_t length) {
    const size_t count = std::min({left_, length, piece_});
    if (count > 0) memcpy(buffer, bytes_, count);
    bytes_ += count;
    left_ -= count;
    return static_cast<int32_t>(count);
  }

  const xp_platform_set* real_;
  xp_platform_set set_;
  xp_socket_ops ops_;
  const char* bytes_ = nullptr;
  size_t left_ = 0;
  size_t piece_ = SIZE_MAX;
};
