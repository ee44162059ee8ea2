// Alphabet conversions: RFC 4648 vectors, refused input with exact codes and
// messages, and round trips checked against libcrypto's base64 and iconv.
#include "asn1/alphabet.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;

Bytes bytesOf(std::string_view s) { return Bytes(s.begin(), s.end()); }
const uint8_t* u8(std::string_view s) { return reinterpret_cast<const uint8_t*>(s.data()); }

Bytes randomBytes(size_t n) {
  Bytes b(n);
  if (n > 0) {
    EXPECT_EQ(RAND_bytes(b.data(), static_cast<int>(n)), 1);
  }
  return b;
}

// The code and message of the only error a failed call recorded.
struct Failure {
  uint16_t code;
  std::string message;
};

void expectFailure(uint16_t rc, const Failure& want, const std::string& what) {
  EXPECT_EQ(rc, want.code) << what;
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), 1u) << what;
  EXPECT_EQ(stack.front().code, want.code) << what;
  EXPECT_EQ(stack.front().message, want.message) << what;
}

// What iconv makes of `in`, as an independent reference.
std::string iconvConvert(const char* from, const char* to, const std::string& in) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    ADD_FAILURE() << "iconv " << from << " -> " << to;
    return {};
  }
  std::string out(4 * in.size() + 4, '\0');
  std::string input = in;
  char* src = input.data();
  size_t srcLeft = input.size();
  char* dst = out.data();
  size_t dstLeft = out.size();
  EXPECT_NE(iconv(cd, &src, &srcLeft, &dst, &dstLeft), static_cast<size_t>(-1));
  iconv_close(cd);
  out.resize(out.size() - dstLeft);
  return out;
}

// ---- base64 ----------------------------------------------------------------

struct Vector {
  const char* plain;
  const char* encoded;
};

// RFC 4648 section 10.
const Vector kBase64Vectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};
const Vector kBase16Vectors[] = {
    {"", ""},
    {"f", "66"},
    {"fo", "666F"},
    {"foo", "666F6F"},
    {"foob", "666F6F62"},
    {"fooba", "666F6F6261"},
    {"foobar", "666F6F626172"},
};

TEST(Base64, Rfc4648Vectors) {
  for (const Vector& v : kBase64Vectors) {
    const std::string plain = v.plain;
    EXPECT_EQ(base64Encode(u8(plain), plain.size()), v.encoded) << v.plain;
    EXPECT_EQ(base64EncodedLength(plain.size(), false), strlen(v.encoded)) << v.plain;
    Bytes decoded = {0xEE};
    TRclrerr();
    EXPECT_EQ(base64Decode(v.encoded, &decoded), 0) << v.encoded;
    EXPECT_EQ(decoded, bytesOf(plain)) << v.encoded;
  }
}

TEST(Base64, WrappedLinesOf64) {
  const Bytes data = randomBytes(100);
  const std::string flat = base64Encode(data.data(), data.size());
  struct Case {
    size_t bytes;
    std::string expected;
  };
  const Case cases[] = {
      {0, ""},
      {1, base64Encode(data.data(), 1) + "\n"},
      {48, flat.substr(0, 64) + "\n"},
      {49, flat.substr(0, 64) + "\n" + base64Encode(data.data() + 48, 1) + "\n"},
      {96, flat.substr(0, 64) + "\n" + flat.substr(64, 64) + "\n"},
      {100, flat.substr(0, 64) + "\n" + flat.substr(64, 64) + "\n" + flat.substr(128) + "\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(base64Encode(data.data(), c.bytes, true), c.expected) << c.bytes;
    EXPECT_EQ(base64EncodedLength(c.bytes, true), c.expected.size()) << c.bytes;
  }
}

// libcrypto's encoder is the reference for every length of a few blocks.
TEST(Base64, MatchesLibcryptoAndRoundTrips) {
  for (size_t n = 0; n < 200; ++n) {
    const Bytes data = randomBytes(n);
    std::string reference(4 * ((n + 2) / 3) + 1, '\0');
    const int len = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(reference.data()), data.data(),
                                    static_cast<int>(n));
    reference.resize(static_cast<size_t>(len));
    const std::string ours = base64Encode(data.data(), n);
    EXPECT_EQ(ours, reference) << n;
    SecureBytes back;
    TRclrerr();
    ASSERT_EQ(base64Decode(base64Encode(data.data(), n, true), &back), 0) << n;
    EXPECT_EQ(Bytes(back.begin(), back.end()), data) << n;
  }
}

