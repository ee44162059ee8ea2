// The HASH macro run in process: files in, hex text out, codes and messages.
#include <gtest/gtest.h>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"
#include "tests/common/vectors.h"

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

// Published values and reads around the macro's 16 KiB buffer (hash_macro.txt).
TEST_F(HashMacro, EveryKeyword) {
  size_t rows = 0;
  for (const Vector& v : loadVectors("primitives/hash_macro.txt")) {
    std::string content;
    for (long long i = 0; i < (v.has("repeat") ? v.number("repeat") : 1); ++i)
      content += v.text("content");
    EXPECT_EQ(hashOf(v.text("params"), content), v.text("text")) << v.where();
    ++rows;
  }
  EXPECT_EQ(rows, 11u);
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
