// CODA through its entry point on real files and folders.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "archive/coda.h"
#include "archive/codec_format.h"
#include "tests/archive/coda_helpers.h"

namespace sigillo {
namespace {

using test::coda;
using test::q;
using test::readFile;
using test::TempDir;
using test::writeFile;

TEST(CodaRoundTrip, EveryModeGivesBackTheExactBytes) {
  TempDir dir;
  const std::pair<std::string, std::string> inputs[] = {
      {"empty", ""},
      {"text.txt", std::string(300000, 'x') + "fine\n"},
      {"random.bin", test::randomBytes(3 << 20, 7)},
      {"zeros.bin", std::string(5 << 20, '\0')}};
  for (int mode : {0, 1, 5, 9}) {
    const std::string lib = dir.file("m" + std::to_string(mode) + ".cdl");
    for (const auto& [name, data] : inputs) {
      writeFile(dir.file(name), data);
      ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file(name)) + " -mode " + std::to_string(mode)), 0)
          << name << " mode " << mode;
    }
    for (const auto& [name, data] : inputs) {
      const std::string out = dir.file("out_" + name);
      ASSERT_EQ(coda("dcp", lib, "-o -fout " + q(out) + " -nn " + q(name)), 0) << name << mode;
      EXPECT_TRUE(readFile(out) == data) << name << " mode " << mode;
    }
    EXPECT_EQ(coda("chk", lib, "-fcmp *"), 0);
  }
  // Stored members take their size; zeros shrink when compressed.
  EXPECT_GT(std::filesystem::file_size(dir.file("m0.cdl")), (8u << 20));
  EXPECT_LT(std::filesystem::file_size(dir.file("m9.cdl")), (4u << 20));
}

TEST(CodaFolders, PathKeepsTheTreeAndExclExcludes) {
  TempDir dir;
  std::filesystem::create_directories(dir.file("src/a/b"));
  writeFile(dir.file("src/top.txt"), "top");
  writeFile(dir.file("src/a/mid.txt"), "mid");
  writeFile(dir.file("src/a/b/deep.txt"), "deep");
  writeFile(dir.file("src/a/b/skip.o"), "object");
  const std::string lib = dir.file("l.cdl");
  // A folder without -path is not compressible.
  EXPECT_EQ(coda("cmp", lib, "-fin " + q(dir.file("src"))), 152);
  EXPECT_FALSE(std::filesystem::exists(lib));
  ASSERT_EQ(coda("cmp", lib, "-path -fin " + q(dir.file("src")) + " -excl *.o"), 0);
  ASSERT_EQ(coda("dump", lib, "-quick -sort -fcmp * -result " + q(dir.file("r1"))), 0);
  EXPECT_EQ(readFile(dir.file("r1")), "a/b/deep.txt\na/mid.txt\ntop.txt\n");
  ASSERT_EQ(coda("dcp", lib, "-path -fout " + q(dir.file("tree"))), 0);
  EXPECT_EQ(readFile(dir.file("tree/a/b/deep.txt")), "deep");
  EXPECT_EQ(readFile(dir.file("tree/top.txt")), "top");
  EXPECT_FALSE(std::filesystem::exists(dir.file("tree/a/b/skip.o")));
  // Without -path every member lands in the output folder itself.
  ASSERT_EQ(coda("dcp", lib, "-fout " + q(dir.file("flat"))), 0);
  EXPECT_EQ(readFile(dir.file("flat/deep.txt")), "deep");
  EXPECT_EQ(readFile(dir.file("flat/mid.txt")), "mid");
  // -np names the member's folder in the library.
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("src/top.txt")) + " -nn nuovo.txt -np x/y"), 0);
  ASSERT_EQ(coda("dump", lib, "-quick -fcmp x/y/* -path -result " + q(dir.file("r2"))), 0);
  EXPECT_EQ(readFile(dir.file("r2")), "x/y/nuovo.txt\n");
}

