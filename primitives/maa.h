// Message Authenticator Algorithm (MAA) of ISO 8731-2, keyed by two 32-bit
// words J and K, giving a 32-bit MAC. Messages are read as big-endian 32-bit
// words; a final partial word is completed with zero bytes. Messages of more
// than 256 words are processed in segments of 256 words, the MAC of each
// segment being placed in front of the next one.
#pragma once

#include <cstdint>
#include <memory>

#include "primitives/digest.h"

namespace sigillo {

// J and K are 4 bytes each, big-endian; the result is 4 bytes, big-endian.
std::unique_ptr<Digest> newMaa(const uint8_t j[4], const uint8_t k[4]);

// The algorithm's building blocks, under the names the standard gives them.
namespace maa {

// X * Y modulo 2^32 - 1 (the result may also be 2^32 - 1 itself).
uint32_t mul1(uint32_t x, uint32_t y);
// X * Y modulo 2^32 - 2 (the result may also be 2^32 - 2 or 2^32 - 1).
uint32_t mul2(uint32_t x, uint32_t y);
// MUL2 shortened for products whose upper half is below 2^31, as in the loop.
uint32_t mul2a(uint32_t x, uint32_t y);

// BYT and PAT: bytes 00 and FF of X || Y are replaced so that no word is
// weak; `pattern` records (most significant bit first) which bytes were.
struct Conditioned {
  uint32_t x;
  uint32_t y;
  uint8_t pattern;
};
Conditioned byt(uint32_t x, uint32_t y);

// The key-dependent starting values computed once per key.
struct Prelude {
  uint32_t x0;
  uint32_t y0;
  uint32_t v0;
  uint32_t w;
  uint32_t s;
  uint32_t t;
};
Prelude prelude(uint32_t j, uint32_t k);

}  // namespace maa
}  // namespace sigillo
