// MD4: 64-byte blocks of little-endian words, three rounds of sixteen steps,
// and the usual 0x80 / zeros / 64-bit bit-length padding.
#include "primitives/md4.h"

#include <openssl/crypto.h>

#include <array>
#include <bit>

#include "primitives/block_buffer.h"

namespace sigillo {
namespace {

constexpr size_t kBlock = 64;
constexpr size_t kLengthField = 8;
constexpr size_t kDigest = 16;
constexpr uint32_t kRound2 = 0x5A827999;
constexpr uint32_t kRound3 = 0x6ED9EBA1;

uint32_t loadLittle(const uint8_t* p) {
  return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}

void storeLittle(uint8_t* p, uint64_t value, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(value >> (8 * i));
}

uint32_t f(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (~x & z); }
uint32_t g(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (x & z) | (y & z); }
uint32_t h(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }

class Md4 final : public Digest {
 public:
  ~Md4() override { OPENSSL_cleanse(state_.data(), sizeof(state_)); }

  void update(const uint8_t* data, size_t length) override {
    byteCount_ += length;
    buffer_.feed(data, length, [this](const uint8_t* block) { compress(block); });
  }

  void finish(uint8_t* out) override {
    const uint64_t bitCount = byteCount_ * 8;
    std::array<uint8_t, kBlock + kLengthField> tail{};
    tail[0] = 0x80;
    const size_t zeros = (2 * kBlock - kLengthField - 1 - buffer_.held()) % kBlock;
    storeLittle(tail.data() + 1 + zeros, bitCount, kLengthField);
    update(tail.data(), 1 + zeros + kLengthField);
    for (size_t i = 0; i < 4; ++i) storeLittle(out + 4 * i, state_[i], 4);
  }

  size_t size() const override { return kDigest; }

 private:
  void compress(const uint8_t* block) {
    std::array<uint32_t, 16> x{};
    for (size_t i = 0; i < x.size(); ++i) x[i] = loadLittle(block + 4 * i);
    uint32_t a = state_[0];
    uint32_t b = state_[1];
    uint32_t c = state_[2];
    uint32_t d = state_[3];
    constexpr int kShift1[4] = {3, 7, 11, 19};
    for (int i = 0; i < 16; ++i) {
      a = std::rotl(a + f(b, c, d) + x[i], kShift1[i % 4]);
      rotateRegisters(a, b, c, d);
    }
    constexpr int kShift2[4] = {3, 5, 9, 13};
    for (int i = 0; i < 16; ++i) {
      a = std::rotl(a + g(b, c, d) + x[(i % 4) * 4 + i / 4] + kRound2, kShift2[i % 4]);
      rotateRegisters(a, b, c, d);
    }
    constexpr int kShift3[4] = {3, 9, 11, 15};
    constexpr int kOrder3[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
    for (int i = 0; i < 16; ++i) {
      a = std::rotl(a + h(b, c, d) + x[kOrder3[i]] + kRound3, kShift3[i % 4]);
      rotateRegisters(a, b, c, d);
    }
    state_[0] += a;
    state_[1] += b;
    state_[2] += c;
    state_[3] += d;
    OPENSSL_cleanse(x.data(), sizeof(x));
  }

  // After each step the register just written becomes the last argument of
  // the next step: [abcd] -> [dabc].
  static void rotateRegisters(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d) {
    const uint32_t written = a;
    a = d;
    d = c;
    c = b;
    b = written;
  }

  std::array<uint32_t, 4> state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  uint64_t byteCount_ = 0;
  BlockBuffer<kBlock> buffer_;
};

}  // namespace

std::unique_ptr<Digest> newMd4() { return std::make_unique<Md4>(); }

}  // namespace sigillo
