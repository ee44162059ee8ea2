// The ASN.1 tree: navigation, the read cursor, indirect nodes over files,
// file writers, equality and indefinite-length segments.
#include <gtest/gtest.h>

#include <string>

#include "asn1/asn.h"
#include "framework/kvtmem.h"
#include "tests/asn1/asn_test_util.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::der;
using test::errorStack;
using test::readFile;
using test::TempDir;
using test::toHex;
using test::writeFile;

// SEQUENCE { SET { INTEGER 1, NULL }, [0] { OID cn }, SEQUENCE { OID sha256, NULL } }
AobjPtr sampleTree() {
  return AobjPtr(ASNxSEQ(
      CLASSEQ, kTagSequence,  //
      kSeqName, "set", kSeqCall,
      ASNxSEQ(CLASSEQ, kTagSet, kSeqUint, 1u, kSeqName, "null", kSeqNode, ASNNULL(), kSeqEnd),
      kSeqExplicit, 0, kSeqOid, 170,  //
      kSeqCall, ASNxSEQ(CLASSEQ, kTagSequence, kSeqOid, 224, kSeqNode, ASNNULL(), kSeqEnd),
      kSeqEnd));
}

TEST(AsnNav, ChildrenByIndexAndCounts) {
  AobjPtr tree = sampleTree();
  const uint8_t path[] = {0, 1};
  EXPECT_EQ(getaobj(tree.get(), path, 2), ASNget(tree.get(), "null"));
  const uint8_t pastEnd[] = {3};
  EXPECT_EQ(getaobj(tree.get(), pastEnd, 1), nullptr);
  const uint8_t throughPrimitive[] = {0, 0, 0};
  EXPECT_EQ(getaobj(tree.get(), throughPrimitive, 3), nullptr);
  EXPECT_EQ(getaobj(tree.get(), nullptr, 0), tree.get());
  EXPECT_EQ(aobj_childrenCount(tree.get()), 3u);
  EXPECT_EQ(aobj_children(tree.get())[3], nullptr);
  EXPECT_EQ(aobj_children(ASNgetChild(ASNgetChild(tree.get(), 0), 0)), nullptr);
  EXPECT_EQ(getAobjCount(tree.get()), 9u);
  EXPECT_EQ(getAobjDepth(tree.get()), 3u);
  EXPECT_EQ(ASNgetN(tree.get(), 0), tree.get());
  EXPECT_EQ(ASNgetN(tree.get(), 3), ASNget(tree.get(), "null"));
  EXPECT_EQ(ASNgetN(tree.get(), 8)->tag, kTagNull);
  EXPECT_EQ(ASNgetN(tree.get(), 9), nullptr);
}

TEST(AsnNav, SearchByNameChecksDirectChildrenBeforeGoingDeeper) {
  AobjPtr tree(ASNxSEQ(CLASSEQ, kTagSequence,  //
                       kSeqCall,
                       ASNxSEQ(CLASSEQ, kTagSequence, kSeqName, "x", kSeqUint, 1u, kSeqEnd),
                       kSeqName, "x", kSeqUint, 2u, kSeqEnd));
  aobj* found = ASNget(tree.get(), "x");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->value[0], 2);
  EXPECT_EQ(ASNget(tree.get(), "y"), nullptr);
  ASNsetname(tree.get(), "x");
  EXPECT_EQ(ASNget(tree.get(), "x"), tree.get());

  aobj** slot = reinterpret_cast<aobj**>(1);
  ASNclrname(tree.get());
  EXPECT_EQ(ASNgetIndirect(tree.get(), "x", &slot), found);
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(*slot, found);
  *slot = ASNxBOOL(0);  // replace in place
  ASNdel(found);
  ASNresize(tree.get());
  EXPECT_EQ(der(tree.get()),
            "300830030201010101"
            "00");
  EXPECT_EQ(ASNgetIndirect(tree.get(), "zz", &slot), nullptr);
  EXPECT_EQ(slot, nullptr);
}

TEST(AsnNav, ByOidAndExplicitTags) {
  AobjPtr tree = sampleTree();
  aobj* sha = ASNgetbyOID(tree.get(), 224);
  ASSERT_NE(sha, nullptr);
  EXPECT_EQ(sha, ASNgetChild(ASNgetChild(tree.get(), 2), 0));
  EXPECT_EQ(ASNgetbyOID(tree.get(), 55), nullptr);
  EXPECT_EQ(ASNgetbyOID(ASNget(tree.get(), "null"), 224), nullptr);
  aobj* tagged = ASNgetChild(tree.get(), 1);
  EXPECT_EQ(devExpl(tagged)->u.oid.number, 170);
  EXPECT_EQ(devExpl(tree.get()), nullptr);
  EXPECT_TRUE(isExpl(tagged, 0));
  EXPECT_TRUE(isExpl(tagged, -1));
  EXPECT_FALSE(isExpl(tagged, 1));
  EXPECT_TRUE(isAlgId(ASNgetChild(tree.get(), 2)));
  EXPECT_FALSE(isAlgId(tree.get()));
}

