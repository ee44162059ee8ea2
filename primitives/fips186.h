// The general-purpose random number generator of FIPS 186-2 (with change
// notice 1), Appendix 3.1: each step draws w = G(t, XKEY) twice, G being the
// SHA-1 compression function applied once from SHA-1's initial value to
// XKEY padded with zeros to 512 bits, and sets XKEY = (1 + XKEY + w) mod 2^b.
// No optional user input (XSEED = 0).
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo {

constexpr size_t kFips186MinKey = 20;  // b = 160 bits
constexpr size_t kFips186MaxKey = 64;  // b = 512 bits
constexpr size_t kFips186Word = 20;    // bytes of one w

// Writes `length` bytes, the w values one after the other (the last one cut
// short), and leaves the updated XKEY in `xkey`: when `length` is a multiple
// of kFips186Word a further call continues the same sequence.
void fips186Generate(uint8_t* xkey, size_t keyLength, uint8_t* out, size_t length);

}  // namespace sigillo
