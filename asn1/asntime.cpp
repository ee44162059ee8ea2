// UTCTime and GeneralizedTime texts, their time records and conversions.
#include "asn1/asntime.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "framework/trace.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "asn";

// Records an error under the name of the public function being served.
#define FAIL_AS(function, code, ...) \
  (TRERR_AS((function), (code), __VA_ARGS__), static_cast<uint16_t>(code))

constexpr int32_t kUnset = -1;
constexpr int kMaxFractionDigits = 9;
constexpr int64_t kSecondsPerDay = 86400;
constexpr int32_t kUtcFirstYear = 1950;
constexpr int32_t kUtcLastYear = 2049;

constexpr Asn1Time kEmptyTime = {kUnset, kUnset, kUnset, kUnset, kUnset, kUnset,
                                 kUnset, kUnset, kUnset, kUnset, kUnset};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The value of `count` digits at `text`, already known to be digits.
int32_t digits(const char* text, size_t count) {
  int32_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value * 10 + (text[i] - '0');
  return value;
}

bool allDigits(const char* begin, const char* end) {
  for (const char* p = begin; p < end; ++p) {
    if (!isDigit(*p)) return false;
  }
  return true;
}

bool leapYear(int32_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int32_t daysInMonth(int32_t year, int32_t month) {
  static constexpr int32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && leapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to the given date of the proleptic Gregorian calendar.
int64_t daysFromCivil(int64_t year, int64_t month, int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// The inverse of daysFromCivil.
void civilFromDays(int64_t days, int64_t* year, int32_t* month, int32_t* day) {
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const int64_t dayOfEra = days - era * 146097;
  const int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  *day = static_cast<int32_t>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  *month = static_cast<int32_t>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  *year = yearOfEra + era * 400 + (*month <= 2 ? 1 : 0);
}

int32_t orZero(int32_t field) { return field == kUnset ? 0 : field; }

// Where the parts of a time text begin.
struct TimeMarks {
  const char* fraction;  // the "." or ",", or null
  const char* zulu;      // the "Z", or null
  const char* sign;      // the first "+", else the first "-", or null
};

TimeMarks findMarks(const char* text) {
  TimeMarks marks{strchr(text, '.'), strchr(text, 'Z'), strchr(text, '+')};
  if (marks.fraction == nullptr) marks.fraction = strchr(text, ',');
  if (marks.sign == nullptr) marks.sign = strchr(text, '-');
  return marks;
}

uint16_t badTime(const char* function, const char* what, const char* text) {
  return FAIL_AS(function, 29, "Data/ora '%s' non corretta%s", text, what);
}

// The fraction digits, between the separator and the zone (or the end).
uint16_t readFraction(const char* function, const char* text, const TimeMarks& marks,
                      const char* end, Asn1Time* record) {
  const char* first = marks.fraction + 1;
  const char* last = marks.zulu != nullptr ? marks.zulu : marks.sign != nullptr ? marks.sign : end;
  const ptrdiff_t count = last - first;
  if (count < 1 || count > kMaxFractionDigits || !allDigits(first, last)) {
    return badTime(function, ", valore millisecondi non valido", text);
  }
  record->fraction = digits(first, static_cast<size_t>(count));
  return 0;
}

// "Z" closes the text; a sign is followed by HHMM or HH.  A bad offset is
// reported with the same words as a bad fraction.
uint16_t readZone(const char* function, const char* text, const TimeMarks& marks, const char* end,
                  Asn1Time* record) {
  if (marks.zulu != nullptr) {
    if (marks.zulu + 1 != end) return badTime(function, "", text);
    record->zulu = 1;
    return 0;
  }
  if (marks.sign == nullptr) return 0;
  const char* offset = marks.sign + 1;
  const ptrdiff_t count = end - offset;
  if ((count != 4 && count != 2) || !allDigits(offset, end)) {
    return badTime(function, ", valore millisecondi non valido", text);
  }
  record->offset = *marks.sign;
  record->offsetHours = digits(offset, 2);
  if (count == 4) record->offsetMinutes = digits(offset + 2, 2);
  return 0;
}

// Date and time digits: the year, then month, day and hour, then minutes and
// seconds when present.
uint16_t readDateTime(const char* function, const char* text, const char* end, int yearDigits,
                      Asn1Time* record) {
  const ptrdiff_t count = end - text;
  const ptrdiff_t full = yearDigits + 10;
  const ptrdiff_t shortest = yearDigits == 4 ? full - 4 : full - 2;
  if (count < shortest || count > full || count % 2 != 0 || !allDigits(text, end)) {
    return badTime(function, "", text);
  }
  int32_t fields[6] = {kUnset, kUnset, kUnset, kUnset, kUnset, kUnset};
  fields[0] = digits(text, static_cast<size_t>(yearDigits));
  for (ptrdiff_t at = yearDigits, i = 1; at < count; at += 2, ++i) fields[i] = digits(text + at, 2);
  if (yearDigits == 2) fields[0] += fields[0] < kUtcFirstYear % 100 ? 2000 : 1900;
  record->year = fields[0];
  record->month = fields[1];
  record->day = fields[2];
  record->hour = fields[3];
  record->minute = fields[4];
  record->second = fields[5];
  return 0;
}

uint16_t parseTime(const char* function, const char* source, int yearDigits, Asn1Time* record) {
  char text[kAsn1TimeMaxText + 1] = {};
  strncpy(text, source, kAsn1TimeMaxText);
  const char* end = text + strlen(text);
  const TimeMarks marks = findMarks(text);
  if (marks.fraction != nullptr && ((marks.zulu != nullptr && marks.fraction > marks.zulu) ||
                                    (marks.sign != nullptr && marks.fraction > marks.sign))) {
    return badTime(function, ", posizione ms non corretta", text);
  }
  if (marks.zulu != nullptr && marks.sign != nullptr) {
    return badTime(function, ", uso di 'Z' e +/-HHMM incompatibili [ANS.1 - p200]", text);
  }
  if (marks.fraction != nullptr) {
    if (uint16_t rc = readFraction(function, text, marks, end, record)) return rc;
  }
  if (uint16_t rc = readZone(function, text, marks, end, record)) return rc;
  const char* dateEnd = marks.fraction != nullptr ? marks.fraction
                        : marks.zulu != nullptr   ? marks.zulu
                        : marks.sign != nullptr   ? marks.sign
                                                  : end;
  return readDateTime(function, text, dateEnd, yearDigits, record);
}

uint16_t parseInto(const char* function, const char* text, int yearDigits, Asn1Time* record) {
  if (record == nullptr) return FAIL_AS(function, 304, "Oggetto nullo (%s)", "record");
  *record = kEmptyTime;
  if (text == nullptr) return FAIL_AS(function, 304, "Oggetto nullo (%s)", "text");
  Asn1Time parsed = kEmptyTime;
  if (uint16_t rc = parseTime(function, text, yearDigits, &parsed)) return rc;
  *record = parsed;
  return 0;
}

uint16_t badField(const char* function, const char* message) {
  return FAIL_AS(function, 29, "%s", message);
}

bool inRange(int32_t value, int32_t low, int32_t high) { return value >= low && value <= high; }
bool unsetOrInRange(int32_t value, int32_t low, int32_t high) {
  return value == kUnset || inRange(value, low, high);
}

bool zoneValid(const Asn1Time& t) {
  if (t.zulu != kUnset && t.zulu != 1) return false;
  if (t.offset == kUnset) return t.offsetHours == kUnset && t.offsetMinutes == kUnset;
  if (t.zulu != kUnset || (t.offset != '+' && t.offset != '-')) return false;
  return inRange(t.offsetHours, 0, 23) && unsetOrInRange(t.offsetMinutes, 0, 59);
}

// The "Z" or "+HHMM" of a record, or the empty text.
void zoneText(const Asn1Time& t, char* zone, size_t size) {
  zone[0] = '\0';
  if (t.zulu == 1) snprintf(zone, size, "Z");
  if (t.offset == kUnset) return;
  const char sign[2] = {static_cast<char>(t.offset), '\0'};
  snprintf(zone, size, "%s%02d%02d", sign, t.offsetHours, orZero(t.offsetMinutes));
}

uint16_t storeText(const char* function, const char* formatted, char* text, size_t size) {
  const size_t length = strlen(formatted);
  if (text == nullptr || length >= size) {
    return FAIL_AS(function, 5, "Buffer insufficiente per la data (%zu < %zu byte)",
                   text == nullptr ? 0 : size, length + 1);
  }
  memcpy(text, formatted, length + 1);
  return 0;
}

uint16_t nodeText(const char* function, const aobj* node, char* text, uint8_t* tag) {
  if (node == nullptr) return FAIL_AS(function, 304, "Oggetto ASN.1 nullo");
  if (node->kind != CLASDATE || (node->tag != kTagUtcTime && node->tag != kTagGeneralizedTime)) {
    return FAIL_AS(function, 29, "TIPO_ERRATO PER questa funzione");
  }
  const uint32_t length = node->length < kDateMaxText ? node->length : kDateMaxText;
  memcpy(text, node->u.date.text, length);
  text[length] = '\0';
  *tag = node->tag;
  return 0;
}

int64_t utcFieldsEpoch(const Asn1Time& t) {
  return daysFromCivil(t.year, t.month, t.day) * kSecondsPerDay + t.hour * 3600 +
         orZero(t.minute) * 60 + orZero(t.second);
}

// Seconds since 1970 of a record's fields read as local time: the fields
// taken as UTC, less the zone's distance from UTC at that instant (asked
// twice, so that a change of daylight saving time in between is seen).
uint16_t localEpoch(const char* function, const Asn1Time& t, int64_t* seconds) {
  const int64_t fields = utcFieldsEpoch(t);
  int64_t guess = fields;
  for (int round = 0; round < 2; ++round) {
    const time_t at = static_cast<time_t>(guess);
    struct tm local = {};
    if (localtime_r(&at, &local) == nullptr) {
      return FAIL_AS(function, 29, "Data/ora locale non convertibile");
    }
    guess = fields - local.tm_gmtoff;
  }
  *seconds = guess;
  return 0;
}

}  // namespace

uint16_t parseAsn1Time(const char* text, Asn1Time* record) {
  return parseInto(__func__, text, 4, record);
}

uint16_t parseUTCTime(const char* text, Asn1Time* record) {
  if (record != nullptr) *record = kEmptyTime;
  if (text != nullptr) {
    char copy[kAsn1TimeMaxText + 1] = {};
    strncpy(copy, text, kAsn1TimeMaxText);
    const TimeMarks marks = findMarks(copy);
    if (marks.fraction != nullptr) {
      return TRFAIL(29, "Millisecondi non ammessi nel formato UTCTime ASN.1");
    }
    if (marks.zulu == nullptr && marks.sign == nullptr) {
      return TRFAIL(29, "Zulo o delay rispetto a UTC non indicati");
    }
  }
  return parseInto(__func__, text, 2, record);
}

uint16_t chkAsn1Time(const Asn1Time* record) {
  if (record == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "record");
  const Asn1Time& t = *record;
  if (!inRange(t.year, 0, 9999)) return badField(__func__, "Anno non valido");
  if (!inRange(t.month, 1, 12)) return badField(__func__, "Mese non valido");
  if (!inRange(t.day, 1, daysInMonth(t.year, t.month)))
    return badField(__func__, "Giorno non valido");
  if (!inRange(t.hour, 0, 23)) return badField(__func__, "Ora non valida");
  if (!unsetOrInRange(t.minute, 0, 59)) return badField(__func__, "Minuti non validi");
  if (!unsetOrInRange(t.second, 0, 59) || (t.minute == kUnset && t.second != kUnset)) {
    return badField(__func__, "Secondi non validi");
  }
  if (!unsetOrInRange(t.fraction, 0, 999)) return badField(__func__, "Millisecondi non corretti");
  if (!zoneValid(t)) return badField(__func__, "Scostamento da UTC non valido");
  return 0;
}

uint16_t InValidDate(const char* text) {
  if (text == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "text");
  Asn1Time record;
  uint16_t rc = 0;
  switch (date_tag(text, static_cast<uint32_t>(strnlen(text, kAsn1TimeMaxText + 1)))) {
    case kTagUtcTime:
      rc = parseUTCTime(text, &record);
      break;
    case kTagGeneralizedTime:
      rc = parseAsn1Time(text, &record);
      break;
    default:
      return TRFAIL(29, "Data/ora '%.29s' non corretta", text);
  }
  if (rc == 0) rc = chkAsn1Time(&record);
  if (rc != 0) TRLASTERR();
  return rc;
}

uint16_t asn1Time2rec(const aobj* node, Asn1Time* record) {
  char text[kDateMaxText + 1];
  uint8_t tag = 0;
  if (record != nullptr) *record = kEmptyTime;
  if (uint16_t rc = nodeText(__func__, node, text, &tag)) return rc;
  const uint16_t rc = tag == kTagUtcTime ? parseUTCTime(text, record) : parseAsn1Time(text, record);
  if (rc != 0) TRLASTERR();
  return rc;
}

uint16_t asn1TimeRec2epoch(const Asn1Time* record, int64_t* seconds) {
  if (uint16_t rc = chkAsn1Time(record)) return (TRLASTERR(), rc);
  if (seconds == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "seconds");
  const Asn1Time& t = *record;
  if (t.zulu == kUnset && t.offset == kUnset) return localEpoch(__func__, t, seconds);
  int64_t value = utcFieldsEpoch(t);
  if (t.offset != kUnset) {
    const int64_t shift = t.offsetHours * 3600 + orZero(t.offsetMinutes) * 60;
    value += t.offset == '+' ? -shift : shift;
  }
  *seconds = value;
  return 0;
}

uint16_t asn1Time2epoch(const aobj* node, int64_t* seconds) {
  Asn1Time record;
  uint16_t rc = asn1Time2rec(node, &record);
  if (rc == 0) rc = asn1TimeRec2epoch(&record, seconds);
  if (rc != 0) TRLASTERR();
  return rc;
}

uint16_t asn1TimeRec2Genstr(const Asn1Time* record, char* text, size_t size) {
  if (uint16_t rc = chkAsn1Time(record)) return (TRLASTERR(), rc);
  const Asn1Time& t = *record;
  char zone[8];
  zoneText(t, zone, sizeof zone);
  char formatted[kAsn1TimeTextSize];
  if (t.fraction != kUnset) {
    char fraction[8];
    snprintf(fraction, sizeof fraction, ".%d", t.fraction);
    snprintf(formatted, sizeof formatted, "%04d%02d%02d%02d%02d%02d%s%s", t.year, t.month, t.day,
             t.hour, orZero(t.minute), orZero(t.second), fraction, zone);
  } else if (zone[0] != '\0') {
    snprintf(formatted, sizeof formatted, "%04d%02d%02d%02d%02d%02d%s", t.year, t.month, t.day,
             t.hour, orZero(t.minute), orZero(t.second), zone);
  } else {
    snprintf(formatted, sizeof formatted, "%04d%02d%02d%02d%02d%02d", t.year, t.month, t.day,
             t.hour, orZero(t.minute), orZero(t.second));
  }
  return storeText(__func__, formatted, text, size);
}

uint16_t asn1TimeRec2UTCstr(const Asn1Time* record, char* text, size_t size) {
  if (uint16_t rc = chkAsn1Time(record)) return (TRLASTERR(), rc);
  const Asn1Time& t = *record;
  if (!inRange(t.year, kUtcFirstYear, kUtcLastYear)) {
    return TRFAIL(29, "Anno %d fuori dall'intervallo UTCTime (%d-%d)", t.year, kUtcFirstYear,
                  kUtcLastYear);
  }
  if (t.zulu == kUnset && t.offset == kUnset) {
    return TRFAIL(29, "Zulo o delay rispetto a UTC non indicati");
  }
  char zone[8];
  zoneText(t, zone, sizeof zone);
  char formatted[kAsn1TimeTextSize];
  snprintf(formatted, sizeof formatted, "%02d%02d%02d%02d%02d%02d%s", t.year % 100, t.month, t.day,
           t.hour, orZero(t.minute), orZero(t.second), zone);
  return storeText(__func__, formatted, text, size);
}

uint16_t asn1Time2Genstr(const aobj* node, char* text, size_t size) {
  Asn1Time record;
  uint16_t rc = asn1Time2rec(node, &record);
  if (rc == 0) rc = asn1TimeRec2Genstr(&record, text, size);
  if (rc != 0) TRLASTERR();
  return rc;
}

uint16_t asn1Time2UTCstr(const aobj* node, char* text, size_t size) {
  Asn1Time record;
  uint16_t rc = asn1Time2rec(node, &record);
  if (rc == 0) rc = asn1TimeRec2UTCstr(&record, text, size);
  if (rc != 0) TRLASTERR();
  return rc;
}

uint16_t epoch2asn1Time(int64_t seconds, Asn1Time* record) {
  if (record == nullptr) return TRFAIL(304, "Oggetto nullo (%s)", "record");
  *record = kEmptyTime;
  int64_t days = seconds / kSecondsPerDay;
  int64_t rest = seconds % kSecondsPerDay;
  if (rest < 0) {
    rest += kSecondsPerDay;
    --days;
  }
  int64_t year = 0;
  int32_t month = 0;
  int32_t day = 0;
  // Beyond about 25 million years the day count itself would overflow.
  if (days > (int64_t{1} << 33) || days < -(int64_t{1} << 33))
    return badField(__func__, "Anno non valido");
  civilFromDays(days, &year, &month, &day);
  if (year < 0 || year > 9999) return badField(__func__, "Anno non valido");
  *record = Asn1Time{static_cast<int32_t>(year),
                     month,
                     day,
                     static_cast<int32_t>(rest / 3600),
                     static_cast<int32_t>(rest / 60 % 60),
                     static_cast<int32_t>(rest % 60),
                     kUnset,
                     1,
                     kUnset,
                     kUnset,
                     kUnset};
  return 0;
}

aobj* epoch2asn1TimeNode(int64_t seconds) {
  Asn1Time record;
  char text[kAsn1TimeTextSize];
  if (epoch2asn1Time(seconds, &record) != 0) {
    TRLASTERR();
    return nullptr;
  }
  const bool utc = inRange(record.year, kUtcFirstYear, kUtcLastYear);
  const uint16_t rc = utc ? asn1TimeRec2UTCstr(&record, text, sizeof text)
                          : asn1TimeRec2Genstr(&record, text, sizeof text);
  aobj* node = rc == 0 ? ASNxDATE(utc ? kTagUtcTime : kTagGeneralizedTime, text,
                                  static_cast<uint32_t>(strlen(text)))
                       : nullptr;
  if (node == nullptr) TRLASTERR();
  return node;
}

}  // namespace sigillo
