// Argument parser: lexer, numbers, option parsing, sub-command dispatch,
// accessors and value conversions.
#include "framework/wclib.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "framework/trace.h"

namespace sigillo {
namespace {

struct Recorded {
  uint32_t code;
  std::string message;
  std::string function;
  bool operator==(const Recorded&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Recorded& r) {
  return os << "{" << r.code << ", \"" << r.message << "\", " << r.function << "}";
}

uint32_t currentCode() {
  uint32_t code = 0;
  TRgeterr(&code, nullptr, 0);
  return code;
}

// The current message, without the code's text that TRgeterr puts in front.
std::string currentMessage() {
  uint32_t code = 0;
  char text[kMsgSize + 256];
  TRgeterr(&code, text, sizeof text);
  if (code == 0) return text;
  const std::string prefix = std::string(TRerr2str(code)) + ": ";
  std::string all = text;
  EXPECT_EQ(all.rfind(prefix, 0), 0u) << all;
  return all.substr(prefix.size());
}

// Newest entry first.
std::vector<Recorded> errorStack() {
  std::vector<Recorded> out;
  for (const ErrEntry* e = TRgeterrstk(); e != nullptr; e = e->next) {
    out.push_back({e->code, e->message, e->function});
  }
  return out;
}

class WclibTest : public ::testing::Test {
 protected:
  void SetUp() override { TRclrerr(); }
  void TearDown() override { TRclrerr(); }
};

// ---------------------------------------------------------------------------
// Lexer

const char* const kLexKeywords[] = {"md5", "fin", "fout", nullptr};

// All tokens up to the end, or up to the first failure (status in *rc), as
// "code:text" joined by '|' (the end is "256:").
std::string lexAll(WClexer* lex, uint16_t* rc) {
  std::string out;
  for (int guard = 0; guard < 100; ++guard) {
    *rc = WCtoken(lex);
    if (*rc != 0) return out;
    const std::string text = lex->value.type == kWcText ? lex->value.v.str : "";
    EXPECT_EQ(lex->value.type == kWcText ? lex->value.length : 0u, text.size());
    out += (out.empty() ? "" : "|") + std::to_string(lex->token) + ":" + text;
    if (lex->token == kTokEnd) return out;
  }
  ADD_FAILURE() << "lexer does not reach the end";
  return out;
}

TEST_F(WclibTest, TokensOfValidTexts) {
  const std::string all = "!@#$%^&*()~`\\=[]{};':,./?_+|;<>";
  const struct {
    const char* name;
    std::string text;
    uint32_t flags;
    std::string tokens;
  } kCases[] = {
      {"keywords any case", "MD5 -FIN a.txt", 0, "512:MD5|45:-|513:FIN|261:a.txt|256:"},
      {"case-sensitive keywords", "MD5 md5", kLexCaseSensitive, "261:MD5|512:md5|256:"},
      {"prefix or longer word is no keyword", "md fins fout", 0, "261:md|261:fins|514:fout|256:"},
      {"quoted text keeps blanks and minus", "\"a -b\tc\"", 0, "261:a -b\tc|256:"},
      {"quoted keyword is a plain text", "\"md5\"", 0, "261:md5|256:"},
      {"empty quoted text", "\"\"", 0, "261:|256:"},
      {"quote ends a word", "ab\"c d\"ef", 0, "261:ab|261:c d|261:ef|256:"},
      {"punctuation of words", all, 0, "261:" + all + "|256:"},
      {"minus splits a word", "a-b", 0, "261:a|45:-|261:b|256:"},
      {"bytes outside words", "\x01\xC3\xA9", 0, "1:\x01|195:\xC3|169:\xA9|256:"},
      {"only separators", " \t\r\n ", 0, "256:"},
      {"empty text", "", 0, "256:"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    WClexer lex;
    WClexinit(&lex, c.text.c_str(), kLexKeywords);
    lex.flags = c.flags;
    uint16_t rc = 0;
    EXPECT_EQ(lexAll(&lex, &rc), c.tokens);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(currentCode(), 0u);
    WClexfree(&lex);
  }
}

TEST_F(WclibTest, LineCounterCountsSkippedLineFeeds) {
  WClexer lex;
  WClexinit(&lex, "a\n\"x\ny\"\r\n\n b", nullptr);
  ASSERT_EQ(WCtoken(&lex), 0);
  EXPECT_EQ(lex.line, 1u);
  ASSERT_EQ(WCtoken(&lex), 0);
  EXPECT_EQ(lex.line, 2u);  // the line feed inside quotes is text, not a separator
  ASSERT_EQ(WCtoken(&lex), 0);
  EXPECT_EQ(std::string(lex.value.v.str), "b");
  EXPECT_EQ(lex.line, 4u);
  WClexfree(&lex);
}

TEST_F(WclibTest, LexicalFailures) {
  const std::string w511(511, 'w');
  const struct {
    const char* name;
    std::string text;
    char escape;
    uint16_t rc;
    std::string message;
    std::string before;  // tokens read before the failure
    std::string after;   // the next token's text after the failure ("" = end)
  } kCases[] = {
      {"word of 511", w511, 0, 0, "", "261:" + w511 + "|256:", ""},
      {"word of 512", w511 + "w -x", 0, 30, "Overflow", "", "-"},
      {"quoted of 511", "\"" + w511 + "\"", 0, 0, "", "261:" + w511 + "|256:", ""},
      {"quoted of 512", "\"" + w511 + "w\" x", 0, 30, "Overvlow", "", "x"},
      {"quoted of 512 never closed", "\"" + w511 + "w", 0, 30, "Overvlow", "", ""},
      {"no closing quote", "a \"b c", 0, 30, "No quotes", "261:a", ""},
      {"escape takes blanks and minus", "a/ b/-c", '/', 0, "", "261:a b-c|256:", ""},
      {"escape at the end", "ab/", '/', 30, "Bad escape", "", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    TRclrerr();
    WClexer lex;
    WClexinit(&lex, c.text.c_str(), kLexKeywords);
    lex.escape = c.escape;
    uint16_t rc = 0;
    EXPECT_EQ(lexAll(&lex, &rc), c.before);
    EXPECT_EQ(rc, c.rc);
    EXPECT_EQ(currentCode(), c.rc);
    if (c.rc != 0) {
      EXPECT_EQ(currentMessage(), c.message);
      ASSERT_EQ(WCtoken(&lex), 0);
      EXPECT_EQ(lex.value.type == kWcText ? std::string(lex.value.v.str) : "", c.after);
    }
    WClexfree(&lex);
  }
}

TEST_F(WclibTest, EscapedWordCountsCharactersNotEscapes) {
  std::string text;
  for (int i = 0; i < 511; ++i) text += "/-";
  WClexer lex;
  WClexinit(&lex, text.c_str(), nullptr);
  lex.escape = '/';
  ASSERT_EQ(WCtoken(&lex), 0);
  EXPECT_EQ(std::string(lex.value.v.str), std::string(511, '-'));
  WClexfree(&lex);

  text += "/-";
  WClexinit(&lex, text.c_str(), nullptr);
  lex.escape = '/';
  EXPECT_EQ(WCtoken(&lex), 30);
  EXPECT_EQ(currentMessage(), "Overflow");
  WClexfree(&lex);
}

TEST_F(WclibTest, NullLexerInput) {
  WClexer lex;
  WClexinit(&lex, nullptr, nullptr);
  EXPECT_EQ(WCtoken(&lex), 30);
  EXPECT_EQ(WCnumber(&lex), 30);
  EXPECT_EQ(WCtoken(nullptr), 30);
  EXPECT_EQ(currentMessage(), "Buffer nullo");
  EXPECT_EQ(TRgeterrstklen(), 3u);
}

// ---------------------------------------------------------------------------
// Numbers

TEST_F(WclibTest, Numbers) {
  const struct {
    const char* text;
    uint32_t flags;
    uint16_t rc;
    uint16_t token;
    uint16_t type;
    int64_t value;
    std::string message;
    std::string next;  // the token after the number: its text, "" at the end, "<code>" failing
  } kCases[] = {
      {"42", 0, 0, kTokInteger, kWcI32 | kWcUnsigned, 42, "", ""},
      {"  +7 x", 0, 0, kTokInteger, kWcI32 | kWcUnsigned, 7, "", "x"},
      {"-5", 0, 0, kTokInteger, kWcI32, -5, "", ""},
      {"\"-12\"", 0, 0, kTokInteger, kWcI32, -12, "", ""},
      {"\"13\"\"q\"", 0, 0, kTokInteger, kWcI32 | kWcUnsigned, 13, "", "q"},
      {"0007", kLexNumber260, 0, kTokInteger2, kWcI32 | kWcUnsigned, 7, "", ""},
      {"12-fin", 0, 0, kTokInteger, kWcI32 | kWcUnsigned, 12, "", "-"},
      {"4294967295", 0, 0, kTokInteger, kWcI32 | kWcUnsigned, 4294967295, "", ""},
      {"-2147483648", 0, 0, kTokInteger, kWcI32, -2147483648, "", ""},
      {"4294967296", 0, 216, kTokBadNumber, 0, 0, "Conversione a long non valida", "4294967296"},
      {"-2147483649", 0, 216, kTokBadNumber, 0, 0, "Conversione a long non valida", "-"},
      {"abc", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "abc"},
      {"12abc", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "12abc"},
      {"\"12", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "<30>"},
      {"\"1 2\"", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "1 2"},
      {"-", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "-"},
      {"+-3", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "+"},
      {"0x10", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", "0x10"},
      {"", 0, 216, kTokBadNumber, 0, 0, "Impossibile convertire da stringa a numero", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    TRclrerr();
    WClexer lex;
    WClexinit(&lex, c.text, nullptr);
    lex.flags = c.flags;
    EXPECT_EQ(WCnumber(&lex), c.rc);
    EXPECT_EQ(lex.token, c.token);
    if (c.rc == 0) {
      EXPECT_EQ(lex.value.type, c.type);
      EXPECT_EQ(WCinteger(lex.value.type, lex.value.v), c.value);
      EXPECT_EQ(currentCode(), 0u);
    } else {
      EXPECT_EQ(currentCode(), c.rc);
      EXPECT_EQ(currentMessage(), c.message);
    }
    // A failed number is not consumed: the next token starts where it stood.
    const uint16_t next = WCtoken(&lex);
    const std::string text = lex.value.type == kWcText ? lex.value.v.str : "";
    EXPECT_EQ(next != 0 ? "<" + std::to_string(next) + ">" : text, c.next);
    WClexfree(&lex);
  }
}

// ---------------------------------------------------------------------------
// Sub-command dispatch and option parsing

// What the last handler call saw.
struct Seen {
  int calls = 0;
  std::string options;  // the md5 options as the accessors give them
  std::string o;
  bool oUsed = false, hFlag = false;
};
Seen seen;

std::string textOf(const WCopt* options, const char* name) {
  const char* s = WCoptstr(options, name);
  return s != nullptr ? s : "<null>";
}

uint16_t md5Handler(WCopt* options) {
  ++seen.calls;
  seen.options = "fin=" + textOf(options, "fin") + "/" + std::to_string(WCoptsize(options, "fin")) +
                 " fout=" + textOf(options, "fout") +
                 " n=" + std::to_string(WCoptint(options, "n", -99)) +
                 " u=" + std::to_string(WCoptulong(options, "u", 99)) +
                 " b=" + std::to_string(WCoptint(options, "b", -99)) +
                 " s16=" + std::to_string(WCoptint(options, "s16", -99)) +
                 " d=" + std::to_string(WCoptint(options, "d", -99)) +
                 " v=" + std::to_string(WCoptflag(options, "v"));
  seen.o = textOf(options, "o");
  seen.oUsed = WCoptused(options, "o");
  seen.hFlag = WCoptflag(options, "h");
  return 77;
}

uint16_t countingHandler(WCopt*) {
  ++seen.calls;
  return 5;
}

WCopt md5Options[] = {
    {"fin", 1, kWcText, 0, {}, 0}, {"fout", 0, kWcText, 0, {}, 0},
    {"n", 0, kWcI32, 0, {}, 0},    {"u", 0, kWcI32 | kWcUnsigned, 0, {}, 0},
    {"s16", 0, kWcI16, 0, {}, 0},  {"b", 0, kWcI8, 0, {}, 0},
    {"d", 0, kWcDouble, 0, {}, 0}, {"v", 0, kWcFlag, 0, {}, 0},
    {"o", 0, kWcText, 0, {}, 0},  // hidden by the common flag of the same name
    {nullptr, 0, 0, 0, {}, 0},
};
WCopt noOptions[] = {{nullptr, 0, 0, 0, {}, 0}};

const WCcmd kCommands[] = {
    {"md5", md5Options, md5Handler},
    {"sha1", noOptions, countingHandler},
    {"crc", nullptr, countingHandler},
    {nullptr, nullptr, nullptr},
};

struct CommonTable {
  WCopt rows[4] = {
      {"h", 0, kWcFlag, 0, {}, 0},
      {"o", 0, kWcFlag, 0, {}, 0},
      {"log", 0, kWcText, 0, {}, 0},
      {nullptr, 0, 0, 0, {}, 0},
  };
};

struct ExecCase {
  std::string name;
  std::string text;
  uint32_t flags;
  uint16_t status;
  std::string message;          // current message when status != 0
  std::vector<Recorded> stack;  // whole stack, newest first, when not empty
};

void runExec(const ExecCase& c, CommonTable* common, uint16_t* result) {
  TRclrerr();
  seen = Seen{};
  *result = 1234;
  EXPECT_EQ(WCexec(c.text.c_str(), kCommands, common->rows, result, c.flags), c.status);
  EXPECT_EQ(currentCode(), c.status);
  if (c.status != 0) {
    EXPECT_EQ(currentMessage(), c.message);
    EXPECT_EQ(seen.calls, 0);
    EXPECT_EQ(*result, 1234);
  }
  if (!c.stack.empty()) {
    EXPECT_EQ(errorStack(), c.stack);
  }
}

TEST_F(WclibTest, ExecFailures) {
  const std::string w511(511, 'f');
  const ExecCase kCases[] = {
      {"empty text", "", 0, 212, "Token non trovato", {{212, "Token non trovato", "WCexec"}}},
      {"blank text", " \n\t ", 0, 212, "Token non trovato", {}},
      {"option first", "-fin a", 0, 212, "Token non trovato", {}},
      {"unknown sub-command",
       "sha256 -fin a",
       0,
       212,
       "Metodo sconosciuto",
       {{212, "Metodo sconosciuto", "WCexec"}}},
      {"quoted sub-command", "\"md5\" -fin a", 0, 212, "Metodo sconosciuto", {}},
      {"overlong sub-command", w511 + "f", 0, 30, "Overflow", {{30, "Overflow", "lex_alnum"}}},
      {"mandatory missing", "md5 -fout x", 0, 214, "fin", {{214, "fin", "chk_mand"}}},
      {"mandatory missing, empty rest", "md5", 0, 214, "fin", {}},
      {"duplicate",
       "md5 -fin a.txt -fin b.txt",
       0,
       215,
       "fin duplicato",
       {{215, "fin duplicato", "getargs"}}},
      {"duplicate flag", "md5 -fin a -v -V", 0, 215, "v duplicato", {}},
      {"duplicate common flag", "md5 -fin a -h -H", 0, 215, "h duplicato", {}},
      {"third occurrence, tolerant",
       "md5 -fin a -fin b -fin c",
       kArgsTolerant,
       215,
       "fin duplicato",
       {{215, "fin replicato", "getargs"}, {215, "fin duplicato", "getargs"}}},
      {"third occurrence after a script",
       "md5 -fin a -fin b -fin c",
       kArgsScript,
       215,
       "fin replicato",
       {{215, "fin replicato", "getargs"}}},
      {"unknown option", "md5 -xyz a", 0, 215, "xyz", {{215, "xyz", "getargs"}}},
      {"unknown option up to blank", "md5 -fin a -x-y\"z\" w", 0, 215, "x-y\"z\"", {}},
      {"unknown option up to tab", "md5 -fin a - zz\tw", 0, 215, "zz", {}},
      {"quoted option name", "md5 -\"fin\" a", 0, 215, "\"fin\"", {}},
      {"minus at the end", "md5 -fin a -", 0, 215, "", {{215, "", "getargs"}}},
      {"stray word", "md5 stray -fin a", 0, 217, "stray", {{217, "stray", "getargs"}}},
      {"stray keyword", "md5 -fin a fout", 0, 217, "fout", {}},
      {"stray quoted text", "md5 -fin a \"q r\"", 0, 217, "q r", {}},
      {"stray character", "md5 -fin a \x01", 0, 217, "\x01", {}},
      {"value missing at the end",
       "md5 -fin",
       0,
       216,
       "Controllare valore di 'fin'",
       {{216, "Controllare valore di 'fin'", "getargs"}}},
      {"value missing before option",
       "md5 -fin a -fout -v",
       0,
       216,
       "Controllare valore di 'fout'",
       {}},
      {"empty quoted value", "md5 -fin \"\"", 0, 216, "Controllare valore di 'fin'", {}},
      {"value of 512",
       "md5 -fin " + w511 + "f",
       0,
       30,
       "Overflow",
       {{216, "Controllare valore di 'fin'", "getargs"}, {30, "Overflow", "lex_alnum"}}},
      {"quoted value of 512", "md5 -fin \"" + w511 + "f\"", 0, 30, "Overvlow", {}},
      {"unterminated value", "md5 -fin \"a b", 0, 30, "No quotes", {}},
      {"unsigned given -5",
       "md5 -fin a -u -5",
       0,
       216,
       "Controllare valore di 'u'",
       {{216, "Controllare valore di 'u'", "getargs"}}},
      {"unsigned given quoted -5", "md5 -fin a -u \"-5\"", 0, 216, "Controllare valore di 'u'", {}},
      {"number not a number",
       "md5 -fin a -n abc",
       0,
       216,
       "Impossibile convertire da stringa a numero",
       {{216, "Controllare valore di 'n'", "getargs"},
        {216, "Impossibile convertire da stringa a numero", "WCnumber"}}},
      {"number missing", "md5 -fin a -n", 0, 216, "Impossibile convertire da stringa a numero", {}},
      {"signed 32-bit too large",
       "md5 -fin a -n 2147483648",
       0,
       216,
       "Cast fallito",
       {{216, "Controllare valore di 'n'", "getargs"}, {216, "Cast fallito", "toInteger"}}},
      {"16-bit too large", "md5 -fin a -s16 32768", 0, 216, "Cast fallito", {}},
      {"8-bit too large", "md5 -fin a -b 128", 0, 216, "Conversione a long non valida", {}},
      {"8-bit not a number", "md5 -fin a -b x", 0, 216, "Conversione a long non valida", {}},
      {"double not a number", "md5 -fin a -d x", 0, 216, "Conversione a double non valida", {}},
      {"negative double unquoted", "md5 -fin a -d -2.9", 0, 216, "Controllare valore di 'd'", {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CommonTable common;
    uint16_t result = 0;
    runExec(c, &common, &result);
  }
}

TEST_F(WclibTest, ExecValues) {
  const std::string w511(511, 'f');
  const std::string none = " n=-99 u=99 b=-99 s16=-99 d=-99 v=0";
  const struct {
    ExecCase exec;
    std::string options;
  } kCases[] = {
      {{"keywords any case", "MD5 -FIN a.txt", 0, 0, "", {}}, "fin=a.txt/5 fout=<null>" + none},
      {{"quoted with blanks and minus", "md5 -fin \"a -b c.txt\" -fout \"x-y\"", 0, 0, "", {}},
       "fin=a -b c.txt/10 fout=x-y" + none},
      {{"unquoted minus starts an option", "md5 -fin a-fout b.txt", 0, 0, "", {}},
       "fin=a/1 fout=b.txt" + none},
      {{"word of 511", "md5 -fin " + w511, 0, 0, "", {}},
       "fin=" + w511 + "/511 fout=<null>" + none},
      {{"quoted of 511", "md5 -fin \"" + w511 + "\"", 0, 0, "", {}},
       "fin=" + w511 + "/511 fout=<null>" + none},
      {{"value that is an option name", "md5 -fin fout", 0, 0, "", {}},
       "fin=fout/4 fout=<null>" + none},
      {{"numbers",
        "md5 -fin a -n -5 -u 4000000000 -b \"-128\" -s16 -32768 -d \"-2.9\"",
        0,
        0,
        "",
        {}},
       "fin=a/1 fout=<null> n=-5 u=4000000000 b=-128 s16=-32768 d=-2 v=0"},
      {{"quoted numbers", "md5 -fin a -n \"-7\" -u \"+8\" -s16 \"9\"", 0, 0, "", {}},
       "fin=a/1 fout=<null> n=-7 u=8 b=-99 s16=9 d=-99 v=0"},
      {{"unsigned given -0", "md5 -fin a -u -0", 0, 0, "", {}},
       "fin=a/1 fout=<null> n=-99 u=0 b=-99 s16=-99 d=-99 v=0"},
      {{"any separators, flag once", "md5\n-v\r\n-fin\ta", 0, 0, "", {}},
       "fin=a/1 fout=<null> n=-99 u=99 b=-99 s16=-99 d=-99 v=1"},
      {{"repeat after a script keeps the later value",
        "md5 -fin a -fin bc -v -v",
        kArgsScript,
        0,
        "",
        {}},
       "fin=bc/2 fout=<null>" + none},
      {{"tolerant parse skips stray words", "md5 junk -fin a \"more\"", kArgsTolerant, 0, "", {}},
       "fin=a/1 fout=<null>" + none},
      {{"tolerant parse skips the mandatory check", "md5 -fout x", kArgsTolerant, 0, "", {}},
       "fin=<null>/0 fout=x" + none},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.exec.name);
    CommonTable common;
    uint16_t result = 0;
    runExec(c.exec, &common, &result);
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(result, 77);
    EXPECT_EQ(seen.options, c.options);
  }
}

TEST_F(WclibTest, ExecMergesCommonOptions) {
  CommonTable common;
  uint16_t result = 0;
  ASSERT_EQ(WCexec("md5 -fin a -o -h", kCommands, common.rows, &result, 0), 0);
  EXPECT_EQ(result, 77);
  // The common flag `o` hides the sub-command's text option of the same name.
  EXPECT_TRUE(seen.oUsed);
  EXPECT_EQ(seen.o, "<null>");
  EXPECT_TRUE(seen.hFlag);
  // Counts go back to the caller's common table; values stay with the merged table.
  EXPECT_EQ(common.rows[0].count, 1);
  EXPECT_EQ(common.rows[1].count, 1);
  EXPECT_EQ(common.rows[2].count, 0);
  EXPECT_EQ(common.rows[2].value.str, nullptr);
  // The sub-command's own table is never written.
  for (const WCopt* o = md5Options; o->name != nullptr; ++o) EXPECT_EQ(o->count, 0) << o->name;

  ASSERT_EQ(WCexec("md5 -fin a -log x.log", kCommands, common.rows, &result, 0), 0);
  EXPECT_EQ(common.rows[0].count, 0);
  EXPECT_EQ(common.rows[2].count, 1);
  EXPECT_EQ(common.rows[2].value.str, nullptr);
}

TEST_F(WclibTest, ExecWithoutOptionsRunsNoHandler) {
  WCopt emptyCommon[] = {{nullptr, 0, 0, 0, {}, 0}};
  for (const char* text : {"sha1", "sha1 anything -at all", "CRC"}) {
    SCOPED_TRACE(text);
    seen = Seen{};
    uint16_t result = 1234;
    EXPECT_EQ(WCexec(text, kCommands, emptyCommon, &result, 0), 0);
    EXPECT_EQ(WCexec(text, kCommands, nullptr, &result, 0), 0);
    EXPECT_EQ(seen.calls, 0);
    EXPECT_EQ(result, 1234);
  }
  // With common options the handler runs even when the sub-command has none.
  CommonTable common;
  uint16_t result = 0;
  EXPECT_EQ(WCexec("sha1 -h", kCommands, common.rows, &result, 0), 0);
  EXPECT_EQ(seen.calls, 1);
  EXPECT_EQ(result, 5);
  EXPECT_EQ(common.rows[0].count, 1);
}

TEST_F(WclibTest, ExecNullArguments) {
  uint16_t result = 0;
  EXPECT_EQ(WCexec(nullptr, kCommands, nullptr, &result, 0), 30);
  EXPECT_EQ(currentMessage(), "Buffer nullo");
  TRclrerr();
  EXPECT_EQ(WCexec("md5", nullptr, nullptr, &result, 0), 30);
  TRclrerr();
  EXPECT_EQ(getargs(nullptr, md5Options, 0, 0), 30);
  TRclrerr();
  EXPECT_EQ(getargs("-fin a", nullptr, 0, 0), 30);
  EXPECT_EQ(currentMessage(), "Buffer nullo");
  // A null result pointer only drops the handler's result.
  TRclrerr();
  EXPECT_EQ(WCexec("md5 -fin a", kCommands, nullptr, nullptr, 0), 0);
}

// A handler that leaves a text value the destructor does not recognise.
alignas(16) char foreignBlock[64];
uint16_t corruptingHandler(WCopt* options) {
  size_t index = 0;
  EXPECT_EQ(WCoptidx(options, "fin", &index), 1);
  WCstrdel(options[index].value.str);
  options[index].value.str = foreignBlock + 32;
  return 0;
}

TEST_F(WclibTest, ExecReportsFailingDestructor) {
  const WCcmd commands[] = {{"md5", md5Options, corruptingHandler}, {nullptr, nullptr, nullptr}};
  uint16_t result = 9;
  EXPECT_EQ(WCexec("md5 -fin a", commands, nullptr, &result, 0), 0);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(currentCode(), 224u);
  EXPECT_EQ(currentMessage(), "WCdel FALLITA exec m->Class->Dstr=1");
  EXPECT_EQ(TRgeterrstklen(), 1u);
}

// ---------------------------------------------------------------------------
// getargs and the accessors

struct Table {
  WCopt rows[9] = {
      {"fin", 1, kWcText, 0, {}, 0},
      {"i8", 0, kWcI8, 0, {}, 0},
      {"u8", 0, kWcI8 | kWcUnsigned, 0, {}, 0},
      {"i16", 0, kWcI16, 0, {}, 0},
      {"u32", 0, kWcI32b | kWcUnsigned, 0, {}, 0},
      {"dbl", 0, kWcDouble, 0, {}, 0},
      {"flag", 0, kWcFlag, 0, {}, 0},
      {"Fin", 0, kWcText, 0, {}, 0},
      {nullptr, 0, 0, 0, {}, 0},
  };
  ~Table() { WCoptclean(rows); }
};

TEST_F(WclibTest, GetargsFillsRecords) {
  Table t;
  ASSERT_EQ(WCgetargs("-fin \"x y\" -i8 \"-3\" -u8 255 -i16 -300 -u32 4294967295 -dbl 2.75 "
                      "-flag",
                      t.rows, 0, 0),
            0);
  EXPECT_EQ(WCoptcount(t.rows), 8u);
  const struct {
    const char* name;
    uint8_t count;
    uint64_t length;
    int asInt;
    uint32_t asUlong;
  } kExpect[] = {
      {"fin", 1, 3, 0, 0},           {"i8", 1, 1, -3, 0xFFFFFFFD},
      {"u8", 1, 1, 255, 255},        {"i16", 1, 2, -300, 0xFFFFFED4},
      {"u32", 1, 4, -1, 0xFFFFFFFF}, {"dbl", 1, 8, 2, 2},
      {"flag", 1, 0, 0, 0},          {"Fin", 0, 0, 0, 0},
  };
  for (size_t i = 0; i < std::size(kExpect); ++i) {
    const auto& e = kExpect[i];
    SCOPED_TRACE(e.name);
    size_t index = 99;
    EXPECT_EQ(WCoptidx(t.rows, e.name, &index), 1);
    EXPECT_EQ(index, i);
    EXPECT_EQ(t.rows[i].count, e.count);
    EXPECT_EQ(WCoptused(t.rows, e.name), e.count > 0);
    EXPECT_EQ(WCoptflag(t.rows, e.name), e.count == 1);
    EXPECT_EQ(WCoptsize(t.rows, e.name), e.length);
    if (t.rows[i].type != kWcText && t.rows[i].type != kWcFlag) {
      EXPECT_EQ(WCoptint(t.rows, e.name, 7), e.asInt);
      EXPECT_EQ(WCoptulong(t.rows, e.name, 7), e.asUlong);
    }
  }
  EXPECT_STREQ(WCoptstr(t.rows, "fin"), "x y");
  EXPECT_EQ(WCoptstr(t.rows, "Fin"), nullptr);  // lookups are case-sensitive: not given
  EXPECT_EQ(WCoptstr(t.rows, "i8"), nullptr);   // not a text
  EXPECT_EQ(WCoptulong(t.rows, "fin", 7), 7u);
  EXPECT_EQ(WCoptulong(t.rows, "flag", 7), 7u);
}

TEST_F(WclibTest, AccessorsOfAbsentOrMissingOptions) {
  Table t;
  size_t index = 99;
  EXPECT_EQ(WCoptidx(t.rows, "FIN", &index), 0);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(WCoptidx(t.rows, "nope", &index), 0);
  EXPECT_EQ(WCoptidx(nullptr, "fin", &index), 0);
  for (const char* name : {"nope", "i8", "dbl", "fin", "flag"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(WCoptstr(t.rows, name), nullptr);
    EXPECT_EQ(WCoptint(t.rows, name, -42), -42);  // also for a text not given
    EXPECT_EQ(WCoptulong(t.rows, name, 42), 42u);
    EXPECT_FALSE(WCoptflag(t.rows, name));
    EXPECT_FALSE(WCoptused(t.rows, name));
    EXPECT_EQ(WCoptsize(t.rows, name), 0u);
  }
  EXPECT_EQ(WCoptcount(nullptr), 0u);
  EXPECT_EQ(currentCode(), 0u);
}

TEST_F(WclibTest, DoubleAccessorsTruncateAndClamp) {
  const struct {
    const char* text;
    int asInt;
    uint32_t asUlong;
  } kCases[] = {
      {"-dbl \"-2.9\"", -2, 0},
      {"-dbl 1e12", 2147483647, 4294967295u},
      {"-dbl \"-1e12\"", -2147483647 - 1, 0},
      {"-dbl 7.99", 7, 7},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    TRclrerr();
    Table t;
    EXPECT_EQ(getargs(c.text, t.rows, kArgsTolerant, 0), 0);
    EXPECT_EQ(WCoptint(t.rows, "dbl", 0), c.asInt);
    EXPECT_EQ(WCoptulong(t.rows, "dbl", 0), c.asUlong);
  }
}

TEST_F(WclibTest, TolerantParseGoesOnAfterErrors) {
  Table t;
  const uint16_t rc =
      getargs("-zz -fin a -i16 x -flag -flag -flag stray -u8 \"-1\" -fin \"b\" -dbl \"-1.5\"",
              t.rows, kArgsTolerant, 0);
  EXPECT_EQ(rc, 216);
  EXPECT_EQ(currentMessage(), "Impossibile convertire da stringa a numero");
  const std::vector<Recorded> expected = {
      {215, "fin duplicato", "getargs"},
      {216, "Controllare valore di 'u8'", "getargs"},
      {216, "Conversione a long non valida", "toInteger"},
      {215, "flag replicato", "getargs"},
      {215, "flag duplicato", "getargs"},
      {216, "Controllare valore di 'i16'", "getargs"},
      {216, "Impossibile convertire da stringa a numero", "WCnumber"},
  };
  EXPECT_EQ(errorStack(), expected);
  // A repeated option keeps its first value; the others that parsed are stored.
  EXPECT_STREQ(WCoptstr(t.rows, "fin"), "a");
  EXPECT_EQ(t.rows[0].count, 2);
  EXPECT_EQ(t.rows[6].count, 3);
  EXPECT_EQ(WCoptint(t.rows, "dbl", 0), -1);
  // An option whose value failed still counts, but holds no value.
  EXPECT_EQ(t.rows[3].count, 1);
  EXPECT_EQ(WCoptsize(t.rows, "i16"), 0u);
}

// The engine's first pass: its own options out of the whole parameter text.
TEST_F(WclibTest, TolerantParseSkipsWhatIsNotInItsTable) {
  WCopt first[] = {
      {"log", 0, kWcText, 0, {}, 0},     {"log2", 0, kWcText, 0, {}, 0},
      {"log2273", 0, kWcText, 0, {}, 0}, {"script", 0, kWcText, 0, {}, 0},
      {nullptr, 0, 0, 0, {}, 0},
  };
  EXPECT_EQ(getargs("md5 -FIN a.txt -n -5 -log t.log \"q r\" - -\"x\" --log2 u -log2273 1", first,
                    kArgsTolerant, 0),
            0);
  EXPECT_EQ(TRgeterrstklen(), 0u);
  EXPECT_STREQ(WCoptstr(first, "log"), "t.log");
  EXPECT_EQ(WCoptstr(first, "log2"), nullptr);  // "--log2" is no option
  EXPECT_TRUE(WCoptused(first, "log2273"));
  EXPECT_FALSE(WCoptused(first, "script"));
  WCoptclean(first);
}

TEST_F(WclibTest, CountStopsAt255) {
  std::string text;
  for (int i = 0; i < 300; ++i) text += "-flag ";
  Table t;
  EXPECT_EQ(getargs(text.c_str(), t.rows, kArgsTolerant, 0), 215);
  EXPECT_EQ(t.rows[6].count, 255);
  EXPECT_TRUE(WCoptused(t.rows, "flag"));
  EXPECT_FALSE(WCoptflag(t.rows, "flag"));
}

TEST_F(WclibTest, OptcleanResetsTable) {
  Table t;
  ASSERT_EQ(getargs("-fin abc -i16 5 -flag", t.rows, 0, 0), 0);
  WCoptclean(t.rows);
  for (const WCopt* o = t.rows; o->name != nullptr; ++o) {
    SCOPED_TRACE(o->name);
    EXPECT_EQ(o->count, 0);
    EXPECT_EQ(o->length, 0u);
    EXPECT_EQ(o->value.str, nullptr);
  }
  EXPECT_EQ(WCoptstr(t.rows, "fin"), nullptr);
  EXPECT_EQ(WCoptint(t.rows, "i16", -1), -1);
  // The table can be parsed again, with no duplicate left over.
  EXPECT_EQ(getargs("-fin def", t.rows, 0, 0), 0);
  EXPECT_STREQ(WCoptstr(t.rows, "fin"), "def");
  WCoptclean(nullptr);
  EXPECT_EQ(currentCode(), 0u);
}

void printRecords(void*, const char*, int, const char* function, uint32_t, uint32_t code,
                  const char* message) {
  std::fprintf(stderr, "[%u] %s: %s\n", code, function, message);
}

TEST_F(WclibTest, OptintOnTextExits) {
  Table t;
  ASSERT_EQ(getargs("-fin a -flag", t.rows, 0, 0), 0);
  EXPECT_EXIT(
      {
        TRsetlev(3);
        TRsetcallback(nullptr, printRecords);
        WCoptint(t.rows, "fin", 0);
      },
      ::testing::ExitedWithCode(1),
      "\\[301\\] WCoptint: Errore: Parametro 'fin' non convertibile in intero");
  EXPECT_EXIT(
      {
        TRsetlev(3);
        TRsetcallback(nullptr, printRecords);
        WCoptint(t.rows, "flag", 0);
      },
      ::testing::ExitedWithCode(1),
      "\\[301\\] WCoptint: Errore: Parametro 'flag' non convertibile in intero");
}

// ---------------------------------------------------------------------------
// WCcast

WCvalue textValue(const std::string& s) {
  WCvalue v{};
  v.type = kWcText;
  v.length = s.size();
  v.v.str = WCstrnew(s.data(), s.size());
  return v;
}

WCvalue intValue(uint16_t type, int64_t n) {
  WCvalue v{};
  v.type = type;
  switch (type & ~kWcUnsigned) {
    case kWcI8:
      v.v.i8 = static_cast<int8_t>(n);
      break;
    case kWcI16:
      v.v.i16 = static_cast<int16_t>(n);
      break;
    default:
      v.v.u32 = static_cast<uint32_t>(n);
  }
  return v;
}

WCvalue doubleValue(double d, uint16_t type = kWcDouble) {
  WCvalue v{};
  v.type = type;
  v.v.d = d;
  return v;
}

WCvalue dateValue(int y, int mo, int d, int h, int mi, int s) {
  WCvalue v{};
  v.type = kWcDateTime;
  v.v.dt = {static_cast<int16_t>(y), static_cast<uint8_t>(mo), static_cast<uint8_t>(d),
            static_cast<uint8_t>(h), static_cast<uint8_t>(mi), static_cast<uint8_t>(s)};
  return v;
}

// A value as text, for comparing results of any type.
std::string show(const WCvalue& v) {
  char buf[64];
  switch (v.type & ~kWcUnsigned) {
    case kWcText:
      return "text:" + std::string(v.v.str) + "/" + std::to_string(v.length);
    case kWcDouble:
      std::snprintf(buf, sizeof buf, "double%s:%.17g", v.type & kWcUnsigned ? "u" : "", v.v.d);
      return buf;
    case kWcDateTime:
      std::snprintf(buf, sizeof buf, "dt:%d/%d/%d %d:%d:%d", v.v.dt.year, v.v.dt.month, v.v.dt.day,
                    v.v.dt.hour, v.v.dt.minute, v.v.dt.second);
      return buf;
    default:
      return "int" + std::to_string(v.type) + ":" + std::to_string(WCinteger(v.type, v.v));
  }
}

TEST_F(WclibTest, CastMatrix) {
  constexpr uint16_t kU8 = kWcI8 | kWcUnsigned;
  constexpr uint16_t kU32 = kWcI32 | kWcUnsigned;
  const struct {
    const char* name;
    WCvalue (*make)();
    uint16_t to;
    uint16_t rc;
    std::string result;  // show() of the result, or the message on failure
  } kCases[] = {
      {"int to text", [] { return intValue(kWcI32, 255); }, kWcText, 0, "text:0xFF/4"},
      {"negative int to text", [] { return intValue(kWcI32, -1); }, kWcText, 0,
       "text:0xFFFFFFFF/10"},
      {"u8 to text", [] { return intValue(kU8, 200); }, kWcText, 0, "text:0xC8/4"},
      {"double to text", [] { return doubleValue(2.5); }, kWcText, 0, "text:2.500000/8"},
      {"date-time to text", [] { return dateValue(2024, 2, 29, 23, 59, 58); }, kWcText, 0,
       "text:2024-02-29 23:59:58/19"},
      {"early date-time to text", [] { return dateValue(7, 1, 2, 3, 4, 5); }, kWcText, 0,
       "text:0007-01-02 03:04:05/19"},
      {"text to date-time", [] { return textValue("2024-02-29 23:59:58"); }, kWcDateTime, 0,
       "dt:2024/2/29 23:59:58"},
      {"text to int", [] { return textValue("-12"); }, kWcI32, 0, "int3:-12"},
      {"hex text to int", [] { return textValue("0x1F"); }, kWcI16, 0, "int2:31"},
      {"text to u8", [] { return textValue("+255"); }, kU8, 0, "int32769:255"},
      {"text to u32", [] { return textValue("0xFFFFFFFF"); }, kU32, 0, "int32771:4294967295"},
      {"text to double", [] { return textValue("1.5e2"); }, kWcDouble, 0, "double:150"},
      {"int to double", [] { return intValue(kWcI32, -4); }, kWcDouble, 0, "double:-4"},
      {"u32 to double", [] { return intValue(kU32, 4000000000); }, kWcDouble, 0,
       "double:4000000000"},
      {"double to int truncates", [] { return doubleValue(3.9); }, kWcI32, 0, "int3:3"},
      {"negative double to int truncates", [] { return doubleValue(-3.9); }, kWcI8, 0, "int1:-3"},
      {"narrowing in range", [] { return intValue(kWcI16, -5); }, kWcI8, 0, "int1:-5"},
      {"u8 to i16", [] { return intValue(kU8, 255); }, kWcI16, 0, "int2:255"},
      {"same type", [] { return intValue(kWcI32b, 9); }, kWcI32b, 0, "int4:9"},
      {"text to text", [] { return textValue("abc"); }, kWcText, 0, "text:abc/3"},

      {"int too large for 16 bits", [] { return intValue(kWcI32, 70000); }, kWcI16, 216,
       "Cast fallito"},
      {"negative to unsigned", [] { return intValue(kWcI32, -1); }, kU32, 216, "Cast fallito"},
      {"u32 too large for i32", [] { return intValue(kU32, 4294967295); }, kWcI32, 216,
       "Cast fallito"},
      {"text not a number", [] { return textValue("12x"); }, kWcI32, 216,
       "Conversione a long non valida"},
      {"empty text to int", [] { return textValue(""); }, kWcI32, 216,
       "Conversione a long non valida"},
      {"blank before digits", [] { return textValue(" 1"); }, kWcI32, 216,
       "Conversione a long non valida"},
      {"bare hex prefix", [] { return textValue("0x"); }, kWcI32, 216,
       "Conversione a long non valida"},
      {"text too large for i8", [] { return textValue("128"); }, kWcI8, 216,
       "Conversione a long non valida"},
      {"negative text to u32", [] { return textValue("-1"); }, kU32, 216,
       "Conversione a long non valida"},
      {"huge text", [] { return textValue("99999999999999999999999"); }, kU32, 216,
       "Conversione a long non valida"},
      {"double too large for int", [] { return doubleValue(1e10); }, kWcI32, 216,
       "Conversione a long non valida"},
      {"NaN to int", [] { return doubleValue(std::nan("")); }, kWcI32, 216,
       "Conversione a long non valida"},
      {"text not a double", [] { return textValue("abc"); }, kWcDouble, 216,
       "Conversione a double non valida"},
      {"nan text", [] { return textValue("nan"); }, kWcDouble, 216,
       "Conversione a double non valida"},
      {"double overflow text", [] { return textValue("1e999"); }, kWcDouble, 216,
       "Conversione a double non valida"},
      {"negative to unsigned double", [] { return intValue(kWcI32, -4); }, kWcDouble | kWcUnsigned,
       216, "Conversione a double non valida"},
      {"no such day", [] { return textValue("2023-02-29 00:00:00"); }, kWcDateTime, 216,
       "Conversione a data/ora non valida"},
      {"one-digit month", [] { return textValue("2024-1-02 00:00:00"); }, kWcDateTime, 216,
       "Conversione a data/ora non valida"},
      {"hour 24", [] { return textValue("2024-01-02 24:00:00"); }, kWcDateTime, 216,
       "Conversione a data/ora non valida"},
      {"trailing text", [] { return textValue("2024-01-02 00:00:00Z"); }, kWcDateTime, 216,
       "Conversione a data/ora non valida"},

      {"date-time to int", [] { return dateValue(2024, 1, 1, 0, 0, 0); }, kWcI32, 30,
       "Tipo non gestito"},
      {"int to date-time", [] { return intValue(kWcI32, 1); }, kWcDateTime, 30, "Tipo non gestito"},
      {"to flag", [] { return intValue(kWcI32, 1); }, kWcFlag, 30, "Tipo non gestito"},
      {"from unknown type", [] { return intValue(999, 1); }, kWcText, 30, "Tipo non gestito"},
      {"unsigned text", [] { return textValue("1"); }, kWcText | kWcUnsigned, 30,
       "Tipo non gestito"},
      {"infinite double to text", [] { return doubleValue(INFINITY); }, kWcText, 30,
       "Conversione a stringa non valida"},
      {"month 13 to text", [] { return dateValue(2024, 13, 1, 0, 0, 0); }, kWcText, 30,
       "Conversione a stringa non valida"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    TRclrerr();
    WCvalue v = c.make();
    const std::string before = show(v);
    EXPECT_EQ(WCcast(&v, c.to), c.rc);
    EXPECT_EQ(currentCode(), c.rc);
    if (c.rc == 0) {
      EXPECT_EQ(show(v), c.result);
    } else {
      EXPECT_EQ(currentMessage(), c.result);
      EXPECT_EQ(show(v), before);  // a failed cast leaves the value as it was
    }
    WCvaluefree(&v);
  }
  TRclrerr();
  EXPECT_EQ(WCcast(nullptr, kWcText), 30);
  EXPECT_EQ(currentMessage(), "Buffer nullo");
}

TEST_F(WclibTest, CastRoundTrips) {
  for (int64_t n : {0LL, 1LL, 255LL, 65535LL, 2147483647LL, 4294967295LL}) {
    SCOPED_TRACE(n);
    WCvalue v = intValue(kWcI32 | kWcUnsigned, n);
    ASSERT_EQ(WCcast(&v, kWcText), 0);
    ASSERT_EQ(WCcast(&v, kWcI32 | kWcUnsigned), 0);
    EXPECT_EQ(WCinteger(v.type, v.v), n);
  }
  for (double d : {0.0, -2.5, 1234.125, 1e15}) {
    SCOPED_TRACE(d);
    WCvalue v = doubleValue(d);
    ASSERT_EQ(WCcast(&v, kWcText), 0);
    ASSERT_EQ(WCcast(&v, kWcDouble), 0);
    EXPECT_EQ(v.v.d, d);
  }
  for (const char* s : {"2000-02-29 00:00:00", "9999-12-31 23:59:59", "1970-01-01 12:30:45"}) {
    SCOPED_TRACE(s);
    WCvalue v = textValue(s);
    ASSERT_EQ(WCcast(&v, kWcDateTime), 0);
    ASSERT_EQ(WCcast(&v, kWcText), 0);
    EXPECT_STREQ(v.v.str, s);
    WCvaluefree(&v);
  }
  EXPECT_EQ(currentCode(), 0u);
}

TEST_F(WclibTest, TextBlocks) {
  char* s = WCstrnew("abc\0def", 7);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(std::memcmp(s, "abc\0def", 8), 0);
  EXPECT_EQ(WCstrdel(s), 0);
  EXPECT_EQ(WCstrdel(nullptr), 0);
  EXPECT_EQ(WCstrdel(foreignBlock + 32), 1);
}

}  // namespace
}  // namespace sigillo
