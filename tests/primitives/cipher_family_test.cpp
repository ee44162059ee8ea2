// IDEA, RC2, RC4, RC5, FEAL and DESX entry points: published vectors through
// the entry points, chaining across calls, ciphertext stealing, checks.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;
using test::toHex;

const uint16_t kInit = 1, kKeep = 0, kEnc = 0, kDec = 1;

TEST(CipherFamily, IdeaFealDesxPublishedBlocks) {
  struct Row {
    const char* name;
    std::function<uint16_t(const Bytes&, Bytes&, uint16_t)> call;
    const char* plain;
    const char* cipher;
  } rows[] = {
      {"IDEA",
       [](const Bytes& in, Bytes& out, uint16_t mode) {
         Bytes key = fromHex("00010002000300040005000600070008");
         uint32_t len = static_cast<uint32_t>(in.size());
         uint16_t rc = 0;
         return IDEAECB(in.data(), out.data(), &len, &kInit, key.data(), &mode, &rc);
       },
       "0000000100020003", "11FBED2B01986DE5"},
      {"FEAL-8",
       [](const Bytes& in, Bytes& out, uint16_t mode) {
         Bytes key = fromHex("0123456789ABCDEF");
         uint32_t len = static_cast<uint32_t>(in.size());
         uint16_t rc = 0;
         return FEAL(in.data(), out.data(), &len, &kInit, key.data(), &mode, &rc);
       },
       "0000000000000000", "CEEF2C86F2490752"},
      {"DESX",
       [](const Bytes& in, Bytes& out, uint16_t mode) {
         Bytes k = fromHex("0123456789ABCDEF"), k1 = fromHex("0101010101010101"),
               k2 = fromHex("1011121314151617");
         uint32_t len = static_cast<uint32_t>(in.size());
         uint16_t rc = 0;
         return DESX(in.data(), out.data(), &len, &kInit, k1.data(), k.data(), k2.data(), &mode,
                     &rc);
       },
       "94DBE082549A14EF", "9011121314151617"},
  };
  for (const auto& row : rows) {
    Bytes plain = fromHex(row.plain), out(8), back(8);
    EXPECT_EQ(row.call(plain, out, kEnc), 0) << row.name;
    EXPECT_EQ(toHex(out), row.cipher) << row.name;
    EXPECT_EQ(row.call(out, back, kDec), 0) << row.name;
    EXPECT_EQ(back, plain) << row.name;
  }
}

// RFC 2268, section 5.
TEST(CipherFamily, Rc2Rfc2268) {
  struct Row {
    const char* key;
    uint16_t effective;
    const char* plain;
    const char* cipher;
  } rows[] = {
      {"0000000000000000", 63, "0000000000000000", "EBB773F993278EFF"},
      {"FFFFFFFFFFFFFFFF", 64, "FFFFFFFFFFFFFFFF", "278B27E42E2F0D49"},
      {"3000000000000000", 64, "1000000000000001", "30649EDF9BE7D2C2"},
      {"88", 64, "0000000000000000", "61A8A244ADACCCF0"},
      {"88BCA90E90875A", 64, "0000000000000000", "6CCF4308974C267F"},
      {"88BCA90E90875A7F0F79C384627BAFB2", 64, "0000000000000000", "1A807D272BBE5DB1"},
      {"88BCA90E90875A7F0F79C384627BAFB2", 128, "0000000000000000", "2269552AB0F85CA6"},
  };
  for (const Row& row : rows) {
    Bytes key = fromHex(row.key), plain = fromHex(row.plain), out(8);
    uint32_t len = 8, keyLen = static_cast<uint32_t>(key.size());
    uint16_t rc = 0;
    EXPECT_EQ(RC2ECB(plain.data(), out.data(), &len, &kInit, key.data(), &keyLen, &row.effective,
                     &kEnc, &rc),
              0);
    EXPECT_EQ(toHex(out), row.cipher) << row.key;
  }
}

TEST(CipherFamily, Rc4StreamGoesOnAcrossCalls) {
  const Bytes key = test::textBytes("Key"), plain = test::textBytes("Plaintext");
  uint32_t keyLen = 3, len = static_cast<uint32_t>(plain.size());
  Bytes whole(plain.size()), pieces(plain.size());
  uint16_t rc = 0;
  ASSERT_EQ(RC4(plain.data(), whole.data(), &len, &kInit, key.data(), &keyLen, &kEnc, &rc), 0);
  EXPECT_EQ(toHex(whole), "BBF316E8D940AF0AD3");
  uint32_t four = 4, five = 5;
  RC4(plain.data(), pieces.data(), &four, &kInit, key.data(), &keyLen, &kEnc, &rc);
  const Bytes otherKey = test::textBytes("Zzz");  // ignored: the stream goes on
  RC4(plain.data() + 4, pieces.data() + 4, &five, &kKeep, otherKey.data(), &keyLen, &kDec, &rc);
  EXPECT_EQ(pieces, whole);
}

