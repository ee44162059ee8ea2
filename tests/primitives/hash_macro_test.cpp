// The HASH macro run in process: files in, hex text out, codes and messages.
#include <gtest/gtest.h>

#include <cstring>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

class HashMacro : public ::testing::Test {
 protected:
  TempDir dir;
  std::string path(const std::string& name) { return dir.file(name); }

  uint16_t run(const std::string& params) {
    uint32_t len = static_cast<uint32_t>(params.size());
    uint16_t rc = 999;
    uint16_t ret = HASH(params.c_str(), &len, &rc);
    EXPECT_EQ(ret, rc);
    return rc;
  }
  // Runs `sub -fin in -fout out` and returns the output text.
  std::string hashOf(const std::string& sub, const std::string& content,
                     const std::string& extra = "") {
    writeFile(path("in.bin"), content);
    std::string out = path("out.txt");
    EXPECT_EQ(run(sub + " -fin " + path("in.bin") + " -fout " + out + " " + extra), 0)
        << sub << " " << extra << " " << newestMessage();
    return readFile(out);
  }
  static std::string newestMessage() {
    return TRgeterrstk() != nullptr ? TRgeterrstk()->message : "";
  }
};

TEST_F(HashMacro, Md5OfEmptyFile) {
  EXPECT_EQ(hashOf("md5", ""), "D41D8CD98F00B204E9800998ECF8427E");
}

TEST_F(HashMacro, EveryKeywordWritesItsHexLength) {
  struct Row {
    const char* params;
    size_t hexLength;
  } rows[] = {{"crc16", 4},
              {"fcs16", 4},
              {"fcs32", 8},
              {"md2", 32},
              {"md4", 32},
              {"md5", 32},
              {"sha1", 40},
              {"sha256", 64},
              {"sha512", 128},
              {"ripemd", 40},
              {"hf1 -md1 k", 16},
              {"hf2 -md1 a -md2 b", 32},
              {"hmcmd5 -md1 k", 32},
              {"hmcsha1 -md1 k", 40},
              {"hmcsha256 -md1 k", 64},
              {"hmcsha512 -md1 k", 128},
              {"maciso -md1 k", 16},
              {"macsiso1 -md1 a -md2 b", 16},
              {"macsiso2 -md1 a -md2 b", 16},
              {"maaiso -md1 a -md2 b", 8}};
  for (const Row& row : rows) {
    std::string text = hashOf(row.params, "Sigillo");
    EXPECT_EQ(text.size(), row.hexLength) << row.params;
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos) << row.params;
  }
}

