// Single DES. The tables of FIPS 46-3 are kept as printed (bit 1 is the most
// significant bit); the lookup tables used at run time are built from them at
// compile time.
#include "primitives/des.h"

#include <openssl/crypto.h>

#include <bit>

namespace sigillo {
namespace {

constexpr uint8_t kPc1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                              10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                              63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                              14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr uint8_t kPc2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                              26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                              51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr uint8_t kRotations[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

constexpr uint8_t kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                            2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};

// S1 to S8, each as four rows of sixteen.
constexpr uint8_t kSboxes[8][4][16] = {
    {
        {14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7},
        {0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8},
        {4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0},
        {15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13},
    },
    {
        {15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10},
        {3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5},
        {0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15},
        {13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9},
    },
    {
        {10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8},
        {13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1},
        {13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7},
        {1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12},
    },
    {
        {7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15},
        {13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9},
        {10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4},
        {3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14},
    },
    {
        {2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9},
        {14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6},
        {4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14},
        {11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3},
    },
    {
        {12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11},
        {10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8},
        {9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6},
        {4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13},
    },
    {
        {4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1},
        {13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6},
        {1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2},
        {6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12},
    },
    {
        {13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7},
        {1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2},
        {7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8},
        {2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11},
    },
};

// Bit `position` (1 = most significant) of a value `width` bits wide.
constexpr uint64_t bitAt(uint64_t value, int width, int position) {
  return (value >> (width - position)) & 1u;
}

constexpr uint32_t permuteP(uint32_t value) {
  uint32_t out = 0;
  for (int j = 0; j < 32; ++j) out |= static_cast<uint32_t>(bitAt(value, 32, kP[j])) << (31 - j);
  return out;
}

// kSp[box][x]: the output of S-box `box` (0 for S1) on the six bits x, moved to
// the places where P sends them, so that f is eight lookups ORed together.
using SpTables = std::array<std::array<uint32_t, 64>, 8>;

constexpr SpTables makeSpTables() {
  SpTables tables{};
  for (int box = 0; box < 8; ++box) {
    for (uint32_t x = 0; x < 64; ++x) {
      const uint32_t row = ((x >> 4) & 2) | (x & 1);
      const uint32_t column = (x >> 1) & 15;
      const uint32_t value = kSboxes[box][row][column];
      tables[box][x] = permuteP(value << (28 - 4 * box));
    }
  }
  return tables;
}

constexpr SpTables kSp = makeSpTables();

// The round function reads the six expanded bits of S-box n from R rotated so
// that they sit at a byte boundary: S8, S6, S4, S2 from R rotated left by one,
// S7, S5, S3, S1 from R rotated right by three. A 48-bit round key is stored the
// same way, as two words (low word for the even boxes, high word for the odd).
constexpr uint64_t arrangeRoundKey(uint64_t key48) {
  auto sixBits = [key48](int box) { return static_cast<uint32_t>((key48 >> (42 - 6 * box)) & 63); };
  const uint32_t even = sixBits(7) | sixBits(5) << 8 | sixBits(3) << 16 | sixBits(1) << 24;
  const uint32_t odd = sixBits(6) | sixBits(4) << 8 | sixBits(2) << 16 | sixBits(0) << 24;
  return static_cast<uint64_t>(odd) << 32 | even;
}

constexpr uint64_t permutedChoice2(uint64_t cd) {
  uint64_t out = 0;
  for (int j = 0; j < 48; ++j) out |= bitAt(cd, 56, kPc2[j]) << (47 - j);
  return out;
}

// PC2 applied to C||D seven bits at a time, already arranged for the round.
using Pc2Tables = std::array<std::array<uint64_t, 128>, 8>;

constexpr Pc2Tables makePc2Tables() {
  Pc2Tables tables{};
  for (int chunk = 0; chunk < 8; ++chunk) {
    for (uint64_t value = 0; value < 128; ++value) {
      tables[chunk][value] = arrangeRoundKey(permutedChoice2(value << (49 - 7 * chunk)));
    }
  }
  return tables;
}

constexpr Pc2Tables kPc2Tables = makePc2Tables();

uint32_t load32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | p[3];
}

void store32(uint8_t* p, uint32_t value) {
  p[0] = static_cast<uint8_t>(value >> 24);
  p[1] = static_cast<uint8_t>(value >> 16);
  p[2] = static_cast<uint8_t>(value >> 8);
  p[3] = static_cast<uint8_t>(value);
}

uint32_t rotate28(uint32_t half, int count) {
  return ((half << count) | (half >> (28 - count))) & 0x0FFFFFFF;
}

// Exchanges the bits of `a` selected by mask << shift with the bits of `b`
// selected by mask; IP and its inverse are five such exchanges.
void exchangeBits(uint32_t& a, uint32_t& b, int shift, uint32_t mask) {
  const uint32_t t = ((a >> shift) ^ b) & mask;
  b ^= t;
  a ^= t << shift;
}

void initialPermutation(uint32_t& left, uint32_t& right) {
  exchangeBits(left, right, 4, 0x0F0F0F0F);
  exchangeBits(left, right, 16, 0x0000FFFF);
  exchangeBits(right, left, 2, 0x33333333);
  exchangeBits(right, left, 8, 0x00FF00FF);
  exchangeBits(left, right, 1, 0x55555555);
}

void finalPermutation(uint32_t& left, uint32_t& right) {
  exchangeBits(left, right, 1, 0x55555555);
  exchangeBits(right, left, 8, 0x00FF00FF);
  exchangeBits(right, left, 2, 0x33333333);
  exchangeBits(left, right, 16, 0x0000FFFF);
  exchangeBits(left, right, 4, 0x0F0F0F0F);
}

uint32_t feistel(uint32_t right, const uint32_t* roundKey) {
  const uint32_t even = std::rotl(right, 1) ^ roundKey[0];
  const uint32_t odd = std::rotr(right, 3) ^ roundKey[1];
  return kSp[7][even & 63] | kSp[5][(even >> 8) & 63] | kSp[3][(even >> 16) & 63] |
         kSp[1][(even >> 24) & 63] | kSp[6][odd & 63] | kSp[4][(odd >> 8) & 63] |
         kSp[2][(odd >> 16) & 63] | kSp[0][(odd >> 24) & 63];
}

// Decryption is encryption with the round keys taken in reverse order.
template <bool kDecrypt>
void crypt(const uint32_t* subkeys, const uint8_t in[8], uint8_t out[8]) {
  uint32_t left = load32(in);
  uint32_t right = load32(in + 4);
  initialPermutation(left, right);
  for (size_t round = 0; round < 16; round += 2) {
    const size_t first = kDecrypt ? 15 - round : round;
    const size_t second = kDecrypt ? 14 - round : round + 1;
    left ^= feistel(right, subkeys + 2 * first);
    right ^= feistel(left, subkeys + 2 * second);
  }
  // The halves leave the last round exchanged: the output is R16 || L16.
  finalPermutation(right, left);
  store32(out, right);
  store32(out + 4, left);
}

}  // namespace

