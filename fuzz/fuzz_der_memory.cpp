// libFuzzer target for the DER parser on memory buffers: every input is
// parsed with and without the strict flag.  A failure leaves a consistent
// error record; a success encodes once its lengths are recomputed (a node
// read with an indefinite length keeps four octets more), and a tree read
// without indefinite lengths is a fixed point of parse-after-encode.
// Broken invariants abort.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "asn1/asn.h"
#include "asn1/derpar.h"
#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace {

using namespace sigillo;

void check(bool ok) {
  if (!ok) abort();
}

const uint8_t kNothing = 0;

std::vector<uint8_t> encode(const aobj* tree) {
  uint32_t size = 0;
  uint8_t* der = DERmake(tree, &size);
  check(der != nullptr && size == DERlen(tree));
  std::vector<uint8_t> bytes(der, der + size);
  TRFREE(der);
  return bytes;
}

// True when every constructed node's length is its children's encodings,
// that is when no indefinite length was read.
bool allDefinite(const aobj* node) {
  if (node->kind != CLASSEQ) return true;
  uint64_t sum = 0;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    if (!allDefinite(node->u.seq.children[i])) return false;
    sum += DERlen(node->u.seq.children[i]);
  }
  return sum == node->length;
}

// A universal tag-0 primitive without content encodes as an end-of-contents
// marker, which cannot be read back as a node.
bool hasEmptyTagZero(const aobj* node) {
  if (node->kind != CLASSEQ) return node->tag == 0 && node->length == 0;
  for (uint32_t i = 0; i < node->u.seq.count; ++i) {
    if (hasEmptyTagZero(node->u.seq.children[i])) return true;
  }
  return false;
}

void checkRecord(const DERPARSER& context, const aobj* tree, size_t size) {
  check(context.depth == -1);
  check((tree != nullptr) == (*get_sErroR() == 0));
  check((tree != nullptr) == (context.error.code == 0));
  if (tree != nullptr) {
    check(context.maxDepth >= 0 && context.maxDepth <= kDerMaxDepth);
    return;
  }
  check(context.error.code == *get_sErroR());
  check(context.error.position <= size);
  check(context.error.pathLength >= 0 && context.error.pathLength <= kDerMaxDepth + 2);
  check(context.error.pathLength == 0 || context.error.path[0] == 0);
}

// Encodes `tree`, whose lengths are recomputed first when it was read with
// indefinite lengths.
std::vector<uint8_t> encodeParsed(aobj* tree) {
  if (!allDefinite(tree)) {
    ASNresize(tree);
    check(allDefinite(tree));
  }
  return encode(tree);
}

void checkFixedPoint(aobj* tree) {
  if (!allDefinite(tree)) {
    encodeParsed(tree);
    return;
  }
  const std::vector<uint8_t> der = encode(tree);
  AobjPtr again(DERparse_(der.data(), der.size(), kDerStrict));
  if (again == nullptr) {
    check(hasEmptyTagZero(tree));
    return;
  }
  check(encode(again.get()) == der);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const uint8_t* input = size > 0 ? data : &kNothing;
  std::vector<uint8_t> strictDer;
  bool strictParsed = false;
  for (uint32_t flags : {kDerStrict, 0u}) {
    DERPARSER context;
    DERPARSER_init(&context);
    context.flags = flags;
    AobjPtr tree(DERPARSER_mparse(&context, input, size));
    checkRecord(context, tree.get(), size);
    if (flags == kDerStrict) {
      strictParsed = tree != nullptr;
      if (strictParsed) strictDer = encodeParsed(tree.get());
    } else if (strictParsed) {
      check(tree != nullptr && encodeParsed(tree.get()) == strictDer);
    }
    if (tree != nullptr) checkFixedPoint(tree.get());
    DERPARSER_clean(&context);
  }
  TRclrerr();
  return 0;
}
