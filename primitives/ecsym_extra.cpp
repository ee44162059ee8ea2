// DES-family entry points besides the modes of ecsym_des.cpp: the weak-key
// test, session keys, the triple-DES MAC, the statistical tests of a random
// stream and DES in propagating CBC.
#include <openssl/rand.h>

#include <array>
#include <bit>
#include <cstring>

#include "framework/entry.h"
#include "framework/secure.h"
#include "primitives/cipherstate.h"
#include "primitives/ecsym_args.h"
#include "primitives/fips140.h"
#include "primitives/modes.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "ecsym";
constexpr size_t kDesBlock = 8;
constexpr size_t kDesKey = 8;
using DesKey = std::array<uint8_t, kDesKey>;

// The weak and semi-weak DES keys of FIPS 74 and NIST SP 800-67, with
// odd parity; the semi-weak ones in their six pairs.
constexpr std::array<DesKey, 4> kWeakKeys = {{
    {0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01},
    {0xFE, 0xFE, 0xFE, 0xFE, 0xFE, 0xFE, 0xFE, 0xFE},
    {0xE0, 0xE0, 0xE0, 0xE0, 0xF1, 0xF1, 0xF1, 0xF1},
    {0x1F, 0x1F, 0x1F, 0x1F, 0x0E, 0x0E, 0x0E, 0x0E},
}};
constexpr std::array<DesKey, 12> kSemiWeakKeys = {{
    {0x01, 0xFE, 0x01, 0xFE, 0x01, 0xFE, 0x01, 0xFE},
    {0xFE, 0x01, 0xFE, 0x01, 0xFE, 0x01, 0xFE, 0x01},
    {0x1F, 0xE0, 0x1F, 0xE0, 0x0E, 0xF1, 0x0E, 0xF1},
    {0xE0, 0x1F, 0xE0, 0x1F, 0xF1, 0x0E, 0xF1, 0x0E},
    {0x01, 0xE0, 0x01, 0xE0, 0x01, 0xF1, 0x01, 0xF1},
    {0xE0, 0x01, 0xE0, 0x01, 0xF1, 0x01, 0xF1, 0x01},
    {0x1F, 0xFE, 0x1F, 0xFE, 0x0E, 0xFE, 0x0E, 0xFE},
    {0xFE, 0x1F, 0xFE, 0x1F, 0xFE, 0x0E, 0xFE, 0x0E},
    {0x01, 0x1F, 0x01, 0x1F, 0x01, 0x0E, 0x01, 0x0E},
    {0x1F, 0x01, 0x1F, 0x01, 0x0E, 0x01, 0x0E, 0x01},
    {0xE0, 0xFE, 0xE0, 0xFE, 0xF1, 0xFE, 0xF1, 0xFE},
    {0xFE, 0xE0, 0xFE, 0xE0, 0xFE, 0xF1, 0xFE, 0xF1},
}};

enum class Weakness { kNone, kWeak, kSemiWeak };

// Parity bits are ignored.  Every entry is compared in full, so the time
// taken does not depend on the key.
template <size_t N>
bool inList(const uint8_t* key, const std::array<DesKey, N>& list) {
  bool found = false;
  for (const DesKey& entry : list) {
    uint8_t diff = 0;
    for (size_t i = 0; i < kDesKey; ++i) diff |= static_cast<uint8_t>((key[i] ^ entry[i]) & 0xFE);
    found |= diff == 0;
  }
  return found;
}

Weakness weaknessOf(const uint8_t* key) {
  if (inList(key, kWeakKeys)) return Weakness::kWeak;
  if (inList(key, kSemiWeakKeys)) return Weakness::kSemiWeak;
  return Weakness::kNone;
}

// A result that is not an argument error: recorded, the trace entry
// closed, and `code` returned even when recording is switched off.
uint16_t finishWith(uint16_t code, const char* message) { return TRERROUT(code, "%s", message); }

const TrDesc kIsWeakDesc = {"ISWEAK", 1, {kArgPtr}};
const TrDesc kGenKmmDesc = {"GENKMM", 2, {kArgPtr, kArgPtr}};
const TrDesc kMac3Desc = {"MAC3", 6, {TrBuf(1), kArgU32, kArgPtr, kArgPtr, kArgPtr, kArgPtr}};
const TrDesc kChkKdeaDesc = {"CHKKDEA", 1, {kArgPtr}};

uint16_t isWeak(const uint8_t* key) {
  TRclrerr();
  TRin(&kIsWeakDesc, key);
  if (uint16_t rc = firstFailed({{4, "key (1)", key == nullptr}})) return rc;
  switch (weaknessOf(key)) {
    case Weakness::kWeak:
      return finishWith(18, "Chiave debole");
    case Weakness::kSemiWeak:
      return finishWith(19, "Chiave semidebole");
    case Weakness::kNone:
      break;
  }
  return TRout();
}

// A healthy generator draws a weak or semi-weak key once in 2^52 draws;
// one that keeps drawing them is broken.
constexpr int kMaxKeyDraws = 16;

void setOddParity(uint8_t* key) {
  for (size_t i = 0; i < kDesKey; ++i) {
    const uint8_t high = key[i] & 0xFE;
    key[i] = static_cast<uint8_t>(high | ((std::popcount(high) & 1) == 0 ? 1 : 0));
  }
}

