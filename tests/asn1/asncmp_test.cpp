// Tree comparison: the exact report of a difference, with the path down to
// it, and of an absent node.
#include "asn1/asncmp.h"

#include <gtest/gtest.h>

#include <functional>

#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

const uint8_t* u8(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

// root { n INTEGER 5, inner { data OCTET STRING "abcd", flag TRUE }, cn OID }
aobj* sample() {
  aobj* inner =
      ASNxSEQ(CLASSEQ, kTagSequence, kSeqName, "data", kSeqNode,
              ASNxSTR(kTagOctetString, u8("abcd"), 4), kSeqName, "flag", kSeqBool, 1, kSeqEnd);
  aobj* root =
      ASNxSEQ(CLASSEQ, kTagSequence, kSeqName, "n", kSeqNode, ASNxINT64(kTagInteger, 5), kSeqName,
              "inner", kSeqNode, inner, kSeqName, "cn", kSeqOid, kOidCommonName, kSeqEnd);
  ASNsetname(root, "root");
  return root;
}

aobj* at(aobj* tree, std::initializer_list<uint8_t> path) {
  return getaobj(tree, path.begin(), static_cast<int>(path.size()));
}

// The report for a difference at `level`; the last stack line is the node.
std::string report(int level, const std::string& difference, std::vector<std::string> stack) {
  std::string text = "ASN CMP CTX: \nLevel:      " + std::to_string(level) +
                     "\nDifference: " + difference + "\nStack: \n";
  for (const std::string& line : stack) text += line + "\n";
  return text;
}

const std::string kSame = report(-1, "", {});
const char kRoot[] = " - [0,0]:30/30 CLASSEQ=root / CLASSEQ=root";
const char kInner[] = " - [1,1]:30/30 CLASSEQ=inner / CLASSEQ=inner";

TEST(AsnCmp, ReportsOfDifferencesInATree) {
  const std::pair<std::function<void(aobj*, aobj*)>, std::string> cases[] = {
      {[](aobj*, aobj*) {}, kSame},
      {[](aobj*, aobj* b) { at(b, {0})->tag = kTagEnumerated; },
       report(1, "tag:  2 != 10", {kRoot, " - [1,0]:02/0a CLASVAL=n / CLASVAL=n"})},
      {[](aobj*, aobj* b) {
         at(b, {1, 0})->value[2] = 'X', at(b, {1, 0})->value[3] = 'Y';
       },
       report(2, "Binary data is different: 2 2",
              {kRoot, kInner, " - [2,0]:04/04 CLASSTR=data / CLASSTR=data"})},
      {[](aobj*, aobj* b) {
         aobj* inner = at(b, {1});
         ASNdel(inner->u.seq.children[1]);
         inner->u.seq.children[1] = nullptr;
         inner->u.seq.count = 1;
       },
       report(2, "B IS NULL PTR", {kRoot, kInner, " - [2,1]:01/-- CLASBOOL=flag / (nil)="})},
  };
  ANSCMPCTX ctx;  // one context for all: every comparison starts from scratch
  for (const auto& [change, expected] : cases) {
    AobjPtr a(sample());
    AobjPtr b(ASNcopy(a.get()));
    change(a.get(), b.get());
    EXPECT_EQ(aobj_compare(a.get(), b.get(), &ctx), expected == kSame ? 0 : 1) << expected;
    EXPECT_EQ(ANSCMPCTX_msg(&ctx), expected);
    FILE* stream = tmpfile();
    EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, stream), 0);
    rewind(stream);
    char buffer[1024] = {};
    EXPECT_EQ(std::string(buffer, fread(buffer, 1, sizeof buffer - 1, stream)), expected);
    fclose(stream);
  }
  TRclrerr();
  EXPECT_EQ(ANSCMPCTX_printmsg(nullptr, stdout), 304);
  EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, nullptr), 304);
  EXPECT_EQ(test::stackCodes(),
            (std::vector<std::string>{"304:Oggetto nullo (ctx)", "304:Oggetto nullo (stream)"}));
}

}  // namespace
}  // namespace sigillo
