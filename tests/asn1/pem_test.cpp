// PEM blocks and the DER-or-PEM file loader, checked against what the
// openssl command writes: certificates, keys, text dumps, legacy encrypted
// keys, and broken blocks refused with exact codes and messages.
#include "asn1/pem.h"

#include <gtest/gtest.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;

Bytes toBytes(const SecureBytes& s) { return Bytes(s.begin(), s.end()); }
Bytes bytesOf(std::string_view s) { return Bytes(s.begin(), s.end()); }

void run(const std::string& command) {
  ASSERT_EQ(std::system((command + " 2>/dev/null").c_str()), 0) << command;
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

struct Failure {
  uint16_t code;
  std::string message;
};

// The error stack, oldest first, must be exactly `want`.
void expectStack(const std::vector<Failure>& want, const std::string& what) {
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), want.size()) << what;
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(stack[i].code, want[i].code) << what << " #" << i;
    EXPECT_EQ(stack[i].message, want[i].message) << what << " #" << i;
  }
}

// A certificate and key made once by the openssl command, with the DER
// forms openssl itself extracts from them.
class OpensslFiles : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new test::TempDir();
    const std::string d = dir_->path().string() + "/";
    run("cd '" + d +
        "' && openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=t -keyout k.pem"
        " -out c.pem -days 2");
    run("cd '" + d + "' && openssl x509 -in c.pem -outform DER -out c.der");
    run("cd '" + d + "' && openssl pkcs8 -topk8 -nocrypt -in k.pem -outform DER -out k.der");
    run("cd '" + d + "' && openssl x509 -in c.pem -text -out text.pem");
    run("cd '" + d +
        "' && openssl rsa -in k.pem -traditional -aes128 -passout pass:segreto"
        " -out enc.pem");
  }
  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }
  static std::string path(const std::string& name) { return dir_->file(name); }
  static std::string read(const std::string& name) { return test::readFile(path(name)); }

  static test::TempDir* dir_;
};

test::TempDir* OpensslFiles::dir_ = nullptr;

TEST_F(OpensslFiles, LoadsWhatOpensslWrites) {
  struct Case {
    const char* file;
    const char* derFile;
    const char* label;
  };
  const Case cases[] = {
      {"c.pem", "c.der", "CERTIFICATE"},
      {"text.pem", "c.der", "CERTIFICATE"},
      {"k.pem", "k.der", "PRIVATE KEY"},
      {"c.der", "c.der", ""},
      {"k.der", "k.der", ""},
  };
  for (const Case& c : cases) {
    SecureBytes bytes;
    std::string label = "old";
    TRclrerr();
    ASSERT_EQ(loadDerOrPem(path(c.file).c_str(), &bytes, &label), 0) << c.file;
    EXPECT_EQ(toBytes(bytes), bytesOf(read(c.derFile))) << c.file;
    EXPECT_EQ(label, c.label) << c.file;
    EXPECT_EQ(fileIsPem(path(c.file).c_str()), c.label[0] != '\0') << c.file;
  }
  ASSERT_NE(read("text.pem").find("Certificate:"), std::string::npos);
}

TEST_F(OpensslFiles, EncodesAsOpensslDoes) {
  const struct {
    const char* derFile;
    const char* label;
    const char* pemFile;
  } cases[] = {{"c.der", "CERTIFICATE", "c.pem"}, {"k.der", "PRIVATE KEY", "k.pem"}};
  for (const auto& c : cases) {
    const std::string der = read(c.derFile);
    std::string text;
    TRclrerr();
    ASSERT_EQ(pemEncode(c.label, reinterpret_cast<const uint8_t*>(der.data()), der.size(), &text),
              0);
    EXPECT_EQ(text, read(c.pemFile)) << c.derFile;
    SecureBytes secret;
    ASSERT_EQ(pemEncode(c.label, reinterpret_cast<const uint8_t*>(der.data()), der.size(), &secret),
              0);
    EXPECT_EQ(toBytes(secret), bytesOf(text));
  }
}

