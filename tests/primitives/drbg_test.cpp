// The seeded generator against the vectors of tests/data/primitives/drbg.txt,
// and the random-number entry points INITRAND, GENRAND and GENKFIPS.
#include "primitives/drbg.h"

#include <gtest/gtest.h>

#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

using namespace test;

// CAVP: instantiate, optional reseed, two generate calls, the second
// compared; the reseed-with-additional-input case of BoringSSL.
TEST(Drbg, PublishedVectors) {
  size_t seen = 0;
  for (const Vector& v : loadVectors("primitives/drbg.txt")) {
    if (v.group == "GENKFIPS") continue;
    ++seen;
    auto get = [&](const char* key) { return v.has(key) ? v.bytes(key) : Bytes{}; };
    HmacDrbg drbg;
    Bytes out(v.bytes("returned").size());
    if (v.group == "cavp") {
      Bytes seed = v.bytes("entropy"), personal = get("personal"), reseed = get("reseed");
      const Bytes nonce = v.bytes("nonce");
      seed.insert(seed.end(), nonce.begin(), nonce.end());
      drbg.instantiate(seed.data(), seed.size(), personal.data(), personal.size());
      if (!reseed.empty()) drbg.reseed(reseed.data(), reseed.size());
      for (const char* add : {"additional1", "additional2"}) {
        const Bytes a = get(add);
        EXPECT_TRUE(drbg.generate(out.data(), out.size(), a.data(), a.size())) << v.where();
      }
    } else {
      const Bytes seed = v.bytes("seed");
      drbg.instantiate(seed.data(), seed.size());
      for (int round = 1; round <= 2; ++round) {
        const Bytes e = v.bytes("entropy" + std::to_string(round));
        const Bytes a = v.bytes("additional" + std::to_string(round));
        drbg.reseed(e.data(), e.size(), a.data(), a.size());
        ASSERT_TRUE(drbg.generate(out.data(), out.size()));
      }
    }
    EXPECT_EQ(toHex(out), v.text("returned")) << v.where();
  }
  EXPECT_EQ(seen, 7u);
}

// Nothing is drawn before instantiate (a reseed does not instantiate); a
// request that is no whole number of blocks is cut from the same stream.
TEST(Drbg, StatesAndPartialBlocks) {
  HmacDrbg drbg;
  uint8_t out[4] = {1, 2, 3, 4};
  EXPECT_FALSE(drbg.generate(out, sizeof out));
  EXPECT_EQ(toHex(out, sizeof out), "01020304");
  const uint8_t entropy[48] = {7};
  drbg.reseed(entropy, 32);
  EXPECT_FALSE(drbg.instantiated());
  HmacDrbg a, b;
  a.instantiate(entropy, sizeof entropy);
  b.instantiate(entropy, sizeof entropy);
  Bytes whole(64), part(33);
  ASSERT_TRUE(a.generate(whole.data(), whole.size()));
  ASSERT_TRUE(b.generate(part.data(), part.size()));
  EXPECT_EQ(toHex(part), toHex(whole.data(), part.size()));
  ASSERT_TRUE(a.generate(whole.data(), 1));
  ASSERT_TRUE(b.generate(part.data(), 1));
  EXPECT_EQ(whole[0], part[0]);
}

// The process-wide generator starts unseeded for every test and is left so.
class RandomEntry : public ::testing::Test {
 protected:
  void SetUp() override { processDrbg() = HmacDrbg(); }
  void TearDown() override { processDrbg() = HmacDrbg(); }
};

Bytes draw(uint32_t n, bool y = false) {
  Bytes out(n);
  uint16_t rc = 99;
  const uint16_t code = y ? (YGENRAND(&n, out.data(), &rc), rc) : GENRAND(&n, out.data(), &rc);
  EXPECT_EQ(code + rc, 0);
  return out;
}

std::array<uint8_t, SIGILLO_RAND_SEED_SIZE> seedArea(uint8_t fill) {
  std::array<uint8_t, SIGILLO_RAND_SEED_SIZE> area;
  for (size_t i = 0; i < area.size(); ++i) area[i] = static_cast<uint8_t>(fill + i);
  return area;
}

void seed(uint8_t fill, bool y = false) {
  const auto area = seedArea(fill);
  uint16_t rc = 99;
  const uint16_t code = y ? (YINITRAN(area.data(), &rc), rc) : INITRAND(area.data(), &rc);
  EXPECT_EQ(code + rc, 0);
}

// The seed is the generator's whole seed material: the same seed gives the
// same numbers, through the Y twins too.
TEST_F(RandomEntry, SeedAndDraw) {
  uint8_t out[4] = {1, 2, 3, 4};
  uint32_t n = sizeof out;
  expectOutcome([&](uint16_t* rc) { return GENRAND(&n, out, rc); }, 304,
                "Generatore non inzializzato", "before a seed");
  EXPECT_EQ(toHex(out, sizeof out), "01020304");
  seed(1);
  const Bytes first = draw(48), second = draw(48);
  EXPECT_NE(first, second);
  seed(1, true);
  EXPECT_EQ(draw(48, true), first);
  EXPECT_EQ(draw(48), second);
  seed(2);
  EXPECT_NE(draw(48), first);
  const auto area = seedArea(1);
  HmacDrbg reference;
  reference.instantiate(area.data(), area.size());
  Bytes expected(48);
  ASSERT_TRUE(reference.generate(expected.data(), expected.size()));
  EXPECT_EQ(first, expected);
  EXPECT_NE(draw(SIGILLO_RAND_MAX_BYTES), Bytes(SIGILLO_RAND_MAX_BYTES, 0));
}

