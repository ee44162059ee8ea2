// Block formats for RSA (see rsapad.h and docs/padding.md).
#include "primitives/rsapad.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>

#include "framework/secure.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "rsapad";
constexpr const char* kUnknownEncoding = "Codifica non riconosciuta";
constexpr const char* kTooLarge = "Buffer di input troppo grande";

// ---- PKCS #1 v1.5 ----------------------------------------------------------

constexpr size_t kMinPs = 8;

// All-ones when the low bit of `bit` is set, else zero.
uint32_t mask(uint32_t bit) { return 0u - (bit & 1u); }
uint32_t maskIsZero(uint32_t x) { return mask((x - 1u) >> 31); }  // x below 2^31
uint32_t maskEq(uint8_t a, uint8_t b) { return maskIsZero(static_cast<uint32_t>(a ^ b)); }
uint32_t maskLess(uint32_t a, uint32_t b) { return mask((a - b) >> 31); }  // a, b below 2^31

bool nonzeroRandom(uint8_t* out, size_t length) {
  if (length != 0 && RAND_bytes(out, static_cast<int>(length)) != 1) return false;
  for (size_t i = 0; i < length; ++i) {
    while (out[i] == 0) {
      if (RAND_bytes(out + i, 1) != 1) return false;
    }
  }
  return true;
}

// Type 0 has no separator of its own: the data begins at the first nonzero
// byte, so data that begins with 00 cannot be told from the padding.
uint16_t pkcs1DataStartType0(const uint8_t* block, size_t k, size_t* start) {
  if (block[0] != 0 || block[1] != 0) return TRFAIL(14, "%s", kUnknownEncoding);
  size_t i = 2;
  while (i < k && block[i] == 0) ++i;
  if (i < kPkcs1Overhead) return TRFAIL(14, "%s", kUnknownEncoding);
  *start = i;
  return 0;
}

// Types 1 and 2: the whole block is read whatever it holds, and the checks
// are combined in masks, so that the time taken does not tell where a type 2
// block went wrong.
uint16_t pkcs1DataStart(const uint8_t* block, size_t k, unsigned bt, size_t* start) {
  const uint32_t header = maskEq(block[0], 0) & maskEq(block[1], static_cast<uint8_t>(bt));
  const uint32_t checkFill = mask(bt == 1);
  uint32_t found = 0, separator = 0, badFill = 0;
  for (size_t i = 2; i < k; ++i) {
    const uint32_t zero = maskEq(block[i], 0);
    separator |= static_cast<uint32_t>(i) & zero & ~found;
    badFill |= checkFill & ~found & ~zero & ~maskEq(block[i], 0xFF);
    found |= zero;
  }
  const uint32_t shortPs = maskLess(separator, 2 + kMinPs);
  if (header == 0) return TRFAIL(14, "%s", kUnknownEncoding);
  if (found == 0) return TRFAIL(14, "Byte 0x00 non trovato");
  if ((shortPs | badFill) != 0) return TRFAIL(14, "%s", kUnknownEncoding);
  *start = separator + 1;
  return 0;
}

// ---- ISO/IEC 9796-1 ----------------------------------------------------------

// The permutation of nibbles behind the shadow bytes, and its inverse.
constexpr uint8_t kPi[16] = {0xE, 0x3, 0x5, 0x8, 0x9, 0x4, 0x2, 0xF,
                             0x0, 0xD, 0xB, 0x6, 0x7, 0xA, 0xC, 0x1};
constexpr uint8_t kPiInverse[16] = {0x8, 0xF, 0x6, 0x1, 0x5, 0x2, 0xB, 0xC,
                                    0x3, 0x4, 0xD, 0xA, 0xE, 0x9, 0x0, 0x7};

uint8_t shadow(uint8_t b) { return static_cast<uint8_t>(kPi[b >> 4] << 4 | kPi[b & 15]); }

struct Iso9796Sizes {
  explicit Iso9796Sizes(unsigned nbits)
      : block(blockBytes(nbits)), ks(nbits - 1), extended((ks - 1 + 15) / 16) {}
  size_t block;     // output bytes
  size_t ks;        // bits of the formatted value
  size_t extended;  // bytes of the extended message (t)
  // Bits of byte `index` (0 = least significant) of the redundant message
  // that survive truncation to ks - 1 bits.
  uint8_t knownMask(size_t index) const {
    long bits = static_cast<long>(ks) - 1 - 8 * static_cast<long>(index);
    if (bits >= 8) return 0xFF;
    return bits <= 0 ? 0 : static_cast<uint8_t>((1u << bits) - 1);
  }
};

// `indicator` is 1 + the number of zero padding bits in the message's
// first byte.
void iso9796FormatIndicator(const uint8_t* in, size_t z, unsigned nbits, unsigned indicator,
                            uint8_t* out) {
  const Iso9796Sizes s(nbits);
  SecureBytes le(std::max(2 * s.extended, s.block), 0);  // least significant byte first
  for (size_t i = 0; i < s.extended; ++i) {
    const uint8_t m = in[z - 1 - i % z];
    le[2 * i] = m;
    le[2 * i + 1] = shadow(m);
  }
  le[2 * z - 1] ^= static_cast<uint8_t>(indicator);
  const size_t top = s.ks - 1;
  le[top / 8] = static_cast<uint8_t>((le[top / 8] & ((1u << top % 8) - 1)) | 1u << top % 8);
  std::fill(le.begin() + static_cast<long>(top / 8) + 1, le.end(), 0);
  le[0] = static_cast<uint8_t>(le[0] << 4 | 0x6);
  for (size_t i = 0; i < s.block; ++i) out[s.block - 1 - i] = le[i];
}

// ---- Multi-block format ----------------------------------------------------

