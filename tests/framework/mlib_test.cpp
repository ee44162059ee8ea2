// The macro engine and the option-driven file routines, driven through a
// small macro of the test's own.
#include "framework/mlib.h"

#include <gtest/gtest.h>

#include <cstring>

#include "framework/kvtmem.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

// What the handler saw, for the assertions.
struct Seen {
  bool called = false;
  const uint8_t* table = nullptr;
  uint8_t tableFirst = 0;
  uint16_t chkRc = 0;
};
Seen seen;

WCopt fileOptions[] = {{"fin", 0, kWcText, 0, {}, 0},   {"fout", 0, kWcText, 0, {}, 0},
                       {"xtbl", 0, kWcText, 0, {}, 0},  {"bin", 0, kWcFlag, 0, {}, 0},
                       {"twice", 0, kWcFlag, 0, {}, 0}, {nullptr, 0, 0, 0, {}, 0}};

// Checks the options, then copies -fin to -fout through save_file.
uint16_t copyHandler(WCopt* options) {
  seen.called = true;
  OptContext* context = nullptr;
  seen.chkRc = chk_opts(options, "fout", &context);
  uint16_t rc = seen.chkRc;
  if (rc == 0) {
    seen.table = context->table;
    seen.tableFirst = context->table != nullptr ? context->table[static_cast<uint8_t>('A')] : 0;
    uint64_t length = 0;
    uint16_t loadRc = 0;
    uint8_t* data = load_file(options, "fin", kKindBinary, 0, &length, &loadRc);
    if (data == nullptr) {
      rc = TRerr("test", __LINE__, "copyHandler", 200, "fin");
    } else {
      rc = save_file(options, "fout", kKindBinary, 0, data, length);
      TRFREE(data);
    }
  }
  if (WCoptflag(options, "twice")) {
    TRerr("test", __LINE__, "copyHandler", 206, "primo");
    rc = TRerr("test", __LINE__, "copyHandler", 204, "secondo");
  }
  end_opts(options, context);
  return rc;
}

uint16_t nothingHandler(WCopt*) {
  seen.called = true;
  return 0;
}

const WCcmd kCommands[] = {{"copy", fileOptions, copyHandler},
                           {"nothing", nullptr, nothingHandler},
                           {nullptr, nullptr, nullptr}};

class MacroEngine : public ::testing::Test {
 protected:
  TempDir dir;
  void SetUp() override { seen = Seen{}; }
  uint16_t run(const std::string& params) {
    uint32_t length = static_cast<uint32_t>(params.size());
    uint16_t rc = 999;
    EXPECT_EQ(macro("PROVA", kCommands, params.c_str(), &length, &rc), rc);
    return rc;
  }
  std::string copyParams(const std::string& extra) {
    return "copy -fin " + dir.file("in.txt") + " -fout " + dir.file("out.txt") + " " + extra;
  }
  static std::string firstMessage() {
    auto stack = test::errorStack();
    return stack.empty() ? "" : stack.front().message;
  }
};

TEST_F(MacroEngine, BuiltInTablesAreInverse) {
  for (int c = 0; c < 256; ++c) EXPECT_EQ(kEbcdicToAscii[kAsciiToEbcdic[c]], c);
  EXPECT_EQ(kAsciiToEbcdic[static_cast<uint8_t>('A')], 0xC1);
  EXPECT_EQ(kAsciiToEbcdic[static_cast<uint8_t>('0')], 0xF0);
  EXPECT_EQ(kAsciiToEbcdic[static_cast<uint8_t>(' ')], 0x40);
  EXPECT_EQ(kEbcdicToAscii[0x81], 'a');
}

TEST_F(MacroEngine, ContextTranslationTable) {
  writeFile(dir.file("in.txt"), "dati");
  EXPECT_EQ(run(copyParams("")), 0);
  EXPECT_EQ(seen.table, kAsciiToEbcdic);
  EXPECT_EQ(readFile(dir.file("out.txt")), "dati");

  EXPECT_EQ(run(copyParams("-o -bin")), 0);
  EXPECT_EQ(seen.table, nullptr);

  std::string table(256, '\0');
  for (int i = 0; i < 256; ++i) table[i] = static_cast<char>(255 - i);
  writeFile(dir.file("tab.bin"), table);
  EXPECT_EQ(run(copyParams("-o -xtbl " + dir.file("tab.bin"))), 0);
  EXPECT_EQ(seen.tableFirst, 255 - 'A');
}