TEST_F(HashMacro, PublishedValuesThroughTheMacro) {
  struct Row {
    const char* params;
    std::string content;
    const char* expected;
  } rows[] = {
      {"sha256", "abc", "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"},
      {"crc16", "123456789", "BB3D"},
      {"fcs32", "123456789", "CBF43926"},
      {"hmcsha256 -md1 Jefe", "what do ya want for nothing?",
       "5BDCC146BF60754E6A042426089575C75A003F089D2739839DEC58B964EC3843"},
      {"hmcsha1 -md1 x'0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b'", "Hi There",
       "B617318655057264E28BC0B6FB378C8EF146BE00"},
      // MDC-2 with its usual initial values.
      {"hf2 -md1 x'5252525252525252' -md2 x'2525252525252525'",
       "The quick brown fox jumps over the lazy dog", "000ED54E093D61679AEFBEAE05BFE33A"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(hashOf(row.params, row.content), row.expected) << row.params;
}

TEST_F(HashMacro, BlockBoundariesGiveTheSameDigestAsOneCall) {
  struct Row {
    size_t size;
    const char* sha1;
  } rows[] = {{16383, nullptr}, {16384, nullptr}, {16385, nullptr}, {32768, nullptr}};
  for (const Row& row : rows) {
    std::string content(row.size, 'q');
    uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
    uint32_t len = static_cast<uint32_t>(content.size());
    uint16_t mode = SIGILLO_BLOCK_ONLY, rc = 0;
    SHA1(reinterpret_cast<const uint8_t*>(content.data()), &len, state, &mode, &rc);
    EXPECT_EQ(hashOf("sha1", content), test::toHex(state, 20)) << row.size;
  }
}

TEST_F(HashMacro, OutputGoesToStandardOutputWithoutFout) {
  writeFile(path("in.bin"), "abc");
  testing::internal::CaptureStdout();
  EXPECT_EQ(run("md5 -fin " + path("in.bin")), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "900150983CD24FB0D6963F7D28E17F72");
}

TEST_F(HashMacro, ExistingOutputIsReplacedAndKeptOnFailure) {
  writeFile(path("out.txt"), "vecchio");
  EXPECT_EQ(hashOf("md5", "abc"), "900150983CD24FB0D6963F7D28E17F72");
  writeFile(path("out.txt"), "vecchio");
  EXPECT_EQ(run("md5 -fin " + path("manca.bin") + " -fout " + path("out.txt")), 200);
  EXPECT_EQ(readFile(path("out.txt")), "vecchio");
  EXPECT_EQ(run("hf1 -md1 troppolunga -fin " + path("in.bin") + " -fout " + path("out.txt")), 7);
  EXPECT_EQ(readFile(path("out.txt")), "vecchio");
  size_t entries = 0;
  for (auto& e : std::filesystem::directory_iterator(dir.path())) entries += e.exists();
  EXPECT_EQ(entries, 2u);  // no temporary file left behind
}

struct FailureRow {
  std::string params;
  uint16_t code;
  const char* newestFunction;
  std::string firstMessage;
};

TEST_F(HashMacro, Failures) {
  writeFile(path("in.bin"), "abc");
  const std::string in = " -fin " + path("in.bin");
  const FailureRow rows[] = {
      {"hmcsha1" + in, 214, "macro", "md1"},
      {"sha3" + in, 212, "macro", "Metodo sconosciuto"},
      {"", 212, "macro", "Token non trovato"},
      {"  \n \n", 212, "macro", "Token non trovato"},
      {"md5" + in + in, 215, "macro", "fin duplicato"},
      {"md5" + in + " -bogus x", 215, "macro", "bogus"},
      {"md5 -fin " + path("manca.bin"), 200, "open_inout",
       "file '" + path("manca.bin") + "' non trovato"},
      {"md5" + in + " -fout " + path("nodir/out.txt"), 203, "open_inout", ""},
      {"maciso -md1 x'0g'" + in, 22, "hash_maciso", "md1"},
      {"maaiso -md1 abcde -md2 k" + in, 7, "hash_maaiso", "md1"},
  };
  for (const FailureRow& row : rows) {
    EXPECT_EQ(run(row.params), row.code) << row.params;
    auto stack = test::errorStack();
    ASSERT_FALSE(stack.empty()) << row.params;
    if (!row.firstMessage.empty()) {
      EXPECT_EQ(stack.front().message, row.firstMessage) << row.params;
    }
    EXPECT_EQ(TRgeterrstk()->function, std::string(row.newestFunction)) << row.params;
  }
}

TEST_F(HashMacro, EngineArgumentChecks) {
  uint32_t len = 3;
  uint16_t rc = 0;
  EXPECT_EQ(HASH(nullptr, &len, &rc), 2);
  EXPECT_STREQ(TRgeterrstk()->message, "line (1)");
  EXPECT_EQ(HASH("md5", nullptr, &rc), 5);
  EXPECT_STREQ(TRgeterrstk()->message, "optline (2)");
  EXPECT_EQ(HASH("md5", &len, nullptr), 2);
  EXPECT_STREQ(TRgeterrstk()->message, "rc (3)");
}

TEST_F(HashMacro, KeywordsAndOptionsMatchRegardlessOfCase) {
  writeFile(path("in.bin"), "abc");
  EXPECT_EQ(run("MD5 -FIN " + path("in.bin") + " -FOUT " + path("o.txt") + " \n  \n"), 0);
  EXPECT_EQ(readFile(path("o.txt")), "900150983CD24FB0D6963F7D28E17F72");
}

TEST_F(HashMacro, QuotedNamesMayHoldMinusSigns) {
  writeFile(path("a-b.txt"), "abc");
  EXPECT_EQ(run("md5 -fin \"" + path("a-b.txt") + "\" -fout " + path("o.txt")), 0);
  EXPECT_EQ(readFile(path("o.txt")), "900150983CD24FB0D6963F7D28E17F72");
}

TEST_F(HashMacro, ScriptFileIsAppended) {
  writeFile(path("in.bin"), "abc");
  writeFile(path("script.txt"), "-fout " + path("o.txt") + "\n");
  EXPECT_EQ(run("md5 -fin " + path("in.bin") + " -script " + path("script.txt")), 0)
      << newestMessage();
  EXPECT_EQ(readFile(path("o.txt")), "900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(run("md5 -fin " + path("in.bin") + " -script " + path("none.txt")), 200);
  EXPECT_EQ(TRgeterrstk()->function, std::string("init_macro"));
}

TEST_F(HashMacro, LogOptionTracesTheCall) {
  writeFile(path("in.bin"), "abc");
  const uint32_t savedOptions = TRgetopts();
  EXPECT_EQ(
      run("md5 -fin " + path("in.bin") + " -fout " + path("o.txt") + " -log " + path("run.log")),
      0);
  EXPECT_EQ(TRgetopts(), savedOptions);
  std::string log = readFile(path("run.log"));
  EXPECT_NE(log.find("entry point"), std::string::npos) << log;
  EXPECT_NE(log.find("Code  :\tmacro"), std::string::npos) << log;
  uint16_t off = 0, rc = 0;
  TRDEBUG(&off, &rc);
  TRsetlog(nullptr);
}

}  // namespace
}  // namespace sigillo
