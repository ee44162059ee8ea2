// The seeded generator against NIST CAVP HMAC_DRBG SHA-256 vectors (no
// prediction resistance), and the random-number entry points.
#include "primitives/drbg.h"

#include <gtest/gtest.h>

#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::expectFirstError;
using test::fromHex;
using test::Refusal;
using test::toHex;

struct DrbgVector {
  const char* name;
  const char* entropy;
  const char* nonce;
  const char* personal;
  const char* reseed;  // EntropyInputReseed, empty when the case does not reseed
  const char* additional1;
  const char* additional2;
  const char* returned;
};

// A CAVP case: instantiate, optional reseed, two generate calls of 1024
// bits; the second call's output is compared.
std::string runVector(const DrbgVector& v) {
  HmacDrbg drbg;
  Bytes seed = fromHex(std::string(v.entropy) + v.nonce);
  Bytes personal = fromHex(v.personal);
  drbg.instantiate(seed.data(), seed.size(), personal.data(), personal.size());
  Bytes reseed = fromHex(v.reseed);
  if (!reseed.empty()) drbg.reseed(reseed.data(), reseed.size());
  Bytes add1 = fromHex(v.additional1), add2 = fromHex(v.additional2);
  Bytes out(fromHex(v.returned).size());
  EXPECT_TRUE(drbg.generate(out.data(), out.size(), add1.data(), add1.size())) << v.name;
  EXPECT_TRUE(drbg.generate(out.data(), out.size(), add2.data(), add2.size())) << v.name;
  return toHex(out);
}

const DrbgVector kVectors[] = {
    {"no reseed, COUNT 0", "ca851911349384bffe89de1cbdc46e6831e44d34a4fb935ee285dd14b71a7488",
     "659ba96c601dc69fc902940805ec0ca8", "", "", "", "",
     "e528e9abf2dece54d47c7e75e5fe302149f817ea9fb4bee6f4199697d04d5b89d54fbb978a15b5c443c9ec21036d"
     "2460b6f73ebad0dc2aba6e624abf07745bc107694bb7547bb0995f70de25d6b29e2d3011bb19d27676c07162c8b5"
     "ccde0668961df86803482cb37ed6d5c0bb8d50cf1f50d476aa0458bdaba806f48be9dcb8"},
    {"no reseed, COUNT 1", "79737479ba4e7642a221fcfd1b820b134e9e3540a35bb48ffae29c20f5418ea3",
     "3593259c092bef4129bc2c6c9e19f343", "", "", "", "",
     "cf5ad5984f9e43917aa9087380dac46e410ddc8a7731859c84e9d0f31bd43655b924159413e2293b17610f211e09"
     "f770f172b8fb693a35b85d3b9e5e63b1dc252ac0e115002e9bedfb4b5b6fd43f33b8e0eafb2d072e1a6fee1f159d"
     "f9b51e6c8da737e60d5032dd30544ec51558c6f080bdbdab1de8a939e961e06b5f1aca37"},
    {"no reseed, COUNT 2", "b340907445b97a8b589264de4a17c0bea11bb53ad72f9f33297f05d2879d898d",
     "65cb27735d83c0708f72684ea58f7ee5", "", "", "", "",
     "75183aaaf3574bc68003352ad655d0e9ce9dd17552723b47fab0e84ef903694a32987eeddbdc48efd24195dbdac8"
     "a46ba2d972f5808f23a869e71343140361f58b243e62722088fe10a98e43372d252b144e00c89c215a76a121734b"
     "dc485486f65c0b16b8963524a3a70e6f38f169c12f6cbdd169dd48fe4421a235847a23ff"},
    {"additional input, COUNT 10",
     "8be0ca6adc8b3870c9d69d6021bc1f1d8eb9e649073d35ee6c5aa0b7e56ad8a5",
     "9d1265f7d51fdb65377f1e6edd6ae0e4", "", "",
     "da86167ac997c406bb7979f423986a84ec6614d6caa7afc10aff0699a9b2cf7f",
     "e4baa3c555950b53e2bfdba480cb4c94b59381bac1e33947e0c22e838a9534cf",
     "64384ecc4ea6b458efc227ca697eac5510092265520c0a0d8a0ccf9ed3ca9d58074671188c6a7ad16d0b050cdc07"
     "2c125d7298d3a31d9f044a9ee40da0089a84fea28cc7f05f1716db952fad29a0e779635cb7a912a959be67be2f0a"
     "4170aace2981802e2ff6467e5b46f0ffbff3b42ba5935fd553c82482ac266acf1cd247d7"},
    {"personalization and additional input, COUNT 10",
     "36a5267eeeb5a1a7d46de0f8f9281f73cd9611f01198fdaa78c5315205e5a177",
     "b66b5337970df36219321badacc624eb",
     "c2a7b164949da102bece44a423197682ff97627d1fe9654266b8527f64e5b386", "",
     "a977e2d8637b019c74063d163bb25387dc56f4eb40e502cefc5ae6ad26a6abdc",
     "c5c9819557b1e7d8a86fa8c60be42993edc3ef539c13d9a51fb64b0de06e145e",
     "b471711a4fc7ab7247e65d2c2fe49a50169187187b7978cd2fdb0f8318be3ec55fc68ed4577ad9b42cbb57100b5d"
     "35ac86c244c4c93a5b28c1a11c2dfe905d608ec7804dec5bb15cf8d79695534d5e13a6a7e18a887ec9cf184da0cb"
     "bc6267f3a952a769403bafcdbb559401be0d8b3300ea7258b4026fc892175efd55ba1a67"},
    {"reseed, COUNT 0", "06032cd5eed33f39265f49ecb142c511da9aff2af71203bffaf34a9ca5bd9c0d",
     "0e66f71edc43e42a45ad3c6fc6cdc4df", "",
     "01920a4e669ed3a85ae8a33b35a74ad7fb2a6bb4cf395ce00334a9c9a5a5d552", "", "",
     "76fc79fe9b50beccc991a11b5635783a83536add03c157fb30645e611c2898bb2b1bc215000209208cd506cb28da"
     "2a51bdb03826aaf2bd2335d576d519160842e7158ad0949d1a9ec3e66ea1b1a064b005de914eac2e9d4f2d72a861"
     "6a80225422918250ff66a41bd2f864a6a38cc5b6499dc43f7f2bd09e1e0f8f5885935124"},
};

