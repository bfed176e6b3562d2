// Two guards that release at the end of a scope, and nothing more: a reference to an object, and
// a block of the process heap. Neither can be copied. `take()` hands the owned thing on, and
// stands in the success line of a function.
#pragma once

#include "object/xp_object.h"

template <class T = xp_object>
class xp_ref {
 public:
  xp_ref() = default;
  // Takes over one reference of the caller's; null is fine.
  explicit xp_ref(T* object) : object_(object) {}
  xp_ref(xp_ref&& other) noexcept : object_(other.take()) {}
  xp_ref(const xp_ref&) = delete;
  xp_ref& operator=(const xp_ref&) = delete;
  xp_ref& operator=(xp_ref&& other) noexcept {
    reset(other.take());
    return *this;
  }
  ~xp_ref() { xp_object_release(object_); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // Hands the reference on to the caller.
  [[nodiscard]] T* take() {
    T* object = object_;
    object_ = nullptr;
    return object;
  }
  // Owns `object` instead. The new one is stored before the old one is dropped.
  void reset(T* object = nullptr) {
    T* old = object_;
    object_ = object;
    xp_object_release(old);
  }

 private:
  T* object_ = nullptr;
};

template <class T = char>
class xp_block {
 public:
  xp_block() = default;
  explicit xp_block(T* block) : block_(block) {}
  // A zero-filled block of `count` elements; null inside when memory is out.
  static xp_block of(size_t count) {
    return xp_block(static_cast<T*>(xp_heap_alloc(count * sizeof(T))));
  }
  xp_block(xp_block&& other) noexcept : block_(other.take()) {}
  xp_block(const xp_block&) = delete;
  xp_block& operator=(const xp_block&) = delete;
  xp_block& operator=(xp_block&& other) noexcept {
    reset(other.take());
    return *this;
  }
  ~xp_block() { xp_heap_free(block_); }

  T* get() const { return block_; }
  T& operator[](size_t index) const { return block_[index]; }
  explicit operator bool() const { return block_ != nullptr; }

  [[nodiscard]] T* take() {
    T* block = block_;
    block_ = nullptr;
    return block;
  }
  void reset(T* block = nullptr) {
    T* old = block_;
    block_ = block;
    xp_heap_free(old);
  }

 private:
  T* block_ = nullptr;
};
