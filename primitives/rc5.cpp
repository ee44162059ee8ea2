// RC5-32: the expanded key table S starts from the constants P32 and Q32 and
// is mixed three times over with the key words L.
#include "primitives/rc5.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace sigillo {
namespace {

constexpr uint32_t kP32 = 0xB7E15163;  // Odd((e - 2) * 2^32)
constexpr uint32_t kQ32 = 0x9E3779B9;  // Odd((phi - 1) * 2^32)
constexpr size_t kMaxKeyWords = (Rc5::kMaxKeySize + 3) / 4;

uint32_t load32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void store32(uint8_t* p, uint32_t value) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(value >> (8 * i));
}

// Rotation counts use the low five bits of a word.
int amount(uint32_t word) { return static_cast<int>(word & 31); }

}  // namespace

Rc5::~Rc5() { OPENSSL_cleanse(table_.data(), sizeof(table_)); }

void Rc5::setKey(const uint8_t* key, size_t length, unsigned rounds) {
  if (length > kMaxKeySize) throw std::invalid_argument("RC5 key length");
  if (rounds > kMaxRounds) throw std::invalid_argument("RC5 rounds");
  // The key as little-endian words; an empty key counts as one zero word.
  std::array<uint32_t, kMaxKeyWords> l{};
  for (size_t i = length; i-- > 0;) l[i / 4] = l[i / 4] << 8 | key[i];
  const size_t c = std::max<size_t>(1, (length + 3) / 4);
  const size_t t = 2 * (rounds + 1);
  OPENSSL_cleanse(table_.data(), sizeof(table_));
  table_[0] = kP32;
  for (size_t i = 1; i < t; ++i) table_[i] = table_[i - 1] + kQ32;
  uint32_t a = 0;
  uint32_t b = 0;
  for (size_t k = 0, i = 0, j = 0; k < 3 * std::max(t, c); ++k) {
    a = table_[i] = std::rotl(table_[i] + a + b, 3);
    b = l[j] = std::rotl(l[j] + a + b, amount(a + b));
    i = (i + 1) % t;
    j = (j + 1) % c;
  }
  rounds_ = rounds;
  OPENSSL_cleanse(l.data(), sizeof(l));
  OPENSSL_cleanse(&a, sizeof a);
  OPENSSL_cleanse(&b, sizeof b);
}

void Rc5::encryptBlock(const uint8_t* in, uint8_t* out) const {
  uint32_t a = load32(in) + table_[0];
  uint32_t b = load32(in + 4) + table_[1];
  for (size_t i = 1; i <= rounds_; ++i) {
    a = std::rotl(a ^ b, amount(b)) + table_[2 * i];
    b = std::rotl(b ^ a, amount(a)) + table_[2 * i + 1];
  }
  store32(out, a);
  store32(out + 4, b);
}

void Rc5::decryptBlock(const uint8_t* in, uint8_t* out) const {
  uint32_t a = load32(in);
  uint32_t b = load32(in + 4);
  for (size_t i = rounds_; i >= 1; --i) {
    b = std::rotr(b - table_[2 * i + 1], amount(a)) ^ a;
    a = std::rotr(a - table_[2 * i], amount(b)) ^ b;
  }
  store32(out, a - table_[0]);
  store32(out + 4, b - table_[1]);
}

}  // namespace sigillo
