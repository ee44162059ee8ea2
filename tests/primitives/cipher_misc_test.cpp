// The DES-family entry points besides the modes: weak keys (ISWEAK), session
// keys (GENKMM), the triple-DES MAC (MAC3), the
// statistical tests of a random stream (CHKKDEA, fips140.h), and Wycheproof
// AES-CBC through AESCBC and PADPKCS5.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <regex>
#include <set>
#include <sstream>

#include "primitives/des.h"
#include "primitives/fips140.h"
#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

using namespace test;

Bytes des(const Bytes& key, const Bytes& block) {
  Des d;
  d.setKey(key.data());
  Bytes out(8);
  d.encryptBlock(block.data(), out.data());
  return out;
}

// The lists are checked against what makes a key weak (enciphering twice is
// the identity) or semi-weak (undone by its partner), and ISWEAK against the
// lists, parity bits flipped or not; keys one key bit away are not weak.
TEST(CipherMisc, IsWeak) {
  const Bytes x = fromHex("4E6F772069732074");
  std::vector<std::pair<Bytes, uint16_t>> rows;
  for (const Vector& v : loadVectors("primitives/des.txt")) {
    if (v.group == "notweak") rows.push_back({v.bytes("key"), 0});
    if (v.group != "weak" && v.group != "semiweak") continue;
    const Bytes k = v.bytes("key"), partner = v.has("pair") ? v.bytes("pair") : k;
    EXPECT_EQ(des(partner, des(k, x)), x) << v.where();
    for (int i = 0; i < 4; ++i) {  // the key and its partner, parity bits flipped or not
      Bytes key = i % 2 == 0 ? k : partner;
      for (uint8_t& b : key) b ^= i < 2 ? 0 : 0x01;
      rows.push_back({key, v.group == "weak" ? 18 : 19});
    }
  }
  ASSERT_EQ(rows.size(), 46u);
  for (const auto& [k, code] : rows) {
    const Bytes key = k;  // a copy the lambda can capture
    const char* message = code == 18 ? "Chiave debole" : code == 19 ? "Chiave semidebole" : "";
    expectOutcome([&](uint16_t* rc) { return ISWEAK(key.data(), rc); }, code, message, toHex(key));
    uint16_t rc = 99;
    YISWEAK(key.data(), &rc);
    EXPECT_EQ(rc, code) << toHex(key) << " (YISWEAK)";
  }
}

TEST(CipherMisc, GenKmmDrawsFreshOddParityKeys) {
  std::set<Bytes> keys, ivs;
  for (int i = 0; i < 200; ++i) {
    Bytes s(8, 0), iv(8, 0);
    uint16_t rc = 99;
    const uint16_t code =
        i % 2 == 0 ? GENKMM(s.data(), iv.data(), &rc) : (YGENKMM(s.data(), iv.data(), &rc), rc);
    EXPECT_EQ(code + rc, 0);
    for (uint8_t b : s) EXPECT_EQ(std::popcount(b) % 2, 1) << toHex(s) << ": parity";
    EXPECT_EQ(ISWEAK(s.data(), &rc), 0) << toHex(s);
    keys.insert(s);
    ivs.insert(iv);
  }
  EXPECT_EQ(keys.size(), 200u);
  EXPECT_EQ(ivs.size(), 200u);
}

Bytes mac3(const Bytes& data, const Bytes& k1, const Bytes& k2, const Bytes& k3, bool y = false) {
  Bytes mac(8, 0xEE);
  uint32_t length = static_cast<uint32_t>(data.size());
  const uint8_t* in = data.empty() ? mac.data() : data.data();
  uint16_t rc = 99;
  const uint16_t code =
      y ? (YMAC3(in, &length, k1.data(), k2.data(), k3.data(), mac.data(), &rc), rc)
        : MAC3(in, &length, k1.data(), k2.data(), k3.data(), mac.data(), &rc);
  EXPECT_EQ(code + rc, 0);
  return mac;
}

// FIPS 113 with three equal keys, and the vectors of mac3.txt around a block
// and the 4,096-byte slices of the message; the keys' order matters.
TEST(CipherMisc, Mac3) {
  const Bytes k = fromHex("0123456789ABCDEF");
  EXPECT_EQ(toHex(mac3(textBytes("7654321 Now is the time for "), k, k, k)), "F1D30F6849312CA4");
  size_t rows = 0;
  for (const Vector& v : loadVectors("primitives/mac3.txt")) {
    Bytes data(v.number("length"));
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 37 + 11);
    const Bytes k1 = v.bytes("key"), k2 = v.bytes("key2"), k3 = v.bytes("key3");
    EXPECT_EQ(toHex(mac3(data, k1, k2, k3, ++rows % 2 == 0)), v.text("mac")) << v.where();
    if (k2 != k3) EXPECT_NE(toHex(mac3(data, k1, k3, k2)), v.text("mac")) << v.where();
  }
  EXPECT_EQ(rows, 20u);
}

