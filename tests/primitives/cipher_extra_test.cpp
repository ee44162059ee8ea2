// The DES-family entry points besides the modes: weak keys (ISWEAK), session
// keys (GENKMM), the triple-DES MAC (MAC3), the statistical tests of a
// random stream (CHKKDEA, fips140.h) and DES in propagating CBC (DEASBC).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "primitives/des.h"
#include "primitives/drbg.h"
#include "primitives/fips140.h"
#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::expectOutcome;
using test::fromHex;
using test::toHex;

// A repeatable stream: HMAC_DRBG under a fixed seed.
Bytes drbgBytes(const std::string& seed, size_t length) {
  HmacDrbg drbg;
  drbg.instantiate(reinterpret_cast<const uint8_t*>(seed.data()), seed.size());
  Bytes out(length);
  EXPECT_TRUE(drbg.generate(out.data(), out.size()));
  return out;
}

// ---- ISWEAK -----------------------------------------------------------------

// FIPS 74 / NIST SP 800-67, with odd parity.
const char* const kWeakKeys[] = {"0101010101010101", "FEFEFEFEFEFEFEFE", "E0E0E0E0F1F1F1F1",
                                 "1F1F1F1F0E0E0E0E"};
const char* const kSemiWeakPairs[][2] = {
    {"01FE01FE01FE01FE", "FE01FE01FE01FE01"}, {"1FE01FE00EF10EF1", "E01FE01FF10EF10E"},
    {"01E001E001F101F1", "E001E001F101F101"}, {"1FFE1FFE0EFE0EFE", "FE1FFE1FFE0EFE0E"},
    {"011F011F010E010E", "1F011F010E010E01"}, {"E0FEE0FEF1FEF1FE", "FEE0FEE0FEF1FEF1"},
};

Bytes desEncrypt(const Bytes& key, const Bytes& block) {
  Des des;
  des.setKey(key.data());
  Bytes out(8);
  des.encryptBlock(block.data(), out.data());
  return out;
}

// The lists above are checked against what makes the keys weak: a weak key
// enciphers twice to the identity, a semi-weak key is undone by its partner.
TEST(CipherExtra, WeakKeyListsHaveTheirDefiningProperty) {
  const Bytes blocks[] = {fromHex("0000000000000000"), fromHex("4E6F772069732074"),
                          fromHex("FFFFFFFFFFFFFFFF"), fromHex("0123456789ABCDEF")};
  for (const Bytes& x : blocks) {
    for (const char* weak : kWeakKeys) {
      const Bytes k = fromHex(weak);
      EXPECT_EQ(desEncrypt(k, desEncrypt(k, x)), x) << weak;
    }
    for (const auto& pair : kSemiWeakPairs) {
      const Bytes a = fromHex(pair[0]), b = fromHex(pair[1]);
      EXPECT_EQ(desEncrypt(b, desEncrypt(a, x)), x) << pair[0];
      EXPECT_EQ(desEncrypt(a, desEncrypt(b, x)), x) << pair[1];
      EXPECT_NE(desEncrypt(a, desEncrypt(a, x)), x) << pair[0] << " is not weak";
    }
    const Bytes ordinary = fromHex("0123456789ABCDEF");
    EXPECT_NE(desEncrypt(ordinary, desEncrypt(ordinary, x)), x);
  }
}

// Every key byte's low bit flipped: even parity, same DES key.
Bytes flipParity(Bytes key) {
  for (uint8_t& b : key) b ^= 0x01;
  return key;
}

TEST(CipherExtra, IsWeakClassifiesKeys) {
  struct Row {
    Bytes key;
    uint16_t code;
  };
  std::vector<Row> rows;
  for (const char* weak : kWeakKeys) {
    rows.push_back({fromHex(weak), 18});
    rows.push_back({flipParity(fromHex(weak)), 18});
  }
  for (const auto& pair : kSemiWeakPairs) {
    for (const char* semi : pair) {
      rows.push_back({fromHex(semi), 19});
      rows.push_back({flipParity(fromHex(semi)), 19});
    }
  }
  // Not weak: an ordinary key, weak keys with one key bit (not a parity
  // bit) changed, and a "possibly weak" key (four distinct subkeys).
  for (const char* other : {"0123456789ABCDEF", "0101010101010103", "FEFEFEFEFEFEFEBE",
                            "E0E0E0E0F1F1F1F3", "1F1F01010E0E0101", "0000000000000002"}) {
    rows.push_back({fromHex(other), 0});
  }
  for (const Row& row : rows) {
    const std::string what = toHex(row.key);
    const std::string message =
        row.code == 18 ? "Chiave debole" : (row.code == 19 ? "Chiave semidebole" : "");
    expectOutcome([&](uint16_t* rc) { return ISWEAK(row.key.data(), rc); }, row.code, message,
                  what);
    uint16_t rc = 99;
    YISWEAK(row.key.data(), &rc);
    EXPECT_EQ(rc, row.code) << what << " (YISWEAK)";
  }
}

