// Entry points converting numbers between byte strings, arrays of 32-bit
// words and number vectors (USV: element 0 the count n of 16-bit digits,
// elements 1..n the digits, most significant first).
#include "framework/entry.h"
#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "evec";

// Records an argument error, leaves the call frame and yields `code`.

constexpr uint32_t kMaxUsvBytes = 65534;

const TrDesc kUlToUsvDesc = {"ULTOUSV", 2, {kArgU32, kArgPtr}};
const TrDesc kBaToUsvDesc = {"BATOUSV", 3, {TrBuf(1), kArgU32, kArgPtr}};
const TrDesc kUsvToBaDesc = {"USVTOBA", 3, {kArgPtr, TrBuf(2), kArgU32}};
const TrDesc kBaToUlaDesc = {"BATOULA", 4, {TrBuf(1), kArgU32, kArgPtr, kArgU16}};
const TrDesc kUlaToBaDesc = {"ULATOBA", 4, {kArgPtr, kArgU32, TrBuf(1), kArgU16}};

// The high half is digit 1; a nonzero high half puts the low half in digit
// 2, a zero one lets the low half overwrite digit 1.  The count ignores a
// zero low half, so 0x10000 gives the one-digit vector {1}: callers rely on
// this result.
uint16_t ulToUsv(const uint32_t* l, uint16_t* usv) {
  TRclrerr();
  TRin(&kUlToUsvDesc, l, usv);
  if (l == nullptr) return TRERROUT(2, "l (1)");
  if (usv == nullptr) return TRERROUT(3, "usv (2)");
  const uint16_t high = static_cast<uint16_t>(*l >> 16), low = static_cast<uint16_t>(*l);
  usv[1] = high;
  if (high != 0) {
    usv[2] = low;
  } else {
    usv[1] = low;
  }
  usv[0] = high == 0 ? 1 : static_cast<uint16_t>(1 + (low != 0));
  return TRout();
}

// The bytes are one big-endian number; an odd count gives the first digit
// a zero high byte.
uint16_t baToUsv(const uint8_t* vuc, const uint32_t* insz, uint16_t* vus) {
  TRclrerr();
  TRin(&kBaToUsvDesc, vuc, insz, vus);
  if (vuc == nullptr) return TRERROUT(2, "vuc (1)");
  if (insz == nullptr || *insz < 1 || *insz > kMaxUsvBytes) return TRERROUT(5, "insz (2)");
  if (vus == nullptr) return TRERROUT(3, "vus (3)");
  const uint32_t digits = (*insz + 1) / 2;
  const uint8_t* byte = vuc + *insz;  // one past the least significant byte
  for (uint32_t d = digits; d >= 1; --d) {
    uint16_t low = *--byte;
    uint16_t high = byte > vuc ? *--byte : 0;
    vus[d] = static_cast<uint16_t>(high << 8 | low);
  }
  vus[0] = static_cast<uint16_t>(digits);
  return TRout();
}

uint16_t usvToBa(const uint16_t* vus, uint8_t* vuc, uint32_t* outsz) {
  TRclrerr();
  TRin(&kUsvToBaDesc, vus, vuc, outsz);
  if (vus == nullptr || vus[0] == 0) return TRERROUT(2, "vus (1)");
  if (vuc == nullptr) return TRERROUT(3, "vuc (2)");
  if (outsz == nullptr) return TRERROUT(6, "outsz (3)");
  const uint32_t digits = vus[0];
  for (uint32_t d = 1; d <= digits; ++d) {
    vuc[2 * d - 2] = static_cast<uint8_t>(vus[d] >> 8);
    vuc[2 * d - 1] = static_cast<uint8_t>(vus[d]);
  }
  *outsz = 2 * digits;
  return TRout();
}

