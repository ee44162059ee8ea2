// Number-vector entry points: conversions between 32-bit values, byte
// strings, USV vectors (a count, then 16-bit digits, most significant first)
// and arrays of 32-bit words.
#include <gtest/gtest.h>

#include <sstream>

#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

using namespace test;
using Usv = std::vector<uint16_t>;

// The vector written (count and digits), through the entry point or its twin.
Usv written(uint16_t code, uint16_t rc, const Usv& area) {
  EXPECT_EQ(code, 0);
  EXPECT_EQ(rc, 0);
  return Usv(area.begin(), area.begin() + 1 + area[0]);
}
Usv ulToUsv(uint32_t value, bool y) {
  Usv usv(3, 0xEEEE);
  uint16_t rc = 99;
  const uint16_t code =
      y ? (YULTOUSV(&value, usv.data(), &rc), 0) : ULTOUSV(&value, usv.data(), &rc);
  return written(code, rc, usv);
}
Usv baToUsv(const Bytes& bytes, bool y = false) {
  Usv usv(bytes.size() / 2 + 2, 0xEEEE);
  const uint32_t n = static_cast<uint32_t>(bytes.size());
  uint16_t rc = 99;
  const uint16_t code = y ? (YBATOUSV(bytes.data(), &n, usv.data(), &rc), 0)
                          : BATOUSV(bytes.data(), &n, usv.data(), &rc);
  return written(code, rc, usv);
}
Bytes usvToBa(const Usv& usv, bool y = false) {
  Bytes out(2 * usv[0] + 4, 0xEE);
  uint32_t n = 0xDEAD;
  uint16_t rc = 99;
  const uint16_t code =
      y ? (YUSVTOBA(usv.data(), out.data(), &n, &rc), 0) : USVTOBA(usv.data(), out.data(), &n, &rc);
  EXPECT_EQ(code + rc, 0);
  EXPECT_EQ(n, 2u * usv[0]);
  EXPECT_EQ(out[n], 0xEE);
  out.resize(n);
  return out;
}

TEST(NumVec, ValuesBytesAndUsv) {
  size_t rows = 0;
  for (const Vector& v : loadVectors("primitives/numvec.txt")) {
    Usv usv;
    std::istringstream digits(v.text("usv"));
    for (std::string d; digits >> d;)
      usv.push_back(static_cast<uint16_t>(std::stoul(d, nullptr, 16)));
    ++rows;
    if (v.group == "ULTOUSV") {
      for (bool y : {false, true})
        EXPECT_EQ(ulToUsv(static_cast<uint32_t>(v.number("value")), y), usv) << v.where();
      continue;
    }
    EXPECT_EQ(baToUsv(v.bytes("bytes"), rows % 2 == 0), usv) << v.where();
    EXPECT_EQ(toHex(usvToBa(usv, rows % 2 == 1)), v.text("back")) << v.where();
  }
  EXPECT_EQ(rows, 13u);
  for (size_t n : {1u, 2u, 3u, 255u, 256u, 65533u, 65534u}) {
    Bytes bytes(n);
    for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(i * 37 + 11);
    const Usv usv = baToUsv(bytes);
    EXPECT_EQ(usv[0], (n + 1) / 2) << n;
    Bytes back = usvToBa(usv);
    if (n % 2 == 1) EXPECT_EQ(back.front(), 0) << n;
    EXPECT_EQ(Bytes(back.begin() + n % 2, back.end()), bytes) << n;
  }
}

// Mode 1 reads the words big-endian, mode 0 little-endian, both ways, through
// the entry points and their Y twins; nothing is written past the output.
TEST(NumVec, BytesAndWords) {
  const Bytes bytes = fromHex("0102030405060708FFFEFDFC");
  const std::vector<uint32_t> words[2] = {{0x04030201, 0x08070605, 0xFCFDFEFF, 0xEEEEEEEE},
                                          {0x01020304, 0x05060708, 0xFFFEFDFC, 0xEEEEEEEE}};
  const uint32_t n = 12;
  for (const uint16_t mode : {0, 1}) {
    for (const bool y : {false, true}) {
      std::vector<uint32_t> w(4, 0xEEEEEEEE);
      Bytes b(13, 0xEE);
      uint16_t rc[2] = {99, 99}, code = 0;
      if (y) {
        YBATOULA(bytes.data(), &n, w.data(), &mode, &rc[0]);
        YULATOBA(words[mode].data(), &n, b.data(), &mode, &rc[1]);
      } else {
        code = BATOULA(bytes.data(), &n, w.data(), &mode, &rc[0]) +
               ULATOBA(words[mode].data(), &n, b.data(), &mode, &rc[1]);
      }
      EXPECT_EQ(code + rc[0] + rc[1], 0) << mode << y;
      EXPECT_EQ(w, words[mode]) << mode << y;
      EXPECT_EQ(toHex(b), toHex(bytes) + "EE") << mode << y;
    }
  }
}

