// RC4 stream cipher: a key of 1 to 256 bytes sets up a 256-byte permutation
// that generates the key stream XORed with the data. Encryption and
// decryption are the same operation.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sigillo {

class Rc4 {
 public:
  static constexpr size_t kMaxKeySize = 256;

  Rc4() = default;
  ~Rc4();
  Rc4(const Rc4&) = delete;
  Rc4& operator=(const Rc4&) = delete;

  // Starts the key stream from its beginning. `length` is 1 to kMaxKeySize;
  // anything else throws std::invalid_argument (callers check first).
  void setKey(const uint8_t* key, size_t length);
  // XORs the next `length` bytes of the key stream into `in`, giving `out`;
  // the stream continues where the previous call stopped. `in` and `out` may
  // be the same buffer.
  void process(const uint8_t* in, uint8_t* out, size_t length);

 private:
  std::array<uint8_t, 256> state_{};
  uint8_t i_ = 0;
  uint8_t j_ = 0;
};

}  // namespace sigillo
