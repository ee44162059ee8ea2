// RC2, RC4 and RC5 entry points.
#include "framework/entry.h"
#include "primitives/cipherstate.h"
#include "primitives/ecsym_args.h"
#include "primitives/modes.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "ecsym";
constexpr uint32_t kBlock = 8;

// ---- RC2 ---------------------------------------------------------------------

struct Rc2Args {
  const uint8_t* bufi;
  uint8_t* bufo;
  const uint32_t* insz;
  const uint16_t* init;
  const uint8_t* pssw;
  const uint32_t* lpssw;
  const uint16_t* nbitsk;
  const uint16_t* nbits;  // CFB and OFB only
  uint8_t* iv;            // all but ECB
  const uint16_t* mode;
};

// Checks in argument order; positions after nbitsk depend on the mode.
uint16_t checkRc2(const Rc2Args& a, ChainMode chain) {
  const bool feedback = chain == ChainMode::kCfb || chain == ChainMode::kOfb;
  const bool chained = chain != ChainMode::kEcb;
  const char* ivLabel = feedback ? "iv (9)" : "iv (8)";
  const char* modeLabel = feedback ? "mode (10)" : (chained ? "mode (9)" : "mode (8)");
  return firstFailed(
      {{2, "bufi (1)", a.bufi == nullptr},
       {3, "bufo (2)", a.bufo == nullptr},
       {5, "insz (3)",
        feedback ? badFeedbackLength(a.insz, a.nbits, kBlock) : badLength(a.insz, kBlock)},
       {2, "init (4)", a.init == nullptr},
       {4, "pssw (5)", a.pssw == nullptr},
       {7, "lpssw (6)", a.lpssw == nullptr},
       {12, "nbitsk (7)", a.nbitsk == nullptr},
       {12, "nbits (8)", feedback && badFeedback(a.nbits, kBlock)},
       {4, ivLabel, chained && a.iv == nullptr},
       {1, modeLabel, badMode(a.mode)}});
}

uint16_t rc2Run(const TrDesc& desc, ChainMode chain, const Rc2Args& a) {
  TRclrerr();
  TRin(&desc, a.bufi, a.bufo, a.insz, a.init, a.pssw, a.lpssw, a.nbitsk, a.mode);
  if (uint16_t rc = checkRc2(a, chain)) return rc;
  if (*a.init != 0) {
    if (*a.lpssw == 0 || *a.lpssw > Rc2::kMaxKeySize) {
      return TRERROUT(7, "Valore %d non valido", static_cast<int>(*a.lpssw));
    }
    if (*a.nbitsk == 0 || *a.nbitsk > Rc2::kMaxEffectiveBits) {
      return TRERROUT(12, "Modo %d non valido", *a.nbitsk);
    }
  }
  const Rc2* rc2 = scheduleFor(cipherSchedules().rc2, *a.init,
                               [&](Rc2& c) { c.setKey(a.pssw, *a.lpssw, *a.nbitsk); });
  unsigned nbits = a.nbits != nullptr ? *a.nbits : 0;
  return runChained(rc2, chain, a.bufi, a.bufo, *a.insz, a.iv, nbits, *a.mode == 1);
}

const TrDesc kRc2EcbDesc = {
    "RC2ECB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgSecret, kArgU32, kArgU16, kArgU16}};
const TrDesc kRc2CbcDesc = {
    "RC2CBC", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgSecret, kArgU32, kArgU16, kArgU16}};