TEST(Base64, WhiteSpaceIsSkippedAnywhere) {
  const char* const texts[] = {"Zm9vYmFy",         "Zm9v\r\nYmFy\r\n", " Z m 9 v\tY m F y ",
                               "\n\nZm9vYmFy\n\n", "Zm9v\vYmFy\f",     "Zm\n9vYm\nFy"};
  for (const char* text : texts) {
    std::vector<uint8_t> out;
    TRclrerr();
    EXPECT_EQ(base64Decode(text, &out), 0) << text;
    EXPECT_EQ(out, bytesOf("foobar")) << text;
  }
  std::vector<uint8_t> out;
  EXPECT_EQ(base64Decode("Zg=\r\n=\n", &out), 0);
  EXPECT_EQ(out, bytesOf("f"));
  EXPECT_EQ(base64Decode(" \n\t ", &out), 0);
  EXPECT_TRUE(out.empty());
}

TEST(Base64, RefusedTextNamesThePosition) {
  struct Case {
    std::string text;
    const char* message;
  };
  const Case cases[] = {
      {"Zm9v!", "Base64 non valido alla posizione 5: carattere 0x21 non ammesso"},
      {"Zm9v\x80", "Base64 non valido alla posizione 5: carattere 0x80 non ammesso"},
      {std::string("Zm9vYmFy\n\0", 10),
       "Base64 non valido alla posizione 10: carattere 0x00 non ammesso"},
      {"Zm-v", "Base64 non valido alla posizione 3: carattere 0x2D non ammesso"},
      {"Zm9vYg==Zg==", "Base64 non valido alla posizione 9: dati dopo la fine del base64"},
      {"Zm9vYg===", "Base64 non valido alla posizione 9: dati dopo la fine del base64"},
      {"Zm8==", "Base64 non valido alla posizione 5: dati dopo la fine del base64"},
      {"Zm8=\nZ", "Base64 non valido alla posizione 6: dati dopo la fine del base64"},
      {"=", "Base64 non valido alla posizione 1: padding '=' fuori posto"},
      {"Z===", "Base64 non valido alla posizione 2: padding '=' fuori posto"},
      {"Zm9v=", "Base64 non valido alla posizione 5: padding '=' fuori posto"},
      {"Zg=g", "Base64 non valido alla posizione 3: padding '=' fuori posto"},
      {"Zm9vY", "Base64 non valido alla posizione 5: gruppo finale incompleto"},
      {"Zm9vYm", "Base64 non valido alla posizione 5: gruppo finale incompleto"},
      {"Zm9vYmF", "Base64 non valido alla posizione 5: gruppo finale incompleto"},
      {"Zg=", "Base64 non valido alla posizione 3: padding '=' incompleto"},
      {"Zh==", "Base64 non valido alla posizione 2: bit finali non nulli"},
      {"Zm9=", "Base64 non valido alla posizione 3: bit finali non nulli"},
  };
  for (const Case& c : cases) {
    std::vector<uint8_t> out = {1, 2, 3};
    TRclrerr();
    expectFailure(base64Decode(c.text, &out), {22, c.message}, c.text);
    EXPECT_EQ(out, (std::vector<uint8_t>{1, 2, 3})) << "output kept: " << c.text;
  }
}

TEST(Base64, CoreDecoderReportsFaults) {
  struct Case {
    const char* text;
    Base64Fault::Kind kind;
    size_t offset;
    uint8_t byte;
  };
  const Case cases[] = {
      {"ab*d", Base64Fault::kBadChar, 2, '*'},
      {"abc=d", Base64Fault::kTrailing, 4, 'd'},
      {"ab", Base64Fault::kTruncated, 0, 'a'},
      {"ab=", Base64Fault::kShortPad, 2, '='},
  };
  for (const Case& c : cases) {
    uint8_t out[8];
    size_t written = 99;
    Base64Fault fault{};
    EXPECT_FALSE(base64DecodeTo(c.text, strlen(c.text), out, &written, &fault)) << c.text;
    EXPECT_EQ(fault.kind, c.kind) << c.text;
    EXPECT_EQ(fault.offset, c.offset) << c.text;
    EXPECT_EQ(fault.byte, c.byte) << c.text;
    EXPECT_EQ(written, 0u) << c.text;
  }
}

