// FEAL-8 (Shimizu and Miyaguchi; the N = 8 member of Miyaguchi's FEAL-N
// family): 8-byte blocks, 8-byte keys, eight Feistel rounds whose function is
// built from byte additions and 2-bit rotations. The key schedule turns the key
// into sixteen 16-bit subkeys: eight for the rounds, four XORed into the block
// before them and four after. Blocks and keys are big-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"

namespace sigillo {

class Feal final : public BlockCipher {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kKeySize = 8;

  Feal() = default;
  ~Feal() override;

  // All 64 key bits are used (there are no parity bits).
  void setKey(const uint8_t key[kKeySize]);
  size_t blockSize() const override { return kBlockSize; }
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t* in, uint8_t* out) const override;
  void decryptBlock(const uint8_t* in, uint8_t* out) const override;

 private:
  std::array<uint16_t, 16> subkeys_{};
};

}  // namespace sigillo
