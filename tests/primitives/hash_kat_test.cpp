// The hash family's entry points: the published vectors of
// tests/data/primitives/hash.txt in one call, in pieces and through the Y
// twins; OpenSSL's MD4 as a reference; zero padding; Wycheproof HMAC; the
// argument checks.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <array>

#include "primitives/hashstream.h"
#include "sigillo/sigillo.h"
#include "tests/common/refusal.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

using namespace test;

struct Keys {
  Bytes key = Bytes(8), key2 = Bytes(8);
  uint16_t variant = 1;
};
using HashInvoke = uint16_t (*)(const uint8_t*, const uint32_t*, uint8_t*, const uint16_t*,
                                const Keys&, uint16_t*, bool y);
#define SIGILLO_HASH(F, YF, ...)                                                        \
  [](const uint8_t* b, const uint32_t* n, uint8_t* s, const uint16_t* m, const Keys& k, \
     uint16_t* rc, bool y) -> uint16_t {                                                \
    [[maybe_unused]] const uint32_t keyLength = static_cast<uint32_t>(k.key.size());    \
    if (!y) return F(b, n, s, m __VA_OPT__(, ) __VA_ARGS__, rc);                        \
    YF(b, n, s, m __VA_OPT__(, ) __VA_ARGS__, rc);                                      \
    return 0;                                                                           \
  }

const std::map<std::string, std::pair<size_t, HashInvoke>>& hashEntries() {
  static const std::map<std::string, std::pair<size_t, HashInvoke>> all = {
      {"MD2", {16, SIGILLO_HASH(MD2, YMD2)}},
      {"MD4", {16, SIGILLO_HASH(MD4, YMD4)}},
      {"MD5", {16, SIGILLO_HASH(MD5, YMD5)}},
      {"SHA1", {20, SIGILLO_HASH(SHA1, YSHA1)}},
      {"SHA256", {32, SIGILLO_HASH(SHA256, YSHA256)}},
      {"SHA512", {64, SIGILLO_HASH(SHA512, YSHA512)}},
      {"RIPEMD", {20, SIGILLO_HASH(RIPEMD, YRIPEMD)}},
      {"CRC16", {2, SIGILLO_HASH(CRC16, YCRC16)}},
      {"FCS16", {2, SIGILLO_HASH(FCS16, YFCS16)}},
      {"FCS32", {4, SIGILLO_HASH(FCS32, YFCS32)}},
      {"HMCMD5", {16, SIGILLO_HASH(HMCMD5, YHMCMD5, k.key.data(), &keyLength)}},
      {"HMCSHA1", {20, SIGILLO_HASH(HMCSHA1, YHMCSHA1, k.key.data(), &keyLength)}},
      {"HMCSHA256", {32, SIGILLO_HASH(HMCSHA256, YHMCSHA2, k.key.data(), &keyLength)}},
      {"HMCSHA512", {64, SIGILLO_HASH(HMCSHA512, YHMCSHA5, k.key.data(), &keyLength)}},
      {"HF1", {8, SIGILLO_HASH(HF1, YHF1, k.key.data())}},
      {"HF2", {16, SIGILLO_HASH(HF2, YHF2, k.key.data(), k.key2.data())}},
      {"MACISO", {8, SIGILLO_HASH(MACISO, YMACISO, k.key.data())}},
      {"MACSISO", {8, SIGILLO_HASH(MACSISO, YMACSISO, k.key.data(), k.key2.data(), &k.variant)}},
      {"MAAISO", {4, SIGILLO_HASH(MAAISO, YMAAISO, k.key.data(), k.key2.data())}},
  };
  return all;
}

// The result of `entry` on `msg`: in one call (piece 0), through the Y twin,
// or in pieces of `piece` bytes after an empty first block.
std::string digest(const std::string& entry, const Keys& keys, const Bytes& msg, size_t piece = 0,
                   bool y = false) {
  const auto& [size, call] = hashEntries().at(entry);
  uint8_t state[SIGILLO_HASH_STATE_SIZE] = {};
  uint16_t rc = 99, mode = SIGILLO_BLOCK_ONLY;
  uint32_t len = static_cast<uint32_t>(msg.size());
  static const uint8_t kNone[1] = {};
  const uint8_t* data = msg.empty() ? kNone : msg.data();
  if (piece == 0) {
    const uint16_t code = call(data, &len, state, &mode, keys, &rc, y);
    EXPECT_EQ(rc, 0) << entry;
    if (!y) EXPECT_EQ(code, 0) << entry;
    return toHex(state, size);
  }
  len = 0;
  mode = SIGILLO_BLOCK_FIRST;
  EXPECT_EQ(call(data, &len, state, &mode, keys, &rc, false), 0) << entry;
  size_t pos = 0;
  do {
    len = static_cast<uint32_t>(std::min(piece, msg.size() - pos));
    mode = pos + len == msg.size() ? SIGILLO_BLOCK_LAST : SIGILLO_BLOCK_MIDDLE;
    EXPECT_EQ(call(data + pos, &len, state, &mode, keys, &rc, false), 0) << entry << " " << pos;
    pos += len;
  } while (pos < msg.size());
  return toHex(state, size);
}

