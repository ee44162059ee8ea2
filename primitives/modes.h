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

// Propagating CBC (the mode of Kerberos version 4): C_i = E(P_i XOR P_i-1
// XOR C_i-1), where P_0 XOR C_0 is the IV; `iv` is left holding P_n XOR C_n.
// A changed ciphertext block garbles every later plaintext block.
void pcbcRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
             bool decrypt);

// Feedback of `nbits` (1 to the block's bits) per step; 8·length must be a
// multiple of nbits.  The shift register lives in `iv`.
void cfbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            unsigned nbits, bool decrypt);
void ofbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            unsigned nbits);

// CBC with ciphertext stealing (the RC5-CTS of RFC 2040): the last two
// blocks are output in reverse order and the last one is cut to the
// message's length, so the output is as long as the input.  `length` is
// more than one block; the message ends with this call.
void ctsRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            bool decrypt);

}  // namespace sigillo