// ---- CHKKDEA and the statistical tests of FIPS 140-1 -------------------------

constexpr size_t kSample = fips140::kSampleBytes;

void setBit(Bytes& s, size_t i, bool one) {
  const auto mask = static_cast<uint8_t>(0x80 >> (i % 8));
  s[i / 8] = static_cast<uint8_t>(one ? s[i / 8] | mask : s[i / 8] & ~mask);
}

// A run of `length` equal bits at `start`, bounded by opposite bits.
void putRun(Bytes& s, size_t start, size_t length, bool one) {
  for (size_t i = start; i < start + length; ++i) setBit(s, i, one);
  if (start > 0) setBit(s, start - 1, !one);
  if (start + length < fips140::kSampleBits) setBit(s, start + length, !one);
}

// runs[v][k - 1]: the runs of v of length k (the last entry: 6 or more).
using RunCounts = std::array<std::array<unsigned, 6>, 2>;
constexpr RunCounts kTypicalRuns = {
    {{2400, 1200, 600, 300, 150, 150}, {2400, 1200, 600, 300, 150, 150}}};

// A sample with exactly these runs: runs of 6 or more are lengthened (to 33
// at most) until the sample is full; the value with more runs starts.
Bytes sampleWithRuns(const RunCounts& counts, bool shuffle = false) {
  std::array<std::vector<size_t>, 2> runs;
  size_t bits = 0;
  for (int v = 0; v < 2; ++v) {
    for (size_t k = 6; k >= 1; --k) {
      runs[v].insert(runs[v].end(), counts[v][k - 1], k);
      bits += k * counts[v][k - 1];
    }
  }
  size_t extra = fips140::kSampleBits - bits;
  for (int v = 0; v < 2; ++v) {
    for (size_t i = 0, share = v == 0 ? extra / 2 : extra - extra / 2; share > 0; --share) {
      EXPECT_LT(++runs[v][i], 34U);
      i = (i + 1) % counts[v][5];
    }
    if (shuffle) std::shuffle(runs[v].begin(), runs[v].end(), std::mt19937(20240601 + v));
  }
  Bytes sample(kSample, 0);
  int value = runs[1].size() > runs[0].size() ? 1 : 0;
  std::array<size_t, 2> next{};
  size_t pos = 0;
  while (next[value] < runs[value].size()) {
    for (size_t i = runs[value][next[value]++]; i > 0; --i) setBit(sample, pos++, value == 1);
    value ^= 1;
  }
  EXPECT_EQ(pos, fips140::kSampleBits);
  return sample;
}

// Passes monobit, poker and long run but has too many runs of length 1.
Bytes tooManyShortRuns() {
  RunCounts counts = kTypicalRuns;
  counts[0][0] = counts[1][0] = 2760;
  return sampleWithRuns(counts, true);
}

Bytes withLongRun(Bytes sample) {
  putRun(sample, 9000, 34, true);
  return sample;
}

TEST(CipherMisc, ChkKdea) {
  Bytes good(kSample);  // a fixed stream that passes the four tests
  std::mt19937 random(1);
  for (uint8_t& b : good) b = static_cast<uint8_t>(random());
  expectOutcome([&](uint16_t* rc) { return CHKKDEA(good.data(), rc); }, 0, "", "generator");
  const struct {
    const char* what;
    Bytes sample;
    const char* message;
    std::array<bool, 4> passes;  // monobit, poker, runs, long run
  } rows[] = {
      {"all zeros", Bytes(kSample, 0x00), "Fallito test 'Monobit'", {false, false, false, false}},
      {"nibbles 5 and A", Bytes(kSample, 0x5A), "Fallito test 'Poker'", {true, false, false, true}},
      {"short runs", tooManyShortRuns(), "Fallito test 'Runs'", {true, true, false, true}},
      {"a run of 34", withLongRun(good), "Fallito test 'LongRuns'", {true, true, true, false}},
      {"both", withLongRun(tooManyShortRuns()), "Fallito test 'Runs'", {true, true, false, false}},
  };
  for (const auto& row : rows) {
    const uint8_t* s = row.sample.data();
    const std::array<bool, 4> passes = {fips140::monobitPasses(s), fips140::pokerPasses(s),
                                        fips140::runsPass(s), fips140::longRunPasses(s)};
    ASSERT_EQ(passes, row.passes) << row.what;
    expectOutcome([&](uint16_t* rc) { return CHKKDEA(s, rc); }, 17, row.message, row.what);
    uint16_t rc = 99;
    YCHKKDEA(s, &rc);
    EXPECT_EQ(rc, 17) << row.what << " (YCHKKDEA)";
  }
}

