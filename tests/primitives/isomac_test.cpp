// ISO/IEC 9797-1 MAC algorithms 1, 2 and 3 with padding method 1, against the
// FIPS 113 / ANSI X9.9 example, the examples of ISO/IEC 9797-1 Annex B, the
// retail MAC examples of ICAO Doc 9303 Part 11 Appendix D, and a CBC-MAC built
// on OpenSSL's DES for lengths around the block boundaries.
#include "primitives/isomac.h"

#include <gtest/gtest.h>

#include <string>

#include "digest_test_util.h"
#include "openssl_legacy_reference.h"

namespace sigillo {
namespace {

using test_support::Bytes;
using test_support::digestHex;
using test_support::fromHex;
using test_support::textBytes;
using test_support::toHex;

const Bytes kKey = fromHex("0123456789ABCDEF");
const Bytes kSecondKey = fromHex("FEDCBA9876543210");
// The Annex B key for algorithm 2 is derived from K by XOR with F0...F0.
const Bytes kDerivedKey = fromHex("F1D3B597795B3D1F");

std::string mac1(const Bytes& key, const Bytes& message) {
  return digestHex(*newIsoMac1(key.data()), message);
}

std::string mac2(const Bytes& k1, const Bytes& k2, const Bytes& message) {
  return digestHex(*newIsoMac2(k1.data(), k2.data()), message);
}

std::string mac3(const Bytes& k1, const Bytes& k2, const Bytes& message) {
  return digestHex(*newIsoMac3(k1.data(), k2.data()), message);
}

// FIPS 113 prints the leftmost 32 bits, F1D30F68, of this 64-bit value.
TEST(IsoMacTest, Fips113Example) {
  EXPECT_EQ(mac1(kKey, textBytes("7654321 Now is the time for ")), "F1D30F6849312CA4");
}

// Annex B: "Now is the time for all " (a whole number of blocks) and
// "Now is the time for it" (padded with two zero bytes).
TEST(IsoMacTest, Iso9797AnnexBExamples) {
  const Bytes whole = textBytes("Now is the time for all ");
  const Bytes partial = textBytes("Now is the time for it");
  EXPECT_EQ(mac1(kKey, whole).substr(0, 8), "70A30640");
  EXPECT_EQ(mac1(kKey, partial).substr(0, 8), "E45B3AD2");
  EXPECT_EQ(mac2(kKey, kDerivedKey, whole), "10F9BC67A03CD5D8");
  EXPECT_EQ(mac2(kKey, kDerivedKey, partial), "215E9CE6D91BC7FB");
  EXPECT_EQ(mac3(kKey, kSecondKey, whole), "A1C72E74EA3FA9B6");
  EXPECT_EQ(mac3(kKey, kSecondKey, partial), "2E2B1428CC78254F");
}

// ICAO 9303 pads with 80 00..00 before MACing (padding method 2); with that
// padding written out, method 1 adds nothing and the results must agree.
TEST(IsoMacTest, IcaoRetailMacExamples) {
  const Bytes k1 = fromHex("7962D9ECE03D1ACD");
  const Bytes k2 = fromHex("4C76089DCE131543");
  const struct {
    std::string data;
    std::string expected;
  } cases[] = {
      {"72C29C2371CC9BDB65B779B8E8D37B29ECC154AA56A8799FAE2F498F76ED92F2", "5F1448EEA8AD90A7"},
      {"46B9342A41396CD7386BF5803104D7CEDC122B9132139BAF2EEDC94EE178534F", "2F2D235D074D7449"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(mac3(k1, k2, fromHex(c.data + "8000000000000000")), c.expected);
  }
}

TEST(IsoMacTest, EmptyMessageIsOneZeroBlock) {
  const Bytes zeroBlock(8, 0);
  EXPECT_EQ(mac1(kKey, {}), mac1(kKey, zeroBlock));
  EXPECT_EQ(mac2(kKey, kSecondKey, {}), mac2(kKey, kSecondKey, zeroBlock));
  EXPECT_EQ(mac3(kKey, kSecondKey, {}), mac3(kKey, kSecondKey, zeroBlock));
}

// Reference: OpenSSL DES-CBC over the zero-padded message from a zero IV; the
// last block, then the output transformation with OpenSSL's DES-ECB.
TEST(IsoMacTest, MatchesCbcMacOnOpensslDes) {
  const test_support::OpensslLegacy reference;
  if (!reference.available()) GTEST_SKIP() << "OpenSSL legacy provider not available";
  Bytes message;
  for (size_t length = 0; length <= 33; ++length) {
    SCOPED_TRACE(length);
    Bytes padded = message;
    padded.resize(length == 0 ? 8 : (length + 7) / 8 * 8, 0);
    const auto chained = reference.encryptCbc(kKey, padded);
    ASSERT_TRUE(chained.has_value());
    const Bytes last(chained->end() - 8, chained->end());
    const auto algorithm2 = reference.encryptEcb(kSecondKey, last);
    const auto decrypted = reference.decryptEcb(kSecondKey, last);
    ASSERT_TRUE(algorithm2.has_value() && decrypted.has_value());
    const auto algorithm3 = reference.encryptEcb(kKey, *decrypted);
    ASSERT_TRUE(algorithm3.has_value());

    EXPECT_EQ(mac1(kKey, message), toHex(last));
    EXPECT_EQ(mac2(kKey, kSecondKey, message), toHex(*algorithm2));
    EXPECT_EQ(mac3(kKey, kSecondKey, message), toHex(*algorithm3));
    message.push_back(static_cast<uint8_t>(0xA5 ^ length));
  }
}

}  // namespace
}  // namespace sigillo
