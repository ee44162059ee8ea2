// The mode layer over a block cipher: n-bit CFB and OFB and CBC against
// NIST SP 800-38A (AES), independent of the entry points.
#include "primitives/modes.h"

#include <gtest/gtest.h>

#include "primitives/evpcipher.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;
using test::toHex;

const Bytes kKey = fromHex("2B7E151628AED2A6ABF7158809CF4F3C");
const Bytes kIv = fromHex("000102030405060708090A0B0C0D0E0F");
const Bytes kPlain = fromHex("6BC1BEE22E409F96E93D7E117393172AAE2D8A571E03AC9C9EB76FAC45AF8E51");

struct Row {
  const char* name;
  unsigned nbits;
  bool ofb;
  size_t bytes;
  const char* cipher;
};

// SP 800-38A F.3.1 (CFB1, first 16 bits), F.3.7 (CFB8), F.3.13 (CFB128)
// and F.4.1 (OFB).
const Row kRows[] = {
    {"CFB1", 1, false, 2, "68B3"},
    {"CFB8", 8, false, 18, "3B79424C9C0DD436BACE9E0ED4586A4F32B9"},
    {"CFB128", 128, false, 32, "3B3FD92EB72DAD20333449F8E83CFB4AC8A64537A0B3A93FCDE3CDAD9F1CE58B"},
    {"OFB128", 128, true, 32, "3B3FD92EB72DAD20333449F8E83CFB4A7789508D16918F03F53C52DAC54ED825"},
};

TEST(Modes, FeedbackWidthsAgainstSp80038a) {
  EvpKey key("AES", kKey.data(), kKey.size());
  const BlockCipher* aes = key.block();
  ASSERT_NE(aes, nullptr);
  for (const Row& row : kRows) {
    Bytes in(kPlain.begin(), kPlain.begin() + row.bytes), out(row.bytes), back(row.bytes);
    Bytes iv = kIv;
    if (row.ofb) {
      ofbRun(*aes, in.data(), out.data(), in.size(), iv.data(), row.nbits);
    } else {
      cfbRun(*aes, in.data(), out.data(), in.size(), iv.data(), row.nbits, false);
    }
    EXPECT_EQ(toHex(out), row.cipher) << row.name;
    iv = kIv;
    if (row.ofb) {
      ofbRun(*aes, out.data(), back.data(), out.size(), iv.data(), row.nbits);
    } else {
      cfbRun(*aes, out.data(), back.data(), out.size(), iv.data(), row.nbits, true);
    }
    EXPECT_EQ(back, in) << row.name;
  }
}

TEST(Modes, CbcInPlaceLeavesTheLastBlockAsChainingValue) {
  EvpKey key("AES", kKey.data(), kKey.size());
  Bytes data = kPlain, iv = kIv;
  cbcRun(*key.block(), data.data(), data.data(), data.size(), iv.data(), false);
  EXPECT_EQ(toHex(data), "7649ABAC8119B246CEE98E9B12E9197D5086CB9B507219EE95DB113A917678B2");
  EXPECT_EQ(iv, Bytes(data.begin() + 16, data.end()));
}

}  // namespace
}  // namespace sigillo
