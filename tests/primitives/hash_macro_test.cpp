// The HASH macro run in process: files in, hex text out, codes and messages.
#include <gtest/gtest.h>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using namespace test;

class HashMacro : public ::testing::Test {
 protected:
  TempDir dir;
  std::string in = " -fin " + dir.file("in.bin");

  uint16_t run(const std::string& params) {
    const uint32_t len = static_cast<uint32_t>(params.size());
    uint16_t rc = 999;
    EXPECT_EQ(HASH(params.c_str(), &len, &rc), rc);
    return rc;
  }
  // `params` on a file holding `content`; the text written to -fout.
  std::string hashOf(const std::string& params, const std::string& content) {
    writeFile(dir.file("in.bin"), content);
    const uint16_t rc = run(params + in + " -fout " + dir.file("out.txt"));
    EXPECT_EQ(rc, 0) << params << " " << (TRgeterrstk() ? TRgeterrstk()->message : "");
    return readFile(dir.file("out.txt"));
  }
};

// Published values (FIPS 180-4, RFC 4231, RFC 2202, the CRC check values,
// MDC-2), and reads around the macro's 16 KiB buffer.
TEST_F(HashMacro, EveryKeyword) {
  const struct {
    const char* params;
    const char* content;
    std::string expected;
  } rows[] = {
      {"md5", "", "D41D8CD98F00B204E9800998ECF8427E"},
      {"sha256", "abc", "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"},
      {"crc16", "123456789", "BB3D"},
      {"FCS32", "123456789", "CBF43926"},
      {"hmcsha256 -md1 Jefe", "what do ya want for nothing?",
       "5BDCC146BF60754E6A042426089575C75A003F089D2739839DEC58B964EC3843"},
      {"hmcsha1 -md1 x'0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b'", "Hi There",
       "B617318655057264E28BC0B6FB378C8EF146BE00"},
      {"hf2 -md1 x'5252525252525252' -md2 x'2525252525252525'",
       "The quick brown fox jumps over the lazy dog", "000ED54E093D61679AEFBEAE05BFE33A"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(hashOf(row.params, row.content), row.expected) << row.params;
  // Around the macro's 16 KiB reads, against SHA1 in one call.
  for (size_t size : {16383u, 16384u, 16385u, 32768u}) {
    const std::string content(size, 'q');
    uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
    uint32_t len = static_cast<uint32_t>(size);
    uint16_t mode = SIGILLO_BLOCK_ONLY, rc = 0;
    SHA1(reinterpret_cast<const uint8_t*>(content.data()), &len, state, &mode, &rc);
    EXPECT_EQ(hashOf("sha1", content), toHex(state, 20)) << size;
  }
}

// Keywords and options in any case, a quoted name, a script file appended to
// the parameters.
TEST_F(HashMacro, ParameterText) {
  const std::string out = dir.file("o.txt");
  writeFile(dir.file("in.bin"), "abc");
  writeFile(dir.file("a-b.txt"), "abc");
  writeFile(dir.file("script.txt"), "-fout " + out + "\n");
  for (const std::string& params : {"MD5 -FIN " + dir.file("in.bin") + " -FOUT " + out + " \n  \n",
                                    "md5 -fin \"" + dir.file("a-b.txt") + "\" -fout " + out,
                                    "md5" + in + " -script " + dir.file("script.txt")}) {
    std::filesystem::remove(out);
    EXPECT_EQ(run(params), 0) << params;
    EXPECT_EQ(readFile(out), "900150983CD24FB0D6963F7D28E17F72") << params;
  }
}

// The code, the function that recorded the newest error and the oldest
// message.
TEST_F(HashMacro, Failures) {
  writeFile(dir.file("in.bin"), "abc");
  const std::string fout = " -fout " + dir.file("out.txt");
  const struct {
    std::string params;
    uint16_t code;
    const char* newestFunction;
    std::string firstMessage;
  } rows[] = {
      {"hmcsha1" + in, 214, "macro", "md1"},
      {"sha3" + in, 212, "macro", "Metodo sconosciuto"},
      {"  \n \n", 212, "macro", "Token non trovato"},
      {"md5" + in + in, 215, "macro", "fin duplicato"},
      {"md5 -fin " + dir.file("manca.bin") + fout, 200, "open_inout",
       "file '" + dir.file("manca.bin") + "' non trovato"},
      {"md5" + in + " -fout " + dir.file("nodir/out.txt"), 203, "open_inout", ""},
      {"maciso -md1 x'0g'" + in, 22, "hash_maciso", "md1"},
      {"maaiso -md1 abcde -md2 k" + in, 7, "hash_maaiso", "md1"},
      {"hf1 -md1 troppolunga" + in + fout, 7, "hash_hf1", ""},
      {"md5" + in + " -script " + dir.file("none.txt"), 200, "init_macro", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(row.params), row.code) << row.params;
    const auto stack = errorStack();
    ASSERT_FALSE(stack.empty()) << row.params;
    if (!row.firstMessage.empty()) EXPECT_EQ(stack.front().message, row.firstMessage) << row.params;
    EXPECT_EQ(TRgeterrstk()->function, std::string(row.newestFunction)) << row.params;
  }
  uint32_t len = 3;
  uint16_t rc = 0;
  EXPECT_EQ(HASH(nullptr, &len, &rc), 2);
  EXPECT_STREQ(TRgeterrstk()->message, "line (1)");
  EXPECT_EQ(HASH("md5", nullptr, &rc), 5);
  EXPECT_STREQ(TRgeterrstk()->message, "optline (2)");
  EXPECT_EQ(HASH("md5", &len, nullptr), 2);
  EXPECT_STREQ(TRgeterrstk()->message, "rc (3)");
}

}  // namespace
}  // namespace sigillo
