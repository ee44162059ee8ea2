// Library reader and member decoder.
#include "archive/codec_library.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/stat.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "archive/codec_codes.h"
#include "archive/codec_crc.h"
#include "archive/codec_crypto.h"

namespace sigillo::codec {
namespace {

// Frames needing a larger window than this are refused (8 MiB: twice what
// the writer's highest level uses).
constexpr int kMaxWindowLog = 23;

struct DctxFree {
  void operator()(ZSTD_DCtx* d) const { ZSTD_freeDCtx(d); }
};

}  // namespace

void keyAad(const LibHeader& header, uint8_t (&aad)[kKeyAadSize]) {
  uint8_t bytes[kHeaderSize];
  encodeHeader(header, bytes);
  memcpy(aad, bytes, kKeyAadSize);
}

uint16_t openLibraryFile(const std::string& path, Fd* fd, uint64_t* size) {
  fd->reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!*fd) return CERR(kLibOpenRead, "%s: %s", path.c_str(), strerror(errno));
  struct stat st {};
  if (fstat(fd->get(), &st) != 0 || !S_ISREG(st.st_mode)) {
    return CERR(kLibOpenRead, "%s: non e' un file regolare", path.c_str());
  }
  *size = static_cast<uint64_t>(st.st_size);
  return 0;
}

uint16_t Library::open(const std::string& path) {
  uint64_t size = 0;
  if (uint16_t rc = openLibraryFile(path, &owned_, &size)) return rc;
  return openAt(owned_.get(), 0, size, path);
}

uint16_t Library::openAt(int fd, uint64_t base, uint64_t length, const std::string& label) {
  if (fd != owned_.get()) fd_ = fd;
  base_ = base;
  length_ = length;
  label_ = label;
  uint8_t bytes[kHeaderSize];
  ssize_t n = length >= kHeaderSize ? preadFull(fd, bytes, kHeaderSize, base) : 0;
  if (n < 0) return CERR(kLibRead, "%s: %s", label.c_str(), strerror(errno));
  if (uint16_t rc = decodeHeader(bytes, static_cast<size_t>(n), &header_)) {
    return CERR(rc, "%s: testata non valida", label.c_str());
  }
  if (header_.indexOffset > length || header_.indexLength > length - header_.indexOffset) {
    return CERR(kLibRead, "%s: libreria troncata (%llu byte, indice a %llu)", label.c_str(),
                static_cast<unsigned long long>(length),
                static_cast<unsigned long long>(header_.indexOffset));
  }
  if (header_.indexLength > kMaxIndexBytes) {
    return CERR(kIndexCrc, "%s: indice di %llu byte", label.c_str(),
                static_cast<unsigned long long>(header_.indexLength));
  }
  std::vector<uint8_t> index(static_cast<size_t>(header_.indexLength));
  n = preadFull(fd, index.data(), index.size(), base + header_.indexOffset);
  if (n < 0 || static_cast<size_t>(n) != index.size()) {
    return CERR(kLibRead, "%s: indice illeggibile", label.c_str());
  }
  if (uint16_t rc = decodeIndex(index, header_, &entries_)) {
    return CERR(rc, "%s: indice non valido", label.c_str());
  }
  for (const Entry& e : entries_) {
    if ((e.flags & kMemberLibraryKey) != 0 && !isProtected()) {
      return CERR(kIndexCrc, "%s: membro cifrato con la chiave di una libreria senza password",
                  label.c_str());
    }
  }
  return 0;
}

uint16_t Library::unlock(const std::optional<std::string>& password) {
  if (!isProtected()) return 0;
  if (!password)
    return CERR(kBadLibPassword, "%s: password della libreria mancante", label_.c_str());
  if (header_.kdfCost > kMaxPbkdf2Iterations) {
    return CERR(kHeaderCrc, "%s: %u iterazioni di derivazione, oltre il massimo di %u",
                label_.c_str(), header_.kdfCost, kMaxPbkdf2Iterations);
  }
  SecureBytes passwordKey;
  if (!deriveKey(*password, header_.salt, header_.kdfCost, &passwordKey)) {
    return CERR(kBadLibPassword, "%s: derivazione della chiave fallita", label_.c_str());
  }
  uint8_t aad[kKeyAadSize];
  keyAad(header_, aad);
  if (!unwrapKey(passwordKey, header_, aad, sizeof aad, &key_)) {
    key_.clear();
    return CERR(kBadLibPassword, "%s", label_.c_str());
  }
  return 0;
}

