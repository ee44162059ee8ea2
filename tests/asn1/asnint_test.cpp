// INTEGER values: content octets to machine integers at the 32- and 64-bit
// bounds, minimal encodings checked against OpenSSL's decoder, big integers
// as hexadecimal and decimal text, and the in-place conversion of tagged
// strings.
#include "asn1/asnint.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <string>

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

constexpr char kTooWide[] = "Impossibile convertire valore da STR a INT, valore troppo grande";

AobjPtr integer(const std::string& contentHex) {
  const Bytes content = fromHex(contentHex);
  return AobjPtr(
      ASNxVAL(CLASVAL, kTagInteger, content.data(), static_cast<uint32_t>(content.size())));
}

void expectOnlyError(uint32_t code, const std::string& message) {
  auto stack = errorStack();
  ASSERT_FALSE(stack.empty()) << message;
  EXPECT_EQ(stack[0].file, "asn");
  EXPECT_EQ(stack[0].code, code);
  EXPECT_EQ(stack[0].message, message);
}

TEST(AsnInt, ContentOctetsToInt64) {
  struct Case {
    std::string hex;
    int64_t value;
  };
  const Case cases[] = {
      {"00", 0},
      {"7F", 127},
      {"80", -128},
      {"FF", -1},
      {"0080", 128},
      {"FF7F", -129},
      {"0000000001", 1},
      {"FFFFFFFFFF", -1},
      {"7FFFFFFF", INT32_MAX},
      {"80000000", INT32_MIN},
      {"7FFFFFFFFFFFFFFF", INT64_MAX},
      {"8000000000000000", INT64_MIN},
      {"007FFFFFFFFFFFFFFF", INT64_MAX},
      {"FFFF8000000000000000", INT64_MIN},
  };
  for (const Case& c : cases) {
    TRclrerr();
    const Bytes content = fromHex(c.hex);
    int64_t value = 12345;
    EXPECT_EQ(asnStr2Int(content.data(), static_cast<uint32_t>(content.size()), &value), 0)
        << c.hex;
    EXPECT_EQ(value, c.value) << c.hex;
  }
  for (const std::string hex : {"008000000000000000", "FF7FFFFFFFFFFFFFFF", "010000000000000000"}) {
    TRclrerr();
    const Bytes content = fromHex(hex);
    int64_t value = 12345;
    EXPECT_EQ(asnStr2Int(content.data(), static_cast<uint32_t>(content.size()), &value), 29) << hex;
    EXPECT_EQ(value, 12345);
    expectOnlyError(29, kTooWide);
  }
  TRclrerr();
  int64_t value = 0;
  EXPECT_EQ(asnStr2Int(nullptr, 0, &value), 29);
  expectOnlyError(29, "La lunghezza del nodo INT e' zero");
}

TEST(AsnInt, ThirtyTwoBitBounds) {
  struct Case {
    std::string hex;
    bool signedFits;
    int32_t signedValue;
    std::string unsignedMessage;  // empty: fits
    uint32_t unsignedValue;
  };
  const Case cases[] = {
      {"7FFFFFFF", true, INT32_MAX, "", 0x7FFFFFFFu},
      {"0080000000", false, 0, "", 0x80000000u},
      {"80000000", true, INT32_MIN,
       "Impossibile convertire valore negativo -2147483648 in INT senza segno", 0},
      {"FF7FFFFFFF", false, 0,
       "Impossibile convertire valore negativo -2147483649 in INT senza segno", 0},
      {"00FFFFFFFF", false, 0, "", UINT32_MAX},
      {"0100000000", false, 0, kTooWide, 0},
      {"00", true, 0, "", 0},
      {"FF", true, -1, "Impossibile convertire valore negativo -1 in INT senza segno", 0},
  };
  for (const Case& c : cases) {
    AobjPtr node = integer(c.hex);
    TRclrerr();
    int32_t s = 7;
    if (c.signedFits) {
      EXPECT_EQ(ASNint2i32(node.get(), &s), 0) << c.hex;
      EXPECT_EQ(s, c.signedValue) << c.hex;
    } else {
      EXPECT_EQ(ASNint2i32(node.get(), &s), 29) << c.hex;
      EXPECT_EQ(s, 7);
      expectOnlyError(29, kTooWide);
    }
    TRclrerr();
    uint32_t u = 7;
    if (c.unsignedMessage.empty()) {
      EXPECT_EQ(ASNint2u32(node.get(), &u), 0) << c.hex;
      EXPECT_EQ(u, c.unsignedValue) << c.hex;
    } else {
      EXPECT_EQ(ASNint2u32(node.get(), &u), 29) << c.hex;
      EXPECT_EQ(u, 7u);
      expectOnlyError(29, c.unsignedMessage);
    }
  }
}

