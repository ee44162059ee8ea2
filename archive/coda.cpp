// CODA macro: option tables, sub-commands, handlers and the CODEC call.
#include "archive/coda.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "archive/codec_ops.h"
#include "framework/entry.h"
#include "framework/guards.h"
#include "framework/secret.h"
#include "framework/strformat.h"
#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "coda";
constexpr int kMaxMode = 9;

#define OPT(name, mandatory, type) \
  { name, mandatory, type, 0, {}, 0 }
#define OPT_END \
  { nullptr, 0, 0, 0, {}, 0 }

WCopt cmpOptions[] = {OPT("lib", 1, kWcText),  OPT("fin", 1, kWcText),    OPT("mode", 0, kWcI16),
                      OPT("nn", 0, kWcText),   OPT("np", 0, kWcText),     OPT("path", 0, kWcFlag),
                      OPT("pf", 0, kWcText),   OPT("pl", 0, kWcText),     OPT("pln", 0, kWcText),
                      OPT("excl", 0, kWcText), OPT("result", 0, kWcText), OPT_END};
WCopt dcpOptions[] = {OPT("lib", 1, kWcText),    OPT("fout", 1, kWcText),
                      OPT("nn", 0, kWcText),     OPT("np", 0, kWcText),
                      OPT("path", 0, kWcFlag),   OPT("nc", 0, kWcFlag),
                      OPT("dcpbin", 0, kWcFlag), OPT("dcptbl", 0, kWcText),
                      OPT("excl", 0, kWcText),   OPT("append", 0, kWcFlag),
                      OPT("result", 0, kWcText), OPT("pf", 0, kWcText),
                      OPT("pl", 0, kWcText),     OPT_END};
WCopt chkOptions[] = {OPT("lib", 1, kWcText),
                      OPT("fcmp", 1, kWcText),
                      OPT("path", 0, kWcFlag),
                      OPT("excl", 0, kWcText),
                      OPT("result", 0, kWcText),
                      OPT("pf", 0, kWcText),
                      OPT_END};
WCopt delOptions[] = {OPT("lib", 1, kWcText),    OPT("fcmp", 1, kWcText),
                      OPT("path", 0, kWcFlag),   OPT("excl", 0, kWcText),
                      OPT("pl", 0, kWcText),     OPT("pln", 0, kWcText),
                      OPT("result", 0, kWcText), OPT_END};
WCopt rebuildOptions[] = {OPT("lib", 1, kWcText), OPT("libout", 1, kWcText),
                          OPT("result", 0, kWcText), OPT_END};
WCopt selfexpOptions[] = {OPT("lib", 1, kWcText), OPT("libexe", 1, kWcText), OPT("frt", 1, kWcText),
                          OPT("result", 0, kWcText), OPT_END};
WCopt dumpOptions[] = {OPT("lib", 1, kWcText),    OPT("fcmp", 1, kWcText),
                       OPT("path", 0, kWcFlag),   OPT("quick", 0, kWcFlag),
                       OPT("sort", 0, kWcFlag),   OPT("excl", 0, kWcText),
                       OPT("result", 0, kWcText), OPT_END};

#undef OPT
#undef OPT_END

const char* str(const WCopt* options, const char* name) {
  const char* value = WCoptstr(options, name);
  return value != nullptr ? value : "";
}

// Handler pattern: options checked, command words, CODEC, frame on failure.
uint16_t runHandler(WCopt* options, int kind, bool selfexp, const char* handler) {
  const HandlerOptions opened(options, nullptr);
  uint16_t rc = opened.code();
  if (rc == 0) {
    CodecText command = codaWords(options, kind, selfexp);
    rc = call_codec(options, &command, kind);
  }
  return rc != 0 ? firstOr(TRLASTERR_AS(handler), rc) : 0;
}