// ---- GENKMM -----------------------------------------------------------------

TEST(CipherExtra, GenKmmDrawsFreshOddParityKeys) {
  std::set<Bytes> keys, ivs;
  constexpr int kDraws = 200;
  for (int i = 0; i < kDraws; ++i) {
    Bytes s(8, 0), iv(8, 0);
    if (i % 2 == 0) {
      expectOutcome([&](uint16_t* rc) { return GENKMM(s.data(), iv.data(), rc); }, 0, "", "GENKMM");
    } else {
      uint16_t rc = 99;
      YGENKMM(s.data(), iv.data(), &rc);
      EXPECT_EQ(rc, 0);
    }
    for (uint8_t b : s) EXPECT_EQ(std::popcount(b) % 2, 1) << toHex(s) << ": parity";
    uint16_t weak = 99;
    EXPECT_EQ(ISWEAK(s.data(), &weak), 0) << toHex(s);
    keys.insert(s);
    ivs.insert(iv);
  }
  EXPECT_EQ(keys.size(), size_t{kDraws});
  EXPECT_EQ(ivs.size(), size_t{kDraws});
}

// ---- MAC3 -------------------------------------------------------------------

Bytes mac3(const Bytes& data, const Bytes& k1, const Bytes& k2, const Bytes& k3) {
  Bytes mac(8, 0xEE);
  uint32_t length = static_cast<uint32_t>(data.size());
  // An empty vector may have no storage; the entry point needs a buffer.
  const uint8_t* in = data.empty() ? mac.data() : data.data();
  expectOutcome(
      [&](uint16_t* rc) {
        return MAC3(in, &length, k1.data(), k2.data(), k3.data(), mac.data(), rc);
      },
      0, "", "MAC3");
  return mac;
}

// The last block of CBC from a zero IV over the data padded with zero bytes
// to whole blocks (at least one), by the chaining entry point of each cipher.
Bytes lastCbcBlock(const Bytes& data, const Bytes& k1, const Bytes& k2, const Bytes& k3,
                   bool singleDes) {
  Bytes padded = data;
  padded.resize(std::max<size_t>(8, (data.size() + 7) / 8 * 8), 0);
  Bytes out(padded.size()), iv(8, 0);
  uint32_t length = static_cast<uint32_t>(padded.size());
  uint16_t init = 1, enc = 0, rc = 99;
  if (singleDes) {
    DEACBC(padded.data(), out.data(), &length, &init, k1.data(), iv.data(), &enc, &rc);
  } else {
    DEA3CBC(padded.data(), out.data(), &length, &init, k1.data(), k2.data(), k3.data(), iv.data(),
            &enc, &rc);
  }
  EXPECT_EQ(rc, 0);
  return Bytes(out.end() - 8, out.end());
}

// FIPS 113 (the DES MAC): with three equal keys triple DES is single DES.
TEST(CipherExtra, Mac3WithEqualKeysIsTheFips113Mac) {
  const Bytes key = fromHex("0123456789ABCDEF");
  const Bytes message = test::textBytes("7654321 Now is the time for ");
  EXPECT_EQ(toHex(mac3(message, key, key, key)), "F1D30F6849312CA4");
  for (size_t length : {0, 1, 8, 13, 4096, 5000}) {
    const Bytes data = drbgBytes("mac-des", length);
    EXPECT_EQ(mac3(data, key, key, key), lastCbcBlock(data, key, key, key, true)) << length;
  }
}

