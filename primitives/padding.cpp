// Block paddings done in place (see padding.h and docs/padding.md).
#include "primitives/padding.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "padding";

// End bytes of PAD64, indexed by table and by the number of bytes the last
// block held (0 to 7).  Table 0 holds the count of bytes added; table 1 has
// the high bit set and the count in bits 3 to 6.
constexpr uint8_t kEnd64[2][8] = {{8, 7, 6, 5, 4, 3, 2, 1},
                                  {0xC0, 0xB8, 0xB0, 0xA8, 0xA0, 0x98, 0x90, 0x88}};

constexpr uint32_t kLen3Min = 3;
constexpr uint32_t kLen3Max = 10;

// Grows the buffer to newLength bytes: the byte `first` when it is not
// negative, zero bytes, and the byte `last` when it is not negative.
bool append(uint8_t* buf, uint32_t* length, uint64_t newLength, int first, int last) {
  if (newLength > UINT32_MAX) return false;
  uint64_t at = *length;
  if (first >= 0) buf[at++] = static_cast<uint8_t>(first);
  uint64_t end = last >= 0 ? newLength - 1 : newLength;
  memset(buf + at, 0, end - at);
  if (last >= 0) buf[end] = static_cast<uint8_t>(last);
  *length = static_cast<uint32_t>(newLength);
  return true;
}

// Bytes needed for `bits` bits rounded up to a whole number of blocks.
uint64_t bytesForBlocks(uint64_t bits, unsigned blockBits) {
  uint64_t blocks = (bits + blockBits - 1) / blockBits;
  return (blocks * blockBits + 7) / 8;
}

}  // namespace

bool padIso1(uint8_t* buf, uint32_t* length, unsigned blockBits) {
  return append(buf, length, bytesForBlocks(8ull * *length, blockBits), -1, -1);
}

bool padIso2(uint8_t* buf, uint32_t* length, unsigned blockBits) {
  return append(buf, length, bytesForBlocks(8ull * (*length + 1ull), blockBits), 0x80, -1);
}

// Method 2 adds at most ceil((blockBits - gcd(8, blockBits)) / 8) zero bytes
// after the marker: a longer run of zeros is data, not padding.
uint16_t unpadIso2(const uint8_t* buf, uint32_t* length, unsigned blockBits) {
  const uint32_t maxZeros = (blockBits - std::gcd(8u, blockBits) + 7) / 8;
  uint32_t zeros = 0;
  while (zeros < *length && zeros <= maxZeros && buf[*length - 1 - zeros] == 0) ++zeros;
  if (zeros == *length || zeros > maxZeros || buf[*length - 1 - zeros] != 0x80) {
    return TRFAIL(14, "Formato input non corretto");
  }
  *length -= zeros + 1;
  return 0;
}

bool padLen3(uint8_t* buf, uint32_t* length) {
  uint32_t count = 8 - *length % 8;
  if (count < kLen3Min) count += 8;
  return append(buf, length, uint64_t{*length} + count, 0x80, static_cast<int>(count));
}

uint16_t unpadLen3(const uint8_t* buf, uint32_t* length) {
  const uint32_t count = buf[*length - 1];
  if (count < kLen3Min) return TRFAIL(14, "padlen < 3");
  const uint32_t limit = std::min(kLen3Max, *length);
  if (count > limit) return TRFAIL(14, "padlen > %u", limit);
  const uint8_t* pad = buf + *length - count;
  uint8_t diff = pad[0] ^ 0x80;
  for (uint32_t i = 1; i + 1 < count; ++i) diff |= pad[i];
  if (diff != 0) return TRFAIL(14, "Byte padding sbagliati");
  *length -= count;
  return 0;
}

bool pad64(uint8_t* buf, uint32_t* length, unsigned table) {
  const uint32_t held = *length % 8;
  return append(buf, length, uint64_t{*length} + 8 - held, -1, kEnd64[table][held]);
}

uint16_t unpad64(const uint8_t* buf, uint32_t* length) {
  const uint8_t last = buf[*length - 1];
  const uint32_t count = last < 0x80 ? last : (last - 0x80u) >> 3;
  if (count < 1) return TRFAIL(14, "inferiore a 1");
  if (count > 8) return TRFAIL(14, "superiore a 8");
  *length -= count;
  return 0;
}

bool padPkcs5(uint8_t* buf, uint32_t* length) {
  const uint32_t count = 8 - *length % 8;
  uint64_t newLength = uint64_t{*length} + count;
  if (newLength > UINT32_MAX) return false;
  memset(buf + *length, static_cast<int>(count), count);
  *length = static_cast<uint32_t>(newLength);
  return true;
}

// Every padding byte is compared, and each one that differs is recorded.
uint16_t unpadPkcs5(const uint8_t* buf, uint32_t* length) {
  const uint32_t count = buf[*length - 1];
  if (count < 1 || count > 8) return TRFAIL(14, "Valore ultimo byte < 1 oppure > 8");
  uint16_t code = 0;
  for (uint32_t i = 2; i <= count; ++i) {
    if (buf[*length - i] != count) code = TRFAIL(14, "Byte padding sbagliati");
  }
  *length -= count;
  return code;
}

}  // namespace sigillo
