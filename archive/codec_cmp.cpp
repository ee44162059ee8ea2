// -c: files and folders into a library.
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <vector>

#include "archive/codec_codes.h"
#include "archive/codec_lock.h"
#include "archive/codec_ops.h"
#include "archive/codec_writer.h"

namespace sigillo::codec {
namespace {

struct Input {
  std::string disk;  // where the file is read from
  std::string name;  // member name
  std::string path;  // member path
  std::string fullName() const { return path.empty() ? name : path + "/" + name; }
};

std::string joinPath(const std::string& a, const std::string& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return a + "/" + b;
}

struct Walk {
  const CodecCommand& command;
  Report& report;
  struct stat library;
  bool libraryExists;
  std::vector<Input>* inputs;
};

// Regular files below `disk`, in name order; links and special files are
// not followed and are reported.
uint16_t walkFolder(Walk& w, const std::string& disk, const std::string& relative) {
  DIR* dir = opendir(disk.c_str());
  if (dir == nullptr) return CERR(kInOpen, "%s: %s", disk.c_str(), strerror(errno));
  std::vector<std::string> names;
  while (dirent* d = readdir(dir)) {
    if (strcmp(d->d_name, ".") != 0 && strcmp(d->d_name, "..") != 0) names.emplace_back(d->d_name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    const std::string child = disk + "/" + name;
    struct stat st {};
    if (lstat(child.c_str(), &st) != 0)
      return CERR(kInOpen, "%s: %s", child.c_str(), strerror(errno));
    const std::string rel = joinPath(relative, name);
    if (S_ISDIR(st.st_mode)) {
      if (uint16_t rc = walkFolder(w, child, rel)) return rc;
      continue;
    }
    if (!S_ISREG(st.st_mode)) {
      w.report.line("Ignorato    %s (non e' un file regolare)\n", printable(rel).c_str());
      continue;
    }
    if (w.libraryExists && st.st_dev == w.library.st_dev && st.st_ino == w.library.st_ino) continue;
    if (w.command.exclude && fnmatch(w.command.exclude->c_str(), rel.c_str(), 0) == 0) continue;
    w.inputs->push_back({child, name, joinPath(w.command.path.value_or(""), relative)});
  }
  return 0;
}

// Folder part of a relative file name, without "." components; false when
// the name is absolute or climbs with "..".
bool relativeFolder(const std::string& file, std::string* folder) {
  folder->clear();
  if (file.empty() || file[0] == '/') return false;
  size_t start = 0;
  for (;;) {
    size_t slash = file.find('/', start);
    if (slash == std::string::npos) return true;
    std::string part = file.substr(start, slash - start);
    if (part == "..") return false;
    if (!part.empty() && part != ".") *folder = joinPath(*folder, part);
    start = slash + 1;
  }
}

uint16_t collectInputs(const CodecCommand& c, Report& report, std::vector<Input>* inputs) {
  struct stat st {};
  if (stat(c.target.c_str(), &st) != 0) {
    return CERR(kInOpen, "%s: %s", c.target.c_str(), strerror(errno));
  }
  if (S_ISDIR(st.st_mode)) {
    if (!c.keepPaths) return CERR(kNotCompressible, "%s: cartella senza -m", c.target.c_str());
    if (c.name) return CERR(kSyntax, "-nn non ammesso con la cartella %s", c.target.c_str());
    Walk w{c, report, {}, false, inputs};
    w.libraryExists = stat(c.library.c_str(), &w.library) == 0;
    return walkFolder(w, c.target, "");
  }
  if (!S_ISREG(st.st_mode)) return CERR(kNotCompressible, "%s", c.target.c_str());
  if (sameFile(c.library, c.target)) return CERR(kSameName, "%s", c.target.c_str());
  Input in{c.target, c.name.value_or(baseName(c.target)), c.path.value_or("")};
  if (!c.path && c.keepPaths && !relativeFolder(c.target, &in.path)) {
    return CERR(kPathRecreate, "%s: percorso non memorizzabile, usare -np", c.target.c_str());
  }
  const std::string subject = c.keepPaths ? in.fullName() : in.name;
  if (!c.exclude || fnmatch(c.exclude->c_str(), subject.c_str(), 0) != 0) inputs->push_back(in);
  return 0;
}

uint16_t checkInputs(const std::vector<Input>& inputs) {
  std::set<std::string> seen;
  for (const Input& in : inputs) {
    if (in.name.size() > kMaxName || in.path.size() > kMaxPath) {
      return CERR(kTooLong, "%s", printable(in.fullName()).c_str());
    }
    if (!validName(in.name) || !validPath(in.path)) {
      return CERR(kPathRecreate, "nome '%s' non ammesso", printable(in.fullName()).c_str());
    }
    if (!seen.insert(in.fullName()).second) {
      return CERR(kMemberExists, "%s: due file con lo stesso nome",
                  printable(in.fullName()).c_str());
    }
  }
  return 0;
}

uint16_t addInput(LibraryWriter& writer, const CodecCommand& c, const SecureBytes& libraryKey,
                  const Input& in, Report& report) {
  Fd fd(::open(in.disk.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd) return CERR(kInOpen, "%s: %s", in.disk.c_str(), strerror(errno));
  struct stat st {};
  if (fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
    return CERR(kNotCompressible, "%s", in.disk.c_str());
  }
  Entry e;
  e.name = in.name;
  e.path = in.path;
  e.mtime = st.st_mtim.tv_sec;
  e.mode = st.st_mode & 07777;
  if (c.attributes) e.flags |= kMemberAttributes;
  MemberInput input;
  input.fd = fd.get();
  input.sizeHint = static_cast<uint64_t>(st.st_size);
  input.level = c.level;
  if (c.memberPassword) input.password = &*c.memberPassword;
  input.libraryKey = &libraryKey;
  if (uint16_t rc = writer.addMember(input, e)) return rc;
  const Entry& added = writer.entries().back();
  report.line("Compresso   %s (%llu -> %llu byte)\n", printable(added.fullName()).c_str(),
              static_cast<unsigned long long>(added.size),
              static_cast<unsigned long long>(added.stored));
  return 0;
}

}  // namespace

uint16_t runCompress(const CodecCommand& c, Report& report) {
  std::vector<Input> inputs;
  if (uint16_t rc = collectInputs(c, report, &inputs)) return rc;
  if (uint16_t rc = checkInputs(inputs)) return rc;
  std::set<std::string> replaced;
  for (const Input& in : inputs) replaced.insert(in.fullName());
  LibraryLock lock;
  if (uint16_t rc = lock.acquire(c.library)) return rc;
  Library old;
  const bool update = exists(c.library);
  mode_t mode = 0644;
  if (update) {
    if (uint16_t rc = old.open(c.library)) return rc;
    if (uint16_t rc = old.unlock(c.libraryPassword)) return rc;
    for (const Entry& e : old.entries()) {
      if (replaced.count(e.fullName()) != 0 && !c.overwrite) {
        return CERR(kMemberExists, "%s", printable(e.fullName()).c_str());
      }
    }
    struct stat st {};
    if (fstat(old.fd(), &st) == 0) mode = st.st_mode & 0777;
  }
  LibHeader header;
  SecureBytes libraryKey;
  if (uint16_t rc = protectionFor(update ? &old : nullptr, c, &header, &libraryKey)) return rc;
  LibraryWriter writer;
  if (uint16_t rc = writer.create(c.library, mode)) return rc;
  for (const Entry& e : old.entries()) {
    if (replaced.count(e.fullName()) != 0) continue;
    if (uint16_t rc = writer.copyMember(old, e)) return rc;
  }
  for (const Input& in : inputs) {
    if (uint16_t rc = addInput(writer, c, libraryKey, in, report)) return rc;
  }
  if (uint16_t rc = writer.finish(header)) return rc;
  report.line("%zu file compressi in %s\n", inputs.size(), printable(c.library).c_str());
  return 0;
}

}  // namespace sigillo::codec
