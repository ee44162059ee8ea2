// Modes of operation over a block cipher.  Chaining values travel in the
// caller's `iv`, which each call leaves as the next call needs it, so a
// message enciphered in several calls gives the bytes of one call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/blockcipher.h"

namespace sigillo {

constexpr size_t kMaxBlock = 16;

// `length` is a multiple of the block size.
void ecbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length,
            bool decrypt);
void cbcRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            bool decrypt);

// Feedback of `nbits` (1 to the block's bits) per step; 8·length must be a
// multiple of nbits.  The shift register lives in `iv`.
void cfbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            unsigned nbits, bool decrypt);
void ofbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            unsigned nbits);

// Whether `length` bytes split into whole steps of `nbits`.
bool wholeSegments(size_t length, unsigned nbits);

}  // namespace sigillo