uint16_t memberKey(const Entry& e, const std::optional<std::string>& password, SecureBytes* key) {
  if ((e.flags & kMemberPassword) == 0) return 0;
  const std::string name = e.fullName();
  if (!password) return CERR(kBadMemberPassword, "%s: password del file mancante", name.c_str());
  if (e.kdfCost > kMaxPbkdf2Iterations) {
    return CERR(kIndexCrc, "%s: %u iterazioni di derivazione, oltre il massimo di %u", name.c_str(),
                e.kdfCost, kMaxPbkdf2Iterations);
  }
  if (!deriveKey(*password, e.salt, e.kdfCost, key)) {
    return CERR(kBadMemberPassword, "%s: derivazione della chiave fallita", name.c_str());
  }
  uint8_t check[kCheckSize];
  keyCheck(*key, check);
  if (CRYPTO_memcmp(check, e.check, kCheckSize) != 0) {
    return CERR(kBadMemberPassword, "%s", name.c_str());
  }
  return 0;
}

uint16_t checkStored(int fd, uint64_t offset, const Entry& e, Sink* copy) {
  std::unique_ptr<uint8_t[]> buffer(new uint8_t[kChunk]);
  uint32_t crc = 0;
  for (uint64_t done = 0; done < e.stored;) {
    size_t want = static_cast<size_t>(std::min<uint64_t>(kChunk, e.stored - done));
    ssize_t n = preadFull(fd, buffer.get(), want, offset + done);
    if (n < 0 || static_cast<size_t>(n) != want) {
      return CERR(kLibRead, "%s: dati illeggibili", e.fullName().c_str());
    }
    crc = crc32Update(crc, buffer.get(), want);
    if (copy != nullptr && !copy->write(buffer.get(), want)) {
      return CERR(kLibWrite, "%s: scrittura fallita", e.fullName().c_str());
    }
    done += want;
  }
  if (crc != e.storedCrc) return CERR(kBadCrc, "%s", e.fullName().c_str());
  return 0;
}

namespace {

// The decoding pipeline of one member: stored bytes -> decipher -> inflate
// -> convert -> sink, with every check deferred to the end of the data so
// that damage is told apart from a bad stream.
class MemberDecoder {
 public:
  MemberDecoder(const Entry& e, const uint8_t* table, Sink* sink)
      : e_(e), table_((e.flags & kMemberText) != 0 ? table : nullptr), sink_(sink) {}

  uint16_t start(const SecureBytes& dataKey) {
    in_.reset(new uint8_t[kChunk]);
    out_.reset(new uint8_t[kChunk]);
    if (e_.encrypted()) {
      const std::string aad = e_.fullName();
      if (!gcm_.start(dataKey, e_.nonce, false) ||
          !gcm_.aad(reinterpret_cast<const uint8_t*>(aad.data()), aad.size())) {
        return CERR(kInternal, "AES-GCM non disponibile");
      }
    }
    if (e_.method == kMethodZstd) {
      dctx_.reset(ZSTD_createDCtx());
      if (!dctx_ ||
          ZSTD_isError(ZSTD_DCtx_setParameter(dctx_.get(), ZSTD_d_windowLogMax, kMaxWindowLog))) {
        return CERR(kNoMemory, "contesto di decompressione");
      }
    }
    return 0;
  }

  uint16_t run(int fd, uint64_t offset) {
    for (uint64_t done = 0; done < e_.stored;) {
      size_t want = static_cast<size_t>(std::min<uint64_t>(kChunk, e_.stored - done));
      ssize_t n = preadFull(fd, in_.get(), want, offset + done);
      if (n < 0 || static_cast<size_t>(n) != want) {
        return CERR(kLibRead, "%s: dati illeggibili", e_.fullName().c_str());
      }
      done += want;
      crc_ = crc32Update(crc_, in_.get(), want);
      if (e_.encrypted() && !gcm_.update(in_.get(), want, in_.get())) authFailed_ = true;
      if (streamError_ == 0) {
        if (uint16_t rc = consume(in_.get(), want)) return rc;
      }
    }
    return finish();
  }

