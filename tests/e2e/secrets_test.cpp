// Passwords, key texts and keys never reach a trace record, the console or a
// report: every output of every run is searched for them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

const std::string kBin = SIGILLO_BIN_DIR;

// Every secret starts with kMark, which no output may hold, so that a part of
// a secret is found as well as a whole one.
const std::string kMark = "Kq7";

struct SecretRun {
  const char* label;
  const char* macro;
  std::string params;
};

void PrintTo(const SecretRun& r, std::ostream* os) { *os << r.label; }

const std::vector<SecretRun>& secretRuns() {
  static const std::vector<SecretRun> runs = {
      {"hmac key", "HASH", "hmcsha1 -fin in.txt -md1 Kq7hmacword"},
      {"two DES key texts", "HASH", "maaiso -fin in.txt -md1 Kq7first -md2 \"Kq7 second\""},
      {"library and member passwords", "CODA",
       "cmp -lib p.cdl -fin in.txt -pf Kq7member -pl \"Kq7 library\" -result r.txt"},
      {"new library password", "CODA", "del -lib q.cdl -fcmp in.txt -pl Kq7lib -pln Kq7new"},
      {"wrong password in extraction", "CODA",
       "dcp -lib q.cdl -fout x.txt -nn in.txt -pf Kq7wrong -pl Kq7lib -result r.txt"},
  };
  return runs;
}

class SecretsNeverShown : public ::testing::TestWithParam<SecretRun> {
 protected:
  void SetUp() override {
    writeFile(dir_.file("in.txt"), "dati del record");
    ASSERT_EQ(
        shell(kBin + "/sigillo CODA cmp -lib q.cdl -fin in.txt -pf right -pl Kq7lib -s").status, 0);
  }
  test::ShellOutcome shell(const std::string& command) {
    return test::runShell(dir_.path().string(), command + " 2>&1");
  }
  // Console, log and report of one run, and the proof that the log recorded
  // the parameters at all.
  void expectHidden(const test::ShellOutcome& run, const SecretRun& r) {
    std::string everything = run.out;
    for (const char* name : {"trace.log", "r.txt"}) {
      if (std::filesystem::exists(dir_.file(name))) everything += readFile(dir_.file(name));
    }
    EXPECT_NE(readFile(dir_.file("trace.log")).find("********"), std::string::npos);
    EXPECT_EQ(everything.find(kMark), std::string::npos) << r.label << ":\n" << everything;
  }
  TempDir dir_;
};

TEST_P(SecretsNeverShown, ThroughTheCommandLine) {
  const SecretRun& r = GetParam();
  expectHidden(shell(kBin + "/sigillo " + r.macro + " " + r.params + " -log2 trace.log"), r);
}

TEST_P(SecretsNeverShown, ThroughTheDriver) {
  const SecretRun& r = GetParam();
  writeFile(dir_.file("run.mac"), std::string(r.macro) + "\n" + r.params + " -log2 trace.log\n");
  const test::ShellOutcome run = shell(kBin + "/macro run.mac rc.txt");
  EXPECT_NE(run.out.find("Parametri = <"), std::string::npos);
  expectHidden(run, r);
}

TEST(LogsOfTheCommandLine, ALinkOrAFullDiskIsAnError) {
  TempDir dir;
  writeFile(dir.file("in.txt"), "abc");
  std::filesystem::create_symlink("in.txt", dir.file("link"));
  const std::string hash = kBin + "/sigillo HASH md5 -fin in.txt ";
  test::ShellOutcome run = test::runShell(dir.path().string(), hash + "-log link 2>&1");
  EXPECT_EQ(run.status, 203);
  EXPECT_EQ(readFile(dir.file("in.txt")), "abc");
  run = test::runShell(dir.path().string(), hash + "-log2 /dev/full 2>&1");
  EXPECT_EQ(run.status, 204);
  EXPECT_NE(run.out.find("RISULTATO = (204) Impossibile scrivere carattere nel file in output: "
                         "Errore 28='No space left on device' sul file '/dev/full'"),
            std::string::npos)
      << run.out;
}

INSTANTIATE_TEST_SUITE_P(Runs, SecretsNeverShown, ::testing::ValuesIn(secretRuns()));

// Entry points that take a key record it as ******** in mode 2; its bytes
// appear neither as text nor in hex.
TEST(SecretsNeverShownByEntryPoints, KeysOfMacAndStreamCiphers) {
  TempDir dir;
  const std::string log = dir.file("entry.log");
  uint16_t rc = 0;
  ASSERT_EQ(TRLOGPATH(log.c_str(), &rc), 0);
  const uint16_t everything = 2;
  ASSERT_EQ(TRDEBUG(&everything, &rc), 0);
  const uint8_t key[] = "Kq7entrykey";
  uint32_t keyLength = sizeof key - 1;
  uint8_t data[16] = {};
  uint8_t out[64] = {};
  uint32_t size = sizeof data;
  uint16_t last = 3;
  EXPECT_EQ(HMCSHA1(data, &size, out, &last, key, &keyLength, &rc), 0);
  uint16_t init = 1;
  uint16_t mode = 0;
  EXPECT_EQ(RC4(data, out, &size, &init, key, &keyLength, &mode, &rc), 0);
  const uint16_t off = 0;
  TRDEBUG(&off, &rc);
  const std::string text = readFile(log);
  EXPECT_NE(text.find("= ********"), std::string::npos);
  EXPECT_EQ(text.find("Kq7entrykey"), std::string::npos);
  EXPECT_EQ(text.find(test::toHex(key, keyLength)), std::string::npos);
}

}  // namespace
}  // namespace sigillo
