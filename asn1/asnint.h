// INTEGER values of the ASN.1 tree: machine integers, big integers as
// hexadecimal or decimal text, and the INTEGER nodes that carry them.
// Content octets are two's complement, most significant first.
#pragma once

#include <cstdint>
#include <string>

#include "asn1/asn.h"

namespace sigillo {

// The value of `length` content octets.  Redundant leading sign octets are
// allowed; a value that does not fit 64 bits is refused (code 29).
uint16_t asnStr2Int(const uint8_t* content, uint32_t length, int64_t* value);

// Turns a primitive string node (such as an implicitly tagged [n] read from
// DER) into an INTEGER node (kind CLASVAL) in place, keeping its identifier,
// name and content.  An INTEGER node is left as it is.
uint16_t ASNconv2int(aobj* node);

// The value of an INTEGER node (kind CLASVAL, any identifier).
uint16_t ASNint2i64(const aobj* node, int64_t* value);
uint16_t ASNint2i32(const aobj* node, int32_t* value);
uint16_t ASNint2u32(const aobj* node, uint32_t* value);

// New INTEGER nodes in the minimal encoding.
aobj* ASNxINT64(uint8_t tag, int64_t value);
aobj* ASNxUINT32(uint8_t tag, uint32_t value);

// Big integers as text.  Hexadecimal: an optional "-", an optional "0x",
// then digits of either case; written as the magnitude in upper-case pairs,
// "-" in front of a negative value, "00" for zero.  Decimal: an optional "-"
// and digits.  A malformed text is code 22.
aobj* ASNhex2INT(uint8_t tag, const char* text);
aobj* ASNdec2INT(uint8_t tag, const char* text);
uint16_t ASNint2hex(const aobj* node, std::string* text);
uint16_t ASNint2dec(const aobj* node, std::string* text);

}  // namespace sigillo
