// Digests and HMACs computed by libcrypto.
#pragma once

#include <memory>

#include "primitives/digest.h"

namespace sigillo {

// `name` is a libcrypto digest name ("SHA256", "RIPEMD160", ...).  Null
// when libcrypto does not offer it (the error is recorded).
std::unique_ptr<Digest> newEvpDigest(const char* name);
std::unique_ptr<Digest> newHmac(const char* digestName, const uint8_t* key, size_t keyLength);

}  // namespace sigillo