// Word order follows the bytes; `mode` 1 reads and writes each word
// big-endian, 0 little-endian.
uint16_t checkWordArgs(const void* in, const uint32_t* insz, const void* out, const uint16_t* mode,
                       const char* inName, const char* outName) {
  if (in == nullptr) return TRERROUT(2, "%s", inName);
  if (insz == nullptr || *insz == 0 || *insz % 4 != 0) return TRERROUT(5, "insz (2)");
  if (out == nullptr) return TRERROUT(3, "%s", outName);
  if (mode == nullptr || *mode > 1) return TRERROUT(1, "mode (4)");
  return 0;
}

uint16_t baToUla(const uint8_t* r, const uint32_t* insz, uint32_t* l, const uint16_t* mode) {
  TRclrerr();
  TRin(&kBaToUlaDesc, r, insz, l, mode);
  if (uint16_t rc = checkWordArgs(r, insz, l, mode, "r (1)", "l (3)")) return rc;
  for (uint32_t w = 0; w < *insz / 4; ++w) {
    const uint8_t* b = r + size_t{4} * w;
    l[w] = *mode == 1 ? uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3]
                      : uint32_t{b[3]} << 24 | uint32_t{b[2]} << 16 | uint32_t{b[1]} << 8 | b[0];
  }
  return TRout();
}

uint16_t ulaToBa(const uint32_t* l, const uint32_t* insz, uint8_t* r, const uint16_t* mode) {
  TRclrerr();
  TRin(&kUlaToBaDesc, l, insz, r, mode);
  if (uint16_t rc = checkWordArgs(l, insz, r, mode, "l (1)", "r (3)")) return rc;
  for (uint32_t w = 0; w < *insz / 4; ++w) {
    for (int i = 0; i < 4; ++i) {
      const int shift = *mode == 1 ? 24 - 8 * i : 8 * i;
      r[4 * w + i] = static_cast<uint8_t>(l[w] >> shift);
    }
  }
  return TRout();
}


}  // namespace
}  // namespace sigillo

using sigillo::runEntry;

uint16_t ULTOUSV(const uint32_t* l, uint16_t* usv, uint16_t* rc) {
  return runEntry("ULTOUSV", rc, [&] { return sigillo::ulToUsv(l, usv); });
}
void YULTOUSV(const uint32_t* l, uint16_t* usv, uint16_t* rc) { ULTOUSV(l, usv, rc); }

uint16_t BATOUSV(const uint8_t* vuc, const uint32_t* insz, uint16_t* vus, uint16_t* rc) {
  return runEntry("BATOUSV", rc, [&] { return sigillo::baToUsv(vuc, insz, vus); });
}
void YBATOUSV(const uint8_t* vuc, const uint32_t* insz, uint16_t* vus, uint16_t* rc) {
  BATOUSV(vuc, insz, vus, rc);
}

uint16_t USVTOBA(const uint16_t* vus, uint8_t* vuc, uint32_t* outsz, uint16_t* rc) {
  return runEntry("USVTOBA", rc, [&] { return sigillo::usvToBa(vus, vuc, outsz); });
}
void YUSVTOBA(const uint16_t* vus, uint8_t* vuc, uint32_t* outsz, uint16_t* rc) {
  USVTOBA(vus, vuc, outsz, rc);
}

uint16_t BATOULA(const uint8_t* r, const uint32_t* insz, uint32_t* l, const uint16_t* mode,
                 uint16_t* rc) {
  return runEntry("BATOULA", rc, [&] { return sigillo::baToUla(r, insz, l, mode); });
}
void YBATOULA(const uint8_t* r, const uint32_t* insz, uint32_t* l, const uint16_t* mode,
              uint16_t* rc) {
  BATOULA(r, insz, l, mode, rc);
}

uint16_t ULATOBA(const uint32_t* l, const uint32_t* insz, uint8_t* r, const uint16_t* mode,
                 uint16_t* rc) {
  return runEntry("ULATOBA", rc, [&] { return sigillo::ulaToBa(l, insz, r, mode); });
}
void YULATOBA(const uint32_t* l, const uint32_t* insz, uint8_t* r, const uint16_t* mode,
              uint16_t* rc) {
  ULATOBA(l, insz, r, mode, rc);
}
