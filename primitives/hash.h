// The HASH macro: a check value, digest or MAC of one file as hex text.
#pragma once

#include "framework/mlib.h"

namespace sigillo {

// Sub-command table of HASH, with one description per keyword.
const WCcmd* hashCommands();
const char* const* hashDescriptions();

}  // namespace sigillo
