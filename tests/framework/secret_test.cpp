// Secret option values are masked; log files are not a way into other files.
#include "framework/secret.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "sigillo/sigillo.h"
#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

TEST(MaskSecretOptions, ValuesAsTheParserTakesThem) {
  const struct {
    const char* in;
    const char* out;
  } rows[] = {
      {"hmcsha1 -fin a -md1 abc -fout b", "hmcsha1 -fin a -md1 ******** -fout b"},
      {"-PF x -Pl \"a b\" -pln\t\"c\"", "-PF ******** -Pl \"********\" -pln\t\"********\""},
      {"-x \"l\" -pf \"s\" -pl \"t\" -pln \"u\" ",
       "-x \"l\" -pf \"********\" -pl \"********\" "
       "-pln \"********\" "},
      {"-md2 a-b -key1 k1 -nkrc5 n -pin 1234",
       "-md2 ******** -key1 ******** -nkrc5 ******** -pin "
       "********"},
      {"-md1 \"open to the end", "-md1 \"********"},
      {"-md1 -fin a -md1", "-md1 -fin a -md1"},  // no value follows
      {"-fin \"-pf x\" -pfx y -np -pf", "-fin \"-pf x\" -pfx y -np -pf"},
      {"-pf\"q\"r", "-pf\"********\"r"},
  };
  for (const auto& row : rows) EXPECT_EQ(maskSecretOptions(row.in), row.out) << row.in;
}

class LogFiles : public test::CleanStack {
 protected:
  void TearDown() override {
    TRsetopts(0);
    TRsetlog(nullptr);
    TRclrerr();
  }
  // One error record written to `path`, as an entry point would, and what the
  // entry point then returns for a body that returned `code`.
  uint16_t recordTo(const std::string& path, uint16_t code = 0) {
    TRsetlog(path.c_str());
    TRsetopts(kTrLogMsg);
    TRerr("m", 1, "f", 30, "x");
    TRclrerr();
    return TRlogfailure("ENTRY", code);
  }
  test::TempDir dir;
};

TEST_F(LogFiles, ALinkIsRefusedAndItsTargetKept) {
  test::writeFile(dir.file("target"), "kept");
  std::filesystem::create_symlink("target", dir.file("log"));
  uint16_t rc = 0;
  EXPECT_EQ(TRLOGPATH(dir.file("log").c_str(), &rc), 203);
  const std::string refused =
      "Impossibile aprire file in output: Errore 40='Too many levels of "
      "symbolic links' sul file '" +
      dir.file("log") + "'";
  EXPECT_EQ(test::currentText(), refused);
  uint32_t length = static_cast<uint32_t>(dir.file("log").size());
  EXPECT_EQ(TRLOG(dir.file("log").c_str(), &length, &rc), 203);
  EXPECT_EQ(test::currentText(), refused);
  // A link planted after the name was accepted is not followed either.
  EXPECT_EQ(recordTo(dir.file("log")), 204);
  EXPECT_EQ(test::readFile(dir.file("target")), "kept");
}

TEST_F(LogFiles, AnExistingLogEndsWithMode0600) {
  test::writeFile(dir.file("log"), "old");
  chmod(dir.file("log").c_str(), 0644);
  EXPECT_EQ(recordTo(dir.file("log")), 0);
  struct stat st {};
  ASSERT_EQ(stat(dir.file("log").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(test::readFile(dir.file("log")).find("old"), std::string::npos);
}

TEST_F(LogFiles, AFullDiskIsReported) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  EXPECT_EQ(recordTo("/dev/full"), 204);
  EXPECT_EQ(test::currentText(),
            "Impossibile scrivere carattere nel file in output: Errore 28='No space left on "
            "device' sul file '/dev/full'");
  EXPECT_EQ(recordTo("/dev/full", 33), 33);  // a failing call keeps its own code
  EXPECT_EQ(TRlogfailure("ENTRY", 0), 0);    // and the failure is reported once
}

}  // namespace
}  // namespace sigillo
