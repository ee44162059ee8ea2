// Test driver: runs the macro named on line 1 of a macro file with the
// parameters of line 2 and writes the return code to a result file.
#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "driver/startup.h"
#include "framework/secret.h"
#include "sigillo/sigillo.h"

namespace {

constexpr int kNameLineSize = 80;
constexpr int kParamLineSize = 700;

void mark(int line) { printf("\nL:%3d ", line); }

uint16_t runMacros(const char* upperName, const char* params, uint32_t length) {
  uint16_t rc = 0;
  if (strstr(upperName, "CODA") != nullptr) CODA(params, &length, &rc);
  if (strstr(upperName, "HASH") != nullptr) {
    HASH(params, &length, &rc);
    printf("Chiamata la routine HASH");
  }
  return rc;
}

// The result file is written over in place and then cut to its new length
// instead of being emptied when opened: a batch job reuses one result file for
// every record, and on ext4 emptying a file whose last content is not yet on
// disk waits for that content to be written out, milliseconds every run.
FILE* openResultFile(const char* path) {
  int fd = open(path, O_RDWR | O_CREAT, 0666);
  if (fd < 0) return nullptr;
  FILE* out = fdopen(fd, "w");
  if (out == nullptr) close(fd);
  return out;
}

void closeResultFile(FILE* out) {
  fflush(out);
  long length = ftell(out);
  if (length >= 0 && ftruncate(fileno(out), length) != 0) {
    // A pipe or a device: nothing to cut.
  }
  fclose(out);
}

}  // namespace

int main(int argc, char** argv) {
  sigillo::startProgram();
  printf("\nUSO: macro");
  const char* macroFile = argc > 1 ? argv[1] : "";
  const char* resultFile = argc > 2 ? argv[2] : "";
  FILE* in = fopen(macroFile, "r");
  if (in == nullptr) {
    printf("Errore nell'apertura del file %s\n", macroFile);
    return 1;
  }
  mark(33);
  char name[kNameLineSize + 1] = {};
  if (fgets(name, sizeof name, in) == nullptr) name[0] = '\0';
  printf("Macro letta dal file = <%s> len = %d\n", name, static_cast<int>(strlen(name)));
  size_t nameLength = strlen(name);
  for (size_t i = 0; i + 1 < nameLength; ++i) {
    name[i] = static_cast<char>(toupper(static_cast<unsigned char>(name[i])));
  }
  printf("Macro Maiuscola = <%s> len = %d\n", name, static_cast<int>(nameLength));
  mark(40);
  char params[kParamLineSize + 1] = {};
  if (fgets(params, sizeof params, in) == nullptr) params[0] = '\0';
  uint32_t length = static_cast<uint32_t>(strlen(params));
  printf("Parametri = <%s> len = %d\n", sigillo::maskSecretOptions(params).c_str(),
         static_cast<int>(length));
  mark(45);
  fflush(stdout);
  uint16_t rc = runMacros(name, params, length);
  mark(47);
  fclose(in);
  FILE* out = openResultFile(resultFile);
  if (out == nullptr) {
    printf("Errore nell'apertura del file %s\n", resultFile);
    return 1;
  }
  fprintf(out, "%d\n", rc);
  closeResultFile(out);
  return 0;
}
