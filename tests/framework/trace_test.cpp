// Error stack, code texts, trace callback, log records and the trace entry points.
#include <regex>

#include "sigillo/sigillo.h"
#include "tests/framework/fwtest.h"

namespace sigillo {
namespace {

using namespace test;

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override { resetTrace(); }
  void TearDown() override { resetTrace(); }
  static void resetTrace() {
    TRclrerr();
    TRclearerrstack(nullptr);
    TRsetopts(0);
    TRsetlev(3);
    TRsetlog(nullptr);
    TRsetcallback(nullptr, nullptr);
  }
  test::TempDir dir;
};

TEST_F(TraceTest, StackCodeTextsLevelsDebugModesCallbackAndLog) {
  // The first code recorded is the current one; the stack keeps every entry.
  EXPECT_EQ(TRerr("mlib", 10, "f", 206, "%s", "out.txt"), 206);
  EXPECT_EQ(TRerr("mlib", 11, "g", 301, "Macro %s fallita", "HASH"), 206);
  EXPECT_EQ(TRgeterrstk()->line, 11u);
  EXPECT_STREQ(TRgeterrstk()->file, "mlib");
  EXPECT_EQ(currentText(), "File di output esistente: out.txt");
  TRadderrstack(nullptr, "m", 1, "h", 33, "pushed");  // leaves the code alone
  EXPECT_EQ(TRerr1("m", 2, "f", 204, "b"), 204);      // replaces the code
  EXPECT_EQ(TRerr1("m", 3, "f", 0, "c"), 204);        // but not with 0
  TRlasterr("m", 4, "caller");
  EXPECT_EQ(*get_sErroR(), 204);
  EXPECT_EQ(currentText(), "Impossibile scrivere carattere nel file in output: b");
  EXPECT_EQ(stackText(),
            "206 f: out.txt | 301 g: Macro HASH fallita | 33 h: pushed | 204 f: b | 0 f: c | "
            "301 caller: Esecuzione fallita");
  // Clearing empties the stack only when there is a current code.
  TRclrerr();
  EXPECT_EQ(stackText(), "");
  TRerr("m", 5, "f", 0, "note");
  TRclrerr();
  EXPECT_EQ(stackText(), "0 f: note");
  EXPECT_EQ(currentText(), "OK");
  TRclearerrstack(nullptr);

  TRenable(0);
  EXPECT_EQ(TRerr("m", 1, "f", 206, "x"), 0);
  TRenable(1);
  EXPECT_EQ(TRgeterrstklen(), 0u);

  // A failed allocation records code 10.
  EXPECT_EQ(TRMALLOC(static_cast<size_t>(1) << 62), nullptr);
  EXPECT_EQ(TRREALLOC(nullptr, static_cast<size_t>(1) << 62), nullptr);
  EXPECT_EQ(stackText(),
            "10 TRMALLOC: Impossibile allocare 4611686018427387904 byte | "
            "10 TRREALLOC: Impossibile reallocare 4611686018427387904 byte");

  // Every entry is kept until cleared, newest first; the oldest keeps 2047 characters.
  TRclrerr();
  TRerr("m", 0, "f", 33, "%s", std::string(3000, 'y').c_str());
  for (uint32_t i = 1; i < 300000; ++i) TRerr("m", i, "f", 401, "n%u", i);
  EXPECT_EQ(TRgeterrstklen(), 300000u);
  EXPECT_EQ(*get_sErroR(), 33);
  uint32_t matched = 0;
  for (const ErrEntry* e = TRgeterrstk(); e != nullptr; e = e->next, ++matched) {
    const uint32_t line = 299999 - matched;
    if (e->line != line ||
        e->message != (line ? "n" + std::to_string(line) : std::string(2047, 'y')))
      break;
  }
  EXPECT_EQ(matched, 300000u);
  TRclrerr();
  EXPECT_EQ(TRgeterrstk(), nullptr);
  for (const auto& v : test::loadVectors("framework/trace.txt")) {
    SCOPED_TRACE(v.where());
    if (v.group == "code") EXPECT_STREQ(TRerr2str(v.number("code")), v.text("text").c_str());
    if (v.group == "level") EXPECT_EQ(TRlevelstr(v.number("level")), test::field(v, "name"));
    if (v.group == "mode") {
      const uint16_t mode = v.number("mode");
      uint16_t rc = 99, status = 99;
      EXPECT_EQ(TRDEBUG(&mode, &rc), 0);
      EXPECT_EQ(rc, 0);
      EXPECT_EQ(TRgetopts(), v.number("options"));
      EXPECT_EQ(TRgetlev(), v.number("level"));
      YTRSTATU(&status, &rc);
      EXPECT_EQ(status, mode);
    }
  }
  // A mode out of range changes nothing.
  TRsetopts(0x40);
  TRsetlev(5);
  uint16_t mode = 3, rc = 0;
  YTRDEBUG(&mode, &rc);
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(TRgetopts(), 0x40u);
  EXPECT_EQ(TRgetlev(), 5u);
  EXPECT_EQ(firstMessage(), "Valore 3 non consentito");
  TRclrerr();
  static std::string seen;
  seen.clear();
  TRsetcallback(nullptr,
                [](void*, const char*, int, const char*, uint32_t level, uint32_t,
                   const char* message) { seen += std::to_string(level) + ":" + message + "|"; });
  TRerr("m", 1, "f", 249, "vuoto.txt");
  TRsetlev(4);
  TRwarn("m", 1, "f", "w");
  TRinfo("m", 1, "f", "i");
  TRsetlev(2);
  TRerr("m", 1, "f", 249, "ancora");
  EXPECT_EQ(seen, "3:File specificato e' vuoto: vuoto.txt|4:Errore sconosciuto: w|");
  EXPECT_EQ(*get_sErroR(), 249);  // warnings set no code
  resetTrace();
  const std::string path = dir.file("trace.log");
  TRsetlog(path.c_str());
  TRerr("m", 1, "f", 30, "x");
  EXPECT_FALSE(std::filesystem::exists(path));  // no log without option 0x40
  TRsetopts(kTrLogMsg);
  TRerr("unifile", 42, "f_open", 206, "%s", "out.txt");
  TRerr("mlib", 7, "macro", 301, "Macro HASH fallita");
  TRerr("m", 1, "f", 30, "%s", std::string(2000, 'a').c_str());  // lines of at most 1023
  TRsetopts(0xFFFFFFFF);
  TRsetlev(7);
  static const TrDesc desc = {"PROVA", 3, {kArgText, TrBuf(2), kArgU32}};
  const uint8_t data[3] = {0x41, 0x00, 0xFF};
  uint32_t length = 3;
  errno = ENOENT;  // reported by the entry record, which then resets it
  TRin(&desc, "ciao", data, &length);
  EXPECT_EQ(TRincount(), 1u);
  TRout();
  EXPECT_EQ(TRoutcount(), 1u);
  TRout();
  // Times, addresses and the product's own line numbers vary; the rest is exact.
  std::string log = readFile(path);
  log = std::regex_replace(log, std::regex("Time  : \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \n"),
                           "Time  : T \n");
  log = std::regex_replace(log, std::regex("\\(0x[0-9a-f]+\\)"), "(P)");
  log = std::regex_replace(log, std::regex("trace:\\d+:"), "trace:N:");
  EXPECT_EQ(log, readFile(std::string(SIGILLO_SOURCE_DIR) + "/tests/data/framework/records.log"));
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  // A new path starts afresh.
  TRsetlog(path.c_str());
  TRsetopts(kTrLogMsg);
  TRerr("m", 1, "f", 30, "x");
  log = readFile(path);
  EXPECT_EQ(log.rfind("MsgNo"), 41u);
  EXPECT_EQ(log.substr(41, 11), "MsgNo : 1 \n");

  // The entry point takes a log path of up to 254 characters.
  std::string longPath(300, 'p');
  length = 254;
  rc = 9;
  EXPECT_EQ(TRLOG(longPath.data(), &length, &rc), 0);
  EXPECT_EQ(std::string(TRgetlog()), std::string(254, 'p'));
  length = 255;
  EXPECT_EQ(TRLOG(longPath.data(), &length, &rc), 5);
  EXPECT_EQ(firstMessage(), "pathLen (2)");
}

}  // namespace
}  // namespace sigillo
