// Reports of the CODEC commands and the helpers the commands share.
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "archive/codec_codes.h"
#include "archive/codec_crypto.h"
#include "archive/codec_ops.h"

namespace sigillo::codec {

uint16_t Report::open(const CodecCommand& c) {
  quiet_ = c.quiet;
  overwrite_ = c.overwrite;
  if (c.report) {
    name_ = *c.report;
    if (!c.overwrite && exists(name_))
      return CERR(kResultOpen, "%s: file esistente", name_.c_str());
    toFile_ = true;
  }
  if (!c.nologo && !c.quiet) printf("CODEC - compressore di librerie Sigillo 7.16.27\n");
  return 0;
}

void Report::line(const char* fmt, ...) {
  char text[8192];
  va_list args;
  va_start(args, fmt);
  vsnprintf(text, sizeof text, fmt, args);
  va_end(args);
  if (!quiet_) fputs(text, stdout);
  if (toFile_) text_ += text;
}

uint16_t Report::close() {
  if (!quiet_) fflush(stdout);
  if (!toFile_) return 0;
  toFile_ = false;
  // The report is written through the name the user gave, like any output.
  Fd file(::open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!file || !writeFull(file.get(), text_.data(), text_.size()) || !file.close()) {
    return CERR(kResultOpen, "%s: %s", name_.c_str(), strerror(errno));
  }
  return 0;
}

std::string printable(const std::string& text) {
  std::string out = text;
  for (char& ch : out) {
    if (static_cast<unsigned char>(ch) < 0x20 || ch == 0x7F) ch = '?';
  }
  return out;
}

bool selected(const Entry& e, const std::string& pattern, const CodecCommand& c) {
  const std::string subject = c.keepPaths ? e.fullName() : e.name;
  if (fnmatch(pattern.c_str(), subject.c_str(), 0) != 0) return false;
  return !c.exclude || fnmatch(c.exclude->c_str(), subject.c_str(), 0) != 0;
}

bool exists(const std::string& path) {
  struct stat st {};
  return lstat(path.c_str(), &st) == 0;
}

bool sameFile(const std::string& a, const std::string& b) {
  struct stat sa {};
  struct stat sb {};
  if (stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0) {
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
  }
  return a == b;
}

namespace {

uint16_t protectNew(const std::string& password, LibHeader* h, SecureBytes* key) {
  h->flags |= kLibProtected;
  h->kdf = kKdfPbkdf2Sha256;
  h->kdfCost = kPbkdf2Iterations;
  SecureBytes passwordKey;
  if (!randomBytes(h->salt, kSaltSize) || !deriveKey(password, h->salt, h->kdfCost, &passwordKey)) {
    return CERR(kInternal, "derivazione della chiave fallita");
  }
  uint8_t aad[kKeyAadSize];
  keyAad(*h, aad);
  if (!wrapKey(passwordKey, *key, aad, sizeof aad, h)) return CERR(kInternal, "AES-GCM");
  return 0;
}

}  // namespace

uint16_t protectionFor(const Library* old, const CodecCommand& c, LibHeader* h, SecureBytes* key) {
  *h = LibHeader{};
  key->clear();
  if (old != nullptr && !old->isProtected()) {
    if (c.libraryPassword || c.newLibraryPassword) {
      return CERR(kBadLibPassword, "%s: libreria non protetta da password", old->label().c_str());
    }
    return 0;
  }
  if (old != nullptr) {
    *key = old->key();
    const LibHeader& o = old->header();
    h->flags = o.flags;
    h->kdf = o.kdf;
    h->kdfCost = o.kdfCost;
    memcpy(h->salt, o.salt, kSaltSize);
    memcpy(h->nonce, o.nonce, kNonceSize);
    memcpy(h->wrappedKey, o.wrappedKey, kKeySize);
    memcpy(h->tag, o.tag, kTagSize);
    return c.newLibraryPassword ? protectNew(*c.newLibraryPassword, h, key) : 0;
  }
  const std::optional<std::string>& password =
      c.newLibraryPassword ? c.newLibraryPassword : c.libraryPassword;
  if (!password) return 0;
  key->assign(kKeySize, 0);
  if (!randomBytes(key->data(), kKeySize)) return CERR(kInternal, "generatore casuale");
  return protectNew(*password, h, key);
}

}  // namespace sigillo::codec