TEST_F(OpensslFiles, CrlfAndSurroundingText) {
  const std::string pem = read("c.pem");
  const Bytes der = bytesOf(read("c.der"));
  const std::string texts[] = {
      replaceAll(pem, "\n", "\r\n"),
      "Certificate:\n    Data: -----BEGIN CERTIFICATE-----\n\n" + pem + "trailing text\n",
      replaceAll(pem, "-----\n", "-----  \t\n"),
      pem + pem,
      replaceAll(pem, "\n", "\n\n"),
  };
  for (const std::string& text : texts) {
    std::string label;
    SecureBytes bytes;
    size_t end = 0;
    TRclrerr();
    ASSERT_EQ(pemDecode(text, &label, &bytes, &end), 0) << text;
    EXPECT_EQ(toBytes(bytes), der);
    EXPECT_EQ(label, "CERTIFICATE");
    std::string_view before = std::string_view(text).substr(0, end);
    EXPECT_TRUE(before.ends_with("\n")) << end;
    while (!before.empty() && isspace(static_cast<unsigned char>(before.back()))) {
      before.remove_suffix(1);
    }
    EXPECT_TRUE(before.ends_with("\n-----END CERTIFICATE-----")) << end;
  }
}

TEST_F(OpensslFiles, SecondBlockFollowsTheEndOffset) {
  const std::string text = read("k.pem") + read("c.pem");
  std::string label;
  SecureBytes bytes;
  size_t end = 0;
  TRclrerr();
  ASSERT_EQ(pemDecode(text, &label, &bytes, &end), 0);
  EXPECT_EQ(label, "PRIVATE KEY");
  EXPECT_EQ(end, read("k.pem").size());
  ASSERT_EQ(pemDecode(std::string_view(text).substr(end), &label, &bytes, &end), 0);
  EXPECT_EQ(label, "CERTIFICATE");
  EXPECT_EQ(toBytes(bytes), bytesOf(read("c.der")));
}

TEST_F(OpensslFiles, LegacyEncryptedKeyIsRefused) {
  const std::string text = read("enc.pem");
  ASSERT_NE(text.find("Proc-Type: 4,ENCRYPTED"), std::string::npos);
  SecureBytes bytes = {1};
  std::string label = "old";
  TRclrerr();
  EXPECT_EQ(loadDerOrPem(path("enc.pem").c_str(), &bytes, &label), 34);
  expectStack({{34, "Blocco PEM 'RSA PRIVATE KEY' cifrato (Proc-Type: 4,ENCRYPTED) non supportato"},
               {301, "File PEM '" + path("enc.pem") + "' non valido"}},
              "encrypted");
  EXPECT_EQ(toBytes(bytes), Bytes{1});
  EXPECT_EQ(label, "old");
}

// ---- blocks built by hand --------------------------------------------------

// "foobar" in one block labelled X, with `body` lines between.
std::string block(const std::string& body, const std::string& label = "X") {
  return "-----BEGIN " + label + "-----\n" + body + "-----END " + label + "-----\n";
}

TEST(PemDecode, AcceptedBlocks) {
  struct Case {
    std::string text;
    std::string label;
  };
  const Case cases[] = {
      {block("Zm9vYmFy\n"), "X"},
      {block("Zm9v\nYmFy\n", "X509 CRL"), "X509 CRL"},
      {block("Proc-Type: 4,MIC-CLEAR\nContent-Domain: RFC822\n\nZm9vYmFy\n"), "X"},
      {block("Comment: one\n  continued: line\n\nZm9vYmFy\n"), "X"},
      {block("Note: no blank line\nZm9vYmFy\n"), "X"},
      {"-----BEGIN -----\nZm9vYmFy\n-----END -----", ""},
      {"-----BEGIN A-B C-----\r\nZm9vYmFy\r\n-----END A-B C-----", "A-B C"},
      {"-----BEGIN X\n-----BEGIN  X-----\n" + block("Zm9vYmFy\n"), "X"},
  };
  for (const Case& c : cases) {
    std::string label;
    SecureBytes bytes;
    TRclrerr();
    ASSERT_EQ(pemDecode(c.text, &label, &bytes), 0) << c.text;
    EXPECT_EQ(label, c.label) << c.text;
    EXPECT_EQ(toBytes(bytes), bytesOf("foobar")) << c.text;
  }
}

