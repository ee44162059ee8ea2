// Parameter strings of any content through the sub-command dispatcher, the
// option parser and the lexer, in strict, tolerant and script modes; the
// handler reads every option through every accessor and converts each text
// value to every value type.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "framework/trace.h"
#include "framework/wclib.h"

namespace {

using namespace sigillo;

WCopt common[] = {
    {"h", 0, kWcFlag, 0, {}, 0},      {"o", 0, kWcFlag, 0, {}, 0},
    {"s", 0, kWcFlag, 0, {}, 0},      {"nl", 0, kWcFlag, 0, {}, 0},
    {"script", 0, kWcText, 0, {}, 0}, {"log", 0, kWcText, 0, {}, 0},
    {"log2", 0, kWcText, 0, {}, 0},   {"log2273", 0, kWcText, 0, {}, 0},
    {nullptr, 0, 0, 0, {}, 0},
};

WCopt hashOptions[] = {
    {"fin", 1, kWcText, 0, {}, 0}, {"fout", 0, kWcText, 0, {}, 0},
    {"n", 0, kWcI32, 0, {}, 0},    {"u", 0, kWcI32 | kWcUnsigned, 0, {}, 0},
    {"w", 0, kWcI16, 0, {}, 0},    {"b", 0, kWcI8 | kWcUnsigned, 0, {}, 0},
    {"d", 0, kWcDouble, 0, {}, 0}, {"v", 0, kWcFlag, 0, {}, 0},
    {"o", 0, kWcText, 0, {}, 0},  // hidden by the common flag
    {nullptr, 0, 0, 0, {}, 0},
};

WCopt keyOptions[] = {
    {"bits", 1, kWcI32b | kWcUnsigned, 0, {}, 0},
    {"seed", 1, kWcText, 0, {}, 0},
    {nullptr, 0, 0, 0, {}, 0},
};

WCopt noOptions[] = {{nullptr, 0, 0, 0, {}, 0}};

bool isNumber(uint16_t type) {
  const uint16_t base = type & ~kWcUnsigned;
  return base >= kWcI8 && base <= kWcDouble;
}

// Each text value converted to every type and back to text.
void castText(const char* text, size_t length) {
  static const uint16_t kTypes[] = {kWcI8,     kWcI16 | kWcUnsigned, kWcI32, kWcI32b | kWcUnsigned,
                                    kWcDouble, kWcDateTime,          kWcFlag};
  for (const uint16_t type : kTypes) {
    WCvalue value{};
    value.type = kWcText;
    value.length = length;
    value.v.str = WCstrnew(text, length);
    if (value.v.str == nullptr) abort();
    if (WCcast(&value, type) == 0 && WCcast(&value, kWcText) != 0) abort();
    WCvaluefree(&value);
  }
}

uint16_t readEverything(WCopt* options) {
  for (const WCopt* o = options; o->name != nullptr; ++o) {
    size_t index = 0;
    if (WCoptidx(options, o->name, &index) != 1 || index > size_t(o - options)) abort();
    const bool used = WCoptused(options, o->name);
    if (WCoptflag(options, o->name) && !used) abort();
    const uint64_t size = WCoptsize(options, o->name);
    if (const char* text = WCoptstr(options, o->name)) {
      if (!used || std::strlen(text) != size || size == 0 || size > kWcMaxWord) abort();
      castText(text, size);
    }
    if (isNumber(options[index].type)) {
      WCoptint(options, o->name, 0);
      WCoptulong(options, o->name, 0);
    }
  }
  return 0;
}

const WCcmd commands[] = {
    {"md5", hashOptions, readEverything}, {"sha256", hashOptions, readEverything},
    {"gen", keyOptions, readEverything},  {"list", noOptions, readEverything},
    {nullptr, nullptr, nullptr},
};

// The help scan's conventions: fewer word characters and an escape.
void lexHelp(const char* text) {
  static const char* const kKeywords[] = {"md5", "gen", "list", nullptr};
  WClexer lex;
  WClexinit(&lex, text, kKeywords);
  lex.wordChars = kWcHelpWordChars;
  lex.escape = '/';
  const size_t length = std::strlen(text);
  for (size_t steps = 0; WCtoken(&lex), lex.token != kTokEnd; ++steps) {
    if (steps >= length) abort();  // every token takes at least one byte
  }
  WClexfree(&lex);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<char> text(data, data + size);
  text.push_back('\0');
  static const uint32_t kFlags[] = {0, kArgsTolerant, kArgsScript, kArgsTolerant | kArgsScript};
  for (const uint32_t flags : kFlags) {
    TRclrerr();
    uint16_t result = 0;
    WCexec(text.data(), commands, common, &result, flags);
  }
  TRclrerr();
  lexHelp(text.data());
  TRclrerr();
  return 0;
}
