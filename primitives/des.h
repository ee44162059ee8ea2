// Single DES block cipher (FIPS 46-3): one 8-byte block at a time, for the DES
// modes, DESX, the DES-based MACs and hash functions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sigillo {

class Des {
 public:
  static constexpr size_t kBlockSize = 8;
  static constexpr size_t kKeySize = 8;

  Des() = default;
  ~Des();
  Des(const Des&) = delete;
  Des& operator=(const Des&) = delete;

  // The low bit of every key byte (the parity bit) is ignored.
  void setKey(const uint8_t key[kKeySize]);
  // `in` and `out` may be the same block.
  void encryptBlock(const uint8_t in[kBlockSize], uint8_t out[kBlockSize]) const;
  void decryptBlock(const uint8_t in[kBlockSize], uint8_t out[kBlockSize]) const;

 private:
  static constexpr size_t kRounds = 16;
  // Two words per round, laid out for the combined S-P tables of des.cpp.
  std::array<uint32_t, 2 * kRounds> subkeys_{};
};

}  // namespace sigillo
