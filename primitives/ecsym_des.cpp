// DES and triple-DES entry points.
#include <cstring>

#include "framework/entry.h"
#include "framework/secure.h"
#include "primitives/cipherstate.h"
#include "primitives/ecsym_args.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "ecsym";
constexpr uint32_t kDesBlock = 8;
constexpr size_t kDesKey = 8;

// The DES schedule: built from `key` when `init` is set, else the last one.
const Des* desSchedule(uint16_t init, const uint8_t* key) {
  return scheduleFor(cipherSchedules().des, init, [&](Des& des) { des.setKey(key); });
}

EvpKey* tripleDesSchedule(uint16_t init, const uint8_t* key, size_t length) {
  auto& slot = cipherSchedules().tripleDes;
  if (init != 0) slot = std::make_unique<EvpKey>("DES-EDE3", key, length);
  return slot.get();
}

uint16_t noSchedule() { return TRERROUT(23, "init (4)"); }

// Three 8-byte keys, or two (the first reused as the third), as one key.
SecureBytes joinKeys(const uint8_t* k1, const uint8_t* k2, const uint8_t* k3) {
  SecureBytes key(k1, k1 + kDesKey);
  key.insert(key.end(), k2, k2 + kDesKey);
  key.insert(key.end(), k3, k3 + kDesKey);
  return key;
}

uint16_t runTripleDes(const char* mode, const uint8_t* in, uint8_t* out, uint32_t length,
                      uint16_t init, const SecureBytes& key, uint8_t* iv, bool decrypt) {
  EvpKey* schedule = tripleDesSchedule(init, key.data(), key.size());
  if (schedule == nullptr) return noSchedule();
  if (!schedule->run(mode, in, out, length, iv, decrypt)) {
    return TRERROUT(30, "DES-EDE3-%s", mode);
  }
  return TRout();
}

const TrDesc kEcbDesc = {"DEAECB", 6, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16}};
const TrDesc kSbcDesc = {
    "DEASBC", 7, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgPtr, kArgU16}};
const TrDesc kCbcDesc = {
    "DEACBC", 7, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgPtr, kArgU16}};
const TrDesc kCfbDesc = {
    "DEACFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16, kArgPtr, kArgU16}};
const TrDesc kOfbDesc = {
    "DEAOFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16, kArgPtr, kArgU16}};
const TrDesc k3EcbDesc = {
    "DEA3ECB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgPtr, kArgPtr, kArgU16}};
const TrDesc k3CbcDesc = {
    "DEA3CBC", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgPtr, kArgPtr, kArgPtr}};
const TrDesc kTdeaDesc = {
    "TDEA", 7, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU32, kArgU16}};

bool badDesBits(const uint16_t* nbits) { return badFeedback(nbits, kDesBlock); }
bool badSegments(const uint32_t* insz, const uint16_t* nbits) {
  return badFeedbackLength(insz, nbits, kDesBlock);
}

}  // namespace

uint16_t deaEcb(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint16_t* mode) {
  TRclrerr();
  TRin(&kEcbDesc, bufi, bufo, insz, init, pssw, mode);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badLength(insz, kDesBlock)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {1, "mode (6)", badMode(mode)}})) {
    return rc;
  }
  return runChained(desSchedule(*init, pssw), ChainMode::kEcb, bufi, bufo, *insz, nullptr, 0,
                    *mode == 1);
}

// DEACBC and DEASBC: bufi, bufo, insz, init, pssw, iv, mode.
uint16_t desChained(const TrDesc& desc, ChainMode chain, const uint8_t* bufi, uint8_t* bufo,
                    const uint32_t* insz, const uint16_t* init, const uint8_t* pssw, uint8_t* iv,
                    const uint16_t* mode) {
  TRclrerr();
  TRin(&desc, bufi, bufo, insz, init, pssw, iv, mode);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badLength(insz, kDesBlock)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {4, "iv (6)", iv == nullptr},
                                 {1, "mode (7)", badMode(mode)}})) {
    return rc;
  }
  return runChained(desSchedule(*init, pssw), chain, bufi, bufo, *insz, iv, 0, *mode == 1);
}

// DEACFB and DEAOFB: bufi, bufo, insz, init, pssw, nbits, iv, mode.  DEACFB's
// seventh argument (the shift register) has always been labelled "mode (7)".
uint16_t desFeedback(const TrDesc& desc, ChainMode chain, const char* ivLabel, const uint8_t* bufi,
                     uint8_t* bufo, const uint32_t* insz, const uint16_t* init, const uint8_t* pssw,
                     const uint16_t* nbits, uint8_t* iv, const uint16_t* mode) {
  TRclrerr();
  TRin(&desc, bufi, bufo, insz, init, pssw, nbits, iv, mode);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badSegments(insz, nbits)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {12, "nbits (6)", badDesBits(nbits)},
                                 {4, ivLabel, iv == nullptr},
                                 {1, "mode (8)", badMode(mode)}})) {
    return rc;
  }
  return runChained(desSchedule(*init, pssw), chain, bufi, bufo, *insz, iv, *nbits, *mode == 1);
}

// DEA3ECB and DEA3CBC: bufi, bufo, insz, init, pssw1, pssw2, pssw3, then
// for CBC the chaining value, then mode.
uint16_t dea3Run(const TrDesc& desc, const char* evpMode, bool chained, const uint8_t* bufi,
                 uint8_t* bufo, const uint32_t* insz, const uint16_t* init, const uint8_t* pssw1,
                 const uint8_t* pssw2, const uint8_t* pssw3, uint8_t* iv, const uint16_t* mode) {
  TRclrerr();
  TRin(&desc, bufi, bufo, insz, init, pssw1, pssw2, pssw3,
       chained ? static_cast<const void*>(iv) : static_cast<const void*>(mode));
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badLength(insz, kDesBlock)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw1 (5)", pssw1 == nullptr},
                                 {4, "pssw2 (6)", pssw2 == nullptr},
                                 {4, "pssw3 (7)", pssw3 == nullptr},
                                 {4, "iv (8)", chained && iv == nullptr},
                                 {1, chained ? "mode (9)" : "mode (8)", badMode(mode)}})) {
    return rc;
  }
  return runTripleDes(evpMode, bufi, bufo, *insz, *init, joinKeys(pssw1, pssw2, pssw3),
                      chained ? iv : nullptr, *mode == 1);
}

