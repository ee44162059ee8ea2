// Encoding and checked decoding of the library header and entries.
#include "archive/codec_format.h"

#include <cstring>

#include "archive/codec_codes.h"
#include "archive/codec_crc.h"

namespace sigillo::codec {
namespace {

bool allZero(const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (p[i] != 0) return false;
  }
  return true;
}

bool validComponent(const std::string& c) {
  return !c.empty() && c != "." && c != ".." && c.find('\0') == std::string::npos &&
         c.find('/') == std::string::npos;
}

}  // namespace

void encodeHeader(const LibHeader& h, uint8_t (&out)[kHeaderSize]) {
  memset(out, 0, sizeof out);
  memcpy(out, kLibMagic, 8);
  put16(out + 8, h.version);
  put16(out + 10, h.flags);
  put32(out + 12, h.count);
  put64(out + 16, h.indexOffset);
  put64(out + 24, h.indexLength);
  put32(out + 32, h.indexCrc);
  out[36] = h.kdf;
  put32(out + 40, h.kdfCost);
  memcpy(out + 44, h.salt, kSaltSize);
  memcpy(out + 60, h.nonce, kNonceSize);
  memcpy(out + 72, h.wrappedKey, kKeySize);
  memcpy(out + 104, h.tag, kTagSize);
  put32(out + 124, crc32Update(0, out, 124));
}

uint16_t decodeHeader(const uint8_t* p, size_t length, LibHeader* h) {
  if (length < kHeaderSize || memcmp(p, kLibMagic, 8) != 0) return kNotLibrary;
  // The version comes first: a later format may place its checksum elsewhere.
  h->version = get16(p + 8);
  if (h->version != kFormatVersion) return kBadVersion;
  if (get32(p + 124) != crc32Update(0, p, 124)) return kHeaderCrc;
  h->flags = get16(p + 10);
  h->count = get32(p + 12);
  h->indexOffset = get64(p + 16);
  h->indexLength = get64(p + 24);
  h->indexCrc = get32(p + 32);
  h->kdf = p[36];
  h->kdfCost = get32(p + 40);
  memcpy(h->salt, p + 44, kSaltSize);
  memcpy(h->nonce, p + 60, kNonceSize);
  memcpy(h->wrappedKey, p + 72, kKeySize);
  memcpy(h->tag, p + 104, kTagSize);
  const bool protectedLib = (h->flags & kLibProtected) != 0;
  // A consistent header: known flags, a KDF exactly when protected, zero
  // reserved bytes, an index that starts after the header.
  if ((h->flags & ~kLibProtected) != 0 || h->count > kMaxMembers || h->indexOffset < kHeaderSize ||
      !allZero(p + 37, 3) || !allZero(p + 120, 4) || protectedLib != (h->kdf == kKdfPbkdf2Sha256) ||
      (!protectedLib && h->kdf != kKdfNone) || (protectedLib && h->kdfCost == 0)) {
    return kHeaderCrc;
  }
  return 0;
}

size_t entrySize(const Entry& e) { return kEntryFixedSize + e.name.size() + e.path.size(); }

void appendEntry(const Entry& e, std::vector<uint8_t>* out) {
  size_t at = out->size();
  out->resize(at + entrySize(e));
  uint8_t* p = out->data() + at;
  put16(p, static_cast<uint16_t>(e.name.size()));
  put16(p + 2, static_cast<uint16_t>(e.path.size()));
  p[4] = e.method;
  p[5] = e.level;
  p[6] = e.flags;
  p[7] = e.kdf;
  put32(p + 8, e.kdfCost);
  put64(p + 12, e.size);
  put64(p + 20, e.stored);
  put64(p + 28, e.offset);
  put64(p + 36, static_cast<uint64_t>(e.mtime));
  put32(p + 44, e.mode);
  put32(p + 48, e.storedCrc);
  memcpy(p + 52, e.salt, kSaltSize);
  memcpy(p + 68, e.nonce, kNonceSize);
  memcpy(p + 80, e.tag, kTagSize);
  memcpy(p + 96, e.check, kCheckSize);
  memcpy(p + kEntryFixedSize, e.name.data(), e.name.size());
  memcpy(p + kEntryFixedSize + e.name.size(), e.path.data(), e.path.size());
}

