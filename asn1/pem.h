// PEM (RFC 7468, with the RFC 1421 header lines of legacy keys): finding,
// decoding and writing the text form of DER objects, and loading a file that
// holds either form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "framework/secure.h"

namespace sigillo {

// Largest file loadDerOrPem reads into memory.
constexpr uint64_t kMaxLoadedFile = 256ULL << 20;

// True when `label` may stand between "-----BEGIN " and "-----".
bool validPemLabel(std::string_view label);

// Decodes the first PEM block of `text`: any text may precede its BEGIN
// line. Sets `label` and `der`, and `end` (when not null) to the offset just
// past the END line, where a following block may be looked for. On failure
// the outputs are left untouched.
uint16_t pemDecode(std::string_view text, std::string* label, SecureBytes* der,
                   size_t* end = nullptr);

// "-----BEGIN label-----", the base64 in lines of 64 characters, then
// "-----END label-----"; every line ends with '\n'.
uint16_t pemEncode(std::string_view label, const uint8_t* der, size_t length, std::string* out);
uint16_t pemEncode(std::string_view label, const uint8_t* der, size_t length, SecureBytes* out);

// Classifies bytes as PEM or DER, fed in pieces of any size. The bytes are
// PEM when a line starting with "-----BEGIN " comes before any byte that
// cannot be text (a control character other than tab, line feed, vertical
// tab, form feed and carriage return, or DEL).
class PemSniffer {
 public:
  enum Verdict { kUndecided, kPem, kDer };
  Verdict feed(const uint8_t* data, size_t length);
  // What the bytes are once all of them have been fed.
  Verdict finish() const { return verdict_ == kPem ? kPem : kDer; }

 private:
  Verdict verdict_ = kUndecided;
  size_t matched_ = 0;  // bytes of "-----BEGIN " matched at the current line start
  bool lineStart_ = true;
};

// True when the file is PEM by PemSniffer's rule. Reads only as far as the
// decision: the first bytes of a DER file. Records nothing: a file that
// cannot be read is reported as not PEM and fails again when opened.
bool fileIsPem(const char* path);

// Reads a whole file (at most kMaxLoadedFile bytes): the decoded content of
// its first PEM block when the file is PEM, otherwise the bytes unchanged.
// `label` (may be null) receives the PEM label, or is emptied for DER.
uint16_t loadDerOrPem(const char* path, SecureBytes* bytes, std::string* label);

}  // namespace sigillo
