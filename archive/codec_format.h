// The library file: fixed header, member blocks (local entry + stored data)
// and the index of entries at the end.  All integers little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sigillo::codec {

// Little-endian fields.
inline void put16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void put64(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline uint16_t get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint32_t get32(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}
inline uint64_t get64(const uint8_t* p) { return get32(p) | uint64_t{get32(p + 4)} << 32; }

constexpr uint8_t kLibMagic[8] = {'S', 'G', 'L', 'L', 'I', 'B', 0x0D, 0x0A};
constexpr uint8_t kLocalMagic[4] = {'S', 'G', 'L', 'M'};
constexpr uint16_t kFormatVersion = 1;
constexpr size_t kHeaderSize = 128;
constexpr size_t kEntryFixedSize = 112;
constexpr size_t kLocalOverhead = 12;  // magic, entry length, entry CRC
constexpr uint32_t kMaxMembers = 65534;
constexpr size_t kMaxName = 1024;
constexpr size_t kMaxPath = 4096;
constexpr size_t kSaltSize = 16;
constexpr size_t kNonceSize = 12;
constexpr size_t kTagSize = 16;
constexpr size_t kCheckSize = 16;
constexpr size_t kKeySize = 32;

enum : uint16_t { kLibProtected = 0x0001 };
enum : uint8_t { kMethodStored = 0, kMethodZstd = 1 };
enum : uint8_t { kKdfNone = 0, kKdfPbkdf2Sha256 = 1 };
enum : uint8_t {
  kMemberPassword = 0x01,    // data key depends on the member password
  kMemberLibraryKey = 0x02,  // data key depends on the library key
  kMemberText = 0x04,        // no NUL byte: a conversion table may apply
  kMemberAttributes = 0x08,  // mode and time are to be restored
  kMemberFlagsKnown = 0x0F,
};

struct LibHeader {
  uint16_t version = kFormatVersion;
  uint16_t flags = 0;
  uint32_t count = 0;
  uint64_t indexOffset = kHeaderSize;
  uint64_t indexLength = 0;
  uint32_t indexCrc = 0;
  uint8_t kdf = kKdfNone;
  uint32_t kdfCost = 0;
  uint8_t salt[kSaltSize] = {};
  uint8_t nonce[kNonceSize] = {};
  uint8_t wrappedKey[kKeySize] = {};
  uint8_t tag[kTagSize] = {};
};

struct Entry {
  std::string name;
  std::string path;  // '/'-separated relative folder, empty for none
  uint8_t method = kMethodStored;
  uint8_t level = 0;
  uint8_t flags = 0;
  uint8_t kdf = kKdfNone;
  uint32_t kdfCost = 0;
  uint64_t size = 0;    // original bytes
  uint64_t stored = 0;  // bytes in the library
  uint64_t offset = 0;  // of the stored bytes
  int64_t mtime = 0;
  uint32_t mode = 0;
  uint32_t storedCrc = 0;
  uint8_t salt[kSaltSize] = {};
  uint8_t nonce[kNonceSize] = {};
  uint8_t tag[kTagSize] = {};
  uint8_t check[kCheckSize] = {};

  std::string fullName() const { return path.empty() ? name : path + "/" + name; }
  bool encrypted() const { return (flags & (kMemberPassword | kMemberLibraryKey)) != 0; }
};

void encodeHeader(const LibHeader& header, uint8_t (&out)[kHeaderSize]);
// 0, or kNotLibrary / kBadVersion / kHeaderCrc.
uint16_t decodeHeader(const uint8_t* data, size_t length, LibHeader* header);

void appendEntry(const Entry& entry, std::vector<uint8_t>* out);
// Reads one entry; false when it is malformed or longer than `length`.
bool decodeEntry(const uint8_t* data, size_t length, Entry* entry, size_t* used);
size_t entrySize(const Entry& entry);

// The local copy that precedes a member's stored bytes.
std::vector<uint8_t> encodeLocal(const Entry& entry);

// Index of `header.count` entries; 0, kIndexCrc or kBadPosition.
uint16_t decodeIndex(const std::vector<uint8_t>& index, const LibHeader& header,
                     std::vector<Entry>* entries);

// Name and path rules: a name is one component, a path relative components;
// none is empty, ".", "..", holds NUL or (names) a '/'.
bool validName(const std::string& name);
bool validPath(const std::string& path);

}  // namespace sigillo::codec
