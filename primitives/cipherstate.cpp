// Process-wide key schedules and the argument checks of the cipher entry points.
#include "primitives/cipherstate.h"

#include <openssl/crypto.h>

#include "primitives/ecsym_args.h"

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

uint16_t firstFailed(std::initializer_list<ArgCheck> checks) {
  for (const ArgCheck& check : checks) {
    if (check.failed) return TRERROUT(check.code, "%s", check.label);
  }
  return 0;
}

}  // namespace sigillo
