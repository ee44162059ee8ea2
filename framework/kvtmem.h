// Traced allocators: the standard calls, recording code 10 on failure.
#pragma once

#include <cstddef>

namespace sigillo {

void* TRMALLOC(size_t size);
void* TRCALLOC(size_t count, size_t size);
void* TRREALLOC(void* pointer, size_t size);
void TRFREE(void* pointer);
// TRFREE of a block that may hold secrets, wiped first; null is allowed.
void wipeAndFree(void* pointer, size_t size);

}  // namespace sigillo
