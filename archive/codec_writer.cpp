// Library writer.
#include "archive/codec_writer.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zstd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "archive/codec_codes.h"
#include "archive/codec_crc.h"
#include "archive/codec_crypto.h"

namespace sigillo::codec {
namespace {

struct CctxFree {
  void operator()(ZSTD_CCtx* c) const { ZSTD_freeCCtx(c); }
};

class WriterSink : public Sink {
 public:
  explicit WriterSink(int fd) : fd_(fd) {}
  bool write(const uint8_t* data, size_t length) override { return writeFull(fd_, data, length); }

 private:
  int fd_;
};

}  // namespace

uint16_t LibraryWriter::create(const std::string& target, mode_t mode) {
  target_ = target;
  if (!replacing_.create(target, mode, kLibraryTempLead)) {
    return CERR(kLibOpenWrite, "%s: %s", target.c_str(), strerror(errno));
  }
  return start();
}

uint16_t LibraryWriter::createNamed(const std::string& target) {
  target_ = target;
  inPlace_ = true;
  if (!named_.create(target, 0666)) {
    return CERR(kLibOpenWrite, "%s: %s", target.c_str(), strerror(errno));
  }
  return start();
}

uint16_t LibraryWriter::start() {
  uint8_t zero[kHeaderSize] = {};
  position_ = 0;
  return writeBytes(zero, sizeof zero);
}

uint16_t LibraryWriter::writeBytes(const uint8_t* data, size_t length) {
  if (!writeFull(fd(), data, length)) {
    return CERR(kLibWrite, "%s: %s", target_.c_str(), strerror(errno));
  }
  position_ += length;
  return 0;
}

uint16_t LibraryWriter::reserve(const Entry& entry) {
  if (entries_.size() >= kMaxMembers) return CERR(kLibFull, "%s", target_.c_str());
  for (const Entry& e : entries_) {
    if (e.name == entry.name && e.path == entry.path) {
      return CERR(kMemberExists, "%s", entry.fullName().c_str());
    }
  }
  return 0;
}

uint16_t LibraryWriter::copyMember(const Library& from, const Entry& entry) {
  return copyScanned(from.fd(), from.base() + entry.offset, entry);
}

uint16_t LibraryWriter::copyScanned(int from, uint64_t dataOffset, const Entry& entry) {
  if (uint16_t rc = reserve(entry)) return rc;
  const uint64_t start = position_;
  Entry moved = entry;
  moved.offset = position_ + kLocalOverhead + entrySize(entry);
  std::vector<uint8_t> local = encodeLocal(moved);
  if (uint16_t rc = writeBytes(local.data(), local.size())) return rc;
  WriterSink sink(fd());
  if (uint16_t rc = checkStored(from, dataOffset, entry, &sink)) {
    // Take back the partial copy so that the caller may go on without it.
    position_ = start;
    if (ftruncate(fd(), static_cast<off_t>(start)) != 0 ||
        lseek(fd(), static_cast<off_t>(start), SEEK_SET) < 0) {
      return CERR(kLibWrite, "%s: %s", target_.c_str(), strerror(errno));
    }
    return rc;
  }
  position_ += entry.stored;
  entries_.push_back(std::move(moved));
  return 0;
}

namespace {

// The encoding pipeline of one member: read -> deflate -> encipher -> write.
class MemberEncoder {
 public:
  MemberEncoder(Entry* e, int outFd) : e_(*e), outFd_(outFd) {}

  uint16_t start(const MemberInput& input, const SecureBytes& dataKey) {
    in_.reset(new uint8_t[kChunk]);
    out_.reset(new uint8_t[ZSTD_CStreamOutSize() > kChunk ? ZSTD_CStreamOutSize() : kChunk]);
    if (e_.encrypted()) {
      const std::string aad = e_.fullName();
      if (!gcm_.start(dataKey, e_.nonce, true) ||
          !gcm_.aad(reinterpret_cast<const uint8_t*>(aad.data()), aad.size())) {
        return CERR(kInternal, "AES-GCM non disponibile");
      }
    }
    if (input.level == 0) return 0;
    cctx_.reset(ZSTD_createCCtx());
    if (!cctx_ ||
        ZSTD_isError(ZSTD_CCtx_setParameter(cctx_.get(), ZSTD_c_compressionLevel, input.level)) ||
        ZSTD_isError(ZSTD_CCtx_setPledgedSrcSize(cctx_.get(), input.sizeHint))) {
      return CERR(kNoMemory, "contesto di compressione");
    }
    return 0;
  }

  uint16_t run(int inFd) {
    for (;;) {
      ssize_t n = readFull(inFd, in_.get(), kChunk);
      if (n < 0) return CERR(kInRead, "%s: %s", e_.fullName().c_str(), strerror(errno));
      const auto length = static_cast<size_t>(n);
      if ((e_.flags & kMemberText) != 0 && memchr(in_.get(), 0, length) != nullptr) {
        e_.flags &= ~kMemberText;
      }
      e_.size += length;
      const bool last = length < kChunk;
      if (uint16_t rc = cctx_ ? deflate(length, last) : store(in_.get(), length)) return rc;
      if (last) break;
    }
    if (e_.encrypted() && !gcm_.finishEncrypt(e_.tag)) {
      return CERR(kInternal, "AES-GCM non disponibile");
    }
    return 0;
  }

