// MD2: 16-byte blocks, a running checksum appended after the padding, and a
// 48-byte state mixed through a byte substitution derived from the digits of pi.
#include "primitives/md2.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>

#include "primitives/block_buffer.h"

namespace sigillo {
namespace {

constexpr size_t kBlock = 16;
constexpr int kPasses = 18;

constexpr uint8_t kPiSubst[256] = {
    41,  46,  67,  201, 162, 216, 124, 1,   61,  54,  84,  161, 236, 240, 6,   19,  98,  167, 5,
    243, 192, 199, 115, 140, 152, 147, 43,  217, 188, 76,  130, 202, 30,  155, 87,  60,  253, 212,
    224, 22,  103, 66,  111, 24,  138, 23,  229, 18,  190, 78,  196, 214, 218, 158, 222, 73,  160,
    251, 245, 142, 187, 47,  238, 122, 169, 104, 121, 145, 21,  178, 7,   63,  148, 194, 16,  137,
    11,  34,  95,  33,  128, 127, 93,  154, 90,  144, 50,  39,  53,  62,  204, 231, 191, 247, 151,
    3,   255, 25,  48,  179, 72,  165, 181, 209, 215, 94,  146, 42,  172, 86,  170, 198, 79,  184,
    56,  210, 150, 164, 125, 182, 118, 252, 107, 226, 156, 116, 4,   241, 69,  157, 112, 89,  100,
    113, 135, 32,  134, 91,  207, 101, 230, 45,  168, 2,   27,  96,  37,  173, 174, 176, 185, 246,
    28,  70,  97,  105, 52,  64,  126, 15,  85,  71,  163, 35,  221, 81,  175, 58,  195, 92,  249,
    206, 186, 197, 234, 38,  44,  83,  13,  110, 133, 40,  132, 9,   211, 223, 205, 244, 65,  129,
    77,  82,  106, 220, 55,  200, 108, 193, 171, 250, 36,  225, 123, 8,   12,  189, 177, 74,  120,
    136, 149, 139, 227, 99,  232, 109, 233, 203, 213, 254, 59,  0,   29,  57,  242, 239, 183, 14,
    102, 88,  208, 228, 166, 119, 114, 248, 235, 117, 75,  10,  49,  68,  80,  180, 143, 237, 31,
    26,  219, 153, 141, 51,  159, 17,  131, 20};

class Md2 final : public Digest {
 public:
  ~Md2() override {
    OPENSSL_cleanse(state_.data(), sizeof(state_));
    OPENSSL_cleanse(checksum_.data(), sizeof(checksum_));
  }

  void update(const uint8_t* data, size_t length) override {
    buffer_.feed(data, length, [this](const uint8_t* block) { absorb(block); });
  }

  // Padding is 1 to 16 bytes, each holding the padding length.
  void finish(uint8_t* out) override {
    const size_t padLength = kBlock - buffer_.held();
    std::array<uint8_t, kBlock> padding{};
    padding.fill(static_cast<uint8_t>(padLength));
    update(padding.data(), padLength);
    const std::array<uint8_t, kBlock> checksum = checksum_;
    compress(checksum.data());
    std::copy_n(state_.begin(), kBlock, out);
  }

  size_t size() const override { return kBlock; }

 private:
  void absorb(const uint8_t* block) {
    addToChecksum(block);
    compress(block);
  }

  // RFC 1319 section 3.2 as corrected by its erratum: each checksum byte is
  // XORed with the substituted value, not replaced by it.
  void addToChecksum(const uint8_t* block) {
    uint8_t last = checksum_[kBlock - 1];
    for (size_t j = 0; j < kBlock; ++j) {
      checksum_[j] ^= kPiSubst[block[j] ^ last];
      last = checksum_[j];
    }
  }

  void compress(const uint8_t* block) {
    for (size_t j = 0; j < kBlock; ++j) {
      state_[kBlock + j] = block[j];
      state_[2 * kBlock + j] = block[j] ^ state_[j];
    }
    uint8_t t = 0;
    for (int pass = 0; pass < kPasses; ++pass) {
      for (uint8_t& byte : state_) {
        byte ^= kPiSubst[t];
        t = byte;
      }
      t = static_cast<uint8_t>(t + pass);
    }
  }

  std::array<uint8_t, 3 * kBlock> state_{};
  std::array<uint8_t, kBlock> checksum_{};
  BlockBuffer<kBlock> buffer_;
};

}  // namespace

std::unique_ptr<Digest> newMd2() { return std::make_unique<Md2>(); }

}  // namespace sigillo
