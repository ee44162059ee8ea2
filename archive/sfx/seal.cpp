// Seals the self-extracting run-time: appends the trailer (magic, length of
// the program before it, CRC-32 of those bytes) that `selfexp` checks.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "archive/codec_crc.h"
#include "archive/codec_io.h"
#include "archive/codec_ops.h"

namespace {

using namespace sigillo::codec;

void put(uint8_t* p, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

bool readAll(int fd, std::vector<uint8_t>* out) {
  uint8_t buffer[1 << 16];
  for (;;) {
    ssize_t n = readFull(fd, buffer, sizeof buffer);
    if (n < 0) return false;
    out->insert(out->end(), buffer, buffer + n);
    if (static_cast<size_t>(n) < sizeof buffer) return true;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "Uso: sigillo-sfx-seal PROGRAMMA\n");
    return 2;
  }
  Fd fd(::open(argv[1], O_RDWR | O_CLOEXEC));
  std::vector<uint8_t> program;
  if (!fd || !readAll(fd.get(), &program)) {
    perror(argv[1]);
    return 1;
  }
  uint8_t seal[kTrailerSize] = {};
  memcpy(seal, kRuntimeMagic, 8);
  put(seal + 8, program.size(), 8);
  put(seal + 16, crc32Update(0, program.data(), program.size()), 4);
  if (!pwriteFull(fd.get(), seal, sizeof seal, program.size()) || !fd.close()) {
    perror(argv[1]);
    return 1;
  }
  return 0;
}