TEST(PemDecode, RefusedBlocks) {
  struct Case {
    std::string text;
    Failure failure;
  };
  const Case cases[] = {
      {"", {29, "Riga -----BEGIN <etichetta>----- non trovata"}},
      {"Zm9vYmFy\n", {29, "Riga -----BEGIN <etichetta>----- non trovata"}},
      {" -----BEGIN X-----\nZm9vYmFy\n-----END X-----\n",
       {29, "Riga -----BEGIN <etichetta>----- non trovata"}},
      {"-----BEGIN X--Y-----\nZm9vYmFy\n-----END X--Y-----\n",
       {29, "Riga -----BEGIN <etichetta>----- non trovata"}},
      {"-----BEGIN X-----\nZm9vYmFy\n", {29, "Riga -----END X----- non trovata"}},
      {"-----BEGIN X-----\n", {29, "Riga -----END X----- non trovata"}},
      {"text\n-----BEGIN X-----\nZm9vYmFy\n-----END Y-----\n",
       {29, "Riga 4: etichetta END 'Y' diversa da BEGIN 'X'"}},
      {"-----BEGIN X-----\nZm9vYmFy\n-----END X\n", {29, "Riga 3 non valida nel blocco PEM 'X'"}},
      {"-----BEGIN X-----\nZm9v\n-----BEGIN X-----\n",
       {29, "Riga 3 non valida nel blocco PEM 'X'"}},
      {block(""), {29, "Blocco PEM 'X' vuoto"}},
      {block("\n  \n"), {29, "Blocco PEM 'X' vuoto"}},
      {block("Note: only headers\n"), {29, "Blocco PEM 'X' vuoto"}},
      {block("Zm9v\nYm*y\n"),
       {22,
        "Base64 non valido nel blocco PEM 'X' alla riga 3, colonna 3: carattere 0x2A non "
        "ammesso"}},
      {"pre\r\n" + block("Zm9vYmFy\r\nZg=\r\n"),
       {22,
        "Base64 non valido nel blocco PEM 'X' alla riga 4, colonna 3: padding '=' "
        "incompleto"}},
      {block("Zm9vYmFy\nZg==Zg==\n"),
       {22,
        "Base64 non valido nel blocco PEM 'X' alla riga 3, colonna 5: dati dopo la fine del "
        "base64"}},
      {block("Proc-Type: 4,ENCRYPTED\nDEK-Info: DES-EDE3-CBC,0011223344556677\n\nZm9v\n"),
       {34, "Blocco PEM 'X' cifrato (Proc-Type: 4,ENCRYPTED) non supportato"}},
      {block("proc-type:4,ENCRYPTED\n\nZm9v\n"),
       {34, "Blocco PEM 'X' cifrato (Proc-Type: 4,ENCRYPTED) non supportato"}},
  };
  for (const Case& c : cases) {
    std::string label = "old";
    SecureBytes bytes = {9};
    size_t end = 77;
    TRclrerr();
    EXPECT_EQ(pemDecode(c.text, &label, &bytes, &end), c.failure.code) << c.text;
    expectStack({c.failure}, c.text);
    EXPECT_EQ(label, "old") << c.text;
    EXPECT_EQ(toBytes(bytes), Bytes{9}) << c.text;
    EXPECT_EQ(end, 77u) << c.text;
  }
}

TEST(PemDecode, NullOutputs) {
  SecureBytes bytes;
  std::string label;
  TRclrerr();
  EXPECT_EQ(pemDecode("x", nullptr, &bytes), 3);
  EXPECT_EQ(pemDecode("x", &label, nullptr), 3);
  expectStack({{3, "label (2)"}, {3, "der (3)"}}, "null outputs");
}

TEST(PemLabel, Rfc7468Grammar) {
  const std::pair<const char*, bool> cases[] = {
      {"", true},          {"CERTIFICATE", true}, {"X509 CRL", true},  {"A-B", true},
      {"a!\"#,./~", true}, {"A B-C", true},       {" A", false},       {"A ", false},
      {"-A", false},       {"A-", false},         {"A--B", false},     {"A  B", false},
      {"A -B", false},     {"A\tB", false},       {"\xC3\xA0", false}, {"A\x7F", false},
  };
  for (const auto& [label, valid] : cases) EXPECT_EQ(validPemLabel(label), valid) << label;
}

TEST(PemEncode, LinesAndRoundTrip) {
  for (size_t n : {1, 47, 48, 49, 95, 96, 97, 1000}) {
    Bytes der(n);
    ASSERT_EQ(RAND_bytes(der.data(), static_cast<int>(n)), 1);
    std::string text;
    TRclrerr();
    ASSERT_EQ(pemEncode("TEST DATA", der.data(), n, &text), 0);
    ASSERT_TRUE(text.starts_with("-----BEGIN TEST DATA-----\n"));
    ASSERT_TRUE(text.ends_with("\n-----END TEST DATA-----\n"));
    size_t lines = 0;
    for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
      const size_t length = text.find('\n', at) - at;
      EXPECT_LE(length, 64u) << n;
      ++lines;
    }
    EXPECT_EQ(lines, 2 + (4 * ((n + 2) / 3) + 63) / 64) << n;
    std::string label;
    SecureBytes back;
    ASSERT_EQ(pemDecode(text, &label, &back), 0) << n;
    EXPECT_EQ(label, "TEST DATA");
    EXPECT_EQ(toBytes(back), der);
  }
}

