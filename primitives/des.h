// Single DES block cipher (FIPS 46-3): one 8-byte block at a time, for the DES
// modes, DESX, the DES-based MACs and hash functions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"

namespace sigillo {

class Des : public BlockCipher {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kKeySize = 8;

  Des() = default;
  ~Des() override;
  Des(const Des&) = delete;
  Des& operator=(const Des&) = delete;

  // The low bit of every key byte (the parity bit) is ignored.
  void setKey(const uint8_t key[kKeySize]);
  size_t blockSize() const override { return kBlockSize; }
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t* in, uint8_t* out) const override;
  void decryptBlock(const uint8_t* in, uint8_t* out) const override;

 private:
  static constexpr size_t kRounds = 16;
  // Two words per round, laid out for the combined S-P tables of des.cpp.
  std::array<uint32_t, 2 * kRounds> subkeys_{};
};

}  // namespace sigillo