uint16_t coda_cmp(WCopt* options) {
  if (WCoptused(options, "mode")) {
    int mode = WCoptint(options, "mode", 5);
    if (mode < 0 || mode > kMaxMode) return TRERR(216, "Controllare valore di '%s'", "mode");
  }
  return runHandler(options, kKindCmp, false, "coda_cmp");
}
uint16_t coda_dcp(WCopt* options) { return runHandler(options, kKindDcp, false, "coda_dcp"); }
uint16_t coda_del(WCopt* options) { return runHandler(options, kKindDel, false, "coda_del"); }
uint16_t coda_chk(WCopt* options) { return runHandler(options, kKindChk, false, "coda_chk"); }
uint16_t coda_dump(WCopt* options) { return runHandler(options, kKindDump, false, "coda_dump"); }

uint16_t coda_rebuild(WCopt* options) {
  if (uint16_t rc = checkFileSize(str(options, "lib"))) return firstOr(TRLASTERR(), rc);
  return runHandler(options, kKindRebuild, false, "coda_rebuild");
}

uint16_t coda_selfexp(WCopt* options) {
  if (uint16_t rc = checkFileSize(str(options, "lib"))) return firstOr(TRLASTERR(), rc);
  if (uint16_t rc = checkFileSize(str(options, "frt"))) return firstOr(TRLASTERR(), rc);
  return runHandler(options, kKindRebuild, true, "coda_selfexp");
}

const WCcmd kCodaCommands[] = {{"cmp", cmpOptions, coda_cmp},
                               {"dcp", dcpOptions, coda_dcp},
                               {"chk", chkOptions, coda_chk},
                               {"del", delOptions, coda_del},
                               {"rebuild", rebuildOptions, coda_rebuild},
                               {"selfexp", selfexpOptions, coda_selfexp},
                               {"dump", dumpOptions, coda_dump},
                               {nullptr, nullptr, nullptr}};

const char* const kCodaDescriptions[] = {
    "comprime un file (o una cartella con -path) nella libreria",
    "estrae file dalla libreria",
    "verifica i file della libreria",
    "cancella file dalla libreria",
    "ricostruisce una libreria danneggiata in -libout",
    "crea una libreria autoestraente con il run-time -frt",
    "elenca i file della libreria",
};
static_assert(std::size(kCodaDescriptions) + 1 == std::size(kCodaCommands));

void appendPart(CodecText* text, const char* fmt, const char* value) {
  *text += strformat<CodecText>(fmt, value);
}

}  // namespace

const WCcmd* codaCommands() { return kCodaCommands; }
const char* const* codaDescriptions() { return kCodaDescriptions; }

CodecText codaWords(const WCopt* options, int kind, bool selfexp) {
  switch (kind) {
    case kKindCmp:
      return strformat<CodecText>("-c%d \"%s\" \"%s\" %s", WCoptint(options, "mode", 5),
                                  str(options, "lib"), str(options, "fin"),
                                  WCoptflag(options, "attr") ? "-attr " : "");
    case kKindDcp:
      return strformat<CodecText>("-d%c \"%s\" \"%s\" %s", WCoptflag(options, "dcpbin") ? 'b' : ' ',
                                  str(options, "lib"), str(options, "fout"),
                                  WCoptflag(options, "append") ? "-a " : "");
    case kKindDel:
      return strformat<CodecText>("-k \"%s\" \"%s\" ", str(options, "lib"), str(options, "fcmp"));
    case kKindChk:
      return strformat<CodecText>("-x \"%s\" \"%s\" ", str(options, "lib"), str(options, "fcmp"));
    case kKindDump:
      return strformat<CodecText>("-v%c \"%s\" \"%s\" ", WCoptflag(options, "sort") ? 's' : ' ',
                                  str(options, "lib"), str(options, "fcmp"));
    default:
      if (selfexp) {
        return strformat<CodecText>("-e \"%s\" \"%s\" -r \"%s\" ", str(options, "lib"),
                                    str(options, "libexe"), str(options, "frt"));
      }
      return strformat<CodecText>("-r \"%s\" \"%s\" ", str(options, "lib"), str(options, "libout"));
  }
}

