// libFuzzer target for the PEM reader and the alphabet decoders. Every input
// accepted must come back unchanged through the matching encoder, and every
// refusal must carry one of the codes the decoders document. Broken
// invariants abort.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/alphabet.h"
#include "asn1/pem.h"
#include "framework/trace.h"

namespace {

using sigillo::Charset;

void check(bool ok) {
  if (!ok) abort();
}

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// A decoded PEM block is written again and read back the same.
void pemOnce(std::string_view text) {
  std::string label;
  sigillo::SecureBytes der;
  size_t end = 0;
  const uint16_t rc = sigillo::pemDecode(text, &label, &der, &end);
  check(rc == 0 || rc == 22 || rc == 29 || rc == 34);
  if (rc != 0) return;
  check(sigillo::validPemLabel(label) && !der.empty() && end <= text.size());
  std::string again;
  check(sigillo::pemEncode(label, der.data(), der.size(), &again) == 0);
  std::string label2;
  sigillo::SecureBytes der2;
  check(sigillo::pemDecode(again, &label2, &der2) == 0 && label2 == label && der2 == der);
}

// Padding and zero filler bits are required, so an accepted text is exactly
// the encoding of what it decodes to, once white space is removed.
void base64Once(std::string_view text) {
  std::vector<uint8_t> out;
  const uint16_t rc = sigillo::base64Decode(text, &out);
  check(rc == 0 || rc == 22);
  if (rc != 0) return;
  std::string compact;
  for (char c : text) {
    if (!isSpace(c)) compact.push_back(c);
  }
  check(sigillo::base64Encode(out.data(), out.size()) == compact);
}

void hexOnce(std::string_view text) {
  std::vector<uint8_t> out;
  const uint16_t rc = sigillo::hexDecode(text, &out);
  check(rc == 0 || rc == 5 || rc == 22);
  if (rc != 0) return;
  std::string upper(text);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 32);
  }
  check(sigillo::hexEncode(out.data(), out.size()) == upper);
}

// Text accepted in one set survives a trip through a set that holds it.
void roundTrip(Charset from, Charset via, const uint8_t* data, size_t size) {
  std::string there;
  const uint16_t rc = sigillo::convertText(from, via, data, size, &there);
  check(rc == 0 || rc == 5 || rc == 22);
  const bool wellFormed = sigillo::checkText(from, data, size) == 0;
  check(rc != 0 || wellFormed);
  check(via != Charset::kUtf8 || wellFormed == (rc == 0));
  if (rc != 0) return;
  std::string back;
  check(sigillo::convertText(via, from, reinterpret_cast<const uint8_t*>(there.data()),
                             there.size(), &back) == 0);
  check(back == std::string_view(reinterpret_cast<const char*>(data), size));
}

void snifferOnce(const uint8_t* data, size_t size) {
  sigillo::PemSniffer whole;
  whole.feed(data, size);
  sigillo::PemSniffer split;
  split.feed(data, size / 2);
  split.feed(data + size / 2, size - size / 2);
  check(whole.finish() == split.finish());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  sigillo::TRclrerr();
  pemOnce(text);
  base64Once(text);
  hexOnce(text);
  roundTrip(Charset::kUtf8, Charset::kBmp, data, size);
  roundTrip(Charset::kBmp, Charset::kUtf8, data, size);
  roundTrip(Charset::kUtf8, Charset::kLatin1, data, size);
  roundTrip(Charset::kLatin1, Charset::kUtf8, data, size);
  roundTrip(Charset::kEbcdic, Charset::kUtf8, data, size);
  roundTrip(Charset::kUtf8, Charset::kIrv, data, size);
  snifferOnce(data, size);
  sigillo::TRclrerr();
  return 0;
}
