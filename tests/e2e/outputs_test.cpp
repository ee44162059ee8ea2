// Output files the user names are written through the name: links, hard
// links, modes, FIFOs and devices behave as with any program's output.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

const std::string kCli = std::string(SIGILLO_BIN_DIR) + "/sigillo";

struct Producer {
  const char* label;
  std::string command;  // OUT stands for the output's name
  std::string content;
};

void PrintTo(const Producer& p, std::ostream* os) { *os << p.label; }

std::string withOutput(std::string command, const std::string& out) {
  command.replace(command.find("OUT"), 3, out);
  return command;
}

class NamedOutputs : public ::testing::TestWithParam<Producer> {
 protected:
  void SetUp() override {
    writeFile(dir_.file("in.txt"), "abc");
    ASSERT_EQ(run("CODA cmp -lib l.cdl -fin in.txt -s").status, 0);
  }
  test::ShellOutcome run(const std::string& command) {
    return test::runShell(dir_.path().string(), kCli + " " + command + " 2>&1");
  }
  std::string path(const std::string& name) const { return dir_.file(name); }
  TempDir dir_;
};

TEST_P(NamedOutputs, LinksModesFifosAndDevicesAreKept) {
  const Producer& p = GetParam();
  writeFile(path("target"), "old content, longer than any result");
  chmod(path("target").c_str(), 0640);
  std::filesystem::create_symlink("target", path("link"));
  std::filesystem::create_hard_link(path("target"), path("second"));
  ASSERT_EQ(run(withOutput(p.command, "link")).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(readFile(path("target")), p.content);
  EXPECT_EQ(readFile(path("second")), p.content);
  struct stat st {};
  ASSERT_EQ(stat(path("target").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  EXPECT_EQ(st.st_nlink, 2u);

  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  test::ShellOutcome fifo = test::runShell(
      dir_.path().string(),
      "{ cat fifo > got & " + kCli + " " + withOutput(p.command, "fifo") + " >/dev/null; wait; }");
  EXPECT_EQ(fifo.status, 0);
  EXPECT_EQ(readFile(path("got")), p.content);
  ASSERT_EQ(lstat(path("fifo").c_str(), &st), 0);
  EXPECT_TRUE(S_ISFIFO(st.st_mode));

  EXPECT_EQ(run(withOutput(p.command, "/dev/null")).status, 0);
  test::ShellOutcome console = run(withOutput(p.command, "/dev/stdout"));
  EXPECT_EQ(console.status, 0);
  EXPECT_NE(console.out.find(p.content), std::string::npos) << console.out;

  // Nothing but what the test made is left in the folder.
  EXPECT_EQ(test::namesIn(dir_.path().string()),
            (std::set<std::string>{"in.txt", "l.cdl", "target", "link", "second", "fifo", "got"}));
}

INSTANTIATE_TEST_SUITE_P(
    Producers, NamedOutputs,
    ::testing::Values(Producer{"hash", "HASH md5 -fin in.txt -fout OUT -s",
                               "900150983CD24FB0D6963F7D28E17F72"},
                      Producer{"dcp", "CODA dcp -lib l.cdl -nn in.txt -fout OUT -o -s", "abc"},
                      Producer{"result", "CODA chk -lib l.cdl -fcmp '*' -result OUT -o -s",
                               "Verificato  in.txt\n"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(NamedLibraries, RebuiltLibrariesAndProgramsFollowLinksAndKeepModes) {
  TempDir dir;
  auto run = [&](const std::string& command) {
    return test::runShell(dir.path().string(), kCli + " " + command + " -s 2>&1").status;
  };
  writeFile(dir.file("in.txt"), "abc");
  ASSERT_EQ(run("CODA cmp -lib l.cdl -fin in.txt"), 0);
  writeFile(dir.file("target"), "old");
  chmod(dir.file("target").c_str(), 0640);
  std::filesystem::create_symlink("target", dir.file("link"));
  std::filesystem::create_hard_link(dir.file("target"), dir.file("second"));
  struct stat st {};
  ASSERT_EQ(run("CODA rebuild -lib l.cdl -libout link -o"), 0);
  EXPECT_EQ(run("CODA chk -lib second -fcmp '*'"), 0);
  ASSERT_EQ(stat(dir.file("target").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  ASSERT_EQ(run("CODA selfexp -lib l.cdl -libexe link -o -frt " + std::string(SIGILLO_BIN_DIR) +
                "/sigillo-sfx"),
            0);
  EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link")));
  EXPECT_EQ(readFile(dir.file("second")).substr(0, 4),
            "\x7F"
            "ELF");
  ASSERT_EQ(stat(dir.file("target").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0750u);  // readable by the group, so runnable by it too
  EXPECT_EQ(st.st_nlink, 2u);
  EXPECT_EQ(test::namesIn(dir.path().string()),
            (std::set<std::string>{"in.txt", "l.cdl", "target", "link", "second"}));
}

TEST(NamedLibraries, AFailedRunKeepsAnExistingOutputAndRemovesANewOne) {
  TempDir dir;
  writeFile(dir.file("in.txt"), "abc");
  writeFile(dir.file("old.txt"), "old");
  for (const char* out : {"old.txt", "new.txt"}) {
    const std::string command =
        kCli + " HASH hf1 -md1 troppolunga -fin in.txt -s -fout " + std::string(out);
    EXPECT_EQ(test::runShell(dir.path().string(), command + " 2>&1").status, 7) << out;
  }
  EXPECT_EQ(readFile(dir.file("old.txt")), "old");
  EXPECT_FALSE(std::filesystem::exists(dir.file("new.txt")));
}

}  // namespace
}  // namespace sigillo