Bytes messageOf(const Vector& v) {
  if (v.has("words")) {  // MAA's long messages: words counting from 0 by step
    Bytes m;
    const auto step = static_cast<uint32_t>(std::stoul(v.text("step"), nullptr, 16));
    for (uint32_t i = 0, word = 0; i < v.number("words"); ++i, word += step) {
      for (int shift = 24; shift >= 0; shift -= 8) m.push_back(static_cast<uint8_t>(word >> shift));
    }
    return m;
  }
  Bytes m;
  const Bytes one = v.has("msg") ? v.bytes("msg") : textBytes(v.text("text"));
  for (long long i = 0; i < (v.has("repeat") ? v.number("repeat") : 1); ++i) {
    m.insert(m.end(), one.begin(), one.end());
  }
  return m;
}

Keys keysOf(const Vector& v) {
  Keys k;
  if (v.has("key")) k.key = v.bytes("key");
  if (v.has("key2")) k.key2 = v.bytes("key2");
  if (v.has("variant")) k.variant = static_cast<uint16_t>(v.number("variant"));
  return k;
}

TEST(HashKat, PublishedVectorsWholeInPiecesAndTwins) {
  size_t seen = 0;
  for (const Vector& v : loadVectors("primitives/hash.txt")) {
    if (!hashEntries().count(v.group)) continue;
    SCOPED_TRACE(v.where() + " " + v.group);
    ++seen;
    const Bytes msg = messageOf(v);
    const Keys keys = keysOf(v);
    const std::string expected = v.text("digest"), whole = digest(v.group, keys, msg);
    EXPECT_EQ(whole.substr(0, expected.size()), expected);
    EXPECT_EQ(digest(v.group, keys, msg, 0, true), whole) << "Y twin";
    const std::vector<size_t> pieces = msg.size() > 20000 ? std::vector<size_t>{16383, 65537}
                                                          : std::vector<size_t>{1, 7, 64, 65, 1025};
    for (size_t piece : pieces) EXPECT_EQ(digest(v.group, keys, msg, piece), whole) << piece;
  }
  EXPECT_EQ(seen, 92u);
  EXPECT_EQ(openHashStreams(), 0u);
}

// OpenSSL's MD4 (legacy provider, in a library context of its own) for every
// length from 0 to 200 bytes.
TEST(HashKat, Md4MatchesOpenssl) {
  std::unique_ptr<OSSL_LIB_CTX, decltype(&OSSL_LIB_CTX_free)> context(OSSL_LIB_CTX_new(),
                                                                      OSSL_LIB_CTX_free);
  OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(context.get(), "legacy");
  if (!legacy) GTEST_SKIP() << "OpenSSL legacy provider not available";
  EVP_MD* md4 = EVP_MD_fetch(context.get(), "MD4", nullptr);
  Bytes message, theirs(16);
  for (size_t length = 0; length <= 200; ++length) {
    EXPECT_EQ(EVP_Digest(message.data(), length, theirs.data(), nullptr, md4, nullptr), 1);
    EXPECT_EQ(digest("MD4", {}, message), toHex(theirs)) << length;
    message.push_back(static_cast<uint8_t>(length * 37 + 11));
  }
  EVP_MD_free(md4);
  OSSL_PROVIDER_unload(legacy);
}

// A partial last block (word for MAA) is completed with zero bytes (HF1 and
// the MACs: see their vectors); for HF1 and HF2 an empty message leaves the
// starting values.
TEST(HashKat, ZeroPadding) {
  Keys keys;
  keys.key2 = fromHex("FEDCBA9876543210");
  for (const char* entry : {"HF2", "MAAISO"}) {
    const size_t unit = entry[0] == 'M' ? 4 : 8;
    keys.key = fromHex(unit == 4 ? "00FF00FF" : "0123456789ABCDEF");
    for (size_t length : {1u, 5u, 7u, 13u}) {
      Bytes msg = textBytes(std::string("abcdefghijklm").substr(0, length)), padded = msg;
      padded.resize((length + unit - 1) / unit * unit, 0);
      EXPECT_EQ(digest(entry, keys, msg), digest(entry, keys, padded)) << entry << length;
      EXPECT_NE(digest(entry, keys, msg), digest(entry, keys, Bytes(msg.begin(), msg.end() - 1)));
    }
  }
  keys.key = fromHex("5252525252525252");
  EXPECT_EQ(digest("HF1", keys, {}), "5252525252525252");
  EXPECT_NE(digest("HF2", keys, Bytes(8, 0)), digest("HF2", keys, {}));
}

