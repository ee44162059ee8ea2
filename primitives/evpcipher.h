// Bulk enciphering by libcrypto (AES, triple DES) with the key schedule
// kept between calls, and a one-block view of the same ciphers for the
// modes libcrypto lacks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "framework/secure.h"
#include "primitives/blockcipher.h"

namespace sigillo {

// One libcrypto cipher family ("AES-128", "DES-EDE3", ...) under one key.
class EvpKey {
 public:
  // `family` is the name without the mode; the key length picks AES-128/192/256.
  EvpKey(const char* family, const uint8_t* key, size_t keyLength);
  ~EvpKey();
  EvpKey(const EvpKey&) = delete;
  EvpKey& operator=(const EvpKey&) = delete;

  // Runs `mode` ("ECB", "CBC", "CFB8", "CFB1", "CFB", "OFB") over the
  // buffer; `iv` (null for ECB) is read and left as the next call needs it.
  // False when libcrypto fails.
  bool run(const char* mode, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
           bool decrypt);
  // The single-block cipher under the same key; null if libcrypto fails.
  const BlockCipher* block();
  size_t blockSize() const { return blockSize_; }

 private:
  struct Contexts;
  std::unique_ptr<Contexts> contexts_;
  size_t blockSize_;
};

}  // namespace sigillo
