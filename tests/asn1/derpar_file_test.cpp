// DER parser on real objects and large values: certificates and a CRL made
// by the openssl CLI re-encode to the same bytes from a buffer and from a
// file, every truncation of a certificate fails with code 29, and values
// above the in-memory limit stay in the file.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::describe;
using test::encode;
using test::stackLines;
using test::TempDir;

TEST(DerParserFile, ValuesAboveTheLimitStayInTheFile) {
  TempDir dir;
  const std::string path = dir.file("value.der");
  // Up to 655360 octets a value is read into the tree.
  for (const uint32_t length : {655360u, 655361u}) {
    const uint32_t n = length + 5;
    Bytes der = {0x30, 0x83, uint8_t(n >> 16),      uint8_t(n >> 8),      uint8_t(n),
                 0x04, 0x83, uint8_t(length >> 16), uint8_t(length >> 8), uint8_t(length)};
    der.resize(der.size() + length, 0x5A);
    test::writeBytes(path, der);
    AobjPtr tree(DERfLoad(path.c_str()));
    ASSERT_NE(tree, nullptr);
    const aobj* value = tree->u.seq.children[0];
    EXPECT_EQ(value->kind, length > 655360 ? CLASINDIR : CLASSTR) << length;
    if (length > 655360) EXPECT_EQ(describe(value), "IND04:655361@10");
    EXPECT_EQ(encode(tree.get()), der);
  }
}

TEST(DerParserFile, AValuePastFourGigabytesIsRefused) {
  TempDir dir;
  const std::string path = dir.file("sparse.der");
  // Two values of 2^31 - 1 octets: the second one no longer fits the
  // 32-bit length of their parent.
  {
    std::ofstream out(path, std::ios::binary);
    out.write("\x30\x80\x04\x84\x7F\xFF\xFF\xFF", 8);
    out.seekp(0x80000007);
    out.write("\x04\x84\x7F\xFF\xFF\xFF", 6);
  }
  std::filesystem::resize_file(path, 0x10000000Cull);
  DERPARSER context;
  DERPARSER_init(&context);
  TRclrerr();
  EXPECT_EQ(DERPARSER_fparse(&context, path.c_str(), 0), nullptr);
  EXPECT_EQ(stackLines(),
            (std::vector<std::string>{
                "asn:insertChild:5:Valore troppo grande (2147483653 byte)",
                "derpar:DERPARSER_fparse_node:301:Fallita aggiunta del nodo figlio n. 1",
                "derpar:DERPARSER_fparse:29:Errore nell'albero ASN.1"}));
  EXPECT_EQ(context.error.position, 0x10000000Cull);
  DERPARSER_clean(&context);
}

TEST(DerParserFile, EveryTruncationOfACertificateIsMalformed) {
  TempDir dir;
  const Bytes cert = test::freshCertificate(dir);
  ASSERT_GT(cert.size(), 500u);
  const std::string path = dir.file("cut.der");
  for (size_t n = 0; n < cert.size(); ++n) {
    SCOPED_TRACE(n);
    TRclrerr();
    EXPECT_EQ(DERparse(cert.data(), n), nullptr);
    ASSERT_EQ(stackLines().back().rfind("derpar:DERparse_:29:Errore nel buffer ", 0), 0u);
    test::writeBytes(path, Bytes(cert.begin(), cert.begin() + static_cast<ptrdiff_t>(n)));
    EXPECT_EQ(DERfLoad(path.c_str()), nullptr);
    ASSERT_EQ(*get_sErroR(), 29);
  }
}

TEST(DerParserFile, CertificatesAndCrlReencodeToTheSameBytes) {
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
  // tbsCertList.revokedCertificates holds every serial openssl revoked.
  AobjPtr tree(DERparse(crl.data(), crl.size()));
  EXPECT_EQ(tree->u.seq.children[0]->u.seq.children[5]->u.seq.count, 150u);
}

}  // namespace
}  // namespace sigillo
