// Value holders of the argument parser: text blocks and conversions between
// the value types (WCcast).
//
// Codes of WCcast failures: a value that cannot be represented in the target
// type (bad digits, out of range, a date that does not exist) comes from what
// the user wrote, so it is code 216 like every other bad option value. A
// holder the library itself filled wrongly (unknown type, a pair of types with
// no conversion, a date-time or double that cannot be printed) is a fault of
// the caller, code 30.
#include <openssl/crypto.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "framework/wclib.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "wclib";

constexpr uint16_t kCodeAlloc = 10;
constexpr uint16_t kCodeInternal = 30;
constexpr uint16_t kCodeBadValue = 216;

// Every text value starts after this header; the magic tells WCstrdel that
// the block is one of ours.
struct TextHeader {
  uint32_t magic;
  uint32_t reserved;
  uint64_t size;  // whole block, header included
};
constexpr uint32_t kTextMagic = 0x58544357;  // "WCTX"

enum class Kind { kNone, kInteger, kDouble, kDateTime, kText };

Kind kindOf(uint16_t type) {
  const uint16_t base = type & ~kWcUnsigned;
  if (base >= kWcI8 && base <= kWcI32b) return Kind::kInteger;
  if (base == kWcDouble) return Kind::kDouble;
  if (type == kWcDateTime) return Kind::kDateTime;
  if (type == kWcText) return Kind::kText;
  return Kind::kNone;
}

bool isUnsigned(uint16_t type) { return (type & kWcUnsigned) != 0; }

struct Range {
  int64_t min;
  int64_t max;
};

Range integerRange(uint16_t type) {
  const bool u = isUnsigned(type);
  switch (type & ~kWcUnsigned) {
    case kWcI8:
      return u ? Range{0, UINT8_MAX} : Range{INT8_MIN, INT8_MAX};
    case kWcI16:
      return u ? Range{0, UINT16_MAX} : Range{INT16_MIN, INT16_MAX};
    default:
      return u ? Range{0, UINT32_MAX} : Range{INT32_MIN, INT32_MAX};
  }
}

uint64_t widthOf(uint16_t type) {
  switch (type & ~kWcUnsigned) {
    case kWcI8:
      return 1;
    case kWcI16:
      return 2;
    case kWcI32:
    case kWcI32b:
      return 4;
    case kWcDouble:
      return sizeof(double);
    default:
      return sizeof(WCdatetime);
  }
}

// Stores n, already checked against the range of `type`.
void storeInteger(WCvalue* value, uint16_t type, int64_t n) {
  value->v = {};
  switch (type & ~kWcUnsigned) {
    case kWcI8:
      value->v.i8 = static_cast<int8_t>(n);
      break;
    case kWcI16:
      value->v.i16 = static_cast<int16_t>(n);
      break;
    default:
      value->v.u32 = static_cast<uint32_t>(n);
      break;
  }
  value->type = type;
  value->length = widthOf(type);
}

void storeDouble(WCvalue* value, uint16_t type, double d) {
  value->v = {};
  value->v.d = d;
  value->type = type;
  value->length = widthOf(type);
}

// Replaces a value's text with a new holder, releasing the old text.
void replaceValue(WCvalue* value, const WCvalue& next) {
  if (value->type == kWcText) WCstrdel(value->v.str);
  *value = next;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Optional sign, then decimal digits or "0x" and hexadecimal digits; nothing
// else. Magnitudes beyond 32 bits are rejected before they can overflow.
bool parseInteger(const char* s, int64_t* out) {
  bool negative = false;
  if (*s == '+' || *s == '-') negative = *s++ == '-';
  int base = 10;
  if (s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    base = 16;
    s += 2;
  }
  if (*s == '\0') return false;
  int64_t magnitude = 0;
  for (; *s != '\0'; ++s) {
    const int digit = base == 16 ? hexDigit(*s) : (isDigit(*s) ? *s - '0' : -1);
    if (digit < 0) return false;
    magnitude = magnitude * base + digit;
    if (magnitude > static_cast<int64_t>(UINT32_MAX) + 1) return false;
  }
  *out = negative ? -magnitude : magnitude;
  return true;
}

bool parseDouble(const char* s, double* out) {
  if (*s == '\0' || *s == ' ' || (*s >= '\t' && *s <= '\r')) return false;
  char* end = nullptr;
  errno = 0;
  const double d = std::strtod(s, &end);
  if (*end != '\0' || errno == ERANGE || !std::isfinite(d)) return false;
  *out = d;
  return true;
}

bool isLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

bool validDateTime(const WCdatetime& dt) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (dt.year < 0 || dt.year > 9999 || dt.month < 1 || dt.month > 12) return false;
  const int days = kDays[dt.month - 1] + (dt.month == 2 && isLeapYear(dt.year) ? 1 : 0);
  return dt.day >= 1 && dt.day <= days && dt.hour < 24 && dt.minute < 60 && dt.second < 60;
}

