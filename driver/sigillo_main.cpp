// The sigillo command line: `sigillo MACRO sub-command options...`.
#include <strings.h>

#include <cstdio>

#include "archive/coda.h"
#include "asn1/asn1macro.h"
#include "driver/startup.h"
#include "framework/mlib.h"
#include "primitives/hash.h"
#include "sigillo/sigillo.h"

namespace {

struct MacroRow {
  const char* name;
  const char* description;
  sigillo::XMacroDesc desc;
};

const MacroRow kMacros[] = {
    {"ASN1",
     "struttura ASN.1 di file DER e PEM",
     {"sigillo ASN1", "ASN1 - struttura ASN.1 di file DER e PEM", ASN1, sigillo::asn1Commands(),
      sigillo::asn1Descriptions()}},
    {"CODA",
     "librerie compresse di file",
     {"sigillo CODA", "CODA - librerie compresse di file", CODA, sigillo::codaCommands(),
      sigillo::codaDescriptions()}},
    {"HASH",
     "impronte, checksum e MAC di file",
     {"sigillo HASH", "HASH - impronte, checksum e MAC di file", HASH, sigillo::hashCommands(),
      sigillo::hashDescriptions()}},
};

void listMacros() {
  printf("Uso: sigillo <MACRO> <FUNZIONE> [opzioni] (-h)\n");
  printf("Macro disponibili:\n");
  for (const MacroRow& row : kMacros) sigillo::justify("", 2, row.name, 10, row.description);
}

int exitStatus(uint16_t rc) { return rc == 0 ? 0 : (rc < 255 ? rc : 255); }

}  // namespace

int main(int argc, char** argv) {
  sigillo::startProgram();
  if (argc < 2) {
    listMacros();
    return 0;
  }
  for (const MacroRow& row : kMacros) {
    if (strcasecmp(argv[1], row.name) == 0) {
      return exitStatus(sigillo::x_macro(argc - 1, argv + 1, &row.desc));
    }
  }
  fprintf(stderr, "Macro '%s' sconosciuta\n", argv[1]);
  listMacros();
  return 2;
}
