// Option parser, sub-command dispatcher and option accessors of the macro
// parameter strings.
#include "framework/wclib.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "framework/kvtmem.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "wclib";

constexpr uint16_t kCodeAlloc = 10;
constexpr uint16_t kCodeInternal = 30;
constexpr uint16_t kCodeNoCommand = 212;
constexpr uint16_t kCodeMandatory = 214;
constexpr uint16_t kCodeOption = 215;
constexpr uint16_t kCodeBadValue = 216;
constexpr uint16_t kCodeStray = 217;
constexpr uint16_t kCodeDestructor = 224;
constexpr uint16_t kCodeNotInteger = 301;

// The option parser's records name its entry point rather than its helpers.
#define GETARGS_FAIL(code, ...) \
  (TRERR_AS("getargs", (code), __VA_ARGS__), static_cast<uint16_t>(code))

struct TrFreeDeleter {
  void operator()(const char** p) const { TRFREE(p); }
};
using KeywordList = std::unique_ptr<const char*[], TrFreeDeleter>;

// A null-terminated keyword list of `count` entries taken from `rows`.
template <class Row, class Name>
KeywordList makeKeywords(const Row* rows, size_t count, Name name) {
  KeywordList list(static_cast<const char**>(TRCALLOC(count + 1, sizeof(const char*))));
  for (size_t i = 0; list && i < count; ++i) list[i] = name(rows[i]);
  return list;
}

class LexerGuard {
 public:
  LexerGuard(WClexer* lex, const char* text, const char* const* keywords) : lex_(lex) {
    WClexinit(lex, text, keywords);
  }
  ~LexerGuard() { WClexfree(lex_); }
  LexerGuard(const LexerGuard&) = delete;
  LexerGuard& operator=(const LexerGuard&) = delete;

 private:
  WClexer* lex_;
};

bool isNumberOption(uint16_t type) {
  const uint16_t base = type & ~kWcUnsigned;
  return base >= kWcI16 && base <= kWcI32b;
}

// Length of the text after a `-` that is no option name: up to the next blank
// or tab, and no longer than a message can hold (so a long text costs no more).
size_t unknownLength(const char* text) {
  size_t length = 0;
  while (length < kMsgSize - 1 && text[length] != '\0' && text[length] != ' ' &&
         text[length] != '\t') {
    ++length;
  }
  return length;
}

bool isValueToken(uint16_t token) { return token == kTokWord || token >= kTokKeyword; }

uint16_t chk_mand(const WCopt* options) {
  uint16_t rc = 0;
  for (const WCopt* o = options; o->name != nullptr; ++o) {
    if (o->mandatory != 0 && o->count == 0) rc = TRFAIL(kCodeMandatory, "%s", o->name);
  }
  return rc;
}

// Releases the text values of a table through their destructor.
void releaseTexts(WCopt* options) {
  for (WCopt* o = options; o->name != nullptr; ++o) {
    if (o->type != kWcText || o->value.str == nullptr) continue;
    if (const int rc = WCstrdel(o->value.str)) {
      TRERR(kCodeDestructor, "WCdel FALLITA exec m->Class->Dstr=%d", rc);
    }
    o->value.str = nullptr;
  }
}

class ArgParser {
 public:
  ArgParser(WClexer* lex, WCopt* options, uint32_t flags)
      : lex_(lex), options_(options), flags_(flags) {}

  uint16_t run() {
    uint16_t first = 0;
    for (;;) {
      uint16_t rc = WCtoken(lex_);
      if (rc == 0 && lex_->token == kTokEnd) {
        if (!tolerant()) rc = chk_mand(options_);
        if (first == 0) first = rc;
        return first;
      }
      if (rc == 0) rc = lex_->token == '-' ? option() : stray();
      if (rc != 0 && first == 0) first = rc;
      if (rc != 0 && !tolerant()) return first;
    }
  }

 private:
  bool tolerant() const { return (flags_ & kArgsTolerant) != 0; }

  // A tolerant parse picks its own options out of a text meant for a larger
  // table: words, and options that are not in its table, are skipped.
  uint16_t stray() {
    if (tolerant()) return 0;
    return GETARGS_FAIL(kCodeStray, "%s", lex_->value.v.str);
  }

