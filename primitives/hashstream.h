// Hash computations that outlive one call: the caller's state area holds a
// handle to a computation kept here between its first and last block.
#pragma once

#include <cstdint>

#include "primitives/hashalg.h"

namespace sigillo {

// One block of a computation, as the hash entry points receive it; the
// arguments have been checked.  Returns the code.
uint16_t hashBlock(HashAlg alg, const uint8_t* data, uint32_t length, uint8_t* state,
                   uint16_t blockMode, const HashKeys& keys);

// Computations started and not yet ended.
size_t openHashStreams();

constexpr size_t kMaxHashStreams = 256;

}  // namespace sigillo
