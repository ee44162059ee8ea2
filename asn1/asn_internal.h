// Pieces shared by the files of the ASN.1 tree and codec.
#pragma once

#include <cstdint>

#include "asn1/asn.h"

namespace sigillo {

// Identifier octet and at most five length octets.
constexpr uint32_t kMaxHeaderSize = 6;

// Writes the identifier and the minimal definite length; returns their size.
uint32_t encodeHeader(uint8_t* out, uint8_t tag, uint32_t length);
// A constructed node's stored length equals its children's encodings
// (records the difference when it does not).
bool consistentLength(const aobj* node);
bool trk_failed(const track* cursor);

}  // namespace sigillo
