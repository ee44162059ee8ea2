// libFuzzer target for rebuild: the input, its checksums recomputed, is
// written to a file and rebuilt into a new library with the CODEC command
// "-r".  The scan reads through a window of a little more than 1 MiB, which
// inputs of a fuzzer's usual sizes never pass: the first "SGLGAP" in the
// input and the byte after it are written as kGapSize copies of that byte,
// so that small inputs can make long damaged stretches.  Nothing may crash, hang or read past its
// buffers, and a rebuild that succeeds must leave a library that opens and whose members' stored
// bytes match their CRCs.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "archive/codec_library.h"
#include "archive/codec_ops.h"
#include "framework/trace.h"
#include "fuzz/codec_repair.h"
#include "fuzz/fuzz_tempfile.h"

namespace {

using namespace sigillo::codec;
using sigillo::fuzz::scratchPath;

void check(bool ok) {
  if (!ok) abort();
}

constexpr uint8_t kGapMarker[6] = {'S', 'G', 'L', 'G', 'A', 'P'};
constexpr size_t kGapSize = kChunk + 8192;

void widenGap(std::vector<uint8_t>& bytes) {
  if (bytes.empty()) return;
  const void* hit = memmem(bytes.data(), bytes.size(), kGapMarker, sizeof kGapMarker);
  if (hit == nullptr) return;
  const size_t at = static_cast<size_t>(static_cast<const uint8_t*>(hit) - bytes.data());
  if (at + sizeof kGapMarker >= bytes.size()) return;
  const uint8_t fill = bytes[at + sizeof kGapMarker];
  bytes.erase(bytes.begin() + at, bytes.begin() + at + sizeof kGapMarker + 1);
  bytes.insert(bytes.begin() + at, kGapSize, fill);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  sigillo::fuzz::raiseMaxLen(argc, argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* damaged = scratchPath(0);
  const char* rebuilt = scratchPath(1);
  // Kept from run to run: a fresh megabyte each time costs more than the run.
  static std::vector<uint8_t> bytes;
  bytes.reserve(size + kGapSize);
  bytes.assign(data, data + size);
  widenGap(bytes);
  sigillo::fuzz::repairChecksums(bytes);
  FILE* out = fopen(damaged, "wb");
  check(out != nullptr);
  check(fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size());
  check(fclose(out) == 0);
  const std::string command = std::string("-r ") + damaged + " " + rebuilt + " -o -s";
  if (runCodec(command) == 0) {
    Library library;
    check(library.open(rebuilt) == 0);
    for (const Entry& e : library.entries())
      check(checkStored(library.fd(), e.offset, e, nullptr) == 0);
  }
  sigillo::TRclearerrstack(nullptr);
  return 0;
}
