// The ASN.1 tree: constructors, exact DER bytes, the sequence builder and
// its failure walk, use counts, copies.
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>

#include <cstring>
#include <functional>
#include <string>

#include "asn1/asn.h"
#include "asn1/oid.h"
#include "framework/kvtmem.h"
#include "tests/asn1/asn_test_util.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::der;
using test::errorStack;
using test::fromHex;
using test::toHex;

const uint8_t* u8(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

TEST(AsnEncode, LengthOctetsAtTheBoundaries) {
  struct Case {
    uint32_t length;
    std::string header;
  };
  const Case cases[] = {{0, "0400"},         {1, "0401"},          {127, "047F"},
                        {128, "048180"},     {255, "0481FF"},      {256, "04820100"},
                        {65535, "0482FFFF"}, {65536, "0483010000"}};
  for (const Case& c : cases) {
    AobjPtr node(ASNxSTR(kTagOctetString, nullptr, c.length));
    ASSERT_NE(node, nullptr);
    std::string hex = der(node.get());
    EXPECT_EQ(hex.substr(0, c.header.size()), c.header) << c.length;
    EXPECT_EQ(hex.size() / 2, c.header.size() / 2 + c.length) << c.length;
    EXPECT_EQ(DERlen(node.get()), c.header.size() / 2 + c.length) << c.length;
  }
}

TEST(AsnEncode, EveryPrimitiveKind) {
  const uint8_t bits[] = {0xA5, 0xF0};
  const uint8_t cn[] = {0x55, 0x04, 0x03};
  struct Case {
    aobj* node;
    std::string hex;
  };
  const Case cases[] = {
      {ASNxSTR(kTagPrintableString, u8("abc"), 3), "1303616263"},
      {ASNxBIT(kTagBitString, bits, 2, 4), "030304A5F0"},
      {ASNxBIT(kTagBitString, nullptr, 0, 0), "030100"},
      {ASNxBOOL(7), "0101FF"},
      {ASNxBOOL(0), "010100"},
      {ASNNULL(), "0500"},
      {ASNxOID(kTagOid, cn, 3), "0603550403"},
      {oid2obj(170), "0603550403"},
      {ASNxDATE(0, "250101120000Z", 13), "170D3235303130313132303030305A"},
      {ASNxDATE(0, "20250101120000Z", 15), "180F32303235303130313132303030305A"},
      {ASNxVAL(CLASVAL, kTagEnumerated, bits, 1), "0A01A5"},
      {ASNxVAL(CLASBSTR, kTagBitString, bits, 2), "0302A5F0"},
      {ASNxVAL(CLASBOOL, kTagBoolean, bits, 1), "0101A5"},
  };
  for (const Case& c : cases) {
    ASSERT_NE(c.node, nullptr) << c.hex;
    EXPECT_EQ(der(c.node), c.hex);
    ASNdel(c.node);
  }
}

TEST(AsnEncode, DerLengthOfEmptyStrings) {
  AobjPtr octets(ASNxSTR(kTagOctetString, nullptr, 0));
  AobjPtr bits(ASNxBIT(kTagBitString, nullptr, 0, 0));
  EXPECT_EQ(DERlen(octets.get()), 2u);
  EXPECT_EQ(DERlen(bits.get()), 3u);
  EXPECT_EQ(DERlen(nullptr), 0u);
}

// Unsigned magnitudes become the INTEGER OpenSSL writes for the same number.
TEST(AsnEncode, UnsignedIntegersMatchOpenssl) {
  const char* magnitudes[] = {
      "00", "01", "7F", "80", "FF", "0100", "8000", "FFFFFFFF", "80000000000000000000000000000001"};
  for (const char* hex : magnitudes) {
    Bytes m = fromHex(hex);
    AobjPtr node(ASNuINT(kTagInteger, m.data(), static_cast<uint32_t>(m.size())));
    BIGNUM* bn = BN_bin2bn(m.data(), static_cast<int>(m.size()), nullptr);
    ASN1_INTEGER* ai = BN_to_ASN1_INTEGER(bn, nullptr);
    unsigned char* out = nullptr;
    int n = i2d_ASN1_INTEGER(ai, &out);
    EXPECT_EQ(der(node.get()), toHex(out, static_cast<size_t>(n))) << hex;
    OPENSSL_free(out);
    ASN1_INTEGER_free(ai);
    BN_free(bn);
  }
}

TEST(AsnBuild, UnsignedIntegerKeepsLeadingZerosAndCachesGivenOctets) {
  const uint8_t octets[] = {0x00, 0x00, 0x80};
  AobjPtr padded(ASNuINT(kTagInteger, octets + 2, 1));
  EXPECT_EQ(der(padded.get()), "02020080");
  EXPECT_EQ(padded->u.integer.cached, -128);
  AobjPtr zeros(ASNuINT(kTagInteger, octets, 3));
  EXPECT_EQ(der(zeros.get()), "0203000080");
  EXPECT_EQ(zeros->u.integer.cached, 128);
}

TEST(AsnBuild, SizeLimitsAndTheirMessages) {
  struct Case {
    aobj* (*make)();
    uint32_t code;
    std::string message;
  };
  const Case cases[] = {
      {[] { return ASNxSTR(4, nullptr, 0xFFFFFFFF); }, 5, "Valore troppo grande (4294967295 byte)"},
      {[] { return ASNuINT(2, nullptr, 0xFFFFFFFF); }, 5, "Valore troppo grande (4294967295 byte)"},
      {[] {
         uint8_t content[16] = {0x2A};
         return ASNxOID(6, content, 16);
       },
       5, "Codifica OID troppo corta (16 < 16)"},
      {[] { return ASNxDATE(0, "2025010112000000000000000Z", 26); }, 5,
       "Valore troppo corto (26 < 25)"},
      {[] { return oid2obj(234); }, 307, "OID interno 234 non valido"},
      {[] { return oid2obj(-1); }, 307, "OID interno -1 non valido"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    EXPECT_EQ(c.make(), nullptr) << c.message;
    auto stack = errorStack();
    ASSERT_FALSE(stack.empty()) << c.message;
    EXPECT_EQ(stack[0].code, c.code);
    EXPECT_EQ(stack[0].message, c.message);
    EXPECT_EQ(stack[0].file, "asn");
  }
}

TEST(AsnBuild, OidOfFifteenOctetsIsKept) {
  uint8_t content[15] = {0x2A};
  for (uint8_t arc = 3; arc <= 16; ++arc) content[arc - 2] = arc;
  TRclrerr();
  test::WarningCapture warnings;
  AobjPtr node(ASNxOID(kTagOid, content, 15));
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->u.oid.number, -1);
  EXPECT_TRUE(errorStack().empty());
  ASSERT_EQ(warnings.messages().size(), 1u);
  EXPECT_EQ(warnings.messages()[0],
            "Errore sconosciuto: OID '1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16' non risconosciuto");
}

TEST(AsnBuild, TimeTagFromTheText) {
  struct Case {
    const char* text;
    uint8_t tag;
  };
  const Case cases[] = {{"250101120000Z", 23},       {"20250101120000Z", 24},
                        {"2501011200Z", 0},          {"250101120000+0100", 23},
                        {"20250101120000-0130", 24}, {"250101120000+01000", 0},
                        {"250101120000+010", 0},     {"250101120000Z0", 0},
                        {"250101120000", 0},         {"", 0}};
  for (const Case& c : cases) {
    const auto length = static_cast<uint32_t>(strlen(c.text));
    EXPECT_EQ(date_tag(c.text, length), c.tag) << c.text;
    TRclrerr();
    AobjPtr node(ASNxDATE(0, c.text, length));
    if (c.tag == 0) {
      EXPECT_EQ(node, nullptr) << c.text;
      auto stack = errorStack();
      ASSERT_EQ(stack.size(), 1u) << c.text;
      EXPECT_EQ(stack[0].function, "ASNxDATE");
      EXPECT_EQ(stack[0].code, 301u);
    } else {
      ASSERT_NE(node, nullptr) << c.text;
      EXPECT_EQ(node->tag, c.tag);
      EXPECT_STREQ(node->u.date.text, c.text);
    }
  }
}

TEST(AsnBuild, NamesAreCutAtThirtyOneCharacters) {
  AobjPtr node(ASNNULL());
  ASNsetname(node.get(), "0123456789012345678901234567890123456789");
  EXPECT_STREQ(node->name, "0123456789012345678901234567890");
  ASNvsetname(node.get(), "%s-%d", "abcdefghijklmnopqrstuvwxyz", 123456);
  EXPECT_STREQ(node->name, "abcdefghijklmnopqrstuvwxyz-1234");
  ASNclrname(node.get());
  EXPECT_STREQ(node->name, "");
}

TEST(AsnSeq, EveryItemCode) {
  AobjPtr shared(ASNxSTR(kTagOctetString, u8("s"), 1));
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence,                         //
                      kSeqBool, 1,                                   //
                      kSeqIa5, "ia",                                 //
                      kSeqShared, shared.get(),                      //
                      kSeqOid, 170,                                  //
                      kSeqUint, 0x80u,                               //
                      kSeqNode, ASNNULL(),                           //
                      kSeqPrintable, "P",                            //
                      kSeqUtc, "250101120000Z",                      //
                      kSeqCall, ASNxSEQ(CLASSEQ, kTagSet, kSeqEnd),  //
                      kSeqTime, "20250101120000Z",                   //
                      kSeqUtf8, "\xC3\xA8",                          //
                      kSeqAbsent, nullptr,                           //
                      kSeqSkipNumber, 5, kSeqSkipPointer, "x",       //
                      kSeqEnd));
  ASSERT_NE(seq, nullptr);
  EXPECT_EQ(der(seq.get()),
            "303E"
            "0101FF"
            "16026961"
            "040173"
            "0603550403"
            "02020080"
            "0500"
            "130150"
            "170D3235303130313132303030305A"
            "3100"
            "180F32303235303130313132303030305A"
            "0C02C3A8");
  EXPECT_EQ(aobj_childrenCount(seq.get()), 11u);
  EXPECT_EQ(shared->used, 1);
  seq.reset();  // lowers the count and leaves the node to its first owner
  EXPECT_EQ(shared->used, 0);
  EXPECT_EQ(shared->value[0], 's');
}