TEST(Drbg, CavpHmacSha256Vectors) {
  for (const DrbgVector& v : kVectors) {
    std::string expected = v.returned;
    for (char& c : expected) c = static_cast<char>(toupper(c));
    EXPECT_EQ(runVector(v), expected) << v.name;
  }
}

// Reseeding with additional input, as a prediction-resistant caller does
// before each request (entropy and additional input of BoringSSL's test).
TEST(Drbg, ReseedWithAdditionalInput) {
  HmacDrbg drbg;
  Bytes seed = fromHex(
      "6c1f4bffc476e488fb57eb80dc106cf2b417bad22b196baa6346958256db490f"
      "5f1b92223e3909e43677da2f588a6d19");
  drbg.instantiate(seed.data(), seed.size());
  Bytes out(32);
  Bytes entropy = fromHex("abaca65695bd5d289880453850fc8289b76f78b43f970ed32f4125a941165515");
  Bytes additional = fromHex("e6cd940610375e504fa80406120b34d498b022393436e910c0ba2560603fd066");
  drbg.reseed(entropy.data(), entropy.size(), additional.data(), additional.size());
  ASSERT_TRUE(drbg.generate(out.data(), out.size()));
  entropy = fromHex("4a39b666cf861816d7d82ef6e23f70f149d74d9bd499eea19b622e751c43d839");
  additional = fromHex("d20082c5bdf6f6711af391e7d01046b9d3610827de63aa2671a5f5ad07b90841");
  drbg.reseed(entropy.data(), entropy.size(), additional.data(), additional.size());
  ASSERT_TRUE(drbg.generate(out.data(), out.size()));
  EXPECT_EQ(toHex(out), "D3C36E4AE25FF21A95A157A89F13EB976362A695EA755F0465ED4A7BB20C5CB3");
}

TEST(Drbg, NothingBeforeInstantiate) {
  HmacDrbg drbg;
  uint8_t out[4] = {1, 2, 3, 4};
  EXPECT_FALSE(drbg.instantiated());
  EXPECT_FALSE(drbg.generate(out, sizeof out));
  EXPECT_EQ(toHex(out, sizeof out), "01020304");
  const uint8_t entropy[32] = {};
  drbg.reseed(entropy, sizeof entropy);  // a reseed does not instantiate
  EXPECT_FALSE(drbg.instantiated());
}