 private:
  uint16_t emit(uint8_t* data, size_t length) {
    if (length > e_.size - produced_) {
      streamError_ = kBadCrc;
      return 0;
    }
    produced_ += length;
    if (sink_ == nullptr) return 0;
    if (table_ != nullptr) {
      for (size_t i = 0; i < length; ++i) data[i] = table_[data[i]];
    }
    if (!sink_->write(data, length)) {
      return CERR(kOutWrite, "%s: %s", e_.fullName().c_str(), strerror(errno));
    }
    return 0;
  }

  uint16_t consume(uint8_t* data, size_t length) {
    if (e_.method == kMethodStored) return emit(data, length);
    ZSTD_inBuffer in{data, length, 0};
    // Runs while input is left or the last call filled the output: the
    // decoder may still hold bytes of the frame.
    bool full = false;
    while (in.pos < in.size || (full && frameLeft_ != 0)) {
      ZSTD_outBuffer out{out_.get(), kChunk, 0};
      size_t rc = ZSTD_decompressStream(dctx_.get(), &out, &in);
      if (ZSTD_isError(rc)) {
        streamError_ = ZSTD_getErrorCode(rc) == ZSTD_error_checksum_wrong ? kBadCrc : kBadEncoding;
        return 0;
      }
      frameLeft_ = rc;
      full = out.pos == out.size;
      if (uint16_t code = emit(out_.get(), out.pos)) return code;
      if (streamError_ != 0) return 0;
    }
    return 0;
  }

  uint16_t finish() {
    const std::string name = e_.fullName();
    if (crc_ != e_.storedCrc) return CERR(kBadCrc, "%s: CRC dei dati memorizzati", name.c_str());
    if (e_.encrypted() && (authFailed_ || !gcm_.finishDecrypt(e_.tag))) {
      return CERR(kBadCrc, "%s: autenticazione dei dati fallita", name.c_str());
    }
    if (streamError_ == kBadCrc) return CERR(kBadCrc, "%s: dati decompressi", name.c_str());
    if (streamError_ != 0 || (e_.method == kMethodZstd && frameLeft_ != 0)) {
      return CERR(kBadEncoding, "%s: flusso compresso non valido", name.c_str());
    }
    if (produced_ != e_.size) {
      return CERR(kBadCrc, "%s: %llu byte invece di %llu", name.c_str(),
                  static_cast<unsigned long long>(produced_),
                  static_cast<unsigned long long>(e_.size));
    }
    return 0;
  }

  const Entry& e_;
  const uint8_t* table_;
  Sink* sink_;
  std::unique_ptr<uint8_t[]> in_;
  std::unique_ptr<uint8_t[]> out_;
  GcmStream gcm_;
  std::unique_ptr<ZSTD_DCtx, DctxFree> dctx_;
  uint32_t crc_ = 0;
  uint64_t produced_ = 0;
  size_t frameLeft_ = 0;
  bool authFailed_ = false;
  uint16_t streamError_ = 0;
};

}  // namespace

uint16_t decodeMember(const Library& library, const Entry& e,
                      const std::optional<std::string>& memberPassword, const uint8_t* table,
                      Sink* sink) {
  SecureBytes key;
  if (uint16_t rc = memberKey(e, memberPassword, &key)) return rc;
  if ((e.flags & kMemberLibraryKey) != 0 && !library.unlocked()) {
    return CERR(kBadLibPassword, "%s: password della libreria mancante", library.label().c_str());
  }
  SecureBytes dataKey;
  if (e.encrypted()) {
    memberDataKey((e.flags & kMemberLibraryKey) != 0 ? library.key() : SecureBytes{}, key, e.salt,
                  &dataKey);
  }
  MemberDecoder decoder(e, table, sink);
  if (uint16_t rc = decoder.start(dataKey)) return rc;
  return decoder.run(library.fd(), library.base() + e.offset);
}

}  // namespace sigillo::codec
