// How much of the caller's memory at an address this process may touch,
// read from the kernel's map of the process, so that a wrong address in a
// memory-file name is refused instead of crashing.
#pragma once

#include <cstdint>

namespace sigillo {

// Bytes from `address` to the end of the run of adjacent mappings that are
// readable (and writable when `forWriting`); 0 when the address is not mapped
// so, or the map cannot be read.
uint64_t accessibleBytes(uintptr_t address, bool forWriting);

}  // namespace sigillo
