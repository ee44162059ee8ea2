// The hash family's entry points: published vectors, block-by-block use and
// argument checks.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "primitives/hashstream.h"
#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::fromHex;
using test::Refusal;
using test::toHex;

using PlainEntry = uint16_t (*)(const uint8_t*, const uint32_t*, uint8_t*, const uint16_t*,
                                uint16_t*);
using HmacEntry = uint16_t (*)(const uint8_t*, const uint32_t*, uint8_t*, const uint16_t*,
                               const uint8_t*, const uint32_t*, uint16_t*);

// The whole message in one call.
std::string plainDigest(PlainEntry entry, const std::string& msg, size_t size) {
  uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
  uint32_t len = static_cast<uint32_t>(msg.size());
  uint16_t mode = SIGILLO_BLOCK_ONLY, rc = 99;
  EXPECT_EQ(entry(reinterpret_cast<const uint8_t*>(msg.data()), &len, state, &mode, &rc), 0);
  EXPECT_EQ(rc, 0);
  return toHex(state, size);
}

// The message fed in pieces of `piece` bytes: first, middles, last.
std::string plainDigestInPieces(PlainEntry entry, const std::string& msg, size_t piece,
                                size_t size) {
  uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
  uint16_t rc = 0;
  size_t pos = 0;
  bool first = true;
  do {
    uint32_t len = static_cast<uint32_t>(std::min(piece, msg.size() - pos));
    bool last = pos + len == msg.size();
    uint16_t mode = (first ? SIGILLO_BLOCK_FIRST : 0) | (last ? SIGILLO_BLOCK_LAST : 0);
    EXPECT_EQ(entry(reinterpret_cast<const uint8_t*>(msg.data()) + pos, &len, state, &mode, &rc),
              0);
    pos += len;
    first = false;
  } while (pos < msg.size());
  return toHex(state, size);
}

std::string hmacDigest(HmacEntry entry, const std::vector<uint8_t>& key, const std::string& msg,
                       size_t size) {
  uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
  uint32_t len = static_cast<uint32_t>(msg.size());
  uint32_t keyLen = static_cast<uint32_t>(key.size());
  uint16_t mode = SIGILLO_BLOCK_ONLY, rc = 99;
  static const uint8_t kNoKey[1] = {};
  EXPECT_EQ(entry(reinterpret_cast<const uint8_t*>(msg.data()), &len, state, &mode,
                  key.empty() ? kNoKey : key.data(), &keyLen, &rc),
            0);
  return toHex(state, size);
}

struct PlainVector {
  const char* name;
  PlainEntry entry;
  size_t size;
  std::string msg;
  const char* digest;
};

const std::string kMillionA(1000000, 'a');
const std::string k448 = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const std::string k896 =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnop"
    "qrsmnopqrstnopqrstu";

