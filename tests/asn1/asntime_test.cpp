// Times: the GeneralizedTime and UTCTime readers against every rule and
// message, field checks at both bounds, conversions to seconds and to text.
#include "asn1/asntime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::errorStack;

constexpr int32_t U = -1;  // a field the text does not give

struct Fields {
  int32_t year, month, day, hour, minute, second, fraction, zulu, offset, offsetHours,
      offsetMinutes;
};

Fields fieldsOf(const Asn1Time& t) {
  return Fields{t.year,     t.month, t.day,    t.hour,        t.minute,       t.second,
                t.fraction, t.zulu,  t.offset, t.offsetHours, t.offsetMinutes};
}

bool operator==(const Fields& a, const Fields& b) {
  return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
         a.minute == b.minute && a.second == b.second && a.fraction == b.fraction &&
         a.zulu == b.zulu && a.offset == b.offset && a.offsetHours == b.offsetHours &&
         a.offsetMinutes == b.offsetMinutes;
}

std::ostream& operator<<(std::ostream& out, const Fields& f) {
  return out << f.year << "-" << f.month << "-" << f.day << " " << f.hour << ":" << f.minute << ":"
             << f.second << " ." << f.fraction << " z" << f.zulu << " o" << f.offset << " "
             << f.offsetHours << ":" << f.offsetMinutes;
}

constexpr Fields kNothing = {U, U, U, U, U, U, U, U, U, U, U};

// The only entry of the error stack after one failed call.
void expectSingleError(const std::string& function, uint32_t code, const std::string& message) {
  auto stack = errorStack();
  ASSERT_EQ(stack.size(), 1u) << message;
  EXPECT_EQ(stack[0].file, "asn");
  EXPECT_EQ(stack[0].function, function);
  EXPECT_EQ(stack[0].code, code);
  EXPECT_EQ(stack[0].message, message);
}

TEST(AsnTime, GeneralizedTimeForms) {
  struct Case {
    const char* text;
    Fields fields;
  };
  const Case cases[] = {
      {"20250102030405Z", {2025, 1, 2, 3, 4, 5, U, 1, U, U, U}},
      {"20250102030405.123Z", {2025, 1, 2, 3, 4, 5, 123, 1, U, U, U}},
      {"20250102030405,5Z", {2025, 1, 2, 3, 4, 5, 5, 1, U, U, U}},
      {"20250102030405.05", {2025, 1, 2, 3, 4, 5, 5, U, U, U, U}},
      {"20250102030405+0130", {2025, 1, 2, 3, 4, 5, U, U, '+', 1, 30}},
      {"20250102030405-0500", {2025, 1, 2, 3, 4, 5, U, U, '-', 5, 0}},
      {"20250102030405-05", {2025, 1, 2, 3, 4, 5, U, U, '-', 5, U}},
      {"20250102030405.999+0100", {2025, 1, 2, 3, 4, 5, 999, U, '+', 1, 0}},
      {"202501020304Z", {2025, 1, 2, 3, 4, U, U, 1, U, U, U}},
      {"2025010203Z", {2025, 1, 2, 3, U, U, U, 1, U, U, U}},
      {"2025010203.5", {2025, 1, 2, 3, U, U, 5, U, U, U, U}},
      {"20250102030405", {2025, 1, 2, 3, 4, 5, U, U, U, U, U}},
      {"00000101000000Z", {0, 1, 1, 0, 0, 0, U, 1, U, U, U}},
      // Read as given: the field checks are a separate step.
      {"99991399996099Z", {9999, 13, 99, 99, 60, 99, U, 1, U, U, U}},
      // Only the first 29 characters are read: the last "0" is not seen.
      {"20250102030405.123456789+01000", {2025, 1, 2, 3, 4, 5, 123456789, U, '+', 1, 0}},
  };
  for (const Case& c : cases) {
    TRclrerr();
    Asn1Time record;
    EXPECT_EQ(parseAsn1Time(c.text, &record), 0) << c.text;
    EXPECT_EQ(fieldsOf(record), c.fields) << c.text;
    EXPECT_EQ(TRgeterrstklen(), 0u) << c.text;
  }
}

