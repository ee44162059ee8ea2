// IDEA (Lai and Massey, 1991): 8-byte blocks, 16-byte keys, eight rounds
// mixing XOR, addition modulo 2^16 and multiplication modulo 2^16 + 1, then
// an output transformation. Blocks and keys are read as big-endian 16-bit
// words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"

namespace sigillo {

class Idea final : public BlockCipher {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kKeySize = 16;

  Idea() = default;
  ~Idea() override;

  void setKey(const uint8_t key[kKeySize]);
  size_t blockSize() const override { return kBlockSize; }
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t* in, uint8_t* out) const override;
  void decryptBlock(const uint8_t* in, uint8_t* out) const override;

 private:
  // Six subkeys for each of the eight rounds, four for the output step.
  static constexpr size_t kSubkeys = 52;
  std::array<uint16_t, kSubkeys> encryptKeys_{};
  std::array<uint16_t, kSubkeys> decryptKeys_{};
};

}  // namespace sigillo
