// Outputs written through the name the user gave.
#include "framework/outfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "framework/guards.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "outfile";

}  // namespace

OutputFile::~OutputFile() {
  if (!file_) return;
  const RecordingOff quiet;
  file_.reset();
  if (created_) unlink(name_.c_str());
}

uint16_t OutputFile::open(const char* name, uint32_t flags, uint32_t mode) {
  if (name == nullptr) return TRERR(203, "name (1)");
  name_ = name;
  flags_ = (flags | FM_WRITE) & ~static_cast<uint32_t>(FM_NOTRUNC);
  mode_ = mode;
  if (isMemoryFileName(name)) return start();
  struct stat st {};
  if (stat(name, &st) != 0) {
    // A new file is made at once: there is nothing to keep.  Only a name
    // that did not exist at all (not a dangling link) is removed on failure.
    const bool nameWasFree = lstat(name, &st) != 0;
    if (uint16_t rc = start()) return rc;
    created_ = nameWasFree;
    return 0;
  }
  if ((flags & FM_NOTRUNC) != 0) return TRERR(206, "%s", name);
  if (!S_ISREG(st.st_mode)) return 0;  // a FIFO or device is opened when written
  const int probe = ::open(name, O_WRONLY | O_CLOEXEC);
  if (probe < 0) return TRERR(203, SIGILLO_SYSERR_FMT, errno, strerror(errno), name);
  close(probe);
  return 0;
}

uint16_t OutputFile::start() {
  if (file_) return 0;
  uint16_t rc = 0;
  file_.reset(f_open(name_.c_str(), flags_, mode_, &rc));
  return file_ ? 0 : TRLASTERR();
}

uint16_t OutputFile::commit() {
  if (uint16_t rc = start()) return rc;
  if (f_flush(file_.get()) != 0) return TRERR(205, "%s", name_.c_str());
  if (f_close(file_.release()) != 0) return TRLASTERR();
  return 0;
}

}  // namespace sigillo
