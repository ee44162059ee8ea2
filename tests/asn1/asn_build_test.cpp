// The ASN.1 tree: constructors and their DER bytes, the sequence builder,
// copies, navigation, cursors, indirect nodes, writers, indefinite-length
// segments; INTEGER values against their vectors and OpenSSL.
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>

#include <functional>

#include "asn1/asnint.h"
#include "asn1/oid.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

TEST(AsnBuild, LengthOctetsPrimitiveKindsSequenceBuilderAndItsFailures) {
  const std::pair<uint32_t, std::string> lengths[] = {
      {0, "0400"},       {127, "047F"},       {128, "048180"},       {255, "0481FF"},
      {256, "04820100"}, {65535, "0482FFFF"}, {65536, "0483010000"}, {16777216, "048401000000"}};
  for (const auto& [length, header] : lengths) {
    AobjPtr node(ASNxSTR(kTagOctetString, nullptr, length));
    ASSERT_NE(node, nullptr);
    const std::string hex = der(node.get());
    EXPECT_EQ(hex.substr(0, header.size()), header) << length;
    EXPECT_EQ(hex.size() / 2, header.size() / 2 + length) << length;
    EXPECT_EQ(DERlen(node.get()), header.size() / 2 + length) << length;
  }
  EXPECT_EQ(DERlen(nullptr), 0u);
  const uint8_t bits[] = {0xA5, 0xF0};
  const uint8_t cn[] = {0x55, 0x04, 0x03};
  const std::pair<aobj*, std::string> cases[] = {
      {ASNxSTR(kTagPrintableString, u8("abc"), 3), "1303616263"},
      {ASNxBIT(kTagBitString, bits, 2, 4), "030304A5F0"},
      {ASNxBOOL(7), "0101FF"},
      {ASNNULL(), "0500"},
      {ASNxOID(kTagOid, cn, 3), "0603550403"},
      {oid2obj(170), "0603550403"},
      {ASNxDATE(0, "250101120000Z", 13), "170D3235303130313132303030305A"},
      {ASNxDATE(0, "20250101120000Z", 15), "180F32303235303130313132303030305A"},
      {ASNxVAL(CLASVAL, kTagEnumerated, bits, 1), "0A01A5"},
  };
  for (const auto& [node, hex] : cases) {
    ASSERT_NE(node, nullptr) << hex;
    EXPECT_EQ(der(node), hex);
    ASNdel(node);
  }
  // An OID of no registry entry is built with a warning.
  uint8_t content[15] = {0x2A};
  for (uint8_t arc = 3; arc <= 16; ++arc) content[arc - 2] = arc;
  TRclrerr();
  WarningCapture warnings;
  AobjPtr node(ASNxOID(kTagOid, content, 15));
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->u.oid.number, -1);
  EXPECT_TRUE(errorStack().empty());
  EXPECT_EQ(warnings.messages(),
            Lines{"Errore sconosciuto: OID "
                  "'1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16' non risconosciuto"});
  ASNvsetname(node.get(), "%s-%d", "abcdefghijklmnopqrstuvwxyz", 123456);
  EXPECT_STREQ(node->name, "abcdefghijklmnopqrstuvwxyz-1234");  // 31 characters
  AobjPtr shared(ASNxSTR(kTagOctetString, u8("s"), 1));
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence, kSeqBool, 1, kSeqIa5, "ia", kSeqShared, shared.get(),
                      kSeqOid, 170, kSeqUint, 0x80u, kSeqNode, ASNNULL(), kSeqPrintable, "P",
                      kSeqUtc, "250101120000Z", kSeqCall, ASNxSEQ(CLASSEQ, kTagSet, kSeqEnd),
                      kSeqTime, "20250101120000Z", kSeqUtf8, "\xC3\xA8", kSeqAbsent, nullptr,
                      kSeqSkipNumber, 5, kSeqSkipPointer, "x", kSeqEnd));
  ASSERT_NE(seq, nullptr);
  EXPECT_EQ(der(seq.get()),
            "303E0101FF16026961040173060355040302020080050013015017"
            "0D3235303130313132303030305A3100180F32303235303130313132303030305A0C02C3A8");
  EXPECT_EQ(aobj_childrenCount(seq.get()), 11u);
  AobjPtr second(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, shared.get(), kSeqEnd));
  EXPECT_EQ(shared->used, 2);
  seq.reset();  // lowers the count and leaves the node to its other owners
  second.reset();
  EXPECT_EQ(shared->used, 0);
  EXPECT_EQ(shared->value[0], 's');

  AobjPtr prefixed(ASNxSEQ(CLASSEQ, kTagSequence, kSeqName, "version", kSeqExplicit, 0, kSeqUint,
                           2u, kSeqImplicit, 1, kSeqIa5, "a", kSeqImplicit, 2, kSeqCall,
                           ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd), kSeqSetTag, 0x13, kSeqIa5, "b",
                           kSeqUint, 1u, kSeqEnd));
  EXPECT_EQ(der(prefixed.get()), "3010A003020102810161A200130162020101");
  aobj* version = ASNget(prefixed.get(), "version");
  ASSERT_NE(version, nullptr);
  EXPECT_EQ(devExpl(ASNgetChild(prefixed.get(), 0)), version);
  EXPECT_STREQ(ASNgetChild(prefixed.get(), 4)->name, "");  // prefixes act on one item only
  AobjPtr list(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 1u, kSeqUint, 3u, kSeqEnd));
  ASSERT_EQ(ASNappend(list.get(), ASNgetChild(list.get(), 0), ASNxBOOL(1)), 0);
  ASSERT_EQ(ASNappend(list.get(), nullptr, ASNNULL()), 0);
  EXPECT_EQ(der(list.get()), "300B0201010101FF0201030500");
  AobjPtr primitive(ASNNULL()), stranger(ASNNULL()), child(ASNNULL());
  AobjPtr huge(ASNxIND(kTagOctetString, "/nonexistent", nullptr, 0, 0xFFFFFFFC, 0));
  // Each call alone: a code is the first error of the stack.
  const std::pair<std::function<uint16_t()>, std::string> refusals[] = {
      {[&] { return ASNappend(nullptr, nullptr, child.get()); }, "304:o (1)"},
      {[&] { return ASNappend(primitive.get(), nullptr, child.get()); },
       "304:o (1) non e' una sequenza"},
      {[&] { return ASNappend(list.get(), nullptr, nullptr); }, "304:child (3)"},
      {[&] { return ASNadd(primitive.get(), child.get()); },
       "302:Impossibile aggiunere nodo ASN.1 ad una non sequenza"},
      {[&] { return ASNadd(nullptr, child.get()); }, "10:Riferimento ad albero ASN.1 nullo"},
      {[&] { return ASNadd(list.get(), nullptr); }, "10:Riferimento a sotto-nodo ASN.1 nullo"},
      // Its encoded size would wrap past 4 GiB.
      {[&] { return ASNadd(list.get(), huge.get()); }, "5:Valore troppo grande (4294967292 byte)"},
  };
  for (const auto& [call, failure] : refusals) {
    TRclrerr();
    EXPECT_EQ(call(), std::stoi(failure)) << failure;
    EXPECT_EQ(stackCodes(), Lines{failure});
  }
  TRclrerr();
  EXPECT_EQ(ASNappend(list.get(), stranger.get(), child.get()), 302);
  EXPECT_EQ(stackCodes().at(0).rfind("302:Impossibile trovare nodo precedente 0x", 0), 0u);
  EXPECT_EQ(aobj_childrenCount(list.get()), 4u);

  AobjPtr inner(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 1u, kSeqEnd));
  AobjPtr outer(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, inner.get(), kSeqEnd));
  ASSERT_EQ(ASNadd(inner.get(), ASNNULL()), 0);  // the outer length is now stale
  TRclrerr();
  EXPECT_EQ(der(outer.get()), "FAILED");
  EXPECT_EQ(errorStack().at(0).code, 302u);
  ASNresize(outer.get());
  EXPECT_EQ(der(outer.get()), "300730050201010500");
  // Values beyond the size limits are refused; every node handed over to the
  // sequence builder after a failing item is deleted (the leak checker of the
  // sanitizer build proves it), and the stack tells where it failed.
  aobj* stillMine = ASNNULL();
  const std::string where = "301:Errore durante l'aggiunta del nodo ";
  const std::pair<std::function<aobj*()>, Lines> failures[] = {
      {[] { return ASNxSTR(4, nullptr, 0xFFFFFFFF); },
       {"5:Valore troppo grande (4294967295 byte)"}},
      {[] {
         uint8_t content[16] = {0x2A};
         return ASNxOID(6, content, 16);
       },
       {"5:Codifica OID troppo corta (16 < 16)"}},
      {[] { return ASNxDATE(0, "2025010112000000000000000Z", 26); },
       {"5:Valore troppo corto (26 < 25)"}},
      {[] { return oid2obj(234); }, {"307:OID interno 234 non valido"}},
      {[] { return ASNxDATE(0, "2501011200Z", 11); }, {"301:Esecuzione fallita"}},
      {[] {
         return ASNxSEQ(CLASSEQ, 0x30, kSeqNode, ASNNULL(), kSeqName, "k", kSeqNode, nullptr,
                        kSeqNode, ASNNULL(), kSeqCall, ASNxBOOL(1), kSeqEnd);
       },
       {"304:Nuovo oggetto nullo (k)", where + "'k' (posizione 3)"}},
      {[] { return ASNxSEQ(CLASSEQ, 0x30, kSeqShared, nullptr, kSeqNode, ASNNULL(), kSeqEnd); },
       {"304:Oggetto nullo ()", where + "'' (posizione 1)"}},
      {[&] { return ASNxSEQ(CLASSEQ, 0x30, kSeqAbsent, stillMine, kSeqNode, ASNNULL(), kSeqEnd); },
       {"302:Nodo non null non previsto (posizione: 1)", where + "'' (posizione 1)"}},
      {[] { return ASNxSEQ(CLASSEQ, 0x30, kSeqNode, ASNNULL(), 22, 0, kSeqEnd); },
       {"302:Tipo oggetto ASN.1 (22) non risconosciuto", where + "'' (posizione 2)"}},
      {[] {
         return ASNxSEQ(CLASSEQ, 0x30, kSeqTime, "2501011200Z", kSeqNode, ASNNULL(), 4, 0, kSeqEnd);
       },
       {"301:Esecuzione fallita", where + "'' (posizione 1)",
        "302:Costruzione con tipo di nodo ASN.1 (4) non riconosciuto"}},
      {[] { return ASNxSEQ(CLASSEQ, 0x30, kSeqCall, oid2obj(999), kSeqNode, ASNNULL(), kSeqEnd); },
       {"307:OID interno 999 non valido", "301:Esecuzione fallita", where + "'' (posizione 1)"}},
  };
  for (const auto& [build, stack] : failures) {
    TRclrerr();
    EXPECT_EQ(build(), nullptr);
    EXPECT_EQ(stackCodes(), stack);
    for (const Recorded& r : errorStack()) EXPECT_EQ(r.file, "asn");
  }
  EXPECT_EQ(ASNdel(stillMine), 1);
}

