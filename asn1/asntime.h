// Times of the ASN.1 tree: reading UTCTime and GeneralizedTime texts into a
// time record, checking its fields, converting time nodes between the two
// forms and to seconds since 1970, and writing times as text.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/asn.h"

namespace sigillo {

// One time, field by field.  A field the text does not give is -1.
struct Asn1Time {
  int32_t year;           // four digits; a UTCTime year 50-99 is 1950-1999, 00-49 is 2000-2049
  int32_t month;          // 1-12
  int32_t day;            // 1-31
  int32_t hour;           // 0-23
  int32_t minute;         // 0-59
  int32_t second;         // 0-59
  int32_t fraction;       // the digits after "." or "," read as one number (".5" gives 5)
  int32_t zulu;           // 1 when the time ends in "Z"
  int32_t offset;         // the sign character '+' or '-' of a "+HHMM"/"-HHMM" zone
  int32_t offsetHours;    // magnitude of the zone offset
  int32_t offsetMinutes;  // magnitude; -1 when the zone gives hours only
};

// Longest text the parsers look at; the rest is cut.
constexpr size_t kAsn1TimeMaxText = 29;
// Room for any text written by the formatters below, terminator included.
constexpr size_t kAsn1TimeTextSize = 40;

// A GeneralizedTime text ("YYYYMMDDHH[MM[SS]][.f][Z|+HH[MM]|-HH[MM]]").
// Code 29 on a malformed text; the record is then all -1.
uint16_t parseAsn1Time(const char* text, Asn1Time* record);
// A UTCTime text ("YYMMDDHHMM[SS](Z|+HHMM|-HHMM)").
uint16_t parseUTCTime(const char* text, Asn1Time* record);

// Checks every field of a record against the calendar: code 29 naming the
// first field out of range ("Anno non valido" ... "Millisecondi non corretti").
uint16_t chkAsn1Time(const Asn1Time* record);

// 0 when the text is a UTCTime or GeneralizedTime (tag chosen by date_tag)
// naming an existing instant; otherwise the code recorded.
uint16_t InValidDate(const char* text);

// The record of a time node (kind CLASDATE, tag 23 or 24).
uint16_t asn1Time2rec(const aobj* node, Asn1Time* record);
// Seconds since 1970-01-01 00:00:00 UTC.  A time without a zone is local
// time; missing minutes, seconds and fraction count as zero.
uint16_t asn1TimeRec2epoch(const Asn1Time* record, int64_t* seconds);
uint16_t asn1Time2epoch(const aobj* node, int64_t* seconds);

// The record as text: GeneralizedTime (fraction and zone kept) or UTCTime
// (fraction dropped, year 1950-2049 only).  `size` bytes at most are written;
// code 5 when they do not hold the text.
uint16_t asn1TimeRec2Genstr(const Asn1Time* record, char* text, size_t size);
uint16_t asn1TimeRec2UTCstr(const Asn1Time* record, char* text, size_t size);
// A time node as text of the one or the other form.
uint16_t asn1Time2Genstr(const aobj* node, char* text, size_t size);
uint16_t asn1Time2UTCstr(const aobj* node, char* text, size_t size);

// An instant as a UTC record (Zulu, seconds given, no fraction).
uint16_t epoch2asn1Time(int64_t seconds, Asn1Time* record);
// A new time node for an instant: UTCTime for the years 1950-2049 and
// GeneralizedTime otherwise, as certificates write their validity.
aobj* epoch2asn1TimeNode(int64_t seconds);

}  // namespace sigillo