TEST(AsnNav, NodeTests) {
  const uint8_t iv[8] = {};
  AobjPtr tree(ASNxSEQ(CLASSEQ, kTagSequence,                                    //
                       kSeqUint, 1u, kSeqNode, ASNxSTR(kTagOctetString, iv, 8),  //
                       kSeqImplicit, 3, kSeqIa5, "a",                            //
                       kSeqNode, ASNxSTR(kTagBmpString, iv, 2), kSeqUtf8, "u",   //
                       kSeqNode, ASNxVAL(CLASVAL, kTagEnumerated, iv, 1), kSeqEnd));
  struct Case {
    bool (*test)(const aobj*);
    int yes;  // index of the one child that passes, -1 none
  };
  const Case cases[] = {{isInt, 0},  {isOct, 1},   {isIA5, -1}, {isBMP, 3}, {isUTF8, 4},
                        {isEnum, 5}, {isNULL, -1}, {isSeq, -1}, {isSet, -1}};
  for (const Case& c : cases) {
    for (uint32_t i = 0; i < aobj_childrenCount(tree.get()); ++i) {
      EXPECT_EQ(c.test(ASNgetChild(tree.get(), i)), static_cast<int>(i) == c.yes) << i;
    }
    EXPECT_FALSE(c.test(nullptr));
  }
  EXPECT_TRUE(isImpl(ASNgetChild(tree.get(), 2), 3));
  EXPECT_TRUE(isTag(ASNgetChild(tree.get(), 2), 0x83));
  AobjPtr rc2(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 58u, kSeqNode,
                      ASNxSTR(kTagOctetString, iv, 8), kSeqEnd));
  EXPECT_TRUE(isRC2CBC(rc2.get()));
  EXPECT_FALSE(isPBESeq(rc2.get()));
  AobjPtr pbe(ASNxSEQ(CLASSEQ, kTagSequence, kSeqNode, ASNxSTR(kTagOctetString, iv, 8), kSeqUint,
                      2048u, kSeqEnd));
  EXPECT_TRUE(isPBESeq(pbe.get()));
  EXPECT_FALSE(isRC2CBC(pbe.get()));
  AobjPtr ints(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 1u, kSeqUint, 2u, kSeqEnd));
  EXPECT_TRUE(isIntSeq(ints.get()));
  EXPECT_FALSE(isIntSeq(tree.get()));
  EXPECT_TRUE(isPrintableStringEx("Aa0 '()+,-./:=?", 15));
  EXPECT_FALSE(isPrintableStringEx("a@b", 3));
  EXPECT_FALSE(isPrintableStringEx("a*b", 3));
  EXPECT_TRUE(isIA5Ch(0x7F));
  EXPECT_FALSE(isIA5Ch(0x80));
}

TEST(AsnTrack, PiecewiseRetrieveEqualsTheEncoding) {
  AobjPtr tree = sampleTree();
  const std::string whole = der(tree.get());
  for (uint32_t step : {1u, 2u, 3u, 7u, 64u}) {
    track* cursor = new_track(tree.get(), 1);
    ASSERT_NE(cursor, nullptr);
    std::string streamed;
    uint8_t buffer[64];
    while (trk_eof(cursor) == 0) {
      uint32_t got = retrieve(cursor, buffer, step);
      ASSERT_GT(got, 0u);
      streamed += toHex(buffer, got);
    }
    EXPECT_EQ(streamed, whole) << step;
    free_track(cursor);
  }
  // Without wrap a cursor gives the content only; a bit string starts with
  // its unused-bit count.
  const uint8_t bits[] = {0xAB, 0xCD};
  AobjPtr bitString(ASNxBIT(kTagBitString, bits, 2, 3));
  track* cursor = new_track(bitString.get(), 0);
  uint8_t out[8] = {};
  EXPECT_EQ(retrieve(cursor, out, sizeof out), 3u);
  EXPECT_EQ(toHex(out, 3), "03ABCD");
  EXPECT_EQ(trk_eof(cursor), 1);
  free_track(cursor);
}

