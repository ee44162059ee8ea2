// The rebuild scan: member blocks found by their local magic in a damaged
// library, reading each byte of the file a bounded number of times.
#pragma once

#include <cstdint>
#include <vector>

#include "archive/codec_format.h"

namespace sigillo::codec {

// A forward-moving window over [0, end) of a file: the bytes asked for are
// served from one buffer that is refilled only when the position passes it.
class ScanWindow {
 public:
  ScanWindow(int fd, uint64_t end);
  // `need` bytes at `at`, or null when they are not all before the end or
  // cannot be read.  Positions must not go back further than the last refill.
  const uint8_t* bytes(uint64_t at, size_t need);
  // The bytes from `at` up to the window's end (refilled when fewer than
  // `least` remain and the file has more); `*count` receives their number.
  const uint8_t* from(uint64_t at, size_t least, size_t* count);
  uint64_t end() const { return end_; }

 private:
  bool fill(uint64_t at);

  int fd_;
  uint64_t end_;
  uint64_t base_ = 0;
  size_t held_ = 0;
  std::vector<uint8_t> buffer_;
};

// The member block whose local entry starts at `at`, or false.
bool memberAt(ScanWindow& window, uint64_t at, Entry* entry);
// The next position at or after `from` where a local magic starts, or the end.
uint64_t nextMagic(ScanWindow& window, uint64_t from);

}  // namespace sigillo::codec