TEST(HashKat, WycheproofHmac) {
  for (auto [file, entry] : {std::pair{"hmac_sha1_test.json", "HMCSHA1"},
                             {"hmac_sha256_test.json", "HMCSHA256"},
                             {"hmac_sha512_test.json", "HMCSHA512"}}) {
    const auto cases = loadWycheproofMac(std::string(SIGILLO_TESTDATA) + "/wycheproof/" + file);
    ASSERT_GT(cases.size(), 150u) << file;
    for (const MacCase& c : cases) {
      Keys keys;
      keys.key = fromHex(c.key);
      std::string tag = toHex(fromHex(c.tag));
      const bool matches = digest(entry, keys, fromHex(c.msg)).substr(0, tag.size()) == tag;
      EXPECT_EQ(matches, c.result == "valid") << file << " tcId " << c.id;
    }
  }
}

TEST(HashKat, ArgumentChecksInOrder) {
  static const uint8_t data[16] = {};
  static uint8_t state[SIGILLO_HASH_STATE_SIZE];
  static const uint32_t len = 3, bigKey = 2049;
  static const uint16_t only = SIGILLO_BLOCK_ONLY, badMode = 4, badVariant = 3, middle = 0;
  // clang-format off
  const Refusal cases[] = {
      {"bufi", [](uint16_t* rc) { return MD5(nullptr, &len, state, &only, rc); }, 2, "bufi (1)"},
      {"insz", [](uint16_t* rc) { return SHA1(data, nullptr, state, &only, rc); }, 5, "insz (2)"},
      {"state", [](uint16_t* rc) { return SHA256(data, &len, nullptr, &only, rc); }, 3, "state (3)"},
      {"bmode", [](uint16_t* rc) { return CRC16(data, &len, state, nullptr, rc); }, 1, "bmode (4)"},
      {"bmode 4", [](uint16_t* rc) { return FCS32(data, &len, state, &badMode, rc); }, 1, "bmode (4)"},
      {"bufi first", [](uint16_t* rc) { return MD4(nullptr, &len, state, &badMode, rc); }, 2, "bufi (1)"},
      {"key", [](uint16_t* rc) { return HMCSHA1(data, &len, state, &only, nullptr, &len, rc); }, 4, "key (5)"},
      {"keylen", [](uint16_t* rc) { return HMCMD5(data, &len, state, &only, data, nullptr, rc); }, 7, "keylen (6)"},
      {"keylen 2049", [](uint16_t* rc) { return HMCSHA512(data, &len, state, &only, data, &bigKey, rc); }, 7, "keylen (6)"},
      {"hf1 key", [](uint16_t* rc) { return HF1(data, &len, state, &only, nullptr, rc); }, 4, "key1 (5)"},
      {"hf2 key2", [](uint16_t* rc) { return HF2(data, &len, state, &only, data, nullptr, rc); }, 4, "key2 (6)"},
      {"variant 3", [](uint16_t* rc) { return MACSISO(data, &len, state, &only, data, data, &badVariant, rc); }, 1, "variant (7)"},
      {"variant", [](uint16_t* rc) { return MACSISO(data, &len, state, &only, data, data, nullptr, rc); }, 1, "variant (7)"},
      {"middle first", [](uint16_t* rc) { memset(state, 0xEE, sizeof state); return SHA512(data, &len, state, &middle, rc); }, 306, "state (3)"},
  };
  // clang-format on
  for (const Refusal& c : cases) expectOutcome(c);
  uint16_t rc = 0;
  TRenable(0);  // recording off: the call still stops with its code
  EXPECT_EQ(cases[4].call(&rc) + rc, 2 * cases[4].code);
  TRenable(1);
  EXPECT_EQ(SHA1(data, &len, state, &only, nullptr), 0);
  EXPECT_EQ(openHashStreams(), 0u);
}

// A handle of another algorithm, or one already ended, is refused; open
// computations are bounded.
TEST(HashKat, Handles) {
  std::vector<std::array<uint8_t, SIGILLO_HASH_STATE_SIZE>> states(kMaxHashStreams + 1);
  const uint8_t data[4] = {1, 2, 3, 4};
  uint32_t len = 4;
  uint16_t first = SIGILLO_BLOCK_FIRST, last = SIGILLO_BLOCK_LAST, rc = 0;
  uint8_t* state = states[0].data();
  ASSERT_EQ(MD5(data, &len, state, &first, &rc), 0);
  EXPECT_EQ(SHA1(data, &len, state, &last, &rc), 306);
  EXPECT_EQ(MD5(data, &len, state, &last, &rc), 0);
  EXPECT_EQ(toHex(state, 16), "FC2236DB745C4435EA883A8733B61D2F");  // MD5 of 0102030401020304
  EXPECT_EQ(MD5(data, &len, state, &last, &rc), 306);
  for (size_t i = 0; i < kMaxHashStreams; ++i) {
    ASSERT_EQ(CRC16(data, &len, states[i].data(), &first, &rc), 0);
  }
  EXPECT_EQ(CRC16(data, &len, states.back().data(), &first, &rc), 305);
  for (size_t i = 0; i < kMaxHashStreams; ++i) {
    ASSERT_EQ(CRC16(data, &len, states[i].data(), &last, &rc), 0);
  }
  EXPECT_EQ(openHashStreams(), 0u);
}

}  // namespace
}  // namespace sigillo
