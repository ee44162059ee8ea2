// Repeatable RSA key generation: every random value comes from one seeded
// HMAC_DRBG, so the same seed, size and public exponent give the same key.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/drbg.h"
#include "primitives/usvbn.h"

namespace sigillo {

constexpr size_t kRsaSeedSize = 32;

struct RsaKey {
  BnPtr n, d, p, q, exp1, exp2, crt;
};

// Generates a key of `nbits` bits (a multiple of 16, at least 512) with the
// public exponent `e` (odd, at least 3), p > q.  False when libcrypto fails
// or no key turns up within the search bounds.
bool rsaGenerateKey(HmacDrbg& drbg, uint32_t nbits, const BIGNUM* e, RsaKey& key);

// The same from a seed of kRsaSeedSize bytes: instantiates a generator with
// the seed and the personalization "RSAGENK" || nbits (4 bytes, big-endian)
// || e (big-endian, no leading zero bytes).
bool rsaKeyFromSeed(const uint8_t* seed, uint32_t nbits, const BIGNUM* e, RsaKey& key);

}  // namespace sigillo
