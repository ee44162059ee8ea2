// OID registry: every entry against OpenSSL's encoder and its published name
// and dotted form, the lookups, and the converters between dotted text, arc
// arrays and content octets with their exact errors and bounds.
#include "asn1/oid.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include <climits>
#include <cstring>
#include <sstream>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

// Content octets of a dotted OID as OpenSSL encodes it.
Bytes opensslContent(const std::string& dotted) {
  ASN1_OBJECT* object = OBJ_txt2obj(dotted.c_str(), 1);
  if (object == nullptr) return {};
  const unsigned char* data = OBJ_get0_data(object);
  Bytes content(data, data + OBJ_length(object));
  ASN1_OBJECT_free(object);
  return content;
}

std::string smallBuffer(int count) {
  return "oid:OIDints2ber:2:Buffer troppo piccolo per contenere la codifica BER dell'OID (" +
         std::to_string(count) + " numeri)";
}

// A buffer with guard bytes behind the part the callee may use.
struct Guarded {
  explicit Guarded(size_t n) : size(n), bytes(n + 16, 0xEE) {}
  bool intact() const {
    return std::all_of(bytes.begin() + size, bytes.end(), [](uint8_t b) { return b == 0xEE; });
  }
  char* text() { return reinterpret_cast<char*>(bytes.data()); }
  size_t size;
  Bytes bytes;
};

std::vector<int32_t> arcsOf(const std::string& text) {
  std::istringstream in(text);
  std::vector<int32_t> arcs;
  for (int32_t arc; in >> arc;) arcs.push_back(arc);
  return arcs;
}

