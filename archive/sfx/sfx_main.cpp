// Run-time of self-extracting libraries: finds the library appended to its
// own program file and extracts every member into the current folder.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "archive/codec_codes.h"
#include "archive/codec_format.h"
#include "archive/codec_ops.h"
#include "framework/tempfiles.h"
#include "framework/trace.h"

namespace {

using namespace sigillo::codec;

void help(const char* program) {
  printf(
      "Uso: %s [-o] [-s] [-pf PASSWORD] [-pl PASSWORD] [-v] [-h]\n"
      "Estrae nella cartella corrente tutti i file della libreria contenuta nel programma.\n"
      "  -o   sovrascrive i file esistenti\n"
      "  -s   nessun messaggio\n"
      "  -pf  password dei file protetti\n"
      "  -pl  password della libreria\n"
      "  -v   elenca i file senza estrarli\n"
      "  -h   questo aiuto\n",
      program);
}

void printErrors(uint16_t code) {
  fprintf(stderr, "Errore %u: %s\n", code, codeText(code));
  for (const sigillo::ErrEntry* e = sigillo::TRgeterrstk(); e != nullptr; e = e->next) {
    fprintf(stderr, " > [%u] %s\n", e->code, e->message);
  }
}

// Locates the library from the trailer at the end of the program file.
uint16_t openSelf(int fd, Library* library) {
  struct stat st {};
  uint8_t locator[kTrailerSize];
  if (fstat(fd, &st) != 0 || static_cast<uint64_t>(st.st_size) < kTrailerSize ||
      preadFull(fd, locator, kTrailerSize, static_cast<uint64_t>(st.st_size) - kTrailerSize) !=
          static_cast<ssize_t>(kTrailerSize) ||
      memcmp(locator, kLocatorMagic, 8) != 0) {
    return CERR(kNotLibrary, "nessuna libreria in questo programma");
  }
  const uint64_t base = get64(locator + 8);
  const uint64_t length = get64(locator + 16);
  const uint64_t end = static_cast<uint64_t>(st.st_size) - kTrailerSize;
  if (base > end || length != end - base) return CERR(kNotLibrary, "posizione della libreria");
  return library->openAt(fd, base, length, "libreria autoestraente");
}

}  // namespace

int main(int argc, char** argv) {
  sigillo::removeTemporariesOnSignals();
  CodecCommand command;
  command.target = ".";
  command.keepPaths = true;
  command.nologo = true;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h") {
      help(argv[0]);
      return 0;
    } else if (arg == "-o") {
      command.overwrite = true;
    } else if (arg == "-s") {
      command.quiet = true;
    } else if (arg == "-v") {
      list = true;
    } else if ((arg == "-pf" || arg == "-pl") && i + 1 < argc) {
      (arg == "-pf" ? command.memberPassword : command.libraryPassword) = argv[++i];
    } else {
      fprintf(stderr, "Opzione '%s' non ammessa\n", arg.c_str());
      help(argv[0]);
      return 2;
    }
  }
  Fd self(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  Library library;
  Report report;
  uint16_t rc = self ? openSelf(self.get(), &library) : CERR(kRuntimeOpen, "/proc/self/exe");
  if (rc == 0) rc = report.open(command);
  if (rc == 0 && list) {
    for (const Entry& e : library.entries()) report.line("%s\n", printable(e.fullName()).c_str());
  } else if (rc == 0) {
    rc = library.unlock(command.libraryPassword);
    if (rc == 0) rc = extractFrom(library, command, report);
  }
  report.close();
  if (rc != 0) printErrors(rc);
  return rc;
}
