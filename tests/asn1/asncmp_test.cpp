// Tree comparison: every kind of difference with its exact report, the path
// down to it, absent nodes and values kept in files.
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

void clearUseCounts(aobj* node) {
  if (node == nullptr) return;
  node->used = 0;
  for (uint32_t i = 0; i < aobj_childrenCount(node); ++i) clearUseCounts(ASNgetChild(node, i));
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

TEST(AsnCmp, EveryDifferenceInATree) {
  const std::pair<std::function<void(aobj*, aobj*)>, std::string> cases[] = {
      {[](aobj*, aobj*) {}, kSame},
      {[](aobj*, aobj* b) { ASNsetname(b, "other"); },
       report(0, "name: root != other", {" - [0,0]:30/30 CLASSEQ=root / CLASSEQ=other"})},
      {[](aobj*, aobj* b) { at(b, {0})->used = 2; },
       report(1, "used: 0 != 2", {kRoot, " - [1,0]:02/02 CLASVAL=n / CLASVAL=n"})},
      {[](aobj*, aobj* b) { at(b, {0})->tag = kTagEnumerated; },
       report(1, "tag:  2 != 10", {kRoot, " - [1,0]:02/0a CLASVAL=n / CLASVAL=n"})},
      {[](aobj*, aobj* b) { at(b, {0})->kind = CLASSTR; },
       report(1, "type: 1 != 2", {kRoot, " - [1,0]:02/02 CLASVAL=n / CLASSTR=n"})},
      {[](aobj*, aobj* b) { at(b, {0})->length = 0; },
       report(1, "size: 1 != 0", {kRoot, " - [1,0]:02/02 CLASVAL=n / CLASVAL=n"})},
      {[](aobj*, aobj* b) {
         at(b, {1, 0})->value[2] = 'X', at(b, {1, 0})->value[3] = 'Y';
       },
       report(2, "Binary data is different: 2 2",
              {kRoot, kInner, " - [2,0]:04/04 CLASSTR=data / CLASSTR=data"})},
      {[](aobj*, aobj* b) {
         at(b, {1, 1})->u.boolean.octet = 0x01;
       },
       report(2, "Binary data is different: 0 1",
              {kRoot, kInner, " - [2,1]:01/01 CLASBOOL=flag / CLASBOOL=flag"})},
      {[](aobj*, aobj* b) { at(b, {2})->u.oid.content[2] = 4; },
       report(1, "Binary data is different: 2 1",
              {kRoot, " - [1,2]:06/06 CLASOID=cn / CLASOID=cn"})},
      {[](aobj*, aobj* b) { ASNsetname(at(b, {1}), "changed"); },
       report(1, "name: inner != changed",
              {kRoot, " - [1,1]:30/30 CLASSEQ=inner / CLASSEQ=changed"})},
      {[](aobj*, aobj* b) {
         aobj* inner = at(b, {1});
         ASNdel(inner->u.seq.children[1]);
         inner->u.seq.children[1] = nullptr;
         inner->u.seq.count = 1;
       },
       report(2, "B IS NULL PTR", {kRoot, kInner, " - [2,1]:01/-- CLASBOOL=flag / (nil)="})},
      {[](aobj* a, aobj*) {
         ASNdel(a->u.seq.children[2]);
         a->u.seq.children[2] = nullptr;
         a->u.seq.count = 2;
       },
       report(1, "A IS NULL PTR", {kRoot, " - [1,2]:--/06 (nil)= / CLASOID=cn"})},
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
    clearUseCounts(b.get());
  }
  TRclrerr();
  EXPECT_EQ(ANSCMPCTX_printmsg(nullptr, stdout), 304);
  EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, nullptr), 304);
  EXPECT_EQ(test::stackCodes(),
            (std::vector<std::string>{"304:Oggetto nullo (ctx)", "304:Oggetto nullo (stream)"}));
}

