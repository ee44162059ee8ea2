// Alphabet conversions: RFC 4648 vectors, refused input with exact codes and
// messages, and round trips checked against libcrypto's base64 and iconv.
#include "asn1/alphabet.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstring>
#include <map>

#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::stackCodes;
using test::textBytes;
using test::toHex;

const uint8_t* u8(std::string_view s) { return reinterpret_cast<const uint8_t*>(s.data()); }

std::string allBytes() {
  std::string all(256, '\0');
  for (size_t i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  return all;
}

// What iconv makes of `in`, as an independent reference.
std::string iconvConvert(const char* from, const char* to, std::string in) {
  iconv_t cd = iconv_open(to, from);
  std::string out(4 * in.size() + 4, '\0');
  char* src = in.data();
  char* dst = out.data();
  size_t srcLeft = in.size(), dstLeft = out.size();
  EXPECT_NE(iconv(cd, &src, &srcLeft, &dst, &dstLeft), static_cast<size_t>(-1)) << from << to;
  iconv_close(cd);
  out.resize(out.size() - dstLeft);
  return out;
}

TEST(Base64, Rfc4648VectorsAndLines) {
  for (const auto& v : test::loadVectors("asn1/rfc4648.txt")) {
    const std::string plain = test::unquote(v.text("plain"));
    EXPECT_EQ(base64Encode(u8(plain), plain.size()), v.text("base64")) << v.where();
    EXPECT_EQ(base64EncodedLength(plain.size(), false), v.text("base64").size()) << v.where();
    EXPECT_EQ(hexEncode(u8(plain), plain.size()), v.text("base16")) << v.where();
    std::vector<uint8_t> decoded = {0xEE}, fromHex = {0xEE};
    EXPECT_EQ(base64Decode(v.text("base64"), &decoded), 0) << v.where();
    EXPECT_EQ(decoded, textBytes(plain)) << v.where();
    EXPECT_EQ(hexDecode(v.text("base16"), &fromHex), 0) << v.where();
    EXPECT_EQ(fromHex, textBytes(plain)) << v.where();
  }
  SecureBytes mixed;  // both cases of hexadecimal
  ASSERT_EQ(hexDecode("00ff7Fa0Bc", &mixed), 0);
  EXPECT_EQ(Bytes(mixed.begin(), mixed.end()), (Bytes{0x00, 0xFF, 0x7F, 0xA0, 0xBC}));
  // Wrapped output: lines of 64 characters, each ending with '\n'.
  Bytes data(100);
  ASSERT_EQ(RAND_bytes(data.data(), 100), 1);
  const std::string flat = base64Encode(data.data(), data.size());
  const std::pair<size_t, std::string> wrapped[] = {
      {0, ""},
      {48, flat.substr(0, 64) + "\n"},
      {49, flat.substr(0, 64) + "\n" + base64Encode(data.data() + 48, 1) + "\n"},
      {100, flat.substr(0, 64) + "\n" + flat.substr(64, 64) + "\n" + flat.substr(128) + "\n"},
  };
  for (const auto& [bytes, text] : wrapped) {
    EXPECT_EQ(base64Encode(data.data(), bytes, true), text) << bytes;
    EXPECT_EQ(base64EncodedLength(bytes, true), text.size()) << bytes;
  }
}

// libcrypto's encoder is the reference for every length of a few blocks.
TEST(Base64, MatchesLibcryptoAndRoundTrips) {
  for (size_t n = 0; n < 200; ++n) {
    Bytes data(n + 1);
    ASSERT_EQ(RAND_bytes(data.data(), static_cast<int>(n + 1)), 1);
    data.pop_back();
    std::string reference(4 * ((n + 2) / 3) + 1, '\0');
    reference.resize(static_cast<size_t>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(reference.data()), data.data(), static_cast<int>(n))));
    EXPECT_EQ(base64Encode(data.data(), n), reference) << n;
    SecureBytes back;
    ASSERT_EQ(base64Decode(base64Encode(data.data(), n, true), &back), 0) << n;
    EXPECT_EQ(Bytes(back.begin(), back.end()), data) << n;
  }
  for (const char* text : {"Zm9v\r\nYmFy\r\n", " Z m 9 v\tY m F y\v\f"}) {
    std::vector<uint8_t> out;
    EXPECT_EQ(base64Decode(text, &out), 0) << text;
    EXPECT_EQ(out, textBytes("foobar")) << text;
  }
  std::vector<uint8_t> out;
  EXPECT_EQ(base64Decode("Zg=\r\n=\n", &out), 0);
  EXPECT_EQ(out, textBytes("f"));
}

TEST(Alphabet, RefusedTextNamesThePosition) {
  for (const auto& v : test::loadVectors("asn1/alphabet_refused.txt")) {
    const std::string text = test::unescape(v.text("text")), error = v.text("error");
    std::vector<uint8_t> out = {1, 2, 3};
    TRclrerr();
    EXPECT_EQ(v.group == "hex" ? hexDecode(text, &out) : base64Decode(text, &out), std::stoi(error))
        << v.where();
    EXPECT_EQ(stackCodes(), std::vector<std::string>{error}) << v.where();
    EXPECT_EQ(out, (std::vector<uint8_t>{1, 2, 3})) << "output kept: " << v.where();
  }
  TRclrerr();
  EXPECT_EQ(base64Decode("Zg==", static_cast<SecureBytes*>(nullptr)), 3);
  EXPECT_EQ(stackCodes(), std::vector<std::string>{"3:out (2)"});
}

