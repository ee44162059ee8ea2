// Process-wide key schedules and the argument checks of the cipher entry points.
#include "primitives/cipherstate.h"

#include <openssl/crypto.h>

#include "primitives/ecsym_args.h"
#include "primitives/modes.h"

namespace sigillo {
namespace {
constexpr const char* kModule = "ecsym";
}

// libcrypto is initialised first, so that its own clean-up at exit runs
// after these schedules have been released.
CipherSchedules::CipherSchedules() { OPENSSL_init_crypto(0, nullptr); }

CipherSchedules& cipherSchedules() {
  static CipherSchedules schedules;
  return schedules;
}

uint16_t runChained(const BlockCipher* cipher, ChainMode mode, const uint8_t* in, uint8_t* out,
                    uint32_t length, uint8_t* iv, unsigned nbits, bool decrypt) {
  if (cipher == nullptr) return TRERROUT(23, "init (4)");
  switch (mode) {
    case ChainMode::kEcb:
      ecbRun(*cipher, in, out, length, decrypt);
      break;
    case ChainMode::kCbc:
      cbcRun(*cipher, in, out, length, iv, decrypt);
      break;
    case ChainMode::kPcbc:
      pcbcRun(*cipher, in, out, length, iv, decrypt);
      break;
    case ChainMode::kCfb:
      cfbRun(*cipher, in, out, length, iv, nbits, decrypt);
      break;
    case ChainMode::kOfb:
      ofbRun(*cipher, in, out, length, iv, nbits);
      break;
  }
  return TRout();
}

uint16_t firstFailed(std::initializer_list<ArgCheck> checks) {
  for (const ArgCheck& check : checks) {
    if (check.failed) return TRERROUT(check.code, "%s", check.label);
  }
  return 0;
}

}  // namespace sigillo
