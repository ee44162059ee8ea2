// File layer: operations on file names (rename, remove, temporary files).
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "framework/trace.h"
#include "framework/unifile.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "unifile";
constexpr const char* kTempPattern = "kvtXXXXXX";

}  // namespace

// A memory block has no name on disk to rename or remove.
uint16_t f_rename(const char* from, const char* to) {
  if (from == nullptr) return firstOr(TRERR(2, "from (1)"), 2);
  if (to == nullptr) return firstOr(TRERR(2, "to (2)"), 2);
  for (const char* name : {from, to}) {
    if (isMemoryFileName(name)) {
      return firstOr(TRERR(203, SIGILLO_SYSERR_FMT, EINVAL, strerror(EINVAL), name), 203);
    }
  }
  if (rename(from, to) == 0) return 0;
  int err = errno;
  if (err == ENOENT && !f_exists(from)) {
    return firstOr(TRERR(200, "file '%s' non trovato", from), 200);
  }
  return firstOr(TRERR(203, SIGILLO_SYSERR_FMT, err, strerror(err), to), 203);
}

uint16_t f_remove(const char* name) {
  if (name == nullptr) return firstOr(TRERR(2, "name (1)"), 2);
  if (isMemoryFileName(name)) {
    return firstOr(TRERR(203, SIGILLO_SYSERR_FMT, EINVAL, strerror(EINVAL), name), 203);
  }
  if (unlink(name) == 0) return 0;
  int err = errno;
  if (err == ENOENT) return firstOr(TRERR(200, "file '%s' non trovato", name), 200);
  return firstOr(TRERR(203, SIGILLO_SYSERR_FMT, err, strerror(err), name), 203);
}

// The name is reserved by creating the file exclusively (mode 0600), so no
// other process can be handed the same name; removeTmpFile deletes it.
uint16_t Nmaketemp(const char* dir, char* name, size_t size) {
  if (name == nullptr) return firstOr(TRERR(2, "name (2)"), 2);
  const bool inDir = dir != nullptr && dir[0] != '\0';
  const char* sep = inDir && dir[strlen(dir) - 1] != '/' ? "/" : "";
  int n = snprintf(name, size, "%s%s%s", inDir ? dir : "", sep, kTempPattern);
  if (n < 0 || static_cast<size_t>(n) >= size) {
    if (size > 0) name[0] = '\0';
    return firstOr(TRERR(5, "size (3)"), 5);
  }
  int fd = mkostemp(name, O_CLOEXEC);
  if (fd < 0) {
    name[0] = '\0';
    return firstOr(TRERR(30, "Generazione casuale fallita"), 30);
  }
  close(fd);
  TRDBG("Generato nome file '%s'", name);
  return 0;
}

uint16_t removeTmpFile(const char* name) {
  if (name == nullptr) return firstOr(TRERR(2, "name (1)"), 2);
  if (unlink(name) != 0) return firstOr(TRERR(231, "%s", name), 231);
  return 0;
}

}  // namespace sigillo
