// Cipher entry points: published vectors, chaining across calls, the kept
// key schedule and the argument checks.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;
using test::toHex;

const Bytes kDesKey = fromHex("0123456789ABCDEF");
const Bytes kDesIv = fromHex("1234567890ABCDEF");
const Bytes kNowIsTheTime = test::textBytes("Now is the time for all ");

enum class DesMode { kEcb, kCbc, kCfb, kOfb };

// One DES call with a fresh schedule; iv updated in place.
Bytes des(DesMode m, const Bytes& in, Bytes& iv, uint16_t nbits, uint16_t mode, uint16_t init = 1,
          const Bytes& key = kDesKey) {
  Bytes out(in.size());
  uint32_t len = static_cast<uint32_t>(in.size());
  uint16_t rc = 99;
  switch (m) {
    case DesMode::kEcb:
      DEAECB(in.data(), out.data(), &len, &init, key.data(), &mode, &rc);
      break;
    case DesMode::kCbc:
      DEACBC(in.data(), out.data(), &len, &init, key.data(), iv.data(), &mode, &rc);
      break;
    case DesMode::kCfb:
      DEACFB(in.data(), out.data(), &len, &init, key.data(), &nbits, iv.data(), &mode, &rc);
      break;
    case DesMode::kOfb:
      DEAOFB(in.data(), out.data(), &len, &init, key.data(), &nbits, iv.data(), &mode, &rc);
      break;
  }
  EXPECT_EQ(rc, 0) << (TRgeterrstk() ? TRgeterrstk()->message : "");
  return out;
}

struct DesVector {
  const char* name;
  DesMode mode;
  uint16_t nbits;
  Bytes plain;
  const char* cipher;
};

// FIPS 81, appendix B.
const DesVector kFips81[] = {
    {"ECB", DesMode::kEcb, 64, kNowIsTheTime, "3FA40E8A984D48156A271787AB8883F9893D51EC4B563B53"},
    {"CBC", DesMode::kCbc, 64, kNowIsTheTime, "E5C7CDDE872BF27C43E934008C389C0F683788499A7C05F6"},
    {"CFB-64", DesMode::kCfb, 64, kNowIsTheTime,
     "F3096249C7F46E51A69E839B1A92F78403467133898EA622"},
    {"CFB-8", DesMode::kCfb, 8, test::textBytes("Now is the"), "F31FDA07011462EE187F"},
    {"OFB-64", DesMode::kOfb, 64, kNowIsTheTime,
     "F3096249C7F46E5135F24A242EEB3D3F3D6D5BE3255AF8C3"},
};

TEST(CipherEntry, DesFips81) {
  for (const DesVector& v : kFips81) {
    Bytes iv = kDesIv;
    Bytes c = des(v.mode, v.plain, iv, v.nbits, 0);
    EXPECT_EQ(toHex(c), v.cipher) << v.name;
    Bytes iv2 = kDesIv;
    EXPECT_EQ(des(v.mode, c, iv2, v.nbits, 1), v.plain) << v.name;
  }
}

// Triple DES with three equal keys is single DES: libcrypto's DES-EDE3 in
// CFB-1 and CFB-8 is an independent reference for the n-bit feedback.
Bytes referenceCfb(const char* name, const Bytes& in, const Bytes& iv) {
  Bytes key = kDesKey;
  key.insert(key.end(), kDesKey.begin(), kDesKey.end());
  key.insert(key.end(), kDesKey.begin(), kDesKey.end());
  EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, name, nullptr);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  Bytes out(in.size());
  int n = 0;
  EVP_EncryptInit_ex2(ctx, cipher, key.data(), iv.data(), nullptr);
  EVP_EncryptUpdate(ctx, out.data(), &n, in.data(), static_cast<int>(in.size()));
  EVP_CIPHER_CTX_free(ctx);
  EVP_CIPHER_free(cipher);
  return out;
}

TEST(CipherEntry, DesNarrowFeedbackMatchesLibcrypto) {
  Bytes data(40);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 37 + 5);
  Bytes iv = kDesIv;
  EXPECT_EQ(des(DesMode::kCfb, data, iv, 1, 0), referenceCfb("DES-EDE3-CFB1", data, kDesIv));
  iv = kDesIv;
  EXPECT_EQ(des(DesMode::kCfb, data, iv, 8, 0), referenceCfb("DES-EDE3-CFB8", data, kDesIv));
}

