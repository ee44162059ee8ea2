// Outputs written through the name the user gave.
#include "framework/outfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "outfile";

}  // namespace

OutputFile::~OutputFile() {
  if (!file_) return;
  TRenable(0);
  file_.reset();
  if (created_) unlink(name_.c_str());
  TRenable(1);
}

uint16_t OutputFile::open(const char* name, uint32_t flags, uint32_t mode) {
  if (name == nullptr) return TRERR(203, "name (1)");
  name_ = name;
  const bool memory = isMemoryFileName(name);
  struct stat st {};
  const bool existed = memory || stat(name, &st) == 0;
  if (!memory && (flags & FM_NOTRUNC) != 0 && existed) return TRERR(206, "%s", name);
  uint16_t rc = 0;
  file_.reset(f_open(name, (flags | FM_WRITE) & ~static_cast<uint32_t>(FM_NOTRUNC), mode, &rc));
  if (!file_) return TRLASTERR();
  created_ = !existed;
  return 0;
}

uint16_t OutputFile::commit() {
  if (!file_) return TRERR(205, "%s", name_.c_str());
  if (f_flush(file_.get()) != 0) return TRERR(205, "%s", name_.c_str());
  if (f_close(file_.release()) != 0) return TRLASTERR();
  return 0;
}

}  // namespace sigillo
