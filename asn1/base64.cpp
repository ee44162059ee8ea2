// base64 of RFC 4648 section 4: table-driven, one pass, no allocation per
// character.
#include <array>
#include <cstdio>

#include "asn1/alphabet.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "base64";

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Decoding classes beside the sextet values 0-63.
constexpr uint8_t kSpace = 64;
constexpr uint8_t kPad = 65;
constexpr uint8_t kInvalid = 255;

constexpr std::array<uint8_t, 256> makeDecodeTable() {
  std::array<uint8_t, 256> table{};
  for (auto& entry : table) entry = kInvalid;
  for (uint8_t i = 0; i < 64; ++i) table[static_cast<uint8_t>(kAlphabet[i])] = i;
  for (char c : {' ', '\t', '\r', '\n', '\v', '\f'}) table[static_cast<uint8_t>(c)] = kSpace;
  table['='] = kPad;
  return table;
}

constexpr std::array<uint8_t, 256> kDecode = makeDecodeTable();

// The last one or two bytes, padded with '='.
void encodePartialGroup(const uint8_t* in, size_t n, char* out) {
  const uint32_t bits = static_cast<uint32_t>(in[0]) << 16 | (n > 1 ? in[1] << 8 : 0);
  out[0] = kAlphabet[bits >> 18];
  out[1] = kAlphabet[(bits >> 12) & 63];
  out[2] = n > 1 ? kAlphabet[(bits >> 6) & 63] : '=';
  out[3] = '=';
}

// State of the decoder between characters.
struct Decoder {
  const uint8_t* text;
  size_t length;
  uint8_t* out;
  size_t written = 0;
  uint32_t bits = 0;
  size_t sextets = 0;     // sextets of the current group (0-3)
  size_t groupStart = 0;  // offset of the current group's first character
  size_t lastData = 0;    // offset of the last sextet seen
  size_t pads = 0;        // '=' seen
  size_t padsWanted = 0;  // '=' the final group needs (1 or 2)
  size_t firstPad = 0;

  bool fail(Base64Fault* fault, Base64Fault::Kind kind, size_t offset) const {
    *fault = {kind, offset, offset < length ? text[offset] : uint8_t{0}};
    return false;
  }

  void flushGroup() {
    out[written] = static_cast<uint8_t>(bits >> 16);
    out[written + 1] = static_cast<uint8_t>(bits >> 8);
    out[written + 2] = static_cast<uint8_t>(bits);
    written += 3;
    bits = 0;
    sextets = 0;
  }

  // Four sextets at once while the text is plain base64. Locals, not
  // members: stores through the byte pointer would otherwise force the
  // compiler to reload every member after each byte written.
  size_t fastGroups(size_t i) {
    const uint8_t* const in = text;
    uint8_t* o = out + written;
    const size_t start = i, end = length;
    while (i + 4 <= end) {
      const uint8_t a = kDecode[in[i]], b = kDecode[in[i + 1]];
      const uint8_t c = kDecode[in[i + 2]], d = kDecode[in[i + 3]];
      if ((a | b | c | d) >= 64) break;
      const uint32_t v = static_cast<uint32_t>(a) << 18 | static_cast<uint32_t>(b) << 12 |
                         static_cast<uint32_t>(c) << 6 | d;
      o[0] = static_cast<uint8_t>(v >> 16);
      o[1] = static_cast<uint8_t>(v >> 8);
      o[2] = static_cast<uint8_t>(v);
      o += 3;
      i += 4;
    }
    if (i > start) {
      written += (i - start) / 4 * 3;
      lastData = i - 1;
    }
    return i;
  }

  bool sextet(size_t i, uint8_t value, Base64Fault* fault) {
    if (pads > 0 && pads < padsWanted) return fail(fault, Base64Fault::kMisplacedPad, firstPad);
    if (pads > 0) return fail(fault, Base64Fault::kTrailing, i);
    if (sextets == 0) groupStart = i;
    bits = bits << 6 | value;
    lastData = i;
    if (++sextets == 4) flushGroup();
    return true;
  }

  bool pad(size_t i, Base64Fault* fault) {
    if (pads == 0) {
      if (sextets < 2) return fail(fault, Base64Fault::kMisplacedPad, i);
      padsWanted = 4 - sextets;
      firstPad = i;
    } else if (pads == padsWanted) {
      return fail(fault, Base64Fault::kTrailing, i);
    }
    ++pads;
    return true;
  }

