// OpenSSL big numbers owned by RAII handles, and their conversion to and
// from USV number vectors (element 0 the count n of 16-bit digits, elements
// 1..n the digits, most significant first).
#pragma once

#include <openssl/bn.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace sigillo {

// Every number is wiped on release: most of them hold key material.
struct BnClearFree {
  void operator()(BIGNUM* bn) const { BN_clear_free(bn); }
};
struct BnCtxFree {
  void operator()(BN_CTX* ctx) const { BN_CTX_free(ctx); }
};
struct BnMontFree {
  void operator()(BN_MONT_CTX* mont) const { BN_MONT_CTX_free(mont); }
};
using BnPtr = std::unique_ptr<BIGNUM, BnClearFree>;
using BnCtxPtr = std::unique_ptr<BN_CTX, BnCtxFree>;
using BnMontPtr = std::unique_ptr<BN_MONT_CTX, BnMontFree>;

// These throw std::bad_alloc when libcrypto cannot allocate.
BnPtr newBn();
// Temporaries of a secure context are wiped when the context is freed.
BnCtxPtr newSecureBnCtx();

// Digits needed to hold `bn` as a vector without leading zero digits (at
// least one, so that zero is {1, 0}).
size_t usvDigits(const BIGNUM* bn);

// Reads the vector into `out`, leading zero digits included; false when its
// count is 0.
bool usvToBn(const uint16_t* usv, BIGNUM* out);

// Writes `bn` without leading zero digits; false (nothing written) when it
// needs more than maxDigits digits.
bool bnToUsv(const BIGNUM* bn, size_t maxDigits, uint16_t* usv);

}  // namespace sigillo
