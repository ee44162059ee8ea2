// Advisory locks on libraries.
#include "archive/codec_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "archive/codec_codes.h"

namespace sigillo::codec {
namespace {

constexpr long kDefaultWaitSeconds = 600;
constexpr long kPollMillis = 20;

long waitSeconds() {
  const char* text = getenv("SIGILLO_LOCK_WAIT");
  if (text == nullptr || *text == '\0') return kDefaultWaitSeconds;
  char* end = nullptr;
  const long value = strtol(text, &end, 10);
  return *end == '\0' && value >= 0 ? value : kDefaultWaitSeconds;
}

double now() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

bool lockBefore(int fd, double deadline) {
  for (;;) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (now() >= deadline) return false;
    const timespec pause{0, kPollMillis * 1000000};
    nanosleep(&pause, nullptr);
  }
}

// Whether the name still leads to the locked file: a writer that held the
// lock before may have renamed a new library over it.
bool stillNamed(int fd, const std::string& library) {
  struct stat locked {
  }, named{};
  return fstat(fd, &locked) == 0 && stat(library.c_str(), &named) == 0 &&
         locked.st_dev == named.st_dev && locked.st_ino == named.st_ino;
}

}  // namespace

uint16_t LibraryLock::acquire(const std::string& library) {
  const double deadline = now() + static_cast<double>(waitSeconds());
  for (;;) {
    bool folder = false;
    Fd fd(::open(library.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd && errno == ENOENT) {
      folder = true;
      fd.reset(::open(folderOf(library).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    // A library that cannot be opened is left for the command to report.
    if (!fd) return 0;
    if (!lockBefore(fd.get(), deadline)) {
      return CERR(kLibOpenWrite, "%s: libreria in uso da un altro processo", library.c_str());
    }
    struct stat st {};
    const bool settled = folder ? lstat(library.c_str(), &st) != 0 && errno == ENOENT
                                : stillNamed(fd.get(), library);
    if (settled) {
      fd_ = std::move(fd);
      removeStaleTemporaries(library, kLibraryTempLead);
      return 0;
    }
  }
}

}  // namespace sigillo::codec
