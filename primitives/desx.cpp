// DESX on top of the single-DES block function.
#include "primitives/desx.h"

#include <openssl/crypto.h>

#include <algorithm>

namespace sigillo {
namespace {

using Block = std::array<uint8_t, Desx::kBlockSize>;

Block whiten(const uint8_t* in, const Block& key) {
  Block out{};
  for (size_t i = 0; i < out.size(); ++i) out[i] = in[i] ^ key[i];
  return out;
}

}  // namespace

Desx::~Desx() {
  OPENSSL_cleanse(preWhitening_.data(), preWhitening_.size());
  OPENSSL_cleanse(postWhitening_.data(), postWhitening_.size());
}

void Desx::setKeys(const uint8_t k[kKeySize], const uint8_t k1[kKeySize],
                   const uint8_t k2[kKeySize]) {
  des_.setKey(k);
  std::copy_n(k1, kKeySize, preWhitening_.begin());
  std::copy_n(k2, kKeySize, postWhitening_.begin());
}

void Desx::encryptBlock(const uint8_t* in, uint8_t* out) const {
  Block block = whiten(in, preWhitening_);
  des_.encryptBlock(block.data(), block.data());
  block = whiten(block.data(), postWhitening_);
  std::copy(block.begin(), block.end(), out);
}

void Desx::decryptBlock(const uint8_t* in, uint8_t* out) const {
  Block block = whiten(in, postWhitening_);
  des_.decryptBlock(block.data(), block.data());
  block = whiten(block.data(), preWhitening_);
  std::copy(block.begin(), block.end(), out);
}

}  // namespace sigillo
