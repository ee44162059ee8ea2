// Text between character sets: each source character is read as a Unicode
// code point and written in the target set, or refused when the target
// cannot hold it. EBCDIC goes through the framework's cp037 tables.
#include <cstdio>

#include "asn1/alphabet.h"
#include "framework/mlib.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "charset";

constexpr uint32_t kMaxIrv = 0x7F;
constexpr uint32_t kMaxLatin1 = 0xFF;
constexpr uint32_t kMaxBmp = 0xFFFF;
constexpr uint32_t kMaxUnicode = 0x10FFFF;

bool isSurrogate(uint32_t cp) { return cp >= 0xD800 && cp <= 0xDFFF; }

// One character read from the source, or why it could not be read.
struct Char {
  uint32_t cp = 0;
  size_t size = 1;
  std::string fault;  // empty when the character is well-formed
};

std::string hexByteText(const char* format, unsigned value) {
  char text[64];
  snprintf(text, sizeof text, format, value);
  return text;
}

bool isContinuation(uint8_t b) { return (b & 0xC0) == 0x80; }

// Bytes after the lead and the range the first of them must fall in
// (RFC 3629 section 4): outside it the sequence is overlong, a surrogate or
// above U+10FFFF.
struct Utf8Lead {
  size_t follow;
  uint8_t low, high;
};

bool utf8Lead(uint8_t b, Utf8Lead* lead) {
  if (b < 0xC2 || b > 0xF4) return false;
  if (b <= 0xDF) {
    *lead = {1, 0x80, 0xBF};
  } else if (b <= 0xEF) {
    *lead = {2, static_cast<uint8_t>(b == 0xE0 ? 0xA0 : 0x80),
             static_cast<uint8_t>(b == 0xED ? 0x9F : 0xBF)};
  } else {
    *lead = {3, static_cast<uint8_t>(b == 0xF0 ? 0x90 : 0x80),
             static_cast<uint8_t>(b == 0xF4 ? 0x8F : 0xBF)};
  }
  return true;
}

Char readUtf8(const uint8_t* p, size_t available) {
  Char c;
  const uint8_t b = p[0];
  if (b < 0x80) {
    c.cp = b;
    return c;
  }
  Utf8Lead lead{};
  if (!utf8Lead(b, &lead)) {
    c.fault = b == 0xC0 || b == 0xC1 ? "codifica sovrabbondante (overlong)"
                                     : hexByteText("byte iniziale 0x%02X non valido", b);
    return c;
  }
  c.cp = b & (0x3F >> lead.follow);
  for (size_t k = 1; k <= lead.follow; ++k) {
    if (k >= available) {
      c.fault = "sequenza troncata";
      return c;
    }
    if (!isContinuation(p[k])) {
      c.fault = hexByteText("byte di continuazione 0x%02X non valido", p[k]);
      return c;
    }
    c.cp = c.cp << 6 | (p[k] & 0x3F);
  }
  c.size = lead.follow + 1;
  if (p[1] < lead.low) c.fault = "codifica sovrabbondante (overlong)";
  if (p[1] > lead.high && b == 0xED) c.fault = hexByteText("surrogato U+%04X", c.cp);
  if (p[1] > lead.high && b == 0xF4) c.fault = "valore oltre U+10FFFF";
  return c;
}

Char readChar(Charset from, const uint8_t* p, size_t available) {
  Char c;
  switch (from) {
    case Charset::kIrv:
      c.cp = p[0];
      if (c.cp > kMaxIrv) c.fault = hexByteText("byte 0x%02X oltre 0x7F", p[0]);
      return c;
    case Charset::kLatin1:
      c.cp = p[0];
      return c;
    case Charset::kEbcdic:
      c.cp = kEbcdicToAscii[p[0]];
      return c;
    case Charset::kUtf8:
      return readUtf8(p, available);
    case Charset::kBmp:
      c.cp = static_cast<uint32_t>(p[0]) << 8 | p[1];
      c.size = 2;
      if (isSurrogate(c.cp)) c.fault = hexByteText("surrogato U+%04X", c.cp);
      return c;
  }
  return c;
}

void putUtf8(uint32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | cp >> 6));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | cp >> 12));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | cp >> 18));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

