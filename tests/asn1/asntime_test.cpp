// Times: the GeneralizedTime and UTCTime readers against every rule and
// message, field checks at both bounds, conversions to seconds and to text.
#include "asn1/asntime.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

constexpr int32_t Asn1Time::*kFields[] = {
    &Asn1Time::year,   &Asn1Time::month,       &Asn1Time::day,          &Asn1Time::hour,
    &Asn1Time::minute, &Asn1Time::second,      &Asn1Time::fraction,     &Asn1Time::zulu,
    &Asn1Time::offset, &Asn1Time::offsetHours, &Asn1Time::offsetMinutes};
constexpr const char* kNames[] = {"year",   "month",       "day",          "hour",
                                  "minute", "second",      "fraction",     "zulu",
                                  "offset", "offsetHours", "offsetMinutes"};

// The fields as the vector files write them: '_' for -1, a sign as itself.
std::string fieldsOf(const Asn1Time& t) {
  std::string text;
  for (size_t i = 0; i < std::size(kFields); ++i) {
    const int32_t v = t.*kFields[i];
    text += (i ? " " : "") + (v == -1  ? "_"
                              : i == 8 ? std::string(1, static_cast<char>(v))
                                       : std::to_string(v));
  }
  return text;
}

AobjPtr timeNode(long long tag, const std::string& text) {
  return AobjPtr(
      ASNxDATE(static_cast<uint8_t>(tag), text.c_str(), static_cast<uint32_t>(text.size())));
}