TEST(NumVec, ArgumentChecks) {
  static const uint32_t value = 7, len4 = 4, len6 = 6, len0 = 0, len65535 = 65535;
  static const uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  static const uint32_t words[2] = {1, 2};
  static const uint16_t vector[3] = {2, 1, 2};
  static uint16_t usv[32768];
  static uint8_t out[16];
  static uint32_t outWords[2], outsz;
  static const uint16_t m0 = 0, m2 = 2;
  // clang-format off
  const Refusal cases[] = {
      {"ULTOUSV l", [](uint16_t* rc) { return ULTOUSV(nullptr, usv, rc); }, 2, "l (1)"},
      {"ULTOUSV usv", [](uint16_t* rc) { return ULTOUSV(&value, nullptr, rc); }, 3, "usv (2)"},
      {"BATOUSV vuc", [](uint16_t* rc) { return BATOUSV(nullptr, &len4, usv, rc); }, 2, "vuc (1)"},
      {"BATOUSV insz", [](uint16_t* rc) { return BATOUSV(bytes, nullptr, usv, rc); }, 5, "insz (2)"},
      {"BATOUSV insz 0", [](uint16_t* rc) { return BATOUSV(bytes, &len0, usv, rc); }, 5, "insz (2)"},
      {"BATOUSV insz 65535", [](uint16_t* rc) { return BATOUSV(bytes, &len65535, usv, rc); }, 5, "insz (2)"},
      {"BATOUSV vus", [](uint16_t* rc) { return BATOUSV(bytes, &len4, nullptr, rc); }, 3, "vus (3)"},
      {"BATOUSV vuc first", [](uint16_t* rc) { return BATOUSV(nullptr, &len0, usv, rc); }, 2, "vuc (1)"},
      {"USVTOBA vus", [](uint16_t* rc) { return USVTOBA(nullptr, out, &outsz, rc); }, 2, "vus (1)"},
      {"USVTOBA vuc", [](uint16_t* rc) { return USVTOBA(vector, nullptr, &outsz, rc); }, 3, "vuc (2)"},
      {"USVTOBA outsz", [](uint16_t* rc) { return USVTOBA(vector, out, nullptr, rc); }, 6, "outsz (3)"},
      {"BATOULA r", [](uint16_t* rc) { return BATOULA(nullptr, &len4, outWords, &m0, rc); }, 2, "r (1)"},
      {"BATOULA insz 6", [](uint16_t* rc) { return BATOULA(bytes, &len6, outWords, &m0, rc); }, 5, "insz (2)"},
      {"BATOULA l", [](uint16_t* rc) { return BATOULA(bytes, &len4, nullptr, &m0, rc); }, 3, "l (3)"},
      {"BATOULA mode", [](uint16_t* rc) { return BATOULA(bytes, &len4, outWords, nullptr, rc); }, 1, "mode (4)"},
      {"BATOULA mode 2", [](uint16_t* rc) { return BATOULA(bytes, &len4, outWords, &m2, rc); }, 1, "mode (4)"},
      {"ULATOBA insz 6", [](uint16_t* rc) { return ULATOBA(words, &len6, out, &m0, rc); }, 5, "insz (2)"},
      {"ULATOBA r", [](uint16_t* rc) { return ULATOBA(words, &len4, nullptr, &m0, rc); }, 3, "r (3)"},
      {"ULATOBA mode 2", [](uint16_t* rc) { return ULATOBA(words, &len4, out, &m2, rc); }, 1, "mode (4)"},
  };
  // clang-format on
  for (const Refusal& c : cases) expectOutcome(c);  // 65,534 bytes: ValuesBytesAndUsv
}

}  // namespace
}  // namespace sigillo