TEST(PemEncode, RefusedArguments) {
  const uint8_t der[] = {0x30, 0x00};
  std::string out = "kept";
  TRclrerr();
  EXPECT_EQ(pemEncode("A--B", der, 2, &out), 2);
  EXPECT_EQ(pemEncode("X", nullptr, 2, &out), 2);
  EXPECT_EQ(pemEncode("X", der, 0, &out), 5);
  EXPECT_EQ(pemEncode("X", der, 2, static_cast<std::string*>(nullptr)), 3);
  expectStack(
      {{2, "Etichetta PEM 'A--B' non valida"}, {2, "der (2)"}, {5, "length (3)"}, {3, "out (4)"}},
      "arguments");
  EXPECT_EQ(out, "kept");
}

// ---- telling PEM from DER ----------------------------------------------------

TEST(PemSniffer, Verdicts) {
  struct Case {
    std::string data;
    PemSniffer::Verdict verdict;
  };
  const Case cases[] = {
      {"-----BEGIN X-----\n", PemSniffer::kPem},
      {"Certificate:\n\tData:\r\n  \xC3\xA0\n-----BEGIN ", PemSniffer::kPem},
      {"\n\v\f\r\n-----BEGIN ", PemSniffer::kPem},
      {"\n\v-----BEGIN ", PemSniffer::kDer},
      {"---------BEGIN X\n-----BEGIN ", PemSniffer::kPem},
      {"", PemSniffer::kDer},
      {"-----BEGIN", PemSniffer::kDer},
      {" -----BEGIN X-----\n", PemSniffer::kDer},
      {"x-----BEGIN X-----\n", PemSniffer::kDer},
      {"plain text only\n", PemSniffer::kDer},
      {std::string("\x30\x03\x02\x01\x05\n-----BEGIN X-----\n", 23), PemSniffer::kDer},
      {std::string("text\0\n-----BEGIN X-----\n", 24), PemSniffer::kDer},
      {"text\x7F\n-----BEGIN X-----\n", PemSniffer::kDer},
  };
  for (const Case& c : cases) {
    const auto* data = reinterpret_cast<const uint8_t*>(c.data.data());
    PemSniffer whole;
    whole.feed(data, c.data.size());
    EXPECT_EQ(whole.finish(), c.verdict) << c.data;
    PemSniffer byByte;
    for (size_t i = 0; i < c.data.size(); ++i) byByte.feed(data + i, 1);
    EXPECT_EQ(byByte.finish(), c.verdict) << c.data;
  }
}

TEST(PemSniffer, StopsAtTheDecision) {
  PemSniffer sniffer;
  const std::string head = "-----BEGIN ";
  EXPECT_EQ(sniffer.feed(reinterpret_cast<const uint8_t*>(head.data()), 5), PemSniffer::kUndecided);
  EXPECT_EQ(sniffer.feed(reinterpret_cast<const uint8_t*>(head.data()) + 5, 6), PemSniffer::kPem);
  const uint8_t binary[] = {0x00};
  EXPECT_EQ(sniffer.feed(binary, 1), PemSniffer::kPem);
}

// ---- loading files ---------------------------------------------------------