TEST(CodaMembers, ExistingMembersAndOutputsAreNeverReplacedWithoutO) {
  TempDir dir;
  const std::string lib = dir.file("l.cdl");
  const std::string in = dir.file("a.txt");
  writeFile(in, "prima");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(in)), 0);
  writeFile(in, "dopo");
  const std::string before = readFile(lib);
  EXPECT_EQ(coda("cmp", lib, "-fin " + q(in)), 151);
  EXPECT_EQ(readFile(lib), before);
  ASSERT_EQ(coda("cmp", lib, "-o -fin " + q(in)), 0);

  const std::string out = dir.file("out.txt");
  writeFile(out, "vecchio");
  EXPECT_EQ(coda("dcp", lib, "-fout " + q(out) + " -nn a.txt"), 156);
  EXPECT_EQ(readFile(out), "vecchio");
  EXPECT_EQ(coda("dcp", lib, "-nc -fout " + q(out) + " -nn a.txt"), 0);
  EXPECT_EQ(readFile(out), "vecchio");
  EXPECT_EQ(coda("dcp", lib, "-append -fout " + q(out) + " -nn a.txt"), 0);
  EXPECT_EQ(readFile(out), "vecchiodopo");
  EXPECT_EQ(coda("dcp", lib, "-o -fout " + q(out) + " -nn a.txt"), 0);
  EXPECT_EQ(readFile(out), "dopo");
  // The replaced output leaves nothing behind under another name.
  EXPECT_EQ(test::namesIn(dir.path()), (std::set<std::string>{"a.txt", "l.cdl", "out.txt"}));
  EXPECT_EQ(coda("cmp", lib, "-fin " + q(lib)), 187);
}

TEST(CodaMembers, DeleteDumpAndNotFound) {
  TempDir dir;
  const std::string lib = dir.file("l.cdl");
  for (const char* name : {"a1.txt", "a2.txt", "b.txt"}) {
    writeFile(dir.file(name), name);
    ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file(name))), 0);
  }
  ASSERT_EQ(coda("del", lib, "-fcmp a* -excl a2*"), 0);
  ASSERT_EQ(coda("dump", lib, "-quick -fcmp * -result " + q(dir.file("r"))), 0);
  EXPECT_EQ(readFile(dir.file("r")), "a2.txt\nb.txt\n");
  const std::pair<std::string, int> rows[] = {
      {"del -s -lib " + q(lib) + " -fcmp zz*", 182},
      {"chk -s -lib " + q(lib) + " -fcmp zz*", 182},
      {"dump -s -lib " + q(lib) + " -fcmp zz*", 182},
      {"dcp -s -lib " + q(lib) + " -nn zz -fout " + q(dir.file("o")), 182},
      {"dcp -s -lib " + q(dir.file("none.cdl")) + " -fout " + q(dir.file("o")), 175},
      {"cmp -s -lib " + q(lib) + " -fin " + q(dir.file("none.txt")), 164},
      {"cmp -s -lib " + q(lib) + " -fin " + q(dir.file("b.txt")) + " -mode 10", 216},
      {"cmp -s -lib " + q(lib) + " -fin " + q(dir.file("b.txt")) + " -mode \"-1\"", 216},
      {"dump -s -lib " + q(lib), 214},
      {"pack -lib " + q(lib), 212}};
  for (const auto& [params, code] : rows) EXPECT_EQ(coda(params), code) << params;
  ASSERT_EQ(coda("del", lib, "-fcmp *"), 0);
  // An empty library stays a library.
  EXPECT_EQ(coda("dump", lib, "-fcmp *"), 0);
  EXPECT_EQ(coda("chk", lib, "-fcmp *"), 182);
}