// Both sides of each bound of FIPS 140-1 section 4.11.1 (fips140.txt).
TEST(CipherMisc, Fips140Bounds) {
  for (const Vector& v : loadVectors("primitives/fips140.txt")) {
    SCOPED_TRACE(v.where());
    Bytes sample(kSample, v.group == "longrun" ? 0x55 : 0);
    if (v.group == "monobit") {
      for (long long i = 0; i < v.number("ones"); ++i) setBit(sample, static_cast<size_t>(i), true);
      EXPECT_EQ(fips140::monobitPasses(sample.data()), v.number("passes") == 1);
    } else if (v.group == "poker") {
      std::array<int, 16> f{};
      std::istringstream moves(v.text("moves"));
      for (size_t i = 0; i < 16; ++i) f[i] = i < 8 ? 312 : 313;
      for (size_t j = 0, a = 0; j < 4 && moves >> a; ++j) f[2 * j] += a, f[2 * j + 1] -= a;
      for (size_t value = 0, nibble = 0; value < 16; ++value) {
        for (int n = 0; n < f[value]; ++n, ++nibble)
          sample[nibble / 2] |= static_cast<uint8_t>(nibble % 2 == 0 ? value << 4 : value);
      }
      EXPECT_EQ(fips140::pokerPasses(sample.data()), v.number("passes") == 1);
    } else if (v.group == "runs") {
      const auto k = static_cast<size_t>(v.number("length") - 1);
      const auto low = static_cast<unsigned>(v.number("low")),
                 high = static_cast<unsigned>(v.number("high"));
      for (auto [count, passes] :
           {std::pair{low - 1, false}, {low, true}, {high, true}, {high + 1, false}}) {
        RunCounts counts = kTypicalRuns;
        counts[k % 2][k] = count;  // the zeros' runs and the ones' in turn
        counts[1 - k % 2][k] = std::clamp(count, low, high);
        EXPECT_EQ(fips140::runsPass(sampleWithRuns(counts).data()), passes) << count;
      }
    } else {
      putRun(sample, static_cast<size_t>(v.number("start")),
             static_cast<size_t>(v.number("length")), v.number("value") == 1);
      EXPECT_EQ(fips140::longRunPasses(sample.data()), v.number("passes") == 1);
    }
  }
}

// ---- Wycheproof AES-CBC with PKCS #5 padding -----------------------------------

// PADPKCS5 pads to 8-byte blocks: where the 16-byte padding of a message is
// 8 bytes or fewer the two agree; a longer padding is refused with code 14.
TEST(CipherMisc, WycheproofAesCbcThroughPadpkcs5) {
  const std::string text =
      readFile(std::string(SIGILLO_TESTDATA) + "/wycheproof/aes_cbc_pkcs5_test.json");
  static const std::regex token(R"re("(tcId|key|iv|msg|ct|result)"\s*:\s*("([^"]*)"|[0-9]+))re");
  std::map<std::string, std::string> c;
  int cases = 0, opened16 = 0;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), token);
       it != std::sregex_iterator(); ++it) {
    c[(*it)[1]] = (*it)[3].matched ? (*it)[3].str() : (*it)[2].str();
    if ((*it)[1] != "result") continue;
    ++cases;
    const Bytes key = fromHex(c["key"]), msg = fromHex(c["msg"]), ct = fromHex(c["ct"]);
    Bytes out(ct.size() + 16), iv = fromHex(c["iv"]);
    uint32_t len = static_cast<uint32_t>(ct.size()), keyLen = static_cast<uint32_t>(key.size());
    uint16_t init = 1, dec = 1, rc = 0;
    const uint16_t decipher =
        AESCBC(ct.data(), out.data(), &len, &init, key.data(), &keyLen, iv.data(), &dec, &rc);
    const uint16_t unpad = decipher != 0 ? 1 : PADPKCS5(out.data(), &len, &dec, &rc);
    out.resize(decipher == 0 ? len : 0);
    if (c["result"] != "valid") {
      EXPECT_TRUE(decipher != 0 || unpad != 0 || out != msg) << "tcId " << c["tcId"];
    } else if (16 - msg.size() % 16 > 8) {
      EXPECT_EQ(decipher * 100 + unpad, 14) << "tcId " << c["tcId"];
    } else {
      EXPECT_EQ(std::tuple(decipher, unpad, out), std::tuple(0, 0, msg)) << "tcId " << c["tcId"];
      ++opened16;
    }
  }
  EXPECT_EQ(cases, 216);
  EXPECT_EQ(opened16, 30);
}

}  // namespace
}  // namespace sigillo
