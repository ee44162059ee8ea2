// POSIX helpers of the compressor.
#include "archive/codec_io.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "framework/tempfiles.h"

namespace sigillo::codec {
namespace {

// A random part for temporary names made with openat (mkstemp has no *at form).
std::string randomSuffix() {
  static const char kChars[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device device;
  std::string s;
  for (int i = 0; i < 8; ++i) s += kChars[device() % 36];
  return s;
}

}  // namespace

Fd& Fd::operator=(Fd&& other) noexcept {
  if (this != &other) reset(other.release());
  return *this;
}

void Fd::reset(int fd) {
  if (fd_ >= 0) ::close(fd_);
  fd_ = fd;
}

bool Fd::close() {
  if (fd_ < 0) return true;
  int rc = ::close(fd_);
  fd_ = -1;
  return rc == 0;
}

ssize_t readFull(int fd, void* buffer, size_t length) {
  auto* p = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < length) {
    ssize_t n = ::read(fd, p + done, length - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

ssize_t preadFull(int fd, void* buffer, size_t length, uint64_t offset) {
  auto* p = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < length) {
    ssize_t n = ::pread(fd, p + done, length - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

bool writeFull(int fd, const void* data, size_t length) {
  const auto* p = static_cast<const uint8_t*>(data);
  while (length > 0) {
    ssize_t n = ::write(fd, p, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

bool pwriteFull(int fd, const void* data, size_t length, uint64_t offset) {
  const auto* p = static_cast<const uint8_t*>(data);
  while (length > 0) {
    ssize_t n = ::pwrite(fd, p, length, static_cast<off_t>(offset));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    offset += static_cast<uint64_t>(n);
    length -= static_cast<size_t>(n);
  }
  return true;
}

std::string folderOf(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string baseName(const std::string& path) {
  size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  size_t slash = path.rfind('/', end - 1);
  return slash == std::string::npos ? path.substr(0, end) : path.substr(slash + 1, end - slash - 1);
}

std::string temporaryPrefix(const std::string& base, const char* lead) {
  uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a
  for (unsigned char ch : base) hash = (hash ^ ch) * 0x100000001b3ULL;
  char text[24];
  snprintf(text, sizeof text, "%.3s%016llx.", lead, static_cast<unsigned long long>(hash));
  return text;
}

void removeStaleTemporaries(const std::string& target, const char* lead) {
  const std::string prefix = temporaryPrefix(baseName(target), lead);
  const std::string suffix = ".tmp";
  DIR* listing = opendir(folderOf(target).c_str());
  if (listing == nullptr) return;
  while (const dirent* entry = readdir(listing)) {
    const std::string name = entry->d_name;
    if (name.size() == prefix.size() + 8 + suffix.size() &&
        name.compare(0, prefix.size(), prefix) == 0 &&
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
      unlinkat(dirfd(listing), name.c_str(), 0);
    }
  }
  closedir(listing);
}

ReplacingFile::~ReplacingFile() {
  if (temp_.empty()) return;
  fd_.reset();
  unlinkat(dirFd_, temp_.c_str(), 0);
  forgetTemporary(registration_);
}

bool ReplacingFile::create(const std::string& target, mode_t mode, const char* lead) {
  return openTemporary(AT_FDCWD, folderOf(target) + "/", baseName(target), target, mode, lead);
}

bool ReplacingFile::createAt(int dirFd, const std::string& name, mode_t mode) {
  return openTemporary(dirFd, "", name, name, mode, kTempLead);
}

bool ReplacingFile::openTemporary(int dirFd, const std::string& folder, const std::string& base,
                                  const std::string& target, mode_t mode, const char* lead) {
  for (int attempt = 0; attempt < 16; ++attempt) {
    std::string temp = folder + temporaryPrefix(base, lead) + randomSuffix() + ".tmp";
    int fd =
        ::openat(dirFd, temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
    if (fd < 0 && errno == EEXIST) continue;
    if (fd < 0) return false;
    dirFd_ = dirFd;
    target_ = target;
    temp_ = temp;
    fd_.reset(fd);
    registration_ = registerTemporary(dirFd, temp_.c_str());
    return true;
  }
  return false;
}

// Renaming over an existing file makes ext4 write the new data out before the
// rename returns.  A file that need not be durable instead swaps names with
// the file it replaces, and the old one is removed under the temporary name.
bool ReplacingFile::swapIntoPlace() {
  struct stat st;
  if (fstatat(dirFd_, target_.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0 || S_ISDIR(st.st_mode)) {
    return false;
  }
  if (::renameat2(dirFd_, temp_.c_str(), dirFd_, target_.c_str(), RENAME_EXCHANGE) != 0) {
    return false;
  }
  unlinkat(dirFd_, temp_.c_str(), 0);
  return true;
}

int ReplacingFile::commit(bool durable) {
  if ((durable && ::fsync(fd_.get()) != 0) || !fd_.close()) return 1;
  if ((durable || !swapIntoPlace()) &&
      ::renameat(dirFd_, temp_.c_str(), dirFd_, target_.c_str()) != 0) {
    return 2;
  }
  temp_.clear();
  forgetTemporary(registration_);
  return 0;
}

NamedFile::~NamedFile() {
  if (done_ || !fd_) return;
  if (created_) {
    fd_.reset();
    unlink(target_.c_str());
  } else if (ftruncate(fd_.get(), kept_) != 0) {
    fd_.reset();
  }
}

bool NamedFile::create(const std::string& target, mode_t mode, bool append) {
  struct stat st {};
  created_ = lstat(target.c_str(), &st) != 0;
  fd_.reset(
      ::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC), mode));
  if (!fd_) return false;
  if (append && fstat(fd_.get(), &st) == 0 && S_ISREG(st.st_mode)) kept_ = st.st_size;
  target_ = target;
  return true;
}

int NamedFile::commit(bool durable) {
  struct stat st {};
  const bool regular = fstat(fd_.get(), &st) == 0 && S_ISREG(st.st_mode);
  if ((durable && regular && ::fsync(fd_.get()) != 0) || !fd_.close()) return 1;
  done_ = true;
  return 0;
}

}  // namespace sigillo::codec