TEST(CipherEntry, DesPiecesEqualOneCall) {
  Bytes data(48);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 11);
  struct Row {
    DesMode mode;
    uint16_t nbits;
    size_t piece;
  } rows[] = {{DesMode::kCbc, 64, 8}, {DesMode::kCfb, 64, 16}, {DesMode::kCfb, 8, 3},
              {DesMode::kCfb, 12, 3}, {DesMode::kCfb, 1, 1},   {DesMode::kOfb, 64, 24},
              {DesMode::kOfb, 16, 2}, {DesMode::kOfb, 12, 3}};
  for (const Row& row : rows) {
    Bytes iv = kDesIv;
    Bytes whole = des(row.mode, data, iv, row.nbits, 0);
    Bytes ivPieces = kDesIv, pieces;
    for (size_t pos = 0; pos < data.size(); pos += row.piece) {
      Bytes part(data.begin() + pos, data.begin() + pos + row.piece);
      Bytes c = des(row.mode, part, ivPieces, row.nbits, 0, pos == 0 ? 1 : 0);
      pieces.insert(pieces.end(), c.begin(), c.end());
    }
    EXPECT_EQ(pieces, whole) << row.nbits;
    EXPECT_EQ(ivPieces, iv) << row.nbits;
    Bytes ivBack = kDesIv;
    EXPECT_EQ(des(row.mode, whole, ivBack, row.nbits, 1), data) << row.nbits;
  }
}

TEST(CipherEntry, InitZeroReusesTheLastSchedule) {
  Bytes iv = kDesIv;
  Bytes first = des(DesMode::kCbc, kNowIsTheTime, iv, 64, 0, 1, kDesKey);
  iv = kDesIv;
  Bytes other = fromHex("FEDCBA9876543210");
  Bytes second = des(DesMode::kCbc, kNowIsTheTime, iv, 64, 0, 0, other);
  EXPECT_EQ(second, first);
  iv = kDesIv;
  EXPECT_NE(des(DesMode::kCbc, kNowIsTheTime, iv, 64, 0, 1, other), first);
}

// SP 800-67: three-key triple DES.
TEST(CipherEntry, TripleDes) {
  const Bytes k1 = fromHex("0123456789ABCDEF"), k2 = fromHex("23456789ABCDEF01"),
              k3 = fromHex("456789ABCDEF0123");
  const Bytes plain = test::textBytes("The qufck brown fox jump");
  const char* expected = "A826FD8CE53B855FCCE21C8112256FE668D5C05DD9B6B900";
  Bytes out(plain.size()), back(plain.size());
  uint32_t len = static_cast<uint32_t>(plain.size());
  uint16_t init = 1, enc = 0, dec = 1, rc = 0;
  EXPECT_EQ(
      DEA3ECB(plain.data(), out.data(), &len, &init, k1.data(), k2.data(), k3.data(), &enc, &rc),
      0);
  EXPECT_EQ(toHex(out), expected);
  Bytes joined = k1;
  joined.insert(joined.end(), k2.begin(), k2.end());
  joined.insert(joined.end(), k3.begin(), k3.end());
  uint32_t keyLen = 24;
  EXPECT_EQ(TDEA(out.data(), back.data(), &len, &init, joined.data(), &keyLen, &dec, &rc), 0);
  EXPECT_EQ(back, plain);
  // Two keys: K1 K2 K1.
  keyLen = 16;
  Bytes twoKey(out.size());
  EXPECT_EQ(TDEA(plain.data(), twoKey.data(), &len, &init, joined.data(), &keyLen, &enc, &rc), 0);
  Bytes threeAsTwo(out.size());
  EXPECT_EQ(DEA3ECB(plain.data(), threeAsTwo.data(), &len, &init, k1.data(), k2.data(), k1.data(),
                    &enc, &rc),
            0);
  EXPECT_EQ(twoKey, threeAsTwo);
  Bytes iv = fromHex("0001020304050607"), cbc(plain.size());
  EXPECT_EQ(DEA3CBC(plain.data(), cbc.data(), &len, &init, k1.data(), k2.data(), k3.data(),
                    iv.data(), &enc, &rc),
            0);
  EXPECT_EQ(toHex(iv), toHex(cbc.data() + 16, 8));
}

struct AesVector {
  const char* name;
  const char* key;
  const char* iv;
  const char* cipher;
  uint16_t (*entry)(const uint8_t*, uint8_t*, const uint32_t*, const uint16_t*, const uint8_t*,
                    const uint32_t*, uint8_t*, const uint16_t*, uint16_t*);
};

const char* kAesPlain =
    "6BC1BEE22E409F96E93D7E117393172AAE2D8A571E03AC9C9EB76FAC45AF8E5130C81C46A35CE411E5FBC1191A0A"
    "52EFF69F2445DF4F9B17AD2B417BE66C3710";