// Reads `count` decimal digits at s[*pos].
bool fixedDigits(const char* s, size_t* pos, int count, int* out) {
  int n = 0;
  for (int i = 0; i < count; ++i, ++*pos) {
    if (!isDigit(s[*pos])) return false;
    n = n * 10 + (s[*pos] - '0');
  }
  *out = n;
  return true;
}

// Exactly "YYYY-MM-DD HH:MM:SS", the form date-times print in.
bool parseDateTime(const char* s, WCdatetime* out) {
  static constexpr struct {
    int digits;
    char after;
  } kFields[] = {{4, '-'}, {2, '-'}, {2, ' '}, {2, ':'}, {2, ':'}, {2, '\0'}};
  int field[6];
  size_t pos = 0;
  for (int i = 0; i < 6; ++i) {
    if (!fixedDigits(s, &pos, kFields[i].digits, &field[i]) || s[pos] != kFields[i].after) {
      return false;
    }
    ++pos;
  }
  WCdatetime dt{};
  dt.year = static_cast<int16_t>(field[0]);
  dt.month = static_cast<uint8_t>(field[1]);
  dt.day = static_cast<uint8_t>(field[2]);
  dt.hour = static_cast<uint8_t>(field[3]);
  dt.minute = static_cast<uint8_t>(field[4]);
  dt.second = static_cast<uint8_t>(field[5]);
  if (!validDateTime(dt)) return false;
  *out = dt;
  return true;
}

uint16_t toInteger(WCvalue* value, uint16_t type) {
  const Range range = integerRange(type);
  int64_t n = 0;
  switch (kindOf(value->type)) {
    case Kind::kInteger:
      n = WCinteger(value->type, value->v);
      if (n < range.min || n > range.max) return TRFAIL(kCodeBadValue, "Cast fallito");
      break;
    case Kind::kDouble: {
      const double d = std::trunc(value->v.d);
      if (!(d >= static_cast<double>(range.min) && d <= static_cast<double>(range.max))) {
        return TRFAIL(kCodeBadValue, "Conversione a long non valida");
      }
      n = static_cast<int64_t>(d);
      break;
    }
    case Kind::kText:
      if (!parseInteger(value->v.str, &n) || n < range.min || n > range.max) {
        return TRFAIL(kCodeBadValue, "Conversione a long non valida");
      }
      break;
    default:
      return TRFAIL(kCodeInternal, "Tipo non gestito");
  }
  WCvalue next{};
  storeInteger(&next, type, n);
  replaceValue(value, next);
  return 0;
}

uint16_t toDouble(WCvalue* value, uint16_t type) {
  double d = 0;
  switch (kindOf(value->type)) {
    case Kind::kInteger:
      d = static_cast<double>(WCinteger(value->type, value->v));
      break;
    case Kind::kDouble:
      d = value->v.d;
      break;
    case Kind::kText:
      if (!parseDouble(value->v.str, &d)) {
        return TRFAIL(kCodeBadValue, "Conversione a double non valida");
      }
      break;
    default:
      return TRFAIL(kCodeInternal, "Tipo non gestito");
  }
  if (isUnsigned(type) && d < 0) return TRFAIL(kCodeBadValue, "Conversione a double non valida");
  WCvalue next{};
  storeDouble(&next, type, d);
  replaceValue(value, next);
  return 0;
}

