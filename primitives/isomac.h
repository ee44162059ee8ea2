// DES-based CBC-MACs of ISO/IEC 9797-1 with padding method 1: the message is
// completed with zero bytes to a multiple of 8 (an empty message becomes one
// zero block), chained through DES in CBC mode from a zero IV, and the last
// block goes through the algorithm's output transformation. Results are 8 bytes.
#pragma once

#include <cstdint>
#include <memory>

#include "primitives/digest.h"

namespace sigillo {

// MAC algorithm 1 (ANSI X9.9): the last CBC block as it is.
std::unique_ptr<Digest> newIsoMac1(const uint8_t key[8]);

// MAC algorithm 2: the last CBC block encrypted once more under k2.
std::unique_ptr<Digest> newIsoMac2(const uint8_t k1[8], const uint8_t k2[8]);

// MAC algorithm 3 (ANSI X9.19 retail MAC): the last CBC block decrypted under
// k2 and encrypted again under k1.
std::unique_ptr<Digest> newIsoMac3(const uint8_t k1[8], const uint8_t k2[8]);

}  // namespace sigillo