bool decodeEntry(const uint8_t* p, size_t length, Entry* e, size_t* used) {
  if (length < kEntryFixedSize) return false;
  size_t nameLength = get16(p);
  size_t pathLength = get16(p + 2);
  if (nameLength == 0 || nameLength > kMaxName || pathLength > kMaxPath) return false;
  if (length - kEntryFixedSize < nameLength + pathLength) return false;
  e->method = p[4];
  e->level = p[5];
  e->flags = p[6];
  e->kdf = p[7];
  e->kdfCost = get32(p + 8);
  e->size = get64(p + 12);
  e->stored = get64(p + 20);
  e->offset = get64(p + 28);
  e->mtime = static_cast<int64_t>(get64(p + 36));
  e->mode = get32(p + 44);
  e->storedCrc = get32(p + 48);
  memcpy(e->salt, p + 52, kSaltSize);
  memcpy(e->nonce, p + 68, kNonceSize);
  memcpy(e->tag, p + 80, kTagSize);
  memcpy(e->check, p + 96, kCheckSize);
  const bool password = (e->flags & kMemberPassword) != 0;
  if (e->method > kMethodZstd || (e->flags & ~kMemberFlagsKnown) != 0 ||
      password != (e->kdf == kKdfPbkdf2Sha256) || (!password && e->kdf != kKdfNone) ||
      (password && e->kdfCost == 0) || (e->method == kMethodStored && e->stored != e->size)) {
    return false;
  }
  const char* names = reinterpret_cast<const char*>(p + kEntryFixedSize);
  if (memchr(names, '\0', nameLength + pathLength) != nullptr) return false;
  e->name.assign(names, nameLength);
  e->path.assign(names + nameLength, pathLength);
  *used = kEntryFixedSize + nameLength + pathLength;
  return true;
}

std::vector<uint8_t> encodeLocal(const Entry& e) {
  std::vector<uint8_t> out(8);
  memcpy(out.data(), kLocalMagic, 4);
  put32(out.data() + 4, static_cast<uint32_t>(entrySize(e)));
  appendEntry(e, &out);
  uint8_t crc[4];
  put32(crc, crc32Update(0, out.data() + 8, out.size() - 8));
  out.insert(out.end(), crc, crc + 4);
  return out;
}

uint16_t decodeIndex(const std::vector<uint8_t>& index, const LibHeader& header,
                     std::vector<Entry>* entries) {
  if (crc32Update(0, index.data(), index.size()) != header.indexCrc) return kIndexCrc;
  entries->clear();
  size_t at = 0;
  for (uint32_t i = 0; i < header.count; ++i) {
    Entry e;
    size_t used = 0;
    if (!decodeEntry(index.data() + at, index.size() - at, &e, &used)) return kIndexCrc;
    at += used;
    // The stored bytes lie between the header's end and the index.
    if (e.offset < kHeaderSize + kLocalOverhead + entrySize(e) || e.offset > header.indexOffset ||
        e.stored > header.indexOffset - e.offset) {
      return kBadPosition;
    }
    entries->push_back(std::move(e));
  }
  return at == index.size() ? 0 : kIndexCrc;
}

bool validName(const std::string& name) { return validComponent(name); }

bool validPath(const std::string& path) {
  if (path.empty()) return true;
  size_t start = 0;
  for (;;) {
    size_t slash = path.find('/', start);
    std::string part = path.substr(start, slash == std::string::npos ? slash : slash - start);
    if (!validComponent(part)) return false;
    if (slash == std::string::npos) return true;
    start = slash + 1;
  }
}

}  // namespace sigillo::codec