uint16_t toText(WCvalue* value) {
  char buffer[512];
  switch (kindOf(value->type)) {
    case Kind::kInteger:
      std::snprintf(buffer, sizeof buffer, "0x%X",
                    static_cast<unsigned>(static_cast<uint32_t>(WCinteger(value->type, value->v))));
      break;
    case Kind::kDouble:
      if (!std::isfinite(value->v.d)) {
        return TRFAIL(kCodeInternal, "Conversione a stringa non valida");
      }
      std::snprintf(buffer, sizeof buffer, "%f", value->v.d);
      break;
    case Kind::kDateTime: {
      const WCdatetime& dt = value->v.dt;
      if (!validDateTime(dt)) return TRFAIL(kCodeInternal, "Conversione a stringa non valida");
      std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", dt.year, dt.month,
                    dt.day, dt.hour, dt.minute, dt.second);
      break;
    }
    default:
      return TRFAIL(kCodeInternal, "Tipo non gestito");
  }
  const size_t length = std::strlen(buffer);
  WCvalue next{};
  next.type = kWcText;
  next.length = length;
  next.v.str = WCstrnew(buffer, length);
  if (next.v.str == nullptr) return (TRLASTERR(), kCodeAlloc);
  replaceValue(value, next);
  return 0;
}

uint16_t toDateTime(WCvalue* value) {
  if (kindOf(value->type) != Kind::kText) return TRFAIL(kCodeInternal, "Tipo non gestito");
  WCvalue next{};
  if (!parseDateTime(value->v.str, &next.v.dt)) {
    return TRFAIL(kCodeBadValue, "Conversione a data/ora non valida");
  }
  next.type = kWcDateTime;
  next.length = widthOf(kWcDateTime);
  replaceValue(value, next);
  return 0;
}

}  // namespace

int64_t WCinteger(uint16_t type, const WCvalueData& value) {
  const bool u = isUnsigned(type);
  switch (type & ~kWcUnsigned) {
    case kWcI8:
      return u ? static_cast<int64_t>(static_cast<uint8_t>(value.i8)) : value.i8;
    case kWcI16:
      return u ? static_cast<int64_t>(static_cast<uint16_t>(value.i16)) : value.i16;
    default:
      return u ? static_cast<int64_t>(value.u32) : value.i32;
  }
}

char* WCstrnew(const char* text, size_t length) {
  if (text == nullptr && length > 0) {
    TRERR(kCodeInternal, "Buffer nullo");
    return nullptr;
  }
  if (length > SIZE_MAX - sizeof(TextHeader) - 1) {
    TRERR(kCodeAlloc, "Impossibile allocare %llu byte", static_cast<unsigned long long>(length));
    return nullptr;
  }
  const size_t size = sizeof(TextHeader) + length + 1;
  auto* header = static_cast<TextHeader*>(TRMALLOC(size));
  if (header == nullptr) return nullptr;
  header->magic = kTextMagic;
  header->reserved = 0;
  header->size = size;
  char* copy = reinterpret_cast<char*>(header + 1);
  if (length > 0) std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

int WCstrdel(char* text) {
  if (text == nullptr) return 0;
  auto* header = reinterpret_cast<TextHeader*>(text) - 1;
  if (header->magic != kTextMagic) return 1;
  wipeAndFree(header, header->size);
  return 0;
}

void WCvaluefree(WCvalue* value) {
  if (value == nullptr) return;
  if (value->type == kWcText) WCstrdel(value->v.str);
  *value = {};
}

uint16_t WCcast(WCvalue* value, uint16_t toType) {
  if (value == nullptr || (value->type == kWcText && value->v.str == nullptr)) {
    return TRFAIL(kCodeInternal, "Buffer nullo");
  }
  const Kind to = kindOf(toType);
  if (kindOf(value->type) == Kind::kNone || to == Kind::kNone) {
    return TRFAIL(kCodeInternal, "Tipo non gestito");
  }
  if (value->type == toType) return 0;
  switch (to) {
    case Kind::kInteger:
      return toInteger(value, toType);
    case Kind::kDouble:
      return toDouble(value, toType);
    case Kind::kText:
      return toText(value);
    default:
      return toDateTime(value);
  }
}

}  // namespace sigillo
