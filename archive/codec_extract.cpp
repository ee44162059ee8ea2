// -d and -x: members out of a library, or only verified.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "archive/codec_codes.h"
#include "archive/codec_ops.h"

namespace sigillo::codec {
namespace {

constexpr size_t kTableSize = 256;

class FdSink : public Sink {
 public:
  explicit FdSink(int fd) : fd_(fd) {}
  bool write(const uint8_t* data, size_t length) override { return writeFull(fd_, data, length); }

 private:
  int fd_;
};

uint16_t loadTable(const CodecCommand& c, std::vector<uint8_t>* table) {
  if (!c.table || c.binary) return 0;
  Fd fd(::open(c.table->c_str(), O_RDONLY | O_CLOEXEC));
  table->resize(kTableSize + 1);
  ssize_t n = fd ? readFull(fd.get(), table->data(), table->size()) : -1;
  if (n != static_cast<ssize_t>(kTableSize)) {
    table->clear();
    return CERR(kTableRead, "%s: servono 256 byte", c.table->c_str());
  }
  table->resize(kTableSize);
  return 0;
}

mode_t defaultMode() {
  mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Members that -d takes: by -nn (and -np), by -np alone, or all; minus -y.
std::vector<const Entry*> extractSelection(const Library& library, const CodecCommand& c) {
  std::vector<const Entry*> out;
  for (const Entry& e : library.entries()) {
    if (c.name && e.name != *c.name) continue;
    if (c.path && e.path != *c.path && e.path.rfind(*c.path + "/", 0) != 0) continue;
    if (!selected(e, "*", c)) continue;
    out.push_back(&e);
  }
  return out;
}

// Opens (making them when missing) the member's folders below `root`,
// never following a link: a member cannot leave the output folder.
uint16_t openMemberFolder(int root, const Entry& e, Fd* folder) {
  Fd current(::dup(root));
  if (e.path.empty()) {
    *folder = std::move(current);
    return 0;
  }
  size_t start = 0;
  for (;;) {
    size_t slash = e.path.find('/', start);
    const std::string part =
        e.path.substr(start, slash == std::string::npos ? slash : slash - start);
    if (mkdirat(current.get(), part.c_str(), 0755) != 0 && errno != EEXIST) {
      return CERR(kPathRecreate, "%s: %s", printable(e.path).c_str(), strerror(errno));
    }
    Fd next(::openat(current.get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!next) return CERR(kPathRecreate, "%s: %s", printable(e.path).c_str(), strerror(errno));
    current = std::move(next);
    if (slash == std::string::npos) break;
    start = slash + 1;
  }
  *folder = std::move(current);
  return 0;
}

uint16_t copyExisting(int folder, const std::string& name, int to) {
  Fd from(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!from) return CERR(kOutOpen, "%s: %s", name.c_str(), strerror(errno));
  std::vector<uint8_t> buffer(kChunk);
  for (;;) {
    ssize_t n = readFull(from.get(), buffer.data(), buffer.size());
    if (n < 0) return CERR(kOutOpen, "%s: %s", name.c_str(), strerror(errno));
    if (n > 0 && !writeFull(to, buffer.data(), static_cast<size_t>(n))) {
      return CERR(kOutWrite, "%s: %s", name.c_str(), strerror(errno));
    }
    if (static_cast<size_t>(n) < buffer.size()) return 0;
  }
}

// Mode and time of an extracted file: the member's with -attr, else those a
// new file gets (an existing file keeps its own).
uint16_t finishMember(int fd, const Entry& e, bool existed, const std::string& shown) {
  const bool restore = (e.flags & kMemberAttributes) != 0;
  if (!restore && existed) return 0;
  if (fchmod(fd, restore ? static_cast<mode_t>(e.mode & 0777) : defaultMode()) != 0) {
    return CERR(kOutClose, "%s: %s", shown.c_str(), strerror(errno));
  }
  if (restore) {
    timespec times[2] = {{e.mtime, 0}, {e.mtime, 0}};
    futimens(fd, times);
  }
  return 0;
}

// Whether an existing output lets the member be written: 0 to go on, or the
// code; `skip` when -nc leaves it alone.
uint16_t mayReplace(const CodecCommand& c, const std::string& shown, Report& report, bool* skip) {
  *skip = false;
  if (c.noClobber) {
    report.line("Saltato     %s (esistente)\n", shown.c_str());
    *skip = true;
    return 0;
  }
  if (!c.overwrite && !c.append) return CERR(kOutputExists, "%s", shown.c_str());
  return 0;
}

// One member into `folder`/`name`: decoded into a temporary file, verified,
// then renamed into place.  The archive names these files, so a link found
// at the name is replaced, never followed.
uint16_t writeMember(const Library& library, const Entry& e, const CodecCommand& c,
                     const uint8_t* table, int folder, const std::string& name,
                     const std::string& shown, Report& report) {
  struct stat st {};
  const bool present = fstatat(folder, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
  if (present && S_ISDIR(st.st_mode)) return CERR(kOutOpen, "%s: e' una cartella", shown.c_str());
  bool skip = false;
  if (present) {
    if (uint16_t rc = mayReplace(c, shown, report, &skip); rc != 0 || skip) return rc;
  }
  ReplacingFile out;
  if (!out.createAt(folder, name, 0600)) {
    return CERR(kOutOpen, "%s: %s", shown.c_str(), strerror(errno));
  }
  const bool appending = present && c.append;
  if (appending) {
    if (!S_ISREG(st.st_mode)) return CERR(kOutOpen, "%s: non e' un file regolare", shown.c_str());
    if (uint16_t rc = copyExisting(folder, name, out.fd())) return rc;
  }
  FdSink sink(out.fd());
  if (uint16_t rc = decodeMember(library, e, c.memberPassword, table, &sink)) return rc;
  if (appending && fchmod(out.fd(), st.st_mode & 0777) != 0) {
    return CERR(kOutClose, "%s: %s", shown.c_str(), strerror(errno));
  }
  if (uint16_t rc = finishMember(out.fd(), e, false, shown)) return rc;
  if (out.commit(false) != 0) return CERR(kOutClose, "%s: %s", shown.c_str(), strerror(errno));
  report.line("Estratto    %s -> %s\n", printable(e.fullName()).c_str(), shown.c_str());
  return 0;
}

// One member into the file the caller named, written through that name as
// any program writes its output.  A failure removes a file this run made and
// takes an append back; an overwritten file is left empty.
uint16_t writeNamedMember(const Library& library, const Entry& e, const CodecCommand& c,
                          const uint8_t* table, Report& report) {
  const std::string& target = c.target;
  struct stat st {};
  const bool present = stat(target.c_str(), &st) == 0;
  bool skip = false;
  if (present) {
    if (uint16_t rc = mayReplace(c, target, report, &skip); rc != 0 || skip) return rc;
  }
  NamedFile out;
  if (!out.create(target, 0666, present && c.append)) {
    return CERR(kOutOpen, "%s: %s", target.c_str(), strerror(errno));
  }
  const bool regular = fstat(out.fd(), &st) == 0 && S_ISREG(st.st_mode);
  FdSink sink(out.fd());
  if (uint16_t rc = decodeMember(library, e, c.memberPassword, table, &sink)) return rc;
  if (regular) {
    if (uint16_t rc = finishMember(out.fd(), e, present, target)) return rc;
  }
  if (out.commit(false) != 0) return CERR(kOutClose, "%s: %s", target.c_str(), strerror(errno));
  report.line("Estratto    %s -> %s\n", printable(e.fullName()).c_str(), target.c_str());
  return 0;
}

uint16_t makeFolders(const std::string& path) {
  std::string partial;
  size_t start = 0;
  for (;;) {
    size_t slash = path.find('/', start);
    partial = path.substr(0, slash);
    if (!partial.empty() && mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
      return CERR(kPathRecreate, "%s: %s", partial.c_str(), strerror(errno));
    }
    if (slash == std::string::npos) return 0;
    start = slash + 1;
  }
}

}  // namespace

uint16_t extractFrom(const Library& library, const CodecCommand& c, Report& report) {
  std::vector<uint8_t> table;
  if (uint16_t rc = loadTable(c, &table)) return rc;
  const uint8_t* tablePtr = table.empty() ? nullptr : table.data();
  std::vector<const Entry*> chosen = extractSelection(library, c);
  if (chosen.empty()) return CERR(kMemberNotFound, "%s", printable(c.name.value_or("*")).c_str());
  struct stat st {};
  const bool targetIsFolder = stat(c.target.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
  if (c.name && chosen.size() == 1 && !targetIsFolder) {
    return writeNamedMember(library, *chosen[0], c, tablePtr, report);
  }
  if (uint16_t rc = makeFolders(c.target)) return rc;
  Fd root(::open(c.target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root) return CERR(kPathRecreate, "%s: %s", c.target.c_str(), strerror(errno));
  for (const Entry* e : chosen) {
    if (!validName(e->name) || !validPath(e->path)) {
      return CERR(kPathRecreate, "nome '%s' non ammesso", printable(e->fullName()).c_str());
    }
    Fd folder;
    if (c.keepPaths) {
      if (uint16_t rc = openMemberFolder(root.get(), *e, &folder)) return rc;
    } else {
      folder.reset(::dup(root.get()));
    }
    const std::string shown = printable(c.target + "/" + (c.keepPaths ? e->fullName() : e->name));
    if (uint16_t rc = writeMember(library, *e, c, tablePtr, folder.get(), e->name, shown, report)) {
      return rc;
    }
  }
  return 0;
}

uint16_t runExtract(const CodecCommand& c, Report& report) {
  Library library;
  if (uint16_t rc = library.open(c.library)) return rc;
  if (uint16_t rc = library.unlock(c.libraryPassword)) return rc;
  return extractFrom(library, c, report);
}

uint16_t runCheck(const CodecCommand& c, Report& report) {
  Library library;
  if (uint16_t rc = library.open(c.library)) return rc;
  if (c.libraryPassword) {
    if (uint16_t rc = library.unlock(c.libraryPassword)) return rc;
  }
  uint16_t first = 0;
  size_t count = 0;
  for (const Entry& e : library.entries()) {
    if (!selected(e, c.target, c)) continue;
    ++count;
    const bool readable = ((e.flags & kMemberPassword) == 0 || c.memberPassword) &&
                          ((e.flags & kMemberLibraryKey) == 0 || library.unlocked());
    uint16_t rc = readable ? decodeMember(library, e, c.memberPassword, nullptr, nullptr)
                           : checkStored(library.fd(), library.base() + e.offset, e, nullptr);
    const std::string name = printable(e.fullName());
    if (rc != 0) {
      report.line("Errato      %s (%s)\n", name.c_str(), codeText(rc));
      if (first == 0) first = rc;
    } else {
      report.line(readable ? "Verificato  %s\n" : "Verificato  %s (solo dati cifrati)\n",
                  name.c_str());
    }
  }
  if (count == 0) return CERR(kMemberNotFound, "%s", printable(c.target).c_str());
  return first;
}

}  // namespace sigillo::codec
