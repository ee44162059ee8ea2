// libFuzzer target for the library reader: the input, its checksums
// recomputed, is read as a library (header, index, every member's data).
// Nothing may crash, hang or read past its buffers.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "archive/codec_io.h"
#include "archive/codec_library.h"
#include "framework/trace.h"
#include "fuzz/codec_repair.h"

namespace {

using namespace sigillo::codec;

// Members that would make one run slow on purpose are left out: password
// derivations (their cost comes from the file) and huge declared sizes.
constexpr uint64_t kMaxDecoded = 16u << 20;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  sigillo::fuzz::raiseMaxLen(argc, argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static int fd = memfd_create("codec", 0);
  if (fd < 0) abort();
  std::vector<uint8_t> bytes(data, data + size);
  sigillo::fuzz::repairChecksums(bytes);
  if (ftruncate(fd, 0) != 0 || !pwriteFull(fd, bytes.data(), size, 0)) abort();
  Library library;
  if (library.openAt(fd, 0, size, "fuzz") == 0) {
    for (const Entry& e : library.entries()) {
      if (e.size > kMaxDecoded || (e.flags & kMemberPassword) != 0) continue;
      uint16_t rc = decodeMember(library, e, std::nullopt, nullptr, nullptr);
      if (rc == 0 && e.encrypted()) abort();  // no key, yet decoded
      checkStored(fd, e.offset, e, nullptr);
    }
  }
  sigillo::TRclearerrstack(nullptr);
  return 0;
}