// SEQUENCE { SET { INTEGER 1, NULL }, [0] { OID cn }, SEQUENCE { OID sha256, NULL } }
AobjPtr sampleTree() {
  return AobjPtr(ASNxSEQ(
      CLASSEQ, kTagSequence, kSeqName, "set", kSeqCall,
      ASNxSEQ(CLASSEQ, kTagSet, kSeqUint, 1u, kSeqName, "null", kSeqNode, ASNNULL(), kSeqEnd),
      kSeqExplicit, 0, kSeqOid, 170, kSeqCall,
      ASNxSEQ(CLASSEQ, kTagSequence, kSeqOid, 224, kSeqNode, ASNNULL(), kSeqEnd), kSeqEnd));
}

TEST(AsnTree, CopyNavigationWritersAndCursor) {
  AobjPtr tree = sampleTree();
  AobjPtr copy(ASNcopy(tree.get()));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(der(copy.get()), der(tree.get()));
  EXPECT_EQ(ASNisEqual(copy.get(), tree.get()), 1);
  EXPECT_STREQ(ASNgetChild(copy.get(), 0)->name, "set");
  aobj* oid = devExpl(ASNgetChild(copy.get(), 1));
  EXPECT_NE(oid->value, devExpl(ASNgetChild(tree.get(), 1))->value);
  ASNsetname(copy.get(), "names do not count");
  EXPECT_EQ(ASNisEqual(copy.get(), tree.get()), 1);
  oid->value[0] = 0;
  EXPECT_EQ(ASNisEqual(copy.get(), tree.get()), 0);
  EXPECT_EQ(ASNisEqual(nullptr, nullptr), 1);
  EXPECT_EQ(ASNisEqual(tree.get(), nullptr), 0);
  TRclrerr();
  EXPECT_EQ(ASNcopy(nullptr), nullptr);
  EXPECT_EQ(errorStack().at(0).code, 304u);

  const uint8_t path[] = {0, 1}, pastEnd[] = {3}, throughPrimitive[] = {0, 0, 0};
  EXPECT_EQ(getaobj(tree.get(), path, 2), ASNget(tree.get(), "null"));
  EXPECT_EQ(getaobj(tree.get(), pastEnd, 1), nullptr);
  EXPECT_EQ(getaobj(tree.get(), throughPrimitive, 3), nullptr);
  EXPECT_EQ(getAobjCount(tree.get()), 9u);
  EXPECT_EQ(getAobjDepth(tree.get()), 3u);
  EXPECT_EQ(ASNgetN(tree.get(), 3), ASNget(tree.get(), "null"));
  EXPECT_EQ(ASNgetN(tree.get(), 9), nullptr);
  EXPECT_EQ(ASNgetbyOID(tree.get(), 224), ASNgetChild(ASNgetChild(tree.get(), 2), 0));
  EXPECT_EQ(ASNgetbyOID(tree.get(), 55), nullptr);
  aobj* tagged = ASNgetChild(tree.get(), 1);
  EXPECT_EQ(devExpl(tagged)->u.oid.number, 170);
  EXPECT_EQ(devExpl(tree.get()), nullptr);
  EXPECT_TRUE(isExpl(tagged, 0) && isExpl(tagged, -1) && !isExpl(tagged, 1));
  EXPECT_TRUE(isAlgId(ASNgetChild(tree.get(), 2)) && !isAlgId(tree.get()));

  // A direct child is found before a deeper node of the same name.
  AobjPtr named(ASNxSEQ(CLASSEQ, kTagSequence, kSeqCall,
                        ASNxSEQ(CLASSEQ, kTagSequence, kSeqName, "x", kSeqUint, 1u, kSeqEnd),
                        kSeqName, "x", kSeqUint, 2u, kSeqEnd));
  aobj* found = ASNget(named.get(), "x");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->value[0], 2);
  aobj** slot = nullptr;
  EXPECT_EQ(ASNgetIndirect(named.get(), "x", &slot), found);
  ASSERT_NE(slot, nullptr);
  *slot = ASNxBOOL(0);  // replace in place
  ASNdel(found);
  ASNresize(named.get());
  EXPECT_EQ(der(named.get()), "30083003020101010100");
  EXPECT_EQ(ASNgetIndirect(named.get(), "zz", &slot), nullptr);
  EXPECT_EQ(slot, nullptr);
  // The encoding written to a buffer, to a file and by a read cursor in pieces.
  const std::string hex = der(tree.get());
  const size_t size = hex.size() / 2;
  for (uint32_t step : {1u, 3u, 64u}) {
    track* cursor = new_track(tree.get(), 1);
    ASSERT_NE(cursor, nullptr);
    std::string streamed;
    uint8_t buffer[64];
    while (trk_eof(cursor) == 0) {
      const uint32_t got = retrieve(cursor, buffer, step);
      ASSERT_GT(got, 0u);
      streamed += toHex(buffer, got);
    }
    EXPECT_EQ(streamed, hex) << step;
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
  uint8_t buffer[64] = {};
  EXPECT_EQ(DERwrite(tree.get(), buffer), size);
  EXPECT_EQ(toHex(buffer, size), hex);
  TRclrerr();
  EXPECT_EQ(DERwrite(tree.get(), nullptr), 0u);
  EXPECT_EQ(DERmake(nullptr, nullptr), nullptr);
  EXPECT_EQ(stackCodes(), (Lines{"304:Buffer di destinazione nullo", "304:Dato ASN.1 non valido"}));

  TempDir dir;
  const std::string made = dir.file("made.der");
  uint16_t rc = 0;
  FilePtr file(f_open(made.c_str(), kKindBinary | FM_WRITE, 0, &rc));
  uint32_t written = 0;
  ASNgetChild(tree.get(), 0)->length += 9;  // stale: DERfMake recomputes
  EXPECT_EQ(DERfMake(tree.get(), file.get(), &written), 1);
  file.reset();
  EXPECT_EQ(written, size);
  EXPECT_EQ(toHex(fileBytes(made)), hex);
}

