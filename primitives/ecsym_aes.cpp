// AES entry points: whole buffers go to libcrypto under the kept schedule.
#include "framework/entry.h"
#include "primitives/cipherstate.h"
#include "primitives/ecsym_args.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "ecsym";
constexpr uint32_t kAesBlock = 16;

const TrDesc kEcbDesc = {
    "AESECB", 7, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU32, kArgU16}};
const TrDesc kCbcDesc = {
    "AESCBC", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU32, kArgPtr, kArgU16}};
const TrDesc kCfbDesc = {
    "AESCFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU32, kArgPtr, kArgU16}};
const TrDesc kOfbDesc = {
    "AESOFB", 8, {TrBuf(2), kArgPtr, kArgU32, kArgU16, kArgPtr, kArgU32, kArgPtr, kArgU16}};

bool badKeyLength(const uint32_t* lpssw) {
  return lpssw != nullptr && *lpssw != 16 && *lpssw != 24 && *lpssw != 32;
}

struct AesCall {
  const TrDesc& desc;
  const char* evpMode;
  bool chained;  // takes an iv
};

uint16_t aesRun(const AesCall& call, const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz,
                const uint16_t* init, const uint8_t* pssw, const uint32_t* lpssw, uint8_t* iv,
                const uint16_t* mode) {
  TRclrerr();
  if (call.chained) {
    TRin(&call.desc, bufi, bufo, insz, init, pssw, lpssw, iv, mode);
  } else {
    TRin(&call.desc, bufi, bufo, insz, init, pssw, lpssw, mode);
  }
  const char* modeLabel = call.chained ? "mode (8)" : "mode (7)";
  if (uint16_t rc = firstFailed({{2, "bufi (1)", bufi == nullptr},
                                 {3, "bufo (2)", bufo == nullptr},
                                 {5, "insz (3)", badLength(insz, kAesBlock)},
                                 {2, "init (4)", init == nullptr},
                                 {4, "pssw (5)", pssw == nullptr},
                                 {7, "lpssw (6)", lpssw == nullptr},
                                 {4, "iv (7)", call.chained && iv == nullptr},
                                 {1, modeLabel, badMode(mode)}})) {
    return rc;
  }
  auto& slot = cipherSchedules().aes;
  if (*init != 0) {
    if (badKeyLength(lpssw)) {
      return TRERROUT(7, "Valore %d non corretto", static_cast<int>(*lpssw));
    }
    slot = std::make_unique<EvpKey>("AES", pssw, *lpssw);
  }
  if (!slot) return TRERROUT(23, "init (4)");
  if (!slot->run(call.evpMode, bufi, bufo, *insz, call.chained ? iv : nullptr, *mode == 1)) {
    return TRERROUT(30, "AES-%s", call.evpMode);
  }
  return TRout();
}

const AesCall kEcb = {kEcbDesc, "ECB", false};
const AesCall kCbc = {kCbcDesc, "CBC", true};
const AesCall kCfb = {kCfbDesc, "CFB", true};
const AesCall kOfb = {kOfbDesc, "OFB", true};

}  // namespace
}  // namespace sigillo

using sigillo::runEntry;

uint16_t AESECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
                const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode, uint16_t* rc) {
  return runEntry("AESECB", rc, [&] {
    return sigillo::aesRun(sigillo::kEcb, bufi, bufo, insz, init, pssw, lpssw, nullptr, mode);
  });
}
void YAESECB(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,
             const uint8_t* pssw, const uint32_t* lpssw, const uint16_t* mode, uint16_t* rc) {
  AESECB(bufi, bufo, insz, init, pssw, lpssw, mode, rc);
}

#define AES_CHAINED_ENTRY(NAME, YNAME, CALL)                                                    \
  uint16_t NAME(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init, \
                const uint8_t* pssw, const uint32_t* lpssw, uint8_t* iv, const uint16_t* mode,  \
                uint16_t* rc) {                                                                 \
    return runEntry(#NAME, rc, [&] {                                                            \
      return sigillo::aesRun(sigillo::CALL, bufi, bufo, insz, init, pssw, lpssw, iv, mode);     \
    });                                                                                         \
  }                                                                                             \
  void YNAME(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz, const uint16_t* init,    \
             const uint8_t* pssw, const uint32_t* lpssw, uint8_t* iv, const uint16_t* mode,     \
             uint16_t* rc) {                                                                    \
    NAME(bufi, bufo, insz, init, pssw, lpssw, iv, mode, rc);                                    \
  }

AES_CHAINED_ENTRY(AESCBC, YAESCBC, kCbc)
AES_CHAINED_ENTRY(AESCFB, YAESCFB, kCfb)
AES_CHAINED_ENTRY(AESOFB, YAESOFB, kOfb)
#undef AES_CHAINED_ENTRY
