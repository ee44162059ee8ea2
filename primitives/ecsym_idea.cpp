// IDEA, FEAL and DESX entry points.
#include "framework/entry.h"
#include "primitives/cipherstate.h"
#include "primitives/ecsym_args.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr uint32_t kBlock = 8;

const Idea* ideaSchedule(uint16_t init, const uint8_t* key) {
  return scheduleFor(cipherSchedules().idea, init, [&](Idea& c) { c.setKey(key); });
}

const TrDesc kIdeaEcbDesc = {"IDEAECB", 6, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16}};
const TrDesc kIdeaCbcDesc = {
    "IDEACBC", 7, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16, kArgPtr}};
const TrDesc kIdeaCfbDesc = {
    "IDEACFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16, kArgPtr, kArgU16}};
const TrDesc kIdeaOfbDesc = {
    "IDEAOFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16, kArgPtr, kArgU16}};
const TrDesc kFealDesc = {"FEAL", 6, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU16}};
const TrDesc kDesxDesc = {
    "DESX", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgPtr, kArgPtr, kArgU16}};

// FEAL and IDEA in ECB share their checks: bufi, bufo, insz, init, pssw, mode.
uint16_t checkEcb(const uint8_t* bufi, const uint8_t* bufo, const uint32_t* insz,
                  const uint16_t* init, const uint8_t* pssw, const uint16_t* mode) {
  return firstFailed({{2, "bufi (1)", bufi == nullptr},
                      {3, "bufo (2)", bufo == nullptr},
                      {5, "insz (3)", badLength(insz, kBlock)},
                      {2, "init (4)", init == nullptr},
                      {4, "pssw (5)", pssw == nullptr},
                      {1, "mode (6)", badMode(mode)}});
}

// IDEACFB and IDEAOFB: bufi, bufo, insz, init, pssw, nbits, iv, mode.
uint16_t ideaFeedback(const TrDesc& desc, ChainMode chain, const uint8_t* bufi, uint8_t* bufo,
                      const uint32_t* insz, const uint16_t* init, const uint8_t* pssw,
                      const uint16_t* nbits, uint8_t* iv, const uint16_t* mode) {
  TRclrerr();
  TRin(&desc, bufi, bufo, insz, init, pssw, nbits, iv, mode);
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badFeedbackLength(insz, nbits, kBlock)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {12, "nbits (6)", badFeedback(nbits, kBlock)},
                                 {4, "iv (7)", iv == nullptr},
                                 {1, "mode (8)", badMode(mode)}})) {
    return rc;
  }
  return runChained(ideaSchedule(*init, pssw), chain, bufi, bufo, *insz, iv, *nbits, *mode == 1);
}

}  // namespace
}  // namespace sigillo

using namespace sigillo;

uint16_t IDEAECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                 const uint8_t* pssw, const uint16_t* mode, uint16_t* rc) {
  return runEntry("IDEAECB", rc, [&] {
    TRclrerr();
    TRin(&kIdeaEcbDesc, bufi, bufo, insz, init, pssw, mode);
    if (uint16_t code = checkEcb(bufi, bufo, insz, init, pssw, mode)) return code;
    return runChained(ideaSchedule(*init, pssw), ChainMode::kEcb, bufi, bufo, *insz, nullptr, 0,
                      *mode == 1);
  });
}
void YIDEAECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint16_t* mode, uint16_t* rc) {
  IDEAECB(bufi, bufo, insz, init, pssw, mode, rc);
}

