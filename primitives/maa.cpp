// MAA: a prelude derives six words from the key, the main loop mixes each
// message word into X and Y with MUL1 and MUL2A, and the coda runs the loop on
// S and T and returns X XOR Y.
#include "primitives/maa.h"

#include <openssl/crypto.h>

#include <bit>

#include "primitives/block_buffer.h"

namespace sigillo {
namespace {

// The loop's constants: ORed and ANDed into the multipliers so that they
// are never zero, one or a weak pattern.
constexpr uint32_t kA = 0x02040801;
constexpr uint32_t kB = 0x00804021;
constexpr uint32_t kC = 0xBFEF7FDF;
constexpr uint32_t kD = 0x7DFEFBFF;

}  // namespace

namespace maa {
namespace {

struct Halves {
  uint32_t upper;
  uint32_t lower;
};

Halves multiply(uint32_t x, uint32_t y) {
  const uint64_t product = static_cast<uint64_t>(x) * y;
  return {static_cast<uint32_t>(product >> 32), static_cast<uint32_t>(product)};
}

// The 33-bit sum: the carry in `upper`, the sum modulo 2^32 in `lower`.
Halves addWithCarry(uint32_t a, uint32_t b) {
  const uint32_t sum = a + b;
  return {sum < a ? 1u : 0u, sum};
}

// Folds the upper half (already doubled as MUL2 requires) into the lower one,
// adding back twice the carry, as MUL2 and MUL2A end.
uint32_t foldTwice(uint32_t doubledUpper, uint32_t lower) {
  const Halves folded = addWithCarry(doubledUpper, lower);
  return folded.lower + 2 * folded.upper;
}

}  // namespace

uint32_t mul1(uint32_t x, uint32_t y) {
  const Halves product = multiply(x, y);
  const Halves folded = addWithCarry(product.upper, product.lower);
  return folded.lower + folded.upper;
}

uint32_t mul2(uint32_t x, uint32_t y) {
  const Halves product = multiply(x, y);
  const Halves doubled = addWithCarry(product.upper, product.upper);
  return foldTwice(doubled.lower + 2 * doubled.upper, product.lower);
}

uint32_t mul2a(uint32_t x, uint32_t y) {
  const Halves product = multiply(x, y);
  return foldTwice(2 * product.upper, product.lower);
}

Conditioned byt(uint32_t x, uint32_t y) {
  const uint64_t joined = static_cast<uint64_t>(x) << 32 | y;
  uint64_t result = 0;
  uint8_t pattern = 0;
  for (int i = 0; i < 8; ++i) {
    const int shift = 56 - 8 * i;
    uint8_t byte = static_cast<uint8_t>(joined >> shift);
    pattern = static_cast<uint8_t>(pattern << 1);
    if (byte == 0x00 || byte == 0xFF) {
      pattern |= 1;
      byte ^= pattern;
    }
    result |= static_cast<uint64_t>(byte) << shift;
  }
  return {static_cast<uint32_t>(result >> 32), static_cast<uint32_t>(result), pattern};
}

namespace {

using Multiplication = uint32_t (*)(uint32_t, uint32_t);

// J^4, J^6 and J^8 under one of the two multiplications.
struct EvenPowers {
  uint32_t p4;
  uint32_t p6;
  uint32_t p8;
};

EvenPowers evenPowers(uint32_t j, Multiplication mul) {
  const uint32_t p2 = mul(j, j);
  const uint32_t p4 = mul(p2, p2);
  const uint32_t p6 = mul(p2, p4);
  return {p4, p6, mul(p2, p6)};
}

// K^5, K^7 and K^9 under one of the two multiplications.
struct OddPowers {
  uint32_t p5;
  uint32_t p7;
  uint32_t p9;
};

OddPowers oddPowers(uint32_t k, Multiplication mul) {
  const uint32_t p2 = mul(k, k);
  const uint32_t p5 = mul(k, mul(p2, p2));
  const uint32_t p7 = mul(p2, p5);
  return {p5, p7, mul(p2, p7)};
}

}  // namespace

Prelude prelude(uint32_t j, uint32_t k) {
  const Conditioned key = byt(j, k);
  const uint32_t q = (key.pattern + 1u) * (key.pattern + 1u);
  const EvenPowers j1 = evenPowers(key.x, mul1);
  const EvenPowers j2 = evenPowers(key.x, mul2);
  const OddPowers k1 = oddPowers(key.y, mul1);
  const OddPowers k2 = oddPowers(key.y, mul2);
  const Conditioned xy = byt(j1.p4 ^ j2.p4, mul2(k1.p5 ^ k2.p5, q));
  const Conditioned vw = byt(j1.p6 ^ j2.p6, k1.p7 ^ k2.p7);
  const Conditioned st = byt(j1.p8 ^ j2.p8, k1.p9 ^ k2.p9);
  return {xy.x, xy.y, vw.x, vw.y, st.x, st.y};
}

}  // namespace maa

namespace {

constexpr size_t kWord = 4;
constexpr unsigned kSegmentWords = 256;

uint32_t loadBig(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | p[3];
}

class Maa final : public Digest {
 public:
  Maa(const uint8_t j[kWord], const uint8_t k[kWord])
      : prelude_(maa::prelude(loadBig(j), loadBig(k))) {
    startSegment();
  }

  ~Maa() override {
    OPENSSL_cleanse(&prelude_, sizeof(prelude_));
    OPENSSL_cleanse(&x_, sizeof(x_));
    OPENSSL_cleanse(&y_, sizeof(y_));
    OPENSSL_cleanse(&v_, sizeof(v_));
  }

  void update(const uint8_t* data, size_t length) override {
    buffer_.feed(data, length, [this](const uint8_t* word) { addMessageWord(loadBig(word)); });
  }

  void finish(uint8_t* out) override {
    buffer_.flushZeroPadded([this](const uint8_t* word) { addMessageWord(loadBig(word)); });
    const uint32_t mac = closeSegment();
    for (size_t i = 0; i < kWord; ++i) out[i] = static_cast<uint8_t>(mac >> (24 - 8 * i));
  }

  size_t size() const override { return kWord; }

 private:
  void startSegment() {
    x_ = prelude_.x0;
    y_ = prelude_.y0;
    v_ = prelude_.v0;
    segmentWords_ = 0;
  }

  // A full segment is closed only when another word arrives, so that a
  // message of exactly 256 words stays a single segment.
  void addMessageWord(uint32_t word) {
    if (segmentWords_ == kSegmentWords) {
      const uint32_t chained = closeSegment();
      startSegment();
      mix(chained);
    }
    mix(word);
    ++segmentWords_;
  }

  uint32_t closeSegment() {
    mix(prelude_.s);
    mix(prelude_.t);
    return x_ ^ y_;
  }

  void mix(uint32_t word) {
    v_ = std::rotl(v_, 1);
    const uint32_t e = v_ ^ prelude_.w;
    const uint32_t x = x_ ^ word;
    const uint32_t y = y_ ^ word;
    const uint32_t f = ((y + e) | kA) & kC;
    const uint32_t g = ((x + e) | kB) & kD;
    x_ = maa::mul1(x, f);
    y_ = maa::mul2a(y, g);
  }

  maa::Prelude prelude_;
  uint32_t x_ = 0;
  uint32_t y_ = 0;
  uint32_t v_ = 0;
  unsigned segmentWords_ = 0;
  BlockBuffer<kWord> buffer_;
};

}  // namespace

std::unique_ptr<Digest> newMaa(const uint8_t j[4], const uint8_t k[4]) {
  return std::make_unique<Maa>(j, k);
}

}  // namespace sigillo
