// Names of 1 to 255 bytes, for members and for libraries, through
// compression, listing, extraction and the self-extracting run-time.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/archive/coda_helpers.h"

namespace sigillo {
namespace {

using test::coda;
using test::q;
using test::readFile;
using test::TempDir;
using test::writeFile;

// A name of exactly `length` bytes, two-byte UTF-8 characters first, ending
// with `suffix`.
std::string nameOf(size_t length, const std::string& suffix) {
  if (length <= suffix.size()) return std::string(length, 'a');
  std::string name;
  while (name.size() + 2 + suffix.size() <= length) name += "\xC3\xA8";  // e grave
  name.append(length - suffix.size() - name.size(), 'x');
  return name + suffix;
}

class LongNames : public ::testing::TestWithParam<size_t> {};

TEST_P(LongNames, MembersAndLibrariesWorkEverywhere) {
  const size_t length = GetParam();
  TempDir dir;
  const std::string member = nameOf(length, ".txt");
  ASSERT_EQ(member.size(), length);
  std::filesystem::create_directories(dir.file("src"));
  writeFile(dir.file("src/" + member), "long " + std::to_string(length));
  writeFile(dir.file("src/z.txt"), "after the long one");
  const std::string lib = dir.file(nameOf(length, ".cdl"));
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("src/" + member))), 0);
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("src/z.txt"))), 0);
  ASSERT_EQ(coda("dump", lib, "-quick -fcmp * -result " + q(dir.file("list"))), 0);
  EXPECT_EQ(readFile(dir.file("list")), member + "\nz.txt\n");

  ASSERT_EQ(coda("dcp", lib, "-fout " + q(dir.file("out"))), 0);
  EXPECT_EQ(readFile(dir.file("out/" + member)), "long " + std::to_string(length));
  EXPECT_EQ(readFile(dir.file("out/z.txt")), "after the long one");

  const std::string exe = dir.file("l.run");
  ASSERT_EQ(coda("selfexp", lib,
                 "-libexe " + q(exe) + " -frt " + q(std::string(SIGILLO_BIN_DIR) + "/sigillo-sfx")),
            0);
  std::filesystem::create_directories(dir.file("run"));
  test::ShellOutcome run = test::runShell(dir.file("run"), q(exe) + " -s 2>&1");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(readFile(dir.file("run/" + member)), "long " + std::to_string(length));
  EXPECT_EQ(readFile(dir.file("run/z.txt")), "after the long one");
}

INSTANTIATE_TEST_SUITE_P(Lengths, LongNames, ::testing::Values(1, 239, 240, 254, 255));

}  // namespace
}  // namespace sigillo
