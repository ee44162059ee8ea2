// Block formats for RSA: PKCS #1 v1.5 (RFC 8017), ISO/IEC 9796-1 signature
// formatting and the library's multi-block format.  `nbits` is the modulus
// size in bits and a block is ceil(nbits / 8) bytes.  Lengths that the entry
// points check are assumed valid here; format errors are recorded with code
// 14 and returned.  Input and output may be the same buffer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo {

constexpr size_t blockBytes(unsigned nbits) { return (nbits + 7) / 8; }

// PKCS #1 v1.5: 00 || bt || PS || 00 || data, PS at least 8 bytes of 00
// (bt 0), FF (bt 1) or nonzero random bytes (bt 2).  The encoding writes
// blockBytes(nbits) bytes; the decoding of a block of that length writes
// the data and its length.  Type 2 blocks are decoded without branches on
// their content until the verdict.
constexpr size_t kPkcs1Overhead = 11;
uint16_t pkcs1Encode(const uint8_t* in, size_t inLength, unsigned nbits, unsigned bt, uint8_t* out);
uint16_t pkcs1Decode(const uint8_t* block, unsigned nbits, unsigned bt, uint8_t* out,
                     size_t* outLength);

// ISO/IEC 9796-1: the message (whole bytes, at most iso9796MaxMessage)
// extended, interleaved with its shadow bytes and truncated to nbits - 1
// bits; the output is blockBytes(nbits) bytes, big-endian.  Recovery reads
// such a block back, with any number of padding bits in the message's
// first byte, and checks all of its redundancy.
constexpr size_t iso9796MaxMessage(unsigned nbits) { return (nbits + 2) / 16; }
uint16_t iso9796Format(const uint8_t* in, size_t inLength, unsigned nbits, uint8_t* out);
uint16_t iso9796Recover(const uint8_t* block, unsigned nbits, uint8_t* out, size_t* outLength);

// Multi-block format: data || 80 || 00.. cut into pieces of
// blockBytes(nbits) - 1 bytes, each block a 00 byte and one piece, so that
// every block is below any modulus of nbits bits.
uint16_t rsaBlocksFormattedLength(size_t inLength, unsigned nbits, size_t* outLength);
void rsaBlocksFormat(const uint8_t* in, size_t inLength, unsigned nbits, uint8_t* out);
uint16_t rsaBlocksUnformat(const uint8_t* in, size_t inLength, unsigned nbits, uint8_t* out,
                           size_t* outLength);

}  // namespace sigillo
