// RC5-32/r/b (Rivest 1994; RFC 2040): 8-byte blocks read as two
// little-endian 32-bit words, keys of 0 to 255 bytes, 0 to 255 rounds of
// XOR, data-dependent rotation and addition. RC5-32/12/16 is the usual choice.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"

namespace sigillo {

class Rc5 final : public BlockCipher {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kMaxKeySize = 255;
  static constexpr unsigned kMaxRounds = 255;

  Rc5() = default;
  ~Rc5() override;

  // `length` is 0 to kMaxKeySize and `rounds` 0 to kMaxRounds; anything else
  // throws std::invalid_argument (callers check first).
  void setKey(const uint8_t* key, size_t length, unsigned rounds);
  size_t blockSize() const override { return kBlockSize; }
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t* in, uint8_t* out) const override;
  void decryptBlock(const uint8_t* in, uint8_t* out) const override;

 private:
  // Two words for the input step and two per round.
  std::array<uint32_t, 2 * (kMaxRounds + 1)> table_{};
  unsigned rounds_ = 0;
};

}  // namespace sigillo