TEST(AsnInt, WrongNodes) {
  AobjPtr text(ASNxSTR(kTagOctetString, reinterpret_cast<const uint8_t*>("\x01"), 1));
  int64_t value = 0;
  std::string out;
  TRclrerr();
  EXPECT_EQ(ASNint2i64(text.get(), &value), 29);
  expectOnlyError(29, "TIPO_ERRATO PER questa funzione");
  TRclrerr();
  EXPECT_EQ(ASNint2hex(nullptr, &out), 304);
  expectOnlyError(304, "Oggetto ASN.1 nullo");
  TRclrerr();
  EXPECT_EQ(ASNint2dec(text.get(), &out), 29);
  expectOnlyError(29, "TIPO_ERRATO PER questa funzione");
}

TEST(AsnInt, MinimalEncodings) {
  struct Case {
    int64_t value;
    std::string der;
  };
  const Case cases[] = {
      {0, "020100"},
      {1, "020101"},
      {127, "02017F"},
      {128, "02020080"},
      {255, "020200FF"},
      {256, "02020100"},
      {-1, "0201FF"},
      {-128, "020180"},
      {-129, "0202FF7F"},
      {-256, "0202FF00"},
      {-257, "0202FEFF"},
      {INT32_MAX, "02047FFFFFFF"},
      {INT32_MIN, "020480000000"},
      {int64_t{INT32_MAX} + 1, "02050080000000"},
      {int64_t{INT32_MIN} - 1, "0205FF7FFFFFFF"},
      {INT64_MAX, "02087FFFFFFFFFFFFFFF"},
      {INT64_MIN, "02088000000000000000"},
  };
  for (const Case& c : cases) {
    AobjPtr node(ASNxINT64(kTagInteger, c.value));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(der(node.get()), c.der) << c.value;
    int64_t back = 0;
    EXPECT_EQ(ASNint2i64(node.get(), &back), 0);
    EXPECT_EQ(back, c.value);
  }
  struct Unsigned {
    uint32_t value;
    std::string der;
  };
  const Unsigned unsignedCases[] = {{0, "020100"},
                                    {0x80, "02020080"},
                                    {0x7FFFFFFF, "02047FFFFFFF"},
                                    {0x80000000, "02050080000000"},
                                    {UINT32_MAX, "020500FFFFFFFF"}};
  for (const Unsigned& c : unsignedCases) {
    AobjPtr node(ASNxUINT32(kTagEnumerated, c.value));
    EXPECT_EQ(der(node.get()), "0A" + c.der.substr(2)) << c.value;
    uint32_t back = 0;
    EXPECT_EQ(ASNint2u32(node.get(), &back), 0);
    EXPECT_EQ(back, c.value);
  }
}

// Random values encoded here and decoded by OpenSSL, and the other way round.
TEST(AsnInt, AgreesWithOpenSsl) {
  for (int i = 0; i < 2000; ++i) {
    int64_t value = 0;
    ASSERT_EQ(RAND_bytes(reinterpret_cast<unsigned char*>(&value), sizeof value), 1);
    value >>= (i % 64);  // every magnitude
    AobjPtr node(ASNxINT64(kTagInteger, value));
    uint32_t size = 0;
    uint8_t* bytes = DERmake(node.get(), &size);
    ASSERT_NE(bytes, nullptr);
    const unsigned char* in = bytes;
    ASN1_INTEGER* decoded = d2i_ASN1_INTEGER(nullptr, &in, size);
    ASSERT_NE(decoded, nullptr) << value;
    int64_t theirs = 0;
    EXPECT_EQ(ASN1_INTEGER_get_int64(&theirs, decoded), 1);
    EXPECT_EQ(theirs, value);
    // OpenSSL's own encoding of the same value is byte for byte ours.
    unsigned char* mine = nullptr;
    const int length = i2d_ASN1_INTEGER(decoded, &mine);
    EXPECT_EQ(toHex(mine, static_cast<size_t>(length)), toHex(bytes, size)) << value;
    OPENSSL_free(mine);
    ASN1_INTEGER_free(decoded);
    TRFREE(bytes);
  }
}

