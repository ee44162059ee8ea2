// Lexer of parameter strings: words, quoted texts, keywords, numbers and
// single characters.
#include <cstring>

#include "framework/trace.h"
#include "framework/wclib.h"

namespace sigillo {

const char* const kWcSeparators = "\t\n\r ";
const char* const kWcMacroWordChars = "!@#$%^&*()~`\\=[]{};':,./?_+|;<>";
const char* const kWcHelpWordChars = "!@#$&~`'_";

namespace {

constexpr const char* kModule = "wclib";

constexpr uint16_t kCodeAlloc = 10;
constexpr uint16_t kCodeLexical = 30;
constexpr uint16_t kCodeBadValue = 216;

// Keyword k is token 512 + k; later keywords cannot be told apart.
constexpr size_t kMaxKeywords = UINT16_MAX - kTokKeyword;

bool inSet(const char* set, char c) { return c != '\0' && set != nullptr && std::strchr(set, c); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isAlnum(char c) { return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool startsWord(const WClexer* lex, char c) { return isAlnum(c) || inSet(lex->wordChars, c); }

void skipSeparators(WClexer* lex) {
  for (char c; (c = lex->text[lex->pos]) != '\0' && inSet(lex->separators, c); ++lex->pos) {
    if (c == '\n') ++lex->line;
  }
}

// Makes the token's text the lexer's value.
uint16_t setText(WClexer* lex, const char* text, size_t length) {
  char* copy = WCstrnew(text, length);
  if (copy == nullptr) return (TRLASTERR(), kCodeAlloc);
  lex->value.type = kWcText;
  lex->value.length = length;
  lex->value.v.str = copy;
  return 0;
}

bool sameKeyword(const WClexer* lex, const char* word, size_t length, const char* keyword) {
  if (std::strlen(keyword) != length) return false;
  if (lex->flags & kLexCaseSensitive) return std::memcmp(word, keyword, length) == 0;
  for (size_t i = 0; i < length; ++i) {
    if (lower(word[i]) != lower(keyword[i])) return false;
  }
  return true;
}

uint16_t keywordToken(const WClexer* lex, const char* word, size_t length) {
  for (size_t k = 0; lex->keywords != nullptr && lex->keywords[k] != nullptr; ++k) {
    if (k == kMaxKeywords) break;
    if (sameKeyword(lex, word, length, lex->keywords[k])) {
      return static_cast<uint16_t>(kTokKeyword + k);
    }
  }
  return kTokWord;
}

// A quoted text: everything up to the closing quote, taken as it is.
uint16_t lex_quoted(WClexer* lex) {
  const char* start = lex->text + lex->pos + 1;
  size_t length = 0;
  while (start[length] != '\0' && start[length] != lex->closeQuote) ++length;
  const bool closed = start[length] != '\0';
  // A failed text is skipped whole, so that a tolerant caller goes on after it.
  lex->pos += 1 + length + (closed ? 1 : 0);
  lex->token = kTokWord;
  if (length > kWcMaxWord) return TRFAIL(kCodeLexical, "Overvlow");
  if (!closed) return TRFAIL(kCodeLexical, "No quotes");
  return setText(lex, start, length);
}

// A word: letters, digits and word characters; the escape character, when
// there is one, takes the next character as it is.
uint16_t lex_alnum(WClexer* lex) {
  const char* start = lex->text + lex->pos;
  size_t end = 0;
  size_t length = 0;
  for (;; ++length) {
    const char c = start[end];
    if (lex->escape != '\0' && c == lex->escape) {
      if (start[end + 1] == '\0') {
        lex->pos += end + 1;
        lex->token = kTokWord;
        return TRFAIL(kCodeLexical, "Bad escape");
      }
      end += 2;
    } else if (startsWord(lex, c)) {
      ++end;
    } else {
      break;
    }
  }
  lex->pos += end;
  lex->token = kTokWord;
  if (length > kWcMaxWord) return TRFAIL(kCodeLexical, "Overflow");

  char word[kWcMaxWord];
  for (size_t in = 0, out = 0; in < end; ++out) {
    if (lex->escape != '\0' && start[in] == lex->escape) ++in;
    word[out] = start[in++];
  }
  if (const uint16_t rc = setText(lex, word, length)) return rc;
  lex->token = keywordToken(lex, word, length);
  return 0;
}

}  // namespace

void WClexinit(WClexer* lex, const char* text, const char* const* keywords) {
  *lex = {};
  lex->keywords = keywords;
  lex->separators = kWcSeparators;
  lex->wordChars = kWcMacroWordChars;
  lex->openQuote = '"';
  lex->closeQuote = '"';
  lex->text = text;
  lex->line = 1;
}

void WClexfree(WClexer* lex) {
  if (lex != nullptr) WCvaluefree(&lex->value);
}

uint16_t WCtoken(WClexer* lex) {
  if (lex == nullptr || lex->text == nullptr) return TRFAIL(kCodeLexical, "Buffer nullo");
  WCvaluefree(&lex->value);
  skipSeparators(lex);
  const char c = lex->text[lex->pos];
  if (c == '\0') {
    lex->token = kTokEnd;
    return 0;
  }
  if (c == lex->openQuote) return lex_quoted(lex);
  if (startsWord(lex, c)) return lex_alnum(lex);
  lex->token = static_cast<unsigned char>(c);
  return setText(lex, lex->text + lex->pos++, 1);
}

// [quote] [+|-] digits [quote]. On failure the position stays at the start of
// the number, so that the next token is whatever stood there.
uint16_t WCnumber(WClexer* lex) {
  if (lex == nullptr || lex->text == nullptr) return TRFAIL(kCodeLexical, "Buffer nullo");
  WCvaluefree(&lex->value);
  skipSeparators(lex);
  const char* start = lex->text + lex->pos;
  size_t end = 0;
  const bool quoted = lex->openQuote != '\0' && start[end] == lex->openQuote;
  if (quoted) ++end;
  const bool negative = start[end] == '-';
  if (start[end] == '+' || start[end] == '-') ++end;
  const size_t digits = end;
  while (isDigit(start[end])) ++end;
  const size_t count = end - digits;

  bool ok = count > 0;
  if (ok && quoted) {
    ok = start[end] == lex->closeQuote;
    ++end;
  } else if (ok) {
    // "12ab" is no number followed by a word.
    ok = !startsWord(lex, start[end]) && (lex->escape == '\0' || start[end] != lex->escape);
  }
  lex->token = kTokBadNumber;
  if (!ok) return TRFAIL(kCodeBadValue, "Impossibile convertire da stringa a numero");

  // The sign goes with the digits so that WCcast sees the whole number.
  const size_t from = negative ? digits - 1 : digits;
  WCvalue number{};
  number.type = kWcText;
  number.length = digits + count - from;
  number.v.str = WCstrnew(start + from, number.length);
  if (number.v.str == nullptr) return (TRLASTERR(), kCodeAlloc);
  if (const uint16_t rc = WCcast(&number, negative ? kWcI32 : kWcI32 | kWcUnsigned)) {
    WCvaluefree(&number);
    return rc;
  }
  lex->value = number;
  lex->pos += end;
  lex->token = (lex->flags & kLexNumber260) ? kTokInteger2 : kTokInteger;
  return 0;
}

}  // namespace sigillo