// Triple DES in ECB with a key of 16 bytes (K1 K2, K1 again as the third)
// or 24 bytes (K1 K2 K3).
uint16_t tdea(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode) {
  TRclrerr();
  TRin(&kTdeaDesc, bufi, bufo, insz, init, pssw, lpssw, mode);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badLength(insz, kDesBlock)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {7, "lpssw (6)", lpssw == nullptr},
                                 {7, "lpssw (6) troppo breve", lpssw != nullptr && *lpssw < 16},
                                 {1, "mode (7)", badMode(mode)}})) {
    return rc;
  }
  if (*lpssw != 16 && *lpssw != 24) {
    return TRERROUT(7, "Valore %d non valido", static_cast<int>(*lpssw));
  }
  const uint8_t* third = *lpssw == 24 ? pssw + 2 * kDesKey : pssw;
  return runTripleDes("ECB", bufi, bufo, *insz, *init, joinKeys(pssw, pssw + kDesKey, third),
                      nullptr, *mode == 1);
}

}  // namespace sigillo

using sigillo::runEntry;

uint16_t DEAECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint16_t* mode, uint16_t* rc) {
  return runEntry("DEAECB", rc,
                  [&] { return sigillo::deaEcb(bufi, bufo, insz, init, pssw, mode); });
}
void YDEAECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint16_t* mode, uint16_t* rc) {
  DEAECB(bufi, bufo, insz, init, pssw, mode, rc);
}

uint16_t DEACBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {
  return runEntry("DEACBC", rc, [&] {
    return sigillo::desChained(sigillo::kCbcDesc, sigillo::ChainMode::kCbc, bufi, bufo, insz, init,
                               pssw, iv, mode);
  });
}
void YDEACBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {
  DEACBC(bufi, bufo, insz, init, pssw, iv, mode, rc);
}

uint16_t DEACFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
                uint16_t* rc) {
  return runEntry("DEACFB", rc, [&] {
    return sigillo::desFeedback(sigillo::kCfbDesc, sigillo::ChainMode::kCfb, "mode (7)", bufi, bufo,
                                insz, init, pssw, nbits, iv, mode);
  });
}
void YDEACFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
             uint16_t* rc) {
  DEACFB(bufi, bufo, insz, init, pssw, nbits, iv, mode, rc);
}

uint16_t DEAOFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
                uint16_t* rc) {
  return runEntry("DEAOFB", rc, [&] {
    return sigillo::desFeedback(sigillo::kOfbDesc, sigillo::ChainMode::kOfb, "iv (7)", bufi, bufo,
                                insz, init, pssw, nbits, iv, mode);
  });
}
void YDEAOFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
             uint16_t* rc) {
  DEAOFB(bufi, bufo, insz, init, pssw, nbits, iv, mode, rc);
}

uint16_t DEA3ECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                 const uint8_t* pssw1, const uint8_t* pssw2, const uint8_t* pssw3,
                 const uint16_t* mode, uint16_t* rc) {
  return runEntry("DEA3ECB", rc, [&] {
    return sigillo::dea3Run(sigillo::k3EcbDesc, "ECB", false, bufi, bufo, insz, init, pssw1, pssw2,
                            pssw3, nullptr, mode);
  });
}
void YDEA3ECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw1, const uint8_t* pssw2, const uint8_t* pssw3,
              const uint16_t* mode, uint16_t* rc) {
  DEA3ECB(bufi, bufo, insz, init, pssw1, pssw2, pssw3, mode, rc);
}

uint16_t DEA3CBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                 const uint8_t* pssw1, const uint8_t* pssw2, const uint8_t* pssw3, uint8_t* iv,
                 const uint16_t* mode, uint16_t* rc) {
  return runEntry("DEA3CBC", rc, [&] {
    return sigillo::dea3Run(sigillo::k3CbcDesc, "CBC", true, bufi, bufo, insz, init, pssw1, pssw2,
                            pssw3, iv, mode);
  });
}
void YDEA3CBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw1, const uint8_t* pssw2, const uint8_t* pssw3, uint8_t* iv,
              const uint16_t* mode, uint16_t* rc) {
  DEA3CBC(bufi, bufo, insz, init, pssw1, pssw2, pssw3, iv, mode, rc);
}

uint16_t TDEA(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode, uint16_t* rc) {
  return runEntry("TDEA", rc,
                  [&] { return sigillo::tdea(bufi, bufo, insz, init, pssw, lpssw, mode); });
}
void YTDEA(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
           const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode, uint16_t* rc) {
  TDEA(bufi, bufo, insz, init, pssw, lpssw, mode, rc);
}

// DES in propagating cipher block chaining.
uint16_t DEASBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {
  return runEntry("DEASBC", rc, [&] {
    return sigillo::desChained(sigillo::kSbcDesc, sigillo::ChainMode::kPcbc, bufi, bufo, insz, init,
                               pssw, iv, mode);
  });
}
void YDEASBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, uint8_t* iv, const uint16_t* mode, uint16_t* rc) {
  DEASBC(bufi, bufo, insz, init, pssw, iv, mode, rc);
}