TEST(AsnInt, BigIntegersAgreeWithOpenSslText) {
  for (int i = 0; i < 300; ++i) {
    BIGNUM* bn = BN_new();
    ASSERT_EQ(BN_rand(bn, 1 + i * 7 % 600, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY), 1);
    BN_set_negative(bn, i % 3 == 0);
    char* hex = BN_bn2hex(bn);
    char* dec = BN_bn2dec(bn);
    AobjPtr fromHexText(ASNhex2INT(kTagInteger, hex));
    AobjPtr fromDecText(ASNdec2INT(kTagInteger, dec));
    ASSERT_NE(fromHexText, nullptr) << hex;
    ASSERT_NE(fromDecText, nullptr) << dec;
    // The content octets are what OpenSSL writes for the same number.
    ASN1_INTEGER* theirs = BN_to_ASN1_INTEGER(bn, nullptr);
    unsigned char* encoded = nullptr;
    const int length = i2d_ASN1_INTEGER(theirs, &encoded);
    EXPECT_EQ(der(fromHexText.get()), toHex(encoded, static_cast<size_t>(length))) << hex;
    EXPECT_EQ(der(fromDecText.get()), toHex(encoded, static_cast<size_t>(length))) << dec;
    std::string text;
    EXPECT_EQ(ASNint2dec(fromHexText.get(), &text), 0);
    EXPECT_EQ(text, dec);
    EXPECT_EQ(ASNint2hex(fromDecText.get(), &text), 0);
    AobjPtr again(ASNhex2INT(kTagInteger, text.c_str()));
    EXPECT_EQ(der(again.get()), der(fromHexText.get())) << text;
    OPENSSL_free(encoded);
    ASN1_INTEGER_free(theirs);
    OPENSSL_free(hex);
    OPENSSL_free(dec);
    BN_free(bn);
  }
}

