// Helpers of the ASN.1 tests.
#pragma once

#include <string>

#include "asn1/asn.h"
#include "framework/kvtmem.h"
#include "tests/common/testutil.h"

namespace sigillo::test {

// The DER encoding of a node in hexadecimal, or "FAILED".
inline std::string der(const aobj* node) {
  uint32_t size = 0;
  uint8_t* bytes = DERmake(node, &size);
  if (bytes == nullptr) return "FAILED";
  std::string hex = toHex(bytes, size);
  TRFREE(bytes);
  return hex;
}

}  // namespace sigillo::test