TEST(AsnCmp, SinglePrimitives) {
  const uint8_t bits[] = {0xA5, 0xF0}, otherBits[] = {0xA5, 0xE0};
  const std::string bitsDiffer =
      report(0, "Bit String value differnt", {" - [0,0]:03/03 CLASBSTR= / CLASBSTR="});
  auto unknown = [](uint8_t tag) {
    aobj* n = ASNNULL();
    n->kind = 42;
    n->tag = tag;
    return n;
  };
  const std::tuple<aobj*, aobj*, std::string> cases[] = {
      {ASNxBIT(kTagBitString, bits, 2, 4), ASNxBIT(kTagBitString, bits, 2, 3), bitsDiffer},
      {ASNxBIT(kTagBitString, bits, 2, 4), ASNxBIT(kTagBitString, otherBits, 2, 4), bitsDiffer},
      {ASNxBIT(kTagBitString, bits, 2, 4), ASNxBIT(kTagBitString, bits, 2, 4), kSame},
      {ASNxDATE(0, "250101120000Z", 13), ASNxDATE(0, "250101120001Z", 13),
       report(0, "Binary data is different: 11 1", {" - [0,0]:17/17 CLASDATE= / CLASDATE="})},
      {ASNxINT64(kTagInteger, 0x123456), ASNxINT64(kTagInteger, 0x654321),
       report(0, "Binary data is different: 0 3", {" - [0,0]:02/02 CLASVAL= / CLASVAL="})},
      {unknown(kTagNull), unknown(kTagOid),
       report(0, "tag:  5 != 6", {" - [0,0]:05/06 UNKWNOWN= / UNKWNOWN="})},
      {nullptr, ASNNULL(), report(0, "A IS NULL PTR", {" - [0,0]:--/05 (nil)= / CLASNULL="})},
      {ASNNULL(), nullptr, report(0, "B IS NULL PTR", {" - [0,0]:05/-- CLASNULL= / (nil)="})},
      {nullptr, nullptr, kSame},
  };
  for (const auto& [first, second, expected] : cases) {
    AobjPtr a(first), b(second);
    ANSCMPCTX ctx;
    EXPECT_EQ(aobj_compare(a.get(), b.get(), &ctx), expected == kSame ? 0 : 1) << expected;
    EXPECT_EQ(ANSCMPCTX_msg(&ctx), expected);
    EXPECT_EQ(aobj_compare(a.get(), b.get(), nullptr), expected == kSame ? 0 : 1) << expected;
  }
}

TEST(AsnCmp, ValuesKeptInFiles) {
  test::TempDir dir;
  const std::string same1 = dir.file("same1"), same2 = dir.file("same2"), other = dir.file("other");
  test::writeFile(same1, "0123456789");
  test::writeFile(same2, "0123456789");
  test::writeFile(other, "01234X67Z9");
  auto indirect = [](const std::string& path, uint32_t offset, uint32_t length) {
    return AobjPtr(ASNxIND(kTagOctetString, path.c_str(), nullptr, offset, length, 0));
  };
  const std::tuple<AobjPtr, AobjPtr, std::string> cases[] = {
      {indirect(same1, 0, 10), indirect(same2, 0, 10), ""},
      {indirect(same1, 0, 10), indirect(other, 0, 10), "Binary data is different: 5 2"},
      {indirect(same1, 4, 3), indirect(other, 4, 3), "Binary data is different: 1 1"},
      {indirect(same1, 0, 5), indirect(other, 0, 5), ""},
      {indirect(same1, 0, 10), indirect(dir.file("gone"), 0, 10), "Binary data is different: 0 10"},
  };
  for (const auto& [a, b, difference] : cases) {
    ANSCMPCTX ctx;
    EXPECT_EQ(aobj_compare(a.get(), b.get(), &ctx), difference.empty() ? 0 : 1) << difference;
    EXPECT_EQ(ctx.difference, difference);
  }
}

}  // namespace
}  // namespace sigillo
