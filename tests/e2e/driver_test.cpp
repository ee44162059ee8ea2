// The macro driver and the sigillo command line, run as programs.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

using Outcome = test::ShellOutcome;

// Runs a shell command in `dir` and collects its standard output.
Outcome runIn(const TempDir& dir, const std::string& command) {
  return test::runShell(dir.path().string(), command + " 2>/dev/null");
}

const std::string kMacro = std::string(SIGILLO_BIN_DIR) + "/macro";
const std::string kCli = std::string(SIGILLO_BIN_DIR) + "/sigillo";

TEST(MacroDriver, RunsHashAndWritesTheCode) {
  TempDir dir;
  writeFile(dir.file("in.txt"), "abc");
  writeFile(dir.file("job.mac"), "hash\nmd5 -fin in.txt -fout out.txt\n");
  Outcome run = runIn(dir, kMacro + " job.mac result.txt");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out,
            "\nUSO: macro"
            "\nL: 33 Macro letta dal file = <hash\n> len = 5\n"
            "Macro Maiuscola = <HASH\n> len = 5\n"
            "\nL: 40 Parametri = <md5 -fin in.txt -fout out.txt\n> len = 30\n"
            "\nL: 45 Chiamata la routine HASH"
            "\nL: 47 ");
  EXPECT_EQ(readFile(dir.file("result.txt")), "0\n");
  EXPECT_EQ(readFile(dir.file("out.txt")), "900150983CD24FB0D6963F7D28E17F72");
}

TEST(MacroDriver, ResultFileHoldsTheFirstErrorCode) {
  struct Row {
    const char* file;
    const char* result;
  } rows[] = {{"HASH\nhmcsha1 -fin in.txt\n", "214\n"},
              {"X509CRTHASH\nmd5 -fin in.txt -fin in.txt\n", "215\n"},
              {"hash\nsha3 -fin in.txt\n", "212\n"},
              {"hash\nmd5 -fin manca.txt\n", "200\n"},
              {"nessuna\nmd5 -fin in.txt\n", "0\n"}};
  for (const Row& row : rows) {
    TempDir dir;
    writeFile(dir.file("in.txt"), "abc");
    writeFile(dir.file("job.mac"), row.file);
    EXPECT_EQ(runIn(dir, kMacro + " job.mac result.txt").status, 0);
    EXPECT_EQ(readFile(dir.file("result.txt")), row.result) << row.file;
  }
}

TEST(MacroDriver, DigestWithoutFoutGoesToTheConsole) {
  TempDir dir;
  writeFile(dir.file("in.txt"), "");
  writeFile(dir.file("job.mac"), "hash\nmd5 -fin in.txt\n");
  Outcome run = runIn(dir, kMacro + " job.mac result.txt");
  EXPECT_NE(run.out.find("\nL: 45 D41D8CD98F00B204E9800998ECF8427EChiamata la routine HASH"),
            std::string::npos)
      << run.out;
}

TEST(MacroDriver, UnreadableFilesEndWithStatusOne) {
  TempDir dir;
  Outcome run = runIn(dir, kMacro + " manca.mac result.txt");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out,
            "\nUSO: macro"
            "Errore nell'apertura del file manca.mac\n");
  writeFile(dir.file("job.mac"), "hash\n\n");
  run = runIn(dir, kMacro + " job.mac nodir/result.txt");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("Errore nell'apertura del file nodir/result.txt\n"), std::string::npos);
}

TEST(SigilloCli, ListsMacrosAndHelp) {
  TempDir dir;
  Outcome run = runIn(dir, kCli);
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("Macro disponibili:\n"
                         "  ASN1       struttura ASN.1 di file DER e PEM\n"
                         "  CODA       librerie compresse di file\n"
                         "  HASH       impronte, checksum e MAC di file\n"),
            std::string::npos)
      << run.out;

  run = runIn(dir, kCli + " hash");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("Uso: sigillo HASH <FUNZIONE> (-h)\nFunzioni disponibili:\n  crc16"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("  ripemd         RIPEMD-160\n"), std::string::npos) << run.out;

  run = runIn(dir, kCli + " HASH hmcsha1 -h");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out,
            "Uso: sigillo HASH hmcsha1 <...>\n"
            "  -fin arg       (obbligatorio)\n"
            "  -fout arg\n"
            "  -md1 arg       (obbligatorio)\n"
            "  -pipe\n");
}

TEST(SigilloCli, RunsAMacroAndReportsTheResult) {
  TempDir dir;
  writeFile(dir.file("a b.txt"), "abc");
  Outcome run = runIn(dir, kCli + " HASH md5 -fin 'a b.txt' -s");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "900150983CD24FB0D6963F7D28E17F72\nRISULTATO = (0) OK\n");

  run = runIn(dir, kCli + " HASH hmcsha1 -fin 'a b.txt'");
  EXPECT_EQ(run.status, 214);
  EXPECT_EQ(run.out.rfind("HASH - impronte, checksum e MAC di file\nSigillo - Versione 7.16.27", 0),
            0u)
      << run.out;
  EXPECT_NE(run.out.find("\nRISULTATO = (214) Parametro obbligatorio mancante: md1\n"
                         "\nTRACCIA ERRORE:\n"
                         " > [301] Errore: Macro HASH fallita (mlib:"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find(" > [214] Parametro obbligatorio mancante: md1 (wclib:"),
            std::string::npos)
      << run.out;

  run = runIn(dir, kCli + " HASH sha3 -fin x");
  EXPECT_EQ(run.status, 212);
  EXPECT_EQ(run.out, "\nRISULTATO = (212) Metodo non consentito nella macro: Metodo sconosciuto\n");

  run = runIn(dir, kCli + " NOPE");
  EXPECT_EQ(run.status, 2);
}

TEST(Programs, MemoryNamesAreRefusedAndCodecSpeaksItsOwnTexts) {
  TempDir dir;
  writeFile(dir.file("in.txt"), "abc");
  ASSERT_EQ(runIn(dir, kCli + " CODA cmp -lib l.cdl -fin in.txt -s").status, 0);
  struct Row {
    std::string command;
    int status;
    const char* expected;
  } rows[] = {
      {kCli + " HASH md5 -fin 0x10000000 -s", 200,
       "RISULTATO = (200) Impossibile aprire file di input: '0x10000000' e' un file in memoria: "
       "non disponibile in questo programma\n"},
      {kCli + " HASH md5 -fin in.txt -fout 0x7f0000001000 -s", 203,
       "'0x7f0000001000' e' un file in memoria: non disponibile in questo programma (unifile:"},
      {kCli + " CODA rebuild -lib l.cdl -libout l.cdl -s", 187,
       " > [37] Nomi della libreria e del file uguali: l.cdl (codec:"},
  };
  for (const Row& row : rows) {
    Outcome run = runIn(dir, row.command);
    EXPECT_EQ(run.status, row.status) << row.command;
    EXPECT_NE(run.out.find(row.expected), std::string::npos) << run.out;
  }
  writeFile(dir.file("job.mac"), "hash\nmd5 -fin 0x10000000\n");
  EXPECT_EQ(runIn(dir, kMacro + " job.mac result.txt").status, 0);
  EXPECT_EQ(readFile(dir.file("result.txt")), "200\n");
}

}  // namespace
}  // namespace sigillo
