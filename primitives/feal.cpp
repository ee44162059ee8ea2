// FEAL-8. Words are handled as four bytes a0 a1 a2 a3, a0 the most significant.
#include "primitives/feal.h"

#include <openssl/crypto.h>

#include <bit>

namespace sigillo {
namespace {

constexpr size_t kRounds = 8;

// S0 and S1: the byte sum (plus d) rotated left by two bits.
uint8_t s(uint8_t x, uint8_t y, uint8_t d) { return std::rotl(static_cast<uint8_t>(x + y + d), 2); }

uint8_t byteOf(uint32_t word, int index) { return static_cast<uint8_t>(word >> (24 - 8 * index)); }

uint32_t join(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3) {
  return static_cast<uint32_t>(b0) << 24 | static_cast<uint32_t>(b1) << 16 |
         static_cast<uint32_t>(b2) << 8 | b3;
}

// The round function f(A, Y) for a 32-bit A and a 16-bit subkey Y.
uint32_t roundFunction(uint32_t a, uint16_t y) {
  const uint8_t a0 = byteOf(a, 0);
  const uint8_t a3 = byteOf(a, 3);
  const uint8_t t1 = a0 ^ byteOf(a, 1) ^ static_cast<uint8_t>(y >> 8);
  const uint8_t t2 = byteOf(a, 2) ^ a3 ^ static_cast<uint8_t>(y);
  const uint8_t f1 = s(t1, t2, 1);
  const uint8_t f2 = s(t2, f1, 0);
  return join(s(a0, f1, 0), f1, f2, s(a3, f2, 1));
}

// The key-schedule function fK(A, B) for 32-bit A and B.
uint32_t keyFunction(uint32_t a, uint32_t b) {
  const uint8_t a0 = byteOf(a, 0);
  const uint8_t a3 = byteOf(a, 3);
  const uint8_t t1 = a0 ^ byteOf(a, 1);
  const uint8_t t2 = byteOf(a, 2) ^ a3;
  const uint8_t f1 = s(t1, t2 ^ byteOf(b, 0), 1);
  const uint8_t f2 = s(t2, f1 ^ byteOf(b, 1), 0);
  return join(s(a0, f1 ^ byteOf(b, 2), 0), f1, f2, s(a3, f2 ^ byteOf(b, 3), 1));
}

uint32_t load32(const uint8_t* p) { return join(p[0], p[1], p[2], p[3]); }

void store32(uint8_t* p, uint32_t value) {
  for (int i = 0; i < 4; ++i) p[i] = byteOf(value, i);
}

uint32_t pair(const uint16_t* subkeys, size_t first) {
  return static_cast<uint32_t>(subkeys[first]) << 16 | subkeys[first + 1];
}

}  // namespace

Feal::~Feal() { OPENSSL_cleanse(subkeys_.data(), sizeof(subkeys_)); }

void Feal::setKey(const uint8_t key[kKeySize]) {
  uint32_t older = 0;
  uint32_t a = load32(key);
  uint32_t b = load32(key + 4);
  for (size_t i = 0; i < subkeys_.size(); i += 2) {
    const uint32_t next = keyFunction(a, b ^ older);
    subkeys_[i] = static_cast<uint16_t>(next >> 16);
    subkeys_[i + 1] = static_cast<uint16_t>(next);
    older = a;
    a = b;
    b = next;
  }
  OPENSSL_cleanse(&older, sizeof older);
  OPENSSL_cleanse(&a, sizeof a);
  OPENSSL_cleanse(&b, sizeof b);
}

void Feal::encryptBlock(const uint8_t* in, uint8_t* out) const {
  uint32_t left = load32(in) ^ pair(subkeys_.data(), 8);
  uint32_t right = load32(in + 4) ^ pair(subkeys_.data(), 10) ^ left;
  for (size_t round = 0; round < kRounds; ++round) {
    const uint32_t next = left ^ roundFunction(right, subkeys_[round]);
    left = right;
    right = next;
  }
  left ^= right;
  // The output is R8 || L8: the halves leave the last round exchanged.
  store32(out, right ^ pair(subkeys_.data(), 12));
  store32(out + 4, left ^ pair(subkeys_.data(), 14));
}

void Feal::decryptBlock(const uint8_t* in, uint8_t* out) const {
  uint32_t right = load32(in) ^ pair(subkeys_.data(), 12);
  uint32_t left = load32(in + 4) ^ pair(subkeys_.data(), 14) ^ right;
  for (size_t round = kRounds; round-- > 0;) {
    const uint32_t previous = right ^ roundFunction(left, subkeys_[round]);
    right = left;
    left = previous;
  }
  right ^= left;
  store32(out, left ^ pair(subkeys_.data(), 8));
  store32(out + 4, right ^ pair(subkeys_.data(), 10));
}

}  // namespace sigillo
