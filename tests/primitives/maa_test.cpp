// MAA against the test values of ISO 8731-2 Annex A and NPL report DITC 109/88
// (Davies and Clayden), as listed by Garavel and Marsso's formal models of the
// algorithm: the multiplications, BYT and PAT, the prelude, the MACs of short
// messages, and the long messages that exercise the segmented mode.
#include "primitives/maa.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "digest_test_util.h"

namespace sigillo {
namespace {

using test_support::Bytes;
using test_support::digestHex;
using test_support::textBytes;

Bytes wordBytes(uint32_t word) {
  return {static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16),
          static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
}

Bytes messageOfWords(const std::vector<uint32_t>& words) {
  Bytes bytes;
  for (uint32_t word : words) {
    const Bytes next = wordBytes(word);
    bytes.insert(bytes.end(), next.begin(), next.end());
  }
  return bytes;
}

// The standard's long test messages: `count` words starting at zero, each the
// previous one plus `step` (modulo 2^32).
Bytes arithmeticMessage(size_t count, uint32_t step) {
  std::vector<uint32_t> words(count);
  for (size_t i = 1; i < count; ++i) words[i] = words[i - 1] + step;
  return messageOfWords(words);
}

std::string macHex(uint32_t j, uint32_t k, const Bytes& message) {
  const Bytes jBytes = wordBytes(j);
  const Bytes kBytes = wordBytes(k);
  return digestHex(*newMaa(jBytes.data(), kBytes.data()), message);
}

TEST(MaaTest, MultiplicationTestValues) {
  const struct {
    uint32_t (*mul)(uint32_t, uint32_t);
    uint32_t x;
    uint32_t y;
    uint32_t expected;
  } cases[] = {
      {maa::mul1, 0x0000000F, 0x0000000E, 0x000000D2},
      {maa::mul1, 0xFFFFFFF0, 0x0000000E, 0xFFFFFF2D},
      {maa::mul1, 0xFFFFFFF0, 0xFFFFFFF1, 0x000000D2},
      {maa::mul2, 0x0000000F, 0x0000000E, 0x000000D2},
      {maa::mul2, 0xFFFFFFF0, 0x0000000E, 0xFFFFFF3A},
      {maa::mul2, 0xFFFFFFF0, 0xFFFFFFF1, 0x000000B6},
      {maa::mul2a, 0x0000000F, 0x0000000E, 0x000000D2},
      {maa::mul2a, 0xFFFFFFF0, 0x0000000E, 0xFFFFFF3A},
      {maa::mul2a, 0x7FFFFFF0, 0xFFFFFFF1, 0x800000C2},
      {maa::mul2a, 0xFFFFFFF0, 0x7FFFFFF1, 0x000000C4},
      // Powers of the prelude for J = 0x100 and K = 0x80 (J^2 ... K^9).
      {maa::mul1, 0x00000100, 0x00000100, 0x00010000},
      {maa::mul1, 0x00010000, 0x00010000, 0x00000001},
      {maa::mul2, 0x00010000, 0x00010000, 0x00000002},
      {maa::mul2, 0x00010000, 0x00000002, 0x00020000},
      {maa::mul2, 0x00010000, 0x00020000, 0x00000004},
      {maa::mul1, 0x00000080, 0x00000080, 0x00004000},
      {maa::mul1, 0x00004000, 0x00004000, 0x10000000},
      {maa::mul2, 0x00000080, 0x10000000, 0x00000010},
      {maa::mul2, 0x00004000, 0x00000010, 0x00040000},
      {maa::mul2, 0x00004000, 0x00040000, 0x00000002},
      // H5 = MUL2(H0, Q) with H0 = 0x18 and Q = (1 + 1)^2.
      {maa::mul2, 0x00000018, 0x00000004, 0x00000060},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << std::hex << c.x << " * " << c.y);
    EXPECT_EQ(c.mul(c.x, c.y), c.expected);
  }
}

TEST(MaaTest, BytAndPatTestValues) {
  const struct {
    uint32_t x;
    uint32_t y;
    uint32_t expectedX;
    uint32_t expectedY;
    uint8_t expectedPattern;
  } cases[] = {
      {0x00000000, 0x00000000, 0x0103070F, 0x1F3F7FFF, 0xFF},
      {0xFFFF00FF, 0xFFFFFFFF, 0xFEFC07F0, 0xE0C08000, 0xFF},
      {0xAB00FFCD, 0xFFEF0001, 0xAB01FCCD, 0xF2EF3501, 0x6A},
      {0x00000003, 0x00000060, 0x01030703, 0x1D3B7760, 0xEE},
      {0x00030000, 0x00060000, 0x0103050B, 0x17065DBB, 0xBB},
      {0x00000005, 0x80000002, 0x01030705, 0x80397302, 0xE6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << std::hex << c.x << " " << c.y);
    const maa::Conditioned result = maa::byt(c.x, c.y);
    EXPECT_EQ(result.x, c.expectedX);
    EXPECT_EQ(result.y, c.expectedY);
    EXPECT_EQ(result.pattern, c.expectedPattern);
  }
}

TEST(MaaTest, PreludeTestValues) {
  const struct {
    uint32_t j;
    uint32_t k;
    maa::Prelude expected;
  } cases[] = {
      {0x00FF00FF,
       0x00000000,
       {0x4A645A01, 0x50DEC930, 0x5CCA3239, 0xFECCAA6E, 0x51EDE9C7, 0x24B66FB5}},
      {0x55555555,
       0x5A35D667,
       {0x34ACF886, 0x7397C9AE, 0x7201F4DC, 0x2829040B, 0x9E2E7B36, 0x13647149}},
      {0xE6A12F07,
       0x9D15C437,
       {0x21D869BA, 0x7792F9D4, 0xC4EB1AEB, 0xF6A09667, 0x6D67E884, 0xA511987A}},
      // The key of the long messages; S and T are the words its coda mixes in.
      {0x80018001,
       0x80018000,
       {0x204E80A7, 0x077788A2, 0x17A808FD, 0xFEA1D334, 0x76232E5F, 0x4FB1138A}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << std::hex << c.j << " " << c.k);
    const maa::Prelude result = maa::prelude(c.j, c.k);
    EXPECT_EQ(result.x0, c.expected.x0);
    EXPECT_EQ(result.y0, c.expected.y0);
    EXPECT_EQ(result.v0, c.expected.v0);
    EXPECT_EQ(result.w, c.expected.w);
    EXPECT_EQ(result.s, c.expected.s);
    EXPECT_EQ(result.t, c.expected.t);
  }
}

TEST(MaaTest, MacsOfTwoWordMessages) {
  const struct {
    uint32_t j;
    uint32_t k;
    std::vector<uint32_t> words;
    std::string expected;
  } cases[] = {
      {0x00FF00FF, 0x00000000, {0x55555555, 0xAAAAAAAA}, "F14D6E28"},
      {0x00FF00FF, 0x00000000, {0xAAAAAAAA, 0x55555555}, "A93BD410"},
      {0x55555555, 0x5A35D667, {0x00000000, 0xFFFFFFFF}, "B99A62DE"},
      {0x55555555, 0x5A35D667, {0xFFFFFFFF, 0x00000000}, "A018C83B"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(macHex(c.j, c.k, messageOfWords(c.words)), c.expected);
  }
}

// 20 and 16 words fit in one segment, 256 words fill it exactly, and 4100
// words make 17 segments, each after the first starting with the MAC of the
// one before.
TEST(MaaTest, MacsOfLongMessages) {
  const struct {
    size_t words;
    uint32_t step;
    std::string expected;
  } cases[] = {
      {20, 0x00000000, "DB79FBDC"},
      {16, 0x07050301, "8CE37709"},
      {256, 0x07050301, "717153D5"},
      {4100, 0x07050301, "7783C51D"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.words);
    EXPECT_EQ(macHex(0x80018001, 0x80018000, arithmeticMessage(c.words, c.step)), c.expected);
  }
}

// Our choice for lengths that are not a multiple of 4: the last word is
// completed with zero bytes, so the MAC equals that of the padded message.
TEST(MaaTest, PartialLastWordIsZeroPadded) {
  for (const std::string text : {"a", "abcde", "abcdef", "abcdefg"}) {
    SCOPED_TRACE(text);
    Bytes padded = textBytes(text);
    padded.resize((padded.size() + 3) / 4 * 4, 0);
    EXPECT_EQ(macHex(0x00FF00FF, 0x00000000, textBytes(text)),
              macHex(0x00FF00FF, 0x00000000, padded));
  }
  EXPECT_NE(macHex(0x00FF00FF, 0x00000000, textBytes("abcde")),
            macHex(0x00FF00FF, 0x00000000, textBytes("abcd")));
}

}  // namespace
}  // namespace sigillo
