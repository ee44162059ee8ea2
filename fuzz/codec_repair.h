// Shared by the library targets: mutated libraries get their checksums
// recomputed before they are read, so that the readers behind the checks
// (entries, index, members, the rebuild scan) see the mutations instead of a
// CRC failure.  Only fields whose place the structure gives are rewritten;
// anything that does not fit the input is left as it is.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "archive/codec_crc.h"
#include "archive/codec_format.h"

namespace sigillo::fuzz {

// libFuzzer stops at 4 KiB inputs unless told otherwise: libraries with
// several members, and the damaged stretches rebuild scans through, need
// more.  A -max_len given on the command line wins.
inline void raiseMaxLen(int* argc, char*** argv, const char* flag = "-max_len=1048576") {
  for (int i = 1; i < *argc; ++i) {
    if (strncmp((*argv)[i], "-max_len=", 9) == 0) return;
  }
  static std::vector<char*> args;
  args.assign(*argv, *argv + *argc);
  args.push_back(const_cast<char*>(flag));
  args.push_back(nullptr);
  *argc += 1;
  *argv = args.data();
}

namespace repair {

using namespace sigillo::codec;

// Entry fields (see docs/formats.md).
constexpr size_t kStoredAt = 20;
constexpr size_t kOffsetAt = 28;
constexpr size_t kStoredCrcAt = 48;
// Bytes of member data checksummed per input, so that many entries
// pointing at the same large range keep a run fast.
constexpr uint64_t kCrcBudget = 8u << 20;

struct Repairer {
  std::vector<uint8_t>& b;
  uint64_t crcLeft = kCrcBudget;

  bool inside(uint64_t at, uint64_t length) const {
    return at <= b.size() && length <= b.size() - at;
  }
  // Writes the CRC of [at, at + length) at `field` while the budget lasts.
  void crcInto(uint64_t at, uint64_t length, uint64_t field) {
    if (length > crcLeft) return;
    crcLeft -= length;
    put32(&b[field], crc32Update(0, b.data() + at, length));
  }
  // The data checksum of the entry at `at` (`length` bytes available).
  void fixData(uint64_t at, uint64_t length) {
    if (length < kEntryFixedSize) return;
    const uint64_t stored = get64(&b[at + kStoredAt]);
    const uint64_t offset = get64(&b[at + kOffsetAt]);
    if (inside(offset, stored)) crcInto(offset, stored, at + kStoredCrcAt);
  }
  // Local copies: magic, entry length, entry, entry CRC.
  void fixLocals() {
    const uint8_t* start = b.data();
    for (uint64_t at = kHeaderSize; at + 8 <= b.size();) {
      const void* hit = memmem(start + at, b.size() - at, kLocalMagic, 4);
      if (hit == nullptr) return;
      at = static_cast<uint64_t>(static_cast<const uint8_t*>(hit) - start);
      const uint64_t length = at + 8 <= b.size() ? get32(&b[at + 4]) : 0;
      if (at + 8 <= b.size() && inside(at + 8, length + 4)) {
        fixData(at + 8, length);
        crcInto(at + 8, length, at + 8 + length);
      }
      at += 4;
    }
  }
  // The index: entries one after the other, then its CRC in the header.
  void fixIndex() {
    const uint64_t indexOffset = get64(&b[16]);
    const uint64_t indexLength = get64(&b[24]);
    if (!inside(indexOffset, indexLength)) return;
    for (uint64_t at = indexOffset; at + kEntryFixedSize <= indexOffset + indexLength;) {
      const uint64_t size =
          kEntryFixedSize + (b[at] | b[at + 1] << 8) + (b[at + 2] | b[at + 3] << 8);
      fixData(at, size);
      at += size;
    }
    crcInto(indexOffset, indexLength, 32);
  }
};

}  // namespace repair

// Recomputes member data CRCs, local entry CRCs, the index CRC and the
// header CRC of a library held in `bytes`.
inline void repairChecksums(std::vector<uint8_t>& bytes) {
  if (bytes.size() < codec::kHeaderSize || memcmp(bytes.data(), codec::kLibMagic, 8) != 0) return;
  repair::Repairer r{bytes};
  r.fixLocals();
  r.fixIndex();
  repair::put32(&bytes[124], codec::crc32Update(0, bytes.data(), 124));
}

}  // namespace sigillo::fuzz