  uint16_t option() {
    const char* text = lex_->text;
    const size_t start = lex_->pos + std::strspn(text + lex_->pos, lex_->separators);
    if (const uint16_t rc = WCtoken(lex_)) return rc;
    if (lex_->token < kTokKeyword) {
      // A tolerant parse looks for its own options only: others are skipped.
      if (tolerant()) return 0;
      return GETARGS_FAIL(kCodeOption, "%.*s", static_cast<int>(unknownLength(text + start)),
                          text + start);
    }
    WCopt* opt = &options_[lex_->token - kTokKeyword];
    uint16_t rc = 0;
    // After a script was appended an option may appear once in each part.
    if (opt->count == 1 && (flags_ & kArgsScript) == 0) {
      rc = GETARGS_FAIL(kCodeOption, "%s duplicato", opt->name);
    } else if (opt->count >= 2) {
      rc = GETARGS_FAIL(kCodeOption, "%s replicato", opt->name);
    }
    if (opt->count < UINT8_MAX) ++opt->count;
    if (rc != 0 && !tolerant()) return rc;
    // A tolerant parse still reads the repeated option's value, and drops it.
    const uint16_t valueRc = value(opt, rc == 0);
    return rc != 0 ? rc : valueRc;
  }

  uint16_t value(WCopt* opt, bool store) {
    if (opt->type == kWcFlag) return 0;
    const uint16_t rc = isNumberOption(opt->type) ? WCnumber(lex_) : word();
    if (rc != 0) return badValue(opt, rc);
    if (!acceptable(opt))
      return GETARGS_FAIL(kCodeBadValue, "Controllare valore di '%s'", opt->name);
    WCvalue v = lex_->value;
    lex_->value = {};
    if (const uint16_t castRc = WCcast(&v, opt->type)) {
      WCvaluefree(&v);
      return badValue(opt, castRc);
    }
    if (!store) {
      WCvaluefree(&v);
      return 0;
    }
    if (opt->type == kWcText) WCstrdel(opt->value.str);
    opt->value = v.v;
    opt->length = v.length;
    return 0;
  }

  // A word or quoted text; any other token is left for the option loop.
  uint16_t word() {
    const size_t mark = lex_->pos;
    const uint32_t line = lex_->line;
    const uint16_t rc = WCtoken(lex_);
    if (rc == 0 && !isValueToken(lex_->token)) {
      WCvaluefree(&lex_->value);
      lex_->pos = mark;
      lex_->line = line;
    }
    return rc;
  }

  bool acceptable(const WCopt* opt) const {
    const WCvalue& v = lex_->value;
    if (isNumberOption(opt->type)) {
      return (opt->type & kWcUnsigned) == 0 || v.type != kWcI32 || v.v.i32 >= 0;
    }
    return v.type == kWcText && v.length > 0;
  }

  // The cause is already recorded; this names the option it belongs to.
  uint16_t badValue(const WCopt* opt, uint16_t rc) {
    TRERR_AS("getargs", kCodeBadValue, "Controllare valore di '%s'", opt->name);
    return rc;
  }

  WClexer* lex_;
  WCopt* options_;
  uint32_t flags_;
};

const WCopt* findOption(const WCopt* options, const char* name) {
  size_t index = 0;
  return WCoptidx(options, name, &index) ? &options[index] : nullptr;
}

const WCopt* givenOption(const WCopt* options, const char* name) {
  const WCopt* opt = findOption(options, name);
  return opt != nullptr && opt->count > 0 ? opt : nullptr;
}

bool isIntegerType(uint16_t type) {
  const uint16_t base = type & ~kWcUnsigned;
  return base >= kWcI8 && base <= kWcI32b;
}

bool isDoubleType(uint16_t type) { return (type & ~kWcUnsigned) == kWcDouble; }

}  // namespace

uint16_t getargs(const char* text, WCopt* options, uint32_t flags, int /*reserved*/) {
  if (text == nullptr || options == nullptr) return TRFAIL(kCodeInternal, "Buffer nullo");
  const KeywordList names =
      makeKeywords(options, WCoptcount(options), [](const WCopt& o) { return o.name; });
  if (!names) return (TRLASTERR(), kCodeAlloc);
  WClexer lex;
  const LexerGuard guard(&lex, text, names.get());
  return ArgParser(&lex, options, flags).run();
}

uint16_t WCgetargs(const char* text, WCopt* options, uint32_t flags, int reserved) {
  return getargs(text, options, flags, reserved);
}

