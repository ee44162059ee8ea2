#include "framework/trace.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>

#include "framework/kvtmem.h"
#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::errorStack;
using test::readFile;
using test::TempDir;

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
  static std::string currentText() {
    char text[4096];
    TRgeterr(nullptr, text, sizeof text);
    return text;
  }
};

TEST_F(TraceTest, FirstCodeWinsAndStackIsNewestFirst) {
  EXPECT_EQ(TRerr("mlib", 10, "f", 206, "%s", "out.txt"), 206);
  EXPECT_EQ(TRerr("mlib", 11, "g", 301, "Macro %s fallita", "HASH"), 206);
  auto stack = errorStack();
  ASSERT_EQ(stack.size(), 2u);
  EXPECT_EQ(TRgeterrstk()->code, 301u);
  EXPECT_STREQ(TRgeterrstk()->message, "Macro HASH fallita");
  EXPECT_STREQ(TRgeterrstk()->file, "mlib");
  EXPECT_EQ(TRgeterrstk()->line, 11u);
  EXPECT_STREQ(TRgeterrstk()->function, "g");
  EXPECT_EQ(*get_sErroR(), 206);
  EXPECT_EQ(currentText(), "File di output esistente: out.txt");
  EXPECT_EQ(TRgeterrstklen(), 2u);
}

TEST_F(TraceTest, Err1ReplacesTheCurrentCode) {
  TRerr("m", 1, "f", 206, "a");
  EXPECT_EQ(TRerr1("m", 2, "f", 204, "b"), 204);
  EXPECT_EQ(currentText(), "Impossibile scrivere carattere nel file in output: b");
  EXPECT_EQ(TRerr1("m", 3, "f", 0, "c"), 204);
}

TEST_F(TraceTest, LastErrAddsAFrameWith301) {
  TRerr("m", 1, "f", 200, "x");
  TRlasterr("m", 2, "caller");
  EXPECT_EQ(TRgeterrstk()->code, 301u);
  EXPECT_STREQ(TRgeterrstk()->message, "Esecuzione fallita");
  EXPECT_EQ(*get_sErroR(), 200);
}

TEST_F(TraceTest, GetErrSaysOkWhenClear) {
  uint32_t code = 99;
  char text[8];
  TRgeterr(&code, text, sizeof text);
  EXPECT_EQ(code, 0u);
  EXPECT_STREQ(text, "OK");
}

TEST_F(TraceTest, ClearKeepsEntriesOfCodeZeroOnly) {
  TRerr("m", 1, "f", 0, "note");
  TRclrerr();
  EXPECT_EQ(TRgeterrstklen(), 1u);
  TRerr("m", 1, "f", 5, "x");
  TRclrerr();
  EXPECT_EQ(TRgeterrstklen(), 0u);
  EXPECT_EQ(*get_sErroR(), 0);
}

TEST_F(TraceTest, AddErrStackDoesNotTouchTheCode) {
  TRadderrstack(nullptr, "m", 1, "f", 33, "pushed");
  EXPECT_EQ(*get_sErroR(), 0);
  EXPECT_EQ(TRgeterrstk()->code, 33u);
}

TEST_F(TraceTest, DisabledRecorderRecordsNothing) {
  TRenable(0);
  EXPECT_EQ(TRerr("m", 1, "f", 206, "x"), 0);
  TRenable(1);
  EXPECT_EQ(TRgeterrstklen(), 0u);
  EXPECT_EQ(*get_sErroR(), 0);
}

