// One temporary file per fuzz process, removed when the process ends.
#pragma once

#include <unistd.h>

#include <cstdlib>

namespace sigillo::fuzz {

inline char* tempFileName() {
  static char name[] = "/tmp/sigillo_fuzzXXXXXX";
  return name;
}

inline const char* tempPath() {
  static const bool made = [] {
    int fd = mkstemp(tempFileName());
    if (fd < 0) abort();
    close(fd);
    atexit([] { unlink(tempFileName()); });
    return true;
  }();
  (void)made;
  return tempFileName();
}

}  // namespace sigillo::fuzz
