// PEM blocks and the DER-or-PEM file loader, checked against what the
// openssl command writes: certificates, keys, text dumps, legacy encrypted
// keys, and broken blocks refused with exact codes and messages.
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

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// "foobar" in one block labelled X, with `body` lines between.
std::string block(const std::string& body, const std::string& label = "X") {
  return "-----BEGIN " + label + "-----\n" + body + "-----END " + label + "-----\n";
}

// A certificate and key made once by the openssl command, with the DER
// forms openssl itself extracts from them.
class OpensslFiles : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new test::TempDir();
    const std::string cd = "cd '" + dir_->path().string() + "' && openssl ";
    for (const char* command :
         {"req -x509 -newkey rsa:2048 -nodes -subj /CN=t -keyout k.pem -out c.pem -days 2",
          "x509 -in c.pem -outform DER -out c.der",
          "pkcs8 -topk8 -nocrypt -in k.pem -outform DER -out k.der",
          "x509 -in c.pem -text -out text.pem",
          "rsa -in k.pem -traditional -aes128 -passout pass:segreto -out enc.pem"}) {
      ASSERT_TRUE(test::run(cd + command)) << command;
    }
  }
  static void TearDownTestSuite() { delete dir_; }
  static std::string path(const std::string& name) { return dir_->file(name); }
  static std::string read(const std::string& name) { return test::readFile(path(name)); }
  static test::TempDir* dir_;
};

test::TempDir* OpensslFiles::dir_ = nullptr;

TEST_F(OpensslFiles, LoadsAndEncodesAsOpensslDoes) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"c.pem", "c.der", "CERTIFICATE"},
      {"text.pem", "c.der", "CERTIFICATE"},
      {"k.pem", "k.der", "PRIVATE KEY"},
      {"c.der", "c.der", ""},
      {"k.der", "k.der", ""},
  };
  for (const auto& [file, derFile, label] : cases) {
    SecureBytes bytes;
    std::string got = "old";
    TRclrerr();
    ASSERT_EQ(loadDerOrPem(path(file).c_str(), &bytes, &got), 0) << file;
    EXPECT_EQ(toBytes(bytes), textBytes(read(derFile))) << file;
    EXPECT_EQ(got, label) << file;
    EXPECT_EQ(fileIsPem(path(file).c_str()), *label != '\0') << file;
    if (*label == '\0' || std::string(file) == "text.pem") continue;
    const std::string der = read(derFile);
    std::string text;
    SecureBytes secret;
    ASSERT_EQ(pemEncode(label, textBytes(der).data(), der.size(), &text), 0);
    EXPECT_EQ(text, read(file)) << file;
    ASSERT_EQ(pemEncode(label, textBytes(der).data(), der.size(), &secret), 0);
    EXPECT_EQ(toBytes(secret), textBytes(text));
  }
  ASSERT_NE(read("text.pem").find("Certificate:"), std::string::npos);
}

TEST_F(OpensslFiles, CrlfSurroundingTextAndSecondBlocks) {
  const std::string pem = read("c.pem");
  const Bytes der = textBytes(read("c.der"));
  for (const std::string& text :
       {replaceAll(pem, "\n", "\r\n"),
        "Certificate:\n    Data: -----BEGIN CERTIFICATE-----\n\n" + pem + "trailing text\n",
        replaceAll(pem, "-----\n", "-----  \t\n"), replaceAll(pem, "\n", "\n\n")}) {
    std::string label;
    SecureBytes bytes;
    size_t end = 0;
    ASSERT_EQ(pemDecode(text, &label, &bytes, &end), 0) << text;
    EXPECT_EQ(toBytes(bytes), der);
    EXPECT_EQ(label, "CERTIFICATE");
    std::string before = text.substr(0, end);
    EXPECT_EQ(before.back(), '\n') << end;
    before.erase(before.find_last_not_of(" \t\r\n") + 1);
    EXPECT_TRUE(before.ends_with("\n-----END CERTIFICATE-----")) << end;
  }
  const std::string text = read("k.pem") + pem;
  std::string label;
  SecureBytes bytes;
  size_t end = 0;
  ASSERT_EQ(pemDecode(text, &label, &bytes, &end), 0);
  EXPECT_EQ(label, "PRIVATE KEY");
  EXPECT_EQ(end, read("k.pem").size());
  ASSERT_EQ(pemDecode(std::string_view(text).substr(end), &label, &bytes, &end), 0);
  EXPECT_EQ(label, "CERTIFICATE");
  EXPECT_EQ(toBytes(bytes), der);
}