const TrDesc kRc2CfbDesc = {
    "RC2CFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgSecret, kArgU32, kArgU16, kArgU16}};
const TrDesc kRc2OfbDesc = {
    "RC2OFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgSecret, kArgU32, kArgU16, kArgU16}};

// ---- RC5 ---------------------------------------------------------------------

struct Rc5Args {
  const uint8_t* bufi;
  uint8_t* bufo;
  const uint32_t* insz;
  const uint16_t* init;
  const uint16_t* end;  // CTS only
  const uint8_t* pssw;
  const uint32_t* lpssw;
  const uint16_t* rounds;
  uint8_t* iv;  // CBC and CTS
  const uint16_t* mode;
};

enum class Rc5Mode { kEcb, kCbc, kCts };

bool badCtsLength(const Rc5Args& a) {
  if (a.insz == nullptr || *a.insz == 0) return true;
  if (a.end == nullptr) return false;  // reported at its own position
  return *a.end != 0 ? *a.insz <= kBlock : *a.insz % kBlock != 0;
}

uint16_t checkRc5(const Rc5Args& a, Rc5Mode m) {
  const bool cts = m == Rc5Mode::kCts;
  const int shift = cts ? 1 : 0;  // CTS has `end` in fifth place
  static const char* const kLabels[][2] = {{"pssw (5)", "pssw (6)"},     {"lpssw (6)", "lpssw (7)"},
                                           {"rounds (7)", "rounds (8)"}, {"iv (8)", "iv (9)"},
                                           {"mode (8)", "mode (10)"},    {"mode (9)", "mode (10)"}};
  const char* modeLabel = m == Rc5Mode::kEcb ? kLabels[4][0] : kLabels[5][shift];
  return firstFailed({{2, "bufi (1)", a.bufi == nullptr},
                      {3, "bufo (2)", a.bufo == nullptr},
                      {5, "insz (3)", cts ? badCtsLength(a) : badLength(a.insz, kBlock)},
                      {2, "init (4)", a.init == nullptr},
                      {2, "end (5)", cts && a.end == nullptr},
                      {4, kLabels[0][shift], a.pssw == nullptr},
                      {7, kLabels[1][shift], a.lpssw == nullptr},
                      {25, kLabels[2][shift], a.rounds == nullptr || *a.rounds > Rc5::kMaxRounds},
                      {4, kLabels[3][shift], m != Rc5Mode::kEcb && a.iv == nullptr},
                      {1, modeLabel, badMode(a.mode)}});
}

const Rc5* rc5Schedule(const Rc5Args& a) {
  return scheduleFor(cipherSchedules().rc5, *a.init,
                     [&](Rc5& c) { c.setKey(a.pssw, *a.lpssw, *a.rounds); });
}

uint16_t rc5Run(const TrDesc& desc, Rc5Mode m, const Rc5Args& a) {
  TRclrerr();
  TRin(&desc, a.bufi, a.bufo, a.insz, a.init, m == Rc5Mode::kCts ? a.end : nullptr, a.pssw, a.lpssw,
       a.rounds);
  if (uint16_t rc = checkRc5(a, m)) return rc;
  if (*a.init != 0 && *a.lpssw > Rc5::kMaxKeySize) {
    return TRERROUT(7, "Valore %d non valido", static_cast<int>(*a.lpssw));
  }
  const Rc5* rc5 = rc5Schedule(a);
  const bool decrypt = *a.mode == 1;
  if (m == Rc5Mode::kEcb) {
    return runChained(rc5, ChainMode::kEcb, a.bufi, a.bufo, *a.insz, nullptr, 0, decrypt);
  }
  if (m == Rc5Mode::kCbc || *a.end == 0) {
    return runChained(rc5, ChainMode::kCbc, a.bufi, a.bufo, *a.insz, a.iv, 0, decrypt);
  }
  if (rc5 == nullptr) return TRERROUT(23, "init (4)");
  ctsRun(*rc5, a.bufi, a.bufo, *a.insz, a.iv, decrypt);
  return TRout();
}

const TrDesc kRc5EcbDesc = {
    "RC5ECB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgSecret, kArgU32, kArgU16}};
const TrDesc kRc5CbcDesc = {
    "RC5CBC", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgSecret, kArgU32, kArgU16}};
const TrDesc kRc5CtsDesc = {
    "RC5CTS", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgU16, kArgSecret, kArgU32, kArgU16}};

// ---- RC4 ---------------------------------------------------------------------

const TrDesc kRc4Desc = {
    "RC4", 7, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgSecret, kArgU32, kArgU16}};

// The key stream continues across calls until a call sets `init`; the
// same call enciphers and deciphers, `mode` only has to be 0 or 1.
uint16_t rc4Run(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode) {
  TRclrerr();
  TRin(&kRc4Desc, bufi, bufo, insz, init, pssw, lpssw, mode);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", insz == nullptr || *insz == 0},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {7, "lpssw (6)", lpssw == nullptr},
                                 {1, "mode (10)", badMode(mode)}})) {
    return rc;
  }
  if (*init != 0 && (*lpssw == 0 || *lpssw > Rc4::kMaxKeySize)) {
    return TRERROUT(7, "Valore %d non valido", static_cast<int>(*lpssw));
  }
  Rc4* rc4 = scheduleFor(cipherSchedules().rc4, *init, [&](Rc4& c) { c.setKey(pssw, *lpssw); });
  if (rc4 == nullptr) return TRERROUT(23, "init (4)");
  rc4->process(bufi, bufo, *insz);
  return TRout();
}

}  // namespace
}  // namespace sigillo