TEST(Base64, NullOutputIsRefused) {
  TRclrerr();
  expectFailure(base64Decode("Zg==", static_cast<SecureBytes*>(nullptr)), {3, "out (2)"},
                "null out");
}

// ---- hexadecimal -------------------------------------------------------------

TEST(Hex, Rfc4648Base16Vectors) {
  for (const Vector& v : kBase16Vectors) {
    const std::string plain = v.plain;
    EXPECT_EQ(hexEncode(u8(plain), plain.size()), v.encoded) << v.plain;
    std::vector<uint8_t> decoded = {0xEE};
    TRclrerr();
    EXPECT_EQ(hexDecode(v.encoded, &decoded), 0) << v.encoded;
    EXPECT_EQ(decoded, bytesOf(plain)) << v.encoded;
  }
}

TEST(Hex, BothCasesAndRoundTrip) {
  SecureBytes out;
  TRclrerr();
  ASSERT_EQ(hexDecode("00ff7Fa0Bc", &out), 0);
  EXPECT_EQ(Bytes(out.begin(), out.end()), (Bytes{0x00, 0xFF, 0x7F, 0xA0, 0xBC}));
  const Bytes all = [] {
    Bytes b(256);
    for (size_t i = 0; i < 256; ++i) b[i] = static_cast<uint8_t>(i);
    return b;
  }();
  const std::string text = hexEncode(all.data(), all.size());
  EXPECT_EQ(text, test::toHex(all));
  std::vector<uint8_t> back;
  ASSERT_EQ(hexDecode(text, &back), 0);
  EXPECT_EQ(back, all);
}

TEST(Hex, RefusedText) {
  struct Case {
    std::string text;
    Failure failure;
  };
  const Case cases[] = {
      {"ABC", {5, "Numero dispari di cifre esadecimali (3)"}},
      {"0", {5, "Numero dispari di cifre esadecimali (1)"}},
      {"0G", {22, "Cifra esadecimale non valida 0x47 alla posizione 2"}},
      {"G0", {22, "Cifra esadecimale non valida 0x47 alla posizione 1"}},
      {"00 1", {22, "Cifra esadecimale non valida 0x20 alla posizione 3"}},
      {"0x00", {22, "Cifra esadecimale non valida 0x78 alla posizione 2"}},
      {std::string("A\0", 2), {22, "Cifra esadecimale non valida 0x00 alla posizione 2"}},
      {"abcdeg", {22, "Cifra esadecimale non valida 0x67 alla posizione 6"}},
  };
  for (const Case& c : cases) {
    std::vector<uint8_t> out = {7};
    TRclrerr();
    expectFailure(hexDecode(c.text, &out), c.failure, c.text);
    EXPECT_EQ(out, std::vector<uint8_t>{7}) << c.text;
  }
}

// ---- EBCDIC ----------------------------------------------------------------

TEST(Ebcdic, PublishedCp037Letters) {
  // ISO 8859-1 byte and its code page 037 byte, as IBM publishes the page.
  const std::pair<uint8_t, uint8_t> pairs[] = {
      {'A', 0xC1},  {'Z', 0xE9},  {'a', 0x81},  {'z', 0xA9},  {'0', 0xF0},  {'9', 0xF9},
      {' ', 0x40},  {'.', 0x4B},  {'!', 0x5A},  {'[', 0xBA},  {']', 0xBB},  {'|', 0x4F},
      {'^', 0xB0},  {'~', 0xA1},  {'{', 0xC0},  {'}', 0xD0},  {'\\', 0xE0}, {'`', 0x79},
      {'$', 0x5B},  {'@', 0x7C},  {'#', 0x7B},  {0xAC, 0x5F}, {0xE0, 0x44}, {0xE9, 0x51},
      {0xA2, 0x4A}, {'\n', 0x25}, {0x00, 0x00},
  };
  for (const auto& [latin1, ebcdic] : pairs) {
    uint8_t out = 0;
    asciiToEbcdic(&latin1, 1, &out);
    EXPECT_EQ(out, ebcdic) << static_cast<int>(latin1);
    uint8_t back = 0;
    ebcdicToAscii(&ebcdic, 1, &back);
    EXPECT_EQ(back, latin1) << static_cast<int>(ebcdic);
  }
}

