// IDEA. Multiplication is modulo 2^16 + 1 with the word 0 standing for 2^16;
// decryption runs the encryption rounds with inverted subkeys.
#include "primitives/idea.h"

#include <openssl/crypto.h>

namespace sigillo {
namespace {

constexpr size_t kRounds = 8;
constexpr size_t kSubkeys = 6 * kRounds + 4;

// a * b modulo 65537, computed without branches on the operands.
uint16_t multiply(uint16_t a, uint16_t b) {
  uint32_t x = a;
  uint32_t y = b;
  x |= ((x - 1) >> 15) & 0x10000;  // 0 becomes 65536
  y |= ((y - 1) >> 15) & 0x10000;
  return static_cast<uint16_t>(static_cast<uint64_t>(x) * y % 65537);  // 65536 becomes 0
}

// x^(65537 - 2) = x^65535, the inverse of x modulo the prime 65537 (65536, the
// word 0, is its own inverse).
uint16_t multiplicativeInverse(uint16_t x) {
  uint16_t power = x;
  for (int bit = 1; bit < 16; ++bit) power = multiply(multiply(power, power), x);
  return power;
}

uint16_t additiveInverse(uint16_t x) { return static_cast<uint16_t>(0x10000 - x); }

uint16_t load16(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

void store16(uint8_t* p, uint16_t value) {
  p[0] = static_cast<uint8_t>(value >> 8);
  p[1] = static_cast<uint8_t>(value);
}

// The 128-bit key rotated left by 25 bits after each group of eight subkeys.
void expandKey(const uint8_t* key, uint16_t* subkeys) {
  uint64_t high = 0;
  uint64_t low = 0;
  for (size_t i = 0; i < 8; ++i) {
    high = high << 8 | key[i];
    low = low << 8 | key[8 + i];
  }
  for (size_t i = 0; i < kSubkeys; ++i) {
    const size_t word = i % 8;
    const uint64_t half = word < 4 ? high : low;
    subkeys[i] = static_cast<uint16_t>(half >> (48 - 16 * (word % 4)));
    if (word == 7) {
      const uint64_t rotatedHigh = high << 25 | low >> 39;
      low = low << 25 | high >> 39;
      high = rotatedHigh;
    }
  }
  OPENSSL_cleanse(&high, sizeof high);
  OPENSSL_cleanse(&low, sizeof low);
}

// Decryption round r takes the keys of encryption round 9 - r inverted; the
// two additive keys exchange places except in the first and last step, where
// the output transformation's missing swap is compensated.
void invertKeys(const uint16_t* z, uint16_t* d) {
  for (size_t round = 0; round <= kRounds; ++round) {
    const size_t from = 6 * (kRounds - round);
    const bool swap = round != 0 && round != kRounds;
    uint16_t* step = d + 6 * round;
    step[0] = multiplicativeInverse(z[from]);
    step[1] = additiveInverse(z[from + (swap ? 2 : 1)]);
    step[2] = additiveInverse(z[from + (swap ? 1 : 2)]);
    step[3] = multiplicativeInverse(z[from + 3]);
    if (round < kRounds) {
      step[4] = z[from - 2];
      step[5] = z[from - 1];
    }
  }
}

void crypt(const uint16_t* keys, const uint8_t* in, uint8_t* out) {
  uint16_t x1 = load16(in);
  uint16_t x2 = load16(in + 2);
  uint16_t x3 = load16(in + 4);
  uint16_t x4 = load16(in + 6);
  for (size_t round = 0; round < kRounds; ++round) {
    const uint16_t* k = keys + 6 * round;
    x1 = multiply(x1, k[0]);
    x2 = static_cast<uint16_t>(x2 + k[1]);
    x3 = static_cast<uint16_t>(x3 + k[2]);
    x4 = multiply(x4, k[3]);
    const uint16_t t0 = multiply(static_cast<uint16_t>(x1 ^ x3), k[4]);
    const uint16_t t1 = multiply(static_cast<uint16_t>((x2 ^ x4) + t0), k[5]);
    const uint16_t t2 = static_cast<uint16_t>(t0 + t1);
    x1 ^= t1;
    x4 ^= t2;
    const uint16_t middle = x2 ^ t2;
    x2 = x3 ^ t1;
    x3 = middle;
  }
  // The output transformation undoes the last round's exchange of x2 and x3.
  const uint16_t* k = keys + 6 * kRounds;
  store16(out, multiply(x1, k[0]));
  store16(out + 2, static_cast<uint16_t>(x3 + k[1]));
  store16(out + 4, static_cast<uint16_t>(x2 + k[2]));
  store16(out + 6, multiply(x4, k[3]));
}

}  // namespace

Idea::~Idea() {
  OPENSSL_cleanse(encryptKeys_.data(), sizeof(encryptKeys_));
  OPENSSL_cleanse(decryptKeys_.data(), sizeof(decryptKeys_));
}

void Idea::setKey(const uint8_t key[kKeySize]) {
  expandKey(key, encryptKeys_.data());
  invertKeys(encryptKeys_.data(), decryptKeys_.data());
}

void Idea::encryptBlock(const uint8_t* in, uint8_t* out) const {
  crypt(encryptKeys_.data(), in, out);
}

void Idea::decryptBlock(const uint8_t* in, uint8_t* out) const {
  crypt(decryptKeys_.data(), in, out);
}

}  // namespace sigillo
