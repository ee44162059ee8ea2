// Paddings of a buffer before block enciphering or a MAC, done in place:
// the caller's buffer has room for the bytes added (docs/padding.md) and
// the length is updated.  Lengths are checked by the entry points: a pad
// function returns false, and changes nothing, only when the padded length
// would not fit in 32 bits; an unpad function records padding-format
// errors (code 14) and returns the code.
#pragma once

#include <cstdint>

namespace sigillo {

// ISO/IEC 9797-1 method 1: zero bytes up to the next block boundary.
bool padIso1(uint8_t* buf, uint32_t* length, unsigned blockBits);
// ISO/IEC 9797-1 method 2: 0x80 then zero bytes up to the next boundary.
bool padIso2(uint8_t* buf, uint32_t* length, unsigned blockBits);
uint16_t unpadIso2(const uint8_t* buf, uint32_t* length, unsigned blockBits);

// 3 to 10 bytes 80 00 .. 00 NN (NN = their count), to a multiple of 8.
bool padLen3(uint8_t* buf, uint32_t* length);
uint16_t unpadLen3(const uint8_t* buf, uint32_t* length);

// Zero bytes and an end byte from table 0 or 1, to a multiple of 8.
bool pad64(uint8_t* buf, uint32_t* length, unsigned table);
uint16_t unpad64(const uint8_t* buf, uint32_t* length);

// PKCS #5: 1 to 8 bytes each holding their count, to a multiple of 8.
bool padPkcs5(uint8_t* buf, uint32_t* length);
uint16_t unpadPkcs5(const uint8_t* buf, uint32_t* length);

}  // namespace sigillo