// RC5-32/12/16 (Rivest) and RC5-CBC of RFC 2040 through the entry points.
TEST(CipherFamily, Rc5EcbAndCbc) {
  Bytes key(16, 0), plain(8, 0), out(8);
  uint32_t len = 8, keyLen = 16;
  uint16_t rounds = 12, rc = 0;
  EXPECT_EQ(
      RC5ECB(plain.data(), out.data(), &len, &kInit, key.data(), &keyLen, &rounds, &kEnc, &rc), 0);
  EXPECT_EQ(toHex(out), "21A5DBEE154B8F6D");
  struct Row {
    uint16_t rounds;
    const char* key;
    const char* iv;
    const char* plain;
    const char* cipher;
  } rows[] = {{0, "00", "0102030405060708", "1020304050607080", "8B9DED91CE7794A6"},
              {12, "00", "0102030405060708", "1020304050607080", "B2B3209DB6594DA4"},
              {16, "00", "0102030405060708", "1020304050607080", "545F7F32A5FC3836"}};
  for (const Row& row : rows) {
    Bytes k = fromHex(row.key), iv = fromHex(row.iv), p = fromHex(row.plain), c(8);
    uint32_t kl = static_cast<uint32_t>(k.size());
    EXPECT_EQ(
        RC5CBC(p.data(), c.data(), &len, &kInit, k.data(), &kl, &row.rounds, iv.data(), &kEnc, &rc),
        0);
    EXPECT_EQ(toHex(c), row.cipher);
    EXPECT_EQ(iv, c);  // the chaining value is left for the next call
  }
}

Bytes rc5Cts(const Bytes& in, uint16_t end, uint16_t mode, Bytes& iv, uint16_t init = 1) {
  static const Bytes key = fromHex("000102030405060708090A0B0C0D0E0F");
  Bytes out(in.size());
  uint32_t len = static_cast<uint32_t>(in.size()), keyLen = 16;
  uint16_t rounds = 12, rc = 99;
  RC5CTS(in.data(), out.data(), &len, &init, &end, key.data(), &keyLen, &rounds, iv.data(), &mode,
         &rc);
  EXPECT_EQ(rc, 0);
  return out;
}

TEST(CipherFamily, Rc5CiphertextStealing) {
  Bytes data(40);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 13 + 1);
  const Bytes iv0 = fromHex("0102030405060708");
  // On whole blocks stealing is CBC with the last two blocks swapped.
  Bytes iv = iv0, cbcIv = iv0;
  Bytes cts = rc5Cts(Bytes(data.begin(), data.begin() + 32), 1, kEnc, iv);
  Bytes cbc = rc5Cts(Bytes(data.begin(), data.begin() + 32), 0, kEnc, cbcIv);
  EXPECT_EQ(Bytes(cts.begin(), cts.begin() + 16), Bytes(cbc.begin(), cbc.begin() + 16));
  EXPECT_EQ(Bytes(cts.begin() + 16, cts.begin() + 24), Bytes(cbc.begin() + 24, cbc.end()));
  EXPECT_EQ(Bytes(cts.begin() + 24, cts.end()), Bytes(cbc.begin() + 16, cbc.begin() + 24));
  for (size_t length : {9u, 15u, 16u, 17u, 33u, 40u}) {
    Bytes msg(data.begin(), data.begin() + length);
    iv = iv0;
    Bytes c = rc5Cts(msg, 1, kEnc, iv);
    ASSERT_EQ(c.size(), length);
    iv = iv0;
    EXPECT_EQ(rc5Cts(c, 1, kDec, iv), msg) << length;
    // A first call of whole blocks, then the stealing call, gives the same bytes.
    if (length > 16) {
      iv = iv0;
      Bytes head = rc5Cts(Bytes(msg.begin(), msg.begin() + 8), 0, kEnc, iv);
      Bytes rest = rc5Cts(Bytes(msg.begin() + 8, msg.end()), 1, kEnc, iv, 0);
      head.insert(head.end(), rest.begin(), rest.end());
      EXPECT_EQ(head, c) << length;
    }
  }
}

TEST(CipherFamily, FeedbackModesRoundTripAndContinue) {
  Bytes data(32);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(200 - i);
  const Bytes ideaKey = fromHex("00010002000300040005000600070008"), rc2Key = fromHex("88BCA90E");
  for (uint16_t nbits : {1, 8, 16, 64}) {
    for (bool ofb : {false, true}) {
      auto run = [&](const Bytes& in, Bytes& iv, uint16_t mode, uint16_t init, bool rc2) {
        Bytes out(in.size());
        uint32_t len = static_cast<uint32_t>(in.size()), keyLen = 4;
        uint16_t effective = 32, rc = 99;
        if (rc2) {
          auto entry = ofb ? RC2OFB : RC2CFB;
          entry(in.data(), out.data(), &len, &init, rc2Key.data(), &keyLen, &effective, &nbits,
                iv.data(), &mode, &rc);
        } else {
          auto entry = ofb ? IDEAOFB : IDEACFB;
          entry(in.data(), out.data(), &len, &init, ideaKey.data(), &nbits, iv.data(), &mode, &rc);
        }
        EXPECT_EQ(rc, 0);
        return out;
      };
      for (bool rc2 : {false, true}) {
        Bytes iv = fromHex("FEDCBA9876543210");
        Bytes whole = run(data, iv, kEnc, 1, rc2);
        Bytes iv2 = fromHex("FEDCBA9876543210");
        Bytes first = run(Bytes(data.begin(), data.begin() + 16), iv2, kEnc, 1, rc2);
        Bytes second = run(Bytes(data.begin() + 16, data.end()), iv2, kEnc, 0, rc2);
        first.insert(first.end(), second.begin(), second.end());
        EXPECT_EQ(first, whole) << nbits << ofb << rc2;
        Bytes iv3 = fromHex("FEDCBA9876543210");
        EXPECT_EQ(run(whole, iv3, kDec, 1, rc2), data) << nbits << ofb << rc2;
      }
    }
  }
}

}  // namespace
}  // namespace sigillo
