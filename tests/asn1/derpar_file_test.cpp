// DER parser on real objects and large values: certificates and CRLs made by
// the openssl CLI parse and re-encode to the same bytes from a buffer and
// from a file, every truncation of a certificate fails with code 29, and
// large file values become indirect nodes that stream back unchanged.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/asn1/derpar_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::describe;
using test::encode;
using test::fromHex;
using test::stackLines;
using test::TempDir;

class DerParserFileTest : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override { TRclrerr(); }
};

// An OCTET STRING of `length` (256 or more) octets 0x5A, in DER.
Bytes octetString(uint32_t length) {
  Bytes der = {0x04, static_cast<uint8_t>(length > 0xFFFF ? 0x83 : 0x82)};
  if (length > 0xFFFF) der.push_back(static_cast<uint8_t>(length >> 16));
  der.push_back(static_cast<uint8_t>(length >> 8));
  der.push_back(static_cast<uint8_t>(length));
  der.resize(der.size() + length, 0x5A);
  return der;
}

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST_F(DerParserFileTest, MillionOctetValueStaysInTheFile) {
  TempDir dir;
  const Bytes value = octetString(1000000);
  const std::string plain = dir.file("plain.der");
  const std::string prefixed = dir.file("prefixed.der");
  test::writeBytes(plain, value);
  test::writeBytes(prefixed, concat({fromHex("00112233445566"), value}));
  struct Case {
    std::string path;
    uint32_t offset;
  };
  for (const Case& c : {Case{plain, 0}, Case{prefixed, 7}}) {
    SCOPED_TRACE(c.path);
    AobjPtr tree(DERfParse_(c.path.c_str(), c.offset, kDerStrict));
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->kind, static_cast<uint32_t>(CLASINDIR));
    EXPECT_EQ(tree->tag, 0x04);
    EXPECT_EQ(tree->length, 1000000u);
    EXPECT_STREQ(tree->u.indirect->file, c.path.c_str());
    // The value starts after the five identifier and length octets.
    EXPECT_EQ(tree->u.indirect->offset, c.offset + 5);
    EXPECT_EQ(tree->u.indirect->deleteWithNode, 0);
    EXPECT_TRUE(stackLines().empty());
    EXPECT_EQ(encode(tree.get()), value);
  }
}

TEST_F(DerParserFileTest, ValuesUpTo655360OctetsAreRead) {
  TempDir dir;
  const std::string path = dir.file("values.der");
  struct Case {
    uint32_t length;
    uint32_t kind;
  };
  for (const Case& c : {Case{65535, CLASSTR}, Case{65536, CLASSTR}, Case{100000, CLASSTR},
                        Case{655360, CLASSTR}, Case{655361, CLASINDIR}}) {
    SCOPED_TRACE(c.length);
    const Bytes der = octetString(c.length);
    test::writeBytes(path, der);
    AobjPtr tree(DERfLoad(path.c_str()));
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->kind, c.kind);
    EXPECT_EQ(tree->length, c.length);
    if (c.kind == CLASSTR) {
      EXPECT_EQ(Bytes(tree->value, tree->value + c.length), Bytes(c.length, 0x5A));
    }
    EXPECT_EQ(encode(tree.get()), der);
  }
}

TEST_F(DerParserFileTest, ParsingGoesOnAfterAnIndirectValue) {
  TempDir dir;
  const std::string path = dir.file("nested.der");
  const Bytes inner =
      concat({fromHex("020101"), octetString(700000), fromHex("020102"), fromHex("0401AA")});
  const auto length = static_cast<uint32_t>(inner.size());
  const Bytes der = concat({Bytes{0x30, 0x83, static_cast<uint8_t>(length >> 16),
                                  static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)},
                            inner});
  test::writeBytes(path, der);
  AobjPtr tree(DERfParse_(path.c_str(), 0, kDerStrict));
  EXPECT_EQ(describe(tree.get()), "SEQ30:" + std::to_string(length) +
                                      "{INT02:1=01,IND04:700000@13,INT02:1=02,STR04:1=AA}");
  EXPECT_EQ(encode(tree.get()), der);

  // From a buffer the same value is copied into the tree.
  AobjPtr fromBuffer(DERparse_(der.data(), der.size(), kDerStrict));
  ASSERT_NE(fromBuffer, nullptr);
  EXPECT_EQ(fromBuffer->u.seq.children[1]->kind, static_cast<uint32_t>(CLASSTR));
  EXPECT_EQ(encode(fromBuffer.get()), der);
}

