// PEM blocks and the DER-or-PEM file loader, checked against what the
// openssl command writes, and broken blocks and files refused with exact
// codes and messages.
#include "asn1/pem.h"

#include <gtest/gtest.h>
#include <openssl/rand.h>
#include <unistd.h>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::stackCodes;
using test::textBytes;
using Lines = std::vector<std::string>;

Bytes toBytes(const SecureBytes& s) { return Bytes(s.begin(), s.end()); }

// "foobar" in one block labelled X, with `body` lines between.
std::string block(const std::string& body, const std::string& label = "X") {
  return "-----BEGIN " + label + "-----\n" + body + "-----END " + label + "-----\n";
}

// A certificate made by the openssl command loads as the DER openssl
// extracts, whether the file holds DER or PEM, and encodes back to the PEM
// openssl wrote.
TEST(LoadDerOrPem, OpensslCertificateAsDerAndPem) {
  test::TempDir dir;
  const std::string cd = "cd '" + dir.path().string() + "' && openssl ";
  ASSERT_TRUE(test::run(
      cd + "req -x509 -newkey rsa:2048 -nodes -subj /CN=t -keyout k.pem -out c.pem -days 2"));
  ASSERT_TRUE(test::run(cd + "x509 -in c.pem -outform DER -out c.der"));
  const std::string der = test::readFile(dir.file("c.der")),
                    pem = test::readFile(dir.file("c.pem"));
  for (const char* file : {"c.der", "c.pem"}) {
    SecureBytes bytes;
    std::string label = "old";
    ASSERT_EQ(loadDerOrPem(dir.file(file).c_str(), &bytes, &label), 0) << file;
    EXPECT_EQ(toBytes(bytes), textBytes(der)) << file;
    EXPECT_EQ(label, file[2] == 'p' ? "CERTIFICATE" : "") << file;
    EXPECT_EQ(fileIsPem(dir.file(file).c_str()), file[2] == 'p') << file;
  }
  std::string text;
  ASSERT_EQ(pemEncode("CERTIFICATE", textBytes(der).data(), der.size(), &text), 0);
  EXPECT_EQ(text, pem);
}

TEST(Pem, BlocksLabelsAndSniffing) {
  for (const auto& v : test::loadVectors("asn1/pem.txt")) {
    SCOPED_TRACE(v.where());
    std::string label = "old";
    SecureBytes bytes = {9};
    size_t end = 77;
    TRclrerr();
    if (v.group == "accepted") {
      ASSERT_EQ(pemDecode(test::unescape(v.text("text")), &label, &bytes), 0);
      EXPECT_EQ(label, test::unescape(v.text("label")));
      EXPECT_EQ(toBytes(bytes), textBytes("foobar"));
    } else if (v.group == "refused") {
      const std::string error = v.text("error");
      EXPECT_EQ(pemDecode(test::unescape(v.text("text")), &label, &bytes, &end), std::stoi(error));
      EXPECT_EQ(stackCodes(), Lines{error.substr(0, 2) + ":" + error.substr(3)});
      EXPECT_EQ(label, "old");
      EXPECT_EQ(toBytes(bytes), Bytes{9});
      EXPECT_EQ(end, 77u);
    } else if (v.group == "labels") {
      EXPECT_EQ(validPemLabel(test::unescape(v.text("label"))), v.number("valid") == 1);
    } else {
      const std::string data = test::unescape(v.text("data"));
      const auto verdict = v.text("verdict") == "pem" ? PemSniffer::kPem : PemSniffer::kDer;
      const auto* bytesOfData = reinterpret_cast<const uint8_t*>(data.data());
      PemSniffer whole, byByte;
      whole.feed(bytesOfData, data.size());
      EXPECT_EQ(whole.finish(), verdict);
      for (size_t i = 0; i < data.size(); ++i) byByte.feed(bytesOfData + i, 1);
      EXPECT_EQ(byByte.finish(), verdict);
    }
  }
  PemSniffer sniffer;  // stops at the decision
  const auto* head = reinterpret_cast<const uint8_t*>("-----BEGIN \0");
  EXPECT_EQ(sniffer.feed(head, 5), PemSniffer::kUndecided);
  EXPECT_EQ(sniffer.feed(head + 5, 6), PemSniffer::kPem);
  EXPECT_EQ(sniffer.feed(head + 11, 1), PemSniffer::kPem);
}