TEST(AsnSeq, PrefixCodes) {
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence,                                               //
                      kSeqName, "version", kSeqExplicit, 0, kSeqUint, 2u,                  //
                      kSeqImplicit, 1, kSeqIa5, "a",                                       //
                      kSeqImplicit, 2, kSeqCall, ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd),  //
                      kSeqSetTag, 0x13, kSeqIa5, "b",                                      //
                      kSeqUint, 1u,                                                        //
                      kSeqEnd));
  ASSERT_NE(seq, nullptr);
  EXPECT_EQ(der(seq.get()),
            "3010A003020102810161A2001301620201"
            "01");
  aobj* version = ASNget(seq.get(), "version");
  ASSERT_NE(version, nullptr);
  EXPECT_EQ(version->tag, kTagInteger);
  EXPECT_EQ(devExpl(ASNgetChild(seq.get(), 0)), version);
  EXPECT_STREQ(ASNgetChild(seq.get(), 4)->name, "");  // prefixes act on one item only
}

// Every node handed over after a failing item is deleted (the leak checker
// of the sanitizer build proves it), and the stack tells where it failed.
TEST(AsnSeq, FailureReleasesEveryHandedOverNode) {
  struct Case {
    std::function<aobj*()> build;
    std::vector<std::pair<uint32_t, std::string>> stack;
  };
  aobj* stillMine = ASNNULL();
  const Case cases[] = {
      {[] {
         return ASNxSEQ(CLASSEQ, 0x30, kSeqNode, ASNNULL(), kSeqName, "k", kSeqNode, nullptr,
                        kSeqNode, ASNNULL(), kSeqCall, ASNxBOOL(1), kSeqEnd);
       },
       {{304, "Nuovo oggetto nullo (k)"},
        {301, "Errore durante l'aggiunta del nodo 'k' (posizione 3)"}}},
      {[] {
         return ASNxSEQ(CLASSEQ, 0x30, kSeqShared, nullptr, kSeqNode, ASNNULL(), kSeqNode, nullptr,
                        kSeqEnd);
       },
       {{304, "Oggetto nullo ()"}, {301, "Errore durante l'aggiunta del nodo '' (posizione 1)"}}},
      {[&] { return ASNxSEQ(CLASSEQ, 0x30, kSeqAbsent, stillMine, kSeqNode, ASNNULL(), kSeqEnd); },
       {{302, "Nodo non null non previsto (posizione: 1)"},
        {301, "Errore durante l'aggiunta del nodo '' (posizione 1)"}}},
      {[] { return ASNxSEQ(CLASSEQ, 0x30, kSeqNode, ASNNULL(), 22, 0, kSeqEnd); },
       {{302, "Tipo oggetto ASN.1 (22) non risconosciuto"},
        {301, "Errore durante l'aggiunta del nodo '' (posizione 2)"}}},
      {[] {
         return ASNxSEQ(CLASSEQ, 0x30, kSeqTime, "2501011200Z", kSeqNode, ASNNULL(), 4, 0, kSeqEnd);
       },
       {{301, "Esecuzione fallita"},
        {301, "Errore durante l'aggiunta del nodo '' (posizione 1)"},
        {302, "Costruzione con tipo di nodo ASN.1 (4) non riconosciuto"}}},
      {[] { return ASNxSEQ(CLASSEQ, 0x30, kSeqCall, oid2obj(999), kSeqNode, ASNNULL(), kSeqEnd); },
       {{307, "OID interno 999 non valido"},
        {301, "Esecuzione fallita"},
        {301, "Errore durante l'aggiunta del nodo '' (posizione 1)"}}},
  };
  for (const Case& c : cases) {
    TRclrerr();
    EXPECT_EQ(c.build(), nullptr);
    auto stack = errorStack();
    ASSERT_EQ(stack.size(), c.stack.size()) << c.stack.back().second;
    for (size_t i = 0; i < stack.size(); ++i) {
      EXPECT_EQ(stack[i].code, c.stack[i].first) << stack[i].message;
      EXPECT_EQ(stack[i].message, c.stack[i].second);
    }
  }
  EXPECT_EQ(ASNdel(stillMine), 1);
}

