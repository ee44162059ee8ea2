// INTEGER values: content octets to machine integers at the 32- and 64-bit
// bounds, minimal encodings checked against OpenSSL's decoder, big integers
// as hexadecimal and decimal text, and the in-place conversion of tagged
// strings.
#include "asn1/asnint.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

const std::string kTooWide = "29:Impossibile convertire valore da STR a INT, valore troppo grande";

AobjPtr integer(const Bytes& content) {
  return AobjPtr(
      ASNxVAL(CLASVAL, kTagInteger, content.data(), static_cast<uint32_t>(content.size())));
}

TEST(AsnInt, VectorsOfValuesEncodingsAndText) {
  for (const auto& v : test::loadVectors("asn1/integers.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    int64_t value = 12345;
    std::string text;
    if (v.group == "content") {
      const Bytes content = v.bytes("hex");
      EXPECT_EQ(asnStr2Int(content.data(), static_cast<uint32_t>(content.size()), &value), 0);
      EXPECT_EQ(value, v.number("value"));
    } else if (v.group == "der") {
      AobjPtr node(ASNxINT64(kTagInteger, v.number("value")));
      EXPECT_EQ(der(node.get()), v.text("der"));
      Bytes content = v.bytes("der");
      content.erase(content.begin(), content.begin() + 2);
      EXPECT_EQ(ASNint2i64(integer(content).get(), &value), 0);
      EXPECT_EQ(value, v.number("value"));
    } else if (v.group != "int32") {
      const bool hex = v.group == "hex";
      AobjPtr node(hex ? ASNhex2INT(kTagInteger, v.text("text").c_str())
                       : ASNdec2INT(kTagInteger, v.text("text").c_str()));
      ASSERT_NE(node, nullptr);
      EXPECT_EQ(der(node.get()), v.text("der"));
      EXPECT_EQ(hex ? ASNint2hex(node.get(), &text) : ASNint2dec(node.get(), &text), 0);
      EXPECT_EQ(text, v.text("back"));
    }
  }
  for (const char* hex : {"008000000000000000", "FF7FFFFFFFFFFFFFFF", "010000000000000000"}) {
    const Bytes content = fromHex(hex);
    int64_t value = 12345;
    TRclrerr();
    EXPECT_EQ(asnStr2Int(content.data(), static_cast<uint32_t>(content.size()), &value), 29);
    EXPECT_EQ(value, 12345);
    EXPECT_EQ(stackCodes(), Lines{kTooWide});
  }
  int64_t value = 0;
  TRclrerr();
  EXPECT_EQ(asnStr2Int(nullptr, 0, &value), 29);
  EXPECT_EQ(stackCodes(), Lines{"29:La lunghezza del nodo INT e' zero"});
  for (const char* bad : {"", "12G4", "0x-1"}) {
    TRclrerr();
    EXPECT_EQ(ASNhex2INT(kTagInteger, bad), nullptr) << bad;
    EXPECT_EQ(stackCodes(), Lines{std::string("22:Valore esadecimale '") + bad + "' non valido"});
  }
  for (const char* bad : {"", "+1", "0x10"}) {
    TRclrerr();
    EXPECT_EQ(ASNdec2INT(kTagInteger, bad), nullptr) << bad;
    EXPECT_EQ(stackCodes(), Lines{std::string("22:Valore decimale '") + bad + "' non valido"});
  }
}

TEST(AsnInt, ThirtyTwoBitBounds) {
  for (const auto& v : test::loadVectors("asn1/integers.txt")) {
    if (v.group != "int32") continue;
    AobjPtr node = integer(v.bytes("hex"));
    int32_t s = 7;
    uint32_t u = 7;
    const bool signedFits = v.text("signed").find(':') == std::string::npos;
    const bool unsignedFits = v.text("unsigned").find(':') == std::string::npos;
    TRclrerr();
    EXPECT_EQ(ASNint2i32(node.get(), &s), signedFits ? 0 : 29) << v.where();
    EXPECT_EQ(signedFits ? std::to_string(s) : stackCodes().at(0) + std::to_string(s),
              v.text("signed") + (signedFits ? "" : "7"))
        << v.where();
    TRclrerr();
    EXPECT_EQ(ASNint2u32(node.get(), &u), unsignedFits ? 0 : 29) << v.where();
    EXPECT_EQ(unsignedFits ? std::to_string(u) : stackCodes().at(0) + std::to_string(u),
              v.text("unsigned") + (unsignedFits ? "" : "7"))
        << v.where();
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
}

// Random big integers from hexadecimal and decimal text encode as OpenSSL
// encodes them.
TEST(AsnInt, AgreesWithOpenSsl) {
  for (int i = 0; i < 300; ++i) {
    BIGNUM* bn = BN_new();
    ASSERT_EQ(BN_rand(bn, 1 + i * 7 % 600, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY), 1);
    BN_set_negative(bn, i % 3 == 0);
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
    OPENSSL_free(encoded);
    ASN1_INTEGER_free(theirs);
    OPENSSL_free(hex);
    OPENSSL_free(dec);
    BN_free(bn);
  }
}

TEST(AsnInt, TaggedStringBecomesInteger) {
  // [2] IMPLICIT INTEGER as the parser leaves it: a string node keeping 0x82.
  aobj* node = ASNxSTR(0x82, fromHex("0100").data(), 2);
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence, kSeqNode, node, kSeqEnd));
  const std::string before = der(seq.get());
  for (int round = 0; round < 2; ++round) {  // the second time nothing changes
    EXPECT_EQ(ASNconv2int(node), 0);
    EXPECT_EQ(node->kind, static_cast<uint32_t>(CLASVAL));
    EXPECT_EQ(der(seq.get()), before);
  }
  int64_t value = 0;
  EXPECT_EQ(ASNint2i64(node, &value), 0);
  EXPECT_EQ(value, 256);
  AobjPtr oid(ASNxOID(kTagOid, fromHex("550403").data(), 3));
  AobjPtr empty(ASNxSTR(0x80, nullptr, 0));
  TRclrerr();
  EXPECT_EQ(ASNconv2int(nullptr), 304);
  EXPECT_EQ(ASNconv2int(oid.get()), 29);
  EXPECT_EQ(ASNconv2int(empty.get()), 29);
  const std::string refused = "29:Impossibile convertire in INTEGER ASN.1";
  EXPECT_EQ(stackCodes(), (Lines{"304:Oggetto ASN.1 nullo", refused, refused}));
}

}  // namespace
}  // namespace sigillo