TEST(AsnIndirect, ValueStreamsFromItsFile) {
  TempDir dir;
  const std::string path = dir.file("value.bin");
  std::string content(200000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
  writeFile(path, "HEAD" + content + "TAIL");
  AobjPtr indirect(ASNxIND(kTagOctetString, path.c_str(), nullptr, 4, 200000, 0));
  ASSERT_NE(indirect, nullptr);
  AobjPtr wrapped(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, indirect.get(), kSeqEnd));
  AobjPtr inMemory(ASNxSEQ(
      CLASSEQ, kTagSequence, kSeqNode,
      ASNxSTR(kTagOctetString, reinterpret_cast<const uint8_t*>(content.data()), 200000), kSeqEnd));
  EXPECT_EQ(der(wrapped.get()), der(inMemory.get()));
  EXPECT_EQ(ASNisEqual(wrapped.get(), inMemory.get()), 1);

  const std::string saved = dir.file("saved.der");
  ASSERT_EQ(DERfSave(saved.c_str(), wrapped.get()), 0);
  EXPECT_EQ(toHex(test::textBytes(readFile(saved))), der(inMemory.get()));
  const std::string data = dir.file("data.bin");
  ASSERT_EQ(DERfSaveData(data.c_str(), indirect.get()), 0);
  EXPECT_EQ(readFile(data), content);

  AobjPtr copy(ASNcopy(wrapped.get()));
  EXPECT_EQ(ASNisEqual(copy.get(), inMemory.get()), 1);
}

TEST(AsnIndirect, VanishedFileFailsInRetrieve) {
  TempDir dir;
  const std::string path = dir.file("gone.bin");
  writeFile(path, "0123456789");
  AobjPtr node(ASNxIND(kTagOctetString, path.c_str(), nullptr, 0, 10, 0));
  std::remove(path.c_str());
  TRclrerr();
  uint32_t size = 7;
  EXPECT_EQ(DERmake(node.get(), &size), nullptr);
  EXPECT_EQ(size, 7u);
  auto stack = errorStack();
  ASSERT_GE(stack.size(), 2u);
  bool namesRetrieve = false;
  for (const auto& entry : stack) namesRetrieve |= entry.function == "retrieve";
  EXPECT_TRUE(namesRetrieve);
  EXPECT_EQ(stack.back().function, "DERmake");
}

