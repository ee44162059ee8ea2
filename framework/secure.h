// Buffers for keys, passwords and other secrets: wiped when released.
#pragma once

#include <openssl/crypto.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace sigillo {

template <class T>
struct WipingAllocator {
  using value_type = T;
  WipingAllocator() = default;
  template <class U>
  WipingAllocator(const WipingAllocator<U>&) {}
  T* allocate(size_t n) { return static_cast<T*>(::operator new(n * sizeof(T))); }
  void deallocate(T* p, size_t n) {
    OPENSSL_cleanse(p, n * sizeof(T));
    ::operator delete(p);
  }
  template <class U>
  bool operator==(const WipingAllocator<U>&) const {
    return true;
  }
};

using SecureBytes = std::vector<uint8_t, WipingAllocator<uint8_t>>;

}  // namespace sigillo