TEST(Ebcdic, PublishedLetters) {
  for (const auto& v : test::loadVectors("asn1/cp037.txt")) {
    for (const auto& [latin1Hex, ebcdicHex] : v.fields) {
      const uint8_t latin1 = test::fromHex(latin1Hex)[0], ebcdic = test::fromHex(ebcdicHex)[0];
      uint8_t out = 0, back = 0;
      asciiToEbcdic(&latin1, 1, &out);
      ebcdicToAscii(&ebcdic, 1, &back);
      EXPECT_EQ(out, ebcdic) << latin1Hex;
      EXPECT_EQ(back, latin1) << ebcdicHex;
    }
  }
}

TEST(Utf8, WellFormedAndIllFormedSequences) {
  for (const auto& v : test::loadVectors("asn1/utf8.txt")) {
    const Bytes bytes = v.bytes("hex");
    const std::string text(bytes.begin(), bytes.end());
    TRclrerr();
    std::string out = "kept";
    if (v.group == "valid") {
      EXPECT_EQ(checkText(Charset::kUtf8, u8(text), text.size()), 0) << v.where();
      EXPECT_EQ(convertText(Charset::kUtf8, Charset::kUtf8, u8(text), text.size(), &out), 0);
      EXPECT_EQ(out, text) << v.where();
      continue;
    }
    const std::string failure =
        "22:UTF-8 non valido alla posizione " + v.text("position") + ": " + v.text("reason");
    EXPECT_EQ(checkText(Charset::kUtf8, u8(text), text.size()), 22) << v.where();
    EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, u8(text), text.size(), &out), 22);
    EXPECT_EQ(stackCodes(), (std::vector<std::string>{failure, failure})) << v.where();
    EXPECT_EQ(out, "kept") << v.where();
  }
}

TEST(Charset, Conversions) {
  const std::map<std::string, Charset> sets = {{"irv", Charset::kIrv},
                                               {"latin1", Charset::kLatin1},
                                               {"ebcdic", Charset::kEbcdic},
                                               {"utf8", Charset::kUtf8},
                                               {"bmp", Charset::kBmp}};
  for (const auto& v : test::loadVectors("asn1/charsets.txt")) {
    const Charset from = sets.at(v.text("from")), to = sets.at(v.text("to"));
    const Bytes in = v.bytes("in");
    std::string out = "kept";
    TRclrerr();
    const uint16_t rc = convertText(from, to, in.data(), in.size(), &out);
    if (v.has("out")) {
      EXPECT_EQ(rc, 0) << v.where();
      EXPECT_EQ(toHex(textBytes(out)), v.text("out")) << v.where();
      EXPECT_EQ(checkText(from, in.data(), in.size()), 0) << v.where();
      continue;
    }
    const std::string error = v.text("error");
    const size_t space = error.find(' ');
    EXPECT_EQ(rc, std::stoi(error)) << v.where();
    EXPECT_EQ(stackCodes(),
              std::vector<std::string>{error.substr(0, space) + ":" + error.substr(space + 1)})
        << v.where();
    EXPECT_EQ(out, "kept") << v.where();
  }
}

TEST(Charset, EveryCharacterMatchesIconv) {
  std::string bmp;
  for (uint32_t cp = 0; cp <= 0xFFFF; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    bmp += {static_cast<char>(cp >> 8), static_cast<char>(cp & 0xFF)};
  }
  std::string utf8, back;
  ASSERT_EQ(convertText(Charset::kBmp, Charset::kUtf8, u8(bmp), bmp.size(), &utf8), 0);
  EXPECT_TRUE(utf8 == iconvConvert("UCS-2BE", "UTF-8", bmp));
  ASSERT_EQ(convertText(Charset::kUtf8, Charset::kBmp, u8(utf8), utf8.size(), &back), 0);
  EXPECT_TRUE(back == bmp);

  const std::string all = allBytes();
  std::string ebcdic, latin1;
  ASSERT_EQ(convertText(Charset::kLatin1, Charset::kUtf8, u8(all), all.size(), &utf8), 0);
  EXPECT_EQ(toHex(textBytes(utf8)), toHex(textBytes(iconvConvert("ISO-8859-1", "UTF-8", all))));
  ASSERT_EQ(convertText(Charset::kUtf8, Charset::kEbcdic, u8(utf8), utf8.size(), &ebcdic), 0);
  EXPECT_EQ(toHex(textBytes(ebcdic)), toHex(textBytes(iconvConvert("ISO-8859-1", "IBM037", all))));
  ASSERT_EQ(convertText(Charset::kEbcdic, Charset::kLatin1, u8(ebcdic), ebcdic.size(), &latin1), 0);
  EXPECT_EQ(latin1, all);
}

TEST(Charset, ArgumentsAreChecked) {
  std::string out;
  TRclrerr();
  EXPECT_EQ(convertText(static_cast<Charset>(9), Charset::kUtf8, u8("a"), 1, &out), 1);
  EXPECT_EQ(convertText(Charset::kUtf8, static_cast<Charset>(9), u8("a"), 1, &out), 1);
  EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, nullptr, 1, &out), 2);
  EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, u8("a"), 1, nullptr), 3);
  EXPECT_EQ(checkText(Charset::kIrv, nullptr, 2), 2);
  EXPECT_EQ(checkText(static_cast<Charset>(7), u8("a"), 1), 1);
  EXPECT_EQ(stackCodes(), (std::vector<std::string>{"1:from (1)", "1:to (2)", "2:data (3)",
                                                    "3:out (5)", "2:data (2)", "1:charset (1)"}));
}

}  // namespace
}  // namespace sigillo
