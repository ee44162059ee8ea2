// The key schedules the cipher entry points keep between calls, one area
// per cipher: a call with `init` set replaces (and wipes) the old schedule,
// a call with `init` 0 reuses it.
#pragma once

#include <memory>

#include "primitives/des.h"
#include "primitives/desx.h"
#include "primitives/evpcipher.h"
#include "primitives/feal.h"
#include "primitives/idea.h"
#include "primitives/rc2.h"
#include "primitives/rc4.h"
#include "primitives/rc5.h"

namespace sigillo {

struct CipherSchedules {
  CipherSchedules();
  std::unique_ptr<Des> des;
  std::unique_ptr<EvpKey> tripleDes;
  std::unique_ptr<EvpKey> aes;
  std::unique_ptr<Idea> idea;
  std::unique_ptr<Rc2> rc2;
  std::unique_ptr<Rc4> rc4;
  std::unique_ptr<Rc5> rc5;
  std::unique_ptr<Feal> feal;
  std::unique_ptr<Desx> desx;
};

CipherSchedules& cipherSchedules();

// The schedule in `slot`, first rebuilt by `build(cipher)` when `init` is set.
template <class Cipher, class Build>
Cipher* scheduleFor(std::unique_ptr<Cipher>& slot, uint16_t init, Build&& build) {
  if (init != 0) {
    slot = std::make_unique<Cipher>();
    build(*slot);
  }
  return slot.get();
}

enum class ChainMode { kEcb, kCbc, kPcbc, kCfb, kOfb };

// Runs `mode` once the arguments are checked and closes the trace entry; a
// null cipher means no schedule was ever built (code 23).
uint16_t runChained(const BlockCipher* cipher, ChainMode mode, const uint8_t* in, uint8_t* out,
                    uint32_t length, uint8_t* iv, unsigned nbits, bool decrypt);

}  // namespace sigillo
