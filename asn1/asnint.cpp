// INTEGER content octets to and from machine integers and text.
#include "asn1/asnint.h"

#include <openssl/bn.h>
#include <openssl/crypto.h>

#include <cstring>
#include <memory>

#include "framework/ossl_ptr.h"
#include "framework/secure.h"
#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "asn";
constexpr char kTooWide[] = "Impossibile convertire valore da STR a INT, valore troppo grande";

bool negative(const uint8_t* content, uint32_t length) {
  return length > 0 && (content[0] & 0x80) != 0;
}

// Leading octets that only repeat the sign of the next one.
uint32_t redundantOctets(const uint8_t* content, uint32_t length) {
  uint32_t skip = 0;
  while (skip + 1 < length && ((content[skip] == 0x00 && content[skip + 1] < 0x80) ||
                               (content[skip] == 0xFF && content[skip + 1] >= 0x80))) {
    ++skip;
  }
  return skip;
}

// Two's complement negation in place: invert, then add one.
void negate(SecureBytes& bytes) {
  unsigned carry = 1;
  for (size_t i = bytes.size(); i-- > 0;) {
    const unsigned sum = static_cast<uint8_t>(~bytes[i]) + carry;
    bytes[i] = static_cast<uint8_t>(sum);
    carry = sum >> 8;
  }
}

void stripLeadingZeros(SecureBytes& bytes) {
  size_t zeros = 0;
  while (zeros < bytes.size() && bytes[zeros] == 0) ++zeros;
  bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(zeros));
}

// The minimal content octets of the value sign * magnitude.
SecureBytes contentOf(SecureBytes magnitude, bool isNegative) {
  stripLeadingZeros(magnitude);
  if (magnitude.empty()) return SecureBytes{0};
  if (!isNegative) {
    if ((magnitude[0] & 0x80) != 0) magnitude.insert(magnitude.begin(), 0x00);
    return magnitude;
  }
  negate(magnitude);
  if ((magnitude[0] & 0x80) == 0) magnitude.insert(magnitude.begin(), 0xFF);
  const uint32_t skip = redundantOctets(magnitude.data(), static_cast<uint32_t>(magnitude.size()));
  magnitude.erase(magnitude.begin(), magnitude.begin() + skip);
  return magnitude;
}

// The magnitude of a two's complement value, without leading zero octets.
SecureBytes magnitudeOf(const uint8_t* content, uint32_t length) {
  SecureBytes bytes(content, content + length);
  if (negative(content, length)) negate(bytes);
  stripLeadingZeros(bytes);
  return bytes;
}

aobj* integerNode(uint8_t tag, const SecureBytes& content) {
  aobj* node = ASNxVAL(CLASVAL, tag, content.data(), static_cast<uint32_t>(content.size()));
  if (node == nullptr) TRLASTERR();
  return node;
}

uint16_t integerContent(const char* function, const aobj* node) {
  if (node == nullptr) {
    TRERR_AS(function, 304, "Oggetto ASN.1 nullo");
    return 304;
  }
  if (node->kind != CLASVAL) {
    TRERR_AS(function, 29, "TIPO_ERRATO PER questa funzione");
    return 29;
  }
  return 0;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Magnitude octets of hexadecimal digits (an odd count has a leading nibble).
bool hexMagnitude(const char* digits, SecureBytes* magnitude) {
  const size_t count = strlen(digits);
  if (count == 0) return false;
  magnitude->assign((count + 1) / 2, 0);
  for (size_t i = 0; i < count; ++i) {
    const int nibble = hexValue(digits[count - 1 - i]);
    if (nibble < 0) return false;
    (*magnitude)[magnitude->size() - 1 - i / 2] |= static_cast<uint8_t>(nibble << (i % 2 * 4));
  }
  return true;
}

bool decMagnitude(const char* digits, SecureBytes* magnitude) {
  if (*digits == '\0' || strspn(digits, "0123456789") != strlen(digits)) return false;
  BIGNUM* raw = nullptr;
  if (BN_dec2bn(&raw, digits) == 0) return false;
  BnPtr bn(raw);
  magnitude->assign(static_cast<size_t>(BN_num_bytes(bn.get())), 0);
  BN_bn2bin(bn.get(), magnitude->data());
  return true;
}

}  // namespace

uint16_t asnStr2Int(const uint8_t* content, uint32_t length, int64_t* value) {
  if (value == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "value");
  if (content == nullptr || length == 0) return TRFAIL(29, "La lunghezza del nodo INT e' zero");
  const uint32_t skip = redundantOctets(content, length);
  if (length - skip > sizeof(int64_t)) return TRFAIL(29, "%s", kTooWide);
  uint64_t bits = negative(content, length) ? UINT64_MAX : 0;
  for (uint32_t i = skip; i < length; ++i) bits = bits << 8 | content[i];
  *value = static_cast<int64_t>(bits);
  return 0;
}