TEST_F(OpensslFiles, LegacyEncryptedKeyIsRefused) {
  ASSERT_NE(read("enc.pem").find("Proc-Type: 4,ENCRYPTED"), std::string::npos);
  SecureBytes bytes = {1};
  std::string label = "old";
  TRclrerr();
  EXPECT_EQ(loadDerOrPem(path("enc.pem").c_str(), &bytes, &label), 34);
  EXPECT_EQ(
      stackCodes(),
      (Lines{"34:Blocco PEM 'RSA PRIVATE KEY' cifrato (Proc-Type: 4,ENCRYPTED) non supportato",
             "301:File PEM '" + path("enc.pem") + "' non valido"}));
  EXPECT_EQ(toBytes(bytes), Bytes{1});
  EXPECT_EQ(label, "old");
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

TEST(LoadDerOrPem, FilesOfEveryKind) {
  test::TempDir dir;
  const std::string der("\x30\x03\x02\x01\x05", 5), derWithBegin("\x04\x0B-----BEGIN ", 13);
  const std::tuple<const char*, std::string, Bytes, const char*> cases[] = {
      {"der", der, textBytes(der), ""},
      {"der_with_begin", derWithBegin, textBytes(derWithBegin), ""},
      {"text_only", "hello\n", textBytes("hello\n"), ""},
      {"long_preamble", std::string(200000, 'x') + "\n" + block("Zm9vYmFy\n"), textBytes("foobar"),
       "X"},
      {"crlf", "-----BEGIN Y-----\r\nZm9vYmFy\r\n-----END Y-----\r\n", textBytes("foobar"), "Y"},
  };
  for (const auto& [name, content, bytes, label] : cases) {
    const std::string file = dir.file(name);
    test::writeFile(file, content);
    SecureBytes got;
    std::string gotLabel = "old";
    TRclrerr();
    ASSERT_EQ(loadDerOrPem(file.c_str(), &got, &gotLabel), 0) << name;
    EXPECT_EQ(toBytes(got), bytes) << name;
    EXPECT_EQ(gotLabel, label) << name;
    EXPECT_EQ(fileIsPem(file.c_str()), *label != '\0') << name;
    EXPECT_TRUE(stackCodes().empty()) << name;
  }
  SecureBytes bytes;
  ASSERT_EQ(loadDerOrPem(dir.file("crlf").c_str(), &bytes, nullptr), 0);
  EXPECT_EQ(toBytes(bytes), textBytes("foobar"));

  // A memory block of the file layer: u32 little-endian length, then the data.
  const std::string pem = block("Zm9vYmFy\n", "M");
  Bytes memory = {static_cast<uint8_t>(pem.size()), 0, 0, 0};
  memory.insert(memory.end(), pem.begin(), pem.end());
  char name[40];
  snprintf(name, sizeof name, "0x%llx",
           static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(memory.data())));
  std::string label;
  ASSERT_EQ(loadDerOrPem(name, &bytes, &label), 0);
  EXPECT_EQ(toBytes(bytes), textBytes("foobar"));
  EXPECT_EQ(label, "M");
  EXPECT_TRUE(fileIsPem(name));
}

TEST(LoadDerOrPem, RefusedFiles) {
  test::TempDir dir;
  const std::string empty = dir.file("empty"), broken = dir.file("broken.pem"),
                    missing = dir.file("missing"), huge = dir.file("huge");
  test::writeFile(empty, "");
  test::writeFile(broken, "intro\n" + block("Zm9v\nYm=y\n"));
  test::writeFile(huge, "");
  ASSERT_EQ(truncate(huge.c_str(), static_cast<off_t>(kMaxLoadedFile + 1)), 0);
  const std::pair<const char*, Lines> cases[] = {
      {empty.c_str(), {"249:" + empty}},
      {missing.c_str(), {"200:file '" + missing + "' non trovato", "301:Esecuzione fallita"}},
      {broken.c_str(),
       {"22:Base64 non valido nel blocco PEM 'X' alla riga 4, colonna 3: padding '=' fuori posto",
        "301:File PEM '" + broken + "' non valido"}},
      {huge.c_str(), {"200:Il file '" + huge + "' e' troppo grande (oltre 268435456 byte)"}},
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
