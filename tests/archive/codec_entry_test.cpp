// CODEC called directly, the self-extracting run-time, the driver and the
// command line, and failures in the middle of a write.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/archive/coda_helpers.h"

namespace sigillo {
namespace {

using test::coda;
using test::codec;
using test::q;
using test::readFile;
using test::TempDir;
using test::writeFile;

const std::string kBin = SIGILLO_BIN_DIR;

using Outcome = test::ShellOutcome;

// Runs a command in `dir`, its error output merged into its output.
Outcome runIn(const std::string& dir, const std::string& command) {
  return test::runShell(dir, command + " 2>&1");
}

TEST(CodecEntry, ReturnsItsOwnCodesAndTexts) {
  TempDir dir;
  writeFile(dir.file("a.txt"), "a");
  const std::string lib = dir.file("l.cdl");
  EXPECT_EQ(codec("-c5 " + q(lib) + " " + q(dir.file("a.txt")) + " -nologo -s"), 0);
  const std::tuple<std::string, uint16_t, std::string> rows[] = {
      {"-q", 10, "Sintassi non corretta"},
      {"-d " + q(lib) + " " + q(dir.file("o")) + " -nn zz -s", 32, "File non presente in libreria"},
      {"-x " + q(dir.file("none")) + " \"*\" -s", 25, "Impossibile aprire libreria in lettura"},
      {"-c5 " + q(lib) + " " + q(dir.file("a.txt")) + " -s", 1, "File gia' presente in libreria"},
      {"-e " + q(lib) + " " + q(dir.file("x")) + " -r " + q(dir.file("a.txt")) + " -s", 56,
       "Crc file run-time non corretto"},
      {"-e " + q(lib) + " " + q(dir.file("x")) + " -r " + q(dir.file("none")) + " -s", 57,
       "Impossibile aprire file di run-time"},
  };
  for (const auto& [command, code, text] : rows) {
    EXPECT_EQ(codec(command), code) << command;
    uint32_t current = 0;
    char words[512];
    TRgeterr(&current, words, sizeof words);
    EXPECT_EQ(current, code);
    EXPECT_EQ(std::string(words).rfind(text + ": ", 0), 0u) << words;
    EXPECT_EQ(TRentrytext(TRgeterrstk()), text);
  }
  uint16_t rc = 0;
  uint32_t length = 3;
  EXPECT_EQ(CODEC(nullptr, &length, &rc), 2);
  EXPECT_EQ(test::errorStack().back().message, "command (1)");
  EXPECT_EQ(CODEC("-k", nullptr, &rc), 5);
  rc = 99;
  YCODEC("-q", &length, &rc);
  EXPECT_EQ(rc, 10);
  rc = 99;
  const std::string params = "dump -s -lib " + q(lib) + " -fcmp *";
  length = static_cast<uint32_t>(params.size());
  YCODA(params.data(), &length, &rc);
  EXPECT_EQ(rc, 0);
}

TEST(CodecSelfExtract, RunTimeExtractsEveryMemberWhereItRuns) {
  TempDir dir;
  std::filesystem::create_directories(dir.file("src/sub"));
  writeFile(dir.file("src/a.txt"), "alfa");
  writeFile(dir.file("src/sub/b.bin"), test::randomBytes(70000, 3));
  const std::string lib = dir.file("l.cdl");
  ASSERT_EQ(coda("cmp", lib, "-path -fin " + q(dir.file("src"))), 0);
  const std::string exe = dir.file("l.run");
  const std::string frt = kBin + "/sigillo-sfx";
  ASSERT_EQ(coda("selfexp", lib, "-libexe " + q(exe) + " -frt " + q(frt)), 0);
  EXPECT_EQ(coda("selfexp", lib, "-libexe " + q(exe) + " -frt " + q(frt)), 206);
  // An unsealed or damaged run-time is refused.
  std::string runtime = readFile(frt);
  runtime[runtime.size() / 2] ^= 1;
  writeFile(dir.file("bad.rt"), runtime);
  EXPECT_EQ(coda("selfexp", lib, "-o -libexe " + q(exe) + " -frt " + q(dir.file("bad.rt"))), 148);
  EXPECT_EQ(coda("selfexp", lib, "-libexe " + q(dir.file("y")) + " -frt " + q(dir.file("none"))),
            200);
  std::filesystem::create_directories(dir.file("run"));
  Outcome run = runIn(dir.file("run"), q(exe) + " -s");
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(readFile(dir.file("run/a.txt")), "alfa");
  EXPECT_EQ(readFile(dir.file("run/sub/b.bin")), test::randomBytes(70000, 3));
  run = runIn(dir.file("run"), q(exe) + " -s");
  EXPECT_EQ(run.status, 6) << run.out;  // existing files are kept
  run = runIn(dir.file("run"), q(exe) + " -h");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("Estrae nella cartella corrente"), std::string::npos);
  run = runIn(dir.file("run"), q(frt) + " -s");  // the bare run-time holds no library
  EXPECT_EQ(run.status, 31);
}

TEST(CodecSafety, AFailedOrKilledWriteLeavesTheOldLibraryAndNoTemporary) {
  TempDir dir;
  writeFile(dir.file("a.txt"), "a");
  writeFile(dir.file("big.bin"), test::randomBytes(3 << 20, 9));
  const std::string lib = dir.file("l.cdl");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("a.txt"))), 0);
  const std::string before = readFile(lib);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // A full disk: no file may grow past 1 MiB.
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    _exit(coda("cmp", lib, "-mode 0 -fin " + q(dir.file("big.bin"))) & 0xFF);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 178);
  EXPECT_EQ(readFile(lib), before);
  EXPECT_EQ(test::namesIn(dir.path()), (std::set<std::string>{"a.txt", "big.bin", "l.cdl"}));

  // An update killed on the way.
  writeFile(dir.file("big.bin"), test::randomBytes(48 << 20, 11));
  child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(coda("cmp", lib, "-mode 9 -fin " + q(dir.file("big.bin"))) & 0xFF);
  usleep(150 * 1000);
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) EXPECT_EQ(readFile(lib), before);
  // Killed or not, what is there is a whole library.
  EXPECT_EQ(coda("chk", lib, "-fcmp a.txt"), 0);
}

