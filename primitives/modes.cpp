// ECB, CBC, PCBC and n-bit CFB and OFB over any block cipher.
#include "primitives/modes.h"

#include <openssl/crypto.h>

#include <cstring>

namespace sigillo {
namespace {

// Wipes a stack block when the step leaves.
struct ScratchBlock {
  uint8_t bytes[kMaxBlock] = {};
  ~ScratchBlock() { OPENSSL_cleanse(bytes, sizeof bytes); }
};

void xorInto(uint8_t* out, const uint8_t* a, const uint8_t* b, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = a[i] ^ b[i];
}

// The n bits at bit offset `pos` of `src` (most significant first), left
// aligned into `dst`.
void readBits(const uint8_t* src, size_t pos, unsigned n, uint8_t* dst) {
  if (pos % 8 == 0 && n % 8 == 0) {
    memcpy(dst, src + pos / 8, n / 8);
    return;
  }
  memset(dst, 0, (n + 7) / 8);
  for (unsigned i = 0; i < n; ++i) {
    size_t bit = pos + i;
    if ((src[bit / 8] >> (7 - bit % 8)) & 1) dst[i / 8] |= static_cast<uint8_t>(0x80 >> (i % 8));
  }
}

void writeBits(uint8_t* dst, size_t pos, unsigned n, const uint8_t* src) {
  if (pos % 8 == 0 && n % 8 == 0) {
    memcpy(dst + pos / 8, src, n / 8);
    return;
  }
  for (unsigned i = 0; i < n; ++i) {
    size_t bit = pos + i;
    uint8_t mask = static_cast<uint8_t>(0x80 >> (bit % 8));
    if ((src[i / 8] >> (7 - i % 8)) & 1) {
      dst[bit / 8] |= mask;
    } else {
      dst[bit / 8] &= static_cast<uint8_t>(~mask);
    }
  }
}

// reg = (reg << n) | the n left-aligned bits of seg.
void shiftIn(uint8_t* reg, size_t size, const uint8_t* seg, unsigned n) {
  if (n % 8 == 0) {
    size_t bytes = n / 8;
    memmove(reg, reg + bytes, size - bytes);
    memcpy(reg + size - bytes, seg, bytes);
    return;
  }
  ScratchBlock shifted;
  readBits(reg, n, static_cast<unsigned>(size * 8 - n), shifted.bytes);
  writeBits(shifted.bytes, size * 8 - n, n, seg);
  memcpy(reg, shifted.bytes, size);
}

// One CFB or OFB step over `n` bits at bit offset `pos`.
void feedbackStep(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t pos,
                  uint8_t* iv, unsigned n, bool decrypt, bool outputFeedback) {
  const size_t size = cipher.blockSize();
  ScratchBlock keystream, data, result;
  cipher.encryptBlock(iv, keystream.bytes);
  readBits(in, pos, n, data.bytes);
  xorInto(result.bytes, data.bytes, keystream.bytes, (n + 7) / 8);
  if (n % 8 != 0) result.bytes[n / 8] &= static_cast<uint8_t>(0xFF << (8 - n % 8));
  writeBits(out, pos, n, result.bytes);
  const uint8_t* feedback =
      outputFeedback ? keystream.bytes : (decrypt ? data.bytes : result.bytes);
  shiftIn(iv, size, feedback, n);
}

void feedbackRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length,
                 uint8_t* iv, unsigned n, bool decrypt, bool outputFeedback) {
  const size_t size = cipher.blockSize();
  if (n == size * 8) {
    ScratchBlock keystream, data;
    for (size_t pos = 0; pos < length; pos += size) {
      cipher.encryptBlock(iv, keystream.bytes);
      memcpy(data.bytes, in + pos, size);
      xorInto(out + pos, data.bytes, keystream.bytes, size);
      memcpy(iv, outputFeedback ? keystream.bytes : (decrypt ? data.bytes : out + pos), size);
    }
    return;
  }
  for (size_t pos = 0; pos < length * 8; pos += n) {
    feedbackStep(cipher, in, out, pos, iv, n, decrypt, outputFeedback);
  }
}

}  // namespace

void ecbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length,
            bool decrypt) {
  const size_t size = cipher.blockSize();
  for (size_t pos = 0; pos < length; pos += size) {
    if (decrypt) {
      cipher.decryptBlock(in + pos, out + pos);
    } else {
      cipher.encryptBlock(in + pos, out + pos);
    }
  }
}

void cbcRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            bool decrypt) {
  const size_t size = cipher.blockSize();
  ScratchBlock block, saved;
  for (size_t pos = 0; pos < length; pos += size) {
    if (decrypt) {
      memcpy(saved.bytes, in + pos, size);
      cipher.decryptBlock(in + pos, block.bytes);
      xorInto(out + pos, block.bytes, iv, size);
      memcpy(iv, saved.bytes, size);
    } else {
      xorInto(block.bytes, in + pos, iv, size);
      cipher.encryptBlock(block.bytes, out + pos);
      memcpy(iv, out + pos, size);
    }
  }
}

void pcbcRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
             bool decrypt) {
  const size_t size = cipher.blockSize();
  ScratchBlock block, saved;
  for (size_t pos = 0; pos < length; pos += size) {
    // The input block is kept: `out` may be the same buffer.
    memcpy(saved.bytes, in + pos, size);
    if (decrypt) {
      cipher.decryptBlock(saved.bytes, block.bytes);
      xorInto(out + pos, block.bytes, iv, size);
    } else {
      xorInto(block.bytes, saved.bytes, iv, size);
      cipher.encryptBlock(block.bytes, out + pos);
    }
    xorInto(iv, saved.bytes, out + pos, size);  // P_i XOR C_i either way
  }
}

void cfbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            unsigned nbits, bool decrypt) {
  feedbackRun(cipher, in, out, length, iv, nbits, decrypt, false);
}

void ofbRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            unsigned nbits) {
  feedbackRun(cipher, in, out, length, iv, nbits, false, true);
}

void ctsRun(const BlockCipher& cipher, const uint8_t* in, uint8_t* out, size_t length, uint8_t* iv,
            bool decrypt) {
  const size_t size = cipher.blockSize();
  const size_t tail = length % size == 0 ? size : length % size;
  const size_t prefix = length - tail - size;
  cbcRun(cipher, in, out, prefix, iv, decrypt);
  const uint8_t* last2 = in + prefix;
  const uint8_t* last = last2 + size;
  ScratchBlock e, d;
  if (!decrypt) {
    xorInto(d.bytes, last2, iv, size);
    cipher.encryptBlock(d.bytes, e.bytes);  // E(n-1)
    memcpy(d.bytes, e.bytes, size);
    xorInto(d.bytes, e.bytes, last, tail);  // D(n) = E(n-1) xor zero-padded P(n)
    uint8_t* outLast2 = out + prefix;
    memcpy(outLast2 + size, e.bytes, tail);  // C(n): the head of E(n-1)
    cipher.encryptBlock(d.bytes, outLast2);  // C(n-1)
    memcpy(iv, outLast2, size);
    return;
  }
  cipher.decryptBlock(last2, d.bytes);  // D(n)
  memcpy(e.bytes, last, tail);
  memcpy(e.bytes + tail, d.bytes + tail, size - tail);  // E(n-1) rebuilt
  ScratchBlock plainLast;
  xorInto(plainLast.bytes, d.bytes, last, tail);
  cipher.decryptBlock(e.bytes, d.bytes);
  uint8_t* outLast2 = out + prefix;
  ScratchBlock savedC;
  memcpy(savedC.bytes, last2, size);
  xorInto(outLast2, d.bytes, iv, size);
  memcpy(outLast2 + size, plainLast.bytes, tail);
  memcpy(iv, savedC.bytes, size);
}

}  // namespace sigillo
