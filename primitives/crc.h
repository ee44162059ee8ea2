// Check values computed byte-wise with reflected (least significant bit
// first) polynomials. Each result is the check value as big-endian bytes.
#pragma once

#include <memory>

#include "primitives/digest.h"

namespace sigillo {

// CRC-16 with polynomial 0xA001 (x^16 + x^15 + x^2 + 1 reflected), starting
// from 0, no final XOR; 2 bytes.
std::unique_ptr<Digest> newCrc16();

// 16-bit frame check sequence of RFC 1662 (polynomial 0x8408 reflected,
// starting from 0xFFFF, ones' complement at the end); 2 bytes.
std::unique_ptr<Digest> newFcs16();

// 32-bit frame check sequence of RFC 1662 (polynomial 0xEDB88320 reflected,
// starting from 0xFFFFFFFF, ones' complement at the end); 4 bytes.
std::unique_ptr<Digest> newFcs32();

}  // namespace sigillo
