// The key schedules the cipher entry points keep between calls, one area
// per cipher: a call with `init` set replaces (and wipes) the old schedule,
// a call with `init` 0 reuses it.
#pragma once

#include <memory>

#include "primitives/des.h"
#include "primitives/evpcipher.h"

namespace sigillo {

struct CipherSchedules {
  CipherSchedules();
  std::unique_ptr<Des> des;
  std::unique_ptr<EvpKey> tripleDes;
  std::unique_ptr<EvpKey> aes;
};

CipherSchedules& cipherSchedules();

}  // namespace sigillo
