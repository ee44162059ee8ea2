// libFuzzer target for the DER parser on files: every input is parsed from a
// disk file, from a file-layer memory block and from a plain buffer, with
// and without the strict flag.  The three must agree on success, on the
// error record (code, position, path, deepest depth) and on the encoding of
// the tree, its lengths recomputed.  Broken invariants abort.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn.h"
#include "asn1/derpar.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "fuzz/fuzz_tempfile.h"

namespace {

using namespace sigillo;

void check(bool ok) {
  if (!ok) abort();
}

using sigillo::fuzz::tempPath;

struct Outcome {
  bool parsed = false;
  std::vector<uint8_t> der;
  uint16_t code = 0;
  uint64_t position = 0;
  std::vector<int32_t> path;
  int32_t maxDepth = 0;

  bool operator==(const Outcome&) const = default;
};

Outcome outcomeOf(const DERPARSER& context, aobj* tree) {
  Outcome o;
  o.parsed = tree != nullptr;
  check(o.parsed == (*get_sErroR() == 0));
  if (tree != nullptr) {
    // Nodes read with an indefinite length keep four octets more.
    ASNresize(tree);
    uint32_t size = 0;
    uint8_t* der = DERmake(tree, &size);
    check(der != nullptr);
    o.der.assign(der, der + size);
    TRFREE(der);
  }
  o.code = context.error.code;
  o.position = context.error.position;
  o.path.assign(context.error.path, context.error.path + context.error.pathLength);
  o.maxDepth = context.maxDepth;
  return o;
}

Outcome parseFile(const char* name, uint32_t offset, uint32_t flags) {
  DERPARSER context;
  DERPARSER_init(&context);
  context.flags = flags;
  AobjPtr tree(DERPARSER_fparse(&context, name, offset));
  check(context.file == nullptr);
  Outcome o = outcomeOf(context, tree.get());
  DERPARSER_clean(&context);
  return o;
}

Outcome parseBuffer(const uint8_t* data, size_t size, uint32_t flags) {
  static const uint8_t nothing = 0;
  DERPARSER context;
  DERPARSER_init(&context);
  context.flags = flags;
  AobjPtr tree(DERPARSER_mparse(&context, size > 0 ? data : &nothing, size));
  Outcome o = outcomeOf(context, tree.get());
  DERPARSER_clean(&context);
  return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > UINT32_MAX - 8) return 0;
  FILE* out = fopen(tempPath(), "wb");
  if (out == nullptr) abort();
  // Two bytes in front: file positions count from the start of the file.
  fputs("\x5A\x5A", out);
  if (size > 0) fwrite(data, 1, size, out);
  fclose(out);

  std::vector<uint8_t> block(4 + size);
  for (int i = 0; i < 4; ++i) block[i] = static_cast<uint8_t>(size >> (8 * i));
  if (size > 0) memcpy(block.data() + 4, data, size);
  char blockName[40];
  snprintf(blockName, sizeof blockName, "0x%llx",
           static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(block.data())));

  for (uint32_t flags : {0u, kDerStrict}) {
    Outcome fromBuffer = parseBuffer(data, size, flags);
    Outcome fromBlock = parseFile(blockName, 0, flags);
    check(fromBlock == fromBuffer);
    Outcome fromFile = parseFile(tempPath(), 2, flags);
    if (!fromFile.parsed) fromFile.position -= 2;
    check(fromFile == fromBuffer);
  }
  TRclrerr();
  return 0;
}
