// Busy batch jobs on one library: concurrent writers, a writer held up too
// long, and writers interrupted or killed in the middle of a rewrite.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

const std::string kCli = std::string(SIGILLO_BIN_DIR) + "/sigillo";

class Writers : public ::testing::Test {
 protected:
  test::ShellOutcome sh(const std::string& script) {
    return test::runShell(dir_.path().string(), "S='" + kCli + "'; " + script + " 2>&1");
  }
  size_t temporaries() {
    size_t count = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir_.path())) {
      count += e.path().extension() == ".tmp";
    }
    return count;
  }
  TempDir dir_;
};

TEST_F(Writers, TwoJobsAddingFiftyEachLoseNothing) {
  const test::ShellOutcome run = sh(
      "for i in $(seq 1 100); do echo \"riga $i\" > f$i.txt; done;"
      "job() { for i in $(seq $1 $2); do \"$S\" CODA cmp -s -lib l.cdl -fin f$i.txt >/dev/null ||"
      " echo \"fallito $i\"; done; };"
      "job 1 50 & job 51 100 & wait;"
      "\"$S\" CODA dump -s -quick -lib l.cdl -fcmp '*' -result r.txt >/dev/null; grep -c "
      "'^f[0-9]*\\.txt$' r.txt");
  EXPECT_EQ(run.out, "100\n");
  EXPECT_EQ(temporaries(), 0u);
}

TEST_F(Writers, AWriterWaitsABoundedTime) {
  writeFile(dir_.file("a.txt"), "a");
  ASSERT_EQ(sh("\"$S\" CODA cmp -s -lib l.cdl -fin a.txt").status, 0);
  const std::string before = readFile(dir_.file("l.cdl"));
  const test::ShellOutcome run =
      sh("flock l.cdl sleep 3 & sleep 0.5; SIGILLO_LOCK_WAIT=1 \"$S\" CODA cmp -s -o -lib l.cdl "
         "-fin a.txt; echo \"rc=$?\"; wait");
  EXPECT_NE(run.out.find("Impossibile aprire libreria in scrittura"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("libreria in uso da un altro processo"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("rc=177"), std::string::npos) << run.out;
  EXPECT_EQ(readFile(dir_.file("l.cdl")), before);
}

// The rewrite of a library is caught while its temporary file exists.
TEST_F(Writers, InterruptedAndKilledRewritesLeaveNoTemporaries) {
  writeFile(dir_.file("a.txt"), "a");
  ASSERT_EQ(
      sh("\"$S\" CODA cmp -s -lib l.cdl -fin a.txt; head -c 100000000 /dev/urandom > big").status,
      0);
  const std::string before = readFile(dir_.file("l.cdl"));
  const auto unchanged = [&] { return readFile(dir_.file("l.cdl")) == before; };
  const std::string rewriteThen =
      // A shell starts background jobs with SIGINT ignored; a terminal's job has it.
      "env --default-signal=INT \"$S\" CODA cmp -s -mode 9 -lib l.cdl -fin big >/dev/null & p=$!;"
      "for i in $(seq 1 5000); do ls .sl*.tmp >/dev/null 2>&1 && break; sleep 0.002; done; kill ";
  for (const char* signal : {"-INT", "-TERM"}) {
    const test::ShellOutcome run = sh(rewriteThen + signal + " $p; wait $p; echo \"rc=$?\"");
    EXPECT_EQ(run.out, std::string(signal) == "-INT" ? "rc=130\n" : "rc=143\n") << signal;
    EXPECT_EQ(temporaries(), 0u) << signal;
    EXPECT_TRUE(unchanged()) << signal;
  }
  // A killed writer leaves its temporary; the next writer of the library removes it.
  EXPECT_EQ(sh(rewriteThen + "-KILL $p; wait $p; echo \"rc=$?\"").out, "rc=137\n");
  EXPECT_EQ(temporaries(), 1u);
  writeFile(dir_.file("b.txt"), "b");
  EXPECT_EQ(sh("\"$S\" CODA cmp -s -lib l.cdl -fin b.txt").status, 0);
  EXPECT_EQ(temporaries(), 0u);
}

}  // namespace
}  // namespace sigillo
