// What both programs do first.
#pragma once

#include <openssl/crypto.h>

#include "framework/tempfiles.h"
#include "framework/unifile.h"

namespace sigillo {

// libcrypto without its configuration file: every algorithm the programs use
// comes from the default provider, which is there without one, and reading
// and parsing openssl.cnf was a sizeable part of each start.  Nor does
// libcrypto free its tables at exit, which the process ending does anyway.
// This must come before libcrypto's first algorithm fetch, which would load
// the file, and before anything else initialises libcrypto.
// The programs hold no caller memory, so names of the form 0x... that would
// be addresses of memory files are refused.  An interrupted or terminated
// run removes the temporary files it was writing.
inline void startProgram() {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ATEXIT, nullptr);
  f_refuseMemoryFiles();
  removeTemporariesOnSignals();
}

}  // namespace sigillo
