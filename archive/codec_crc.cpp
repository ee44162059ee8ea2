// Slicing-by-8 CRC-32: eight table look-ups per eight input bytes.
#include "archive/codec_crc.h"

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

}  // namespace

uint32_t crc32Update(uint32_t crc, const void* data, size_t length) {
  const auto* p = static_cast<const uint8_t*>(data);
  uint32_t c = ~crc;
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
  return ~c;
}

}  // namespace sigillo::codec
