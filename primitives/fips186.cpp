// FIPS 186-2 Appendix 3.1 random number generator (see fips186.h).
#include "primitives/fips186.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>

namespace sigillo {
namespace {

uint32_t rotl(uint32_t x, int n) { return x << n | x >> (32 - n); }

// G(t, c): one SHA-1 compression of the 64-byte block from SHA-1's initial
// value (the t of FIPS 186-2), the five state words big-endian.
void sha1Compress(const uint8_t block[64], uint8_t out[kFips186Word]) {
  uint32_t w[80];
  for (size_t i = 0; i < 16; ++i) {
    w[i] = uint32_t{block[4 * i]} << 24 | uint32_t{block[4 * i + 1]} << 16 |
           uint32_t{block[4 * i + 2]} << 8 | block[4 * i + 3];
  }
  for (int i = 16; i < 80; ++i) w[i] = rotl(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
  const uint32_t h[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
  for (int i = 0; i < 80; ++i) {
    uint32_t f, k;
    if (i < 20) {
      f = (b & c) | (~b & d);
      k = 0x5A827999;
    } else if (i < 40) {
      f = b ^ c ^ d;
      k = 0x6ED9EBA1;
    } else if (i < 60) {
      f = (b & c) | (b & d) | (c & d);
      k = 0x8F1BBCDC;
    } else {
      f = b ^ c ^ d;
      k = 0xCA62C1D6;
    }
    uint32_t next = rotl(a, 5) + f + e + k + w[i];
    e = d;
    d = c;
    c = rotl(b, 30);
    b = a;
    a = next;
  }
  const uint32_t result[5] = {h[0] + a, h[1] + b, h[2] + c, h[3] + d, h[4] + e};
  for (int i = 0; i < 5; ++i) {
    for (int j = 0; j < 4; ++j) out[4 * i + j] = static_cast<uint8_t>(result[i] >> (24 - 8 * j));
  }
  OPENSSL_cleanse(w, sizeof w);
}

// xkey = (1 + xkey + w) mod 2^b, both big-endian, w right-aligned.
void advanceKey(uint8_t* xkey, size_t keyLength, const uint8_t w[kFips186Word]) {
  unsigned carry = 1;
  for (size_t i = 0; i < keyLength; ++i) {
    unsigned sum =
        xkey[keyLength - 1 - i] + carry + (i < kFips186Word ? w[kFips186Word - 1 - i] : 0);
    xkey[keyLength - 1 - i] = static_cast<uint8_t>(sum);
    carry = sum >> 8;
  }
}

}  // namespace

void fips186Generate(uint8_t* xkey, size_t keyLength, uint8_t* out, size_t length) {
  uint8_t block[64], w[kFips186Word];
  size_t done = 0;
  while (done < length) {
    memset(block, 0, sizeof block);
    memcpy(block, xkey, keyLength);
    sha1Compress(block, w);
    advanceKey(xkey, keyLength, w);
    size_t n = std::min(kFips186Word, length - done);
    memcpy(out + done, w, n);
    done += n;
  }
  OPENSSL_cleanse(block, sizeof block);
  OPENSSL_cleanse(w, sizeof w);
}

}  // namespace sigillo
