// Cuts a byte stream fed in pieces of any size into the fixed-size blocks a
// block-oriented digest works on, holding back the incomplete tail.
#pragma once

#include <openssl/crypto.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace sigillo {

template <size_t kSize>
class BlockBuffer {
 public:
  BlockBuffer() = default;
  ~BlockBuffer() { OPENSSL_cleanse(bytes_.data(), kSize); }
  BlockBuffer(const BlockBuffer&) = delete;
  BlockBuffer& operator=(const BlockBuffer&) = delete;

  // Calls consume(const uint8_t* block) for each block completed by these bytes.
  template <class Consume>
  void feed(const uint8_t* data, size_t length, Consume&& consume) {
    if (length == 0) return;
    if (held_ > 0) {
      const size_t taken = length < kSize - held_ ? length : kSize - held_;
      std::memcpy(bytes_.data() + held_, data, taken);
      held_ += taken;
      data += taken;
      length -= taken;
      if (held_ < kSize) return;
      consume(bytes_.data());
      held_ = 0;
    }
    for (; length >= kSize; data += kSize, length -= kSize) consume(data);
    std::memcpy(bytes_.data(), data, length);
    held_ = length;
  }

  // Completes a held tail with zero bytes and consumes it; returns whether
  // there was one.
  template <class Consume>
  bool flushZeroPadded(Consume&& consume) {
    if (held_ == 0) return false;
    std::memset(bytes_.data() + held_, 0, kSize - held_);
    consume(bytes_.data());
    held_ = 0;
    return true;
  }

  size_t held() const { return held_; }

 private:
  std::array<uint8_t, kSize> bytes_{};
  size_t held_ = 0;
};

}  // namespace sigillo
