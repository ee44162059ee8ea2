// USV number vectors and OpenSSL big numbers.
#include "primitives/usvbn.h"

#include <new>

#include "framework/secure.h"

namespace sigillo {

BnPtr newBn() {
  BnPtr bn(BN_new());
  if (bn == nullptr) throw std::bad_alloc();
  return bn;
}

BnCtxPtr newSecureBnCtx() {
  BnCtxPtr ctx(BN_CTX_secure_new());
  if (ctx == nullptr) throw std::bad_alloc();
  return ctx;
}

size_t usvDigits(const BIGNUM* bn) {
  size_t bytes = static_cast<size_t>(BN_num_bytes(bn));
  return bytes == 0 ? 1 : (bytes + 1) / 2;
}

bool usvToBn(const uint16_t* usv, BIGNUM* out) {
  size_t digits = usv[0];
  if (digits == 0) return false;
  SecureBytes bytes(2 * digits);
  for (size_t i = 0; i < digits; ++i) {
    bytes[2 * i] = static_cast<uint8_t>(usv[1 + i] >> 8);
    bytes[2 * i + 1] = static_cast<uint8_t>(usv[1 + i]);
  }
  if (BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), out) == nullptr) {
    throw std::bad_alloc();
  }
  return true;
}

bool bnToUsv(const BIGNUM* bn, size_t maxDigits, uint16_t* usv) {
  size_t digits = usvDigits(bn);
  if (digits > maxDigits) return false;
  SecureBytes bytes(2 * digits);
  BN_bn2binpad(bn, bytes.data(), static_cast<int>(bytes.size()));
  usv[0] = static_cast<uint16_t>(digits);
  for (size_t i = 0; i < digits; ++i) {
    usv[1 + i] = static_cast<uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  }
  return true;
}

}  // namespace sigillo
