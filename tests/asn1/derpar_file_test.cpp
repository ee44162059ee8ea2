// DER parser on real objects and large values: certificates and CRLs made by
// the openssl CLI parse and re-encode to the same bytes from a buffer and
// from a file, every truncation of a certificate fails with code 29, and
// large file values become indirect nodes that stream back unchanged.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::describe;
using test::encode;
using test::fromHex;
using test::stackLines;
using test::TempDir;
using Lines = std::vector<std::string>;

class DerParserFileTest : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override { TRclrerr(); }
};

// `prefix`, then an OCTET STRING of `length` (256 or more) octets 0x5A.
Bytes octetString(uint32_t length, Bytes prefix = {}) {
  prefix.insert(prefix.end(), {0x04, static_cast<uint8_t>(length > 0xFFFF ? 0x83 : 0x82)});
  if (length > 0xFFFF) prefix.push_back(static_cast<uint8_t>(length >> 16));
  prefix.insert(prefix.end(), {static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
  prefix.resize(prefix.size() + length, 0x5A);
  return prefix;
}

TEST_F(DerParserFileTest, LargeValuesStayInTheFile) {
  TempDir dir;
  const std::string path = dir.file("value.der");
  for (const uint32_t offset : {0u, 7u}) {
    const Bytes file = octetString(1000000, Bytes(offset, 0x11));
    test::writeBytes(path, file);
    AobjPtr tree(DERfParse_(path.c_str(), offset, kDerStrict));
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(describe(tree.get()), "IND04:1000000@" + std::to_string(offset + 5));
    EXPECT_STREQ(tree->u.indirect->file, path.c_str());
    EXPECT_EQ(tree->u.indirect->deleteWithNode, 0);
    EXPECT_EQ(encode(tree.get()), Bytes(file.begin() + offset, file.end()));
  }
  // Up to 655360 octets a value is read into the tree.
  for (const uint32_t length : {65536u, 655360u, 655361u}) {
    const Bytes der = octetString(length);
    test::writeBytes(path, der);
    AobjPtr tree(DERfLoad(path.c_str()));
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->kind, length > 655360 ? CLASINDIR : CLASSTR) << length;
    EXPECT_EQ(encode(tree.get()), der);
  }
  // Parsing goes on after an indirect value; from a buffer it is copied.
  Bytes inner = octetString(700000, fromHex("020101"));
  inner.insert(inner.end(), {0x02, 0x01, 0x02, 0x04, 0x01, 0xAA});
  const auto n = static_cast<uint32_t>(inner.size());
  Bytes der = {0x30, 0x83, static_cast<uint8_t>(n >> 16), static_cast<uint8_t>(n >> 8),
               static_cast<uint8_t>(n)};
  der.insert(der.end(), inner.begin(), inner.end());
  test::writeBytes(path, der);
  AobjPtr tree(DERfParse_(path.c_str(), 0, kDerStrict));
  EXPECT_EQ(describe(tree.get()),
            "SEQ30:" + std::to_string(n) + "{INT02:1=01,IND04:700000@13,INT02:1=02,STR04:1=AA}");
  EXPECT_EQ(encode(tree.get()), der);
  AobjPtr fromBuffer(DERparse_(der.data(), der.size(), kDerStrict));
  ASSERT_NE(fromBuffer, nullptr);
  EXPECT_EQ(fromBuffer->u.seq.children[1]->kind, static_cast<uint32_t>(CLASSTR));
  EXPECT_EQ(encode(fromBuffer.get()), der);

  // An indirect node needs a short file name.
  const std::string folder = dir.file(std::string(150, 'd'));
  std::filesystem::create_directory(folder);
  const std::string longName = folder + "/" + std::string(120, 'f');
  test::writeBytes(longName, octetString(700000));
  DERPARSER context;
  DERPARSER_init(&context);
  EXPECT_EQ(DERPARSER_fparse(&context, longName.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(), (Lines{"asn:ASNxIND:5:Valore troppo grande (" +
                                     std::to_string(longName.size()) + " byte)",
                                 "derpar:DERPARSER_fparse_node:301:Esecuzione fallita",
                                 "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.code, 5);
  EXPECT_EQ(context.error.position, 700005u);
  DERPARSER_clean(&context);
}

// A sparse file of `size` bytes holding `pieces` at their offsets.
void writeSparse(const std::string& path, uint64_t size,
                 const std::vector<std::pair<uint64_t, Bytes>>& pieces) {
  {
    std::ofstream out(path, std::ios::binary);
    for (const auto& [offset, bytes] : pieces) {
      out.seekp(static_cast<std::streamoff>(offset));
      out.write(reinterpret_cast<const char*>(bytes.data()),
                static_cast<std::streamsize>(bytes.size()));
    }
  }
  std::filesystem::resize_file(path, size);
}

TEST_F(DerParserFileTest, ChildrenBeyondFourGigabytesAreRefused) {
  TempDir dir;
  const std::string path = dir.file("sparse.der");
  // Two values of 2^31 - 1 octets: the second one no longer fits the
  // 32-bit length of their parent.
  writeSparse(path, 0x10000000Cull,
              {{0, fromHex("308004847FFFFFFF")}, {0x80000007, fromHex("04847FFFFFFF")}});
  DERPARSER context;
  DERPARSER_init(&context);
  EXPECT_EQ(DERPARSER_fparse(&context, path.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (Lines{"asn:insertChild:5:Valore troppo grande (2147483653 byte)",
                   "derpar:DERPARSER_fparse_node:301:Fallita aggiunta del nodo figlio n. 1",
                   "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.code, 5);
  EXPECT_EQ(context.error.position, 0x10000000Cull);
  EXPECT_EQ(context.error.pathLength, 1);

  // A value that starts past 2^32 - 1 cannot be recorded in an indirect node.
  writeSparse(path, 0x100000002ull,
              {{0, fromHex("30800484FFFFFFF4")}, {0xFFFFFFFC, fromHex("0484000A0001")}});
  EXPECT_EQ(DERPARSER_fparse(&context, path.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (Lines{"derpar:DERPARSER_fparse_node:201:Impossibile determinare posizione nel file '" +
                       path + "'",
                   "derpar:DERPARSER_fparse_node:29:Nodo ASN1 non valido, errore nel nodo figlio 1",
                   "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.code, 201);
  EXPECT_EQ(context.error.position, 0x100000002ull);
  EXPECT_EQ(context.error.pathLength, 2);
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

TEST_F(DerParserFileTest, CertificatesAndCrlReencodeToTheSameBytes) {
  TempDir dir;
  std::vector<Bytes> objects = test::systemCertificates(dir, 40);
  objects.push_back(test::freshCertificate(dir));
  const Bytes crl = test::opensslCrl(dir, 150);
  objects.push_back(crl);
  ASSERT_GE(objects.size(), 3u);
  const std::string path = dir.file("object.der");
  for (const Bytes& der : objects) {
    ASSERT_FALSE(der.empty());
    AobjPtr fromBuffer(DERparse_(der.data(), der.size(), kDerStrict));
    ASSERT_NE(fromBuffer, nullptr) << ::testing::PrintToString(stackLines());
    EXPECT_EQ(encode(fromBuffer.get()), der);
    test::writeBytes(path, der);
    AobjPtr fromFile(DERfParse_(path.c_str(), 0, kDerStrict));
    ASSERT_NE(fromFile, nullptr) << ::testing::PrintToString(stackLines());
    EXPECT_EQ(describe(fromFile.get()), describe(fromBuffer.get()));
  }
  // CertificateList.tbsCertList: version, signature, issuer, thisUpdate,
  // nextUpdate, revokedCertificates, ...
  AobjPtr tree(DERparse(crl.data(), crl.size()));
  const aobj* revoked = tree->u.seq.children[0]->u.seq.children[5];
  EXPECT_EQ(revoked->u.seq.count, 150u);
  EXPECT_EQ(
      describe(revoked->u.seq.children[0]),
      "SEQ30:19{INT02:2=1001,DATE17:13=" + test::toHex(test::textBytes("240102030405Z")) + "}");
}

}  // namespace
}  // namespace sigillo