TEST_F(RandomEntry, ArgumentChecks) {
  static uint8_t area[SIGILLO_RAND_SEED_SIZE], out[64];
  static const uint32_t n16 = 16, n0 = 0, tooMany = SIGILLO_RAND_MAX_BYTES + 1, k20 = 20, k19 = 19,
                        k65 = 65;
  // clang-format off
  const Refusal cases[] = {
      {"INITRAND seed", [](uint16_t* rc) { return INITRAND(nullptr, rc); }, 2, "seed (1)"},
      {"GENRAND count", [](uint16_t* rc) { return GENRAND(nullptr, out, rc); }, 5, "seed (1)"},
      {"GENRAND 0", [](uint16_t* rc) { return GENRAND(&n0, out, rc); }, 5, "seed (1)"},
      {"GENRAND too many", [](uint16_t* rc) { return GENRAND(&tooMany, out, rc); }, 5, "seed (1)"},
      {"GENRAND out", [](uint16_t* rc) { return GENRAND(&n16, nullptr, rc); }, 3, "out (2)"},
      {"GENKFIPS xkey", [](uint16_t* rc) { return GENKFIPS(nullptr, &k20, out, &n16, rc); }, 2, "xkey (1)"},
      {"GENKFIPS xkeysz", [](uint16_t* rc) { return GENKFIPS(area, nullptr, out, &n16, rc); }, 5, "xkeysz (2)"},
      {"GENKFIPS xkeysz 19", [](uint16_t* rc) { return GENKFIPS(area, &k19, out, &n16, rc); }, 5, "xkeysz (2)"},
      {"GENKFIPS xkeysz 65", [](uint16_t* rc) { return GENKFIPS(area, &k65, out, &n16, rc); }, 5, "xkeysz (2)"},
      {"GENKFIPS out", [](uint16_t* rc) { return GENKFIPS(area, &k20, nullptr, &n16, rc); }, 3, "out (3)"},
      {"GENKFIPS outsz", [](uint16_t* rc) { return GENKFIPS(area, &k20, out, nullptr, rc); }, 6, "outsz (4)"},
      {"GENKFIPS outsz 0", [](uint16_t* rc) { return GENKFIPS(area, &k20, out, &n0, rc); }, 6, "outsz (4)"},
      {"GENKFIPS too many", [](uint16_t* rc) { return GENKFIPS(area, &k20, out, &tooMany, rc); }, 6, "outsz (4)"},
  };
  // clang-format on
  for (const Refusal& c : cases) expectOutcome(c);
  EXPECT_FALSE(processDrbg().instantiated());
}

Bytes fipsDraw(Bytes& xkey, uint32_t n, bool y = false) {
  Bytes out(n);
  uint32_t keyLength = static_cast<uint32_t>(xkey.size());
  uint16_t rc = 99;
  const uint16_t code = y ? (YGENKFIP(xkey.data(), &keyLength, out.data(), &n, &rc), rc)
                          : GENKFIPS(xkey.data(), &keyLength, out.data(), &n, &rc);
  EXPECT_EQ(code + rc, 0);
  return out;
}

// The published example, shorter requests (cut from it) and a request in two
// calls; an XKEY of 64 bytes fills the whole block, and from 2^b - 1 the next
// XKEY, 1 + XKEY + w modulo 2^b, is w itself.
TEST(GenKFips, PublishedExampleAndContinuation) {
  const Vector v = loadVectors("primitives/drbg.txt").back();
  ASSERT_EQ(v.group, "GENKFIPS");
  for (uint32_t n = 1; n <= 40; ++n) {
    Bytes xkey = v.bytes("xkey");
    EXPECT_EQ(toHex(fipsDraw(xkey, n)), v.text("output").substr(0, 2 * n)) << n;
    if (n == 40) EXPECT_EQ(toHex(xkey), v.text("next"));
  }
  Bytes xkey = v.bytes("xkey");
  const std::string pieces = toHex(fipsDraw(xkey, 20)) + toHex(fipsDraw(xkey, 20, true));
  EXPECT_EQ(pieces, v.text("output"));
  EXPECT_EQ(toHex(xkey), v.text("next"));
  Bytes ones(64, 0xFF), shortOnes(20, 0xFF);
  const Bytes first = fipsDraw(ones, 20);
  EXPECT_EQ(toHex(ones), std::string(88, '0') + toHex(first));
  EXPECT_NE(fipsDraw(shortOnes, 20), first);
}

}  // namespace
}  // namespace sigillo
