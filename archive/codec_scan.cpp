// The rebuild scan over a buffered window of the damaged library.
#include "archive/codec_scan.h"

#include <algorithm>
#include <cstring>

#include "archive/codec_crc.h"
#include "archive/codec_io.h"
#include "archive/codec_library.h"

namespace sigillo::codec {
namespace {

constexpr size_t kLongestLocal = kLocalOverhead + kEntryFixedSize + kMaxName + kMaxPath;

}  // namespace

// The buffer holds a whole chunk beyond the longest local entry, so a refill
// happens at most once per chunk of progress; a smaller file is held whole.
ScanWindow::ScanWindow(int fd, uint64_t end)
    : fd_(fd), end_(end), buffer_(std::min<uint64_t>(end, kChunk + kLongestLocal)) {}

bool ScanWindow::fill(uint64_t at) {
  const size_t want = static_cast<size_t>(std::min<uint64_t>(buffer_.size(), end_ - at));
  const ssize_t n = preadFull(fd_, buffer_.data(), want, at);
  if (n < 0) {
    held_ = 0;
    return false;
  }
  base_ = at;
  held_ = static_cast<size_t>(n);
  return true;
}

const uint8_t* ScanWindow::bytes(uint64_t at, size_t need) {
  if (at > end_ || need > end_ - at || need > buffer_.size()) return nullptr;
  if (at < base_ || at + need > base_ + held_) {
    if (!fill(at) || need > held_) return nullptr;
  }
  return buffer_.data() + (at - base_);
}

const uint8_t* ScanWindow::from(uint64_t at, size_t least, size_t* count) {
  *count = 0;
  if (at >= end_) return nullptr;
  const bool inside = at >= base_ && at < base_ + held_;
  const bool more = base_ + held_ < end_;
  if (!inside || (base_ + held_ - at < least && more)) {
    if (!fill(at)) return nullptr;
  }
  *count = held_ - static_cast<size_t>(at - base_);
  return buffer_.data() + (at - base_);
}

bool memberAt(ScanWindow& window, uint64_t at, Entry* e) {
  const uint64_t end = window.end();
  const uint8_t* prefix = window.bytes(at, 8);
  if (prefix == nullptr || memcmp(prefix, kLocalMagic, 4) != 0) return false;
  const uint32_t length = get32(prefix + 4);
  if (length < kEntryFixedSize || length > kEntryFixedSize + kMaxName + kMaxPath ||
      length + kLocalOverhead > end - at) {
    return false;
  }
  const uint8_t* entry = window.bytes(at + 8, length + 4);
  if (entry == nullptr) return false;
  size_t used = 0;
  // The structure and the entry's own position first: they cost less than the
  // checksum and reject nearly every false start.
  return decodeEntry(entry, length, e, &used) && used == length &&
         e->offset == at + kLocalOverhead + length && e->stored <= end - e->offset &&
         get32(entry + length) == crc32Update(0, entry, length);
}

uint64_t nextMagic(ScanWindow& window, uint64_t from) {
  for (uint64_t at = from; at + 4 <= window.end();) {
    size_t count = 0;
    const uint8_t* p = window.from(at, 4, &count);
    if (p == nullptr || count < 4) return window.end();
    const void* hit = memmem(p, count, kLocalMagic, 4);
    if (hit != nullptr) return at + static_cast<uint64_t>(static_cast<const uint8_t*>(hit) - p);
    at += count - 3;
  }
  return window.end();
}

}  // namespace sigillo::codec