TEST(CodaDriver, MacroFileAndCommandLineRunCoda) {
  TempDir dir;
  writeFile(dir.file("in.txt"), "dati");
  writeFile(dir.file("job.mac"), "coda\ncmp -lib l.cdl -fin in.txt -s\n");
  Outcome run = runIn(dir.path().string(), kBin + "/macro job.mac result.txt");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(readFile(dir.file("result.txt")), "0\n");
  EXPECT_EQ(run.out.find("Chiamata la routine"), std::string::npos);
  writeFile(dir.file("job2.mac"), "CODA\ndcp -lib l.cdl -fout out -nn in.txt -s\n");
  run = runIn(dir.path().string(), kBin + "/macro job2.mac result.txt");
  EXPECT_EQ(readFile(dir.file("result.txt")), "0\n");
  EXPECT_EQ(readFile(dir.file("out")), "dati");
  run = runIn(dir.path().string(), kBin + "/macro job2.mac result.txt");
  EXPECT_EQ(readFile(dir.file("result.txt")), "156\n");

  run = runIn(dir.path().string(), kBin + "/sigillo CODA dump -lib l.cdl -fcmp '*' -quick");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_NE(run.out.find("in.txt\n"), std::string::npos) << run.out;
  run = runIn(dir.path().string(), kBin + "/sigillo CODA chk -lib manca.cdl -fcmp '*' -s");
  EXPECT_EQ(run.status, 175);
  EXPECT_NE(run.out.find("RISULTATO = (175) Impossibile aprire libreria in lettura: "
                         "Operazione CODEC fallita"),
            std::string::npos)
      << run.out;
  run = runIn(dir.path().string(), kBin + "/sigillo CODA");
  EXPECT_NE(run.out.find("selfexp"), std::string::npos) << run.out;
}

}  // namespace
}  // namespace sigillo