const char* kAes128 = "2B7E151628AED2A6ABF7158809CF4F3C";
const char* kAes256 = "603DEB1015CA71BE2B73AEF0857D77811F352C073B6108D72D9810A30914DFF4";
const char* kIv = "000102030405060708090A0B0C0D0E0F";

// NIST SP 800-38A, appendix F.
const AesVector kSp80038a[] = {
    {"CBC-128", kAes128, kIv,
     "7649ABAC8119B246CEE98E9B12E9197D5086CB9B507219EE95DB113A917678B273BED6B8E3C1743B7116E69E2222"
     "95163FF1CAA1681FAC09120ECA307586E1A7",
     AESCBC},
    {"CFB128-128", kAes128, kIv,
     "3B3FD92EB72DAD20333449F8E83CFB4AC8A64537A0B3A93FCDE3CDAD9F1CE58B26751F67A3CBB140B1808CF187A4"
     "F4DFC04B05357C5D1C0EEAC4C66F9FF7F2E6",
     AESCFB},
    {"OFB-128", kAes128, kIv,
     "3B3FD92EB72DAD20333449F8E83CFB4A7789508D16918F03F53C52DAC54ED8259740051E9C5FECF64344F7A82260"
     "EDCC304C6528F659C77866A510D9C1D6AE5E",
     AESOFB},
    {"CBC-256", kAes256, kIv,
     "F58C4C04D6E5F1BA779EABFB5F7BFBD69CFC4E967EDB808D679F777BC6702C7D39F23369A9D9BACFA530E2630423"
     "1461B2EB05E2C39BE9FCDA6C19078C6A9D1B",
     AESCBC},
};

TEST(CipherEntry, AesSp80038a) {
  const Bytes plain = fromHex(kAesPlain);
  for (const AesVector& v : kSp80038a) {
    Bytes key = fromHex(v.key), iv = fromHex(v.iv), out(plain.size()), back(plain.size());
    uint32_t len = static_cast<uint32_t>(plain.size()), keyLen = static_cast<uint32_t>(key.size());
    uint16_t init = 1, enc = 0, dec = 1, rc = 99;
    EXPECT_EQ(
        v.entry(plain.data(), out.data(), &len, &init, key.data(), &keyLen, iv.data(), &enc, &rc),
        0)
        << v.name;
    EXPECT_EQ(toHex(out), v.cipher) << v.name;
    iv = fromHex(v.iv);
    // Two calls of two blocks each, the second reusing the schedule.
    uint32_t half = len / 2;
    uint16_t keep = 0;
    v.entry(out.data(), back.data(), &half, &init, key.data(), &keyLen, iv.data(), &dec, &rc);
    v.entry(out.data() + half, back.data() + half, &half, &keep, key.data(), &keyLen, iv.data(),
            &dec, &rc);
    EXPECT_EQ(back, plain) << v.name;
  }
}

TEST(CipherEntry, AesEcbFips197AndSp80038a) {
  struct Row {
    const char* key;
    const char* plain;
    const char* cipher;
  } rows[] = {
      {"000102030405060708090A0B0C0D0E0F", "00112233445566778899AABBCCDDEEFF",
       "69C4E0D86A7B0430D8CDB78070B4C55A"},
      {"000102030405060708090A0B0C0D0E0F1011121314151617", "00112233445566778899AABBCCDDEEFF",
       "DDA97CA4864CDFE06EAF70A0EC0D7191"},
      {"000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F",
       "00112233445566778899AABBCCDDEEFF", "8EA2B7CA516745BFEAFC49904B496089"},
      {kAes128, kAesPlain,
       "3AD77BB40D7A3660A89ECAF32466EF97F5D3D58503B9699DE785895A96FDBAAF43B1CD7F598ECE23881B00E3ED0"
       "3"
       "06887B0C785E27E8AD3F8223207104725DD4"},
  };
  for (const Row& row : rows) {
    Bytes key = fromHex(row.key), plain = fromHex(row.plain), out(plain.size()), back(plain.size());
    uint32_t len = static_cast<uint32_t>(plain.size()), keyLen = static_cast<uint32_t>(key.size());
    uint16_t init = 1, enc = 0, dec = 1, rc = 0;
    EXPECT_EQ(AESECB(plain.data(), out.data(), &len, &init, key.data(), &keyLen, &enc, &rc), 0);
    EXPECT_EQ(toHex(out), row.cipher);
    YAESECB(out.data(), back.data(), &len, &init, key.data(), &keyLen, &dec, &rc);
    EXPECT_EQ(back, plain);
  }
}

}  // namespace
}  // namespace sigillo