// IDEACBC takes the mode before the chaining value.
uint16_t IDEACBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                 const uint8_t* pssw, const uint16_t* mode, uint8_t* iv, uint16_t* rc) {
  return runEntry("IDEACBC", rc, [&] {
    TRclrerr();
    TRin(&kIdeaCbcDesc, bufi, bufo, insz, init, pssw, mode, iv);
    if (uint16_t code = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                     {3, "bufo (2)", bufo == nullptr},
                                     {5, "insz (3)", badLength(insz, kBlock)},
                                     {2, "init (4)", init == nullptr},
                                     {4, "pssw (5)", pssw == nullptr},
                                     {1, "mode (6)", badMode(mode)},
                                     {4, "iv (7)", iv == nullptr}})) {
      return code;
    }
    return runChained(ideaSchedule(*init, pssw), ChainMode::kCbc, bufi, bufo, *insz, iv, 0,
                      *mode == 1);
  });
}
void YIDEACBC(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint16_t* mode, uint8_t* iv, uint16_t* rc) {
  IDEACBC(bufi, bufo, insz, init, pssw, mode, iv, rc);
}

uint16_t IDEACFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                 const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
                 uint16_t* rc) {
  return runEntry("IDEACFB", rc, [&] {
    return ideaFeedback(kIdeaCfbDesc, ChainMode::kCfb, bufi, bufo, insz, init, pssw, nbits, iv,
                        mode);
  });
}
void YIDEACFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
              uint16_t* rc) {
  IDEACFB(bufi, bufo, insz, init, pssw, nbits, iv, mode, rc);
}

uint16_t IDEAOFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                 const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
                 uint16_t* rc) {
  return runEntry("IDEAOFB", rc, [&] {
    return ideaFeedback(kIdeaOfbDesc, ChainMode::kOfb, bufi, bufo, insz, init, pssw, nbits, iv,
                        mode);
  });
}
void YIDEAOFB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint16_t* nbits, uint8_t* iv, const uint16_t* mode,
              uint16_t* rc) {
  IDEAOFB(bufi, bufo, insz, init, pssw, nbits, iv, mode, rc);
}

// FEAL-8 in ECB.
uint16_t FEAL(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw, const uint16_t* mode, uint16_t* rc) {
  return runEntry("FEAL", rc, [&] {
    TRclrerr();
    TRin(&kFealDesc, bufi, bufo, insz, init, pssw, mode);
    if (uint16_t code = checkEcb(bufi, bufo, insz, init, pssw, mode)) return code;
    const Feal* feal = scheduleFor(cipherSchedules().feal, *init, [&](Feal& c) { c.setKey(pssw); });
    return runChained(feal, ChainMode::kEcb, bufi, bufo, *insz, nullptr, 0, *mode == 1);
  });
}
void YFEAL(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
           const uint8_t* pssw, const uint16_t* mode, uint16_t* rc) {
  FEAL(bufi, bufo, insz, init, pssw, mode, rc);
}

// DESX in ECB: pssw1 the DES key, pssw2 the input whitening, pssw3 the output whitening.
uint16_t DESX(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
              const uint8_t* pssw1, const uint8_t* pssw2, const uint8_t* pssw3,
              const uint16_t* mode, uint16_t* rc) {
  return runEntry("DESX", rc, [&] {
    TRclrerr();
    TRin(&kDesxDesc, bufi, bufo, insz, init, pssw1, pssw2, pssw3, mode);
    if (uint16_t code = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                     {3, "bufo (2)", bufo == nullptr},
                                     {5, "insz (3)", badLength(insz, kBlock)},
                                     {2, "init (4)", init == nullptr},
                                     {4, "pssw1 (5)", pssw1 == nullptr},
                                     {4, "pssw2 (6)", pssw2 == nullptr},
                                     {4, "pssw3 (7)", pssw3 == nullptr},
                                     {1, "mode (8)", badMode(mode)}})) {
      return code;
    }
    const Desx* desx = scheduleFor(cipherSchedules().desx, *init,
                                   [&](Desx& c) { c.setKeys(pssw1, pssw2, pssw3); });
    return runChained(desx, ChainMode::kEcb, bufi, bufo, *insz, nullptr, 0, *mode == 1);
  });
}
void YDESX(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
           const uint8_t* pssw1, const uint8_t* pssw2, const uint8_t* pssw3, const uint16_t* mode,
           uint16_t* rc) {
  DESX(bufi, bufo, insz, init, pssw1, pssw2, pssw3, mode, rc);
}