AobjPtr integer(const Bytes& content) {
  return AobjPtr(
      ASNxVAL(CLASVAL, kTagInteger, content.data(), static_cast<uint32_t>(content.size())));
}

TEST(AsnValues, FileValuesSegmentsDevelopedValuesAndIntegers) {
  TempDir dir;
  const std::string path = dir.file("value.bin");
  std::string content(200000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
  writeFile(path, "HEAD" + content + "TAIL");
  AobjPtr indirect(ASNxIND(kTagOctetString, path.c_str(), nullptr, 4, 200000, 0));
  ASSERT_NE(indirect, nullptr);
  AobjPtr wrapped(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, indirect.get(), kSeqEnd));
  AobjPtr inMemory(ASNxSEQ(CLASSEQ, kTagSequence, kSeqNode,
                           ASNxSTR(kTagOctetString, u8(content.data()), 200000), kSeqEnd));
  EXPECT_EQ(der(wrapped.get()), der(inMemory.get()));
  EXPECT_EQ(ASNisEqual(wrapped.get(), inMemory.get()), 1);
  const std::string saved = dir.file("saved.der"), data = dir.file("data.bin");
  ASSERT_EQ(DERfSave(saved.c_str(), wrapped.get()), 0);
  EXPECT_EQ(toHex(fileBytes(saved)), der(inMemory.get()));
  ASSERT_EQ(DERfSaveData(data.c_str(), indirect.get()), 0);
  EXPECT_EQ(readFile(data), content);
  // A short file fails.
  const std::string shortFile = dir.file("short.bin");
  writeFile(shortFile, "0123");
  {
    AobjPtr node(ASNxIND(kTagOctetString, shortFile.c_str(), nullptr, 0, 10, 1));
    TRclrerr();
    EXPECT_EQ(der(node.get()), "FAILED");
    EXPECT_EQ(errorStack().at(0).code, 201u);
  }
  EXPECT_FALSE(std::filesystem::exists(shortFile));  // deleted with its node
  std::remove(path.c_str());                         // vanished
  TRclrerr();
  uint32_t size = 7;
  EXPECT_EQ(DERmake(indirect.get(), &size), nullptr);
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(errorStack().back().function, "DERmake");
  TRclrerr();
  EXPECT_EQ(ASNxIND(4, std::string(300, 'a').c_str(), nullptr, 0, 1, 0), nullptr);
  EXPECT_EQ(errorStack().at(0).code, 5u);
  AobjPtr segments(ASNxSEQ(CLASSEQ, 0x24, kSeqNode, ASNxSTR(kTagOctetString, u8("ab"), 2), kSeqNode,
                           ASNxSTR(kTagOctetString, nullptr, 0), kSeqNode,
                           ASNxSTR(kTagOctetString, u8("cde"), 3), kSeqEnd));
  ASNsetname(segments.get(), "content");
  EXPECT_EQ(sizeBERIndefiniteBlock(segments.get()), 5u);
  aobj* slot = segments.release();
  ASSERT_EQ(reduceBERIndefiniteBlock(&slot), 0);
  AobjPtr joined(slot);
  EXPECT_EQ(der(joined.get()), "04056162636465");
  EXPECT_STREQ(joined->name, "content");
  AobjPtr mixed(ASNxSEQ(CLASSEQ, 0x24, kSeqNode, ASNNULL(), kSeqEnd));
  EXPECT_EQ(sizeBERIndefiniteBlock(mixed.get()), 0u);
  aobj* bad = mixed.get();
  TRclrerr();
  EXPECT_EQ(reduceBERIndefiniteBlock(&bad), 302);
  EXPECT_EQ(bad, mixed.get());
  AobjPtr inner(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 5u, kSeqBool, 1, kSeqEnd));
  AobjPtr octets(aobj2derOCT(inner.get()));
  AobjPtr fromOctets(ASNdevelop(octets.get()));
  EXPECT_EQ(ASNisEqual(fromOctets.get(), inner.get()), 1);
  const Bytes encoding = encode(inner.get());
  AobjPtr bits(ASNxBIT(kTagBitString, encoding.data(), static_cast<uint32_t>(encoding.size()), 0));
  AobjPtr fromBits(ASNdevelop(bits.get()));
  EXPECT_EQ(ASNisEqual(fromBits.get(), inner.get()), 1);
  const std::string innerPath = dir.file("inner.bin");
  writeFile(innerPath, "xy" + std::string(encoding.begin(), encoding.end()));
  AobjPtr innerNode(ASNxIND(kTagOctetString, innerPath.c_str(), nullptr, 2,
                            static_cast<uint32_t>(encoding.size()), 0));
  AobjPtr fromFile(ASNdevelop(innerNode.get()));
  EXPECT_EQ(ASNisEqual(fromFile.get(), inner.get()), 1);

  TRclrerr();
  EXPECT_EQ(ASNdevelop(inner.get()), nullptr);
  EXPECT_EQ(errorStack().at(0).message, "TIPO_ERRATO PER questa funzione");
  AobjPtr notDer(ASNxSTR(kTagOctetString, u8("\x30\x05"), 2));
  ASNsetname(notDer.get(), "payload");
  EXPECT_EQ(ASNdevelop(notDer.get()), nullptr);
  EXPECT_EQ(stackCodes().back(), "29:Fallita decodifica nodo 'payload'");
  for (const auto& v : loadVectors("asn1/integers.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    int64_t value = 12345;
    std::string text;
    if (v.group == "content") {
      const Bytes content = v.bytes("hex");
      const uint16_t rc = asnStr2Int(content.data(), static_cast<uint32_t>(content.size()), &value);
      EXPECT_EQ(rc, v.has("error") ? 29 : 0);
      EXPECT_EQ(value, v.has("error") ? 12345 : v.number("value"));
      EXPECT_EQ(stackCodes(), v.has("error") ? Lines{v.text("error")} : Lines{});
    } else if (v.group == "der") {
      AobjPtr node(ASNxINT64(kTagInteger, v.number("value")));
      EXPECT_EQ(der(node.get()), v.text("der"));
      Bytes content = v.bytes("der");
      content.erase(content.begin(), content.begin() + 2);
      EXPECT_EQ(ASNint2i64(integer(content).get(), &value), 0);
      EXPECT_EQ(value, v.number("value"));
    } else if (v.group == "int32") {
      AobjPtr node = integer(v.bytes("hex"));
      int32_t s = 7;
      uint32_t u = 7;
      const bool signedFits = v.text("signed").find(':') == std::string::npos;
      const bool unsignedFits = v.text("unsigned").find(':') == std::string::npos;
      EXPECT_EQ(ASNint2i32(node.get(), &s), signedFits ? 0 : 29);
      EXPECT_EQ(signedFits ? std::to_string(s) : stackCodes().at(0) + std::to_string(s),
                v.text("signed") + (signedFits ? "" : "7"));
      TRclrerr();
      EXPECT_EQ(ASNint2u32(node.get(), &u), unsignedFits ? 0 : 29);
      EXPECT_EQ(unsignedFits ? std::to_string(u) : stackCodes().at(0) + std::to_string(u),
                v.text("unsigned") + (unsignedFits ? "" : "7"));
    } else {
      const bool hex = v.group == "hex";
      AobjPtr node(hex ? ASNhex2INT(kTagInteger, v.text("text").c_str())
                       : ASNdec2INT(kTagInteger, v.text("text").c_str()));
      if (v.has("error")) {
        EXPECT_EQ(node, nullptr);
        EXPECT_EQ(stackCodes(), Lines{v.text("error")});
        continue;
      }
      ASSERT_NE(node, nullptr);
      EXPECT_EQ(der(node.get()), v.text("der"));
      EXPECT_EQ(hex ? ASNint2hex(node.get(), &text) : ASNint2dec(node.get(), &text), 0);
      EXPECT_EQ(text, v.text("back"));
    }
  }
  EXPECT_EQ(der(AobjPtr(ASNxUINT32(kTagInteger, UINT32_MAX)).get()), "020500FFFFFFFF");
  AobjPtr text(ASNxSTR(kTagOctetString, fromHex("01").data(), 1));
  int64_t value = 0;
  std::string out;
  TRclrerr();
  EXPECT_EQ(ASNint2i64(text.get(), &value), 29);
  EXPECT_EQ(ASNint2hex(nullptr, &out), 304);
  EXPECT_EQ(ASNint2dec(text.get(), &out), 29);
  EXPECT_EQ(stackCodes(), (Lines{"29:TIPO_ERRATO PER questa funzione", "304:Oggetto ASN.1 nullo",
                                 "29:TIPO_ERRATO PER questa funzione"}));
  // [2] IMPLICIT INTEGER as the parser leaves it: a string node keeping 0x82.
  aobj* node = ASNxSTR(0x82, fromHex("0100").data(), 2);
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence, kSeqNode, node, kSeqEnd));
  const std::string before = der(seq.get());
  for (int round = 0; round < 2; ++round) {  // the second time nothing changes
    EXPECT_EQ(ASNconv2int(node), 0);
    EXPECT_EQ(node->kind, static_cast<uint32_t>(CLASVAL));
    EXPECT_EQ(der(seq.get()), before);
  }
  int64_t converted = 0;
  EXPECT_EQ(ASNint2i64(node, &converted), 0);
  EXPECT_EQ(converted, 256);
  AobjPtr oid(ASNxOID(kTagOid, fromHex("550403").data(), 3));
  AobjPtr empty(ASNxSTR(0x80, nullptr, 0));
  TRclrerr();
  EXPECT_EQ(ASNconv2int(nullptr), 304);
  EXPECT_EQ(ASNconv2int(oid.get()), 29);
  EXPECT_EQ(ASNconv2int(empty.get()), 29);
  const std::string refused = "29:Impossibile convertire in INTEGER ASN.1";
  EXPECT_EQ(stackCodes(), (Lines{"304:Oggetto ASN.1 nullo", refused, refused}));
  // Integers from hexadecimal and decimal text, and unsigned magnitudes, encode
  // as OpenSSL encodes the same numbers: values at the sign boundaries, then
  // random values of every size up to 600 bits.
  const char* const fixed[] = {
      "0", "1", "7F", "80", "FF", "100", "8000", "FFFFFFFF", "80000000000000000000000000000001"};
  for (int i = 0; i < 309; ++i) {
    BIGNUM* bn = BN_new();
    if (i < 9) {
      ASSERT_GT(BN_hex2bn(&bn, fixed[i]), 0);
    } else {
      ASSERT_EQ(BN_rand(bn, 1 + i * 7 % 600, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY), 1);
      BN_set_negative(bn, i % 3 == 0);
    }
    char* hex = BN_bn2hex(bn);
    char* dec = BN_bn2dec(bn);
    AobjPtr fromHexText(ASNhex2INT(kTagInteger, hex));
    AobjPtr fromDecText(ASNdec2INT(kTagInteger, dec));
    ASN1_INTEGER* theirs = BN_to_ASN1_INTEGER(bn, nullptr);
    unsigned char* encoded = nullptr;
    const int length = i2d_ASN1_INTEGER(theirs, &encoded);
    const std::string expected = toHex(encoded, static_cast<size_t>(length));
    EXPECT_EQ(der(fromHexText.get()), expected) << hex;
    EXPECT_EQ(der(fromDecText.get()), expected) << dec;
    std::string text;
    EXPECT_EQ(ASNint2dec(fromHexText.get(), &text), 0);
    EXPECT_EQ(text, dec);
    if (!BN_is_negative(bn)) {
      Bytes magnitude(static_cast<size_t>(std::max(1, BN_num_bytes(bn))));
      BN_bn2binpad(bn, magnitude.data(), static_cast<int>(magnitude.size()));
      AobjPtr node(ASNuINT(kTagInteger, magnitude.data(), static_cast<uint32_t>(magnitude.size())));
      EXPECT_EQ(der(node.get()), expected) << hex;
    }
    OPENSSL_free(encoded);
    ASN1_INTEGER_free(theirs);
    OPENSSL_free(hex);
    OPENSSL_free(dec);
    BN_free(bn);
  }
  const uint8_t padding[] = {0x00, 0x00, 0x80};
  AobjPtr padded(ASNuINT(kTagInteger, padding + 2, 1));
  EXPECT_EQ(padded->u.integer.cached, -128);
  AobjPtr zeros(ASNuINT(kTagInteger, padding, 3));  // given zeros are kept
  EXPECT_EQ(der(zeros.get()), "0203000080");
  EXPECT_EQ(zeros->u.integer.cached, 128);
}

}  // namespace
}  // namespace sigillo
