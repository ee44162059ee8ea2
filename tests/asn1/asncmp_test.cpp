// Tree comparison: every kind of difference with its exact report, the path
// down to it, absent nodes and values kept in files.
#include "asn1/asncmp.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::TempDir;

const uint8_t* u8(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

// root { n INTEGER 5, inner { data OCTET STRING "abcd", flag TRUE }, cn OID }
AobjPtr sample() {
  aobj* inner = ASNxSEQ(CLASSEQ, kTagSequence,                                                //
                        kSeqName, "data", kSeqNode, ASNxSTR(kTagOctetString, u8("abcd"), 4),  //
                        kSeqName, "flag", kSeqBool, 1,                                        //
                        kSeqEnd);
  aobj* root = ASNxSEQ(CLASSEQ, kTagSequence,                               //
                       kSeqName, "n", kSeqNode, ASNxINT64(kTagInteger, 5),  //
                       kSeqName, "inner", kSeqNode, inner,                  //
                       kSeqName, "cn", kSeqOid, kOidCommonName,             //
                       kSeqEnd);
  ASNsetname(root, "root");
  return AobjPtr(root);
}

aobj* at(aobj* tree, std::initializer_list<uint8_t> path) {
  return getaobj(tree, path.begin(), static_cast<int>(path.size()));
}

void clearUseCounts(aobj* node) {
  if (node == nullptr) return;
  node->used = 0;
  for (uint32_t i = 0; i < aobj_childrenCount(node); ++i) clearUseCounts(ASNgetChild(node, i));
}

std::string report(int level, const std::string& difference,
                   std::initializer_list<const char*> stack) {
  std::string text = "ASN CMP CTX: \nLevel:      " + std::to_string(level) +
                     "\nDifference: " + difference + "\nStack: \n";
  for (const char* line : stack) text += std::string(line) + "\n";
  return text;
}

const char kRootLine[] = " - [0,0]:30/30 CLASSEQ=root / CLASSEQ=root";
const char kInnerLine[] = " - [1,1]:30/30 CLASSEQ=inner / CLASSEQ=inner";

TEST(AsnCmp, EveryDifferenceInATree) {
  struct Case {
    const char* what;
    std::function<void(aobj*)> change;  // applied to a copy of the sample
    std::string report;
  };
  const Case cases[] = {
      {"nothing", [](aobj*) {}, report(-1, "", {})},
      {"root name", [](aobj* b) { ASNsetname(b, "other"); },
       report(0, "name: root != other", {" - [0,0]:30/30 CLASSEQ=root / CLASSEQ=other"})},
      {"use count", [](aobj* b) { at(b, {0})->used = 2; },
       report(1, "used: 0 != 2", {kRootLine, " - [1,0]:02/02 CLASVAL=n / CLASVAL=n"})},
      {"identifier", [](aobj* b) { at(b, {0})->tag = kTagEnumerated; },
       report(1, "tag:  2 != 10", {kRootLine, " - [1,0]:02/0a CLASVAL=n / CLASVAL=n"})},
      {"kind", [](aobj* b) { at(b, {0})->kind = CLASSTR; },
       report(1, "type: 1 != 2", {kRootLine, " - [1,0]:02/02 CLASVAL=n / CLASSTR=n"})},
      {"content length", [](aobj* b) { at(b, {0})->length = 0; },
       report(1, "size: 1 != 0", {kRootLine, " - [1,0]:02/02 CLASVAL=n / CLASVAL=n"})},
      {"octets",
       [](aobj* b) {
         at(b, {1, 0})->value[2] = 'X';
         at(b, {1, 0})->value[3] = 'Y';
       },
       report(2, "Binary data is different: 2 2",
              {kRootLine, kInnerLine, " - [2,0]:04/04 CLASSTR=data / CLASSTR=data"})},
      {"boolean",
       [](aobj* b) {
         at(b, {1, 1})->u.boolean.octet = 0x01;
       },
       report(2, "Binary data is different: 0 1",
              {kRootLine, kInnerLine, " - [2,1]:01/01 CLASBOOL=flag / CLASBOOL=flag"})},
      {"object identifier", [](aobj* b) { at(b, {2})->u.oid.content[2] = 4; },
       report(1, "Binary data is different: 2 1",
              {kRootLine, " - [1,2]:06/06 CLASOID=cn / CLASOID=cn"})},
      {"name deep down",
       [](aobj* b) {
         ASNsetname(at(b, {1, 1}), "FLAG");
       },
       report(2, "name: flag != FLAG",
              {kRootLine, kInnerLine, " - [2,1]:01/01 CLASBOOL=flag / CLASBOOL=FLAG"})},
      {"child missing in B",
       [](aobj* b) {
         aobj* inner = at(b, {1});
         ASNdel(inner->u.seq.children[1]);
         inner->u.seq.children[1] = nullptr;
         inner->u.seq.count = 1;
       },
       report(2, "B IS NULL PTR",
              {kRootLine, kInnerLine, " - [2,1]:01/-- CLASBOOL=flag / (nil)="})},
  };
  for (const Case& c : cases) {
    AobjPtr a = sample();
    AobjPtr b(ASNcopy(a.get()));
    ASSERT_NE(b, nullptr);
    c.change(b.get());
    ANSCMPCTX ctx;
    EXPECT_EQ(aobj_compare(a.get(), b.get(), &ctx), c.report == report(-1, "", {}) ? 0 : 1)
        << c.what;
    EXPECT_EQ(ANSCMPCTX_msg(&ctx), c.report) << c.what;
    clearUseCounts(b.get());
  }
}

TEST(AsnCmp, ChildMissingInA) {
  AobjPtr a = sample();
  AobjPtr b(ASNcopy(a.get()));
  aobj* root = a.get();
  ASNdel(root->u.seq.children[2]);
  root->u.seq.children[2] = nullptr;
  root->u.seq.count = 2;
  ANSCMPCTX ctx;
  EXPECT_EQ(aobj_compare(a.get(), b.get(), &ctx), 1);
  EXPECT_EQ(ANSCMPCTX_msg(&ctx),
            report(1, "A IS NULL PTR", {kRootLine, " - [1,2]:--/06 (nil)= / CLASOID=cn"}));
}

TEST(AsnCmp, SinglePrimitives) {
  const uint8_t bits[] = {0xA5, 0xF0};
  const uint8_t otherBits[] = {0xA5, 0xE0};
  struct Case {
    const char* what;
    std::function<aobj*()> a;
    std::function<aobj*()> b;
    int result;
    std::string report;
  };
  const Case cases[] = {
      {"unused bits", [&] { return ASNxBIT(kTagBitString, bits, 2, 4); },
       [&] { return ASNxBIT(kTagBitString, bits, 2, 3); }, 1,
       report(0, "Bit String value differnt", {" - [0,0]:03/03 CLASBSTR= / CLASBSTR="})},
      {"bit data", [&] { return ASNxBIT(kTagBitString, bits, 2, 4); },
       [&] { return ASNxBIT(kTagBitString, otherBits, 2, 4); }, 1,
       report(0, "Bit String value differnt", {" - [0,0]:03/03 CLASBSTR= / CLASBSTR="})},
      {"same bits", [&] { return ASNxBIT(kTagBitString, bits, 2, 4); },
       [&] { return ASNxBIT(kTagBitString, bits, 2, 4); }, 0, report(-1, "", {})},
      {"times", [] { return ASNxDATE(0, "250101120000Z", 13); },
       [] { return ASNxDATE(0, "250101120001Z", 13); }, 1,
       report(0, "Binary data is different: 11 1", {" - [0,0]:17/17 CLASDATE= / CLASDATE="})},
      {"integers", [] { return ASNxINT64(kTagInteger, 0x123456); },
       [] { return ASNxINT64(kTagInteger, 0x654321); }, 1,
       report(0, "Binary data is different: 0 3", {" - [0,0]:02/02 CLASVAL= / CLASVAL="})},
      {"nulls", [] { return ASNNULL(); }, [] { return ASNNULL(); }, 0, report(-1, "", {})},
      {"unknown kinds",
       [] {
         aobj* n = ASNNULL();
         n->kind = 42;
         return n;
       },
       [] {
         aobj* n = ASNNULL();
         n->kind = 42;
         n->tag = kTagOid;
         return n;
       },
       1, report(0, "tag:  5 != 6", {" - [0,0]:05/06 UNKWNOWN= / UNKWNOWN="})},
      {"A absent", [] { return nullptr; }, [] { return ASNNULL(); }, 1,
       report(0, "A IS NULL PTR", {" - [0,0]:--/05 (nil)= / CLASNULL="})},
      {"B absent", [] { return ASNNULL(); }, [] { return nullptr; }, 1,
       report(0, "B IS NULL PTR", {" - [0,0]:05/-- CLASNULL= / (nil)="})},
      {"both absent", [] { return nullptr; }, [] { return nullptr; }, 0, report(-1, "", {})},
  };
  for (const Case& c : cases) {
    AobjPtr a(c.a());
    AobjPtr b(c.b());
    ANSCMPCTX ctx;
    EXPECT_EQ(aobj_compare(a.get(), b.get(), &ctx), c.result) << c.what;
    EXPECT_EQ(ANSCMPCTX_msg(&ctx), c.report) << c.what;
    EXPECT_EQ(aobj_compare(a.get(), b.get(), nullptr), c.result) << c.what;
  }
}

TEST(AsnCmp, ValuesKeptInFiles) {
  TempDir dir;
  const std::string same1 = dir.file("same1"), same2 = dir.file("same2"), other = dir.file("other");
  test::writeFile(same1, "0123456789");
  test::writeFile(same2, "0123456789");
  test::writeFile(other, "01234X67Z9");
  auto indirect = [](const std::string& path, uint32_t offset, uint32_t length) {
    return AobjPtr(ASNxIND(kTagOctetString, path.c_str(), nullptr, offset, length, 0));
  };
  struct Case {
    const char* what;
    AobjPtr a, b;
    int result;
    std::string difference;
  };
  Case cases[] = {
      {"same content", indirect(same1, 0, 10), indirect(same2, 0, 10), 0, ""},
      {"two octets differ", indirect(same1, 0, 10), indirect(other, 0, 10), 1,
       "Binary data is different: 5 2"},
      {"from an offset", indirect(same1, 4, 3), indirect(other, 4, 3), 1,
       "Binary data is different: 1 1"},
      {"same range", indirect(same1, 0, 5), indirect(other, 0, 5), 0, ""},
      {"file gone", indirect(same1, 0, 10), indirect(dir.file("gone"), 0, 10), 1,
       "Binary data is different: 0 10"},
  };
  for (Case& c : cases) {
    TRclrerr();
    ANSCMPCTX ctx;
    EXPECT_EQ(aobj_compare(c.a.get(), c.b.get(), &ctx), c.result) << c.what;
    EXPECT_EQ(ctx.difference, c.difference) << c.what;
  }
}

TEST(AsnCmp, ContextIsResetAndPrinted) {
  AobjPtr a = sample();
  AobjPtr b(ASNcopy(a.get()));
  ASNsetname(at(b.get(), {1}), "changed");
  ANSCMPCTX ctx;
  ASSERT_EQ(aobj_compare(a.get(), b.get(), &ctx), 1);
  const std::string expected = report(
      1, "name: inner != changed", {kRootLine, " - [1,1]:30/30 CLASSEQ=inner / CLASSEQ=changed"});
  EXPECT_EQ(ANSCMPCTX_msg(&ctx), expected);

  FILE* stream = tmpfile();
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, stream), 0);
  rewind(stream);
  char buffer[1024] = {};
  const size_t n = fread(buffer, 1, sizeof buffer - 1, stream);
  fclose(stream);
  EXPECT_EQ(std::string(buffer, n), expected);

  // The same context compares again from scratch.
  EXPECT_EQ(aobj_compare(a.get(), a.get(), &ctx), 0);
  EXPECT_EQ(ANSCMPCTX_msg(&ctx), report(-1, "", {}));

  TRclrerr();
  EXPECT_EQ(ANSCMPCTX_printmsg(nullptr, stdout), 304);
  EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, nullptr), 304);
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), 2u);
  EXPECT_EQ(stack[0].message, "Oggetto nullo (ctx)");
  EXPECT_EQ(stack[1].message, "Oggetto nullo (stream)");
}

}  // namespace
}  // namespace sigillo
