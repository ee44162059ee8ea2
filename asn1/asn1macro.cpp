// ASN1 macro: "dump" writes the object dump of a DER or PEM file, "parse"
// only parses it and tells how many nodes and levels it has.
#include "asn1/asn1macro.h"

#include <cstdio>
#include <string>

#include "asn1/asndump.h"
#include "asn1/derload.h"
#include "framework/entry.h"
#include "framework/guards.h"
#include "framework/outfile.h"
#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo {

namespace {

constexpr const char* kModule = "asn1";

WCopt dumpOptions[] = {{"fin", 1, kWcText, 0, {}, 0},
                       {"fdump", 0, kWcText, 0, {}, 0},
                       {"strict", 0, kWcFlag, 0, {}, 0},
                       {nullptr, 0, 0, 0, {}, 0}};
WCopt parseOptions[] = {
    {"fin", 1, kWcText, 0, {}, 0}, {"strict", 0, kWcFlag, 0, {}, 0}, {nullptr, 0, 0, 0, {}, 0}};

// The parser context and the tree of one run.
class ParsedFile {
 public:
  ParsedFile() { DERPARSER_init(&context_); }
  ~ParsedFile() { DERPARSER_clean(&context_); }
  ParsedFile(const ParsedFile&) = delete;
  ParsedFile& operator=(const ParsedFile&) = delete;

  // Parses `fileName`; on failure prints the parser's report.
  uint16_t load(const char* fileName, bool strict, const char* handler) {
    context_.flags = strict ? kDerStrict : 0;
    tree_.reset(DERfLoadAny(&context_, fileName));
    if (tree_) return 0;
    DERPARSER_dumpinfo(&context_, stdout);
    fflush(stdout);
    TRERR_AS(handler, 29, "%s", fileName);
    return 29;
  }
  const aobj* tree() const { return tree_.get(); }
  // Levels of nesting the parser went through (1 for a lone primitive).
  uint32_t levels() const { return static_cast<uint32_t>(context_.maxDepth + 1); }

 private:
  DERPARSER context_;
  AobjPtr tree_;
};

uint16_t writeDump(const aobj* tree, const char* outName) {
  if (outName == nullptr) return ASNdumpEx(stdout, tree) == 0 ? 0 : TRLASTERR_AS("asn1_dump");
  OutputFile out;
  if (out.open(outName, kKindText, 0) != 0) return TRERR_AS("asn1_dump", 203, "%s", outName);
  if (out.start() != 0) return TRERR_AS("asn1_dump", 203, "%s", outName);
  if (ASNdump2handle(out.handle(), tree) != 0) return TRERR_AS("asn1_dump", 204, "%s", outName);
  if (out.commit() != 0) return TRERR_AS("asn1_dump", 205, "%s", outName);
  return 0;
}

// `output` names the option of a file the handler writes: an existing one is
// refused unless -o is given.
template <typename Body>
uint16_t runHandler(WCopt* options, const char* output, Body body) {
  const HandlerOptions opened(options, output);
  return opened.code() != 0 ? opened.code() : body();
}

uint16_t asn1_dump(WCopt* options) {
  return runHandler(options, "fdump", [options] {
    ParsedFile parsed;
    if (uint16_t rc =
            parsed.load(WCoptstr(options, "fin"), WCoptflag(options, "strict"), "asn1_dump")) {
      return rc;
    }
    return writeDump(parsed.tree(), WCoptstr(options, "fdump"));
  });
}

uint16_t asn1_parse(WCopt* options) {
  return runHandler(options, nullptr, [options] {
    ParsedFile parsed;
    if (uint16_t rc =
            parsed.load(WCoptstr(options, "fin"), WCoptflag(options, "strict"), "asn1_parse")) {
      return rc;
    }
    printf("Nodi ASN.1: %u, livelli: %u\n", getAobjCount(parsed.tree()), parsed.levels());
    fflush(stdout);
    return uint16_t{0};
  });
}

const WCcmd kAsn1Commands[] = {{"dump", dumpOptions, asn1_dump},
                               {"parse", parseOptions, asn1_parse},
                               {nullptr, nullptr, nullptr}};

const char* const kAsn1Descriptions[] = {
    "albero ASN.1 di un file DER o PEM (-fin, -fdump, -strict)",
    "solo parsing: numero di nodi e di livelli (-fin, -strict)",
};
static_assert(std::size(kAsn1Descriptions) + 1 == std::size(kAsn1Commands));

}  // namespace

const WCcmd* asn1Commands() { return kAsn1Commands; }
const char* const* asn1Descriptions() { return kAsn1Descriptions; }

}  // namespace sigillo

uint16_t ASN1(const char* params, const uint32_t* length, uint16_t* rc) {
  return sigillo::runEntry("ASN1", rc, [&] {
    return sigillo::macro("ASN1", sigillo::asn1Commands(), params, length, rc);
  });
}

void YASN1(const char* params, const uint32_t* length, uint16_t* rc) { ASN1(params, length, rc); }
