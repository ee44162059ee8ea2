// The macro engine and the option-driven file routines, driven through a
// small macro of the test's own.
#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using namespace test;

bool called = false;
const uint8_t* table = nullptr;  // the translation table the handler got
int tableA = -1;                 // and its entry for 'A'

WCopt fileOptions[] = {opt("fin", kWcText),  opt("fout", kWcText), opt("wout", kWcText),
                       opt("xtbl", kWcText), opt("bin", kWcFlag),  opt()};

// Checks the options, then copies -fin to -fout and to -wout (which replaces a file without -o).
uint16_t copyHandler(WCopt* options) {
  called = true;
  OptContext* context = nullptr;
  uint16_t rc = chk_opts(options, "fout", &context);
  if (rc == 0) {
    table = context->table;
    tableA = table != nullptr ? table[static_cast<uint8_t>('A')] : -1;
    uint64_t length = 0;
    uint8_t* data = load_file(options, "fin", kKindBinary, 0, &length, nullptr);
    rc = data == nullptr ? TRerr("test", __LINE__, "copyHandler", 200, "fin")
                         : save_file(options, "fout", kKindBinary, 0, data, length);
    if (rc == 0) rc = write_file(options, "wout", kKindBinary, 0, data, length);
    if (!WCoptused(options, "fout"))
      EXPECT_EQ(open_file(options, "fout", FM_WRITE, 0, nullptr), nullptr);
    TRFREE(data);
  }
  end_opts(options, context);
  return rc;
}

uint16_t nothingHandler(WCopt*) {
  called = true;
  return 0;
}

const WCcmd kCommands[] = {{"copy", fileOptions, copyHandler},
                           {"nothing", nullptr, nothingHandler},
                           {nullptr, nullptr, nullptr}};

class MacroEngine : public ::testing::Test {
 protected:
  test::TempDir dir;
  void SetUp() override {
    called = false;
    table = nullptr;
    writeFile(dir.file("in.txt"), "dati");
    writeFile(dir.file("short.bin"), "0123456789");
  }
  uint16_t run(const std::string& params) {
    uint32_t length = static_cast<uint32_t>(params.size());
    uint16_t rc = 999;
    EXPECT_EQ(macro("PROVA", kCommands, params.c_str(), &length, &rc), rc);
    return rc;
  }
  uint16_t copy(const std::string& extra) {
    return run("copy -fin " + dir.file("in.txt") + " -fout " + dir.file("out.txt") + " " + extra);
  }
};

TEST_F(MacroEngine, RefusedParametersTranslationTablesScriptsAndResult) {
  for (const auto& v : test::loadVectors("framework/macro.txt")) {
    SCOPED_TRACE(v.where());
    called = false;
    EXPECT_EQ(run(replaced(test::field(v, "params"), "{dir}", dir.path())), v.number("code"));
    EXPECT_EQ(firstMessage(), replaced(v.text("message"), "{dir}", dir.path()));
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.txt")));
    if (v.has("newest"))
      EXPECT_EQ(stackText().substr(stackText().rfind("| ") + 2), v.text("newest"));
    EXPECT_EQ(called, v.has("runs"));
  }
  EXPECT_EQ(copy(""), 0);
  EXPECT_EQ(readFile(dir.file("out.txt")), "dati");
  EXPECT_EQ(table, kAsciiToEbcdic);
  EXPECT_EQ(copy("-o -bin"), 0);
  EXPECT_EQ(table, nullptr);
  std::string custom(256, '\0');
  for (int i = 0; i < 256; ++i) custom[i] = static_cast<char>(255 - i);
  writeFile(dir.file("tab.bin"), custom);
  EXPECT_EQ(copy("-o -xtbl " + dir.file("tab.bin")), 0);
  EXPECT_EQ(tableA, 255 - 'A');
  // The built-in tables are inverse, with the published EBCDIC code points.
  for (int c = 0; c < 256; ++c) EXPECT_EQ(kEbcdicToAscii[kAsciiToEbcdic[c]], c);
  EXPECT_EQ(kAsciiToEbcdic[static_cast<uint8_t>('A')], 0xC1);
  EXPECT_EQ(kEbcdicToAscii[0x81], 'a');
  // The first code recorded is the result.
  EXPECT_EQ(copy("-o -wout " + dir.path().string()), 203);
  EXPECT_EQ(TRgeterrstk()->code, 301u);
  // A script's text acts as if written at the end of the parameters.
  writeFile(dir.file("s.txt"), "-fout " + dir.file("s.out") + "\n");
  EXPECT_EQ(run("copy -fin " + dir.file("in.txt") + " -script " + dir.file("s.txt")), 0);
  EXPECT_EQ(readFile(dir.file("s.out")), "dati");
  // Without their option the file routines do nothing.
  writeFile(dir.file("w.txt"), "vecchio");
  EXPECT_EQ(run("copy -fin " + dir.file("in.txt") + " -wout " + dir.file("w.txt")), 0);
  EXPECT_EQ(readFile(dir.file("w.txt")), "dati");
  EXPECT_EQ(stackText(), "");
  // A sub-command without options still runs with the common ones.
  EXPECT_EQ(run("nothing -o -s"), 0);
  EXPECT_TRUE(called);
}

}  // namespace
}  // namespace sigillo
