// Dumps of every node kind, blocks, indentation and the writers; the report
// of a tree comparison, with the path down to a difference.
#include "asn1/asndump.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "asn1/asncmp.h"
#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

Lines lines(const std::string& text) {
  Lines all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) all.push_back(line);
  return all;
}

// One node of every kind, with names, under one SEQUENCE.
AobjPtr everyKind() {
  const uint8_t twenty[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  const uint8_t bits[] = {0xA5, 0xF0};
  aobj* odd = ASNNULL();
  odd->kind = 42;
  aobj* root = ASNxSEQ(
      CLASSEQ, kTagSequence, kSeqName, "version", kSeqNode, ASNuINT(kTagInteger, u8("\1\2"), 2),
      kSeqName, "neg", kSeqNode, ASNuINT(kTagInteger, u8("\x80"), 1), kSeqName, "big", kSeqNode,
      ASNuINT(kTagInteger, twenty, 20), kSeqName, "yes", kSeqBool, 1, kSeqName, "no", kSeqBool, 0,
      kSeqName, "nothing", kSeqNode, ASNNULL(), kSeqName, "cn", kSeqOid, kOidCommonName, kSeqName,
      "other", kSeqNode, ASNxOID(kTagOid, u8("\x2A\x03\x04"), 3), kSeqName, "when", kSeqUtc,
      "250101120000Z", kSeqName, "greeting", kSeqPrintable, "Hello", kSeqName, "accent", kSeqUtf8,
      "caf\xC3\xA9", kSeqName, "octets", kSeqNode, ASNxSTR(kTagOctetString, u8("\xDE\xAD\xBE"), 3),
      kSeqName, "bits", kSeqNode, ASNxBIT(kTagBitString, bits, 2, 4), kSeqExplicit, 0, kSeqName,
      "inner", kSeqIa5, "x", kSeqName, "file", kSeqNode,
      ASNxIND(kTagOctetString, "/tmp/value.bin", nullptr, 10, 100, 0), kSeqName, "empty", kSeqNode,
      ASNxSTR(kTagOctetString, nullptr, 0), kSeqName, "odd", kSeqNode, odd, kSeqName, "ctl",
      kSeqIa5, "a\tb", kSeqName, "bmp", kSeqNode, ASNxSTR(kTagBmpString, u8("\0A"), 2), kSeqName,
      "impl", kSeqImplicit, 1, kSeqIa5, "x", kSeqEnd);
  ASNsetname(root, "root");
  return AobjPtr(root);
}

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
std::string report(int level, const std::string& difference, const Lines& stack) {
  std::string text = "ASN CMP CTX: \nLevel:      " + std::to_string(level) +
                     "\nDifference: " + difference + "\nStack: \n";
  for (const std::string& line : stack) text += line + "\n";
  return text;
}

const std::string kSame = report(-1, "", {});
const char kRoot[] = " - [0,0]:30/30 CLASSEQ=root / CLASSEQ=root";
const char kInner[] = " - [1,1]:30/30 CLASSEQ=inner / CLASSEQ=inner";

TEST(AsnDump, EveryKindWritersFailuresValuesIndentationAndComparisons) {
  AobjPtr root = everyKind();
  ASSERT_NE(root, nullptr);
  std::string expected;
  for (const std::string& line :
       lines(readFile(std::string(SIGILLO_SOURCE_DIR) + "/tests/data/asn1/every_kind.dump"))) {
    if (line.rfind("#", 0) == 0) continue;
    std::string text = line;
    for (size_t at; (at = text.find("\\t")) != std::string::npos;) text.replace(at, 2, "\t");
    expected += text + "\n";
  }
  TRclrerr();
  const std::string dump = ASNtostr(root.get());
  EXPECT_EQ(dump, expected);
  EXPECT_TRUE(stackCodes().empty());

  EXPECT_EQ(written([&](FILE* s) { EXPECT_EQ(ASNfdump(s, root.get()), 0); }), dump);
  EXPECT_EQ(
      written([&](FILE* s) { EXPECT_EQ(ASNdumpEx(s, root.get()), 0); }),
      "\n-----------------------------------------------------------------------------\n" + dump);
  TempDir dir;
  EXPECT_EQ(ASNdump2path(dir.file("dump.txt").c_str(), root.get()), 0);
  EXPECT_EQ(readFile(dir.file("dump.txt")), dump);

  // Large trees are written in pieces.
  AobjPtr large(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  for (uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(ASNadd(large.get(), ASNxUINT32(kTagInteger, i)), 0);
  const Lines got = lines(written([&](FILE* s) { EXPECT_EQ(ASNfdump(s, large.get()), 0); }));
  ASSERT_EQ(got.size(), 5002u);
  EXPECT_EQ(got[4097], "\t[4096]value 02 (size:2) [4]: 4096 0x00001000");
  EXPECT_EQ(got, lines(ASNtostr(large.get())));
  FILE* full = fopen("/dev/full", "w");
  TRclrerr();
  EXPECT_EQ(ASNdump(nullptr), 304);
  EXPECT_EQ(ASNfdump(nullptr, root.get()), 304);
  EXPECT_EQ(ASNdumpEx(stdout, nullptr), 304);
  EXPECT_EQ(ASNdump2path(nullptr, root.get()), 304);
  EXPECT_EQ(ASNfdump(full, root.get()), 204);
  fclose(full);
  EXPECT_EQ(
      stackLines(),
      (Lines{"asn:ASNdump:304:Oggetto ASN.1 nullo", "asn:ASNfdump:304:Oggetto nullo (stream)",
             "asn:ASNdumpEx:304:Oggetto ASN.1 nullo", "asn:ASNdump2path:304:Oggetto nullo (path)",
             "asn:ASNfdump:204:Scrittura del dump ASN.1 fallita"}));
  TRclrerr();
  EXPECT_EQ(ASNtostr(nullptr), "");
  EXPECT_EQ(TRgeterrstklen(), 1u);
  const std::string path = dir.file("missing/dump.txt");
  TRclrerr();
  EXPECT_NE(ASNdump2path(path.c_str(), root.get()), 0);
  EXPECT_EQ(errorStack().back().function, "ASNdump2path");
  EXPECT_EQ(errorStack().back().code, 301u);
  EXPECT_FALSE(std::filesystem::exists(path));
  AobjPtr octets(ASNxSTR(kTagOctetString, u8("a"), 1));
  std::string text = "unchanged";
  TRclrerr();
  EXPECT_EQ(dualIntDump(octets.get(), &text), 29);
  EXPECT_EQ(text, "unchanged");
  EXPECT_EQ(stackCodes().at(0), "29:TIPO_ERRATO PER questa funzione");
  for (const auto& v : loadVectors("asn1/dump_values.txt")) {
    if (v.group == "dual") {  // integers in decimal and hexadecimal
      AobjPtr node(ASNhex2INT(kTagInteger, v.text("hex").c_str()));
      std::string text;
      EXPECT_EQ(dualIntDump(node.get(), &text), 0);
      EXPECT_EQ(text, v.text("dual"));
      continue;
    }
    if (v.group == "nested") {
      const Bytes der = v.bytes("der");
      AobjPtr tree(DERparse(der.data(), der.size()));
      std::string dump = v.text("dump");
      for (size_t at; (at = dump.find("\\t")) != std::string::npos;) dump.replace(at, 2, "\t");
      EXPECT_EQ(lines(ASNtostr(tree.get())), split(dump));
      continue;
    }
    const Bytes value = v.has("text") ? textBytes(unescape(v.text("text"))) : v.bytes("content");
    const auto size = static_cast<uint32_t>(value.size());
    AobjPtr node(v.group == "integers"
                     ? ASNxVAL(CLASVAL, kTagInteger, value.data(), size)
                     : ASNxSTR(static_cast<uint8_t>(v.number("tag")), value.data(), size));
    EXPECT_EQ(lines(ASNtostr(node.get())), split(v.text("dump"))) << v.where();
  }
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
    EXPECT_EQ(written([&](FILE* s) { EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, s), 0); }), expected);
  }
  TRclrerr();
  EXPECT_EQ(ANSCMPCTX_printmsg(nullptr, stdout), 304);
  EXPECT_EQ(ANSCMPCTX_printmsg(&ctx, nullptr), 304);
  EXPECT_EQ(stackCodes(), (Lines{"304:Oggetto nullo (ctx)", "304:Oggetto nullo (stream)"}));
}

}  // namespace
}  // namespace sigillo