TEST(AsnTime, GeneralizedTimeRefusals) {
  struct Case {
    const char* text;
    std::string message;
  };
  const Case cases[] = {
      {"20250102030405Z.5", "Data/ora '20250102030405Z.5' non corretta, posizione ms non corretta"},
      {"20250102030405+0100.5",
       "Data/ora '20250102030405+0100.5' non corretta, posizione ms non corretta"},
      {"20250102030405-01,5",
       "Data/ora '20250102030405-01,5' non corretta, posizione ms non corretta"},
      {"20250102030405Z+0100",
       "Data/ora '20250102030405Z+0100' non corretta, uso di 'Z' e "
       "+/-HHMM incompatibili [ANS.1 - p200]"},
      {"20250102030405-0100Z",
       "Data/ora '20250102030405-0100Z' non corretta, uso di 'Z' e "
       "+/-HHMM incompatibili [ANS.1 - p200]"},
      {"20250102030405.Z",
       "Data/ora '20250102030405.Z' non corretta, valore millisecondi non "
       "valido"},
      {"20250102030405.5aZ",
       "Data/ora '20250102030405.5aZ' non corretta, valore millisecondi non valido"},
      {"20250102030405.1234567890Z",
       "Data/ora '20250102030405.1234567890Z' non corretta, valore millisecondi non valido"},
      // A bad zone offset is reported with the words of a bad fraction.
      {"20250102030405+1",
       "Data/ora '20250102030405+1' non corretta, valore millisecondi non valido"},
      {"20250102030405+013",
       "Data/ora '20250102030405+013' non corretta, valore millisecondi non valido"},
      {"20250102030405+01x0",
       "Data/ora '20250102030405+01x0' non corretta, valore millisecondi non valido"},
      {"20250102030405-010000",
       "Data/ora '20250102030405-010000' non corretta, valore millisecondi non valido"},
      {"202501020Z", "Data/ora '202501020Z' non corretta"},
      {"20250102Z", "Data/ora '20250102Z' non corretta"},
      {"2025010203040Z", "Data/ora '2025010203040Z' non corretta"},
      {"202501020304056Z", "Data/ora '202501020304056Z' non corretta"},
      {"2025o102030405Z", "Data/ora '2025o102030405Z' non corretta"},
      {"20250102030405Zx", "Data/ora '20250102030405Zx' non corretta"},
      {"", "Data/ora '' non corretta"},
      // Cut at 29 characters: the message shows what was read.
      {"20250102030405Z.123456789012345",
       "Data/ora '20250102030405Z.1234567890123' non corretta, posizione ms non corretta"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    Asn1Time record;
    record.year = 1234;
    EXPECT_EQ(parseAsn1Time(c.text, &record), 29) << c.text;
    EXPECT_EQ(fieldsOf(record), kNothing) << c.text;
    expectSingleError("parseAsn1Time", 29, c.message);
  }
}

TEST(AsnTime, UtcTimeFormsAndRefusals) {
  struct Good {
    const char* text;
    Fields fields;
  };
  const Good good[] = {
      {"250102030405Z", {2025, 1, 2, 3, 4, 5, U, 1, U, U, U}},
      {"2501020304Z", {2025, 1, 2, 3, 4, U, U, 1, U, U, U}},
      {"250102030405+0100", {2025, 1, 2, 3, 4, 5, U, U, '+', 1, 0}},
      {"2501020304-0230", {2025, 1, 2, 3, 4, U, U, U, '-', 2, 30}},
      {"491231235959Z", {2049, 12, 31, 23, 59, 59, U, 1, U, U, U}},
      {"500101000000Z", {1950, 1, 1, 0, 0, 0, U, 1, U, U, U}},
      {"000101000000Z", {2000, 1, 1, 0, 0, 0, U, 1, U, U, U}},
      {"991231235959Z", {1999, 12, 31, 23, 59, 59, U, 1, U, U, U}},
  };
  for (const Good& c : good) {
    TRclrerr();
    Asn1Time record;
    EXPECT_EQ(parseUTCTime(c.text, &record), 0) << c.text;
    EXPECT_EQ(fieldsOf(record), c.fields) << c.text;
  }
  struct Bad {
    const char* text;
    std::string message;
  };
  const Bad bad[] = {
      {"250102030405", "Zulo o delay rispetto a UTC non indicati"},
      {"250102030405.5Z", "Millisecondi non ammessi nel formato UTCTime ASN.1"},
      {"250102030405,5", "Millisecondi non ammessi nel formato UTCTime ASN.1"},
      {"25010203Z", "Data/ora '25010203Z' non corretta"},
      {"20250102030405Z", "Data/ora '20250102030405Z' non corretta"},
      {"25010203040Z", "Data/ora '25010203040Z' non corretta"},
      {"250102030405Z+0100",
       "Data/ora '250102030405Z+0100' non corretta, uso di 'Z' e +/-HHMM "
       "incompatibili [ANS.1 - p200]"},
      {"250102030405+01000",
       "Data/ora '250102030405+01000' non corretta, valore millisecondi non valido"},
  };
  for (const Bad& c : bad) {
    TRclrerr();
    Asn1Time record;
    EXPECT_EQ(parseUTCTime(c.text, &record), 29) << c.text;
    EXPECT_EQ(fieldsOf(record), kNothing) << c.text;
    expectSingleError("parseUTCTime", 29, c.message);
  }
}

TEST(AsnTime, AbsentArguments) {
  Asn1Time record;
  TRclrerr();
  EXPECT_EQ(parseAsn1Time(nullptr, &record), 304);
  EXPECT_EQ(fieldsOf(record), kNothing);
  expectSingleError("parseAsn1Time", 304, "Oggetto nullo (text)");
  TRclrerr();
  EXPECT_EQ(parseUTCTime("250102030405Z", nullptr), 304);
  expectSingleError("parseUTCTime", 304, "Oggetto nullo (record)");
}

TEST(AsnTime, FieldChecksAtBothBounds) {
  // 2024-02-29 23:59:59.999Z is valid; each case changes one field.
  const Asn1Time valid = {2024, 2, 29, 23, 59, 59, 999, 1, U, U, U};
  struct Case {
    const char* what;
    void (*change)(Asn1Time&);
    std::string message;  // empty: accepted
  };
  const Case cases[] = {
      {"as is", [](Asn1Time&) {}, ""},
      {"year -1", [](Asn1Time& t) { t.year = -1; }, "Anno non valido"},
      {"year 0", [](Asn1Time& t) { t.year = 0, t.day = 28; }, ""},
      {"year 9999", [](Asn1Time& t) { t.year = 9999, t.day = 28; }, ""},
      {"year 10000", [](Asn1Time& t) { t.year = 10000; }, "Anno non valido"},
      {"month 0", [](Asn1Time& t) { t.month = 0; }, "Mese non valido"},
      {"month 1", [](Asn1Time& t) { t.month = 1; }, ""},
      {"month 12", [](Asn1Time& t) { t.month = 12; }, ""},
      {"month 13", [](Asn1Time& t) { t.month = 13; }, "Mese non valido"},
      {"day 0", [](Asn1Time& t) { t.day = 0; }, "Giorno non valido"},
      {"2023-02-29", [](Asn1Time& t) { t.year = 2023; }, "Giorno non valido"},
      {"1900-02-29", [](Asn1Time& t) { t.year = 1900; }, "Giorno non valido"},
      {"2000-02-29", [](Asn1Time& t) { t.year = 2000; }, ""},
      {"2024-02-30", [](Asn1Time& t) { t.day = 30; }, "Giorno non valido"},
      {"04-30", [](Asn1Time& t) { t.month = 4, t.day = 30; }, ""},
      {"04-31", [](Asn1Time& t) { t.month = 4, t.day = 31; }, "Giorno non valido"},
      {"12-31", [](Asn1Time& t) { t.month = 12, t.day = 31; }, ""},
      {"hour -1", [](Asn1Time& t) { t.hour = -1; }, "Ora non valida"},
      {"hour 0", [](Asn1Time& t) { t.hour = 0; }, ""},
      {"hour 24", [](Asn1Time& t) { t.hour = 24; }, "Ora non valida"},
      {"minute -2", [](Asn1Time& t) { t.minute = -2; }, "Minuti non validi"},
      {"minute 0", [](Asn1Time& t) { t.minute = 0; }, ""},
      {"minute 60", [](Asn1Time& t) { t.minute = 60; }, "Minuti non validi"},
      {"no minutes, no seconds", [](Asn1Time& t) { t.minute = U, t.second = U; }, ""},
      {"seconds without minutes", [](Asn1Time& t) { t.minute = U; }, "Secondi non validi"},
      {"second -2", [](Asn1Time& t) { t.second = -2; }, "Secondi non validi"},
      {"second 0", [](Asn1Time& t) { t.second = 0; }, ""},
      {"second 60", [](Asn1Time& t) { t.second = 60; }, "Secondi non validi"},
      {"no seconds", [](Asn1Time& t) { t.second = U; }, ""},
      {"fraction -2", [](Asn1Time& t) { t.fraction = -2; }, "Millisecondi non corretti"},
      {"fraction 0", [](Asn1Time& t) { t.fraction = 0; }, ""},
      {"fraction 1000", [](Asn1Time& t) { t.fraction = 1000; }, "Millisecondi non corretti"},
      {"no fraction", [](Asn1Time& t) { t.fraction = U; }, ""},
      {"local time", [](Asn1Time& t) { t.zulu = U; }, ""},
      {"zulu 0", [](Asn1Time& t) { t.zulu = 0; }, "Scostamento da UTC non valido"},
      {"Z and offset", [](Asn1Time& t) { t.offset = '+', t.offsetHours = 1; },
       "Scostamento da UTC non valido"},
      {"-2359",
       [](Asn1Time& t) { t.zulu = U, t.offset = '-', t.offsetHours = 23, t.offsetMinutes = 59; },
       ""},
      {"+00", [](Asn1Time& t) { t.zulu = U, t.offset = '+', t.offsetHours = 0; }, ""},
      {"+2400",
       [](Asn1Time& t) { t.zulu = U, t.offset = '+', t.offsetHours = 24, t.offsetMinutes = 0; },
       "Scostamento da UTC non valido"},
      {"+0060",
       [](Asn1Time& t) { t.zulu = U, t.offset = '+', t.offsetHours = 0, t.offsetMinutes = 60; },
       "Scostamento da UTC non valido"},
      {"sign *", [](Asn1Time& t) { t.zulu = U, t.offset = '*', t.offsetHours = 1; },
       "Scostamento da UTC non valido"},
      {"offset hours alone", [](Asn1Time& t) { t.zulu = U, t.offsetHours = 1; },
       "Scostamento da UTC non valido"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    Asn1Time t = valid;
    c.change(t);
    if (c.message.empty()) {
      EXPECT_EQ(chkAsn1Time(&t), 0) << c.what;
      EXPECT_EQ(TRgeterrstklen(), 0u) << c.what;
    } else {
      EXPECT_EQ(chkAsn1Time(&t), 29) << c.what;
      expectSingleError("chkAsn1Time", 29, c.message);
    }
  }
}

TEST(AsnTime, DateTagFromTheText) {
  struct Case {
    const char* text;
    uint8_t tag;
  };
  const Case cases[] = {
      {"250101120000Z", 23},
      {"20250101120000Z", 24},
      {"250101120000+0100", 23},
      {"20250101120000-0100", 24},
      {"2501011200Z", 0},
      {"250101120000", 0},
      {"250101120000+01000", 0},
      {"250101120000+010", 0},
      {"250101120000Zx", 0},
      {"20250101120000.5Z", 0},
      {"", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(date_tag(c.text, static_cast<uint32_t>(strlen(c.text))), c.tag) << c.text;
  }
}

TEST(AsnTime, InValidDate) {
  struct Case {
    const char* text;
    std::string message;  // the error under the 301 frame; empty: valid
  };
  const Case cases[] = {
      {"250101120000Z", ""},
      {"20250101120000Z", ""},
      {"20240229120000+0100", ""},
      {"20230229120000Z", "Giorno non valido"},
      {"251301120000Z", "Mese non valido"},
      {"250101240000Z", "Ora non valida"},
      {"250101126000Z", "Minuti non validi"},
      {"250101120060Z", "Secondi non validi"},
      {"20250101120000+2500", "Scostamento da UTC non valido"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    if (c.message.empty()) {
      EXPECT_EQ(InValidDate(c.text), 0) << c.text;
      continue;
    }
    EXPECT_EQ(InValidDate(c.text), 29) << c.text;
    auto stack = errorStack();
    ASSERT_EQ(stack.size(), 2u) << c.text;
    EXPECT_EQ(stack[0].message, c.message);
    EXPECT_EQ(stack[1].function, "InValidDate");
    EXPECT_EQ(stack[1].code, 301u);
  }
  for (const char* text : {"2501011200Z", "20250101120000.5Z", "tomorrow"}) {
    TRclrerr();
    EXPECT_EQ(InValidDate(text), 29) << text;
    expectSingleError("InValidDate", 29, std::string("Data/ora '") + text + "' non corretta");
  }
}

TEST(AsnTime, SecondsSince1970) {
  struct Case {
    uint8_t tag;
    const char* text;
    int64_t seconds;
  };
  const Case cases[] = {
      {24, "19700101000000Z", 0},
      {23, "700101000000Z", 0},
      {24, "19691231235959Z", -1},
      {24, "20000229235959Z", 951868799},
      {23, "491231235959Z", 2524607999},
      {23, "500101000000Z", -631152000},
      {24, "20250101120000+0100", 1735729200},
      {24, "2025010112-0130", 1735738200},
      {24, "2025010112-01", 1735736400},
      {24, "20240229120000.999Z", 1709208000},
      {24, "00010101000000Z", -62135596800},
      {24, "99991231235959Z", 253402300799},
  };
  for (const Case& c : cases) {
    TRclrerr();
    AobjPtr node(ASNxDATE(c.tag, c.text, static_cast<uint32_t>(strlen(c.text))));
    ASSERT_NE(node, nullptr) << c.text;
    int64_t seconds = 0;
    EXPECT_EQ(asn1Time2epoch(node.get(), &seconds), 0) << c.text;
    EXPECT_EQ(seconds, c.seconds) << c.text;
  }
}

TEST(AsnTime, LocalTimeFollowsTheZoneOfTheProcess) {
  const char* saved = getenv("TZ");
  const std::string old = saved != nullptr ? saved : "";
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  struct Case {
    const char* text;
    int64_t seconds;
  };
  const Case cases[] = {
      {"20250101120000", 1735729200},  // winter: one hour ahead of UTC
      {"20250701120000", 1751364000},  // summer: two hours ahead
  };
  for (const Case& c : cases) {
    AobjPtr node(ASNxDATE(kTagGeneralizedTime, c.text, static_cast<uint32_t>(strlen(c.text))));
    int64_t seconds = 0;
    EXPECT_EQ(asn1Time2epoch(node.get(), &seconds), 0) << c.text;
    EXPECT_EQ(seconds, c.seconds) << c.text;
  }
  if (saved != nullptr) {
    setenv("TZ", old.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

TEST(AsnTime, NodesToText) {
  struct Case {
    uint8_t tag;
    const char* text;
    std::string general;
    std::string utc;  // empty: refused with `utcMessage`
    std::string utcMessage;
  };
  const Case cases[] = {
      {23, "250102030405Z", "20250102030405Z", "250102030405Z", ""},
      {23, "2501020304+0100", "20250102030400+0100", "250102030400+0100", ""},
      {24, "2025010203Z", "20250102030000Z", "250102030000Z", ""},
      {24, "20250102030405.5+0100", "20250102030405.5+0100", "250102030405+0100", ""},
      {24, "20250102030405-05", "20250102030405-0500", "250102030405-0500", ""},
      {24, "19500101000000Z", "19500101000000Z", "500101000000Z", ""},
      {24, "20491231235959Z", "20491231235959Z", "491231235959Z", ""},
      {24, "20500101000000Z", "20500101000000Z", "",
       "Anno 2050 fuori dall'intervallo UTCTime (1950-2049)"},
      {24, "19491231235959Z", "19491231235959Z", "",
       "Anno 1949 fuori dall'intervallo UTCTime (1950-2049)"},
      {24, "20250102030405", "20250102030405", "", "Zulo o delay rispetto a UTC non indicati"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    AobjPtr node(ASNxDATE(c.tag, c.text, static_cast<uint32_t>(strlen(c.text))));
    ASSERT_NE(node, nullptr) << c.text;
    char text[kAsn1TimeTextSize];
    EXPECT_EQ(asn1Time2Genstr(node.get(), text, sizeof text), 0) << c.text;
    EXPECT_EQ(text, c.general);
    if (!c.utc.empty()) {
      EXPECT_EQ(asn1Time2UTCstr(node.get(), text, sizeof text), 0) << c.text;
      EXPECT_EQ(text, c.utc);
      continue;
    }
    TRclrerr();
    EXPECT_EQ(asn1Time2UTCstr(node.get(), text, sizeof text), 29) << c.text;
    auto stack = errorStack();
    ASSERT_EQ(stack.size(), 2u);
    EXPECT_EQ(stack[0].message, c.utcMessage);
    EXPECT_EQ(stack[1].function, "asn1Time2UTCstr");
  }
}

TEST(AsnTime, TextConversionRefusals) {
  AobjPtr good(ASNxDATE(kTagGeneralizedTime, "20250102030405Z", 15));
  AobjPtr badMonth(ASNxDATE(kTagGeneralizedTime, "20251302030405Z", 15));
  AobjPtr garbled(ASNxDATE(kTagUtcTime, "2501020304", 10));
  const uint8_t octets[] = {1, 2};
  AobjPtr octetString(ASNxSTR(kTagOctetString, octets, 2));
  AobjPtr implicitTime(ASNxDATE(0x80, "20250102030405Z", 15));
  char text[kAsn1TimeTextSize];

  TRclrerr();
  EXPECT_EQ(asn1Time2Genstr(good.get(), text, 15), 5);
  auto stack = errorStack();
  ASSERT_EQ(stack.size(), 2u);
  EXPECT_EQ(stack[0].function, "asn1TimeRec2Genstr");
  EXPECT_EQ(stack[0].message, "Buffer insufficiente per la data (15 < 16 byte)");
  EXPECT_EQ(stack[1].function, "asn1Time2Genstr");
  TRclrerr();
  EXPECT_EQ(asn1Time2Genstr(good.get(), text, 16), 0);
  EXPECT_STREQ(text, "20250102030405Z");

  struct Case {
    const aobj* node;
    uint16_t code;
    std::string first;  // the oldest entry
  };
  const Case cases[] = {
      {nullptr, 304, "Oggetto ASN.1 nullo"},
      {octetString.get(), 29, "TIPO_ERRATO PER questa funzione"},
      {implicitTime.get(), 29, "TIPO_ERRATO PER questa funzione"},
      {badMonth.get(), 29, "Mese non valido"},
      {garbled.get(), 29, "Zulo o delay rispetto a UTC non indicati"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    EXPECT_EQ(asn1Time2Genstr(c.node, text, sizeof text), c.code) << c.first;
    stack = errorStack();
    ASSERT_FALSE(stack.empty());
    EXPECT_EQ(stack[0].message, c.first);
    EXPECT_EQ(stack.back().function, "asn1Time2Genstr");
    TRclrerr();
    int64_t seconds = 0;
    EXPECT_EQ(asn1Time2epoch(c.node, &seconds), c.code) << c.first;
  }
}

TEST(AsnTime, InstantsToRecordsAndNodes) {
  struct Case {
    int64_t seconds;
    uint8_t tag;
    std::string text;
  };
  const Case cases[] = {
      {0, 23, "700101000000Z"},
      {-1, 23, "691231235959Z"},
      {951868799, 23, "000229235959Z"},
      {2524607999, 23, "491231235959Z"},
      {2524608000, 24, "20500101000000Z"},
      {-631152000, 23, "500101000000Z"},
      {-631152001, 24, "19491231235959Z"},
      {-62135596800, 24, "00010101000000Z"},
      {253402300799, 24, "99991231235959Z"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    AobjPtr node(epoch2asn1TimeNode(c.seconds));
    ASSERT_NE(node, nullptr) << c.seconds;
    EXPECT_EQ(node->tag, c.tag) << c.seconds;
    EXPECT_EQ(std::string(node->u.date.text, node->length), c.text);
    int64_t back = 0;
    EXPECT_EQ(asn1Time2epoch(node.get(), &back), 0);
    EXPECT_EQ(back, c.seconds);
  }
  for (int64_t seconds : {int64_t{253402300800}, int64_t{-62167219201}, INT64_MAX, INT64_MIN}) {
    TRclrerr();
    Asn1Time record;
    EXPECT_EQ(epoch2asn1Time(seconds, &record), 29) << seconds;
    expectSingleError("epoch2asn1Time", 29, "Anno non valido");
    TRclrerr();
    EXPECT_EQ(epoch2asn1TimeNode(seconds), nullptr);
  }
}

}  // namespace
}  // namespace sigillo