  // The final group: 2 sextets give one byte, 3 give two; the unused low
  // bits must be zero so that every byte string has one encoding.
  bool finish(Base64Fault* fault) {
    if (pads == 0) return sextets == 0 || fail(fault, Base64Fault::kTruncated, groupStart);
    if (pads < padsWanted) return fail(fault, Base64Fault::kShortPad, firstPad);
    const uint32_t dropped = sextets == 2 ? bits & 0x0F : bits & 0x03;
    if (dropped != 0) return fail(fault, Base64Fault::kNonZeroBits, lastData);
    bits <<= 6 * (4 - sextets);
    out[written++] = static_cast<uint8_t>(bits >> 16);
    if (sextets == 3) out[written++] = static_cast<uint8_t>(bits >> 8);
    return true;
  }

  bool run(Base64Fault* fault) {
    size_t i = 0;
    while (i < length) {
      if (sextets == 0 && pads == 0) {
        i = fastGroups(i);
        if (i == length) break;
      }
      const uint8_t value = kDecode[text[i]];
      if (value < 64) {
        if (!sextet(i, value, fault)) return false;
      } else if (value == kPad) {
        if (!pad(i, fault)) return false;
      } else if (value != kSpace) {
        return fail(fault, Base64Fault::kBadChar, i);
      }
      ++i;
    }
    return finish(fault);
  }
};

template <class Container>
uint16_t decodeInto(std::string_view text, Container* out) {
  if (out == nullptr) return TRFAIL(3, "out (2)");
  Container decoded(base64DecodedMax(text.size()));
  size_t written = 0;
  Base64Fault fault{};
  if (!base64DecodeTo(text.data(), text.size(), decoded.data(), &written, &fault)) {
    return TRFAIL(22, "Base64 non valido alla posizione %zu: %s", fault.offset + 1,
                  base64FaultText(fault).c_str());
  }
  decoded.resize(written);
  out->swap(decoded);
  return 0;
}

}  // namespace

size_t base64EncodedLength(size_t length, bool wrap) {
  const size_t chars = (length + 2) / 3 * 4;
  if (!wrap) return chars;
  return chars + (chars + kBase64LineChars - 1) / kBase64LineChars;
}

void base64EncodeTo(const uint8_t* data, size_t length, bool wrap, char* out) {
  if (data == nullptr) return;
  size_t column = 0;
  size_t i = 0;
  for (; i + 3 <= length; i += 3) {
    const uint32_t bits = static_cast<uint32_t>(data[i]) << 16 |
                          static_cast<uint32_t>(data[i + 1]) << 8 | data[i + 2];
    out[0] = kAlphabet[bits >> 18];
    out[1] = kAlphabet[(bits >> 12) & 63];
    out[2] = kAlphabet[(bits >> 6) & 63];
    out[3] = kAlphabet[bits & 63];
    out += 4;
    column += 4;
    if (wrap && column == kBase64LineChars) {
      *out++ = '\n';
      column = 0;
    }
  }
  if (i < length) {
    encodePartialGroup(data + i, length - i, out);
    out += 4;
    column += 4;
  }
  if (wrap && column > 0) *out = '\n';
}

std::string base64Encode(const uint8_t* data, size_t length, bool wrap) {
  if (data == nullptr) return {};
  std::string text(base64EncodedLength(length, wrap), '\0');
  base64EncodeTo(data, length, wrap, text.data());
  return text;
}

bool base64DecodeTo(const char* text, size_t length, uint8_t* out, size_t* written,
                    Base64Fault* fault) {
  Decoder decoder{reinterpret_cast<const uint8_t*>(text), text != nullptr ? length : 0, out};
  const bool ok = decoder.run(fault);
  *written = ok ? decoder.written : 0;
  return ok;
}

std::string base64FaultText(const Base64Fault& fault) {
  switch (fault.kind) {
    case Base64Fault::kBadChar: {
      char text[40];
      snprintf(text, sizeof text, "carattere 0x%02X non ammesso", fault.byte);
      return text;
    }
    case Base64Fault::kMisplacedPad:
      return "padding '=' fuori posto";
    case Base64Fault::kTrailing:
      return "dati dopo la fine del base64";
    case Base64Fault::kTruncated:
      return "gruppo finale incompleto";
    case Base64Fault::kShortPad:
      return "padding '=' incompleto";
    case Base64Fault::kNonZeroBits:
      return "bit finali non nulli";
  }
  return "errore sconosciuto";
}

uint16_t base64Decode(std::string_view text, std::vector<uint8_t>* out) {
  return decodeInto(text, out);
}

uint16_t base64Decode(std::string_view text, SecureBytes* out) { return decodeInto(text, out); }

}  // namespace sigillo
