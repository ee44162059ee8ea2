// DESX (Rivest): DES with key whitening. Three 8-byte keys: K for DES, K1
// XORed into the block before DES and K2 after, C = K2 XOR DES_K(P XOR K1).
// The three keys are independent; the parity bits of K are ignored, all 64
// bits of K1 and K2 count.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"
#include "primitives/des.h"

namespace sigillo {

class Desx final : public BlockCipher {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kKeySize = 8;

  Desx() = default;
  ~Desx() override;

  void setKeys(const uint8_t k[kKeySize], const uint8_t k1[kKeySize], const uint8_t k2[kKeySize]);
  size_t blockSize() const override { return kBlockSize; }
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t* in, uint8_t* out) const override;
  void decryptBlock(const uint8_t* in, uint8_t* out) const override;

 private:
  Des des_;
  std::array<uint8_t, kBlockSize> preWhitening_{};
  std::array<uint8_t, kBlockSize> postWhitening_{};
};

}  // namespace sigillo