TEST_F(MacroEngine, ContextFailures) {
  writeFile(dir.file("in.txt"), "dati");
  writeFile(dir.file("short.bin"), "0123456789");
  struct Row {
    std::string extra;
    uint16_t code;
    std::string message;
  } rows[] = {
      {"-xtbl " + dir.file("short.bin") + " -bin", 215, "-xtbl in contrasto con -bin"},
      {"-xtbl " + dir.file("short.bin"), 210, dir.file("short.bin")},
      {"-xtbl " + dir.file("none.bin"), 200, "file '" + dir.file("none.bin") + "' non trovato"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(run(copyParams(row.extra)), row.code) << row.extra;
    EXPECT_EQ(firstMessage(), row.message) << row.extra;
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.txt"))) << row.extra;
  }
}

TEST_F(MacroEngine, OutputIsProtectedUnlessOverwriteIsAllowed) {
  writeFile(dir.file("in.txt"), "nuovo");
  writeFile(dir.file("out.txt"), "vecchio");
  EXPECT_EQ(run(copyParams("")), 206);
  EXPECT_EQ(firstMessage(), dir.file("out.txt"));
  EXPECT_EQ(readFile(dir.file("out.txt")), "vecchio");
  EXPECT_EQ(run(copyParams("-o")), 0);
  EXPECT_EQ(readFile(dir.file("out.txt")), "nuovo");
}

TEST_F(MacroEngine, FirstRecordedCodeIsTheResult) {
  writeFile(dir.file("in.txt"), "x");
  EXPECT_EQ(run(copyParams("-twice")), 206);
  EXPECT_EQ(TRgeterrstk()->code, 204u);
}

TEST_F(MacroEngine, DispatchFailures) {
  struct Row {
    std::string params;
    uint16_t code;
    std::string first;
  } rows[] = {
      {"", 212, "Token non trovato"},
      {"   \n\n  ", 212, "Token non trovato"},
      {"altro -fin x", 212, "Metodo sconosciuto"},
      {"-fin x", 212, "Token non trovato"},
      {"copy -fin \"aperta", 30, "No quotes"},
      {"copy -fin x y", 217, "y"},
      {"copy -fin a-b.txt", 215, "b.txt"},
      {"copy -script", 216, "Controllare valore di 'script'"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(run(row.params), row.code) << row.params;
    EXPECT_EQ(firstMessage(), row.first) << row.params;
    EXPECT_FALSE(seen.called) << row.params;
  }
}

TEST_F(MacroEngine, ScriptWithoutValueStopsBeforeDispatch) {
  EXPECT_EQ(run("copy -script"), 216);
  EXPECT_EQ(TRgeterrstk()->function, std::string("init_macro"));
  EXPECT_STREQ(TRgeterrstk()->message, "script");
}

TEST_F(MacroEngine, ScriptTextActsAsIfWrittenAtTheEnd) {
  writeFile(dir.file("in.txt"), "dati");
  writeFile(dir.file("s.txt"), "-fout " + dir.file("out.txt") + "\n");
  EXPECT_EQ(run("copy -fin " + dir.file("in.txt") + " -script " + dir.file("s.txt")), 0);
  EXPECT_EQ(readFile(dir.file("out.txt")), "dati");
}

TEST_F(MacroEngine, CommandWithoutOptionsStillRunsWithTheCommonOnes) {
  EXPECT_EQ(run("nothing -o -s"), 0);
  EXPECT_TRUE(seen.called);
}

TEST_F(MacroEngine, FileRoutinesWithoutTheirOption) {
  WCopt options[] = {{"fout", 0, kWcText, 0, {}, 0}, {nullptr, 0, 0, 0, {}, 0}};
  uint16_t rc = 0;
  EXPECT_EQ(open_file(options, "fout", FM_WRITE | kKindBinary, 0, &rc), nullptr);
  EXPECT_EQ(write_file(options, "fout", kKindBinary, 0, "x", 1), 0);
  EXPECT_EQ(save_file(options, "fout", kKindBinary, 0, "x", 1), 0);
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST_F(MacroEngine, OpenFileAddsProtectionForWriting) {
  std::string out = dir.file("o.bin");
  writeFile(out, "vecchio");
  WCopt options[] = {
      {"fout", 0, kWcText, 0, {}, 0}, {"o", 0, kWcFlag, 0, {}, 0}, {nullptr, 0, 0, 0, {}, 0}};
  ASSERT_EQ(getargs(("-fout " + out).c_str(), options, 0, 0), 0);
  uint16_t rc = 0;
  EXPECT_EQ(open_file(options, "fout", FM_WRITE | kKindBinary, 0, &rc), nullptr);
  EXPECT_EQ(TRgeterrstk()->code, 206u);
  EXPECT_EQ(readFile(out), "vecchio");
  EXPECT_EQ(write_file(options, "fout", kKindBinary, 0, "nuovo", 5), 0);
  EXPECT_EQ(readFile(out), "nuovo");
  WCoptclean(options);
}

TEST_F(MacroEngine, JustifyAlignsTheDescription) {
  testing::internal::CaptureStdout();
  justify("", 2, "md5", 10, "MD5 (RFC 1321)");
  justify("-", 1, "verylongkeyword", 4, "descr");
  justify("", 0, "x", 3, "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "  md5        MD5 (RFC 1321)\n -verylongkeyword descr\nx\n");
}

}  // namespace
}  // namespace sigillo
