// DER parser on real objects and large values: certificates and a CRL made
// by the openssl CLI re-encode to the same bytes from a buffer and from a
// file, every truncation of a certificate fails with code 29, and values
// above the in-memory limit stay in the file.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::describe;
using test::encode;
using test::stackLines;
using test::TempDir;

// A self-signed certificate made now by the openssl CLI, in DER.
Bytes freshCertificate(const TempDir& dir) {
  const std::string cert = dir.file("fresh.der");
  const bool made =
      test::run("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=t -days 30 -keyout " +
                dir.file("fresh.key") + " -outform DER -out " + cert);
  return made ? test::fileBytes(cert) : Bytes{};
}

// Up to `count` certificates of the system CA bundle, in DER.
std::vector<Bytes> systemCertificates(const TempDir& dir, size_t count) {
  const std::string listed =
      test::runShell(dir.path().string(), "ls /etc/ssl/certs/*.pem | sort").out;
  std::vector<Bytes> certs;
  std::istringstream in(listed);
  for (std::string pem; certs.size() < count && std::getline(in, pem);) {
    if (test::run("openssl x509 -in '" + pem + "' -outform DER -out " + dir.file("ca.der"))) {
      certs.push_back(test::fileBytes(dir.file("ca.der")));
    }
  }
  return certs;
}

// A CRL signed by the openssl CLI that revokes `revoked` serial numbers,
// every third one with a reason code.
Bytes opensslCrl(const TempDir& dir, int revoked) {
  std::string lines;
  for (int i = 1; i <= revoked; ++i) {
    char line[128];
    snprintf(line, sizeof line, "R\t351231235959Z\t240102030405Z%s\t%04X\tunknown\t/CN=r%d\n",
             i % 3 == 0 ? ",keyCompromise" : "", i + 0x1000, i);
    lines += line;
  }
  test::writeFile(dir.file("index.txt"), lines);
  test::writeFile(dir.file("crlnumber"), "01\n");
  test::writeFile(dir.file("ca.cnf"),
                  "[ca]\ndefault_ca = d\n[d]\ndatabase = " + dir.file("index.txt") +
                      "\ncrlnumber = " + dir.file("crlnumber") +
                      "\ndefault_md = sha256\ndefault_crl_days = 30\n");
  const std::string key = dir.file("crl.key"), cert = dir.file("crlca.pem");
  const bool made =
      test::run("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=ca -days 30 -keyout " + key +
                " -out " + cert) &&
      test::run("openssl ca -gencrl -batch -config " + dir.file("ca.cnf") + " -keyfile " + key +
                " -cert " + cert + " -out " + dir.file("crl.pem")) &&
      test::run("openssl crl -in " + dir.file("crl.pem") + " -outform DER -out " +
                dir.file("crl.der"));
  return made ? test::fileBytes(dir.file("crl.der")) : Bytes{};
}

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
  const Bytes cert = freshCertificate(dir);
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
  std::vector<Bytes> objects = systemCertificates(dir, 40);
  objects.push_back(freshCertificate(dir));
  const Bytes crl = opensslCrl(dir, 150);
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
