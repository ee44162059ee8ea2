// Alphabets (base64, hexadecimal, character sets) against published vectors,
// libcrypto and iconv; PEM blocks and the DER-or-PEM loader against the
// openssl command; refused input with exact codes and messages.
#include "asn1/alphabet.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <map>
#include <numeric>

#include "asn1/pem.h"
#include "tests/asn1/asn_test_util.h"

namespace sigillo {
namespace {

using namespace test;

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

Bytes toBytes(const SecureBytes& s) { return Bytes(s.begin(), s.end()); }

// A certificate made by the openssl command loads as the DER openssl
// extracts, whether the file holds DER or PEM, and encodes back to the PEM
// openssl wrote; refused files leave the outputs as they were.
TEST(Alphabet, Base64HexCharsetsAndPemAgainstVectorsLibcryptoIconvAndOpenssl) {
  for (const auto& v : loadVectors("asn1/rfc4648.txt")) {
    const std::string plain = unquote(v.text("plain"));
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
  for (const auto& v : loadVectors("asn1/alphabet_refused.txt")) {
    SCOPED_TRACE(v.where());
    const std::string text = unescape(v.text("text"));
    const std::string error = v.has("error") ? v.text("error") : "0";
    Bytes out = {1, 2, 3};
    TRclrerr();
    EXPECT_EQ(v.group == "hex" ? hexDecode(text, &out) : base64Decode(text, &out),
              std::stoi(error));
    EXPECT_EQ(stackCodes(), v.has("error") ? Lines{error} : Lines{});
    EXPECT_EQ(out, v.has("plain") ? textBytes(v.text("plain")) : Bytes({1, 2, 3}));  // or kept
  }
  TRclrerr();
  EXPECT_EQ(base64Decode("Zg==", static_cast<SecureBytes*>(nullptr)), 3);
  EXPECT_EQ(stackCodes(), Lines{"3:out (2)"});
  // libcrypto's encoder is the reference for every length of a few blocks; wrapped output and PEM
  // blocks have lines of 64 characters, each ending with '\n'.
  for (size_t n = 0; n < 200; ++n) {
    Bytes data(n + 1);
    ASSERT_EQ(RAND_bytes(data.data(), static_cast<int>(n + 1)), 1);
    data.pop_back();
    std::string reference(4 * ((n + 2) / 3) + 1, '\0'), wrapped;
    reference.resize(static_cast<size_t>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(reference.data()), data.data(), static_cast<int>(n))));
    EXPECT_EQ(base64Encode(data.data(), n), reference) << n;
    for (size_t at = 0; at < reference.size(); at += 64) wrapped += reference.substr(at, 64) + "\n";
    EXPECT_EQ(base64Encode(data.data(), n, true), wrapped) << n;
    EXPECT_EQ(base64EncodedLength(n, true), wrapped.size()) << n;
    SecureBytes back;
    ASSERT_EQ(base64Decode(wrapped, &back), 0) << n;
    EXPECT_EQ(Bytes(back.begin(), back.end()), data) << n;
    if (n == 0) continue;
    std::string pem, label;
    ASSERT_EQ(pemEncode("TEST DATA", data.data(), n, &pem), 0);
    EXPECT_EQ(pem, "-----BEGIN TEST DATA-----\n" + wrapped + "-----END TEST DATA-----\n");
    ASSERT_EQ(pemDecode(pem, &label, &back), 0) << n;
    EXPECT_EQ(label, "TEST DATA");
    EXPECT_EQ(Bytes(back.begin(), back.end()), data) << n;
  }
  for (const auto& v : loadVectors("asn1/utf8.txt")) {
    SCOPED_TRACE(v.where());
    const Bytes bytes = v.bytes("hex");
    const std::string text(bytes.begin(), bytes.end());
    TRclrerr();
    std::string out = "kept";
    if (v.group == "valid") {
      EXPECT_EQ(checkText(Charset::kUtf8, u8(text), text.size()), 0);
      EXPECT_EQ(convertText(Charset::kUtf8, Charset::kUtf8, u8(text), text.size(), &out), 0);
      EXPECT_EQ(out, text);
      continue;
    }
    const std::string failure =
        "22:UTF-8 non valido alla posizione " + v.text("position") + ": " + v.text("reason");
    EXPECT_EQ(checkText(Charset::kUtf8, u8(text), text.size()), 22);
    EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, u8(text), text.size(), &out), 22);
    EXPECT_EQ(stackCodes(), (Lines{failure, failure}));
    EXPECT_EQ(out, "kept");
  }
  const std::map<std::string, Charset> sets = {{"irv", Charset::kIrv},
                                               {"latin1", Charset::kLatin1},
                                               {"ebcdic", Charset::kEbcdic},
                                               {"utf8", Charset::kUtf8},
                                               {"bmp", Charset::kBmp}};
  for (const auto& v : loadVectors("asn1/charsets.txt")) {
    SCOPED_TRACE(v.where());
    const Charset from = sets.at(v.text("from")), to = sets.at(v.text("to"));
    const Bytes in = v.bytes("in");
    std::string out = "kept";
    TRclrerr();
    const uint16_t rc = convertText(from, to, in.data(), in.size(), &out);
    if (v.has("out")) {
      EXPECT_EQ(rc, 0);
      EXPECT_EQ(toHex(textBytes(out)), v.text("out"));
      EXPECT_EQ(checkText(from, in.data(), in.size()), 0);
      continue;
    }
    EXPECT_EQ(rc, std::stoi(v.text("error")));
    EXPECT_EQ(stackCodes(), Lines{v.text("error")});
    EXPECT_EQ(out, "kept");
  }
  std::string out;
  TRclrerr();
  EXPECT_EQ(convertText(static_cast<Charset>(9), Charset::kUtf8, u8("a"), 1, &out), 1);
  EXPECT_EQ(convertText(Charset::kUtf8, static_cast<Charset>(9), u8("a"), 1, &out), 1);
  EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, nullptr, 1, &out), 2);
  EXPECT_EQ(convertText(Charset::kUtf8, Charset::kBmp, u8("a"), 1, nullptr), 3);
  EXPECT_EQ(checkText(Charset::kIrv, nullptr, 2), 2);
  EXPECT_EQ(checkText(static_cast<Charset>(7), u8("a"), 1), 1);
  EXPECT_EQ(stackCodes(), (Lines{"1:from (1)", "1:to (2)", "2:data (3)", "3:out (5)", "2:data (2)",
                                 "1:charset (1)"}));
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

  std::string all(256, '\0');
  std::iota(all.begin(), all.end(), '\0');
  std::string ebcdic, latin1;
  ASSERT_EQ(convertText(Charset::kLatin1, Charset::kUtf8, u8(all), all.size(), &utf8), 0);
  EXPECT_EQ(toHex(textBytes(utf8)), toHex(textBytes(iconvConvert("ISO-8859-1", "UTF-8", all))));
  ASSERT_EQ(convertText(Charset::kUtf8, Charset::kEbcdic, u8(utf8), utf8.size(), &ebcdic), 0);
  EXPECT_EQ(toHex(textBytes(ebcdic)), toHex(textBytes(iconvConvert("ISO-8859-1", "IBM037", all))));
  ASSERT_EQ(convertText(Charset::kEbcdic, Charset::kLatin1, u8(ebcdic), ebcdic.size(), &latin1), 0);
  EXPECT_EQ(latin1, all);
  std::string direct(256, '\0'), undone(256, '\0');  // the tables of the direct converters
  asciiToEbcdic(u8(all), 256, reinterpret_cast<uint8_t*>(direct.data()));
  ebcdicToAscii(u8(direct), 256, reinterpret_cast<uint8_t*>(undone.data()));
  EXPECT_EQ(toHex(textBytes(direct)), toHex(textBytes(ebcdic)));
  EXPECT_EQ(undone, all);
  const TempDir& cert = certificateDir();
  const std::string der = readFile(cert.file("c.der")), pem = readFile(cert.file("c.pem"));
  for (const char* file : {"c.der", "c.pem"}) {
    SecureBytes bytes;
    std::string label = "old";
    ASSERT_EQ(loadDerOrPem(cert.file(file).c_str(), &bytes, &label), 0) << file;
    EXPECT_EQ(toBytes(bytes), textBytes(der)) << file;
    EXPECT_EQ(label, file[2] == 'p' ? "CERTIFICATE" : "") << file;
    EXPECT_EQ(fileIsPem(cert.file(file).c_str()), file[2] == 'p') << file;
  }
  std::string text;
  ASSERT_EQ(pemEncode("CERTIFICATE", textBytes(der).data(), der.size(), &text), 0);
  EXPECT_EQ(text, pem);
  TempDir dir;
  const std::string empty = dir.file("empty"), broken = dir.file("broken.pem"),
                    missing = dir.file("missing"), huge = dir.file("huge");
  writeFile(empty, "");
  writeFile(broken, "intro\n-----BEGIN X-----\nZm9v\nYm=y\n-----END X-----\n");
  writeFile(huge, "");
  const std::string encrypted = dir.file("enc.pem");
  ASSERT_TRUE(test::run(
      "openssl genrsa 1024 | openssl rsa -traditional -aes128 -passout pass:s -out " + encrypted));
  ASSERT_EQ(truncate(huge.c_str(), static_cast<off_t>(kMaxLoadedFile + 1)), 0);
  const std::pair<const char*, Lines> cases[] = {
      {empty.c_str(), {"249:" + empty}},
      {missing.c_str(), {"200:file '" + missing + "' non trovato", "301:Esecuzione fallita"}},
      {broken.c_str(),
       {"22:Base64 non valido nel blocco PEM 'X' alla riga 4, colonna 3: padding '=' fuori posto",
        "301:File PEM '" + broken + "' non valido"}},
      {huge.c_str(), {"200:Il file '" + huge + "' e' troppo grande (oltre 268435456 byte)"}},
      {encrypted.c_str(),
       {"34:Blocco PEM 'RSA PRIVATE KEY' cifrato (Proc-Type: 4,ENCRYPTED) non supportato",
        "301:File PEM '" + encrypted + "' non valido"}},
      {nullptr, {"2:path (1)"}},
  };
  for (const auto& [file, stack] : cases) {
    SecureBytes bytes = {5};
    std::string label = "old";
    TRclrerr();
    EXPECT_EQ(loadDerOrPem(file, &bytes, &label), std::stoi(stack[0])) << stack[0];
    EXPECT_EQ(stackCodes(), stack);
    EXPECT_EQ(toBytes(bytes), Bytes{5});
    EXPECT_EQ(label, "old");
  }
  TRclrerr();
  EXPECT_EQ(loadDerOrPem(empty.c_str(), nullptr, nullptr), 3);
  EXPECT_EQ(stackCodes(), Lines{"3:bytes (2)"});
  // Unreadable files are no PEM and record nothing.
  TRclrerr();
  EXPECT_FALSE(fileIsPem(missing.c_str()));
  EXPECT_FALSE(fileIsPem(dir.path().c_str()));
  EXPECT_FALSE(fileIsPem(nullptr));
  EXPECT_TRUE(stackCodes().empty());
  for (const auto& v : loadVectors("asn1/pem.txt")) {
    SCOPED_TRACE(v.where());
    std::string label = "old";
    SecureBytes bytes = {9};
    size_t end = 77;
    TRclrerr();
    if (v.group == "accepted") {
      ASSERT_EQ(pemDecode(unescape(v.text("text")), &label, &bytes), 0);
      EXPECT_EQ(label, unescape(v.text("label")));
      EXPECT_EQ(toBytes(bytes), textBytes("foobar"));
    } else if (v.group == "refused") {
      EXPECT_EQ(pemDecode(unescape(v.text("text")), &label, &bytes, &end),
                std::stoi(v.text("error")));
      EXPECT_EQ(stackCodes(), Lines{v.text("error")});
      EXPECT_EQ(label, "old");
      EXPECT_EQ(toBytes(bytes), Bytes{9});
      EXPECT_EQ(end, 77u);
    } else if (v.group == "labels") {
      EXPECT_EQ(validPemLabel(unescape(v.text("label"))), v.number("valid") == 1);
    } else {
      const std::string data = unescape(v.text("data"));
      const auto verdict = v.text("verdict") == "pem" ? PemSniffer::kPem : PemSniffer::kDer;
      const auto* bytesOfData = reinterpret_cast<const uint8_t*>(data.data());
      PemSniffer whole, byByte;
      whole.feed(bytesOfData, data.size());
      EXPECT_EQ(whole.finish(), verdict);
      for (size_t i = 0; i < data.size(); ++i) byByte.feed(bytesOfData + i, 1);
      EXPECT_EQ(byByte.finish(), verdict);
    }
  }
  PemSniffer sniffer;  // stops at the decision
  const auto* head = reinterpret_cast<const uint8_t*>("-----BEGIN \0");
  EXPECT_EQ(sniffer.feed(head, 5), PemSniffer::kUndecided);
  EXPECT_EQ(sniffer.feed(head + 5, 6), PemSniffer::kPem);
  EXPECT_EQ(sniffer.feed(head + 11, 1), PemSniffer::kPem);
  const uint8_t seq[] = {0x30, 0x00};
  out = "kept";
  SecureBytes bytes;
  TRclrerr();
  EXPECT_EQ(pemEncode("A--B", seq, 2, &out), 2);
  EXPECT_EQ(pemEncode("X", nullptr, 2, &out), 2);
  EXPECT_EQ(pemEncode("X", seq, 0, &out), 5);
  EXPECT_EQ(pemEncode("X", seq, 2, static_cast<std::string*>(nullptr)), 3);
  EXPECT_EQ(pemDecode("x", nullptr, &bytes), 3);
  EXPECT_EQ(pemDecode("x", &out, nullptr), 3);
  EXPECT_EQ(stackCodes(), (Lines{"2:Etichetta PEM 'A--B' non valida", "2:der (2)", "5:length (3)",
                                 "3:out (4)", "3:label (2)", "3:der (3)"}));
  EXPECT_EQ(out, "kept");
}

}  // namespace
}  // namespace sigillo