TEST(LoadDerOrPem, FilesOfEveryKind) {
  test::TempDir dir;
  const std::string longText(200000, 'x');
  struct Case {
    const char* name;
    std::string content;
    Bytes bytes;
    const char* label;
    bool pem;
  };
  const Case cases[] = {
      {"der", std::string("\x30\x03\x02\x01\x05", 5), Bytes{0x30, 0x03, 0x02, 0x01, 0x05}, "",
       false},
      {"der_with_begin", std::string("\x04\x0B-----BEGIN ", 13),
       bytesOf(std::string("\x04\x0B-----BEGIN ", 13)), "", false},
      {"text_only", "hello\n", bytesOf("hello\n"), "", false},
      {"long_preamble", longText + "\n" + block("Zm9vYmFy\n"), bytesOf("foobar"), "X", true},
      {"crlf", "-----BEGIN Y-----\r\nZm9vYmFy\r\n-----END Y-----\r\n", bytesOf("foobar"), "Y",
       true},
  };
  for (const Case& c : cases) {
    const std::string file = dir.file(c.name);
    test::writeFile(file, c.content);
    SecureBytes bytes;
    std::string label = "old";
    TRclrerr();
    ASSERT_EQ(loadDerOrPem(file.c_str(), &bytes, &label), 0) << c.name;
    EXPECT_EQ(toBytes(bytes), c.bytes) << c.name;
    EXPECT_EQ(label, c.label) << c.name;
    EXPECT_EQ(fileIsPem(file.c_str()), c.pem) << c.name;
    EXPECT_EQ(test::errorStack().size(), 0u) << c.name;
  }
  SecureBytes bytes;
  TRclrerr();
  ASSERT_EQ(loadDerOrPem(dir.file("crlf").c_str(), &bytes, nullptr), 0);
  EXPECT_EQ(toBytes(bytes), bytesOf("foobar"));
}

TEST(LoadDerOrPem, MemoryBlock) {
  const std::string pem = block("Zm9vYmFy\n", "M");
  std::vector<uint8_t> memory(4 + pem.size());
  for (size_t i = 0; i < 4; ++i) memory[i] = static_cast<uint8_t>(pem.size() >> (8 * i));
  std::copy(pem.begin(), pem.end(), memory.begin() + 4);
  char name[40];
  snprintf(name, sizeof name, "0x%llx",
           static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(memory.data())));
  SecureBytes bytes;
  std::string label;
  TRclrerr();
  ASSERT_EQ(loadDerOrPem(name, &bytes, &label), 0);
  EXPECT_EQ(toBytes(bytes), bytesOf("foobar"));
  EXPECT_EQ(label, "M");
  EXPECT_TRUE(fileIsPem(name));
}

TEST(LoadDerOrPem, RefusedFiles) {
  test::TempDir dir;
  const std::string empty = dir.file("empty");
  test::writeFile(empty, "");
  const std::string broken = dir.file("broken.pem");
  test::writeFile(broken, "intro\n" + block("Zm9v\nYm=y\n"));
  const std::string missing = dir.file("missing");
  const std::string huge = dir.file("huge");
  test::writeFile(huge, "");
  ASSERT_EQ(truncate(huge.c_str(), static_cast<off_t>(kMaxLoadedFile + 1)), 0);
  struct Case {
    const char* path;
    uint16_t code;
    std::vector<Failure> stack;
  };
  const Case cases[] = {
      {empty.c_str(), 249, {{249, empty}}},
      {missing.c_str(),
       200,
       {{200, "file '" + missing + "' non trovato"}, {301, "Esecuzione fallita"}}},
      {broken.c_str(),
       22,
       {{22,
         "Base64 non valido nel blocco PEM 'X' alla riga 4, colonna 3: padding '=' fuori "
         "posto"},
        {301, "File PEM '" + broken + "' non valido"}}},
      {huge.c_str(),
       200,
       {{200, "Il file '" + huge + "' e' troppo grande (oltre 268435456 byte)"}}},
      {nullptr, 2, {{2, "path (1)"}}},
  };
  for (const Case& c : cases) {
    const std::string what = c.path != nullptr ? c.path : "null";
    SecureBytes bytes = {5};
    std::string label = "old";
    TRclrerr();
    EXPECT_EQ(loadDerOrPem(c.path, &bytes, &label), c.code) << what;
    expectStack(c.stack, what);
    EXPECT_EQ(toBytes(bytes), Bytes{5}) << what;
    EXPECT_EQ(label, "old") << what;
  }
  TRclrerr();
  EXPECT_EQ(loadDerOrPem(empty.c_str(), nullptr, nullptr), 3);
  expectStack({{3, "bytes (2)"}}, "null bytes");
}

TEST(FileIsPem, UnreadableFilesRecordNothing) {
  test::TempDir dir;
  TRclrerr();
  EXPECT_FALSE(fileIsPem(dir.file("missing").c_str()));
  EXPECT_FALSE(fileIsPem(dir.path().c_str()));
  EXPECT_FALSE(fileIsPem(nullptr));
  EXPECT_EQ(test::errorStack().size(), 0u);
  uint32_t code = 99;
  TRgeterr(&code, nullptr, 0);
  EXPECT_EQ(code, 0u);
}

}  // namespace
}  // namespace sigillo
