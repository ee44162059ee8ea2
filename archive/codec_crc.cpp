// CRC-32 two ways: carry-less multiplication folding 64 bytes per step where
// the processor has PCLMULQDQ, slicing-by-8 table look-ups elsewhere and for
// the tails.
#include "archive/codec_crc.h"

#include <immintrin.h>

#include <array>
#include <cstring>

namespace sigillo::codec {
namespace {

using Tables = std::array<std::array<uint32_t, 256>, 8>;

constexpr Tables makeTables() {
  Tables t{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) != 0 ? (c >> 1) ^ 0xEDB88320u : c >> 1;
    t[0][i] = c;
  }
  for (uint32_t i = 0; i < 256; ++i) {
    for (size_t s = 1; s < 8; ++s) t[s][i] = (t[s - 1][i] >> 8) ^ t[0][t[s - 1][i] & 0xFF];
  }
  return t;
}

constexpr Tables kTables = makeTables();

// `c` is the running register (already inverted), as in the folding path.
uint32_t sliceBy8(uint32_t c, const uint8_t* p, size_t length) {
  while (length >= 8) {
    uint32_t lo;
    uint32_t hi;
    memcpy(&lo, p, 4);
    memcpy(&hi, p + 4, 4);
    lo ^= c;
    c = kTables[7][lo & 0xFF] ^ kTables[6][(lo >> 8) & 0xFF] ^ kTables[5][(lo >> 16) & 0xFF] ^
        kTables[4][lo >> 24] ^ kTables[3][hi & 0xFF] ^ kTables[2][(hi >> 8) & 0xFF] ^
        kTables[1][(hi >> 16) & 0xFF] ^ kTables[0][hi >> 24];
    p += 8;
    length -= 8;
  }
  while (length-- > 0) c = (c >> 8) ^ kTables[0][(c ^ *p++) & 0xFF];
  return c;
}

#if defined(__x86_64__)

constexpr size_t kFoldMinimum = 64;

// Folding constants of the reflected polynomial: x^(4*128+32) and
// x^(4*128-32) mod P for the four-lane step, x^(128+32) and x^(128-32) for
// one lane, x^64 for the last fold, then P and floor(x^64 / P) for Barrett.
__attribute__((target("pclmul,sse4.1"))) inline __m128i fold(__m128i x, __m128i k, __m128i next) {
  return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), next),
                       _mm_clmulepi64_si128(x, k, 0x11));
}

// `length` is at least 64 and a multiple of 16.
__attribute__((target("pclmul,sse4.1"))) uint32_t foldBy4(uint32_t c, const uint8_t* p,
                                                          size_t length) {
  const __m128i k1k2 = _mm_set_epi64x(0x01c6e41596, 0x0154442bd4);
  const __m128i k3k4 = _mm_set_epi64x(0x00ccaa009e, 0x01751997d0);
  const __m128i k5 = _mm_set_epi64x(0, 0x0163cd6124);
  const __m128i barrett = _mm_set_epi64x(0x01f7011641, 0x01db710641);
  const auto load = [](const uint8_t* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  };
  __m128i x1 = _mm_xor_si128(load(p), _mm_cvtsi32_si128(static_cast<int>(c)));
  __m128i x2 = load(p + 16);
  __m128i x3 = load(p + 32);
  __m128i x4 = load(p + 48);
  p += 64;
  length -= 64;
  for (; length >= 64; p += 64, length -= 64) {
    x1 = fold(x1, k1k2, load(p));
    x2 = fold(x2, k1k2, load(p + 16));
    x3 = fold(x3, k1k2, load(p + 32));
    x4 = fold(x4, k1k2, load(p + 48));
  }
  x1 = fold(x1, k3k4, x2);
  x1 = fold(x1, k3k4, x3);
  x1 = fold(x1, k3k4, x4);
  for (; length >= 16; p += 16, length -= 16) x1 = fold(x1, k3k4, load(p));

  // 128 bits to 64, then 64 to 32 by Barrett reduction.
  const __m128i low32 = _mm_setr_epi32(~0, 0, ~0, 0);
  x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), _mm_clmulepi64_si128(x1, k3k4, 0x10));
  x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k5, 0x00),
                     _mm_srli_si128(x1, 4));
  __m128i q = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), barrett, 0x10);
  q = _mm_clmulepi64_si128(_mm_and_si128(q, low32), barrett, 0x00);
  return static_cast<uint32_t>(_mm_extract_epi32(_mm_xor_si128(x1, q), 1));
}

bool canFold() {
  static const bool supported =
      __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
  return supported;
}

#endif

}  // namespace

uint32_t crc32Update(uint32_t crc, const void* data, size_t length) {
  const auto* p = static_cast<const uint8_t*>(data);
  uint32_t c = ~crc;
#if defined(__x86_64__)
  if (length >= kFoldMinimum && canFold()) {
    const size_t folded = length & ~size_t{15};
    c = foldBy4(c, p, folded);
    p += folded;
    length -= folded;
  }
#endif
  return ~sliceBy8(c, p, length);
}

}  // namespace sigillo::codec