CodecText callCodecParts(const WCopt* options) {
  CodecText text = "-nologo ";
  if (WCoptused(options, "nn")) appendPart(&text, "-nn \"%s\" ", str(options, "nn"));
  if (WCoptused(options, "o")) text += "-o ";
  if (WCoptused(options, "s")) text += "-s ";
  if (WCoptused(options, "np")) appendPart(&text, "-np \"%s\" ", str(options, "np"));
  if (WCoptflag(options, "path")) text += "-m ";
  if (WCoptflag(options, "nc")) text += "-nc ";
  if (WCoptflag(options, "quick")) text += "-q ";
  if (WCoptused(options, "xtbl")) appendPart(&text, "-xtbl \"%s\" ", str(options, "xtbl"));
  if (WCoptused(options, "excl")) appendPart(&text, "-y \"%s\" ", str(options, "excl"));
  if (WCoptused(options, "result")) appendPart(&text, "-e \"%s\" ", str(options, "result"));
  if (WCoptused(options, "dcptbl")) appendPart(&text, "-xtbl \"%s\" ", str(options, "dcptbl"));
  if (WCoptused(options, "pf")) appendPart(&text, "-pf \"%s\" ", str(options, "pf"));
  if (WCoptused(options, "pl")) appendPart(&text, "-pl \"%s\" ", str(options, "pl"));
  if (WCoptused(options, "pln")) appendPart(&text, "-pln \"%s\" ", str(options, "pln"));
  return text;
}

uint16_t RemapErr(uint16_t codecCode, int kind) {
  bool mapped = false;
  uint16_t code = remapCode(codecCode, kind, &mapped);
  if (!mapped) TRWARN("Errore CODEC %d non rimappato", codecCode);
  return code;
}

uint16_t call_codec(WCopt* options, CodecText* command, int kind) {
  *command += callCodecParts(options);
  const std::string shown = maskSecretOptions(std::string_view(command->data(), command->size()));
  TRDBG("CALL CODEC('%.*s')", static_cast<int>(shown.size()), shown.c_str());
  uint16_t codecCode = codec::runCodec(std::string_view(command->data(), command->size()));
  if (codecCode == 0) return 0;
  return TRFAIL(RemapErr(codecCode, kind), "Operazione CODEC fallita");
}

// A FIFO or a device is refused: it would block the open or never end.
uint16_t checkFileSize(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return TRFAIL(200, "%s", path);
  struct stat info {};
  if (fstat(fd, &info) != 0 || S_ISFIFO(info.st_mode) || S_ISCHR(info.st_mode) ||
      S_ISBLK(info.st_mode) || S_ISSOCK(info.st_mode)) {
    close(fd);
    return TRFAIL(200, "%s: non e' un file regolare", path);
  }
  FILE* file = fdopen(fd, "rb");
  if (file == nullptr) {
    close(fd);
    return TRFAIL(200, "%s", path);
  }
  uint64_t count = 0;
  int c;
  while ((c = getc_unlocked(file)) != EOF) ++count;
  const bool readError = ferror(file) != 0;
  const bool closeFailed = fclose(file) != 0;
  if (readError) return TRFAIL(201, "%s", path);
  if (count == 0) return TRFAIL(249, "%s", path);
  if (closeFailed) return TRFAIL(202, "%s", path);
  return 0;
}

}  // namespace sigillo

uint16_t CODA(const char* params, const uint32_t* length, uint16_t* rc) {
  return sigillo::runEntry("CODA", rc, [&] {
    return sigillo::macro("CODA", sigillo::codaCommands(), params, length, rc);
  });
}

void YCODA(const char* params, const uint32_t* length, uint16_t* rc) { CODA(params, length, rc); }
