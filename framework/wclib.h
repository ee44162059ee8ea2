// Argument parser: lexer, option parser and sub-command dispatcher of the
// macro parameter strings.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo {

// Value types of option records and value holders.
enum : uint16_t {
  kWcI8 = 1,
  kWcI16 = 2,
  kWcI32 = 3,
  kWcI32b = 4,
  kWcDouble = 5,
  kWcDateTime = 6,
  kWcFlag = 7,
  kWcText = 513,
  kWcUnsigned = 0x8000,
};

// Token codes of the lexer.
enum : uint16_t {
  kTokEnd = 256,
  kTokBadNumber = 257,
  kTokInteger = 258,
  kTokInteger2 = 260,
  kTokWord = 261,
  kTokKeyword = 512,  // + index of the keyword
};

// Lexer flags.
enum : uint32_t {
  kLexCaseSensitive = 0x01,
  kLexNumber260 = 0x02,
};

// getargs flags.
enum : uint32_t {
  kArgsTolerant = 0x01,
  kArgsScript = 0x08,
};

constexpr size_t kWcMaxWord = 511;

struct WCdatetime {
  int16_t year;
  uint8_t month, day, hour, minute, second;
};

union WCvalueData {
  char* str;  // kWcText: owned copy, NUL-terminated
  int8_t i8;
  int16_t i16;
  int32_t i32;
  uint32_t u32;
  double d;
  WCdatetime dt;
  uint8_t raw[8];
};

// Value holder: a typed value as the lexer and WCcast produce it.
struct WCvalue {
  uint16_t type;
  uint64_t length;  // text length for kWcText
  WCvalueData v;
};

// One row of an option table; a table ends with a row whose name is null.
struct WCopt {
  const char* name;
  uint8_t mandatory;
  uint16_t type;
  uint64_t length;
  WCvalueData value;
  uint8_t count;
};

// One row of a sub-command table; a table ends with a row whose keyword is null.
using WChandler = uint16_t (*)(WCopt* options);
struct WCcmd {
  const char* keyword;
  WCopt* options;
  WChandler handler;
};

struct WClexer {
  const char* const* keywords;  // null-terminated list
  const char* separators;       // "\t\n\r "
  const char* wordChars;        // punctuation allowed in unquoted words
  char openQuote;
  char closeQuote;
  char escape;  // 0 = none
  uint32_t flags;
  const char* text;  // NUL-terminated
  size_t pos;
  uint32_t line;
  uint16_t token;
  WCvalue value;  // kWcText value owned by the lexer until taken
};

extern const char* const kWcSeparators;
extern const char* const kWcMacroWordChars;
extern const char* const kWcHelpWordChars;

// Lexer over `text` with the macro parameter conventions.
void WClexinit(WClexer* lex, const char* text, const char* const* keywords);
void WClexfree(WClexer* lex);
uint16_t WCtoken(WClexer* lex);
uint16_t WCnumber(WClexer* lex);

uint16_t WCcast(WCvalue* value, uint16_t toType);
void WCvaluefree(WCvalue* value);

// Text values live in blocks with a class header and are wiped on release.
// WCstrnew copies `length` bytes and adds a NUL; WCstrdel accepts null and
// returns nonzero, releasing nothing, when `text` is no such block.
char* WCstrnew(const char* text, size_t length);
int WCstrdel(char* text);

// The number held by a value of an integer type, read by the type's width and sign.
int64_t WCinteger(uint16_t type, const WCvalueData& value);

uint16_t getargs(const char* text, WCopt* options, uint32_t flags, int reserved);
uint16_t WCgetargs(const char* text, WCopt* options, uint32_t flags, int reserved);
uint16_t WCexec(const char* text, const WCcmd* commands, WCopt* common, uint16_t* result,
                uint32_t flags);

int WCoptidx(const WCopt* options, const char* name, size_t* index);
const char* WCoptstr(const WCopt* options, const char* name);
int WCoptint(const WCopt* options, const char* name, int defaultValue);
uint32_t WCoptulong(const WCopt* options, const char* name, uint32_t defaultValue);
bool WCoptflag(const WCopt* options, const char* name);
bool WCoptused(const WCopt* options, const char* name);
uint64_t WCoptsize(const WCopt* options, const char* name);
void WCoptclean(WCopt* options);
size_t WCoptcount(const WCopt* options);

}  // namespace sigillo