TEST(Pem, EncodeLinesRoundTripAndArguments) {
  for (size_t n : {1, 47, 48, 49, 96, 97, 1000}) {
    Bytes der(n);
    ASSERT_EQ(RAND_bytes(der.data(), static_cast<int>(n)), 1);
    std::string text;
    ASSERT_EQ(pemEncode("TEST DATA", der.data(), n, &text), 0);
    ASSERT_TRUE(text.starts_with("-----BEGIN TEST DATA-----\n"));
    ASSERT_TRUE(text.ends_with("\n-----END TEST DATA-----\n"));
    size_t lines = 0;
    for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1, ++lines) {
      EXPECT_LE(text.find('\n', at) - at, 64u) << n;
    }
    EXPECT_EQ(lines, 2 + (4 * ((n + 2) / 3) + 63) / 64) << n;
    std::string label;
    SecureBytes back;
    ASSERT_EQ(pemDecode(text, &label, &back), 0) << n;
    EXPECT_EQ(label, "TEST DATA");
    EXPECT_EQ(toBytes(back), der);
  }
  const uint8_t der[] = {0x30, 0x00};
  std::string out = "kept";
  SecureBytes bytes;
  TRclrerr();
  EXPECT_EQ(pemEncode("A--B", der, 2, &out), 2);
  EXPECT_EQ(pemEncode("X", nullptr, 2, &out), 2);
  EXPECT_EQ(pemEncode("X", der, 0, &out), 5);
  EXPECT_EQ(pemEncode("X", der, 2, static_cast<std::string*>(nullptr)), 3);
  EXPECT_EQ(pemDecode("x", nullptr, &bytes), 3);
  EXPECT_EQ(pemDecode("x", &out, nullptr), 3);
  EXPECT_EQ(stackCodes(), (Lines{"2:Etichetta PEM 'A--B' non valida", "2:der (2)", "5:length (3)",
                                 "3:out (4)", "3:label (2)", "3:der (3)"}));
  EXPECT_EQ(out, "kept");
}

TEST(LoadDerOrPem, RefusedFiles) {
  test::TempDir dir;
  const std::string empty = dir.file("empty"), broken = dir.file("broken.pem"),
                    missing = dir.file("missing"), huge = dir.file("huge");
  test::writeFile(empty, "");
  test::writeFile(broken, "intro\n" + block("Zm9v\nYm=y\n"));
  test::writeFile(huge, "");
  const std::string encrypted = dir.file("enc.pem");
  ASSERT_TRUE(test::run(
      "openssl genrsa 1024 | openssl rsa -traditional -aes128 -passout pass:s -out " + encrypted));
  ASSERT_EQ(truncate(huge.c_str(), static_cast<off_t>(kMaxLoadedFile + 1)), 0);
  const std::pair<const char*, Lines> cases[] = {
      {empty.c_str(), {"249:" + empty}},
      {missing.c_str(), {"200:file '" + missing + "' non trovato", "301:Esecuzione fallita"}},
      {broken.c_str(),
       {"22:Base64 non valido nel blocco PEM 'X' alla riga 4, colonna 3: padding '=' fuori posto",
        "301:File PEM '" + broken + "' non valido"}},
      {huge.c_str(), {"200:Il file '" + huge + "' e' troppo grande (oltre 268435456 byte)"}},
      {encrypted.c_str(),
       {"34:Blocco PEM 'RSA PRIVATE KEY' cifrato (Proc-Type: 4,ENCRYPTED) non supportato",
        "301:File PEM '" + encrypted + "' non valido"}},
      {nullptr, {"2:path (1)"}},
  };
  for (const auto& [file, stack] : cases) {
    SecureBytes bytes = {5};
    std::string label = "old";
    TRclrerr();
    EXPECT_EQ(loadDerOrPem(file, &bytes, &label), std::stoi(stack[0])) << stack[0];
    EXPECT_EQ(stackCodes(), stack);
    EXPECT_EQ(toBytes(bytes), Bytes{5});
    EXPECT_EQ(label, "old");
  }
  TRclrerr();
  EXPECT_EQ(loadDerOrPem(empty.c_str(), nullptr, nullptr), 3);
  EXPECT_EQ(stackCodes(), Lines{"3:bytes (2)"});
  // Unreadable files are no PEM and record nothing.
  TRclrerr();
  EXPECT_FALSE(fileIsPem(missing.c_str()));
  EXPECT_FALSE(fileIsPem(dir.path().c_str()));
  EXPECT_FALSE(fileIsPem(nullptr));
  EXPECT_TRUE(stackCodes().empty());
}

}  // namespace
}  // namespace sigillo