 private:
  uint16_t store(uint8_t* data, size_t length) {
    if (length == 0) return 0;
    if (e_.encrypted() && !gcm_.update(data, length, data)) {
      return CERR(kInternal, "AES-GCM non disponibile");
    }
    e_.storedCrc = crc32Update(e_.storedCrc, data, length);
    if (!writeFull(outFd_, data, length)) {
      return CERR(kLibWrite, "%s: %s", e_.fullName().c_str(), strerror(errno));
    }
    e_.stored += length;
    return 0;
  }

  uint16_t deflate(size_t length, bool last) {
    ZSTD_inBuffer in{in_.get(), length, 0};
    const size_t outSize = ZSTD_CStreamOutSize() > kChunk ? ZSTD_CStreamOutSize() : kChunk;
    for (;;) {
      ZSTD_outBuffer out{out_.get(), outSize, 0};
      size_t left =
          ZSTD_compressStream2(cctx_.get(), &out, &in, last ? ZSTD_e_end : ZSTD_e_continue);
      if (ZSTD_isError(left)) {
        // The only input-dependent failure: the file changed size while read.
        return CERR(kInRead, "%s: %s", e_.fullName().c_str(), ZSTD_getErrorName(left));
      }
      if (uint16_t rc = store(out_.get(), out.pos)) return rc;
      if (last ? left == 0 : in.pos == in.size) return 0;
    }
  }

  Entry& e_;
  int outFd_;
  std::unique_ptr<uint8_t[]> in_;
  std::unique_ptr<uint8_t[]> out_;
  GcmStream gcm_;
  std::unique_ptr<ZSTD_CCtx, CctxFree> cctx_;
};

}  // namespace

uint16_t LibraryWriter::addMember(const MemberInput& input, Entry entry) {
  if (uint16_t rc = reserve(entry)) return rc;
  const uint64_t localAt = position_;
  entry.method = input.level == 0 ? kMethodStored : kMethodZstd;
  entry.level = static_cast<uint8_t>(input.level);
  entry.flags |= kMemberText;
  entry.size = entry.stored = 0;
  entry.storedCrc = 0;
  entry.offset = localAt + kLocalOverhead + entrySize(entry);
  const bool password = input.password != nullptr;
  const bool libraryKey = input.libraryKey != nullptr && !input.libraryKey->empty();
  if (!randomBytes(entry.salt, kSaltSize)) return CERR(kInternal, "generatore casuale");
  SecureBytes memberKey;
  if (password) {
    entry.flags |= kMemberPassword;
    entry.kdf = kKdfPbkdf2Sha256;
    entry.kdfCost = kPbkdf2Iterations;
    if (!deriveKey(*input.password, entry.salt, entry.kdfCost, &memberKey)) {
      return CERR(kInternal, "derivazione della chiave fallita");
    }
    keyCheck(memberKey, entry.check);
  }
  if (libraryKey) entry.flags |= kMemberLibraryKey;
  SecureBytes dataKey;
  if (entry.encrypted()) {
    memberDataKey(libraryKey ? *input.libraryKey : SecureBytes{}, memberKey, entry.salt, &dataKey);
    if (!randomBytes(entry.nonce, kNonceSize)) return CERR(kInternal, "generatore casuale");
  }
  // The local entry is written again once sizes and checksums are known.
  std::vector<uint8_t> local = encodeLocal(entry);
  if (uint16_t rc = writeBytes(local.data(), local.size())) return rc;
  MemberEncoder encoder(&entry, fd());
  if (uint16_t rc = encoder.start(input, dataKey)) return rc;
  if (uint16_t rc = encoder.run(input.fd)) return rc;
  if (entry.method == kMethodStored) entry.stored = entry.size;
  position_ += entry.stored;
  local = encodeLocal(entry);
  if (!pwriteFull(fd(), local.data(), local.size(), localAt)) {
    return CERR(kLibWrite, "%s: %s", target_.c_str(), strerror(errno));
  }
  entries_.push_back(std::move(entry));
  return 0;
}

uint16_t LibraryWriter::finish(LibHeader header) {
  std::vector<uint8_t> index;
  for (const Entry& e : entries_) appendEntry(e, &index);
  if (index.size() > kMaxIndexBytes)
    return CERR(kLibFull, "%s: indice troppo grande", target_.c_str());
  header.version = kFormatVersion;
  header.count = static_cast<uint32_t>(entries_.size());
  header.indexOffset = position_;
  header.indexLength = index.size();
  header.indexCrc = crc32Update(0, index.data(), index.size());
  if (uint16_t rc = writeBytes(index.data(), index.size())) return rc;
  uint8_t bytes[kHeaderSize];
  encodeHeader(header, bytes);
  if (!pwriteFull(fd(), bytes, sizeof bytes, 0)) {
    return CERR(kLibWrite, "%s: %s", target_.c_str(), strerror(errno));
  }
  switch (inPlace_ ? named_.commit() : replacing_.commit()) {
    case 0:
      return 0;
    case 1:
      return CERR(kLibClose, "%s: %s", target_.c_str(), strerror(errno));
    default:
      return CERR(kLibReplace, "%s: %s", target_.c_str(), strerror(errno));
  }
}

}  // namespace sigillo::codec
