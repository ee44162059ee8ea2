// Trace control entry points for batch callers.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "framework/entry.h"
#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "kvtlog";
constexpr uint32_t kMaxPathLen = 255;

uint16_t rememberedMode = 0;

uint16_t setDebugMode(const uint16_t* mode) {
  TRclrerr();
  if (mode == nullptr) return TRERR(1, "mode (1)");
  switch (*mode) {
    case 0:
      TRsetopts(0);
      TRsetlev(0);
      break;
    case 1:
      TRsetopts(0xB2);
      TRsetlev(3);
      break;
    case 2:
      TRsetopts(0xFFFFFFFF);
      TRsetlev(7);
      break;
    default:
      return TRERR(1, "Valore %d non consentito", *mode);
  }
  rememberedMode = *mode;
  return 0;
}

uint16_t getStatus(uint16_t* mode) {
  TRclrerr();
  if (mode == nullptr) return TRERR(1, "mode (1)");
  *mode = rememberedMode;
  return 0;
}

// A log is opened without following a final symbolic link; a name that is
// one is refused now rather than losing every record later.
uint16_t refuseLinkedLog(const char* path) {
  struct stat info {};
  if (lstat(path, &info) != 0 || !S_ISLNK(info.st_mode)) return 0;
  return TRERR(203, SIGILLO_SYSERR_FMT, ELOOP, strerror(ELOOP), path);
}

uint16_t setLogFromBuffer(const char* path, const uint32_t* pathLen) {
  TRclrerr();
  if (path == nullptr) return TRERR(2, "path (1)");
  if (pathLen == nullptr || *pathLen >= kMaxPathLen) return TRERR(5, "pathLen (2)");
  std::string copy(path, strnlen(path, *pathLen));
  if (uint16_t rc = refuseLinkedLog(copy.c_str())) return rc;
  return TRsetlog(copy.c_str());
}

uint16_t setLogPath(const char* path) {
  TRclrerr();
  if (path == nullptr) return TRERR(2, "path (1)");
  if (uint16_t rc = refuseLinkedLog(path)) return rc;
  return TRsetlog(path);
}

}  // namespace
}  // namespace sigillo

using sigillo::runEntry;

uint16_t TRDEBUG(const uint16_t* mode, uint16_t* rc) {
  return runEntry("TRDEBUG", rc, [&] { return sigillo::setDebugMode(mode); });
}
void YTRDEBUG(const uint16_t* mode, uint16_t* rc) { TRDEBUG(mode, rc); }

uint16_t TRSTATUS(uint16_t* mode, uint16_t* rc) {
  return runEntry("TRSTATUS", rc, [&] { return sigillo::getStatus(mode); });
}
void YTRSTATU(uint16_t* mode, uint16_t* rc) { TRSTATUS(mode, rc); }

uint16_t TRLOG(const char* path, const uint32_t* pathLen, uint16_t* rc) {
  return runEntry("TRLOG", rc, [&] { return sigillo::setLogFromBuffer(path, pathLen); });
}
void YTRLOG(const char* path, const uint32_t* pathLen, uint16_t* rc) { TRLOG(path, pathLen, rc); }

uint16_t TRLOGPATH(const char* path, uint16_t* rc) {
  return runEntry("TRLOGPATH", rc, [&] { return sigillo::setLogPath(path); });
}
void YTRLOGP(const char* path, uint16_t* rc) { TRLOGPATH(path, rc); }
