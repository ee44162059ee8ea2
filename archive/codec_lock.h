// One writer at a time on a library: the commands that rewrite a library
// hold an advisory lock from the read of the old library to the rename of
// the new one.
#pragma once

#include <string>

#include "archive/codec_io.h"

namespace sigillo::codec {

class LibraryLock {
 public:
  // Locks `library` (the file itself; its folder while there is no library
  // yet), waiting for another writer up to the time SIGILLO_LOCK_WAIT names in
  // seconds (600 when unset).  Then removes the temporaries that killed
  // writers of this library left.  0, or kLibOpenWrite when the wait ran out.
  uint16_t acquire(const std::string& library);

 private:
  Fd fd_;
};

}  // namespace sigillo::codec
