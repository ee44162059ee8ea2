// OpenSSL big numbers owned by RAII handles, and their conversion to and
// from USV number vectors (element 0 the count n of 16-bit digits, elements
// 1..n the digits, most significant first).
#pragma once

#include <openssl/bn.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "framework/ossl_ptr.h"

namespace sigillo {

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