uint16_t ASNconv2int(aobj* node) {
  if (node == nullptr) return TRFAIL(304, "Oggetto ASN.1 nullo");
  if (node->kind == CLASVAL) return 0;
  if (node->kind != CLASSTR || node->length == 0 || node->value == nullptr) {
    return TRFAIL(29, "Impossibile convertire in INTEGER ASN.1");
  }
  aobj* integer = ASNxVAL(CLASVAL, node->tag, node->value, node->length);
  if (integer == nullptr) {
    TRERR(29, "Impossibile convertire in INTEGER ASN.1");
    return 29;
  }
  // The new content moves into the node; the old one leaves with `integer`.
  std::swap(node->kind, integer->kind);
  std::swap(node->value, integer->value);
  std::swap(node->u, integer->u);
  ASNdel(integer);
  return 0;
}

uint16_t ASNint2i64(const aobj* node, int64_t* value) {
  if (uint16_t rc = integerContent(__func__, node)) return rc;
  if (uint16_t rc = asnStr2Int(node->value, node->length, value)) return (TRLASTERR(), rc);
  return 0;
}

uint16_t ASNint2i32(const aobj* node, int32_t* value) {
  int64_t wide = 0;
  if (uint16_t rc = ASNint2i64(node, &wide)) return (TRLASTERR(), rc);
  if (value == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "value");
  if (wide < INT32_MIN || wide > INT32_MAX) return TRFAIL(29, "%s", kTooWide);
  *value = static_cast<int32_t>(wide);
  return 0;
}

uint16_t ASNint2u32(const aobj* node, uint32_t* value) {
  int64_t wide = 0;
  if (uint16_t rc = ASNint2i64(node, &wide)) return (TRLASTERR(), rc);
  if (value == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "value");
  if (wide < 0)
    return TRFAIL(29, "Impossibile convertire valore negativo %lld in INT senza segno",
                  static_cast<long long>(wide));
  if (wide > UINT32_MAX) return TRFAIL(29, "%s", kTooWide);
  *value = static_cast<uint32_t>(wide);
  return 0;
}

aobj* ASNxINT64(uint8_t tag, int64_t value) {
  const uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : value;
  SecureBytes octets(sizeof magnitude);
  for (size_t i = 0; i < octets.size(); ++i) {
    octets[i] = static_cast<uint8_t>(magnitude >> (8 * (octets.size() - 1 - i)));
  }
  return integerNode(tag, contentOf(octets, value < 0));
}

aobj* ASNxUINT32(uint8_t tag, uint32_t value) { return ASNxINT64(tag, value); }

aobj* ASNhex2INT(uint8_t tag, const char* text) {
  if (text == nullptr) {
    TRERR(304, "Oggetto nullo (%s)", "text");
    return nullptr;
  }
  const bool isNegative = text[0] == '-';
  const char* digits = text + (isNegative ? 1 : 0);
  if (digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) digits += 2;
  SecureBytes magnitude;
  if (!hexMagnitude(digits, &magnitude)) {
    TRERR(22, "Valore esadecimale '%s' non valido", text);
    return nullptr;
  }
  return integerNode(tag, contentOf(std::move(magnitude), isNegative));
}

aobj* ASNdec2INT(uint8_t tag, const char* text) {
  if (text == nullptr) {
    TRERR(304, "Oggetto nullo (%s)", "text");
    return nullptr;
  }
  const bool isNegative = text[0] == '-';
  SecureBytes magnitude;
  if (!decMagnitude(text + (isNegative ? 1 : 0), &magnitude)) {
    TRERR(22, "Valore decimale '%s' non valido", text);
    return nullptr;
  }
  return integerNode(tag, contentOf(std::move(magnitude), isNegative));
}

uint16_t ASNint2hex(const aobj* node, std::string* text) {
  if (uint16_t rc = integerContent(__func__, node)) return rc;
  if (text == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "text");
  static constexpr char kDigits[] = "0123456789ABCDEF";
  const SecureBytes magnitude = magnitudeOf(node->value, node->length);
  text->assign(negative(node->value, node->length) ? "-" : "");
  for (uint8_t octet : magnitude) {
    *text += kDigits[octet >> 4];
    *text += kDigits[octet & 15];
  }
  if (magnitude.empty()) *text = "00";
  return 0;
}

uint16_t ASNint2dec(const aobj* node, std::string* text) {
  if (uint16_t rc = integerContent(__func__, node)) return rc;
  if (text == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "text");
  const SecureBytes magnitude = magnitudeOf(node->value, node->length);
  BnPtr bn(BN_bin2bn(magnitude.data(), static_cast<int>(magnitude.size()), nullptr));
  OpenSslTextPtr digits(bn != nullptr ? BN_bn2dec(bn.get()) : nullptr);
  if (digits == nullptr) return TRFAIL(10, "Impossibile allocare %u byte", node->length);
  text->assign(negative(node->value, node->length) ? "-" : "");
  *text += digits.get();
  return 0;
}

}  // namespace sigillo