TEST(AsnIndirect, ShortFileFailsAndDeleteWithNodeRemovesIt) {
  TempDir dir;
  const std::string path = dir.file("short.bin");
  writeFile(path, "0123");
  {
    AobjPtr node(ASNxIND(kTagOctetString, path.c_str(), nullptr, 0, 10, 1));
    TRclrerr();
    EXPECT_EQ(der(node.get()), "FAILED");
    EXPECT_EQ(errorStack().at(0).code, 201u);
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(AsnIndirect, OpenFileGivesTheOffset) {
  TempDir dir;
  const std::string path = dir.file("f.bin");
  writeFile(path, "abcdefgh");
  uint16_t rc = 0;
  FilePtr file(f_open(path.c_str(), kKindBinary | FM_READ, 0, &rc));
  ASSERT_EQ(f_seek(file.get(), 5, SEEK_SET), 0);
  AobjPtr node(ASNxIND(kTagOctetString, path.c_str(), file.get(), 0, 3, 0));
  EXPECT_EQ(node->u.indirect->offset, 5u);
  EXPECT_EQ(der(node.get()), "0403666768");
  std::string longName(300, 'a');
  TRclrerr();
  EXPECT_EQ(ASNxIND(4, longName.c_str(), nullptr, 0, 1, 0), nullptr);
  EXPECT_EQ(errorStack().at(0).code, 5u);
}

TEST(AsnEqual, AbsentTreesAndDifferences) {
  AobjPtr a = sampleTree();
  AobjPtr b = sampleTree();
  EXPECT_EQ(ASNisEqual(nullptr, nullptr), 1);
  EXPECT_EQ(ASNisEqual(a.get(), nullptr), 0);
  EXPECT_EQ(ASNisEqual(nullptr, a.get()), 0);
  EXPECT_EQ(ASNisEqual(a.get(), b.get()), 1);
  ASNsetname(b.get(), "names do not count");
  EXPECT_EQ(ASNisEqual(a.get(), b.get()), 1);
  ASNgetChild(b.get(), 0)->tag = kTagSequence;
  EXPECT_EQ(ASNisEqual(a.get(), b.get()), 0);
}

TEST(AsnWrite, MakeWriteAndFileMake) {
  AobjPtr tree = sampleTree();
  const std::string hex = der(tree.get());
  uint8_t buffer[64] = {};
  EXPECT_EQ(DERwrite(tree.get(), buffer), hex.size() / 2);
  EXPECT_EQ(toHex(buffer, hex.size() / 2), hex);
  EXPECT_EQ(der_make(buffer, tree.get()), buffer + hex.size() / 2);
  AobjPtr octets(aobj2derOCT(tree.get()));
  EXPECT_EQ(der(octets.get()),
            "04" + toHex(std::vector<uint8_t>{static_cast<uint8_t>(hex.size() / 2)}) + hex);

  TRclrerr();
  EXPECT_EQ(DERwrite(tree.get(), nullptr), 0u);
  EXPECT_EQ(errorStack().at(0).message, "Buffer di destinazione nullo");
  TRclrerr();
  EXPECT_EQ(DERmake(nullptr, nullptr), nullptr);
  EXPECT_EQ(errorStack().at(0).message, "Dato ASN.1 non valido");

  TempDir dir;
  const std::string path = dir.file("made.der");
  uint16_t rc = 0;
  FilePtr file(f_open(path.c_str(), kKindBinary | FM_WRITE, 0, &rc));
  uint32_t size = 0;
  ASNgetChild(tree.get(), 0)->length += 9;  // stale: DERfMake recomputes
  EXPECT_EQ(DERfMake(tree.get(), file.get(), &size), 1);
  file.reset();
  EXPECT_EQ(size, hex.size() / 2);
  EXPECT_EQ(toHex(test::textBytes(readFile(path))), hex);
  EXPECT_EQ(DERfMake(nullptr, nullptr, &size), 1);
}

TEST(AsnIndefinite, SegmentsJoinIntoOneOctetString) {
  AobjPtr segments(ASNxSEQ(
      CLASSEQ, 0x24, kSeqNode, ASNxSTR(kTagOctetString, reinterpret_cast<const uint8_t*>("ab"), 2),
      kSeqNode, ASNxSTR(kTagOctetString, nullptr, 0), kSeqNode,
      ASNxSTR(kTagOctetString, reinterpret_cast<const uint8_t*>("cde"), 3), kSeqEnd));
  ASNsetname(segments.get(), "content");
  EXPECT_EQ(sizeBERIndefiniteBlock(segments.get()), 5u);
  aobj* slot = segments.release();
  ASSERT_EQ(reduceBERIndefiniteBlock(&slot), 0);
  AobjPtr joined(slot);
  EXPECT_EQ(der(joined.get()), "04056162636465");
  EXPECT_STREQ(joined->name, "content");

  AobjPtr mixed(ASNxSEQ(CLASSEQ, 0x24, kSeqNode, ASNNULL(), kSeqEnd));
  AobjPtr empty(ASNxSEQ(CLASSEQ, 0x24, kSeqEnd));
  EXPECT_EQ(sizeBERIndefiniteBlock(mixed.get()), 0u);
  EXPECT_EQ(sizeBERIndefiniteBlock(empty.get()), 0u);
  aobj* bad = mixed.get();
  TRclrerr();
  EXPECT_EQ(reduceBERIndefiniteBlock(&bad), 302);
  EXPECT_EQ(bad, mixed.get());
}

}  // namespace
}  // namespace sigillo

namespace sigillo {
namespace {

TEST(AsnDevelop, ValuesHoldingEncodingsBecomeTrees) {
  AobjPtr inner(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 5u, kSeqBool, 1, kSeqEnd));
  AobjPtr octets(aobj2derOCT(inner.get()));
  AobjPtr fromOctets(ASNdevelop(octets.get()));
  EXPECT_EQ(ASNisEqual(fromOctets.get(), inner.get()), 1);

  uint32_t size = 0;
  uint8_t* encoding = DERmake(inner.get(), &size);
  AobjPtr bits(ASNxBIT(kTagBitString, encoding, size, 0));
  AobjPtr fromBits(ASNdevelop(bits.get()));
  EXPECT_EQ(ASNisEqual(fromBits.get(), inner.get()), 1);

  TempDir dir;
  const std::string path = dir.file("inner.bin");
  writeFile(path, "xy" + std::string(reinterpret_cast<char*>(encoding), size));
  TRFREE(encoding);
  AobjPtr indirect(ASNxIND(kTagOctetString, path.c_str(), nullptr, 2, size, 0));
  AobjPtr fromFile(ASNdevelop(indirect.get()));
  EXPECT_EQ(ASNisEqual(fromFile.get(), inner.get()), 1);

  TRclrerr();
  EXPECT_EQ(ASNdevelop(inner.get()), nullptr);
  EXPECT_EQ(errorStack().at(0).message, "TIPO_ERRATO PER questa funzione");
  AobjPtr notDer(ASNxSTR(kTagOctetString, reinterpret_cast<const uint8_t*>("\x30\x05"), 2));
  ASNsetname(notDer.get(), "payload");
  EXPECT_EQ(ASNdevelop(notDer.get()), nullptr);
  EXPECT_EQ(errorStack().back().message, "Fallita decodifica nodo 'payload'");
  EXPECT_EQ(errorStack().back().code, 29u);
}

}  // namespace
}  // namespace sigillo