TEST(AsnInt, HexadecimalText) {
  struct Case {
    const char* text;
    std::string der;
    std::string back;  // ASNint2hex of the node
  };
  const Case cases[] = {
      {"0", "020100", "00"},
      {"00", "020100", "00"},
      {"-0", "020100", "00"},
      {"7f", "02017F", "7F"},
      {"80", "02020080", "80"},
      {"0x1234", "02021234", "1234"},
      {"0XaBc", "02020ABC", "0ABC"},
      {"000001", "020101", "01"},
      {"-1", "0201FF", "-01"},
      {"-80", "020180", "-80"},
      {"-81", "0202FF7F", "-81"},
      {"-0x100", "0202FF00", "-0100"},
      {"-0xFFFFFFFFFFFFFFFFFF", "020AFF000000000000000001", "-FFFFFFFFFFFFFFFFFF"},
      {"0123456789ABCDEF0123", "020A0123456789ABCDEF0123", "0123456789ABCDEF0123"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    AobjPtr node(ASNhex2INT(kTagInteger, c.text));
    ASSERT_NE(node, nullptr) << c.text;
    EXPECT_EQ(der(node.get()), c.der) << c.text;
    std::string text;
    EXPECT_EQ(ASNint2hex(node.get(), &text), 0);
    EXPECT_EQ(text, c.back) << c.text;
  }
  for (const char* bad :
       {"", "-", "0x", "-0x", "12G4", "- 1", "--1", "+1", "0x-1", "1 2", "0xx1"}) {
    TRclrerr();
    EXPECT_EQ(ASNhex2INT(kTagInteger, bad), nullptr) << bad;
    expectOnlyError(22, std::string("Valore esadecimale '") + bad + "' non valido");
  }
}

TEST(AsnInt, DecimalText) {
  struct Case {
    const char* text;
    std::string der;
    std::string back;
  };
  const Case cases[] = {
      {"0", "020100", "0"},
      {"-0", "020100", "0"},
      {"007", "020107", "7"},
      {"128", "02020080", "128"},
      {"-129", "0202FF7F", "-129"},
      {"4294967295", "020500FFFFFFFF", "4294967295"},
      {"18446744073709551616", "0209010000000000000000", "18446744073709551616"},
      {"-9223372036854775809", "0209FF7FFFFFFFFFFFFFFF", "-9223372036854775809"},
      {"5373003642731685151011", "020A0123456789ABCDEF0123", "5373003642731685151011"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    AobjPtr node(ASNdec2INT(kTagInteger, c.text));
    ASSERT_NE(node, nullptr) << c.text;
    EXPECT_EQ(der(node.get()), c.der) << c.text;
    std::string text;
    EXPECT_EQ(ASNint2dec(node.get(), &text), 0);
    EXPECT_EQ(text, c.back);
  }
  for (const char* bad : {"", "-", "12a", "1 2", " 1", "+1", "--1", "0x10", "1.5"}) {
    TRclrerr();
    EXPECT_EQ(ASNdec2INT(kTagInteger, bad), nullptr) << bad;
    expectOnlyError(22, std::string("Valore decimale '") + bad + "' non valido");
  }
}

TEST(AsnInt, TaggedStringBecomesInteger) {
  // [2] IMPLICIT INTEGER as the parser leaves it: a string node keeping 0x82.
  const Bytes content = fromHex("0100");
  aobj* node = ASNxSTR(0x82, content.data(), 2);
  ASSERT_NE(node, nullptr);
  ASNsetname(node, "serial");
  AobjPtr seq(ASNxSEQ(CLASSEQ, kTagSequence, kSeqNode, node, kSeqEnd));
  ASSERT_NE(seq, nullptr);
  const std::string before = der(seq.get());

  TRclrerr();
  EXPECT_EQ(ASNconv2int(node), 0);
  EXPECT_EQ(node->kind, static_cast<uint32_t>(CLASVAL));
  EXPECT_EQ(node->tag, 0x82);
  EXPECT_STREQ(node->name, "serial");
  EXPECT_EQ(node->u.integer.cached, 256);
  EXPECT_EQ(ASNgetChild(seq.get(), 0), node);
  EXPECT_EQ(der(seq.get()), before);
  int64_t value = 0;
  EXPECT_EQ(ASNint2i64(node, &value), 0);
  EXPECT_EQ(value, 256);
  // Already an INTEGER: nothing changes.
  EXPECT_EQ(ASNconv2int(node), 0);
  EXPECT_EQ(der(seq.get()), before);

  const uint8_t cn[] = {0x55, 0x04, 0x03};
  AobjPtr oid(ASNxOID(kTagOid, cn, 3));
  AobjPtr empty(ASNxSTR(0x80, nullptr, 0));
  AobjPtr sequence(ASNxSEQ(CLASSEQ, kTagSequence, kSeqEnd));
  struct Bad {
    aobj* node;
    uint16_t code;
    std::string message;
  };
  const Bad bad[] = {
      {nullptr, 304, "Oggetto ASN.1 nullo"},
      {oid.get(), 29, "Impossibile convertire in INTEGER ASN.1"},
      {empty.get(), 29, "Impossibile convertire in INTEGER ASN.1"},
      {sequence.get(), 29, "Impossibile convertire in INTEGER ASN.1"},
  };
  for (const Bad& c : bad) {
    TRclrerr();
    EXPECT_EQ(ASNconv2int(c.node), c.code) << c.message;
    expectOnlyError(c.code, c.message);
  }
  EXPECT_EQ(oid->kind, static_cast<uint32_t>(CLASOID));
  EXPECT_EQ(empty->kind, static_cast<uint32_t>(CLASSTR));
}

}  // namespace
}  // namespace sigillo