Des::~Des() { OPENSSL_cleanse(subkeys_.data(), sizeof(subkeys_)); }

void Des::setKey(const uint8_t key[kKeySize]) {
  const uint64_t key64 = static_cast<uint64_t>(load32(key)) << 32 | load32(key + 4);
  uint64_t cd = 0;
  for (int i = 0; i < 56; ++i) cd |= bitAt(key64, 64, kPc1[i]) << (55 - i);
  uint32_t c = static_cast<uint32_t>(cd >> 28);
  uint32_t d = static_cast<uint32_t>(cd & 0x0FFFFFFF);
  for (size_t round = 0; round < kRounds; ++round) {
    c = rotate28(c, kRotations[round]);
    d = rotate28(d, kRotations[round]);
    const uint64_t joined = static_cast<uint64_t>(c) << 28 | d;
    uint64_t arranged = 0;
    for (int chunk = 0; chunk < 8; ++chunk) {
      arranged |= kPc2Tables[chunk][(joined >> (49 - 7 * chunk)) & 0x7F];
    }
    subkeys_[2 * round] = static_cast<uint32_t>(arranged);
    subkeys_[2 * round + 1] = static_cast<uint32_t>(arranged >> 32);
  }
}

void Des::encryptBlock(const uint8_t* in, uint8_t* out) const {
  crypt<false>(subkeys_.data(), in, out);
}

void Des::decryptBlock(const uint8_t* in, uint8_t* out) const {
  crypt<true>(subkeys_.data(), in, out);
}

}  // namespace sigillo