TEST(CodaErrors, StackHoldsHandlerCallCodecAndCodecDetail) {
  TempDir dir;
  const std::string lib = dir.file("l.cdl");
  writeFile(dir.file("a.txt"), "a");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("a.txt"))), 0);
  EXPECT_EQ(coda("dcp", lib, "-nn zz -fout " + q(dir.file("o"))), 182);
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), 3u);
  EXPECT_EQ(stack[0].file + " " + std::to_string(stack[0].code) + " " + stack[0].message,
            "codec 32 zz");
  EXPECT_EQ(stack[1].function + " " + std::to_string(stack[1].code) + " " + stack[1].message,
            "call_codec 182 Operazione CODEC fallita");
  EXPECT_EQ(stack[2].function + " " + std::to_string(stack[2].code), "coda_dcp 301");
  EXPECT_EQ(*get_sErroR(), 182);
}

TEST(CodaErrors, CallCodecKeepsWhatWasRecordedBefore) {
  TempDir dir;
  TRclrerr();
  TRerr("test", 1, "before", 249, "prima");
  WCopt options[] = {
      {"lib", 1, kWcText, 0, {}, 1}, {"fcmp", 1, kWcText, 0, {}, 1}, {nullptr, 0, 0, 0, {}, 0}};
  const std::string lib = dir.file("none.cdl");
  options[0].value.str = const_cast<char*>(lib.c_str());
  options[1].value.str = const_cast<char*>("*");
  CodecText command = "-x \"" + CodecText(lib.c_str()) + "\" \"*\" ";
  EXPECT_EQ(call_codec(options, &command, kKindChk), 175);
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), 3u);
  EXPECT_EQ(
      stack[0].message + " " + std::to_string(stack[1].code) + " " + std::to_string(stack[2].code),
      "prima 25 175");
  EXPECT_EQ(*get_sErroR(), 249);  // the first code recorded still wins
  TRclrerr();
}

TEST(CodaPasswords, MemberAndLibraryPasswordsReallyProtect) {
  TempDir dir;
  const std::string secret = "contenuto riservato " + std::string(1000, 'z');
  writeFile(dir.file("s.txt"), secret);
  const std::string lib = dir.file("p.cdl");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("s.txt")) + " -pf uno -pl due"), 0);
  // Neither the text nor its compressed form appears in the file.
  EXPECT_EQ(readFile(lib).find("contenuto"), std::string::npos);
  const std::string dcp = "dcp -s -o -lib " + q(lib) + " -nn s.txt -fout " + q(dir.file("o"));
  const std::pair<const char*, int> rows[] = {{"", 184},
                                              {" -pl tre", 184},
                                              {" -pl due", 153},
                                              {" -pl due -pf x", 153},
                                              {" -pl due -pf uno", 0}};
  for (const auto& [extra, code] : rows) EXPECT_EQ(coda(dcp + extra), code) << extra;
  EXPECT_EQ(readFile(dir.file("o")), secret);
  // chk without keys verifies what it can: the stored bytes.
  EXPECT_EQ(coda("chk", lib, "-fcmp *"), 0);
  // A new library password; the old one stops working.
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("s.txt")) + " -nn t.txt -pl due -pln quattro"),
            0);
  EXPECT_EQ(coda(dcp + " -pl due -pf uno"), 184);
  EXPECT_EQ(coda(dcp + " -pl quattro -pf uno"), 0);
  // Adding to a protected library needs its password.
  EXPECT_EQ(coda("cmp", lib, "-fin " + q(dir.file("s.txt")) + " -nn u.txt"), 184);
}

