// CODEC: the archive compressor's command entry.
#include <string_view>

#include "archive/codec_codes.h"
#include "archive/codec_ops.h"
#include "framework/entry.h"
#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo::codec {
namespace {

uint16_t dispatch(const CodecCommand& c, Report& report) {
  switch (c.command) {
    case Command::kCompress:
      return runCompress(c, report);
    case Command::kExtract:
      return runExtract(c, report);
    case Command::kCheck:
      return runCheck(c, report);
    case Command::kDelete:
      return runDelete(c, report);
    case Command::kDump:
      return runDump(c, report);
    case Command::kRebuild:
      return runRebuild(c, report);
    case Command::kSelfExtract:
      return runSelfExtract(c, report);
  }
  return CERR(kInternal, "comando %d", static_cast<int>(c.command));
}

}  // namespace

uint16_t runCodec(std::string_view text) {
  CodecCommand command;
  if (uint16_t rc = parseCommand(text, &command)) return rc;
  Report report;
  if (uint16_t rc = report.open(command)) return rc;
  uint16_t rc = dispatch(command, report);
  if (rc != 0) report.line("Errore %u: %s\n", rc, codeText(rc));
  uint16_t closed = report.close();
  return rc != 0 ? rc : closed;
}

}  // namespace sigillo::codec

uint16_t CODEC(const char* command, const uint32_t* length, uint16_t* rc) {
  using namespace sigillo;
  return runEntry("CODEC", rc, [&]() -> uint16_t {
    constexpr const char* kModule = "codec";
    TRclrerr();
    if (command == nullptr) return TRERR(2, "command (1)");
    if (length == nullptr) return TRERR(5, "length (2)");
    if (rc == nullptr) return TRERR(2, "rc (3)");
    uint16_t code = codec::runCodec(std::string_view(command, *length));
    // The stack's code is CODEC's own, shown with CODEC's text and the
    // message of the first detail, which names the cause.
    if (code != 0) {
      const ErrEntry* cause = TRgeterrstk();
      while (cause != nullptr && cause->next != nullptr) cause = cause->next;
      TRerrtext(kModule, __LINE__, __func__, code, codec::codeText(code), "%s",
                cause != nullptr ? cause->message : "");
    }
    return code;
  });
}

void YCODEC(const char* command, const uint32_t* length, uint16_t* rc) {
  CODEC(command, length, rc);
}