TEST_F(TraceTest, StackKeepsEveryEntryUntilCleared) {
  constexpr size_t kEntries = 300000;
  const std::string longText(3000, 'y');
  TRerr("m", 0, "f", 33, "%s", longText.c_str());
  for (size_t i = 1; i < kEntries; ++i) TRerr("m", static_cast<int>(i), "f", 401, "n%zu", i);
  EXPECT_EQ(TRgeterrstklen(), kEntries);
  EXPECT_EQ(*get_sErroR(), 33);
  // Newest first, each with its own message; the oldest keeps 2047 characters.
  size_t expectedLine = kEntries;
  for (const ErrEntry* e = TRgeterrstk(); e != nullptr; e = e->next) {
    --expectedLine;
    const std::string expected =
        expectedLine == 0 ? std::string(2047, 'y') : "n" + std::to_string(expectedLine);
    if (e->line != expectedLine || e->message != expected) {
      ADD_FAILURE() << "entry " << expectedLine << ": line " << e->line;
      break;
    }
  }
  EXPECT_EQ(expectedLine, 0u);
  TRclrerr();
  EXPECT_EQ(TRgeterrstklen(), 0u);
  EXPECT_EQ(TRgeterrstk(), nullptr);
}

TEST_F(TraceTest, MessagesAreCutAt2047Characters) {
  std::string longText(5000, 'x');
  TRerr("m", 1, "f", 30, "%s", longText.c_str());
  EXPECT_EQ(strlen(TRgeterrstk()->message), 2047u);
}

TEST_F(TraceTest, CodeTexts) {
  struct Row {
    uint32_t code;
    const char* text;
  } rows[] = {{1, "Modo non consentito"},
              {29, "Errore nel parsing ASN.1"},
              {206, "File di output esistente"},
              {212, "Metodo non consentito nella macro"},
              {301, "Errore"},
              {409, "Elemento qcStatement non valido"},
              {4097, "Pkcs#11: Cancel"},
              {4432, "Pkcs#11: Buffer too small"},
              {4513, "Pkcs#11: Mutex not locked"},
              {0, "Errore sconosciuto"},
              {16, "Errore sconosciuto"},
              {9999, "Errore sconosciuto"}};
  for (const Row& row : rows) EXPECT_STREQ(TRerr2str(row.code), row.text) << row.code;
}

TEST_F(TraceTest, CodeTextFunctionCanBeReplaced) {
  TRseterr2strfunc([](uint32_t) { return "altro"; });
  EXPECT_STREQ(TRerr2str(1), "altro");
  TRseterr2strfunc(nullptr);
  EXPECT_STREQ(TRerr2str(1), "Modo non consentito");
}

TEST_F(TraceTest, LevelNames) {
  const char* names[] = {"EMERG ", "ALER  ", "CRIT  ", "ERROR ", "WARN  ",
                         "LOG   ", "INFO  ", "DEBUG ", "DEBUG2", "DEBUG3"};
  for (uint32_t i = 0; i < 10; ++i) EXPECT_STREQ(TRlevelstr(i), names[i]);
  EXPECT_STREQ(TRlevelstr(10), "UNKNOWN");
}

TEST_F(TraceTest, CallbackGetsCodeTextAndMessage) {
  static std::string seen;
  static uint32_t seenLevel;
  seen.clear();
  TRsetcallback(nullptr, [](void*, const char*, int, const char*, uint32_t level, uint32_t,
                            const char* message) {
    seen = message;
    seenLevel = level;
  });
  TRerr("m", 1, "f", 249, "vuoto.txt");
  EXPECT_EQ(seen, "File specificato e' vuoto: vuoto.txt");
  EXPECT_EQ(seenLevel, 3u);
  TRsetlev(2);
  seen.clear();
  TRerr("m", 1, "f", 249, "ancora");
  EXPECT_EQ(seen, "");
}

TEST_F(TraceTest, WarningsFillOnlyLevelsAtOrBelowTheTraceLevel) {
  static int calls;
  calls = 0;
  TRsetcallback(nullptr, [](void*, const char*, int, const char*, uint32_t, uint32_t, const char*) {
    ++calls;
  });
  TRsetlev(4);
  TRwarn("m", 1, "f", "w");
  TRinfo("m", 1, "f", "i");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(*get_sErroR(), 0);
}

