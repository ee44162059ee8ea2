// Test driver: runs the macro named on line 1 of a macro file with the
// parameters of line 2 and writes the return code to a result file.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "driver/startup.h"
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

}  // namespace

int main(int argc, char** argv) {
  sigillo::initLibcrypto();
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
  printf("Parametri = <%s> len = %d\n", params, static_cast<int>(length));
  mark(45);
  fflush(stdout);
  uint16_t rc = runMacros(name, params, length);
  mark(47);
  fclose(in);
  FILE* out = fopen(resultFile, "w+");
  if (out == nullptr) {
    printf("Errore nell'apertura del file %s\n", resultFile);
    return 1;
  }
  fprintf(out, "%d\n", rc);
  fclose(out);
  return 0;
}
