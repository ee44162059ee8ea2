// RC2 (RFC 2268): 8-byte blocks, keys of 1 to 128 bytes, and an effective key
// length of 1 to 1024 bits that limits the expanded key to that many bits of
// search space whatever the key's length. Blocks are read as four
// little-endian 16-bit words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"

namespace sigillo {

class Rc2 final : public BlockCipher {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kMaxKeySize = 128;
  static constexpr unsigned kMaxEffectiveBits = 1024;

  Rc2() = default;
  ~Rc2() override;

  // `length` is 1 to kMaxKeySize and `effectiveBits` 1 to kMaxEffectiveBits;
  // anything else throws std::invalid_argument (callers check first).
  void setKey(const uint8_t* key, size_t length, unsigned effectiveBits);
  size_t blockSize() const override { return kBlockSize; }
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t* in, uint8_t* out) const override;
  void decryptBlock(const uint8_t* in, uint8_t* out) const override;

 private:
  std::array<uint16_t, 64> keyWords_{};
};

}  // namespace sigillo
