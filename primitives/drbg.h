// The library's seeded, repeatable random generator: HMAC_DRBG with
// SHA-256 (NIST SP 800-90A), without prediction resistance.  The same seed
// always gives the same stream; key material that must be unpredictable
// comes from libcrypto's CSPRNG instead.
#pragma once

#include <cstddef>
#include <cstdint>

#include "framework/secure.h"

namespace sigillo {

class HmacDrbg {
 public:
  HmacDrbg() = default;
  // entropy || nonce || personalization as SP 800-90A instantiates.
  void instantiate(const uint8_t* seed, size_t seedLength, const uint8_t* personal = nullptr,
                   size_t personalLength = 0);
  void reseed(const uint8_t* entropy, size_t length, const uint8_t* additional = nullptr,
              size_t additionalLength = 0);
  // False before instantiate.
  bool generate(uint8_t* out, size_t length, const uint8_t* additional = nullptr,
                size_t additionalLength = 0);
  bool instantiated() const { return instantiated_; }

 private:
  void update(const uint8_t* data1, size_t length1, const uint8_t* data2, size_t length2);
  SecureBytes key_ = SecureBytes(32);
  SecureBytes value_ = SecureBytes(32);
  bool instantiated_ = false;
};

// The process-wide generator seeded by INITRAND and read by GENRAND.
HmacDrbg& processDrbg();

}  // namespace sigillo
