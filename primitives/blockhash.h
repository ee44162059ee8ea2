// Hash functions built on DES as ISO/IEC 10118-2 describes them. The message
// is completed with zero bytes to a multiple of 8 when its length is not one
// already (an empty message leaves the starting values as the result); each
// 8-byte block D then updates the chaining value H as E_u(H)(D) XOR D, where
// u(H) is H with the second and third bits of its first byte forced to 1 and 0.
#pragma once

#include <cstdint>
#include <memory>

#include "primitives/digest.h"

namespace sigillo {

// Hash function one (single length, Matyas-Meyer-Oseas): 8 bytes.
std::unique_ptr<Digest> newHf1(const uint8_t iv[8]);

// Hash function two (double length, MDC-2): two chains started from iv1 and
// iv2, the second keyed with those bits forced to 0 and 1 instead, exchanging
// the right halves of their results after every block; 16 bytes, the first
// chain's value followed by the second's.
std::unique_ptr<Digest> newHf2(const uint8_t iv1[8], const uint8_t iv2[8]);

}  // namespace sigillo