TEST_F(TraceTest, AllocatorFailureRecordsCode10) {
  void* p = TRMALLOC(static_cast<size_t>(1) << 62);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(TRgeterrstk()->code, 10u);
  EXPECT_STREQ(TRgeterrstk()->message, "Impossibile allocare 4611686018427387904 byte");
  TRclrerr();
  void* q = TRREALLOC(nullptr, static_cast<size_t>(1) << 62);
  EXPECT_EQ(q, nullptr);
  EXPECT_STREQ(TRgeterrstk()->message, "Impossibile reallocare 4611686018427387904 byte");
}

// ---- Log file ---------------------------------------------------------------

TEST_F(TraceTest, LogRecordsAreNumberedAndFramed) {
  TempDir dir;
  std::string path = dir.file("trace.log");
  TRsetlog(path.c_str());
  TRsetopts(kTrLogMsg);
  TRerr("unifile", 42, "f_open", 206, "%s", "out.txt");
  TRerr("mlib", 7, "macro", 301, "Macro HASH fallita");
  std::string log = readFile(path);
  const std::string rule(40, '-');
  EXPECT_EQ(log.rfind(rule + "\nMsgNo : 1 \nTime  : ", 0), 0u) << log;
  EXPECT_NE(log.find("Action: Error 206 - File di output esistente: out.txt\n"), std::string::npos);
  EXPECT_NE(log.find("        Pos   : unifile:42:f_open\n" + rule + "\nMsgNo : 2 \n"),
            std::string::npos)
      << log;
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  TRsetlog(path.c_str());  // a new path starts the file afresh
  TRerr("m", 1, "f", 0, "dopo");
  log = readFile(path);
  EXPECT_EQ(log.find("MsgNo : 2"), std::string::npos);
  EXPECT_NE(log.find("MsgNo : 1 "), std::string::npos);
}

TEST_F(TraceTest, LongRecordsAreReflowed) {
  TempDir dir;
  std::string path = dir.file("trace.log");
  TRsetlog(path.c_str());
  TRsetopts(kTrLogMsg);
  TRerr("m", 1, "f", 30, "%s", std::string(2000, 'a').c_str());
  std::istringstream lines(readFile(path));
  std::string line;
  int longLines = 0;
  while (std::getline(lines, line)) {
    EXPECT_LE(line.size(), 1023u);
    if (line.size() > 900) ++longLines;
  }
  EXPECT_EQ(longLines, 2);
}

