// RSA entry points: the Wycheproof PKCS #1 decryption keys and ciphertexts,
// round trips, repeatable key generation and every argument and component
// check.
#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <regex>

#include "primitives/drbg.h"
#include "sigillo/sigillo.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;
using Usv = std::vector<uint16_t>;

// ---- Numbers ----------------------------------------------------------------

struct BnFree {
  void operator()(BIGNUM* bn) const { BN_clear_free(bn); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;
struct CtxFree {
  void operator()(BN_CTX* ctx) const { BN_CTX_free(ctx); }
};
using Ctx = std::unique_ptr<BN_CTX, CtxFree>;

Bn bnFromBytes(const Bytes& bytes) {
  return Bn(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

Bn bnFromUsv(const Usv& usv) {
  Bytes bytes;
  for (size_t i = 1; i <= usv[0]; ++i) {
    bytes.push_back(static_cast<uint8_t>(usv[i] >> 8));
    bytes.push_back(static_cast<uint8_t>(usv[i]));
  }
  return bnFromBytes(bytes);
}

Usv usvFromBn(const BIGNUM* bn) {
  Bytes bytes(static_cast<size_t>(BN_num_bytes(bn)));
  BN_bn2bin(bn, bytes.data());
  if (bytes.size() % 2 != 0) bytes.insert(bytes.begin(), 0);
  Usv usv{static_cast<uint16_t>(bytes.size() / 2)};
  for (size_t i = 0; i < bytes.size(); i += 2) {
    usv.push_back(static_cast<uint16_t>(bytes[i] << 8 | bytes[i + 1]));
  }
  return usv;
}

Usv usvFromHex(const std::string& hex) { return usvFromBn(bnFromBytes(fromHex(hex)).get()); }

Usv usvOf(uint64_t value) {
  Bn bn(BN_new());
  BN_set_word(bn.get(), value);
  return usvFromBn(bn.get());
}

// A vector changed through its number.
Usv adjusted(const Usv& usv, const std::function<void(BIGNUM*, BN_CTX*)>& change) {
  Bn bn = bnFromUsv(usv);
  Ctx ctx(BN_CTX_new());
  change(bn.get(), ctx.get());
  return usvFromBn(bn.get());
}

Usv plus(const Usv& usv, const Usv& other) {
  return adjusted(usv, [&](BIGNUM* bn, BN_CTX*) { BN_add(bn, bn, bnFromUsv(other).get()); });
}

// ---- Calls --------------------------------------------------------------------

struct Key {
  uint32_t nbits;
  Usv e = {}, m = {}, p = {}, q = {}, exp1 = {}, exp2 = {}, crt = {}, d = {};
};

struct Result {
  uint16_t code;
  uint16_t rc;
  Bytes y;
};

using PublicEntry = uint16_t (*)(const uint8_t*, const uint32_t*, const uint16_t*, const uint16_t*,
                                 const uint32_t*, uint8_t*, uint16_t*);
using PrivateEntry = uint16_t (*)(const uint8_t*, const uint32_t*, const uint16_t*, const uint16_t*,
                                  const uint16_t*, const uint16_t*, const uint16_t*,
                                  const uint16_t*, const uint16_t*, const uint32_t*, uint8_t*,
                                  uint16_t*);

constexpr uint8_t kUntouched = 0xA5;

Result callPublic(PublicEntry entry, const Key& k, const Bytes& x) {
  Result r{0, 99, Bytes(k.nbits / 8, kUntouched)};
  uint32_t insz = static_cast<uint32_t>(x.size());
  r.code = entry(x.data(), &insz, k.e.data(), k.m.data(), &k.nbits, r.y.data(), &r.rc);
  return r;
}

Result callPrivate(PrivateEntry entry, const Key& k, const Bytes& x) {
  Result r{0, 99, Bytes(k.nbits / 8, kUntouched)};
  uint32_t insz = static_cast<uint32_t>(x.size());
  static const uint8_t kEmpty[1] = {};
  r.code =
      entry(x.empty() ? kEmpty : x.data(), &insz, k.e.data(), k.m.data(), k.p.data(), k.q.data(),
            k.exp1.data(), k.exp2.data(), k.crt.data(), &k.nbits, r.y.data(), &r.rc);
  return r;
}

Bytes modExp(const Bytes& x, const Usv& exponent, const Usv& modulus, size_t size) {
  Bn result(BN_new());
  Ctx ctx(BN_CTX_new());
  BN_mod_exp(result.get(), bnFromBytes(x).get(), bnFromUsv(exponent).get(),
             bnFromUsv(modulus).get(), ctx.get());
  Bytes out(size);
  BN_bn2binpad(result.get(), out.data(), static_cast<int>(size));
  return out;
}

void expectError(uint16_t code, uint16_t rc, uint16_t wantCode, const std::string& wantMessage) {
  EXPECT_EQ(code, wantCode);
  EXPECT_EQ(rc, wantCode);
  std::vector<test::Recorded> stack = test::errorStack();
  ASSERT_FALSE(stack.empty());
  EXPECT_EQ(stack.front().file, "rsa");
  EXPECT_EQ(stack.front().code, wantCode);
  EXPECT_EQ(stack.front().message, wantMessage);
}

// ---- Keys -------------------------------------------------------------------

std::array<uint8_t, SIGILLO_RSA_SEED_SIZE> seedOf(uint8_t first) {
  std::array<uint8_t, SIGILLO_RSA_SEED_SIZE> seed{};
  for (size_t i = 0; i < seed.size(); ++i) seed[i] = static_cast<uint8_t>(first + 7 * i);
  return seed;
}

Key generate(const uint8_t* seed, uint32_t nbits, const Usv& e, uint16_t* code) {
  const size_t full = 1 + nbits / 16, half = 1 + (nbits + 31) / 32;
  Key k{nbits, e, Usv(full), Usv(half), Usv(half), Usv(half), Usv(half), Usv(half), Usv(full)};
  uint16_t rc = 99;
  *code = RSAGENK(seed, &nbits, e.data(), k.m.data(), k.d.data(), k.p.data(), k.q.data(),
                  k.exp1.data(), k.exp2.data(), k.crt.data(), &rc);
  EXPECT_EQ(rc, *code);
  for (Usv* v : {&k.m, &k.d, &k.p, &k.q, &k.exp1, &k.exp2, &k.crt}) v->resize(1 + v->front());
  return k;
}

const Usv kF4 = usvOf(65537);

// One 1024-bit key for the tests that need any valid key.
const Key& sharedKey() {
  static const Key key = [] {
    uint16_t code = 0;
    Key k = generate(seedOf(1).data(), 1024, kF4, &code);
    EXPECT_EQ(code, 0);
    return k;
  }();
  return key;
}

Bytes patternBlock(size_t size, uint8_t first) {
  Bytes x(size);
  for (size_t i = 0; i < size; ++i) x[i] = static_cast<uint8_t>(first + 31 * i);
  x[0] &= 0x7F;  // below any modulus of that length
  return x;
}

// ---- Wycheproof ---------------------------------------------------------------

struct DecryptCase {
  int id;
  size_t key;
  Bytes msg, ct;
  bool valid;
};

struct DecryptFile {
  std::vector<Key> keys;
  std::vector<DecryptCase> cases;
};

DecryptFile loadDecryptFile() {
  std::string text =
      test::readFile(std::string(SIGILLO_TESTDATA) + "/wycheproof/rsa_pkcs1_2048_test.json");
  static const std::regex token(
      R"re("(modulus|privateExponent|publicExponent|prime1|prime2|exponent1|exponent2|coefficient|keySize|tcId|msg|ct|result)"\s*:\s*("([^"]*)"|[0-9]+))re");
  DecryptFile file;
  DecryptCase current{};
  for (auto it = std::sregex_iterator(text.begin(), text.end(), token);
       it != std::sregex_iterator(); ++it) {
    const std::string name = (*it)[1];
    const std::string value = (*it)[3].matched ? (*it)[3].str() : (*it)[2].str();
    if (name == "modulus") file.keys.push_back(Key{2048, {}, usvFromHex(value)});
    if (file.keys.empty()) continue;
    Key& key = file.keys.back();
    if (name == "privateExponent") key.d = usvFromHex(value);
    if (name == "publicExponent") key.e = usvFromHex(value);
    if (name == "prime1") key.p = usvFromHex(value);
    if (name == "prime2") key.q = usvFromHex(value);
    if (name == "exponent1") key.exp1 = usvFromHex(value);
    if (name == "exponent2") key.exp2 = usvFromHex(value);
    if (name == "coefficient") key.crt = usvFromHex(value);
    if (name == "keySize") key.nbits = static_cast<uint32_t>(std::stoul(value));
    if (name == "tcId")
      current = DecryptCase{std::stoi(value), file.keys.size() - 1, {}, {}, false};
    if (name == "msg") current.msg = fromHex(value);
    if (name == "ct") current.ct = fromHex(value);
    if (name == "result") {
      current.valid = value == "valid";
      file.cases.push_back(current);
    }
  }
  return file;
}

// The message of a decrypted block, read back by PADPKCS1 (block type 2).
std::optional<Bytes> pkcs1Message(const Bytes& block, uint32_t nbits) {
  Bytes out(block.size());
  uint32_t len = static_cast<uint32_t>(block.size()), outLen = 0;
  uint16_t bt = 2, decode = 1, rc = 0;
  if (PADPKCS1(block.data(), &len, &nbits, &bt, out.data(), &outLen, &decode, &rc) != 0) {
    EXPECT_EQ(rc, 14);
    return std::nullopt;
  }
  out.resize(outLen);
  return out;
}

// Valid ciphertexts decrypt (RSADEC) to a block whose PADPKCS1 reading is
// the message.  The invalid ones are refused by RSADEC (a ciphertext longer
// than the modulus or not below it) or by PADPKCS1 (code 14), or read back
// as something other than the message.  Every
// decrypted value must equal the plain x^d mod n, and re-enciphering it must
// give the ciphertext back.
TEST(RsaWycheproof, Pkcs1DecryptionBlocks) {
  DecryptFile file = loadDecryptFile();
  ASSERT_EQ(file.cases.size(), 67u);
  int validSeen = 0;
  for (const DecryptCase& c : file.cases) {
    SCOPED_TRACE("tcId " + std::to_string(c.id));
    const Key& key = file.keys[c.key];
    Result r = callPrivate(RSADEC, key, c.ct);
    if (c.ct.empty() || c.ct.size() > key.nbits / 8) {
      expectError(r.code, r.rc, 5, "insz (2)");
      continue;
    }
    if (BN_cmp(bnFromBytes(c.ct).get(), bnFromUsv(key.m).get()) >= 0) {
      expectError(r.code, r.rc, 23, "x (1) non inferiore al modulo");
      continue;
    }
    ASSERT_EQ(r.code, 0);
    EXPECT_EQ(r.y, modExp(c.ct, key.d, key.m, key.nbits / 8));
    std::optional<Bytes> message = pkcs1Message(r.y, key.nbits);
    if (c.valid) {
      ++validSeen;
      ASSERT_TRUE(message.has_value());
      EXPECT_EQ(*message, c.msg);
      Result back = callPublic(RSAENC, key, r.y);
      ASSERT_EQ(back.code, 0);
      Bytes ct(key.nbits / 8 - c.ct.size(), 0);
      ct.insert(ct.end(), c.ct.begin(), c.ct.end());
      EXPECT_EQ(back.y, ct);
    } else {
      EXPECT_FALSE(message.has_value() && *message == c.msg);
    }
  }
  EXPECT_EQ(validSeen, 42);
}

// ---- Round trips --------------------------------------------------------------

TEST(RsaRoundTrip, EncipherDecipherSignCheck) {
  const Key& k = sharedKey();
  const size_t block = k.nbits / 8;
  const Bytes inputs[] = {patternBlock(block, 1),
                          patternBlock(block, 200),
                          Bytes{0x01, 0x02},
                          Bytes{0x00},
                          Bytes{0x01},
                          patternBlock(block - 1, 9)};
  for (const Bytes& x : inputs) {
    SCOPED_TRACE(test::toHex(x));
    Bytes padded(block - x.size(), 0);
    padded.insert(padded.end(), x.begin(), x.end());

    Result enc = callPublic(RSAENC, k, x);
    ASSERT_EQ(enc.code, 0);
    EXPECT_EQ(enc.rc, 0);
    EXPECT_EQ(enc.y, modExp(x, k.e, k.m, block));
    Result dec = callPrivate(RSADEC, k, enc.y);
    ASSERT_EQ(dec.code, 0);
    EXPECT_EQ(dec.y, padded);

    Result sig = callPrivate(RSASIGN, k, x);
    ASSERT_EQ(sig.code, 0);
    EXPECT_EQ(sig.y, callPrivate(RSADEC, k, x).y);
    EXPECT_EQ(sig.y, modExp(x, k.d, k.m, block));
    Result chk = callPublic(RSACHK, k, sig.y);
    ASSERT_EQ(chk.code, 0);
    EXPECT_EQ(chk.y, padded);
  }
}

// A batch of signatures with one key, then with another and back: the
// blinding factors carried from call to call never change a result.
TEST(RsaRoundTrip, LongBatches) {
  uint16_t code = 99;
  const Key other = generate(seedOf(4).data(), 512, kF4, &code);
  ASSERT_EQ(code, 0);
  for (const Key* k : {&sharedKey(), &other, &sharedKey()}) {
    for (uint8_t i = 0; i < 70; ++i) {
      const Bytes x = patternBlock(k->nbits / 8, i);
      Result r = callPrivate(RSASIGN, *k, x);
      ASSERT_EQ(r.code, 0) << int(i);
      EXPECT_EQ(r.y, modExp(x, k->d, k->m, k->nbits / 8)) << int(i);
    }
  }
}

// The Y twins give the same results through rc alone.
TEST(RsaRoundTrip, TwinsMatch) {
  const Key& k = sharedKey();
  const Bytes x = patternBlock(k.nbits / 8, 77);
  const Bytes want = modExp(x, k.d, k.m, k.nbits / 8);
  uint32_t insz = static_cast<uint32_t>(x.size());
  const std::pair<const char*, std::function<void(uint8_t*, uint16_t*)>> twins[] = {
      {"YRSADEC",
       [&](uint8_t* y, uint16_t* rc) {
         YRSADEC(x.data(), &insz, k.e.data(), k.m.data(), k.p.data(), k.q.data(), k.exp1.data(),
                 k.exp2.data(), k.crt.data(), &k.nbits, y, rc);
       }},
      {"YRSASIGN", [&](uint8_t* y, uint16_t* rc) {
         YRSASIGN(x.data(), &insz, k.e.data(), k.m.data(), k.p.data(), k.q.data(), k.exp1.data(),
                  k.exp2.data(), k.crt.data(), &k.nbits, y, rc);
       }}};
  for (const auto& [name, call] : twins) {
    SCOPED_TRACE(name);
    Bytes y(k.nbits / 8);
    uint16_t rc = 99;
    call(y.data(), &rc);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(y, want);
  }
  Bytes y(k.nbits / 8), sig = want;
  uint16_t rc = 99;
  YRSAENC(sig.data(), &insz, k.e.data(), k.m.data(), &k.nbits, y.data(), &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(y, x);
  rc = 99;
  YRSACHK(sig.data(), &insz, k.e.data(), k.m.data(), &k.nbits, y.data(), &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(y, x);
}

// The smallest and largest key sizes, on moduli 2^nbits - 1: 2^3 is 8.
TEST(RsaRoundTrip, PublicOperationAtTheSizeLimits) {
  for (uint32_t nbits : {SIGILLO_RSA_MIN_BITS, SIGILLO_RSA_MAX_BITS}) {
    SCOPED_TRACE(nbits);
    Key k{nbits, usvOf(3), Usv(1 + nbits / 16, 0xFFFF)};
    k.m[0] = static_cast<uint16_t>(nbits / 16);
    Result r = callPublic(RSAENC, k, Bytes{0x02});
    ASSERT_EQ(r.code, 0);
    Bytes want(nbits / 8, 0);
    want.back() = 8;
    EXPECT_EQ(r.y, want);
  }
}

// Vectors are read by value: leading zero digits change nothing, however
// many there are.
TEST(RsaRoundTrip, LeadingZeroDigits) {
  Key k = sharedKey();
  const Bytes x = patternBlock(k.nbits / 8, 5);
  const Bytes want = callPrivate(RSASIGN, k, x).y;
  for (Usv* v : {&k.e, &k.m, &k.p, &k.q, &k.exp1, &k.exp2, &k.crt}) {
    v->insert(v->begin() + 1, 100, 0);
    v->front() = static_cast<uint16_t>(v->front() + 100);
  }
  Result sig = callPrivate(RSASIGN, k, x);
  ASSERT_EQ(sig.code, 0);
  EXPECT_EQ(sig.y, want);
  Result chk = callPublic(RSACHK, k, sig.y);
  ASSERT_EQ(chk.code, 0);
  EXPECT_EQ(chk.y, x);
}

// A composite "prime" passes every cheap component check but gives a wrong
// result, which the check by re-enciphering catches.
TEST(RsaRoundTrip, WrongResultIsNotReleased) {
  Ctx ctx(BN_CTX_new());
  Bn e(BN_new()), p1(BN_new()), p2(BN_new()), p(BN_new()), q(BN_new()), m(BN_new());
  Bn pm1(BN_new()), qm1(BN_new()), exp1(BN_new()), exp2(BN_new()), crt(BN_new());
  BN_set_word(e.get(), 65537);
  bool found = false;
  while (!found) {
    ASSERT_TRUE(BN_generate_prime_ex(p1.get(), 128, 0, nullptr, nullptr, nullptr));
    ASSERT_TRUE(BN_generate_prime_ex(p2.get(), 128, 0, nullptr, nullptr, nullptr));
    ASSERT_TRUE(BN_generate_prime_ex(q.get(), 256, 0, nullptr, nullptr, nullptr));
    BN_mul(p.get(), p1.get(), p2.get(), ctx.get());
    BN_mul(m.get(), p.get(), q.get(), ctx.get());
    BN_sub(pm1.get(), p.get(), BN_value_one());
    BN_sub(qm1.get(), q.get(), BN_value_one());
    found = BN_num_bits(m.get()) == 512 &&
            BN_mod_inverse(exp1.get(), e.get(), pm1.get(), ctx.get()) != nullptr &&
            BN_mod_inverse(exp2.get(), e.get(), qm1.get(), ctx.get()) != nullptr;
  }
  ASSERT_NE(BN_mod_inverse(crt.get(), q.get(), p.get(), ctx.get()), nullptr);
  Key k{512,
        usvFromBn(e.get()),
        usvFromBn(m.get()),
        usvFromBn(p.get()),
        usvFromBn(q.get()),
        usvFromBn(exp1.get()),
        usvFromBn(exp2.get()),
        usvFromBn(crt.get()),
        {}};
  TRclrerr();
  Result r = callPrivate(RSADEC, k, patternBlock(64, 3));
  expectError(r.code, r.rc, 301, "Errore di calcolo");
  EXPECT_EQ(r.y, Bytes(64, kUntouched));
}

// ---- Key generation -------------------------------------------------------------

// A generated key is a valid key of exactly nbits bits built as documented.
void expectConsistentKey(const Key& k) {
  Ctx ctx(BN_CTX_new());
  Bn e = bnFromUsv(k.e), m = bnFromUsv(k.m), d = bnFromUsv(k.d), p = bnFromUsv(k.p);
  Bn q = bnFromUsv(k.q), exp1 = bnFromUsv(k.exp1), exp2 = bnFromUsv(k.exp2);
  Bn crt = bnFromUsv(k.crt);
  Bn t(BN_new()), pm1(BN_new()), qm1(BN_new()), g(BN_new()), lcm(BN_new());
  const int half = static_cast<int>(k.nbits / 2);
  EXPECT_EQ(BN_num_bits(m.get()), static_cast<int>(k.nbits));
  EXPECT_EQ(BN_num_bits(p.get()), half);
  EXPECT_EQ(BN_num_bits(q.get()), half);
  EXPECT_GT(BN_cmp(p.get(), q.get()), 0);
  EXPECT_EQ(BN_check_prime(p.get(), ctx.get(), nullptr), 1);
  EXPECT_EQ(BN_check_prime(q.get(), ctx.get(), nullptr), 1);
  BN_mul(t.get(), p.get(), q.get(), ctx.get());
  EXPECT_EQ(BN_cmp(t.get(), m.get()), 0);
  BN_sub(t.get(), p.get(), q.get());
  EXPECT_GT(BN_num_bits(t.get()), half - 100);
  BN_sub(pm1.get(), p.get(), BN_value_one());
  BN_sub(qm1.get(), q.get(), BN_value_one());
  BN_gcd(g.get(), pm1.get(), qm1.get(), ctx.get());
  BN_mul(t.get(), pm1.get(), qm1.get(), ctx.get());
  BN_div(lcm.get(), nullptr, t.get(), g.get(), ctx.get());
  EXPECT_LT(BN_cmp(d.get(), lcm.get()), 0);
  EXPECT_GT(BN_num_bits(d.get()), half);
  BN_mod_mul(t.get(), e.get(), d.get(), lcm.get(), ctx.get());
  EXPECT_TRUE(BN_is_one(t.get()));
  BN_mod(t.get(), d.get(), pm1.get(), ctx.get());
  EXPECT_EQ(BN_cmp(t.get(), exp1.get()), 0);
  BN_mod(t.get(), d.get(), qm1.get(), ctx.get());
  EXPECT_EQ(BN_cmp(t.get(), exp2.get()), 0);
  BN_mod_mul(t.get(), crt.get(), q.get(), p.get(), ctx.get());
  EXPECT_TRUE(BN_is_one(t.get()));
  EXPECT_LT(BN_cmp(crt.get(), p.get()), 0);
}

TEST(RsaKeygen, RepeatableAndConsistent) {
  const auto seed = seedOf(1), otherSeed = seedOf(2);
  uint16_t code = 99;
  Key again = generate(seed.data(), 1024, kF4, &code);
  ASSERT_EQ(code, 0);
  const Key& first = sharedKey();
  for (auto part : {&Key::m, &Key::d, &Key::p, &Key::q, &Key::exp1, &Key::exp2, &Key::crt}) {
    EXPECT_EQ(first.*part, again.*part);
  }
  expectConsistentKey(first);

  Key other = generate(otherSeed.data(), 1024, kF4, &code);
  ASSERT_EQ(code, 0);
  EXPECT_NE(other.m, first.m);
  EXPECT_NE(other.p, first.p);
  EXPECT_NE(other.q, first.q);
  expectConsistentKey(other);
}

// Size and exponent take part in the derivation: the same seed gives
// unrelated keys for another size or exponent.
TEST(RsaKeygen, SizesAndExponents) {
  const auto seed = seedOf(1);
  struct Case {
    uint32_t nbits;
    Usv e;
  };
  const Case cases[] = {{512, kF4},
                        {512, usvOf(3)},
                        {528, kF4},
                        {768, usvOf(0x10000001)},
                        {512, usvFromHex("80" + std::string(60, '0') + "01")}};
  std::vector<Usv> moduli;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.nbits);
    uint16_t code = 99;
    Key k = generate(seed.data(), c.nbits, c.e, &code);
    ASSERT_EQ(code, 0);
    expectConsistentKey(k);
    for (const Usv& seen : moduli) EXPECT_NE(seen, k.m);
    moduli.push_back(k.m);
  }
}

// The key follows from the seed as documented: an HMAC_DRBG instantiated
// with the seed and "RSAGENK" || nbits || e, p from the first draw, q from
// the second, each the first prime p' >= start with gcd(e, p' - 1) = 1
// found by stepping through odd numbers.
TEST(RsaKeygen, DerivationFromTheSeed) {
  const auto seed = seedOf(9);
  const uint32_t nbits = 512;
  uint16_t code = 99;
  Key k = generate(seed.data(), nbits, kF4, &code);
  ASSERT_EQ(code, 0);

  const uint8_t personal[] = {'R', 'S', 'A', 'G', 'E', 'N', 'K', 0, 0, 2, 0, 1, 0, 1};
  HmacDrbg drbg;
  drbg.instantiate(seed.data(), seed.size(), personal, sizeof personal);
  Ctx ctx(BN_CTX_new());
  Bn e = bnFromUsv(kF4);
  auto nextPrime = [&] {
    Bytes start(nbits / 16);
    EXPECT_TRUE(drbg.generate(start.data(), start.size()));
    start.front() |= 0xC0;
    start.back() |= 0x01;
    Bn candidate = bnFromBytes(start);
    Bn less(BN_new()), g(BN_new());
    for (;;) {
      BN_sub(less.get(), candidate.get(), BN_value_one());
      BN_gcd(g.get(), less.get(), e.get(), ctx.get());
      if (BN_is_one(g.get()) && BN_check_prime(candidate.get(), ctx.get(), nullptr) == 1) break;
      BN_add_word(candidate.get(), 2);
    }
    return usvFromBn(candidate.get());
  };
  Usv p = nextPrime(), q = nextPrime();
  if (BN_cmp(bnFromUsv(p).get(), bnFromUsv(q).get()) < 0) std::swap(p, q);
  EXPECT_EQ(k.p, p);
  EXPECT_EQ(k.q, q);
}

// ---- Argument and component checks ----------------------------------------------

struct PublicCheck {
  const char* what;
  std::function<void(Key&, Bytes&, uint32_t&)> change;
  uint16_t code;
  const char* message;
};

TEST(RsaChecks, PublicOperation) {
  const PublicCheck checks[] = {
      {"insz 0", [](Key&, Bytes&, uint32_t& insz) { insz = 0; }, 5, "insz (2)"},
      {"insz above nbits/8", [](Key&, Bytes&, uint32_t& insz) { insz = 129; }, 5, "insz (2)"},
      {"nbits not a multiple of 16", [](Key& k, Bytes&, uint32_t&) { k.nbits = 1016; }, 12,
       "nbits (5)"},
      {"nbits below 512", [](Key& k, Bytes&, uint32_t&) { k.nbits = 496; }, 12, "nbits (5)"},
      {"nbits above 16384", [](Key& k, Bytes&, uint32_t&) { k.nbits = 16400; }, 12, "nbits (5)"},
      {"e even", [](Key& k, Bytes&, uint32_t&) { k.e = usvOf(65536); }, 22,
       "Valore esponente non valido"},
      {"e one", [](Key& k, Bytes&, uint32_t&) { k.e = usvOf(1); }, 22,
       "Valore esponente non valido"},
      {"e zero",
       [](Key& k, Bytes&, uint32_t&) {
         k.e = Usv{1, 0};
       },
       22, "Valore esponente non valido"},
      {"e without digits", [](Key& k, Bytes&, uint32_t&) { k.e = Usv{0}; }, 22,
       "Valore esponente non valido"},
      {"e of more than nbits bits",
       [](Key& k, Bytes&, uint32_t&) {
         k.e = Usv(66, 1);
         k.e[0] = 65;
       },
       22, "Valore esponente non valido"},
      {"e not below the modulus", [](Key& k, Bytes&, uint32_t&) { k.e = plus(k.m, usvOf(2)); }, 23,
       "Valore esponente non valido"},
      {"modulus even", [](Key& k, Bytes&, uint32_t&) { k.m = plus(k.m, usvOf(1)); }, 22,
       "Modulo non corretto"},
      {"modulus without digits", [](Key& k, Bytes&, uint32_t&) { k.m = Usv{0}; }, 22,
       "Modulo non corretto"},
      {"modulus longer than nbits",
       [](Key& k, Bytes&, uint32_t&) {
         k.m.push_back(1);
         ++k.m[0];
       },
       22, "Modulo non corretto"},
      {"modulus shorter than nbits",
       [](Key& k, Bytes&, uint32_t&) {
         k.m = adjusted(k.m, [](BIGNUM* bn, BN_CTX*) {
           BN_rshift(bn, bn, 8);
           BN_set_bit(bn, 0);
         });
       },
       23, "Modulo non corretto"},
      {"x equal to the modulus",
       [](Key& k, Bytes& x, uint32_t&) {
         Bn m = bnFromUsv(k.m);
         BN_bn2binpad(m.get(), x.data(), static_cast<int>(x.size()));
       },
       23, "x (1) non inferiore al modulo"},
  };
  for (PublicEntry entry : {RSAENC, RSACHK}) {
    for (const PublicCheck& c : checks) {
      SCOPED_TRACE(c.what);
      Key k = sharedKey();
      Bytes x = patternBlock(128, 4);
      uint32_t insz = 128;
      c.change(k, x, insz);
      Bytes y(128, kUntouched);
      uint16_t rc = 99;
      uint16_t code = entry(x.data(), &insz, k.e.data(), k.m.data(), &k.nbits, y.data(), &rc);
      expectError(code, rc, c.code, c.message);
      EXPECT_EQ(y, Bytes(128, kUntouched));
    }
  }
}

// Missing arguments, in argument order: each case leaves out one argument
// and every argument after it, so the first one must be reported.
TEST(RsaChecks, PublicOperationMissingArguments) {
  const Key& k = sharedKey();
  const Bytes x = patternBlock(128, 4);
  const uint32_t insz = 128;
  uint8_t y[128];
  const struct {
    int missingFrom;
    uint16_t code;
    const char* message;
  } cases[] = {{1, 2, "x (1)"},   {2, 5, "insz (2)"},   {3, 2, "e (3)"},
               {4, 2, "mod (4)"}, {5, 12, "nbits (5)"}, {6, 3, "y (6)"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    auto at = [&](int position, auto* arg) { return position < c.missingFrom ? arg : nullptr; };
    uint16_t rc = 99;
    uint16_t code = RSAENC(at(1, x.data()), at(2, &insz), at(3, k.e.data()), at(4, k.m.data()),
                           at(5, &k.nbits), at(6, y), &rc);
    expectError(code, rc, c.code, c.message);
  }
}

TEST(RsaChecks, PrivateOperationMissingArguments) {
  const Key& k = sharedKey();
  const Bytes x = patternBlock(128, 4);
  const uint32_t insz = 128;
  uint8_t y[128];
  const struct {
    int missingFrom;
    uint16_t code;
    const char* message;
  } cases[] = {{1, 2, "x (1)"},   {2, 5, "insz (2)"},     {3, 2, "e (3)"},    {4, 2, "m (4)"},
               {5, 2, "p (5)"},   {6, 2, "q (6)"},        {7, 2, "exp1 (7)"}, {8, 2, "exp2 (8)"},
               {9, 2, "crt (9)"}, {10, 12, "nbits (10)"}, {11, 3, "y (11)"}};
  for (PrivateEntry entry : {RSADEC, RSASIGN}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(c.message);
      auto at = [&](int position, auto* arg) { return position < c.missingFrom ? arg : nullptr; };
      uint16_t rc = 99;
      uint16_t code =
          entry(at(1, x.data()), at(2, &insz), at(3, k.e.data()), at(4, k.m.data()),
                at(5, k.p.data()), at(6, k.q.data()), at(7, k.exp1.data()), at(8, k.exp2.data()),
                at(9, k.crt.data()), at(10, &k.nbits), at(11, y), &rc);
      expectError(code, rc, c.code, c.message);
    }
  }
}

using KeyChange = std::function<void(Key&)>;
struct ComponentCheck {
  const char* what;
  KeyChange change;
  uint16_t code;
  const char* message;
};

// Sets one component from a number computed on the key.
KeyChange setTo(Usv Key::*part, const std::function<void(BIGNUM*, const Key&, BN_CTX*)>& value) {
  return [=](Key& k) {
    Bn bn(BN_new());
    Ctx ctx(BN_CTX_new());
    value(bn.get(), k, ctx.get());
    k.*part = usvFromBn(bn.get());
  };
}

TEST(RsaChecks, PrivateComponents) {
  auto sum = [](Usv Key::*a, Usv Key::*b, long offset) {
    return [=](BIGNUM* bn, const Key& k, BN_CTX*) {
      BN_add(bn, bnFromUsv(k.*a).get(), bnFromUsv(k.*b).get());
      if (offset < 0) BN_sub_word(bn, static_cast<BN_ULONG>(-offset));
      if (offset > 0) BN_add_word(bn, static_cast<BN_ULONG>(offset));
    };
  };
  auto offsetOf = [](Usv Key::*a, long offset) {
    return [=](BIGNUM* bn, const Key& k, BN_CTX*) {
      BN_copy(bn, bnFromUsv(k.*a).get());
      if (offset < 0) BN_sub_word(bn, static_cast<BN_ULONG>(-offset));
      if (offset > 0) BN_add_word(bn, static_cast<BN_ULONG>(offset));
    };
  };
  auto zero = [](BIGNUM* bn, const Key&, BN_CTX*) { BN_zero(bn); };
  const ComponentCheck checks[] = {
      {"nbits 16392", [](Key& k) { k.nbits = 16392; }, 12, "nbits (10)"},
      {"e even", [](Key& k) { k.e = usvOf(65538); }, 22, "Esponente non corretto"},
      {"e without digits", [](Key& k) { k.e = Usv{0}; }, 22, "Esponente non corretto"},
      {"e not below m", setTo(&Key::e, offsetOf(&Key::m, 2)), 23, "Esponente non corretto"},
      {"m even", setTo(&Key::m, offsetOf(&Key::m, 1)), 22, "Modulo non corretto"},
      {"m for another nbits", [](Key& k) { k.nbits = 1040; }, 23, "Modulo non corretto"},
      {"p zero", setTo(&Key::p, zero), 22, "Valore P non corretto"},
      {"p even", setTo(&Key::p, offsetOf(&Key::p, 1)), 22, "Valore P non corretto"},
      {"p not below m", setTo(&Key::p, offsetOf(&Key::m, 2)), 23, "Valore P non corretto"},
      {"q even", setTo(&Key::q, offsetOf(&Key::q, -1)), 22, "Valore Q non corretto"},
      {"p * q not m", setTo(&Key::q, offsetOf(&Key::q, 2)), 23, "Valore Q non corretto"},
      {"q without digits", [](Key& k) { k.q = Usv{0}; }, 22, "Valore Q non corretto"},
      {"exp1 zero", setTo(&Key::exp1, zero), 22, "Valore EXP1 non corretto"},
      {"exp1 off by 2", setTo(&Key::exp1, offsetOf(&Key::exp1, 2)), 23, "Valore EXP1 non corretto"},
      {"exp1 + p - 1", setTo(&Key::exp1, sum(&Key::exp1, &Key::p, -1)), 23,
       "Valore EXP1 non corretto"},
      {"exp1 of more than nbits bits",
       [](Key& k) {
         k.exp1 = Usv(66, 1);
         k.exp1[0] = 65;
       },
       22, "Valore EXP1 non corretto"},
      {"exp2 zero", setTo(&Key::exp2, zero), 22, "Valore EXP2 non corretto"},
      {"exp2 off by 2", setTo(&Key::exp2, offsetOf(&Key::exp2, -2)), 23,
       "Valore EXP2 non corretto"},
      {"exp2 + q - 1", setTo(&Key::exp2, sum(&Key::exp2, &Key::q, -1)), 23,
       "Valore EXP2 non corretto"},
      {"crt zero", setTo(&Key::crt, zero), 22, "Valore CRT non corretto"},
      {"crt off by 1", setTo(&Key::crt, offsetOf(&Key::crt, 1)), 23, "Valore CRT non corretto"},
      {"crt + p", setTo(&Key::crt, sum(&Key::crt, &Key::p, 0)), 23, "Valore CRT non corretto"},
      {"p and q exchanged",
       [](Key& k) {
         std::swap(k.p, k.q);
         std::swap(k.exp1, k.exp2);
       },
       23, "Valore CRT non corretto"},
  };
  for (PrivateEntry entry : {RSADEC, RSASIGN}) {
    for (const ComponentCheck& c : checks) {
      SCOPED_TRACE(c.what);
      Key k = sharedKey();
      c.change(k);
      Bytes x = patternBlock(128, 6);
      Result r = callPrivate(entry, k, x);
      expectError(r.code, r.rc, c.code, c.message);
      EXPECT_EQ(r.y, Bytes(k.nbits / 8, kUntouched));
    }
    SCOPED_TRACE("x equal to m");
    const Key& k = sharedKey();
    Bytes x(128);
    BN_bn2binpad(bnFromUsv(k.m).get(), x.data(), 128);
    Result r = callPrivate(entry, k, x);
    expectError(r.code, r.rc, 23, "x (1) non inferiore al modulo");
  }
}

// Every check comes before the key is generated.
TEST(RsaChecks, KeyGeneration) {
  const auto seed = seedOf(3);
  Usv out[7];
  for (Usv& v : out) v.assign(1 + 1024 / 16, 0);
  struct Case {
    const char* what;
    int missing;  // position of the null argument, 0 for none
    uint32_t nbits;
    Usv e;
    uint16_t code;
    const char* message;
  };
  const Case cases[] = {
      {"seed", 1, 1024, kF4, 2, "seed (1)"},
      {"nbits", 2, 1024, kF4, 12, "nbits (2)"},
      {"nbits below 512", 0, 496, kF4, 12, "nbits (2)"},
      {"nbits above 16384", 0, 16400, kF4, 12, "nbits (2)"},
      {"nbits not a multiple of 16", 0, 1000, kF4, 12, "nbits (2)"},
      {"e", 3, 1024, kF4, 2, "e (3)"},
      {"m", 4, 1024, kF4, 3, "m (4)"},
      {"d", 5, 1024, kF4, 3, "d (5)"},
      {"p", 6, 1024, kF4, 3, "p (6)"},
      {"q", 7, 1024, kF4, 3, "q (7)"},
      {"exp1", 8, 1024, kF4, 3, "exp1 (8)"},
      {"exp2", 9, 1024, kF4, 3, "exp2 (9)"},
      {"crt", 10, 1024, kF4, 3, "crt (10)"},
      {"e even", 0, 1024, usvOf(65536), 22, "Esponente non valido"},
      {"e one", 0, 1024, usvOf(1), 22, "Esponente non valido"},
      {"e zero", 0, 1024, Usv{1, 0}, 22, "Esponente non valido"},
      {"e without digits", 0, 1024, Usv{0}, 22, "Esponente non valido"},
      {"e of more than 256 bits", 0, 1024, usvFromHex("01" + std::string(64, '0') + "01"), 22,
       "Esponente non valido"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto arg = [&](int position, auto* pointer) {
      return position == c.missing ? nullptr : pointer;
    };
    uint16_t rc = 99;
    uint16_t code =
        RSAGENK(arg(1, seed.data()), arg(2, &c.nbits), arg(3, c.e.data()), arg(4, out[0].data()),
                arg(5, out[1].data()), arg(6, out[2].data()), arg(7, out[3].data()),
                arg(8, out[4].data()), arg(9, out[5].data()), arg(10, out[6].data()), &rc);
    expectError(code, rc, c.code, c.message);
    for (const Usv& v : out) EXPECT_EQ(v, Usv(1 + 1024 / 16, 0));
  }
}

TEST(RsaChecks, HardwareEntryPointsAreUnavailable) {
  const Key& k = sharedKey();
  const Bytes x = patternBlock(128, 8);
  for (PrivateEntry entry : {sRSADEC, sRSASIGN}) {
    Result r = callPrivate(entry, k, x);
    expectError(r.code, r.rc, 301, "Support hardware non disponibile");
    EXPECT_EQ(r.y, Bytes(128, kUntouched));
  }
  uint32_t insz = 128;
  for (auto twin : {YsRSADEC, YsRSASIG}) {
    uint16_t rc = 99;
    twin(x.data(), &insz, k.e.data(), k.m.data(), k.p.data(), k.q.data(), k.exp1.data(),
         k.exp2.data(), k.crt.data(), &k.nbits, nullptr, &rc);
    EXPECT_EQ(rc, 301);
  }
}

}  // namespace
}  // namespace sigillo
