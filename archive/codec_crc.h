// CRC-32 (ISO-HDLC: reflected polynomial 0xEDB88320, initial and final
// value 0xFFFFFFFF).
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo::codec {

// Continues `crc` (0 for a fresh start) over `length` bytes.
uint32_t crc32Update(uint32_t crc, const void* data, size_t length);

}  // namespace sigillo::codec