TEST(CipherExtra, Mac3IsTheLastTripleDesCbcBlock) {
  const Bytes k1 = fromHex("0123456789ABCDEF"), k2 = fromHex("23456789ABCDEF01"),
              k3 = fromHex("456789ABCDEF0123");
  // Lengths around a block and around the 4,096-byte slices of the message.
  for (size_t length : {0, 1, 7, 8, 9, 16, 23, 4095, 4096, 4097, 8192, 8200, 12345}) {
    const Bytes data = drbgBytes("mac-tdes", length);
    const Bytes mac = mac3(data, k1, k2, k3);
    EXPECT_EQ(mac, lastCbcBlock(data, k1, k2, k3, false)) << length;
    EXPECT_NE(mac, mac3(data, k1, k3, k2)) << length << ": key order";
  }
  // Zero padding: a short message and the same message with its padding
  // written out have the same MAC; an empty message is one zero block.
  EXPECT_EQ(mac3(test::textBytes("abc"), k1, k2, k3),
            mac3(Bytes{'a', 'b', 'c', 0, 0, 0, 0, 0}, k1, k2, k3));
  EXPECT_EQ(mac3(Bytes{}, k1, k2, k3), mac3(Bytes(8, 0), k1, k2, k3));
  Bytes mac(8);
  uint32_t length = 3;
  uint16_t rc = 99;
  YMAC3(reinterpret_cast<const uint8_t*>("abc"), &length, k1.data(), k2.data(), k3.data(),
        mac.data(), &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(mac, mac3(test::textBytes("abc"), k1, k2, k3));
}

// ---- CHKKDEA and the statistical tests ----------------------------------------

constexpr size_t kSample = fips140::kSampleBytes;

void setBit(Bytes& sample, size_t index, bool one) {
  const auto mask = static_cast<uint8_t>(0x80 >> (index % 8));
  if (one) {
    sample[index / 8] |= mask;
  } else {
    sample[index / 8] &= static_cast<uint8_t>(~mask);
  }
}

// A run of `length` equal bits at `start`, bounded by opposite bits.
void putRun(Bytes& sample, size_t start, size_t length, bool one) {
  for (size_t i = start; i < start + length; ++i) setBit(sample, i, one);
  if (start > 0) setBit(sample, start - 1, !one);
  if (start + length < fips140::kSampleBits) setBit(sample, start + length, !one);
}

// counts[bit][k − 1]: the runs of zeros (0) and ones (1) of length k, the
// last entry those of 6 or more.
using RunCounts = std::array<std::array<unsigned, 6>, 2>;

// A sample with exactly these runs.  Runs of 6 or more start at 6 and are
// lengthened (to 33 at most) until the sample is full, half the extra bits
// to each value.  Each value's runs are in a shuffled order when
// `shuffleSeed` is given, else longest first; the value with more runs
// starts (and ends) the sample.
Bytes sampleWithRuns(const RunCounts& counts, std::optional<uint32_t> shuffleSeed = std::nullopt) {
  std::array<std::vector<size_t>, 2> runs;
  size_t bits = 0;
  for (int v = 0; v < 2; ++v) {
    for (size_t k = 6; k >= 1; --k) {
      for (unsigned n = 0; n < counts[v][k - 1]; ++n) runs[v].push_back(k);
      bits += k * counts[v][k - 1];
    }
  }
  EXPECT_LE(bits, fips140::kSampleBits);
  size_t extra = fips140::kSampleBits - bits;
  for (int v = 0; v < 2; ++v) {
    size_t share = v == 0 ? extra / 2 : extra - extra / 2;
    const size_t longRuns = counts[v][5];
    for (size_t i = 0; share > 0; i = (i + 1) % longRuns, --share) {
      EXPECT_LT(runs[v][i], 33U);
      ++runs[v][i];
    }
  }
  if (shuffleSeed) {
    uint32_t state = *shuffleSeed;  // xorshift32
    auto next = [&state] {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      return state;
    };
    for (auto& list : runs) {
      for (size_t i = list.size() - 1; i > 0; --i) std::swap(list[i], list[next() % (i + 1)]);
    }
  }
  EXPECT_LE(std::max(runs[0].size(), runs[1].size()) - std::min(runs[0].size(), runs[1].size()),
            1U);
  Bytes sample(kSample, 0);
  int value = runs[1].size() > runs[0].size() ? 1 : 0;
  std::array<size_t, 2> next{};
  size_t pos = 0;
  while (next[value] < runs[value].size()) {
    const size_t length = runs[value][next[value]++];
    for (size_t i = 0; i < length; ++i) setBit(sample, pos++, value == 1);
    value ^= 1;
  }
  EXPECT_EQ(pos, fips140::kSampleBits);
  return sample;
}

constexpr RunCounts kTypicalRuns = {
    {{2400, 1200, 600, 300, 150, 150}, {2400, 1200, 600, 300, 150, 150}}};

// A sample that passes monobit, poker and long run but has too many runs
// of length 1.
Bytes tooManyShortRuns() {
  RunCounts counts = kTypicalRuns;
  counts[0][0] = counts[1][0] = 2760;
  return sampleWithRuns(counts, 20240601);
}

// A sample with a run of 34 ones added in its middle.
Bytes withLongRun(Bytes sample) {
  putRun(sample, 9000, 34, true);
  return sample;
}

TEST(CipherExtra, ChkKdeaPassesGeneratorOutput) {
  for (int seed = 0; seed < 8; ++seed) {
    const Bytes sample = drbgBytes("chkkdea-" + std::to_string(seed), kSample);
    expectOutcome([&](uint16_t* rc) { return CHKKDEA(sample.data(), rc); }, 0, "",
                  "seed " + std::to_string(seed));
  }
}

TEST(CipherExtra, ChkKdeaNamesTheFirstFailedTest) {
  struct Row {
    const char* what;
    Bytes sample;
    const char* message;
    // Which tests the sample passes, in the order they are run.
    std::array<bool, 4> passes;
  };
  const Row rows[] = {
      {"all zeros", Bytes(kSample, 0x00), "Fallito test 'Monobit'", {false, false, false, false}},
      {"all ones", Bytes(kSample, 0xFF), "Fallito test 'Monobit'", {false, false, false, false}},
      {"nibbles 5 and A", Bytes(kSample, 0x5A), "Fallito test 'Poker'", {true, false, false, true}},
      {"too many short runs", tooManyShortRuns(), "Fallito test 'Runs'", {true, true, false, true}},
      {"a run of 34 ones",
       withLongRun(drbgBytes("chkkdea-long-run", kSample)),
       "Fallito test 'LongRuns'",
       {true, true, true, false}},
      {"short runs and a run of 34",
       withLongRun(tooManyShortRuns()),
       "Fallito test 'Runs'",
       {true, true, false, false}},
  };
  for (const Row& row : rows) {
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

TEST(CipherExtraFips140, MonobitBounds) {
  for (auto [ones, passes] : {std::pair{9654, false}, std::pair{9655, true}, std::pair{10345, true},
                              std::pair{10346, false}}) {
    Bytes sample(kSample, 0);
    for (int i = 0; i < ones; ++i) setBit(sample, static_cast<size_t>(i), true);
    EXPECT_EQ(fips140::monobitPasses(sample.data()), passes) << ones;
  }
}

// A sample whose nibble counts f(i) have Σ f(i)² = `target` (even: Σ f(i)
// is 5,000).  Counts of 312 (nibbles 0 to 7) and 313 (8 to F) give
// 1,562,504; moving each of four pairs of 312s to 312 ± x adds 2x², and
// every number is a sum of four squares.
Bytes sampleWithPokerSum(uint64_t target) {
  std::array<int, 16> f{};
  for (size_t i = 0; i < 16; ++i) f[i] = i < 8 ? 312 : 313;
  const int half = static_cast<int>((target - 1'562'504) / 2);
  std::optional<std::array<int, 4>> squares;
  for (int a = 0; a * a <= half && !squares; ++a) {
    for (int b = 0; b <= a && a * a + b * b <= half && !squares; ++b) {
      for (int c = 0; c <= b && a * a + b * b + c * c <= half && !squares; ++c) {
        const int rest = half - a * a - b * b - c * c;
        const int d = static_cast<int>(std::lround(std::sqrt(rest)));
        if (d * d == rest) squares = std::array<int, 4>{a, b, c, d};
      }
    }
  }
  EXPECT_TRUE(squares.has_value()) << target;
  for (size_t j = 0; j < 4; ++j) {
    f[2 * j] += (*squares)[j];
    f[2 * j + 1] -= (*squares)[j];
  }
  Bytes sample(kSample, 0);
  size_t nibble = 0;
  for (size_t value = 0; value < 16; ++value) {
    for (int n = 0; n < f[value]; ++n, ++nibble) {
      sample[nibble / 2] |= static_cast<uint8_t>(nibble % 2 == 0 ? value << 4 : value);
    }
  }
  EXPECT_EQ(nibble, 5000U);
  return sample;
}

// X = 16/5000 · Σ f(i)² − 5000: 1.0224, 1.0304, 57.3952 and 57.4016 at the
// edges, 0.0013 for counts as even as they can be.
TEST(CipherExtraFips140, PokerBounds) {
  for (auto [sum, passes] :
       {std::pair{1'562'504, false}, std::pair{1'562'820, false}, std::pair{1'562'822, true},
        std::pair{1'570'000, true}, std::pair{1'580'436, true}, std::pair{1'580'438, false}}) {
    const Bytes sample = sampleWithPokerSum(static_cast<uint64_t>(sum));
    EXPECT_EQ(fips140::pokerPasses(sample.data()), passes) << sum;
  }
}

TEST(CipherExtraFips140, RunsBoundsForZerosAndOnes) {
  const std::array<std::pair<unsigned, unsigned>, 6> bounds = {
      {{2267, 2733}, {1079, 1421}, {502, 748}, {223, 402}, {90, 223}, {90, 223}}};
  EXPECT_TRUE(fips140::runsPass(sampleWithRuns(kTypicalRuns).data()));
  for (int value = 0; value < 2; ++value) {
    for (size_t k = 0; k < 6; ++k) {
      const auto [low, high] = bounds[k];
      for (auto [count, passes] : {std::pair{low - 1, false}, std::pair{low, true},
                                   std::pair{high, true}, std::pair{high + 1, false}}) {
        // The other value stays within bounds, one run away at most.
        RunCounts counts = kTypicalRuns;
        counts[value][k] = count;
        counts[1 - value][k] = std::clamp(count, low, high);
        const Bytes sample = sampleWithRuns(counts);
        EXPECT_EQ(fips140::runsPass(sample.data()), passes)
            << (value == 1 ? "ones" : "zeros") << ", length " << k + 1 << ": " << count;
      }
    }
  }
}

TEST(CipherExtraFips140, LongRunBounds) {
  struct Row {
    size_t start, length;
    bool one, passes;
  };
  const Row rows[] = {
      {9000, 33, true, true},   {9000, 34, true, false},  {9000, 33, false, true},
      {9000, 34, false, false}, {0, 33, true, true},      {0, 34, false, false},
      {19967, 33, false, true}, {19966, 34, true, false}, {19966, 34, false, false},
      {5000, 200, true, false},
  };
  for (const Row& row : rows) {
    Bytes sample(kSample, 0x55);  // runs of one bit
    putRun(sample, row.start, row.length, row.one);
    EXPECT_EQ(fips140::longRunPasses(sample.data()), row.passes)
        << row.start << " " << row.length << " " << row.one;
  }
}

// ---- DEASBC -----------------------------------------------------------------

const Bytes kKey = fromHex("0123456789ABCDEF");
const Bytes kIv = fromHex("FEDCBA9876543210");

// One DEASBC call; iv updated in place.
Bytes sbc(const Bytes& in, Bytes& iv, uint16_t mode, uint16_t init = 1, const Bytes& key = kKey) {
  Bytes out(in.size());
  uint32_t length = static_cast<uint32_t>(in.size());
  expectOutcome(
      [&](uint16_t* rc) {
        return DEASBC(in.data(), out.data(), &length, &init, key.data(), iv.data(), &mode, rc);
      },
      0, "", "DEASBC");
  return out;
}

Bytes cbc(const Bytes& in, Bytes& iv, uint16_t mode) {
  Bytes out(in.size());
  uint32_t length = static_cast<uint32_t>(in.size());
  uint16_t init = 1, rc = 99;
  DEACBC(in.data(), out.data(), &length, &init, kKey.data(), iv.data(), &mode, &rc);
  EXPECT_EQ(rc, 0);
  return out;
}

Bytes block(const Bytes& data, size_t index) {
  return Bytes(data.begin() + 8 * index, data.begin() + 8 * index + 8);
}

// OpenSSL's DES_pcbc_encrypt test (test/destest.c): the message with its
// terminating NUL, zero-padded to 32 bytes.
TEST(CipherExtra, SbcOpensslVector) {
  const std::string text = "7654321 Now is the time for ";
  Bytes plain(32, 0);
  std::copy(text.begin(), text.end(), plain.begin());
  const char* expected = "CCD173FFAB2039F46DECB470A0E56B15AEA6BF61ED7D9C9FF717463B8AB3CC88";
  Bytes iv = kIv;
  const Bytes c = sbc(plain, iv, 0);
  EXPECT_EQ(toHex(c), expected);
  Bytes chain(8);
  for (size_t i = 0; i < 8; ++i) chain[i] = plain[24 + i] ^ c[24 + i];
  EXPECT_EQ(iv, chain) << "the chaining value is P XOR C of the last block";
  iv = kIv;
  EXPECT_EQ(sbc(c, iv, 1), plain);
  EXPECT_EQ(iv, chain);
  // In place, through the Y twin.
  Bytes buffer = plain;
  iv = kIv;
  uint32_t length = 32;
  uint16_t init = 1, enc = 0, rc = 99;
  YDEASBC(buffer.data(), buffer.data(), &length, &init, kKey.data(), iv.data(), &enc, &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(toHex(buffer), expected);
}

TEST(CipherExtra, SbcPiecesEqualOneCall) {
  const Bytes data = drbgBytes("sbc-pieces", 96);
  Bytes iv = kIv;
  const Bytes whole = sbc(data, iv, 0);
  for (size_t piece : {8, 16, 24, 48}) {
    for (uint16_t mode : {0, 1}) {
      const Bytes& in = mode == 0 ? data : whole;
      Bytes ivPieces = kIv, out;
      for (size_t pos = 0; pos < in.size(); pos += piece) {
        const Bytes part(in.begin() + pos, in.begin() + pos + piece);
        // Later calls reuse the schedule and ignore the key given.
        const Bytes r = sbc(part, ivPieces, mode, pos == 0 ? 1 : 0, pos == 0 ? kKey : kIv);
        out.insert(out.end(), r.begin(), r.end());
      }
      EXPECT_EQ(out, mode == 0 ? whole : data) << piece << " " << mode;
      EXPECT_EQ(ivPieces, iv) << piece << " " << mode;
    }
  }
}

// PCBC against CBC: the same first block; a changed ciphertext block garbles
// every later block in PCBC but only the next one in CBC; two swapped
// ciphertext blocks leave the blocks after them intact in PCBC.
TEST(CipherExtra, SbcPropagatesChanges) {
  const Bytes plain = drbgBytes("sbc-propagation", 48);
  Bytes ivSbc = kIv, ivCbc = kIv;
  const Bytes pcbcText = sbc(plain, ivSbc, 0), cbcText = cbc(plain, ivCbc, 0);
  EXPECT_EQ(block(pcbcText, 0), block(cbcText, 0));
  EXPECT_NE(block(pcbcText, 1), block(cbcText, 1));

  Bytes flippedSbc = pcbcText, flippedCbc = cbcText;
  flippedSbc[8] ^= 0x01;
  flippedCbc[8] ^= 0x01;
  ivSbc = kIv;
  ivCbc = kIv;
  const Bytes garbledSbc = sbc(flippedSbc, ivSbc, 1), garbledCbc = cbc(flippedCbc, ivCbc, 1);
  EXPECT_EQ(block(garbledSbc, 0), block(plain, 0));
  EXPECT_EQ(block(garbledCbc, 0), block(plain, 0));
  for (size_t i = 1; i < 6; ++i) {
    EXPECT_NE(block(garbledSbc, i), block(plain, i)) << "PCBC block " << i;
    EXPECT_EQ(block(garbledCbc, i) == block(plain, i), i > 2) << "CBC block " << i;
  }

  Bytes swapped = pcbcText;
  std::swap_ranges(swapped.begin() + 16, swapped.begin() + 24, swapped.begin() + 24);
  ivSbc = kIv;
  const Bytes afterSwap = sbc(swapped, ivSbc, 1);
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(block(afterSwap, i) == block(plain, i), i != 2 && i != 3) << "block " << i;
  }
}

// ---- Argument checks ---------------------------------------------------------

TEST(CipherExtra, ArgumentChecksInOrder) {
  static const uint8_t in[kSample] = {};
  static uint8_t out[16], iv[8];
  static const uint8_t key[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  static const uint32_t len8 = 8, len12 = 12, zero = 0;
  static const uint16_t one = 1, enc = 0, bad = 2;
  const test::Refusal rows[] = {
      {"isweak key", [](uint16_t* rc) { return ISWEAK(nullptr, rc); }, 4, "key (1)"},
      {"genkmm s", [](uint16_t* rc) { return GENKMM(nullptr, iv, rc); }, 3, "s (1)"},
      {"genkmm iv", [](uint16_t* rc) { return GENKMM(out, nullptr, rc); }, 3, "iv (2)"},
      {"mac3 bufi", [](uint16_t* rc) { return MAC3(nullptr, &len8, key, key, key, nullptr, rc); },
       2, "bufi (1)"},
      {"mac3 insz", [](uint16_t* rc) { return MAC3(in, nullptr, key, key, key, out, rc); }, 5,
       "insz (2)"},
      {"mac3 pssw1", [](uint16_t* rc) { return MAC3(in, &len8, nullptr, key, key, out, rc); }, 4,
       "pssw1 (3)"},
      {"mac3 pssw2", [](uint16_t* rc) { return MAC3(in, &zero, key, nullptr, key, out, rc); }, 4,
       "pssw2 (4)"},
      {"mac3 pssw3", [](uint16_t* rc) { return MAC3(in, &len8, key, key, nullptr, out, rc); }, 4,
       "pssw3 (5)"},
      {"mac3 mac", [](uint16_t* rc) { return MAC3(in, &len8, key, key, key, nullptr, rc); }, 3,
       "mac (6)"},
      {"chkkdea stream", [](uint16_t* rc) { return CHKKDEA(nullptr, rc); }, 2, "stream (1)"},
      {"sbc bufi",
       [](uint16_t* rc) { return DEASBC(nullptr, out, &len8, &one, key, iv, &enc, rc); }, 2,
       "bufi (1)"},
      {"sbc bufo", [](uint16_t* rc) { return DEASBC(in, nullptr, &len8, &one, key, iv, &enc, rc); },
       3, "bufo (2)"},
      {"sbc insz null",
       [](uint16_t* rc) { return DEASBC(in, out, nullptr, &one, key, iv, &enc, rc); }, 5,
       "insz (3)"},
      {"sbc insz 0", [](uint16_t* rc) { return DEASBC(in, out, &zero, &one, key, iv, &enc, rc); },
       5, "insz (3)"},
      {"sbc insz 12", [](uint16_t* rc) { return DEASBC(in, out, &len12, &one, key, iv, &enc, rc); },
       5, "insz (3)"},
      {"sbc init", [](uint16_t* rc) { return DEASBC(in, out, &len8, nullptr, key, iv, &enc, rc); },
       2, "init (4)"},
      {"sbc pssw", [](uint16_t* rc) { return DEASBC(in, out, &len8, &one, nullptr, iv, &enc, rc); },
       4, "pssw (5)"},
      {"sbc iv", [](uint16_t* rc) { return DEASBC(in, out, &len8, &one, key, nullptr, &bad, rc); },
       4, "iv (6)"},
      {"sbc mode 2", [](uint16_t* rc) { return DEASBC(in, out, &len8, &one, key, iv, &bad, rc); },
       1, "mode (7)"},
      {"sbc mode null",
       [](uint16_t* rc) { return DEASBC(in, out, &len8, &one, key, iv, nullptr, rc); }, 1,
       "mode (7)"},
  };
  for (const test::Refusal& row : rows) {
    memset(out, 0xEE, sizeof out);
    memset(iv, 0xDD, sizeof iv);
    test::expectOutcome(row);
    for (uint8_t b : out) ASSERT_EQ(b, 0xEE) << row.what << ": output written on failure";
    for (uint8_t b : iv) ASSERT_EQ(b, 0xDD) << row.what << ": iv written on failure";
  }
}

}  // namespace
}  // namespace sigillo