uint16_t genKmm(uint8_t* s, uint8_t* iv) {
  TRclrerr();
  TRin(&kGenKmmDesc, s, iv);
  if (uint16_t rc = firstFailed({{3, "s (1)", s == nullptr}, {3, "iv (2)", iv == nullptr}})) {
    return rc;
  }
  SecureBytes key(kDesKey);
  int draws = 0;
  do {
    if (++draws > kMaxKeyDraws) return finishWith(17, "Chiave debole a ogni estrazione");
    if (RAND_priv_bytes(key.data(), static_cast<int>(kDesKey)) != 1) {
      return finishWith(17, "RAND_priv_bytes fallita");
    }
    setOddParity(key.data());
  } while (weaknessOf(key.data()) != Weakness::kNone);
  std::array<uint8_t, kDesBlock> chain{};
  if (RAND_bytes(chain.data(), static_cast<int>(chain.size())) != 1) {
    return finishWith(17, "RAND_bytes fallita");
  }
  memcpy(s, key.data(), kDesKey);
  memcpy(iv, chain.data(), chain.size());
  return TRout();
}

// CBC-MAC under three-key triple DES from a zero IV, the message padded
// with zero bytes to whole blocks (an empty message is one zero block).
// Whole blocks are read straight from the caller's buffer, a slice at a
// time, so the message is never copied.
uint16_t mac3(const uint8_t* bufi, const uint32_t* insz, const uint8_t* pssw1, const uint8_t* pssw2,
              const uint8_t* pssw3, uint8_t* mac) {
  TRclrerr();
  TRin(&kMac3Desc, bufi, insz, pssw1, pssw2, pssw3, mac);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {5, "insz (2)", insz == nullptr},
                                 {4, "pssw1 (3)", pssw1 == nullptr},
                                 {4, "pssw2 (4)", pssw2 == nullptr},
                                 {4, "pssw3 (5)", pssw3 == nullptr},
                                 {3, "mac (6)", mac == nullptr}})) {
    return rc;
  }
  SecureBytes key(pssw1, pssw1 + kDesKey);
  key.insert(key.end(), pssw2, pssw2 + kDesKey);
  key.insert(key.end(), pssw3, pssw3 + kDesKey);
  EvpKey tdes("DES-EDE3", key.data(), key.size());
  constexpr size_t kSlice = 4096;
  SecureBytes scratch(kSlice);
  std::array<uint8_t, kDesBlock> chain{};
  const size_t whole = *insz - *insz % kDesBlock;
  for (size_t done = 0; done < whole;) {
    const size_t n = std::min(kSlice, whole - done);
    if (!tdes.run("CBC", bufi + done, scratch.data(), n, chain.data(), false)) {
      return TRERROUT(30, "DES-EDE3-CBC");
    }
    done += n;
  }
  if (whole != *insz || *insz == 0) {
    SecureBytes last(kDesBlock, 0);
    memcpy(last.data(), bufi + whole, *insz - whole);
    if (!tdes.run("CBC", last.data(), scratch.data(), kDesBlock, chain.data(), false)) {
      return TRERROUT(30, "DES-EDE3-CBC");
    }
  }
  memcpy(mac, chain.data(), chain.size());
  return TRout();
}

const char* failureMessage(fips140::Test test) {
  switch (test) {
    case fips140::Test::kMonobit:
      return "Fallito test 'Monobit'";
    case fips140::Test::kPoker:
      return "Fallito test 'Poker'";
    case fips140::Test::kRuns:
      return "Fallito test 'Runs'";
    case fips140::Test::kLongRun:
      return "Fallito test 'LongRuns'";
  }
  return "";
}

uint16_t chkKdea(const uint8_t* stream) {
  TRclrerr();
  TRin(&kChkKdeaDesc, stream);
  if (uint16_t rc = firstFailed({{2, "stream (1)", stream == nullptr}})) return rc;
  if (auto failed = fips140::firstFailure(stream)) return finishWith(17, failureMessage(*failed));
  return TRout();
}

}  // namespace
}  // namespace sigillo

using sigillo::runEntry;

uint16_t ISWEAK(const uint8_t* key, uint16_t* rc) {
  return runEntry("ISWEAK", rc, [&] { return sigillo::isWeak(key); });
}
void YISWEAK(const uint8_t* key, uint16_t* rc) { ISWEAK(key, rc); }

uint16_t GENKMM(uint8_t* s, uint8_t* iv, uint16_t* rc) {
  return runEntry("GENKMM", rc, [&] { return sigillo::genKmm(s, iv); });
}
void YGENKMM(uint8_t* s, uint8_t* iv, uint16_t* rc) { GENKMM(s, iv, rc); }

uint16_t MAC3(const uint8_t* bufi, const uint32_t* insz, const uint8_t* pssw1, const uint8_t* pssw2,
              const uint8_t* pssw3, uint8_t* mac, uint16_t* rc) {
  return runEntry("MAC3", rc, [&] { return sigillo::mac3(bufi, insz, pssw1, pssw2, pssw3, mac); });
}
void YMAC3(const uint8_t* bufi, const uint32_t* insz, const uint8_t* pssw1, const uint8_t* pssw2,
           const uint8_t* pssw3, uint8_t* mac, uint16_t* rc) {
  MAC3(bufi, insz, pssw1, pssw2, pssw3, mac, rc);
}

uint16_t CHKKDEA(const uint8_t* stream, uint16_t* rc) {
  return runEntry("CHKKDEA", rc, [&] { return sigillo::chkKdea(stream); });
}
void YCHKKDEA(const uint8_t* stream, uint16_t* rc) { CHKKDEA(stream, rc); }