uint16_t WCexec(const char* text, const WCcmd* commands, WCopt* common, uint16_t* result,
                uint32_t flags) {
  if (text == nullptr || commands == nullptr) return TRFAIL(kCodeInternal, "Buffer nullo");
  size_t ncommands = 0;
  while (commands[ncommands].keyword != nullptr) ++ncommands;
  const WCcmd* command = nullptr;
  size_t rest = 0;
  {
    const KeywordList keywords =
        makeKeywords(commands, ncommands, [](const WCcmd& c) { return c.keyword; });
    if (!keywords) return (TRLASTERR(), kCodeAlloc);
    WClexer lex;
    const LexerGuard guard(&lex, text, keywords.get());
    if (const uint16_t rc = WCtoken(&lex)) return rc;
    if (lex.token == kTokWord) return TRFAIL(kCodeNoCommand, "Metodo sconosciuto");
    if (lex.token < kTokKeyword) return TRFAIL(kCodeNoCommand, "Token non trovato");
    command = &commands[lex.token - kTokKeyword];
    rest = lex.pos;
  }

  const size_t ncommon = WCoptcount(common);
  const size_t nown = WCoptcount(command->options);
  if (ncommon + nown == 0) return 0;
  auto* merged = static_cast<WCopt*>(TRCALLOC(ncommon + nown + 1, sizeof(WCopt)));
  if (merged == nullptr) return (TRLASTERR(), kCodeAlloc);
  // Common options come first, so they win a lookup by name.
  for (size_t i = 0; i < ncommon + nown; ++i) {
    const WCopt& from = i < ncommon ? common[i] : command->options[i - ncommon];
    merged[i].name = from.name;
    merged[i].mandatory = from.mandatory;
    merged[i].type = from.type;
  }

  const uint16_t status = getargs(text + rest, merged, flags, 0);
  if (status == 0 && command->handler != nullptr) {
    const uint16_t handlerResult = command->handler(merged);
    if (result != nullptr) *result = handlerResult;
  }
  for (size_t i = 0; i < ncommon; ++i) common[i].count = merged[i].count;
  releaseTexts(merged);
  TRFREE(merged);
  return status;
}

int WCoptidx(const WCopt* options, const char* name, size_t* index) {
  if (index != nullptr) *index = 0;
  if (options == nullptr || name == nullptr) return 0;
  for (size_t i = 0; options[i].name != nullptr; ++i) {
    if (std::strcmp(options[i].name, name) == 0) {
      if (index != nullptr) *index = i;
      return 1;
    }
  }
  return 0;
}

const char* WCoptstr(const WCopt* options, const char* name) {
  const WCopt* opt = givenOption(options, name);
  return opt != nullptr && opt->type == kWcText ? opt->value.str : nullptr;
}

int WCoptint(const WCopt* options, const char* name, int defaultValue) {
  const WCopt* opt = givenOption(options, name);
  if (opt == nullptr) return defaultValue;
  if (isIntegerType(opt->type)) {
    return static_cast<int>(static_cast<uint32_t>(WCinteger(opt->type, opt->value)));
  }
  if (isDoubleType(opt->type)) {
    constexpr double kMin = std::numeric_limits<int>::min();
    constexpr double kMax = std::numeric_limits<int>::max();
    if (std::isnan(opt->value.d)) return defaultValue;
    return static_cast<int>(std::clamp(std::trunc(opt->value.d), kMin, kMax));
  }
  // A handler asking a text for a number is a programming error: stop here.
  TRERR(kCodeNotInteger, "Parametro '%s' non convertibile in intero", name);
  std::exit(1);
}

uint32_t WCoptulong(const WCopt* options, const char* name, uint32_t defaultValue) {
  const WCopt* opt = givenOption(options, name);
  if (opt == nullptr) return defaultValue;
  if (isIntegerType(opt->type)) return static_cast<uint32_t>(WCinteger(opt->type, opt->value));
  if (isDoubleType(opt->type) && !std::isnan(opt->value.d)) {
    constexpr double kMax = std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(std::clamp(std::trunc(opt->value.d), 0.0, kMax));
  }
  return defaultValue;
}

bool WCoptflag(const WCopt* options, const char* name) {
  const WCopt* opt = findOption(options, name);
  return opt != nullptr && opt->count == 1;
}

bool WCoptused(const WCopt* options, const char* name) {
  return givenOption(options, name) != nullptr;
}

uint64_t WCoptsize(const WCopt* options, const char* name) {
  const WCopt* opt = givenOption(options, name);
  return opt != nullptr ? opt->length : 0;
}

void WCoptclean(WCopt* options) {
  if (options == nullptr) return;
  releaseTexts(options);
  for (WCopt* o = options; o->name != nullptr; ++o) {
    o->count = 0;
    o->length = 0;
    o->value = {};
  }
}

size_t WCoptcount(const WCopt* options) {
  size_t count = 0;
  while (options != nullptr && options[count].name != nullptr) ++count;
  return count;
}

}  // namespace sigillo
