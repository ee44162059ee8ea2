// One CBC-MAC engine for the three ISO/IEC 9797-1 algorithms; they differ only
// in the output transformation applied to the last chained block.
#include "primitives/isomac.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>

#include "primitives/block_buffer.h"
#include "primitives/des.h"

namespace sigillo {
namespace {

constexpr size_t kBlock = Des::kBlockSize;

enum class OutputTransformation { kNone, kEncryptUnderSecondKey, kDecryptSecondEncryptFirst };

class IsoMac final : public Digest {
 public:
  IsoMac(const uint8_t k1[kBlock], const uint8_t* k2, OutputTransformation output)
      : output_(output) {
    first_.setKey(k1);
    if (output_ != OutputTransformation::kNone) second_.setKey(k2);
  }

  ~IsoMac() override { OPENSSL_cleanse(chain_.data(), sizeof(chain_)); }

  void update(const uint8_t* data, size_t length) override {
    buffer_.feed(data, length, [this](const uint8_t* block) { chainBlock(block); });
  }

  void finish(uint8_t* out) override {
    const bool padded =
        buffer_.flushZeroPadded([this](const uint8_t* block) { chainBlock(block); });
    if (!padded && !chainedAny_) {
      const std::array<uint8_t, kBlock> zeroBlock{};
      chainBlock(zeroBlock.data());
    }
    transformOutput();
    std::copy(chain_.begin(), chain_.end(), out);
  }

  size_t size() const override { return kBlock; }

 private:
  void chainBlock(const uint8_t* block) {
    for (size_t i = 0; i < kBlock; ++i) chain_[i] ^= block[i];
    first_.encryptBlock(chain_.data(), chain_.data());
    chainedAny_ = true;
  }

  void transformOutput() {
    switch (output_) {
      case OutputTransformation::kNone:
        break;
      case OutputTransformation::kEncryptUnderSecondKey:
        second_.encryptBlock(chain_.data(), chain_.data());
        break;
      case OutputTransformation::kDecryptSecondEncryptFirst:
        second_.decryptBlock(chain_.data(), chain_.data());
        first_.encryptBlock(chain_.data(), chain_.data());
        break;
    }
  }

  const OutputTransformation output_;
  Des first_;
  Des second_;
  std::array<uint8_t, kBlock> chain_{};
  bool chainedAny_ = false;
  BlockBuffer<kBlock> buffer_;
};

}  // namespace

std::unique_ptr<Digest> newIsoMac1(const uint8_t key[8]) {
  return std::make_unique<IsoMac>(key, nullptr, OutputTransformation::kNone);
}

std::unique_ptr<Digest> newIsoMac2(const uint8_t k1[8], const uint8_t k2[8]) {
  return std::make_unique<IsoMac>(k1, k2, OutputTransformation::kEncryptUnderSecondKey);
}

std::unique_ptr<Digest> newIsoMac3(const uint8_t k1[8], const uint8_t k2[8]) {
  return std::make_unique<IsoMac>(k1, k2, OutputTransformation::kDecryptSecondEncryptFirst);
}

}  // namespace sigillo
