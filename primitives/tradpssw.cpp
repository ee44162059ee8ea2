// Key text conversion.
#include "primitives/tradpssw.h"

#include <cstring>

namespace sigillo {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isHexForm(const char* text, size_t length) {
  return length >= 3 && (text[0] == 'x' || text[0] == 'X') && text[1] == '\'' &&
         text[length - 1] == '\'';
}

bool decodeHex(const char* digits, size_t count, SecureBytes* key) {
  if (count % 2 != 0) return false;
  key->resize(count / 2);
  for (size_t i = 0; i < count; i += 2) {
    int hi = hexValue(digits[i]);
    int lo = hexValue(digits[i + 1]);
    if (hi < 0 || lo < 0) return false;
    (*key)[i / 2] = static_cast<uint8_t>(hi << 4 | lo);
  }
  return true;
}

}  // namespace

bool tradpssw(const char* text, size_t maxChars, SecureBytes* key) {
  key->clear();
  if (text == nullptr) return false;
  size_t length = strnlen(text, maxChars);
  if (isHexForm(text, length)) return decodeHex(text + 2, length - 3, key);
  key->assign(text, text + length);
  return true;
}

}  // namespace sigillo