TEST(AsnTime, VectorsLocalTimeAndRefusals) {
  const std::string absent = "_ _ _ _ _ _ _ _ _ _ _";
  for (const auto& v : loadVectors("asn1/times.txt")) {
    const bool utc = v.group.rfind("utc", 0) == 0;
    if (v.group.find("generalized") != 0 && !utc) continue;
    const auto reader = utc ? parseUTCTime : parseAsn1Time;
    TRclrerr();
    Asn1Time record;
    record.year = 1234;
    if (v.has("fields")) {
      EXPECT_EQ(reader(v.text("text").c_str(), &record), 0) << v.where();
      EXPECT_EQ(fieldsOf(record), v.text("fields")) << v.where();
      EXPECT_TRUE(stackLines().empty()) << v.where();
      continue;
    }
    EXPECT_EQ(reader(v.text("text").c_str(), &record), 29) << v.where();
    EXPECT_EQ(fieldsOf(record), absent) << v.where();
    EXPECT_EQ(stackLines(), Lines{std::string("asn:") + (utc ? "parseUTCTime" : "parseAsn1Time") +
                                  ":29:" + v.text("message")})
        << v.where();
  }
  Asn1Time record;
  TRclrerr();
  EXPECT_EQ(parseAsn1Time(nullptr, &record), 304);
  EXPECT_EQ(fieldsOf(record), absent);
  EXPECT_EQ(parseUTCTime("250102030405Z", nullptr), 304);
  EXPECT_EQ(stackLines(), (Lines{"asn:parseAsn1Time:304:Oggetto nullo (text)",
                                 "asn:parseUTCTime:304:Oggetto nullo (record)"}));
  // Field checks at both bounds (2024-02-29 23:59:59.999Z is valid, each case changes some fields),
  // validity, tags, seconds, instants and text forms.
  for (const auto& v : loadVectors("asn1/times.txt")) {
    SCOPED_TRACE(v.where());
    TRclrerr();
    int64_t seconds = 0;
    if (v.group == "checks") {
      Asn1Time t = {2024, 2, 29, 23, 59, 59, 999, 1, -1, -1, -1};
      std::istringstream in(v.text("change"));
      for (std::string item; in >> item && item != "none";) {
        const size_t eq = item.find('=');
        const auto* name = std::find(std::begin(kNames), std::end(kNames), item.substr(0, eq));
        t.*kFields[name - kNames] = std::stoi(item.substr(eq + 1));
      }
      EXPECT_EQ(chkAsn1Time(&t), v.has("error") ? 29 : 0);
      EXPECT_EQ(stackLines(),
                v.has("error") ? Lines{"asn:chkAsn1Time:29:" + v.text("error")} : Lines{});
    } else if (v.group == "validity") {
      EXPECT_EQ(InValidDate(v.text("text").c_str()), v.has("stack") ? 29 : 0);
      EXPECT_EQ(stackLines(), v.has("stack") ? split(v.text("stack")) : Lines{});
    } else if (v.group == "instants refused") {
      Asn1Time record;
      EXPECT_EQ(epoch2asn1Time(v.number("seconds"), &record), 29);
      EXPECT_EQ(epoch2asn1TimeNode(v.number("seconds")), nullptr);
      EXPECT_EQ(stackLines().at(0), "asn:epoch2asn1Time:29:Anno non valido");
    } else if (v.group == "tags") {
      const std::string text = unquote(v.text("text"));
      EXPECT_EQ(date_tag(text.c_str(), static_cast<uint32_t>(text.size())), v.number("tag"));
    } else if (v.group == "seconds") {
      AobjPtr node = timeNode(v.number("tag"), v.text("text"));
      ASSERT_NE(node, nullptr);
      EXPECT_EQ(asn1Time2epoch(node.get(), &seconds), 0);
      EXPECT_EQ(seconds, v.number("seconds"));
    } else if (v.group == "instants") {
      AobjPtr node(epoch2asn1TimeNode(v.number("seconds")));
      ASSERT_NE(node, nullptr);
      EXPECT_EQ(node->tag, v.number("tag"));
      EXPECT_EQ(std::string(node->u.date.text, node->length), v.text("text"));
      EXPECT_EQ(asn1Time2epoch(node.get(), &seconds), 0);
      EXPECT_EQ(seconds, v.number("seconds"));
    } else if (v.group == "text") {
      AobjPtr node = timeNode(v.number("tag"), v.text("text"));
      char text[kAsn1TimeTextSize];
      EXPECT_EQ(asn1Time2Genstr(node.get(), text, sizeof text), 0);
      EXPECT_EQ(text, v.text("general"));
      if (v.has("utc")) {
        EXPECT_EQ(asn1Time2UTCstr(node.get(), text, sizeof text), 0);
        EXPECT_EQ(text, v.text("utc"));
        continue;
      }
      EXPECT_EQ(asn1Time2UTCstr(node.get(), text, sizeof text), 29);
      EXPECT_EQ(stackLines().at(0).substr(stackLines().at(0).find(":29:") + 4), v.text("utcError"));
      EXPECT_EQ(stackLines().back(), "asn:asn1Time2UTCstr:301:Esecuzione fallita");
    }
  }
  const char* saved = getenv("TZ");
  const std::string old = saved != nullptr ? saved : "";
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  int64_t winter = 0, summer = 0;  // one and two hours ahead of UTC
  EXPECT_EQ(asn1Time2epoch(timeNode(kTagGeneralizedTime, "20250101120000").get(), &winter), 0);
  EXPECT_EQ(asn1Time2epoch(timeNode(kTagGeneralizedTime, "20250701120000").get(), &summer), 0);
  EXPECT_EQ(std::to_string(winter) + " " + std::to_string(summer), "1735729200 1751364000");
  saved != nullptr ? setenv("TZ", old.c_str(), 1) : unsetenv("TZ");
  tzset();
  AobjPtr good = timeNode(kTagGeneralizedTime, "20250102030405Z");
  char text[kAsn1TimeTextSize];
  TRclrerr();
  EXPECT_EQ(asn1Time2Genstr(good.get(), text, 15), 5);
  EXPECT_EQ(stackLines(),
            (Lines{"asn:asn1TimeRec2Genstr:5:Buffer insufficiente per la data (15 < 16 byte)",
                   "asn:asn1Time2Genstr:301:Esecuzione fallita"}));
  EXPECT_EQ(asn1Time2Genstr(good.get(), text, 16), 0);
  EXPECT_STREQ(text, "20250102030405Z");
  AobjPtr implicitTime = timeNode(0x80, "20250102030405Z");
  AobjPtr garbled = timeNode(kTagUtcTime, "2501020304");
  const std::pair<const aobj*, std::string> cases[] = {
      {nullptr, "304:Oggetto ASN.1 nullo"},
      {implicitTime.get(), "29:TIPO_ERRATO PER questa funzione"},
      {garbled.get(), "29:Zulo o delay rispetto a UTC non indicati"},
  };
  for (const auto& [node, first] : cases) {
    TRclrerr();
    const int code = std::stoi(first);
    EXPECT_EQ(asn1Time2Genstr(node, text, sizeof text), code) << first;
    EXPECT_EQ(stackCodes().at(0), first);
    EXPECT_EQ(errorStack().back().function, "asn1Time2Genstr");
    int64_t seconds = 0;
    EXPECT_EQ(asn1Time2epoch(node, &seconds), code) << first;
  }
}

}  // namespace
}  // namespace sigillo