TEST(AsnSeq, AppendInsertsAfterThePreviousChild) {
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 1u, kSeqUint, 3u, kSeqEnd));
  aobj* first = ASNgetChild(seq.get(), 0);
  ASSERT_EQ(ASNappend(seq.get(), first, ASNxBOOL(1)), 0);
  ASSERT_EQ(ASNappend(seq.get(), nullptr, ASNNULL()), 0);
  EXPECT_EQ(der(seq.get()), "300B0201010101FF0201030500");

  struct Case {
    aobj* sequence;
    const aobj* previous;
    bool child;
    uint32_t code;
    std::string message;
  };
  AobjPtr primitive(ASNNULL());
  AobjPtr stranger(ASNNULL());
  const Case cases[] = {
      {nullptr, nullptr, true, 304, "o (1)"},
      {primitive.get(), nullptr, true, 304, "o (1) non e' una sequenza"},
      {seq.get(), nullptr, false, 304, "child (3)"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    AobjPtr child(c.child ? ASNNULL() : nullptr);
    EXPECT_EQ(ASNappend(c.sequence, c.previous, child.get()), c.code) << c.message;
    EXPECT_EQ(errorStack().at(0).message, c.message);
  }
  TRclrerr();
  AobjPtr child(ASNNULL());
  EXPECT_EQ(ASNappend(seq.get(), stranger.get(), child.get()), 302);
  EXPECT_EQ(errorStack().at(0).message.rfind("Impossibile trovare nodo precedente 0x", 0), 0u);
  TRclrerr();
  EXPECT_EQ(ASNadd(primitive.get(), child.get()), 302);
  EXPECT_EQ(errorStack().at(0).message, "Impossibile aggiunere nodo ASN.1 ad una non sequenza");
  TRclrerr();
  EXPECT_EQ(ASNadd(nullptr, child.get()), 10);
  EXPECT_EQ(errorStack().at(0).message, "Riferimento ad albero ASN.1 nullo");
  TRclrerr();
  EXPECT_EQ(ASNadd(seq.get(), nullptr), 10);
  EXPECT_EQ(errorStack().at(0).message, "Riferimento a sotto-nodo ASN.1 nullo");
  // A value so long that its encoded size would wrap past 4 GiB.
  AobjPtr huge(ASNxIND(kTagOctetString, "/nonexistent", nullptr, 0, 0xFFFFFFFC, 0));
  TRclrerr();
  EXPECT_EQ(ASNadd(seq.get(), huge.get()), 5);
  EXPECT_EQ(errorStack().at(0).message, "Valore troppo grande (4294967292 byte)");
  EXPECT_EQ(aobj_childrenCount(seq.get()), 4u);
}