// RFC 1321, FIPS 180-4 examples, the RIPEMD-160 reference values, RFC 1319,
// RFC 1320 and the check values of "123456789".
const PlainVector kPlainVectors[] = {
    {"md5", MD5, 16, "", "D41D8CD98F00B204E9800998ECF8427E"},
    {"md5", MD5, 16, "a", "0CC175B9C0F1B6A831C399E269772661"},
    {"md5", MD5, 16, "abc", "900150983CD24FB0D6963F7D28E17F72"},
    {"md5", MD5, 16, "message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
    {"md5", MD5, 16, "abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
    {"md5", MD5, 16, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
     "D174AB98D277D9F5A5611C2C9F419D9F"},
    {"md5", MD5, 16,
     "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57EDF4A22BE3C955AC49DA2E2107B67A"},
    {"sha1", SHA1, 20, "abc", "A9993E364706816ABA3E25717850C26C9CD0D89D"},
    {"sha1", SHA1, 20, k448, "84983E441C3BD26EBAAE4AA1F95129E5E54670F1"},
    {"sha1", SHA1, 20, kMillionA, "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F"},
    {"sha256", SHA256, 32, "abc",
     "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"},
    {"sha256", SHA256, 32, k448,
     "248D6A61D20638B8E5C026930C3E6039A33CE45964FF2167F6ECEDD419DB06C1"},
    {"sha256", SHA256, 32, kMillionA,
     "CDC76E5C9914FB9281A1C7E284D73E67F1809A48A497200E046D39CCC7112CD0"},
    {"sha512", SHA512, 64, "abc",
     "DDAF35A193617ABACC417349AE20413112E6FA4E89A97EA20A9EEEE64B55D39A2192992A274FC1A836BA3C23A3"
     "FEEBBD454D4423643CE80E2A9AC94FA54CA49F"},
    {"sha512", SHA512, 64, k896,
     "8E959B75DAE313DA8CF4F72814FC143F8F7779C6EB9F7FA17299AEADB6889018501D289E4900F7E4331B99DEC4"
     "B5433AC7D329EEB6DD26545E96E55B874BE909"},
    {"sha512", SHA512, 64, kMillionA,
     "E718483D0CE769644E2E42C7BC15B4638E1F98B13B2044285632A803AFA973EBDE0FF244877EA60A4CB0432CE5"
     "77C31BEB009C5C2C49AA2E4EADB217AD8CC09B"},
    {"ripemd", RIPEMD, 20, "", "9C1185A5C5E9FC54612808977EE8F548B2258D31"},
    {"ripemd", RIPEMD, 20, "a", "0BDC9D2D256B3EE9DAAE347BE6F4DC835A467FFE"},
    {"ripemd", RIPEMD, 20, "abc", "8EB208F7E05D987A9B044A8E98C6B087F15A0BFC"},
    {"ripemd", RIPEMD, 20, "message digest", "5D0689EF49D2FAE572B881B123A85FFA21595F36"},
    {"ripemd", RIPEMD, 20, kMillionA, "52783243C1697BDBE16D37F97F68F08325DC1528"},
    {"md2", MD2, 16, "abc", "DA853B0D3F88D99B30283A69E6DED6BB"},
    {"md4", MD4, 16, "abc", "A448017AAF21D8525FC10AE87AA6729D"},
    {"crc16", CRC16, 2, "123456789", "BB3D"},
    {"fcs16", FCS16, 2, "123456789", "906E"},
    {"fcs32", FCS32, 4, "123456789", "CBF43926"},
};

TEST(HashEntry, PublishedVectors) {
  for (const PlainVector& v : kPlainVectors) {
    EXPECT_EQ(plainDigest(v.entry, v.msg, v.size), v.digest) << v.name << " len " << v.msg.size();
  }
}

TEST(HashEntry, BlockByBlockEqualsOneCall) {
  const std::string msg = kMillionA.substr(0, 40000) + "fine";
  for (const PlainVector& v : kPlainVectors) {
    std::string whole = plainDigest(v.entry, msg, v.size);
    for (size_t piece : {1u, 63u, 64u, 65u, 16384u}) {
      if (piece == 1 && msg.size() > 5000) continue;
      EXPECT_EQ(plainDigestInPieces(v.entry, msg, piece, v.size), whole) << v.name << piece;
    }
  }
  EXPECT_EQ(openHashStreams(), 0u);
}

struct HmacVector {
  const char* name;
  HmacEntry entry;
  size_t size;
  std::vector<uint8_t> key;
  std::string msg;
  const char* mac;
};

std::vector<uint8_t> bytes(size_t n, uint8_t value) { return std::vector<uint8_t>(n, value); }
std::vector<uint8_t> text(const char* s) { return std::vector<uint8_t>(s, s + strlen(s)); }
const std::string kLargeKeyMsg = "Test Using Larger Than Block-Size Key - Hash Key First";

// RFC 2202 and RFC 4231.
const HmacVector kHmacVectors[] = {
    {"hmac-md5", HMCMD5, 16, bytes(16, 0x0B), "Hi There", "9294727A3638BB1C13F48EF8158BFC9D"},
    {"hmac-md5", HMCMD5, 16, text("Jefe"), "what do ya want for nothing?",
     "750C783E6AB0B503EAA86E310A5DB738"},
    {"hmac-md5", HMCMD5, 16, bytes(16, 0xAA), std::string(50, '\xDD'),
     "56BE34521D144C88DBB8C733F0E8B3F6"},
    {"hmac-md5", HMCMD5, 16, bytes(80, 0xAA), kLargeKeyMsg, "6B1AB7FE4BD7BF8F0B62E6CE61B9D0CD"},
    {"hmac-sha1", HMCSHA1, 20, bytes(20, 0x0B), "Hi There",
     "B617318655057264E28BC0B6FB378C8EF146BE00"},
    {"hmac-sha1", HMCSHA1, 20, text("Jefe"), "what do ya want for nothing?",
     "EFFCDF6AE5EB2FA2D27416D5F184DF9C259A7C79"},
    {"hmac-sha1", HMCSHA1, 20, bytes(20, 0xAA), std::string(50, '\xDD'),
     "125D7342B9AC11CD91A39AF48AA17B4F63F175D3"},
    {"hmac-sha1", HMCSHA1, 20, bytes(80, 0xAA), kLargeKeyMsg,
     "AA4AE5E15272D00E95705637CE8A3B55ED402112"},
    {"hmac-sha256", HMCSHA256, 32, bytes(20, 0x0B), "Hi There",
     "B0344C61D8DB38535CA8AFCEAF0BF12B881DC200C9833DA726E9376C2E32CFF7"},
    {"hmac-sha256", HMCSHA256, 32, text("Jefe"), "what do ya want for nothing?",
     "5BDCC146BF60754E6A042426089575C75A003F089D2739839DEC58B964EC3843"},
    {"hmac-sha256", HMCSHA256, 32, bytes(131, 0xAA), kLargeKeyMsg,
     "60E431591EE0B67F0D8A26AACBF5B77F8E0BC6213728C5140546040F0EE37F54"},
    {"hmac-sha512", HMCSHA512, 64, bytes(20, 0x0B), "Hi There",
     "87AA7CDEA5EF619D4FF0B4241A1D6CB02379F4E2CE4EC2787AD0B30545E17CDEDAA833B7D6B8A702038B274EAE"
     "A3F4E4BE9D914EEB61F1702E696C203A126854"},
    {"hmac-sha512", HMCSHA512, 64, text("Jefe"), "what do ya want for nothing?",
     "164B7A7BFCF819E2E395FBE73B56E0A387BD64222E831FD610270CD7EA2505549758BF75C05A994A6D034F65F8"
     "F0E6FDCAEAB1A34D4A6B4B636E070A38BCE737"},
    {"hmac-sha512", HMCSHA512, 64, bytes(131, 0xAA), kLargeKeyMsg,
     "80B24263C7C1A3EBB71493C1DD7BE8B49B46D1F41B4AEEC1121B013783F8F3526B56D037E05F2598BD0FD2215D"
     "6A1E5295E64F73F63F0AEC8B915A985D786598"},
};

TEST(HashEntry, HmacPublishedVectors) {
  for (const HmacVector& v : kHmacVectors) {
    EXPECT_EQ(hmacDigest(v.entry, v.key, v.msg, v.size), v.mac) << v.name;
  }
}

struct WycheproofFile {
  const char* file;
  HmacEntry entry;
  size_t size;
};

TEST(HashEntry, WycheproofHmac) {
  const WycheproofFile files[] = {{"hmac_sha1_test.json", HMCSHA1, 20},
                                  {"hmac_sha256_test.json", HMCSHA256, 32},
                                  {"hmac_sha512_test.json", HMCSHA512, 64}};
  for (const WycheproofFile& f : files) {
    auto cases = test::loadWycheproofMac(std::string(SIGILLO_TESTDATA) + "/wycheproof/" + f.file);
    ASSERT_GT(cases.size(), 150u) << f.file;
    for (const test::MacCase& c : cases) {
      auto msg = fromHex(c.msg);
      std::string mac =
          hmacDigest(f.entry, fromHex(c.key), std::string(msg.begin(), msg.end()), f.size);
      std::string expected = c.tag;
      for (char& ch : expected) ch = static_cast<char>(toupper(ch));
      bool matches = mac.substr(0, expected.size()) == expected;
      EXPECT_EQ(matches, c.result == "valid") << f.file << " tcId " << c.id;
    }
  }
}

// ---- Argument checks ----------------------------------------------------------

TEST(HashEntry, ArgumentChecksInOrder) {
  static const uint8_t data[16] = {};
  static uint8_t state[SIGILLO_HASH_STATE_SIZE];
  static const uint32_t len = 3, bigKey = 2049;
  static const uint16_t only = SIGILLO_BLOCK_ONLY, badMode = 4, badVariant = 3;
  const Refusal cases[] = {
      {"bufi", [](uint16_t* rc) { return MD5(nullptr, &len, state, &only, rc); }, 2, "bufi (1)"},
      {"insz", [](uint16_t* rc) { return SHA1(data, nullptr, state, &only, rc); }, 5, "insz (2)"},
      {"state", [](uint16_t* rc) { return SHA256(data, &len, nullptr, &only, rc); }, 3,
       "state (3)"},
      {"bmode null", [](uint16_t* rc) { return CRC16(data, &len, state, nullptr, rc); }, 1,
       "bmode (4)"},
      {"bmode 4", [](uint16_t* rc) { return FCS32(data, &len, state, &badMode, rc); }, 1,
       "bmode (4)"},
      {"bufi before bmode", [](uint16_t* rc) { return MD4(nullptr, &len, state, &badMode, rc); }, 2,
       "bufi (1)"},
      {"hmac key",
       [](uint16_t* rc) { return HMCSHA1(data, &len, state, &only, nullptr, &len, rc); }, 4,
       "key (5)"},
      {"hmac keylen null",
       [](uint16_t* rc) { return HMCMD5(data, &len, state, &only, data, nullptr, rc); }, 7,
       "keylen (6)"},
      {"hmac keylen 2049",
       [](uint16_t* rc) { return HMCSHA512(data, &len, state, &only, data, &bigKey, rc); }, 7,
       "keylen (6)"},
      {"hf1 key", [](uint16_t* rc) { return HF1(data, &len, state, &only, nullptr, rc); }, 4,
       "key1 (5)"},
      {"hf2 key2", [](uint16_t* rc) { return HF2(data, &len, state, &only, data, nullptr, rc); }, 4,
       "key2 (6)"},
      {"maa key2", [](uint16_t* rc) { return MAAISO(data, &len, state, &only, data, nullptr, rc); },
       4, "key2 (6)"},
      {"macsiso variant 3",
       [](uint16_t* rc) { return MACSISO(data, &len, state, &only, data, data, &badVariant, rc); },
       1, "variant (7)"},
      {"macsiso variant null",
       [](uint16_t* rc) { return MACSISO(data, &len, state, &only, data, data, nullptr, rc); }, 1,
       "variant (7)"},
      {"middle without first",
       [](uint16_t* rc) {
         uint16_t middle = SIGILLO_BLOCK_MIDDLE;
         memset(state, 0xEE, sizeof state);
         return SHA512(data, &len, state, &middle, rc);
       },
       306, "state (3)"},
  };
  for (const Refusal& c : cases) {
    test::expectOutcome(c);
    // With recording switched off a refused call still stops with its code.
    uint16_t rc = 0;
    TRenable(0);
    EXPECT_EQ(c.call(&rc), c.code) << c.what << " (recording off)";
    TRenable(1);
    EXPECT_EQ(rc, c.code) << c.what << " (recording off)";
  }
  EXPECT_EQ(SHA1(data, &len, state, &only, nullptr), 0);
  EXPECT_EQ(openHashStreams(), 0u);
}

TEST(HashEntry, HandleOfAnotherAlgorithmIsRefused) {
  uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
  const uint8_t data[4] = {1, 2, 3, 4};
  uint32_t len = 4;
  uint16_t first = SIGILLO_BLOCK_FIRST, last = SIGILLO_BLOCK_LAST, rc = 0;
  ASSERT_EQ(MD5(data, &len, state, &first, &rc), 0);
  EXPECT_EQ(SHA1(data, &len, state, &last, &rc), 306);
  EXPECT_EQ(MD5(data, &len, state, &last, &rc), 0);
  EXPECT_EQ(toHex(state, 16), "FC2236DB745C4435EA883A8733B61D2F");  // MD5 of 0102030401020304
  EXPECT_EQ(MD5(data, &len, state, &last, &rc), 306);               // already ended
}

TEST(HashEntry, OpenComputationsAreBounded) {
  std::vector<std::array<uint8_t, SIGILLO_HASH_STATE_SIZE>> states(kMaxHashStreams + 1);
  const uint8_t data[1] = {0};
  uint32_t len = 1;
  uint16_t first = SIGILLO_BLOCK_FIRST, last = SIGILLO_BLOCK_LAST, rc = 0;
  for (size_t i = 0; i < kMaxHashStreams; ++i)
    ASSERT_EQ(CRC16(data, &len, states[i].data(), &first, &rc), 0);
  EXPECT_EQ(CRC16(data, &len, states.back().data(), &first, &rc), 305);
  for (size_t i = 0; i < kMaxHashStreams; ++i)
    ASSERT_EQ(CRC16(data, &len, states[i].data(), &last, &rc), 0);
  EXPECT_EQ(openHashStreams(), 0u);
}

}  // namespace
}  // namespace sigillo
