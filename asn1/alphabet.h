// Alphabet conversions: base64 (RFC 4648), hexadecimal, EBCDIC code page 037,
// and text between IRV, ISO 8859-1, EBCDIC, UTF-8 and BMPString.
//
// Decoders leave their output untouched on failure and record code 22 (or 5
// for a bad length) with the 1-based position of the first offending byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/secure.h"

namespace sigillo {

// ---- base64 ----------------------------------------------------------------

constexpr size_t kBase64LineChars = 64;

// Characters base64EncodeTo writes; with `wrap` every line of 64 characters,
// and the last shorter one, ends with '\n'.
size_t base64EncodedLength(size_t length, bool wrap);
// Writes exactly base64EncodedLength(length, wrap) characters to `out`.
void base64EncodeTo(const uint8_t* data, size_t length, bool wrap, char* out);
std::string base64Encode(const uint8_t* data, size_t length, bool wrap = false);

// Why a base64 text was refused, and where (0-based offset of the byte).
struct Base64Fault {
  enum Kind : uint8_t {
    kBadChar,       // a byte outside the alphabet, '=' and white space
    kMisplacedPad,  // '=' where a group cannot end
    kTrailing,      // data or '=' after the padded final group
    kTruncated,     // the text ends inside a group without padding
    kShortPad,      // the final group lacks one of its two '='
    kNonZeroBits,   // the bits dropped before '=' are not zero
  };
  Kind kind;
  size_t offset;
  uint8_t byte;
};

// Room base64DecodeTo may need for `length` characters.
constexpr size_t base64DecodedMax(size_t length) { return length / 4 * 3 + 3; }
// Core decoder: white space (space, tab, CR, LF, VT, FF) is skipped anywhere;
// padding is required. Records nothing: on failure fills `fault`.
bool base64DecodeTo(const char* text, size_t length, uint8_t* out, size_t* written,
                    Base64Fault* fault);
// The reason of a fault in words, as used in error messages.
std::string base64FaultText(const Base64Fault& fault);

uint16_t base64Decode(std::string_view text, std::vector<uint8_t>* out);
uint16_t base64Decode(std::string_view text, SecureBytes* out);

// ---- hexadecimal -------------------------------------------------------------

// Upper-case digits, two per byte.
std::string hexEncode(const uint8_t* data, size_t length);
// Digits of either case, no separators; an odd count is refused with code 5.
uint16_t hexDecode(std::string_view text, std::vector<uint8_t>* out);
uint16_t hexDecode(std::string_view text, SecureBytes* out);

// ---- EBCDIC ----------------------------------------------------------------

// Byte-for-byte translation between ISO 8859-1 ("ASCII", the local set) and
// EBCDIC code page 037; `in` and `out` may be the same buffer.
void asciiToEbcdic(const uint8_t* in, size_t length, uint8_t* out);
void ebcdicToAscii(const uint8_t* in, size_t length, uint8_t* out);

// ---- text between character sets -------------------------------------------

enum class Charset : uint8_t {
  kIrv,     // ISO 646 IRV (1991): the 7-bit set, bytes 0x00-0x7F
  kLatin1,  // ISO 8859-1, the local 8-bit set
  kEbcdic,  // EBCDIC code page 037 (same repertoire as ISO 8859-1)
  kUtf8,    // RFC 3629
  kBmp,     // BMPString: UCS-2 big-endian, no surrogates
};

const char* charsetName(Charset charset);

// Checks that `data` is well-formed text of `charset`.
uint16_t checkText(Charset charset, const uint8_t* data, size_t length);
// Converts text character by character; a character the target cannot hold
// is refused (code 22), never replaced or dropped.
uint16_t convertText(Charset from, Charset to, const uint8_t* data, size_t length,
                     std::string* out);

}  // namespace sigillo