TEST_F(TraceTest, NoLogWithoutOption40) {
  TempDir dir;
  std::string path = dir.file("trace.log");
  TRsetlog(path.c_str());
  TRerr("m", 1, "f", 30, "x");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(TraceTest, CallFramesWriteEntryAndExitRecords) {
  TempDir dir;
  std::string path = dir.file("trace.log");
  TRsetlog(path.c_str());
  TRsetopts(0xFFFFFFFF);
  TRsetlev(7);
  static const TrDesc desc = {"PROVA", 3, {kArgText, TrBuf(2), kArgU32}};
  const char* text = "ciao";
  const uint8_t data[3] = {0x41, 0x00, 0xFF};
  uint32_t length = 3;
  TRin(&desc, text, data, &length);
  EXPECT_EQ(TRincount(), 1u);
  TRout();
  EXPECT_EQ(TRoutcount(), 1u);
  std::string log = readFile(path);
  EXPECT_NE(log.find("Action: entry point\n        Code  :\tPROVA\n"), std::string::npos) << log;
  EXPECT_NE(log.find(") = ciao\n"), std::string::npos);
  EXPECT_NE(log.find(")[3/3] = \n"), std::string::npos);
  EXPECT_NE(log.find("Hex   : 4100FF"), std::string::npos);
  EXPECT_NE(log.find("Text  : A.."), std::string::npos);
  EXPECT_NE(log.find("exit point\n"), std::string::npos);
  TRout();
  EXPECT_NE(readFile(path).find("too many TRout()! (TRin: 1, TRout: 2)"), std::string::npos);
}

// ---- Batch-caller entry points ------------------------------------------------

TEST_F(TraceTest, DebugModesSetOptionsAndLevel) {
  struct Row {
    uint16_t mode;
    uint32_t options;
    uint32_t level;
  } rows[] = {{0, 0, 0}, {1, 0xB2, 3}, {2, 0xFFFFFFFF, 7}};
  for (const Row& row : rows) {
    uint16_t rc = 99, status = 99;
    EXPECT_EQ(TRDEBUG(&row.mode, &rc), 0);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(TRgetopts(), row.options);
    EXPECT_EQ(TRgetlev(), row.level);
    YTRSTATU(&status, &rc);
    EXPECT_EQ(status, row.mode);
  }
}

TEST_F(TraceTest, DebugModeOutOfRangeChangesNothing) {
  TRsetopts(0x40);
  TRsetlev(5);
  uint16_t mode = 3, rc = 0;
  YTRDEBUG(&mode, &rc);
  EXPECT_EQ(rc, 1);
  EXPECT_STREQ(TRgeterrstk()->message, "Valore 3 non consentito");
  EXPECT_EQ(TRgetopts(), 0x40u);
  EXPECT_EQ(TRgetlev(), 5u);
  EXPECT_EQ(TRDEBUG(nullptr, &rc), 1);
  EXPECT_STREQ(TRgeterrstk()->message, "mode (1)");
  EXPECT_EQ(TRSTATUS(nullptr, nullptr), 1);
  EXPECT_STREQ(TRgeterrstk()->message, "mode (1)");
}

TEST_F(TraceTest, LogPathArguments) {
  std::string path(300, 'p');
  uint32_t length = 254;
  uint16_t rc = 9;
  EXPECT_EQ(TRLOG(path.data(), &length, &rc), 0);
  EXPECT_EQ(std::string(TRgetlog()), std::string(254, 'p'));
  length = 255;
  EXPECT_EQ(TRLOG(path.data(), &length, &rc), 5);
  EXPECT_STREQ(TRgeterrstk()->message, "pathLen (2)");
  EXPECT_EQ(TRLOG(path.data(), nullptr, &rc), 5);
  EXPECT_EQ(TRLOG(nullptr, &length, &rc), 2);
  EXPECT_STREQ(TRgeterrstk()->message, "path (1)");
  length = 5;
  YTRLOG("a.logXYZ", &length, &rc);
  EXPECT_STREQ(TRgetlog(), "a.log");
  EXPECT_EQ(TRLOGPATH(nullptr, &rc), 2);
  EXPECT_STREQ(TRgeterrstk()->message, "path (1)");
  YTRLOGP("b.log", &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_STREQ(TRgetlog(), "b.log");
  EXPECT_EQ(TRLOGPATH("c.log", nullptr), 0);
}

TEST_F(TraceTest, VersionEntryPoints) {
  char text[64];
  memset(text, 'Z', sizeof text);
  uint16_t rc = 9;
  EXPECT_EQ(KVTVERS(text, &rc), 0);
  EXPECT_EQ(rc, 0);
  EXPECT_STREQ(text, "Versione 7.16.27 - rilascio 18/01/2012");
  EXPECT_EQ(text[39], 'Z');
  EXPECT_EQ(KVTVNUM(), 71627);
  int32_t n = 71600, diff = 0, num = 0;
  EXPECT_EQ(KVTCHKV(&n), 27);
  YKVTCHKV(&n, &diff);
  EXPECT_EQ(diff, 27);
  YKVTVNUM(&num);
  EXPECT_EQ(num, 71627);
  EXPECT_EQ(KVTVERS(nullptr, &rc), 3);
}

}  // namespace
}  // namespace sigillo
