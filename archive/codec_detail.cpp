// Detail entries of the CODEC compressor and the texts of its codes.
#include <cstdarg>
#include <cstdio>

#include "archive/codec_codes.h"
#include "framework/trace.h"

namespace sigillo::codec {

const char* codeText(uint16_t code) {
  switch (code) {
    case kOk:
      return "OK";
    case kMemberExists:
      return "File gia' presente in libreria";
    case kNotCompressible:
      return "File non comprimibile";
    case kBadMemberPassword:
      return "Password del file non corretta";
    case kBadCrc:
      return "Crc del file non corretto";
    case kTooLong:
      return "Nome o percorso del file troppo lungo";
    case kOutputExists:
      return "File di output esistente";
    case kInternal:
      return "Errore interno del compressore";
    case kSyntax:
      return "Sintassi non corretta";
    case kBadVersion:
      return "Versione codec non corretta";
    case kBadEncoding:
      return "Codifica non corretta";
    case kResultOpen:
      return "Impossibile scrivere il file di resoconto";
    case kNoMemory:
      return "Memoria insufficiente";
    case kPathRecreate:
      return "Impossibile ricreare percorso";
    case kLibOpenRead:
      return "Impossibile aprire libreria in lettura";
    case kLibRead:
      return "Impossibile leggere carattere da libreria";
    case kLibOpenWrite:
      return "Impossibile aprire libreria in scrittura";
    case kLibWrite:
      return "Impossibile scrivere carattere in libreria";
    case kLibClose:
      return "Chiusura libreria non corretta";
    case kLibFull:
      return "Libreria contenente 65534 file compressi";
    case kNotLibrary:
      return "Libreria non codec";
    case kMemberNotFound:
      return "File non presente in libreria";
    case kHeaderCrc:
      return "Crc testata libreria non corretto";
    case kBadLibPassword:
      return "Password libreria non corretta";
    case kLibReplace:
      return "Impossibile sostituire libreria originale";
    case kSameName:
      return "Nomi della libreria e del file uguali";
    case kBadPosition:
      return "Errato posizionamento in libreria";
    case kInOpen:
      return "Impossibile aprire il file da comprimere";
    case kInRead:
      return "Impossibile leggere carattere dal file";
    case kOutOpen:
      return "Impossibile aprire il file da decomprimere";
    case kOutWrite:
      return "Impossibile scrivere carattere sul file";
    case kOutClose:
      return "Chiusura file non corretta";
    case kIndexCrc:
      return "Crc testata file compresso non corretto";
    case kTableRead:
      return "Impossibile leggere tabella di conversione";
    case kRuntimeCrc:
      return "Crc file run-time non corretto";
    case kRuntimeOpen:
      return "Impossibile aprire file di run-time";
    case kRuntimeRead:
      return "Impossibile leggere carattere dal file run-time";
  }
  return "Errore CODEC sconosciuto";
}

uint16_t detail(int line, const char* function, uint16_t code, const char* fmt, ...) {
  char message[kMsgSize];
  va_list args;
  va_start(args, fmt);
  vsnprintf(message, sizeof message, fmt, args);
  va_end(args);
  TRadddetail("codec", line, function, code, codeText(code), message);
  return code;
}

}  // namespace sigillo::codec