TEST(CodaDamage, HeaderIndexAndDataDamageGiveTheirCodes) {
  TempDir dir;
  writeFile(dir.file("a.txt"), std::string(50000, 'a') + "fine");
  const std::string good = dir.file("good.cdl");
  ASSERT_EQ(coda("cmp", good, "-fin " + q(dir.file("a.txt"))), 0);
  const std::string bytes = readFile(good);
  const size_t dataAt = codec::kHeaderSize + codec::kLocalOverhead + codec::kEntryFixedSize + 5;
  const size_t indexAt = bytes.size() - (codec::kEntryFixedSize + 5);
  const std::tuple<const char*, size_t, std::string, int> rows[] = {
      {"magic", 0, "dcp", 181},
      {"version", 8, "dcp", 161},
      {"count", 12, "dcp", 183},
      {"header crc", 125, "dump", 183},
      {"index entry", indexAt + 30, "dump", 157},
      {"index name", bytes.size() - 1, "dcp", 157},
      {"data first byte", dataAt, "dcp", 154},
      {"data last byte", indexAt - 1, "chk", 154}};
  for (const auto& [what, offset, op, code] : rows) {
    const std::string lib = dir.file("bad_" + std::to_string(offset) + ".cdl");
    std::string bad = bytes;
    bad[offset] ^= 0x5A;
    writeFile(lib, bad);
    const std::string out = dir.file("out_" + std::to_string(offset));
    EXPECT_EQ(coda(op, lib, op == "dcp" ? "-nn a.txt -fout " + q(out) : "-fcmp *"), code) << what;
    EXPECT_FALSE(std::filesystem::exists(out)) << what;
  }
  // Truncated, empty and foreign files.
  writeFile(dir.file("cut.cdl"), bytes.substr(0, bytes.size() - 10));
  writeFile(dir.file("empty.cdl"), "");
  writeFile(dir.file("text.cdl"), std::string(200, 't'));
  EXPECT_EQ(coda("dump", dir.file("cut.cdl"), "-fcmp *"), 176);
  EXPECT_EQ(coda("dump", dir.file("empty.cdl"), "-fcmp *"), 181);
  EXPECT_EQ(coda("cmp", dir.file("text.cdl"), "-fin " + q(dir.file("a.txt"))), 181);
  EXPECT_EQ(readFile(dir.file("text.cdl")), std::string(200, 't'));
}

TEST(CodaRebuild, RecoversUndamagedMembersAndFollowsItsEdgeCases) {
  TempDir dir;
  const std::string lib = dir.file("l.cdl");
  for (const char* name : {"a.txt", "b.txt", "c.txt"}) {
    writeFile(dir.file(name), std::string(2000, name[0]));
    ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file(name))), 0);
  }
  std::string bytes = readFile(lib);
  // Damage b's data and the index: rebuild finds a and c from their local entries.
  const size_t bAt = bytes.find("b.txt");
  bytes[bAt + 12] ^= 1;          // b's local entry name end + data start region
  bytes[bytes.size() - 3] ^= 1;  // the index
  writeFile(lib, bytes);
  const std::string out = dir.file("new.cdl");
  ASSERT_EQ(coda("rebuild", lib, "-libout " + q(out)), 0);
  ASSERT_EQ(coda("dump", out, "-quick -fcmp * -result " + q(dir.file("r"))), 0);
  EXPECT_EQ(readFile(dir.file("r")), "a.txt\nc.txt\n");
  EXPECT_EQ(coda("chk", out, "-fcmp *"), 0);
  // Output exists: 206 for rebuild; same name: 187; empty library: 249 before CODEC.
  EXPECT_EQ(coda("rebuild", lib, "-libout " + q(out)), 206);
  EXPECT_EQ(coda("rebuild", lib, "-libout " + q(lib)), 187);
  writeFile(dir.file("empty.cdl"), "");
  EXPECT_EQ(coda("rebuild", dir.file("empty.cdl"), "-libout " + q(dir.file("x"))), 249);
  for (const auto& e : test::errorStack()) EXPECT_NE(e.file, "codec");
  EXPECT_EQ(coda("rebuild", dir.file("none"), "-libout " + q(dir.file("x"))), 200);
}

