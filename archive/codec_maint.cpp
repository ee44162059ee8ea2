// -k, -v, -r and -e: deleting, listing, rebuilding and self-extracting.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include "archive/codec_codes.h"
#include "archive/codec_crc.h"
#include "archive/codec_lock.h"
#include "archive/codec_ops.h"
#include "archive/codec_scan.h"
#include "archive/codec_writer.h"

namespace sigillo::codec {
namespace {

mode_t modeOf(int fd, mode_t fallback) {
  struct stat st {};
  return fstat(fd, &st) == 0 ? (st.st_mode & 0777) : fallback;
}

std::string methodText(const Entry& e) {
  return e.method == kMethodStored ? "memor." : "zstd-" + std::to_string(e.level);
}

std::string timeText(int64_t seconds) {
  time_t t = static_cast<time_t>(seconds);
  struct tm parts {};
  char text[32] = "?";
  if (gmtime_r(&t, &parts) != nullptr) strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return text;
}

}  // namespace

uint16_t runDelete(const CodecCommand& c, Report& report) {
  LibraryLock lock;
  if (uint16_t rc = lock.acquire(c.library)) return rc;
  Library old;
  if (uint16_t rc = old.open(c.library)) return rc;
  if (uint16_t rc = old.unlock(c.libraryPassword)) return rc;
  std::vector<const Entry*> kept;
  size_t removed = 0;
  for (const Entry& e : old.entries()) {
    if (selected(e, c.target, c)) {
      ++removed;
    } else {
      kept.push_back(&e);
    }
  }
  if (removed == 0) return CERR(kMemberNotFound, "%s", printable(c.target).c_str());
  LibHeader header;
  SecureBytes key;
  if (uint16_t rc = protectionFor(&old, c, &header, &key)) return rc;
  LibraryWriter writer;
  if (uint16_t rc = writer.create(c.library, modeOf(old.fd(), 0644))) return rc;
  for (const Entry* e : kept) {
    if (uint16_t rc = writer.copyMember(old, *e)) return rc;
  }
  if (uint16_t rc = writer.finish(header)) return rc;
  for (const Entry& e : old.entries()) {
    if (selected(e, c.target, c)) report.line("Cancellato  %s\n", printable(e.fullName()).c_str());
  }
  return 0;
}

uint16_t runDump(const CodecCommand& c, Report& report) {
  Library library;
  if (uint16_t rc = library.open(c.library)) return rc;
  std::vector<const Entry*> shown;
  for (const Entry& e : library.entries()) {
    if (selected(e, c.target, c)) shown.push_back(&e);
  }
  if (shown.empty() && !library.entries().empty()) {
    return CERR(kMemberNotFound, "%s", printable(c.target).c_str());
  }
  if (c.sorted) {
    std::sort(shown.begin(), shown.end(),
              [](const Entry* a, const Entry* b) { return a->fullName() < b->fullName(); });
  }
  if (!c.quick) {
    report.line("Libreria %s: versione %u, %u membri%s\n", printable(c.library).c_str(),
                library.header().version, library.header().count,
                library.isProtected() ? ", protetta da password" : "");
  }
  for (const Entry* e : shown) {
    const std::string name = printable(e->fullName());
    if (c.quick) {
      report.line("%s\n", name.c_str());
      continue;
    }
    const unsigned ratio =
        e->size == 0 ? 100u
                     : static_cast<unsigned>(std::min<uint64_t>(e->stored * 100 / e->size, 999));
    std::string flags;
    if ((e->flags & kMemberPassword) != 0) flags += 'P';
    if ((e->flags & kMemberLibraryKey) != 0) flags += 'L';
    if ((e->flags & kMemberText) != 0) flags += 'T';
    if ((e->flags & kMemberAttributes) != 0) flags += 'A';
    report.line("%-40s %12llu %12llu %3u%% %-7s %08X %s %04o %s\n", name.c_str(),
                static_cast<unsigned long long>(e->size),
                static_cast<unsigned long long>(e->stored), ratio, methodText(*e).c_str(),
                e->storedCrc, timeText(e->mtime).c_str(), e->mode & 07777,
                flags.empty() ? "-" : flags.c_str());
  }
  return 0;
}

uint16_t runRebuild(const CodecCommand& c, Report& report) {
  if (sameFile(c.library, c.target)) return CERR(kSameName, "%s", c.target.c_str());
  if (!c.overwrite && exists(c.target)) return CERR(kOutputExists, "%s", c.target.c_str());
  Fd in;
  uint64_t size = 0;
  if (uint16_t rc = openLibraryFile(c.library, &in, &size)) return rc;
  uint8_t bytes[kHeaderSize] = {};
  LibHeader old;
  const bool headerOk = preadFull(in.get(), bytes, kHeaderSize, 0) == kHeaderSize &&
                        decodeHeader(bytes, kHeaderSize, &old) == 0 && old.indexOffset <= size;
  const uint64_t end = headerOk ? old.indexOffset : size;
  LibHeader header;
  if (headerOk && (old.flags & kLibProtected) != 0) header = old;
  LibraryWriter writer;
  if (uint16_t rc = writer.createNamed(c.target)) return rc;
  size_t dropped = 0;
  ScanWindow window(in.get(), end);
  for (uint64_t at = kHeaderSize; at < end;) {
    Entry e;
    if (!memberAt(window, at, &e)) {
      at = nextMagic(window, at + 1);
      continue;
    }
    at = e.offset + e.stored;
    const std::string name = printable(e.fullName());
    if ((e.flags & kMemberLibraryKey) != 0 && (header.flags & kLibProtected) == 0) {
      report.line("Scartato    %s (chiave della libreria perduta)\n", name.c_str());
      ++dropped;
      continue;
    }
    uint16_t rc = writer.copyScanned(in.get(), e.offset, e);
    if (rc == kBadCrc || rc == kMemberExists || rc == kLibRead) {
      report.line("Scartato    %s (%s)\n", name.c_str(), codeText(rc));
      ++dropped;
      continue;
    }
    if (rc != 0) return rc;
    report.line("Recuperato  %s\n", name.c_str());
  }
  if (writer.entries().empty() && !headerOk) {
    return CERR(kNotLibrary, "%s: nessun membro recuperabile", c.library.c_str());
  }
  header.count = 0;
  if (uint16_t rc = writer.finish(header)) return rc;
  report.line("%zu membri recuperati, %zu scartati\n", writer.entries().size(), dropped);
  return 0;
}

namespace {

// A program replacing an existing file keeps that file's mode, plus the
// right to run it wherever the mode allows reading.
bool makeRunnable(const NamedFile& out) {
  struct stat st {};
  if (!out.existed()) return true;
  if (fstat(out.fd(), &st) != 0) return false;
  if (!S_ISREG(st.st_mode)) return true;
  const mode_t mode = st.st_mode & 07777;
  return fchmod(out.fd(), mode | ((mode & 0444) >> 2)) == 0;
}

}  // namespace

uint16_t runSelfExtract(const CodecCommand& c, Report& report) {
  if (sameFile(c.library, c.target) || sameFile(c.runtime, c.target)) {
    return CERR(kSameName, "%s", c.target.c_str());
  }
  if (!c.overwrite && exists(c.target)) return CERR(kOutputExists, "%s", c.target.c_str());
  Fd runtime(::open(c.runtime.c_str(), O_RDONLY | O_CLOEXEC));
  if (!runtime) return CERR(kRuntimeOpen, "%s: %s", c.runtime.c_str(), strerror(errno));
  std::vector<uint8_t> program;
  std::vector<uint8_t> buffer(kChunk);
  for (;;) {
    ssize_t n = readFull(runtime.get(), buffer.data(), buffer.size());
    if (n < 0) return CERR(kRuntimeRead, "%s: %s", c.runtime.c_str(), strerror(errno));
    program.insert(program.end(), buffer.begin(), buffer.begin() + n);
    if (static_cast<size_t>(n) < buffer.size()) break;
  }
  if (program.size() < kTrailerSize) return CERR(kRuntimeCrc, "%s", c.runtime.c_str());
  const uint8_t* seal = program.data() + program.size() - kTrailerSize;
  if (memcmp(seal, kRuntimeMagic, 8) != 0 || get64(seal + 8) != program.size() - kTrailerSize ||
      get32(seal + 16) != crc32Update(0, program.data(), program.size() - kTrailerSize)) {
    return CERR(kRuntimeCrc, "%s", c.runtime.c_str());
  }
  Library library;
  if (uint16_t rc = library.open(c.library)) return rc;
  NamedFile out;
  if (!out.create(c.target, 0777)) {
    return CERR(kLibOpenWrite, "%s: %s", c.target.c_str(), strerror(errno));
  }
  if (!writeFull(out.fd(), program.data(), program.size())) {
    return CERR(kLibWrite, "%s: %s", c.target.c_str(), strerror(errno));
  }
  for (uint64_t done = 0; done < library.length();) {
    size_t want = static_cast<size_t>(std::min<uint64_t>(buffer.size(), library.length() - done));
    if (preadFull(library.fd(), buffer.data(), want, done) != static_cast<ssize_t>(want)) {
      return CERR(kLibRead, "%s", c.library.c_str());
    }
    if (!writeFull(out.fd(), buffer.data(), want)) {
      return CERR(kLibWrite, "%s: %s", c.target.c_str(), strerror(errno));
    }
    done += want;
  }
  uint8_t locator[kTrailerSize] = {};
  memcpy(locator, kLocatorMagic, 8);
  put64(locator + 8, program.size());
  put64(locator + 16, library.length());
  if (!writeFull(out.fd(), locator, sizeof locator)) {
    return CERR(kLibWrite, "%s: %s", c.target.c_str(), strerror(errno));
  }
  if (!makeRunnable(out) || out.commit() != 0) {
    return CERR(kLibClose, "%s: %s", c.target.c_str(), strerror(errno));
  }
  report.line("Autoestraente %s creato (%llu membri)\n", printable(c.target).c_str(),
              static_cast<unsigned long long>(library.entries().size()));
  return 0;
}

}  // namespace sigillo::codec
