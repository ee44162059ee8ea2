// Outputs written beside their target and renamed over it when complete.
#include "framework/outfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "outfile";

std::string folderOf(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

mode_t defaultPermissions() {
  mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

OutputFile::~OutputFile() {
  if (temp_.empty()) return;
  TRenable(0);
  file_.reset();
  f_remove(temp_.c_str());
  TRenable(1);
}

uint16_t OutputFile::open(const char* name, uint32_t flags, uint32_t mode) {
  if (name == nullptr) return TRERR(203, "name (1)");
  name_ = name;
  mode_ = mode;
  uint16_t rc = 0;
  if (isMemoryFileName(name)) {
    file_.reset(f_open(name, flags | FM_WRITE, mode, &rc));
    return file_ ? 0 : TRLASTERR();
  }
  if ((flags & FM_NOTRUNC) != 0 && f_exists(name)) return TRERR(206, "%s", name);
  char temp[PATH_MAX];
  // A folder that cannot take the temporary cannot take the output either:
  // the failure is reported against the output's name.
  TRenable(0);
  uint16_t tempRc = Nmaketemp(folderOf(name_).c_str(), temp, sizeof temp);
  int tempErrno = errno;
  TRenable(1);
  if (tempRc != 0) {
    return TRERR(203, SIGILLO_SYSERR_FMT, tempErrno, strerror(tempErrno), name);
  }
  temp_ = temp;
  file_.reset(f_open(temp, (flags | FM_WRITE) & ~static_cast<uint32_t>(FM_NOTRUNC), 0, &rc));
  return file_ ? 0 : TRLASTERR();
}

uint16_t OutputFile::commit() {
  if (!file_) return TRERR(205, "%s", name_.c_str());
  if (f_flush(file_.get()) != 0) return TRERR(205, "%s", name_.c_str());
  if (f_close(file_.release()) != 0) return TRLASTERR();
  if (temp_.empty()) return 0;
  mode_t permissions = mode_ != 0 ? static_cast<mode_t>(mode_) : defaultPermissions();
  if (chmod(temp_.c_str(), permissions) != 0) {
    return TRERR(205, SIGILLO_SYSERR_FMT, errno, strerror(errno), name_.c_str());
  }
  if (f_rename(temp_.c_str(), name_.c_str()) != 0) return TRLASTERR();
  temp_.clear();
  return 0;
}

}  // namespace sigillo
