// MD2 and MD4 against the full test suites of RFC 1319 and RFC 1320, and the
// CRC/FCS checksums against their published check values and RFC 1662's
// "good FCS" residues.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "digest_test_util.h"
#include "openssl_legacy_reference.h"
#include "primitives/crc.h"
#include "primitives/md2.h"
#include "primitives/md4.h"

namespace sigillo {
namespace {

using test_support::Bytes;
using test_support::digestHex;
using test_support::fromHex;
using test_support::textBytes;

using Factory = std::function<std::unique_ptr<Digest>()>;

struct TextVector {
  std::string message;
  std::string expected;
};

const std::string kAlphanumeric = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
const std::string kDigitsTimesEight =
    "12345678901234567890123456789012345678901234567890123456789012345678901234567890";

void expectTextVectors(const Factory& factory, const std::vector<TextVector>& vectors) {
  for (const TextVector& vector : vectors) {
    SCOPED_TRACE(vector.message);
    auto digest = factory();
    EXPECT_EQ(digestHex(*digest, textBytes(vector.message)), vector.expected);
  }
}

// RFC 1319, appendix A.5.
TEST(Md2Test, Rfc1319TestSuite) {
  expectTextVectors(newMd2, {
                                {"", "8350E5A3E24C153DF2275C9F80692773"},
                                {"a", "32EC01EC4A6DAC72C0AB96FB34C0B5D1"},
                                {"abc", "DA853B0D3F88D99B30283A69E6DED6BB"},
                                {"message digest", "AB4F496BFB2A530B219FF33031FE06B0"},
                                {"abcdefghijklmnopqrstuvwxyz", "4E8DDFF3650292AB5A4108C3AA47940B"},
                                {kAlphanumeric, "DA33DEF2A42DF13975352846C30338CD"},
                                {kDigitsTimesEight, "D5976F79D83D3A0DC9806C3C66F3EFD8"},
                            });
}

// RFC 1320, appendix A.5.
TEST(Md4Test, Rfc1320TestSuite) {
  expectTextVectors(newMd4, {
                                {"", "31D6CFE0D16AE931B73C59D7E0C089C0"},
                                {"a", "BDE52CB31DE33E46245E05FBDBD6FB24"},
                                {"abc", "A448017AAF21D8525FC10AE87AA6729D"},
                                {"message digest", "D9130A8164549FE818874806E1C7014B"},
                                {"abcdefghijklmnopqrstuvwxyz", "D79E1C308AA5BBCDEEA8ED63DF412DA9"},
                                {kAlphanumeric, "043F8582F241DB351CE627E153E7F0E4"},
                                {kDigitsTimesEight, "E33B4DDC9C38F2199C3E7B164FCC0536"},
                            });
}

// Every length from 0 to 200 bytes, which puts the padding and the length
// field on both sides of one and two block boundaries, against OpenSSL's MD4.
TEST(Md4Test, MatchesOpensslForEveryLengthUpTo200) {
  const test_support::OpensslLegacy reference;
  if (!reference.available()) GTEST_SKIP() << "OpenSSL legacy provider not available";
  Bytes message;
  for (size_t length = 0; length <= 200; ++length) {
    SCOPED_TRACE(length);
    const auto expected = reference.md4(message);
    ASSERT_TRUE(expected.has_value());
    EXPECT_EQ(digestHex(*newMd4(), message), test_support::toHex(*expected));
    message.push_back(static_cast<uint8_t>(length * 37 + 11));
  }
}

// The check value of each CRC is its result on the nine ASCII digits.
TEST(CrcTest, CheckValuesOf123456789) {
  const Bytes digits = textBytes("123456789");
  const struct {
    Factory factory;
    std::string expected;
  } cases[] = {
      {newCrc16, "BB3D"},
      {newFcs16, "906E"},
      {newFcs32, "CBF43926"},
  };
  for (const auto& c : cases) {
    auto digest = c.factory();
    EXPECT_EQ(digestHex(*digest, digits), c.expected);
  }
}

TEST(CrcTest, EmptyInputGivesTheStartingValueAfterTheFinalXor) {
  EXPECT_EQ(digestHex(*newCrc16(), {}), "0000");
  EXPECT_EQ(digestHex(*newFcs16(), {}), "0000");
  EXPECT_EQ(digestHex(*newFcs32(), {}), "00000000");
}

// From an initial value of 0, the CRC of a single byte is that byte's table
// entry: the table begins 0x0000, 0xC0C1, 0xC181, 0x0140.
TEST(CrcTest, Crc16SingleBytesGiveTheFirstTableEntries) {
  const char* const expected[] = {"0000", "C0C1", "C181", "0140"};
  for (uint8_t byte = 0; byte < 4; ++byte) {
    EXPECT_EQ(digestHex(*newCrc16(), Bytes{byte}), expected[byte]);
  }
}

// RFC 1662 appendix C: a frame followed by its FCS, least significant byte
// first, leaves the register at PPPGOODFCS16 (0xF0B8) or PPPGOODFCS32
// (0xDEBB20E3); our results are the register complemented.
TEST(CrcTest, FrameFollowedByItsFcsLeavesTheGoodResidue) {
  const struct {
    Factory factory;
    std::string residue;
  } cases[] = {
      {newFcs16, "0F47"},
      {newFcs32, "2144DF1C"},
  };
  const Bytes frames[] = {textBytes("123456789"), fromHex("FF03C0210101000A"), Bytes(300, 0x7E)};
  for (const auto& c : cases) {
    for (const Bytes& frame : frames) {
      Bytes fcs(c.factory()->size());
      auto digest = c.factory();
      digest->update(frame.data(), frame.size());
      digest->finish(fcs.data());
      Bytes framed = frame;
      framed.insert(framed.end(), fcs.rbegin(), fcs.rend());
      EXPECT_EQ(digestHex(*c.factory(), framed), c.residue);
    }
  }
}

}  // namespace
}  // namespace sigillo
