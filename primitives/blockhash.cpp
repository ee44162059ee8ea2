// Hash functions one and two on a single DES instance that is re-keyed with
// the chaining value before every block.
#include "primitives/blockhash.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>

#include "primitives/block_buffer.h"
#include "primitives/des.h"

namespace sigillo {
namespace {

constexpr size_t kBlock = Des::kBlockSize;
constexpr size_t kHalf = kBlock / 2;
using Block = std::array<uint8_t, kBlock>;

// Values of the second and third bits of the first key byte: u gives 10,
// the second chain's transformation gives 01. The two chains therefore never
// share a key, and no chaining value can turn into a weak key.
constexpr uint8_t kSecondThirdBits = 0x60;
constexpr uint8_t kFirstChainBits = 0x40;
constexpr uint8_t kSecondChainBits = 0x20;

// E_K(D) XOR D with K the chaining value whose key bits are forced.
Block encryptAndAdd(Des& des, const Block& chaining, uint8_t keyBits, const uint8_t* data) {
  Block key = chaining;
  key[0] = static_cast<uint8_t>((key[0] & ~kSecondThirdBits) | keyBits);
  des.setKey(key.data());
  OPENSSL_cleanse(key.data(), key.size());
  Block result{};
  des.encryptBlock(data, result.data());
  for (size_t i = 0; i < kBlock; ++i) result[i] ^= data[i];
  return result;
}

class HashFunctionOne final : public Digest {
 public:
  explicit HashFunctionOne(const uint8_t iv[kBlock]) { std::copy_n(iv, kBlock, chain_.begin()); }
  ~HashFunctionOne() override { OPENSSL_cleanse(chain_.data(), chain_.size()); }

  void update(const uint8_t* data, size_t length) override {
    buffer_.feed(data, length, [this](const uint8_t* block) { absorb(block); });
  }

  void finish(uint8_t* out) override {
    buffer_.flushZeroPadded([this](const uint8_t* block) { absorb(block); });
    std::copy(chain_.begin(), chain_.end(), out);
  }

  size_t size() const override { return kBlock; }

 private:
  void absorb(const uint8_t* block) {
    chain_ = encryptAndAdd(des_, chain_, kFirstChainBits, block);
  }

  Des des_;
  Block chain_{};
  BlockBuffer<kBlock> buffer_;
};

class HashFunctionTwo final : public Digest {
 public:
  HashFunctionTwo(const uint8_t iv1[kBlock], const uint8_t iv2[kBlock]) {
    std::copy_n(iv1, kBlock, first_.begin());
    std::copy_n(iv2, kBlock, second_.begin());
  }

  ~HashFunctionTwo() override {
    OPENSSL_cleanse(first_.data(), first_.size());
    OPENSSL_cleanse(second_.data(), second_.size());
  }

  void update(const uint8_t* data, size_t length) override {
    buffer_.feed(data, length, [this](const uint8_t* block) { absorb(block); });
  }

  void finish(uint8_t* out) override {
    buffer_.flushZeroPadded([this](const uint8_t* block) { absorb(block); });
    std::copy(first_.begin(), first_.end(), out);
    std::copy(second_.begin(), second_.end(), out + kBlock);
  }

  size_t size() const override { return 2 * kBlock; }

 private:
  void absorb(const uint8_t* block) {
    const Block a = encryptAndAdd(des_, first_, kFirstChainBits, block);
    const Block b = encryptAndAdd(des_, second_, kSecondChainBits, block);
    std::copy_n(a.begin(), kHalf, first_.begin());
    std::copy_n(b.begin() + kHalf, kHalf, first_.begin() + kHalf);
    std::copy_n(b.begin(), kHalf, second_.begin());
    std::copy_n(a.begin() + kHalf, kHalf, second_.begin() + kHalf);
  }

  Des des_;
  Block first_{};
  Block second_{};
  BlockBuffer<kBlock> buffer_;
};

}  // namespace

std::unique_ptr<Digest> newHf1(const uint8_t iv[8]) {
  return std::make_unique<HashFunctionOne>(iv);
}

std::unique_ptr<Digest> newHf2(const uint8_t iv1[8], const uint8_t iv2[8]) {
  return std::make_unique<HashFunctionTwo>(iv1, iv2);
}

}  // namespace sigillo
