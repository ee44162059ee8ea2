// The CODEC commands over libraries, and what they share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "archive/codec_cmdline.h"
#include "archive/codec_format.h"
#include "archive/codec_io.h"
#include "archive/codec_library.h"
#include "framework/secure.h"

namespace sigillo::codec {

// What an operation reports, line by line: on standard output unless quiet,
// and into the -e file when one is named (kept even when the run fails).
class Report {
 public:
  uint16_t open(const CodecCommand& command);
  void line(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  uint16_t close();

 private:
  bool quiet_ = false;
  std::string name_;
  std::string text_;
  bool toFile_ = false;
  bool overwrite_ = false;
};

// Names as they may be printed: control characters become '?'.
std::string printable(const std::string& text);

// Whether a member takes part: `pattern` (fnmatch) on its name, or with -m
// on path/name, and not matched by -y.
bool selected(const Entry& entry, const std::string& pattern, const CodecCommand& command);

bool sameFile(const std::string& a, const std::string& b);
bool exists(const std::string& path);

// Protection of a library about to be written: from the old library (when
// there is one), the library passwords and -pln.  Sets the header's
// protection fields and the library key (empty when unprotected).
uint16_t protectionFor(const Library* old, const CodecCommand& command, LibHeader* header,
                       SecureBytes* libraryKey);

uint16_t runCompress(const CodecCommand& command, Report& report);
uint16_t runExtract(const CodecCommand& command, Report& report);
uint16_t runCheck(const CodecCommand& command, Report& report);
uint16_t runDelete(const CodecCommand& command, Report& report);
uint16_t runDump(const CodecCommand& command, Report& report);
uint16_t runRebuild(const CodecCommand& command, Report& report);
uint16_t runSelfExtract(const CodecCommand& command, Report& report);

// Extraction from an open (and, when protected, unlocked) library: the body
// of -d, shared with the self-extracting run-time.
uint16_t extractFrom(const Library& library, const CodecCommand& command, Report& report);

// Parses and runs one command line; detail entries go to the error stack
// without claiming its code.
uint16_t runCodec(std::string_view text);

// The trailer that marks a sealed run-time and the one that locates the
// library inside a self-extracting program.
constexpr uint8_t kRuntimeMagic[8] = {'S', 'G', 'L', 'S', 'F', 'X', 'R', '1'};
constexpr uint8_t kLocatorMagic[8] = {'S', 'G', 'L', 'S', 'F', 'X', 'L', '1'};
constexpr size_t kTrailerSize = 24;

}  // namespace sigillo::codec
