// Hexadecimal text: upper-case digits out, digits of either case in.
#include <array>

#include "asn1/alphabet.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "hexcodec";

constexpr char kDigits[] = "0123456789ABCDEF";
constexpr uint8_t kNotDigit = 255;

constexpr std::array<uint8_t, 256> makeDigitTable() {
  std::array<uint8_t, 256> table{};
  for (auto& entry : table) entry = kNotDigit;
  for (uint8_t i = 0; i < 10; ++i) table['0' + i] = i;
  for (uint8_t i = 0; i < 6; ++i) {
    table['A' + i] = static_cast<uint8_t>(10 + i);
    table['a' + i] = static_cast<uint8_t>(10 + i);
  }
  return table;
}

constexpr std::array<uint8_t, 256> kDigitValue = makeDigitTable();

template <class Container>
uint16_t decodeInto(std::string_view text, Container* out) {
  if (out == nullptr) return TRFAIL(3, "out (2)");
  if (text.size() % 2 != 0) {
    return TRFAIL(5, "Numero dispari di cifre esadecimali (%zu)", text.size());
  }
  Container decoded(text.size() / 2);
  for (size_t i = 0; i < text.size(); i += 2) {
    const uint8_t high = kDigitValue[static_cast<uint8_t>(text[i])];
    const uint8_t low = kDigitValue[static_cast<uint8_t>(text[i + 1])];
    if ((high | low) == kNotDigit) {
      const size_t bad = high == kNotDigit ? i : i + 1;
      return TRFAIL(22, "Cifra esadecimale non valida 0x%02X alla posizione %zu",
                    static_cast<uint8_t>(text[bad]), bad + 1);
    }
    decoded[i / 2] = static_cast<uint8_t>(high << 4 | low);
  }
  out->swap(decoded);
  return 0;
}

}  // namespace

std::string hexEncode(const uint8_t* data, size_t length) {
  if (data == nullptr) return {};
  std::string text(2 * length, '\0');
  for (size_t i = 0; i < length; ++i) {
    text[2 * i] = kDigits[data[i] >> 4];
    text[2 * i + 1] = kDigits[data[i] & 15];
  }
  return text;
}

uint16_t hexDecode(std::string_view text, std::vector<uint8_t>* out) {
  return decodeInto(text, out);
}

uint16_t hexDecode(std::string_view text, SecureBytes* out) { return decodeInto(text, out); }

}  // namespace sigillo