constexpr uint8_t kMarker = 0x80;

}  // namespace

uint16_t pkcs1Encode(const uint8_t* in, size_t inLength, unsigned nbits, unsigned bt,
                     uint8_t* out) {
  const size_t k = blockBytes(nbits);
  if (inLength > k - kPkcs1Overhead) return TRFAIL(14, "%s", kTooLarge);
  const size_t psLength = k - 3 - inLength;
  SecureBytes block(k);
  block[1] = static_cast<uint8_t>(bt);
  uint8_t* ps = block.data() + 2;
  if (bt == 1) memset(ps, 0xFF, psLength);
  if (bt == 2 && !nonzeroRandom(ps, psLength)) {
    return TRFAIL(30, "Generatore casuale di sistema non disponibile");
  }
  if (inLength != 0) memcpy(block.data() + 3 + psLength, in, inLength);
  memcpy(out, block.data(), k);
  return 0;
}

uint16_t pkcs1Decode(const uint8_t* block, unsigned nbits, unsigned bt, uint8_t* out,
                     size_t* outLength) {
  const size_t k = blockBytes(nbits);
  size_t start = 0;
  uint16_t rc =
      bt == 0 ? pkcs1DataStartType0(block, k, &start) : pkcs1DataStart(block, k, bt, &start);
  if (rc != 0) return rc;
  *outLength = k - start;
  memmove(out, block + start, *outLength);
  return 0;
}

uint16_t iso9796Format(const uint8_t* in, size_t inLength, unsigned nbits, uint8_t* out) {
  if (inLength > iso9796MaxMessage(nbits)) return TRFAIL(14, "%s", kTooLarge);
  SecureBytes message(in, in + inLength);
  iso9796FormatIndicator(message.data(), inLength, nbits, 1, out);
  return 0;
}

// The message length z and the indicator come from the first byte pair,
// counting from the right, whose shadow byte does not match; the block is
// then formatted again from what was read and must come out the same.
uint16_t iso9796Recover(const uint8_t* block, unsigned nbits, uint8_t* out, size_t* outLength) {
  const Iso9796Sizes s(nbits);
  SecureBytes le(std::max(2 * s.extended, s.block), 0);
  for (size_t i = 0; i < s.block; ++i) le[i] = block[s.block - 1 - i];
  // The low nibble of the last message byte moved to the high nibble of the
  // last byte; its high nibble is read back from its shadow.
  const uint8_t last = static_cast<uint8_t>(kPiInverse[le[1] >> 4] << 4 | le[0] >> 4);
  auto messageByte = [&](size_t i) { return i == 0 ? last : le[2 * i]; };
  size_t z = 0;
  unsigned indicator = 0;
  for (size_t i = 0; i < iso9796MaxMessage(nbits); ++i) {
    const uint8_t diff = (le[2 * i + 1] ^ shadow(messageByte(i))) & s.knownMask(2 * i + 1);
    if (diff != 0) {
      z = i + 1;
      indicator = diff;
      break;
    }
  }
  if (z == 0 || indicator > 8 || messageByte(z - 1) >> (9 - indicator) != 0) {
    return TRFAIL(14, "%s", kUnknownEncoding);
  }
  SecureBytes message(z), again(s.block);
  for (size_t i = 0; i < z; ++i) message[z - 1 - i] = messageByte(i);
  iso9796FormatIndicator(message.data(), z, nbits, indicator, again.data());
  if (CRYPTO_memcmp(again.data(), block, s.block) != 0) return TRFAIL(14, "%s", kUnknownEncoding);
  memcpy(out, message.data(), z);
  *outLength = z;
  return 0;
}

uint16_t rsaBlocksFormattedLength(size_t inLength, unsigned nbits, size_t* outLength) {
  const size_t k = blockBytes(nbits), piece = k - 1;
  const uint64_t blocks = (uint64_t{inLength} + piece) / piece;  // room for the marker
  if (blocks * k > UINT32_MAX) return TRFAIL(14, "%s", kTooLarge);
  *outLength = static_cast<size_t>(blocks * k);
  return 0;
}

void rsaBlocksFormat(const uint8_t* in, size_t inLength, unsigned nbits, uint8_t* out) {
  const size_t k = blockBytes(nbits), piece = k - 1;
  const size_t blocks = (inLength + piece) / piece;
  SecureBytes data(blocks * piece, 0);
  if (inLength != 0) memcpy(data.data(), in, inLength);
  data[inLength] = kMarker;
  for (size_t b = 0; b < blocks; ++b) {
    out[b * k] = 0;
    memcpy(out + b * k + 1, data.data() + b * piece, piece);
  }
}

uint16_t rsaBlocksUnformat(const uint8_t* in, size_t inLength, unsigned nbits, uint8_t* out,
                           size_t* outLength) {
  const size_t k = blockBytes(nbits), piece = k - 1;
  if (inLength == 0 || inLength % k != 0) {
    return TRFAIL(14, "Buffer di input non multiplo del blocco");
  }
  const size_t blocks = inLength / k;
  SecureBytes data(blocks * piece);
  for (size_t b = 0; b < blocks; ++b) {
    if (in[b * k] != 0) return TRFAIL(14, "%s", kUnknownEncoding);
    memcpy(data.data() + b * piece, in + b * k + 1, piece);
  }
  // The marker and the zeros after it lie in the last block.
  const size_t lastStart = data.size() - piece;
  size_t end = data.size();
  while (end > lastStart && data[end - 1] == 0) --end;
  if (end == lastStart || data[end - 1] != kMarker) {
    return TRFAIL(14, "Ultimo byte diverso da 0x80");
  }
  *outLength = end - 1;
  if (*outLength != 0) memcpy(out, data.data(), *outLength);
  return 0;
}

}  // namespace sigillo
