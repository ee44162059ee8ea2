// An output file that appears only when complete: data goes to a temporary
// file beside the target, which replaces the target on commit.  A run that
// fails leaves neither a half-written output nor a damaged old file.
#pragma once

#include <string>

#include "framework/unifile.h"

namespace sigillo {

class OutputFile {
 public:
  OutputFile() = default;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // flags as for f_open (FM_WRITE is added); with FM_NOTRUNC an existing
  // target is refused with code 206.  `mode` 0 gives the usual permissions.
  // Memory files are written in place.
  uint16_t open(const char* name, uint32_t flags, uint32_t mode);
  FHandle* handle() const { return file_.get(); }
  uint16_t commit();

 private:
  std::string name_;
  std::string temp_;
  uint32_t mode_ = 0;
  FilePtr file_;
};

}  // namespace sigillo