TEST(Ebcdic, AllBytesMatchIconvAndRoundTripInPlace) {
  std::string all(256, '\0');
  for (size_t i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  Bytes buffer = bytesOf(all);
  asciiToEbcdic(buffer.data(), buffer.size(), buffer.data());
  EXPECT_EQ(test::toHex(buffer), test::toHex(bytesOf(iconvConvert("ISO-8859-1", "IBM037", all))));
  ebcdicToAscii(buffer.data(), buffer.size(), buffer.data());
  EXPECT_EQ(buffer, bytesOf(all));
}

// ---- text between character sets -------------------------------------------

struct ConvertCase {
  Charset from, to;
  std::string input;
  std::string output;  // expected text when `failure` has code 0
  Failure failure;
};

void runConversions(const std::vector<ConvertCase>& cases) {
  for (const ConvertCase& c : cases) {
    const std::string what = std::string(charsetName(c.from)) + " -> " + charsetName(c.to) + ": " +
                             test::toHex(bytesOf(c.input));
    std::string out = "kept";
    TRclrerr();
    const uint16_t rc = convertText(c.from, c.to, u8(c.input), c.input.size(), &out);
    if (c.failure.code == 0) {
      EXPECT_EQ(rc, 0) << what;
      EXPECT_EQ(test::toHex(bytesOf(out)), test::toHex(bytesOf(c.output))) << what;
      TRclrerr();
      EXPECT_EQ(checkText(c.from, u8(c.input), c.input.size()), 0) << what;
    } else {
      expectFailure(rc, c.failure, what);
      EXPECT_EQ(out, "kept") << what;
    }
  }
}

std::string utf8Invalid(size_t position, const std::string& reason) {
  return "UTF-8 non valido alla posizione " + std::to_string(position) + ": " + reason;
}

TEST(Utf8, ValidBoundaries) {
  const char* const valid[] = {
      "",
      "\x7F",
      "\xC2\x80",          // U+0080
      "\xDF\xBF",          // U+07FF
      "\xE0\xA0\x80",      // U+0800
      "\xED\x9F\xBF",      // U+D7FF
      "\xEE\x80\x80",      // U+E000
      "\xEF\xBF\xBF",      // U+FFFF
      "\xF0\x90\x80\x80",  // U+10000
      "\xF4\x8F\xBF\xBF",  // U+10FFFF
      "Citt\xC3\xA0 \xE2\x82\xAC \xF0\x9F\x98\x80",
  };
  for (const char* text : valid) {
    TRclrerr();
    EXPECT_EQ(checkText(Charset::kUtf8, u8(text), strlen(text)), 0) << text;
    std::string copy;
    EXPECT_EQ(convertText(Charset::kUtf8, Charset::kUtf8, u8(text), strlen(text), &copy), 0);
    EXPECT_EQ(copy, text);
  }
}

TEST(Utf8, InvalidSequences) {
  struct Case {
    std::string text;
    size_t position;
    const char* reason;
  };
  const Case cases[] = {
      {"\x80", 1, "byte iniziale 0x80 non valido"},
      {"ab\xBF", 3, "byte iniziale 0xBF non valido"},
      {"a\xC0\xAF", 2, "codifica sovrabbondante (overlong)"},
      {"\xC1\xBF", 1, "codifica sovrabbondante (overlong)"},
      {"\xE0\x80\xAF", 1, "codifica sovrabbondante (overlong)"},
      {"\xE0\x9F\xBF", 1, "codifica sovrabbondante (overlong)"},
      {"\xF0\x82\x82\xAC", 1, "codifica sovrabbondante (overlong)"},
      {"\xF0\x8F\xBF\xBF", 1, "codifica sovrabbondante (overlong)"},
      {"\xED\xA0\x80", 1, "surrogato U+D800"},
      {"x\xED\xBF\xBF", 2, "surrogato U+DFFF"},
      {"\xF4\x90\x80\x80", 1, "valore oltre U+10FFFF"},
      {"\xF5\x80\x80\x80", 1, "byte iniziale 0xF5 non valido"},
      {"\xF8\x88\x80\x80\x80", 1, "byte iniziale 0xF8 non valido"},
      {"\xFF", 1, "byte iniziale 0xFF non valido"},
      {"\xFE", 1, "byte iniziale 0xFE non valido"},
      {"ab\xE2\x82", 3, "sequenza troncata"},
      {"\xC3", 1, "sequenza troncata"},
      {"\xF0\x9F\x98", 1, "sequenza troncata"},
      {"\xE2\x28\xA1", 1, "byte di continuazione 0x28 non valido"},
      {"\xF0\x9F\x98\xC3\xA0", 1, "byte di continuazione 0xC3 non valido"},
      {"\xC3\xA0\xC3", 3, "sequenza troncata"},
  };
  for (const Case& c : cases) {
    TRclrerr();
    expectFailure(checkText(Charset::kUtf8, u8(c.text), c.text.size()),
                  {22, utf8Invalid(c.position, c.reason)}, c.text);
    std::string out = "kept";
    TRclrerr();
    expectFailure(convertText(Charset::kUtf8, Charset::kBmp, u8(c.text), c.text.size(), &out),
                  {22, utf8Invalid(c.position, c.reason)}, c.text);
    EXPECT_EQ(out, "kept");
  }
}

TEST(Charset, Conversions) {
  const std::string cittaUtf8 = "Citt\xC3\xA0";
  const std::string cittaEbcdic = "\xC3\x89\xA3\xA3\x44";
  const std::string grinning = "\xF0\x9F\x98\x80";
  runConversions({
      {Charset::kLatin1, Charset::kUtf8, "Citt\xE0", cittaUtf8, {}},
      {Charset::kUtf8, Charset::kLatin1, cittaUtf8, "Citt\xE0", {}},
      {Charset::kEbcdic, Charset::kUtf8, cittaEbcdic, cittaUtf8, {}},
      {Charset::kUtf8, Charset::kEbcdic, cittaUtf8, cittaEbcdic, {}},
      {Charset::kEbcdic, Charset::kLatin1, "\xC1\x81\xF0", "Aa0", {}},
      {Charset::kIrv, Charset::kEbcdic, "Aa0", "\xC1\x81\xF0", {}},
      {Charset::kIrv, Charset::kUtf8, std::string("$~\0\x7F", 4), std::string("$~\0\x7F", 4), {}},
      {Charset::kUtf8, Charset::kIrv, "plain", "plain", {}},
      {Charset::kLatin1, Charset::kBmp, "A\xFF", std::string("\0A\0\xFF", 4), {}},
      {Charset::kBmp,
       Charset::kUtf8,
       std::string("\0C\0\xE0\x20\xAC", 6),
       "C\xC3\xA0\xE2\x82\xAC",
       {}},
      {Charset::kUtf8,
       Charset::kBmp,
       "C\xC3\xA0\xE2\x82\xAC",
       std::string("\0C\0\xE0\x20\xAC", 6),
       {}},
      {Charset::kBmp, Charset::kLatin1, std::string("\0C\0\xE0", 4), "C\xE0", {}},
      {Charset::kLatin1, Charset::kUtf8, "", "", {}},
      {Charset::kUtf8,
       Charset::kLatin1,
       "\xE2\x82\xAC",
       "",
       {22, "Carattere U+20AC alla posizione 1 non rappresentabile in ISO 8859-1"}},
      {Charset::kUtf8,
       Charset::kIrv,
       "a\xC3\xA0",
       "",
       {22, "Carattere U+00E0 alla posizione 2 non rappresentabile in IRV"}},
      {Charset::kLatin1,
       Charset::kIrv,
       "ab\xA4",
       "",
       {22, "Carattere U+00A4 alla posizione 3 non rappresentabile in IRV"}},
      {Charset::kEbcdic,
       Charset::kIrv,
       "\xC1\x44",
       "",
       {22, "Carattere U+00E0 alla posizione 2 non rappresentabile in IRV"}},
      {Charset::kUtf8,
       Charset::kEbcdic,
       "x" + grinning,
       "",
       {22, "Carattere U+1F600 alla posizione 2 non rappresentabile in EBCDIC (cp037)"}},
      {Charset::kUtf8,
       Charset::kBmp,
       grinning,
       "",
       {22, "Carattere U+1F600 alla posizione 1 non rappresentabile in BMPString"}},
      {Charset::kBmp,
       Charset::kLatin1,
       std::string("\0A\x01\x00", 4),
       "",
       {22, "Carattere U+0100 alla posizione 3 non rappresentabile in ISO 8859-1"}},
      {Charset::kIrv,
       Charset::kUtf8,
       "abc\x80",
       "",
       {22, "IRV non valido alla posizione 4: byte 0x80 oltre 0x7F"}},
      {Charset::kBmp,
       Charset::kUtf8,
       std::string("\0", 1),
       "",
       {5, "BMPString di lunghezza dispari (1 byte)"}},
      {Charset::kBmp,
       Charset::kUtf8,
       std::string("\0A\0B\0", 5),
       "",
       {5, "BMPString di lunghezza dispari (5 byte)"}},
      {Charset::kBmp,
       Charset::kUtf8,
       std::string("\0A\xD8\x00", 4),
       "",
       {22, "BMPString non valido alla posizione 3: surrogato U+D800"}},
      {Charset::kBmp,
       Charset::kUtf8,
       std::string("\xDF\xFF", 2),
       "",
       {22, "BMPString non valido alla posizione 1: surrogato U+DFFF"}},
  });
}

TEST(Charset, EveryBmpCharacterMatchesIconv) {
  std::string bmp;
  for (uint32_t cp = 0; cp <= 0xFFFF; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    bmp.push_back(static_cast<char>(cp >> 8));
    bmp.push_back(static_cast<char>(cp & 0xFF));
  }
  std::string utf8;
  TRclrerr();
  ASSERT_EQ(convertText(Charset::kBmp, Charset::kUtf8, u8(bmp), bmp.size(), &utf8), 0);
  EXPECT_TRUE(utf8 == iconvConvert("UCS-2BE", "UTF-8", bmp));
  std::string back;
  ASSERT_EQ(convertText(Charset::kUtf8, Charset::kBmp, u8(utf8), utf8.size(), &back), 0);
  EXPECT_TRUE(back == bmp);
}

TEST(Charset, EveryLatin1ByteMatchesIconv) {
  std::string all(256, '\0');
  for (size_t i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  std::string utf8;
  TRclrerr();
  ASSERT_EQ(convertText(Charset::kLatin1, Charset::kUtf8, u8(all), all.size(), &utf8), 0);
  EXPECT_EQ(test::toHex(bytesOf(utf8)),
            test::toHex(bytesOf(iconvConvert("ISO-8859-1", "UTF-8", all))));
  std::string ebcdic;
  ASSERT_EQ(convertText(Charset::kUtf8, Charset::kEbcdic, u8(utf8), utf8.size(), &ebcdic), 0);
  EXPECT_EQ(test::toHex(bytesOf(ebcdic)),
            test::toHex(bytesOf(iconvConvert("ISO-8859-1", "IBM037", all))));
  std::string latin1;
  ASSERT_EQ(convertText(Charset::kEbcdic, Charset::kLatin1, u8(ebcdic), ebcdic.size(), &latin1), 0);
  EXPECT_EQ(latin1, all);
}

TEST(Charset, ArgumentsAreChecked) {
  TRclrerr();
  std::string out;
  struct Case {
    const char* what;
    uint16_t rc;
    Failure failure;
  };
  const Case cases[] = {
      {"bad from",
       convertText(static_cast<Charset>(9), Charset::kUtf8, u8("a"), 1, &out),
       {1, "from (1)"}},
      {"bad to",
       convertText(Charset::kUtf8, static_cast<Charset>(9), u8("a"), 1, &out),
       {1, "to (2)"}},
      {"null data", convertText(Charset::kUtf8, Charset::kBmp, nullptr, 1, &out), {2, "data (3)"}},
      {"null out", convertText(Charset::kUtf8, Charset::kBmp, u8("a"), 1, nullptr), {3, "out (5)"}},
      {"check null data", checkText(Charset::kIrv, nullptr, 2), {2, "data (2)"}},
      {"check bad charset", checkText(static_cast<Charset>(7), u8("a"), 1), {1, "charset (1)"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.rc, c.failure.code) << c.what;
  }
  // Each call recorded one error; the stack lists them oldest first.
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), std::size(cases));
  for (size_t i = 0; i < stack.size(); ++i) {
    EXPECT_EQ(stack[i].code, cases[i].failure.code) << cases[i].what;
    EXPECT_EQ(stack[i].message, cases[i].failure.message) << cases[i].what;
  }
  TRclrerr();
  EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, nullptr, 0, &out), 0);
  EXPECT_TRUE(out.empty());
}

}  // namespace
}  // namespace sigillo
