// The ASN1 macro on real certificates in DER and PEM, and on broken input.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "asn1/asn.h"
#include "asn1/derload.h"
#include "asn1/derpar.h"
#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::errorStack;
using test::readFile;
using test::TempDir;
using test::writeFile;

class Asn1MacroTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    const std::string command = "cd '" + dir_->path().string() +
                                "' && openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=asn1 "
                                "-days 2 -keyout k.pem -out c.pem 2>/dev/null && "
                                "openssl x509 -in c.pem -outform DER -out c.der";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  static void TearDownTestSuite() { delete dir_; }

  static uint16_t run(const std::string& params) {
    const auto length = static_cast<uint32_t>(params.size());
    uint16_t rc = 0;
    ASN1(params.c_str(), &length, &rc);
    // The twin gives the same code (a dump file is written once only).
    if (params.find("-fdump") == std::string::npos) {
      uint16_t twin = 0;
      YASN1(params.c_str(), &length, &twin);
      EXPECT_EQ(twin, rc) << params;
    }
    return rc;
  }
  static std::string file(const char* name) { return dir_->file(name); }

  static TempDir* dir_;
};

TempDir* Asn1MacroTest::dir_ = nullptr;

TEST_F(Asn1MacroTest, DerAndPemGiveTheSameDump) {
  ASSERT_EQ(run("dump -fin " + file("c.der") + " -fdump " + file("der.txt")), 0);
  ASSERT_EQ(run("dump -fin " + file("c.pem") + " -fdump " + file("pem.txt")), 0);
  const std::string dump = readFile(file("der.txt"));
  EXPECT_EQ(dump, readFile(file("pem.txt")));
  EXPECT_EQ(
      dump.rfind(
          "\n-----------------------------------------------------------------------------\n", 0),
      0u);
  EXPECT_NE(dump.find("[0] constructed 30 (size:"), std::string::npos);
  EXPECT_NE(dump.find("object identifier 51 (9) [11]: 1.2.840.113549.1.1.1 rsaEncryption"),
            std::string::npos);
  EXPECT_NE(dump.find("string 0c (size:4) [6]: \"asn1\""), std::string::npos);
  // An existing dump file is replaced only with -o.
  writeFile(file("old.txt"), "old");
  EXPECT_EQ(run("dump -fin " + file("c.der") + " -fdump " + file("old.txt")), 206);
  EXPECT_EQ(errorStack().front().message, file("old.txt"));
  EXPECT_EQ(readFile(file("old.txt")), "old");
  EXPECT_EQ(run("dump -o -fin " + file("c.der") + " -fdump " + file("old.txt")), 0);
  EXPECT_EQ(readFile(file("old.txt")), dump);
}

TEST_F(Asn1MacroTest, ParsePrintsNodesAndLevels) {
  testing::internal::CaptureStdout();
  ASSERT_EQ(run("parse -fin " + file("c.der")), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  // The same numbers as the tree of the library's own parser.
  DERPARSER context;
  DERPARSER_init(&context);
  AobjPtr tree(DERfLoadAny(&context, file("c.pem").c_str()));
  DERPARSER_clean(&context);
  ASSERT_NE(tree, nullptr);
  const std::string line = "Nodi ASN.1: " + std::to_string(getAobjCount(tree.get())) +
                           ", livelli: " + std::to_string(getAobjDepth(tree.get())) + "\n";
  EXPECT_EQ(out, line + line);  // the entry and its twin
  EXPECT_GT(getAobjCount(tree.get()), 20u);
}

TEST_F(Asn1MacroTest, BrokenInputFailsWith29AndThePrintedReport) {
  std::string der = readFile(file("c.der"));
  writeFile(file("cut.der"), der.substr(0, der.size() - 10));
  testing::internal::CaptureStdout();
  EXPECT_EQ(run("parse -fin " + file("cut.der")), 29);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("DER PARSER INFO: \n - Input:           " + file("cut.der")),
            std::string::npos);
  EXPECT_NE(out.find(" - RC:              29   \n"), std::string::npos);
  EXPECT_EQ(errorStack().back().function, "asn1_parse");
  EXPECT_EQ(errorStack().back().code, 29u);
}

TEST_F(Asn1MacroTest, TrailingBytesMissingOptionsAndFiles) {
  writeFile(file("tail.der"), readFile(file("c.der")) + std::string("\0\0", 2));
  testing::internal::CaptureStdout();
  EXPECT_EQ(run("parse -fin " + file("tail.der")), 0);
  EXPECT_EQ(run("parse -fin " + file("tail.der") + " -strict"), 29);
  EXPECT_NE(run("parse -fin " + file("absent.der")), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(run("dump"), 214);
  EXPECT_EQ(run("verify -fin " + file("c.der")), 212);
}

}  // namespace
}  // namespace sigillo
