// Plain POSIX file access for the compressor: owned descriptors, whole
// reads and writes, and files that replace their target only when complete.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace sigillo::codec {

class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(other.release()) {}
  Fd& operator=(Fd&& other) noexcept;
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  ~Fd() { reset(); }
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }
  void reset(int fd = -1);
  // Closes and reports whether close succeeded.
  bool close();

 private:
  int fd_ = -1;
};

// Reads up to `length` bytes; fewer only at the end of the file; -1 on error.
ssize_t readFull(int fd, void* buffer, size_t length);
ssize_t preadFull(int fd, void* buffer, size_t length, uint64_t offset);
bool writeFull(int fd, const void* data, size_t length);
bool pwriteFull(int fd, const void* data, size_t length, uint64_t offset);

std::string folderOf(const std::string& path);
std::string baseName(const std::string& path);

// Temporary files beside a target are named by a lead (".sg", or ".sl" for a
// library being rewritten) + a 64-bit tag of the target's base name + "." +
// 8 random characters + ".tmp": 32 bytes whatever the target's name (up to
// 255 bytes), and recognisable as the target's.  This is the part before the
// random characters.
inline constexpr const char* kTempLead = ".sg";
inline constexpr const char* kLibraryTempLead = ".sl";
std::string temporaryPrefix(const std::string& base, const char* lead = kTempLead);
// Removes the temporaries of `target` with `lead` that a killed run left in
// its folder; only safe while no other run may be writing them.
void removeStaleTemporaries(const std::string& target, const char* lead);

// A file created beside `target` (or, with a folder descriptor, inside that
// folder under `name`) that takes the target's place on commit, in one
// rename, so a failure or a kill leaves the target as it was.  Dropped without
// commit, the temporary file is removed.
class ReplacingFile {
 public:
  ReplacingFile() = default;
  ReplacingFile(const ReplacingFile&) = delete;
  ReplacingFile& operator=(const ReplacingFile&) = delete;
  ~ReplacingFile();
  // false with errno set when the temporary file cannot be made.
  bool create(const std::string& target, mode_t mode, const char* lead = kTempLead);
  bool createAt(int dirFd, const std::string& name, mode_t mode);
  int fd() const { return fd_.get(); }
  // 0 on success; 1 when the flush or close failed; 2 when the rename failed.
  // `durable` waits for the data to reach the disk before the rename (for
  // files that replace something worth keeping, such as a library).
  int commit(bool durable = true);

 private:
  // The temporary file for `base` in `folder`, relative to `dirFd`.
  bool openTemporary(int dirFd, const std::string& folder, const std::string& base,
                     const std::string& target, mode_t mode, const char* lead);
  bool swapIntoPlace();

  int dirFd_ = -1;  // AT_FDCWD-style folder for the *at calls
  std::string target_;
  std::string temp_;
  int registration_ = -1;  // for the removal on SIGINT and SIGTERM
  Fd fd_;
};

// A file the user names as an output (a rebuilt library, a self-extracting
// program, an extracted member), written through that name as any program
// writes its output: a link's target receives the bytes, an existing file
// keeps its mode, owner and links.  Dropped without commit, a file this run
// created is removed and an existing one is cut back to what it held before
// an append, or left empty.
class NamedFile {
 public:
  NamedFile() = default;
  NamedFile(const NamedFile&) = delete;
  NamedFile& operator=(const NamedFile&) = delete;
  ~NamedFile();
  // false with errno set when the file cannot be opened; `mode` (less the
  // umask) applies to a file this call creates.  `append` keeps the content.
  bool create(const std::string& target, mode_t mode, bool append = false);
  int fd() const { return fd_.get(); }
  bool existed() const { return !created_; }
  // 0 on success; 1 when the flush or close failed.
  int commit(bool durable = true);

 private:
  std::string target_;
  bool created_ = false;
  bool done_ = false;
  off_t kept_ = 0;  // length to cut back to on failure
  Fd fd_;
};

}  // namespace sigillo::codec
