// An output file the user names, written through that name as any program
// writes its output: a link's target receives the bytes, the file keeps its
// mode, owner and links, and FIFOs and devices work.  `open` only checks that
// the file can be written; an existing file is emptied by `start`, when the
// output is about to be written, so a run that fails before keeps it.  A file
// that this run created and did not complete is removed again.
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
  // file is refused with code 206.  `mode` applies to a file this call
  // creates; 0 gives the usual permissions.
  uint16_t open(const char* name, uint32_t flags, uint32_t mode);
  // Opens the file for writing, emptying it; until then handle() is null.
  uint16_t start();
  FHandle* handle() const { return file_.get(); }
  uint16_t commit();

 private:
  std::string name_;
  uint32_t flags_ = 0;
  uint32_t mode_ = 0;
  bool created_ = false;
  FilePtr file_;
};

}  // namespace sigillo