TEST(CodaSafety, MembersCannotLeaveTheOutputFolder) {
  TempDir dir;
  std::filesystem::create_directories(dir.file("out"));
  std::filesystem::create_directories(dir.file("elsewhere"));
  std::filesystem::create_symlink(dir.file("elsewhere"), dir.file("out/link"));
  writeFile(dir.file("a.txt"), "payload");
  for (const std::string np : {"link", "link/deeper"}) {
    const std::string lib = dir.file("h_" + std::to_string(np.size()) + ".cdl");
    ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("a.txt")) + " -np " + q(np)), 0);
    EXPECT_EQ(coda("dcp", lib, "-path -fout " + q(dir.file("out"))), 170) << np;
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir.file("elsewhere")));
  // Names that climb or are absolute are refused when stored.
  for (const char* name : {"-np \"../up\"", "-np \"/abs\"", "-nn \"..\""})
    EXPECT_EQ(coda("cmp", dir.file("x.cdl"), "-fin " + q(dir.file("a.txt")) + " " + name), 170);
  // A link at the output name is replaced, not followed.
  const std::string lib = dir.file("plain.cdl");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("a.txt"))), 0);
  std::filesystem::create_directories(dir.file("out2"));
  std::filesystem::create_symlink(dir.file("elsewhere/victim"), dir.file("out2/a.txt"));
  EXPECT_EQ(coda("dcp", lib, "-fout " + q(dir.file("out2"))), 156);
  EXPECT_EQ(coda("dcp", lib, "-o -fout " + q(dir.file("out2"))), 0);
  EXPECT_FALSE(std::filesystem::exists(dir.file("elsewhere/victim")));
  EXPECT_FALSE(std::filesystem::is_symlink(dir.file("out2/a.txt")));
  EXPECT_EQ(readFile(dir.file("out2/a.txt")), "payload");
  EXPECT_EQ(test::namesIn(dir.file("out2")), std::set<std::string>{"a.txt"});
}

TEST(CodaConversion, TableAppliesToTextMembersOnly) {
  TempDir dir;
  std::string table(256, '\0');
  for (int i = 0; i < 256; ++i) table[i] = static_cast<char>(i);
  table['a'] = 'A';
  writeFile(dir.file("t.bin"), table);
  writeFile(dir.file("short.bin"), table.substr(0, 255));
  writeFile(dir.file("text.txt"), "banana");
  writeFile(dir.file("bin.dat"), std::string("ban\0na", 6));
  const std::string lib = dir.file("l.cdl");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("text.txt"))), 0);
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("bin.dat"))), 0);
  ASSERT_EQ(coda("dcp", lib, "-fout " + q(dir.file("o1")) + " -dcptbl " + q(dir.file("t.bin"))), 0);
  EXPECT_EQ(readFile(dir.file("o1/text.txt")), "bAnAnA");
  EXPECT_EQ(readFile(dir.file("o1/bin.dat")), std::string("ban\0na", 6));
  ASSERT_EQ(
      coda("dcp", lib, "-dcpbin -fout " + q(dir.file("o2")) + " -dcptbl " + q(dir.file("t.bin"))),
      0);
  EXPECT_EQ(readFile(dir.file("o2/text.txt")), "banana");
  EXPECT_EQ(coda("dcp", lib, "-fout " + q(dir.file("o3")) + " -dcptbl " + q(dir.file("short.bin"))),
            173);
}

TEST(CodaReport, ResultFileAndItsProtection) {
  TempDir dir;
  writeFile(dir.file("a.txt"), "abc");
  const std::string lib = dir.file("l.cdl");
  ASSERT_EQ(coda("cmp", lib, "-fin " + q(dir.file("a.txt")) + " -result " + q(dir.file("r"))), 0);
  EXPECT_EQ(readFile(dir.file("r")).rfind("Compresso   a.txt (3 -> ", 0), 0u)
      << readFile(dir.file("r"));
  EXPECT_EQ(coda("chk", lib, "-fcmp * -result " + q(dir.file("r"))), 203);
  ASSERT_EQ(coda("chk", lib, "-o -fcmp * -result " + q(dir.file("r"))), 0);
  EXPECT_EQ(readFile(dir.file("r")), "Verificato  a.txt\n");
}

}  // namespace
}  // namespace sigillo