uint32_t maxCodePoint(Charset to) {
  switch (to) {
    case Charset::kIrv:
      return kMaxIrv;
    case Charset::kLatin1:
    case Charset::kEbcdic:
      return kMaxLatin1;
    case Charset::kBmp:
      return kMaxBmp;
    case Charset::kUtf8:
      break;
  }
  return kMaxUnicode;
}

// Sources never yield surrogates, so every code point up to the target's
// maximum can be written.
void putChar(Charset to, uint32_t cp, std::string* out) {
  switch (to) {
    case Charset::kIrv:
    case Charset::kLatin1:
      out->push_back(static_cast<char>(cp));
      return;
    case Charset::kEbcdic:
      out->push_back(static_cast<char>(kAsciiToEbcdic[cp]));
      return;
    case Charset::kUtf8:
      putUtf8(cp, out);
      return;
    case Charset::kBmp:
      out->push_back(static_cast<char>(cp >> 8));
      out->push_back(static_cast<char>(cp & 0xFF));
      return;
  }
}

bool knownCharset(Charset charset) { return charset <= Charset::kBmp; }

uint16_t checkLength(Charset from, size_t length) {
  if (from == Charset::kBmp && length % 2 != 0) {
    return TRFAIL(5, "BMPString di lunghezza dispari (%zu byte)", length);
  }
  return 0;
}

// Reads every character of `data`; writes them to `out` in `to` unless
// `out` is null.
uint16_t translate(Charset from, Charset to, const uint8_t* data, size_t length, std::string* out) {
  if (uint16_t code = checkLength(from, length); code != 0) return code;
  const uint32_t limit = maxCodePoint(to);
  for (size_t i = 0; i < length;) {
    const Char c = readChar(from, data + i, length - i);
    if (!c.fault.empty()) {
      return TRFAIL(22, "%s non valido alla posizione %zu: %s", charsetName(from), i + 1,
                    c.fault.c_str());
    }
    if (c.cp > limit) {
      return TRFAIL(22, "Carattere U+%04X alla posizione %zu non rappresentabile in %s", c.cp,
                    i + 1, charsetName(to));
    }
    if (out != nullptr) putChar(to, c.cp, out);
    i += c.size;
  }
  return 0;
}

}  // namespace

const char* charsetName(Charset charset) {
  switch (charset) {
    case Charset::kIrv:
      return "IRV";
    case Charset::kLatin1:
      return "ISO 8859-1";
    case Charset::kEbcdic:
      return "EBCDIC (cp037)";
    case Charset::kUtf8:
      return "UTF-8";
    case Charset::kBmp:
      return "BMPString";
  }
  return "?";
}

void asciiToEbcdic(const uint8_t* in, size_t length, uint8_t* out) {
  if (in == nullptr || out == nullptr) return;
  for (size_t i = 0; i < length; ++i) out[i] = kAsciiToEbcdic[in[i]];
}

void ebcdicToAscii(const uint8_t* in, size_t length, uint8_t* out) {
  if (in == nullptr || out == nullptr) return;
  for (size_t i = 0; i < length; ++i) out[i] = kEbcdicToAscii[in[i]];
}

uint16_t checkText(Charset charset, const uint8_t* data, size_t length) {
  if (!knownCharset(charset)) return TRFAIL(1, "charset (1)");
  if (data == nullptr && length > 0) return TRFAIL(2, "data (2)");
  return translate(charset, Charset::kUtf8, data, length, nullptr);
}

uint16_t convertText(Charset from, Charset to, const uint8_t* data, size_t length,
                     std::string* out) {
  if (!knownCharset(from)) return TRFAIL(1, "from (1)");
  if (!knownCharset(to)) return TRFAIL(1, "to (2)");
  if (data == nullptr && length > 0) return TRFAIL(2, "data (3)");
  if (out == nullptr) return TRFAIL(3, "out (5)");
  std::string text;
  text.reserve(to == Charset::kUtf8 || to == Charset::kBmp ? 2 * length : length);
  if (uint16_t code = translate(from, to, data, length, &text); code != 0) return code;
  out->swap(text);
  return 0;
}

}  // namespace sigillo