using namespace sigillo;

uint16_t RC2ECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* nbitsk,
                const uint16_t* mode, uint16_t* rc) {
  return runEntry("RC2ECB", rc, [&] {
    return rc2Run(kRc2EcbDesc, ChainMode::kEcb,
                  {bufi, bufo, insz, init, pssw, lpssw, nbitsk, nullptr, nullptr, mode});
  });
}
void YRC2ECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* nbitsk,
             const uint16_t* mode, uint16_t* rc) {
  RC2ECB(bufi, bufo, insz, init, pssw, lpssw, nbitsk, mode, rc);
}

uint16_t RC2CBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* nbitsk, uint8_t* iv,
                const uint16_t* mode, uint16_t* rc) {
  return runEntry("RC2CBC", rc, [&] {
    return rc2Run(kRc2CbcDesc, ChainMode::kCbc,
                  {bufi, bufo, insz, init, pssw, lpssw, nbitsk, nullptr, iv, mode});
  });
}
void YRC2CBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* nbitsk, uint8_t* iv,
             const uint16_t* mode, uint16_t* rc) {
  RC2CBC(bufi, bufo, insz, init, pssw, lpssw, nbitsk, iv, mode, rc);
}

#define RC2_FEEDBACK_ENTRY(NAME, YNAME, DESC, CHAIN)                                              \
  uint16_t NAME(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,   \
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* nbitsk,               \
                const uint16_t* nbits, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {         \
    return runEntry(#NAME, rc, [&] {                                                              \
      return rc2Run(DESC, CHAIN, {bufi, bufo, insz, init, pssw, lpssw, nbitsk, nbits, iv, mode}); \
    });                                                                                           \
  }                                                                                               \
  void YNAME(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,      \
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* nbitsk,                  \
             const uint16_t* nbits, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {            \
    NAME(bufi, bufo, insz, init, pssw, lpssw, nbitsk, nbits, iv, mode, rc);                       \
  }

RC2_FEEDBACK_ENTRY(RC2CFB, YRC2CFB, kRc2CfbDesc, ChainMode::kCfb)
RC2_FEEDBACK_ENTRY(RC2OFB, YRC2OFB, kRc2OfbDesc, ChainMode::kOfb)
#undef RC2_FEEDBACK_ENTRY

uint16_t RC4(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode, uint16_t* rc) {
  return runEntry("RC4", rc, [&] { return rc4Run(bufi, bufo, insz, init, pssw, lpssw, mode); });
}
void YRC4(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
          const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode, uint16_t* rc) {
  RC4(bufi, bufo, insz, init, pssw, lpssw, mode, rc);
}

uint16_t RC5ECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* rounds,
                const uint16_t* mode, uint16_t* rc) {
  return runEntry("RC5ECB", rc, [&] {
    return rc5Run(kRc5EcbDesc, Rc5Mode::kEcb,
                  {bufi, bufo, insz, init, nullptr, pssw, lpssw, rounds, nullptr, mode});
  });
}
void YRC5ECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* rounds,
             const uint16_t* mode, uint16_t* rc) {
  RC5ECB(bufi, bufo, insz, init, pssw, lpssw, rounds, mode, rc);
}

uint16_t RC5CBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* rounds, uint8_t* iv,
                const uint16_t* mode, uint16_t* rc) {
  return runEntry("RC5CBC", rc, [&] {
    return rc5Run(kRc5CbcDesc, Rc5Mode::kCbc,
                  {bufi, bufo, insz, init, nullptr, pssw, lpssw, rounds, iv, mode});
  });
}
void YRC5CBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* rounds, uint8_t* iv,
             const uint16_t* mode, uint16_t* rc) {
  RC5CBC(bufi, bufo, insz, init, pssw, lpssw, rounds, iv, mode, rc);
}

uint16_t RC5CTS(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint16_t* end, const uint8_t* pssw, const uint32_t* lpssw,
                const uint16_t* rounds, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {
  return runEntry("RC5CTS", rc, [&] {
    return rc5Run(kRc5CtsDesc, Rc5Mode::kCts,
                  {bufi, bufo, insz, init, end, pssw, lpssw, rounds, iv, mode});
  });
}
void YRC5CTS(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint16_t* end, const uint8_t* pssw, const uint32_t* lpssw,
             const uint16_t* rounds, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {
  RC5CTS(bufi, bufo, insz, init, end, pssw, lpssw, rounds, iv, mode, rc);
}