TEST_F(DerParserFileTest, IndirectNodeNeedsAShortFileName) {
  TempDir dir;
  const std::string folder = dir.file(std::string(150, 'd'));
  std::filesystem::create_directory(folder);
  const std::string path = folder + "/" + std::string(120, 'f');
  test::writeBytes(path, octetString(700000));
  DERPARSER context;
  DERPARSER_init(&context);
  EXPECT_EQ(DERPARSER_fparse(&context, path.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (std::vector<std::string>{
                "asn:ASNxIND:5:Valore troppo grande (" + std::to_string(path.size()) + " byte)",
                "derpar:DERPARSER_fparse_node:301:Esecuzione fallita",
                "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.code, 5);
  EXPECT_EQ(context.error.position, 700005u);
  DERPARSER_clean(&context);
}

// A sparse file of `size` bytes holding `pieces` at their offsets.
bool writeSparse(const std::string& path, uint64_t size,
                 const std::vector<std::pair<uint64_t, Bytes>>& pieces) {
  {
    std::ofstream out(path, std::ios::binary);
    for (const auto& [offset, bytes] : pieces) {
      out.seekp(static_cast<std::streamoff>(offset));
      out.write(reinterpret_cast<const char*>(bytes.data()),
                static_cast<std::streamsize>(bytes.size()));
    }
    if (!out) return false;
  }
  std::error_code ec;
  std::filesystem::resize_file(path, size, ec);
  return !ec;
}

TEST_F(DerParserFileTest, ChildrenBeyondFourGigabytesAreRefused) {
  TempDir dir;
  const std::string path = dir.file("sparse.der");
  // Two values of 2^31 - 1 octets: the second one no longer fits the
  // 32-bit length of their parent.
  ASSERT_TRUE(writeSparse(path, 0x10000000Cull,
                          {{0, fromHex("3080"
                                       "04847FFFFFFF")},
                           {0x80000007, fromHex("04847FFFFFFF")}}));
  DERPARSER context;
  DERPARSER_init(&context);
  EXPECT_EQ(DERPARSER_fparse(&context, path.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (std::vector<std::string>{
                "asn:insertChild:5:Valore troppo grande (2147483653 byte)",
                "derpar:DERPARSER_fparse_node:301:Fallita aggiunta del nodo figlio n. 1",
                "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.code, 5);
  EXPECT_EQ(context.error.position, 0x10000000Cull);
  ASSERT_EQ(context.error.pathLength, 1);

  // A value that starts past 2^32 - 1 cannot be recorded in an indirect node.
  ASSERT_TRUE(writeSparse(path, 0x100000002ull,
                          {{0, fromHex("3080"
                                       "0484FFFFFFF4")},
                           {0xFFFFFFFC, fromHex("0484000A0001")}}));
  EXPECT_EQ(DERPARSER_fparse(&context, path.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (std::vector<std::string>{
                "derpar:DERPARSER_fparse_node:201:Impossibile determinare posizione nel file '" +
                    path + "'",
                "derpar:DERPARSER_fparse_node:29:Nodo ASN1 non valido, errore nel nodo figlio 1",
                "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.code, 201);
  EXPECT_EQ(context.error.position, 0x100000002ull);
  ASSERT_EQ(context.error.pathLength, 2);
  EXPECT_EQ(context.error.path[1], 1);
  DERPARSER_clean(&context);
}

TEST_F(DerParserFileTest, EveryTruncationOfACertificateIsMalformed) {
  TempDir dir;
  const Bytes cert = test::freshCertificate(dir);
  ASSERT_GT(cert.size(), 500u);
  const std::string path = dir.file("cut.der");
  for (size_t n = 0; n < cert.size(); ++n) {
    SCOPED_TRACE(n);
    EXPECT_EQ(DERparse(cert.data(), n), nullptr);
    ASSERT_EQ(*get_sErroR(), 29);
    ASSERT_EQ(stackLines().back().rfind("derpar:DERparse_:29:Errore nel buffer ", 0), 0u);
    test::writeBytes(path, Bytes(cert.begin(), cert.begin() + static_cast<ptrdiff_t>(n)));
    EXPECT_EQ(DERfLoad(path.c_str()), nullptr);
    ASSERT_EQ(*get_sErroR(), 29);
  }
}

void expectRoundTrip(const Bytes& der, const TempDir& dir) {
  AobjPtr fromBuffer(DERparse_(der.data(), der.size(), kDerStrict));
  ASSERT_NE(fromBuffer, nullptr) << ::testing::PrintToString(stackLines());
  EXPECT_EQ(encode(fromBuffer.get()), der);
  const std::string path = dir.file("object.der");
  test::writeBytes(path, der);
  AobjPtr fromFile(DERfParse_(path.c_str(), 0, kDerStrict));
  ASSERT_NE(fromFile, nullptr) << ::testing::PrintToString(stackLines());
  EXPECT_EQ(encode(fromFile.get()), der);
  EXPECT_EQ(describe(fromFile.get()), describe(fromBuffer.get()));
}

TEST_F(DerParserFileTest, CertificatesReencodeToTheSameBytes) {
  TempDir dir;
  std::vector<Bytes> certs = test::systemCertificates(dir, 40);
  certs.push_back(test::freshCertificate(dir));
  ASSERT_GE(certs.size(), 2u);
  for (const Bytes& cert : certs) {
    ASSERT_FALSE(cert.empty());
    expectRoundTrip(cert, dir);
  }
}

TEST_F(DerParserFileTest, CrlReencodesToTheSameBytes) {
  TempDir dir;
  const Bytes crl = test::opensslCrl(dir, 150);
  ASSERT_FALSE(crl.empty());
  expectRoundTrip(crl, dir);
  AobjPtr tree(DERparse(crl.data(), crl.size()));
  ASSERT_NE(tree, nullptr);
  // CertificateList.tbsCertList: version, signature, issuer, thisUpdate,
  // nextUpdate, revokedCertificates, ...
  const aobj* revoked = tree->u.seq.children[0]->u.seq.children[5];
  ASSERT_EQ(revoked->kind, static_cast<uint32_t>(CLASSEQ));
  EXPECT_EQ(revoked->u.seq.count, 150u);
  EXPECT_EQ(
      describe(revoked->u.seq.children[0]),
      "SEQ30:19{INT02:2=1001,DATE17:13=" + test::toHex(test::textBytes("240102030405Z")) + "}");
}

}  // namespace
}  // namespace sigillo