TEST(Oid, RegistryAgainstOpenSslLookupsFormsErrorsAndLimits) {
  const auto records = loadVectors("asn1/oids.txt");
  ASSERT_EQ(records.size(), 1u);
  ASSERT_EQ(records[0].fields.size(), static_cast<size_t>(kOidCount));
  EXPECT_EQ(OIDstr[kOidCount], nullptr);
  EXPECT_EQ(OIDtable[kOidCount].length, 0u);
  TRclrerr();
  for (int n = 0; n < kOidCount; ++n) {
    const std::string row = records[0].text(std::to_string(n));
    const size_t close = row.rfind('"');
    const std::string name = row.substr(1, close - 1), dotted = row.substr(close + 2);
    const OidEntry& e = OIDtable[n];
    ASSERT_LE(e.length, kOidMaxContent) << n;
    EXPECT_EQ(toHex(e.content, e.length), toHex(opensslContent(dotted))) << n << " " << dotted;
    EXPECT_TRUE(std::all_of(e.content + e.length, e.content + kOidMaxContent, [](uint8_t b) {
      return b == 0;
    })) << n;
    EXPECT_STREQ(getOIDstr(n), name.c_str()) << n;
    EXPECT_EQ(OIDname2const(name.c_str()), n) << name;
    EXPECT_EQ(OIDber2const(e.content, e.length), n) << n;
    char text[128];
    EXPECT_EQ(OIDber2str(text, sizeof text, e.content, e.length),
              static_cast<int>(dotted.size()) + 1);
    EXPECT_EQ(text, dotted) << n;
    uint8_t content[kOidMaxContent];
    ASSERT_EQ(OIDstr2ber(content, sizeof content, dotted.c_str()), static_cast<int>(e.length));
    EXPECT_EQ(memcmp(content, e.content, e.length), 0) << n;
  }
  EXPECT_TRUE(stackLines().empty());
  for (int n : {234, -1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(isValidOID(n), 0) << n;
    EXPECT_STREQ(getOIDstr(n), "UNKNOWN") << n;
  }
  EXPECT_EQ(isValidOID(233), 1);
  const std::tuple<int, size_t, const char*> names[] = {
      {170, 11, "commonName"}, {170, 10, "commonNam"}, {234, 64, ""}};
  for (const auto& [n, size, text] : names) {
    Guarded buffer(size);
    EXPECT_EQ(OIDconst2name(buffer.text(), size, n), 0);
    EXPECT_STREQ(buffer.text(), text) << n << "/" << size;
    EXPECT_TRUE(buffer.intact()) << n << "/" << size;
  }
  Guarded none(0);
  EXPECT_EQ(OIDconst2name(none.text(), 0, 170), 0);
  EXPECT_TRUE(none.intact());
  TRclrerr();
  for (const char* name : {"CommonName", "", "UNKNOWN"}) EXPECT_EQ(OIDname2const(name), -1) << name;
  EXPECT_EQ(OIDname2const(nullptr), -1);
  // A prefix, a longer encoding, an unknown OID.
  for (const char* hex : {"5504", "55040300", "550409"}) {
    const Bytes content = fromHex(hex);
    EXPECT_EQ(OIDber2const(content.data(), static_cast<uint32_t>(content.size())), -1) << hex;
  }
  const uint8_t zeros[kOidMaxContent] = {};
  EXPECT_EQ(OIDber2const(zeros, 0), -1);
  EXPECT_EQ(OIDber2const(nullptr, 3), -1);
  EXPECT_TRUE(stackLines().empty());

  Lines names2(kOidCount + 1);  // one name too many
  std::vector<const char*> table(kOidCount + 2, nullptr);
  for (int i = 0; i <= kOidCount; ++i) table[i] = (names2[i] = "name" + std::to_string(i)).c_str();
  EXPECT_EQ(OIDfindName(table.data(), "name233"), 233);
  EXPECT_EQ(OIDfindName(table.data(), "name234"), -1);
  EXPECT_EQ(stackLines(),
            Lines{"oid:OIDname2const:307:Errore interno, tabella degli OID non valida"});
  for (const auto& v : loadVectors("asn1/oid_forms.txt")) {
    if (v.group == "text refused" || v.group == "arc limits") continue;
    SCOPED_TRACE(v.where());
    TRclrerr();
    Guarded buffer(kOidMaxContent);
    const Bytes content = v.bytes("content");
    const auto length = static_cast<uint32_t>(content.size());
    if (v.group != "ber") {
      const std::vector<int32_t> arcs = arcsOf(v.has("arcs") ? v.text("arcs") : "");
      const int n = v.group == "text" ? OIDstr2ber(buffer.bytes.data(), buffer.size,
                                                   unescape(v.text("text")).c_str())
                                      : OIDints2ber(buffer.bytes.data(), buffer.size, arcs.data(),
                                                    static_cast<int>(arcs.size()));
      ASSERT_GT(n, 0);
      EXPECT_EQ(toHex(buffer.bytes.data(), static_cast<size_t>(n)), v.text("content"));
      EXPECT_TRUE(buffer.intact());
      EXPECT_TRUE(stackLines().empty());
      continue;
    }
    const std::vector<int32_t> expected = arcsOf(v.text("arcs"));
    std::vector<int32_t> arcs(expected.size() + 1, 0x5A5A5A5A);
    ASSERT_EQ(OIDber2ints(arcs.data(), 0, content.data(), length),
              static_cast<int>(expected.size()));
    EXPECT_EQ(arcs.back(), 0x5A5A5A5A);
    arcs.pop_back();
    EXPECT_EQ(arcs, expected);
    EXPECT_EQ(OIDberArcCount(content.data(), length), static_cast<int>(expected.size()));
    EXPECT_EQ(OIDber2str(buffer.text(), buffer.size, content.data(), length),
              static_cast<int>(v.text("text").size()) + 1);
    EXPECT_EQ(buffer.text(), v.text("text"));
  }
  // The text is cut after 1023 characters.
  uint8_t content[8];
  EXPECT_EQ(OIDstr2ber(content, 8, ("1.2" + std::string(1018, ' ') + "34").c_str()), 2);
  EXPECT_EQ(content[1], 34);
  EXPECT_EQ(OIDstr2ber(content, 8, ("1.2" + std::string(1019, ' ') + "34").c_str()), 2);
  EXPECT_EQ(content[1], 3);
  std::string arcs32 = "1.2";
  for (int i = 2; i < 32; ++i) arcs32 += "." + std::to_string(i);
  std::vector<std::pair<std::string, std::string>> cases = {
      {std::string(2000, '.'),
       "Formato stringa OID ('" + std::string(1023, '.') + "') non riconosciuto"},
      {arcs32 + ".32", "OID composto da troppi valori"},
  };
  for (const auto& v : loadVectors("asn1/oid_forms.txt")) {
    if (v.group == "text refused") cases.emplace_back(unquote(v.text("text")), v.text("error"));
    if (v.group != "arc limits") continue;
    // Arrays: the limit is the caller's, a refused arc leaves what follows.
    std::vector<int32_t> arcs(4, 7);
    TRclrerr();
    EXPECT_EQ(OIDstr2ints(arcs.data(), static_cast<int>(v.number("max")), v.text("text").c_str()),
              v.number("result"))
        << v.where();
    EXPECT_EQ(arcs, arcsOf(v.text("arcs"))) << v.where();
    EXPECT_EQ(stackLines(),
              v.has("error") ? Lines{"oid:OIDstr2ints:307:" + v.text("error")} : Lines{});
  }
  ASSERT_EQ(cases.size(), 8u);
  for (const auto& [text, message] : cases) {
    TRclrerr();
    uint8_t buffer[256];
    EXPECT_EQ(OIDstr2ber(buffer, sizeof buffer, text.c_str()), -1) << text;
    EXPECT_EQ(stackLines(),
              (Lines{"oid:OIDstr2ints:307:" + message, "oid:OIDstr2ber:301:Esecuzione fallita"}));
  }
  uint8_t wide[64];
  TRclrerr();
  EXPECT_EQ(OIDstr2ber(wide, sizeof wide, arcs32.c_str()), 31);  // 32 arcs fit
  EXPECT_EQ(OIDstr2ber(wide, sizeof wide, nullptr), -1);
  EXPECT_EQ(stackLines(),
            (Lines{"oid:OIDstr2ints:2:text (3)", "oid:OIDstr2ber:301:Esecuzione fallita"}));
  const int32_t arcs[] = {1, 2, 840};
  TRclrerr();
  EXPECT_EQ(OIDints2ber(content, 8, arcs, 0), -1);
  EXPECT_EQ(OIDints2ber(content, 0, arcs, 1), -1);
  EXPECT_EQ(OIDints2ber(content, 8, nullptr, 2), -1);
  EXPECT_EQ(OIDints2ber(nullptr, 8, arcs, 3), -1);
  EXPECT_EQ(stackLines(),
            (Lines{"oid:OIDints2ber:307:Un OID deve essere composto almeno da un numero",
                   smallBuffer(1), "oid:OIDints2ber:2:arcs (3)", "oid:OIDints2ber:2:content (1)"}));

  // Every buffer one octet short is refused without writing past its end.
  for (const std::vector<int32_t>& oid :
       {std::vector<int32_t>{1, 2, 840, 113549}, {1, 2, -1}, {2, 16, 840, 1, 101, 3, 4, 2, 1}}) {
    const int count = static_cast<int>(oid.size());
    uint8_t full[64];
    const int needed = OIDints2ber(full, sizeof full, oid.data(), count);
    for (int size = 0; size <= needed; ++size) {
      TRclrerr();
      Guarded buffer(static_cast<size_t>(size));
      const int result = OIDints2ber(buffer.bytes.data(), buffer.size, oid.data(), count);
      EXPECT_TRUE(buffer.intact()) << size;
      EXPECT_EQ(result, size == needed ? needed : -1) << size;
      if (size < needed) EXPECT_EQ(stackLines(), Lines{smallBuffer(count)});
    }
  }
  char text[64] = "previous";
  const int32_t extremes[] = {INT32_MIN, INT32_MAX};
  EXPECT_EQ(OIDints2str(text, sizeof text, extremes, 2), 23);
  EXPECT_STREQ(text, "-2147483648.2147483647");
  EXPECT_EQ(OIDints2str(text, sizeof text, extremes, 0), 1);
  EXPECT_STREQ(text, "");
  for (const char* hex : {"", "2A86", "2A7F80", "2AFFFFFFFF"}) {
    const Bytes ber = fromHex(hex);
    int32_t arcs[8];
    char printed[16] = "previous";
    TRclrerr();
    EXPECT_EQ(OIDber2ints(arcs, 8, ber.data(), static_cast<uint32_t>(ber.size())), -1);
    EXPECT_EQ(OIDber2str(printed, sizeof printed, ber.data(), static_cast<uint32_t>(ber.size())),
              -1);
    EXPECT_STREQ(printed, "") << hex;
    const std::string bad = "oid:OIDber2ints:307:Codifica BER non corretta";
    EXPECT_EQ(stackLines(), (Lines{bad, bad, "oid:OIDber2str:301:Esecuzione fallita"}));
  }
  // Text holds 32 arcs, not 33.
  Bytes ber(31, 0x01);
  ber[0] = 0x2A;
  char printed[128];
  EXPECT_EQ(OIDber2str(printed, sizeof printed, ber.data(), 31), 64);
  ber.push_back(0x01);
  TRclrerr();
  EXPECT_EQ(OIDber2str(printed, sizeof printed, ber.data(), 32), -1);
  EXPECT_EQ(stackLines(), Lines{"oid:OIDber2str:307:OID composto da troppi valori"});
  // Text results are cut at every size and always report the full length.
  const Bytes pkcs = fromHex("2A864886F70D");
  const int32_t pkcsArcs[] = {1, 2, 840, 113549};
  const std::string full = "1.2.840.113549";
  for (size_t size = 0; size <= full.size() + 1; ++size) {
    for (int viaArcs = 0; viaArcs < 2; ++viaArcs) {
      Guarded buffer(size);
      const int result = viaArcs ? OIDints2str(buffer.text(), size, pkcsArcs, 4)
                                 : OIDber2str(buffer.text(), size, pkcs.data(), 6);
      EXPECT_EQ(result, static_cast<int>(full.size()) + 1) << size;
      if (size > 0) EXPECT_EQ(std::string(buffer.text()), full.substr(0, size - 1)) << size;
      EXPECT_TRUE(buffer.intact()) << size << "/" << viaArcs;
    }
  }
}

}  // namespace
}  // namespace sigillo
