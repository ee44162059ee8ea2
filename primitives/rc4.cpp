// RC4: the key-scheduling algorithm, then one swap of the permutation per
// byte of key stream.
#include "primitives/rc4.h"

#include <openssl/crypto.h>

#include <stdexcept>
#include <utility>

namespace sigillo {

Rc4::~Rc4() {
  OPENSSL_cleanse(state_.data(), state_.size());
  OPENSSL_cleanse(&i_, sizeof i_);
  OPENSSL_cleanse(&j_, sizeof j_);
}

void Rc4::setKey(const uint8_t* key, size_t length) {
  if (length == 0 || length > kMaxKeySize) throw std::invalid_argument("RC4 key length");
  for (size_t n = 0; n < state_.size(); ++n) state_[n] = static_cast<uint8_t>(n);
  uint8_t j = 0;
  for (size_t n = 0; n < state_.size(); ++n) {
    j = static_cast<uint8_t>(j + state_[n] + key[n % length]);
    std::swap(state_[n], state_[j]);
  }
  OPENSSL_cleanse(&j, sizeof j);
  i_ = 0;
  j_ = 0;
}

void Rc4::process(const uint8_t* in, uint8_t* out, size_t length) {
  for (size_t n = 0; n < length; ++n) {
    i_ = static_cast<uint8_t>(i_ + 1);
    j_ = static_cast<uint8_t>(j_ + state_[i_]);
    std::swap(state_[i_], state_[j_]);
    out[n] = in[n] ^ state_[static_cast<uint8_t>(state_[i_] + state_[j_])];
  }
}

}  // namespace sigillo
