// One block of a block cipher at a time: the interface the modes of operation
// (ECB, CBC, CFB, OFB, CTS) are written against, whatever the cipher.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo {

class BlockCipher {
 public:
  virtual ~BlockCipher() = default;
  BlockCipher(const BlockCipher&) = delete;
  BlockCipher& operator=(const BlockCipher&) = delete;

  // Bytes in one block; `in` and `out` below point to that many bytes.
  virtual size_t blockSize() const = 0;
  // `in` and `out` may be the same block.
  virtual void encryptBlock(const uint8_t* in, uint8_t* out) const = 0;
  virtual void decryptBlock(const uint8_t* in, uint8_t* out) const = 0;

 protected:
  BlockCipher() = default;
};

}  // namespace sigillo