TEST(AsnSeq, ChildArrayGrowsPastThirtyTwoAndShrinks) {
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  for (uint32_t i = 0; i < 100; ++i) ASSERT_EQ(ASNadd(seq.get(), ASNxBOOL(1)), 0);
  EXPECT_EQ(seq->u.seq.capacity, 128u);
  EXPECT_EQ(seq->u.seq.children[100], nullptr);
  EXPECT_EQ(seq->length, 300u);
  ASNshrink(seq.get());
  EXPECT_EQ(seq->u.seq.capacity, 101u);
  EXPECT_EQ(getAobjCount(seq.get()), 101u);
  EXPECT_EQ(der(seq.get()).substr(0, 8), "3082012C");
}

TEST(AsnSeq, ResizeAfterAChangeBelow) {
  AobjPtr inner(ASNxSEQ(CLASSEQ, kTagSequence, kSeqUint, 1u, kSeqEnd));
  AobjPtr outer(ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, inner.get(), kSeqEnd));
  ASSERT_EQ(ASNadd(inner.get(), ASNNULL()), 0);  // the outer length is now stale
  TRclrerr();
  EXPECT_EQ(der(outer.get()), "FAILED");
  EXPECT_EQ(errorStack().at(0).code, 302u);
  ASNresize(outer.get());
  EXPECT_EQ(der(outer.get()),
            "3007300502010105"
            "00");
}