// Requests that are not a whole number of 32-byte blocks: the stream is
// the same, cut short, and a request of n bytes leaves the same state as
// any other request that needs the same number of blocks.
TEST(Drbg, PartialBlocksAreCutFromTheSameStream) {
  const uint8_t seed[48] = {7};
  HmacDrbg a, b;
  a.instantiate(seed, sizeof seed);
  b.instantiate(seed, sizeof seed);
  Bytes whole(64), part(33);
  ASSERT_TRUE(a.generate(whole.data(), whole.size()));
  ASSERT_TRUE(b.generate(part.data(), part.size()));
  EXPECT_EQ(toHex(part), toHex(whole.data(), part.size()));
  ASSERT_TRUE(a.generate(whole.data(), 1));
  ASSERT_TRUE(b.generate(part.data(), 1));
  EXPECT_EQ(whole[0], part[0]);
}

// ---- INITRAND, GENRAND ------------------------------------------------------

// The process-wide generator starts unseeded for every test and is left so.
class RandomEntry : public ::testing::Test {
 protected:
  void SetUp() override { processDrbg() = HmacDrbg(); }
  void TearDown() override { processDrbg() = HmacDrbg(); }
};

Bytes draw(uint32_t n) {
  Bytes out(n);
  uint16_t rc = 99;
  EXPECT_EQ(GENRAND(&n, out.data(), &rc), 0);
  EXPECT_EQ(rc, 0);
  return out;
}

void seed(uint8_t fill) {
  uint8_t area[SIGILLO_RAND_SEED_SIZE];
  for (size_t i = 0; i < sizeof area; ++i) area[i] = static_cast<uint8_t>(fill + i);
  uint16_t rc = 99;
  EXPECT_EQ(INITRAND(area, &rc), 0);
  EXPECT_EQ(rc, 0);
}

TEST_F(RandomEntry, NothingBeforeASeed) {
  uint8_t out[4] = {1, 2, 3, 4};
  uint32_t n = sizeof out;
  uint16_t rc = 0;
  EXPECT_EQ(GENRAND(&n, out, &rc), 304);
  EXPECT_EQ(rc, 304);
  expectFirstError(304, "Generatore non inzializzato", "GENRAND");
  EXPECT_EQ(toHex(out, sizeof out), "01020304");
}

TEST_F(RandomEntry, TheSameSeedGivesTheSameNumbers) {
  seed(1);
  Bytes first = draw(48), second = draw(48);
  EXPECT_NE(first, second);
  seed(1);
  EXPECT_EQ(draw(48), first);
  EXPECT_EQ(draw(48), second);
  seed(2);
  EXPECT_NE(draw(48), first);
  // The seed is the generator's whole seed material.
  uint8_t area[SIGILLO_RAND_SEED_SIZE];
  for (size_t i = 0; i < sizeof area; ++i) area[i] = static_cast<uint8_t>(1 + i);
  HmacDrbg reference;
  reference.instantiate(area, sizeof area);
  Bytes expected(48);
  ASSERT_TRUE(reference.generate(expected.data(), expected.size()));
  EXPECT_EQ(first, expected);
}

TEST_F(RandomEntry, LargestRequest) {
  seed(3);
  Bytes big = draw(SIGILLO_RAND_MAX_BYTES);
  EXPECT_NE(big, Bytes(SIGILLO_RAND_MAX_BYTES, 0));
}

TEST_F(RandomEntry, Twins) {
  uint8_t area[SIGILLO_RAND_SEED_SIZE] = {9};
  uint16_t rc = 99;
  YINITRAN(area, &rc);
  EXPECT_EQ(rc, 0);
  Bytes a(16);
  uint32_t n = 16;
  YGENRAND(&n, a.data(), &rc);
  EXPECT_EQ(rc, 0);
  INITRAND(area, &rc);
  EXPECT_EQ(draw(16), a);
}

