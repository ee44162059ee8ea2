// One temporary file per fuzz process, removed when the process ends.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <cstring>

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

// Files for targets that write some of their own: fresh names in /dev/shm
// (memory, so that writers flushing to disk stay fast; /tmp where there is
// none), removed when the process ends.  `slot` tells them apart.
constexpr int kScratchSlots = 2;

inline const char* scratchPath(int slot) {
  static char names[kScratchSlots][32];
  static const bool made = [] {
    for (auto& name : names) {
      strcpy(name, "/dev/shm/sigillo_fuzzXXXXXX");
      int fd = mkstemp(name);
      if (fd < 0) {
        strcpy(name, "/tmp/sigillo_fuzzXXXXXX");
        fd = mkstemp(name);
      }
      if (fd < 0) abort();
      close(fd);
    }
    atexit([] {
      for (auto& name : names) unlink(name);
    });
    return true;
  }();
  (void)made;
  if (slot < 0 || slot >= kScratchSlots) abort();
  return names[slot];
}

}  // namespace sigillo::fuzz