TEST(AsnCopy, DeepCopyEncodesTheSameAndIsIndependent) {
  const uint8_t bits[] = {0xFF};
  AobjPtr tree(ASNxSEQ(CLASSEQ, kTagSequence, kSeqName, "n", kSeqOid, 55, kSeqNode,
                       ASNxBIT(kTagBitString, bits, 1, 1), kSeqTime, "250101120000Z", kSeqBool, 1,
                       kSeqNode, ASNNULL(), kSeqUint, 65536u, kSeqEnd));
  AobjPtr copy(ASNcopy(tree.get()));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(der(copy.get()), der(tree.get()));
  EXPECT_EQ(ASNisEqual(copy.get(), tree.get()), 1);
  EXPECT_STREQ(ASNgetChild(copy.get(), 0)->name, "n");
  EXPECT_NE(ASNgetChild(copy.get(), 1)->value, ASNgetChild(tree.get(), 1)->value);
  ASNgetChild(copy.get(), 1)->value[0] = 0;
  EXPECT_EQ(ASNisEqual(copy.get(), tree.get()), 0);
  TRclrerr();
  EXPECT_EQ(ASNcopy(nullptr), nullptr);
  EXPECT_EQ(errorStack().at(0).code, 304u);
}

TEST(AsnDel, UseCountsDeferDeletion) {
  aobj* node = ASNNULL();
  aobj* a = ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, node, kSeqEnd);
  aobj* b = ASNxSEQ(CLASSEQ, kTagSequence, kSeqShared, node, kSeqEnd);
  EXPECT_EQ(node->used, 2);
  EXPECT_EQ(ASNdel(a), 1);
  EXPECT_EQ(node->used, 1);
  EXPECT_EQ(ASNdel(b), 1);
  EXPECT_EQ(node->used, 0);
  EXPECT_EQ(ASNdel(node), 1);
  EXPECT_EQ(ASNdel(nullptr), 0);
}

}  // namespace
}  // namespace sigillo