TEST_F(RandomEntry, ArgumentChecks) {
  static uint8_t area[SIGILLO_RAND_SEED_SIZE], out[64];
  static const uint32_t n16 = 16, n0 = 0, tooMany = SIGILLO_RAND_MAX_BYTES + 1, k20 = 20, k19 = 19,
                        k65 = 65;
  const Refusal cases[] = {
      {"INITRAND seed", [](uint16_t* rc) { return INITRAND(nullptr, rc); }, 2, "seed (1)"},
      {"GENRAND count", [](uint16_t* rc) { return GENRAND(nullptr, out, rc); }, 5, "seed (1)"},
      {"GENRAND 0 bytes", [](uint16_t* rc) { return GENRAND(&n0, out, rc); }, 5, "seed (1)"},
      {"GENRAND too many", [](uint16_t* rc) { return GENRAND(&tooMany, out, rc); }, 5, "seed (1)"},
      {"GENRAND out", [](uint16_t* rc) { return GENRAND(&n16, nullptr, rc); }, 3, "out (2)"},
      {"GENKFIPS xkey", [](uint16_t* rc) { return GENKFIPS(nullptr, &k20, out, &n16, rc); }, 2,
       "xkey (1)"},
      {"GENKFIPS xkeysz", [](uint16_t* rc) { return GENKFIPS(area, nullptr, out, &n16, rc); }, 5,
       "xkeysz (2)"},
      {"GENKFIPS xkeysz 19", [](uint16_t* rc) { return GENKFIPS(area, &k19, out, &n16, rc); }, 5,
       "xkeysz (2)"},
      {"GENKFIPS xkeysz 65", [](uint16_t* rc) { return GENKFIPS(area, &k65, out, &n16, rc); }, 5,
       "xkeysz (2)"},
      {"GENKFIPS out", [](uint16_t* rc) { return GENKFIPS(area, &k20, nullptr, &n16, rc); }, 3,
       "out (3)"},
      {"GENKFIPS outsz", [](uint16_t* rc) { return GENKFIPS(area, &k20, out, nullptr, rc); }, 6,
       "outsz (4)"},
      {"GENKFIPS outsz 0", [](uint16_t* rc) { return GENKFIPS(area, &k20, out, &n0, rc); }, 6,
       "outsz (4)"},
      {"GENKFIPS too many", [](uint16_t* rc) { return GENKFIPS(area, &k20, out, &tooMany, rc); }, 6,
       "outsz (4)"},
  };
  for (const Refusal& c : cases) test::expectOutcome(c);
  EXPECT_FALSE(processDrbg().instantiated());
}

// ---- GENKFIPS ----------------------------------------------------------------

// FIPS 186-2 change notice 1, Appendix 3.1, from NIST's "Multiple Examples
// of DSA" (section 2.2): XKEY, w0 || w1 and the XKEY that follows.
const char* const kFipsXkey = "bd029bbe7f51960bcf9edb2b61f06f0feb5a38b6";
const char* const kFipsOutput =
    "2070B3223DBA372FDE1C0FFC7B2E3B498B2606143C6C18BACB0F6C55BABB13788E20D737A3275116";
const char* const kFipsNextXkey = "19DF679B881B39916875FEA06B3F819119A78FE2";

Bytes fipsDraw(Bytes& xkey, uint32_t n) {
  Bytes out(n);
  uint32_t keyLength = static_cast<uint32_t>(xkey.size());
  uint16_t rc = 99;
  EXPECT_EQ(GENKFIPS(xkey.data(), &keyLength, out.data(), &n, &rc), 0);
  EXPECT_EQ(rc, 0);
  return out;
}

TEST(GenKFips, PublishedExample) {
  Bytes xkey = fromHex(kFipsXkey);
  EXPECT_EQ(toHex(fipsDraw(xkey, 40)), kFipsOutput);
  EXPECT_EQ(toHex(xkey), kFipsNextXkey);
}

TEST(GenKFips, ShorterRequestsAndContinuation) {
  for (uint32_t n = 1; n <= 40; ++n) {
    Bytes xkey = fromHex(kFipsXkey);
    EXPECT_EQ(toHex(fipsDraw(xkey, n)), std::string(kFipsOutput, 2 * n)) << n;
  }
  Bytes xkey = fromHex(kFipsXkey);
  std::string pieces = toHex(fipsDraw(xkey, 20));
  pieces += toHex(fipsDraw(xkey, 20));
  EXPECT_EQ(pieces, kFipsOutput);
  EXPECT_EQ(toHex(xkey), kFipsNextXkey);
}

// XKEY of 64 bytes fills the whole 512-bit block.  From 2^b - 1 the next
// XKEY, 1 + XKEY + w modulo 2^b, is w itself.
TEST(GenKFips, LongKeysAndTwins) {
  Bytes xkey(64, 0xFF), again(64, 0xFF);
  Bytes first = fipsDraw(xkey, 20);
  EXPECT_EQ(toHex(xkey), std::string(88, '0') + toHex(first));
  Bytes out(20);
  uint32_t keyLength = 64, n = 20;
  uint16_t rc = 99;
  YGENKFIP(again.data(), &keyLength, out.data(), &n, &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(out, first);
  EXPECT_EQ(again, xkey);
  Bytes shortKey(20, 0xFF);
  EXPECT_NE(fipsDraw(shortKey, 20), first);
}

}  // namespace
}  // namespace sigillo
