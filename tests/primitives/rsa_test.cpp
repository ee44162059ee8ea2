// RSA entry points: the Wycheproof PKCS #1 decryption keys and ciphertexts,
// round trips against OpenSSL's modular exponentiation, repeatable key
// generation, and every argument and component check.
#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <array>
#include <memory>
#include <regex>
#include <sstream>

#include "sigillo/sigillo.h"
#include "tests/common/vectors.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;
using Usv = std::vector<uint16_t>;
using Bn = std::unique_ptr<BIGNUM, decltype(&BN_clear_free)>;

Bn bn(const Bytes& b) {
  return Bn(BN_bin2bn(b.data(), static_cast<int>(b.size()), nullptr), BN_clear_free);
}
Bn bn(const Usv& usv) {
  Bytes bytes;
  for (size_t i = 1; i <= usv[0]; ++i)
    bytes.insert(bytes.end(), {uint8_t(usv[i] >> 8), uint8_t(usv[i])});
  return bn(bytes);
}
Usv usv(const BIGNUM* n) {
  Bytes b(static_cast<size_t>(BN_num_bytes(n)));
  BN_bn2bin(n, b.data());
  if (b.size() % 2 != 0) b.insert(b.begin(), 0);
  Usv out{static_cast<uint16_t>(b.size() / 2)};
  for (size_t i = 0; i < b.size(); i += 2)
    out.push_back(static_cast<uint16_t>(b[i] << 8 | b[i + 1]));
  return out;
}
Usv usvOf(const std::string& number) {  // decimal, or hex after 0x
  BIGNUM* n = nullptr;
  EXPECT_NE(BN_asc2bn(&n, number.c_str()), 0) << number;
  return usv(Bn(n, BN_clear_free).get());
}

struct Key {
  uint32_t nbits;
  Usv e = {}, m = {}, p = {}, q = {}, exp1 = {}, exp2 = {}, crt = {}, d = {};
};
struct Result {
  uint16_t code, rc;
  Bytes y;
};
constexpr uint8_t kUntouched = 0xA5;

// The entry point, or its Y twin (the code only through *rc).
template <class F, class... A>
uint16_t invoke(F entry, uint16_t* rc, A... args) {
  if constexpr (std::is_void_v<decltype(entry(args..., rc))>) {
    entry(args..., rc);
    return *rc;
  } else {
    return entry(args..., rc);
  }
}
const uint8_t kEmpty[1] = {};
// The arguments from position `null` on (0: none) are passed null.
template <class F>
Result callPublic(F entry, const Key& k, const Bytes& x, int null = 0) {
  Result r{0, 99, Bytes(k.nbits / 8, kUntouched)};
  const uint32_t insz = static_cast<uint32_t>(x.size());
  auto at = [&](int i, auto* p) { return null != 0 && i >= null ? nullptr : p; };
  r.code = invoke(entry, &r.rc, at(1, x.empty() ? kEmpty : x.data()), at(2, &insz),
                  at(3, k.e.data()), at(4, k.m.data()), at(5, &k.nbits), at(6, r.y.data()));
  return r;
}
template <class F>
Result callPrivate(F entry, const Key& k, const Bytes& x, int null = 0) {
  Result r{0, 99, Bytes(k.nbits / 8, kUntouched)};
  const uint32_t insz = static_cast<uint32_t>(x.size());
  auto at = [&](int i, auto* p) { return null != 0 && i >= null ? nullptr : p; };
  r.code =
      invoke(entry, &r.rc, at(1, x.empty() ? kEmpty : x.data()), at(2, &insz), at(3, k.e.data()),
             at(4, k.m.data()), at(5, k.p.data()), at(6, k.q.data()), at(7, k.exp1.data()),
             at(8, k.exp2.data()), at(9, k.crt.data()), at(10, &k.nbits), at(11, r.y.data()));
  return r;
}

Bytes modExp(const Bytes& x, const Usv& exponent, const Usv& modulus, size_t size) {
  Bn result(BN_new(), BN_clear_free);
  std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
  BN_mod_exp(result.get(), bn(x).get(), bn(exponent).get(), bn(modulus).get(), ctx.get());
  Bytes out(size);
  BN_bn2binpad(result.get(), out.data(), static_cast<int>(size));
  return out;
}

void expectError(const Result& r, uint16_t code, const std::string& message) {
  EXPECT_EQ(r.code, code);
  EXPECT_EQ(r.rc, code);
  const auto stack = test::errorStack();
  ASSERT_FALSE(stack.empty());
  EXPECT_EQ(stack.front().file, "rsa");
  EXPECT_EQ(stack.front().code, code);
  EXPECT_EQ(stack.front().message, message);
}

std::array<uint8_t, SIGILLO_RSA_SEED_SIZE> seedOf(uint8_t first) {
  std::array<uint8_t, SIGILLO_RSA_SEED_SIZE> seed{};
  for (size_t i = 0; i < seed.size(); ++i) seed[i] = static_cast<uint8_t>(first + 7 * i);
  return seed;
}

Key generate(uint8_t seed, uint32_t nbits, const Usv& e, uint16_t* code) {
  const size_t full = 1 + nbits / 16, half = 1 + (nbits + 31) / 32;
  Key k{nbits, e, Usv(full), Usv(half), Usv(half), Usv(half), Usv(half), Usv(half), Usv(full)};
  uint16_t rc = 99;
  *code = RSAGENK(seedOf(seed).data(), &nbits, e.data(), k.m.data(), k.d.data(), k.p.data(),
                  k.q.data(), k.exp1.data(), k.exp2.data(), k.crt.data(), &rc);
  EXPECT_EQ(rc, *code);
  for (Usv* v : {&k.m, &k.d, &k.p, &k.q, &k.exp1, &k.exp2, &k.crt}) v->resize(1 + v->front());
  return k;
}

const Usv kF4 = usvOf("65537");

const Key& sharedKey() {  // one 1024-bit key for the tests that need a valid key
  static const Key key = [] {
    uint16_t code = 0;
    Key k = generate(1, 1024, kF4, &code);
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

// Valid ciphertexts decrypt (RSADEC) to x^d mod n, whose PADPKCS1 reading is
// the message, and re-encipher to the ciphertext; invalid ones are refused by
// RSADEC (too long, not below the modulus) or PADPKCS1, or read back as
// something else.
TEST(Rsa, WycheproofPkcs1Decryption) {
  const std::string text =
      test::readFile(std::string(SIGILLO_TESTDATA) + "/wycheproof/rsa_pkcs1_2048_test.json");
  static const std::regex token(
      R"re("(modulus|privateExponent|publicExponent|prime1|prime2|exponent1|exponent2|coefficient|tcId|msg|ct|result)"\s*:\s*("([^"]*)"|[0-9]+))re");
  Key key{2048};
  std::map<std::string, std::string> c;
  int cases = 0, valid = 0;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), token);
       it != std::sregex_iterator(); ++it) {
    const std::string name = (*it)[1], value = (*it)[3].matched ? (*it)[3].str() : (*it)[2].str();
    const std::map<std::string, Usv Key::*> parts = {
        {"modulus", &Key::m},      {"privateExponent", &Key::d}, {"publicExponent", &Key::e},
        {"prime1", &Key::p},       {"prime2", &Key::q},          {"exponent1", &Key::exp1},
        {"exponent2", &Key::exp2}, {"coefficient", &Key::crt}};
    if (parts.count(name)) key.*parts.at(name) = usvOf("0x" + value);
    c[name] = value;
    if (name != "result") continue;
    ++cases;
    SCOPED_TRACE("tcId " + c["tcId"]);
    const Bytes ct = fromHex(c["ct"]);
    const Result r = callPrivate(RSADEC, key, ct);
    const bool tooLong = ct.empty() || ct.size() > 256;
    if (tooLong || BN_cmp(bn(ct).get(), bn(key.m).get()) >= 0) {
      expectError(r, tooLong ? 5 : 23, tooLong ? "insz (2)" : "x (1) non inferiore al modulo");
      continue;
    }
    ASSERT_EQ(r.code, 0);
    EXPECT_EQ(r.y, modExp(ct, key.d, key.m, 256));
    Bytes msg(256);
    uint32_t len = 256, nbits = 2048, outLen = 0;
    uint16_t bt = 2, decode = 1, rc = 0;
    const bool read =
        PADPKCS1(r.y.data(), &len, &nbits, &bt, msg.data(), &outLen, &decode, &rc) == 0;
    msg.resize(outLen);
    EXPECT_EQ(read && msg == fromHex(c["msg"]), c["result"] == "valid") << test::toHex(msg);
    if (c["result"] != "valid") continue;
    ++valid;
    Bytes padded(256 - ct.size(), 0);
    padded.insert(padded.end(), ct.begin(), ct.end());
    EXPECT_EQ(callPublic(RSAENC, key, r.y).y, padded);
  }
  EXPECT_EQ(cases, 67);
  EXPECT_EQ(valid, 42);
}

// Every entry point against x^e and x^d mod n, the Y twins included; inputs
// shorter than the modulus are read as numbers; batches of signatures with
// two keys in turn (the blinding carried from call to call never shows);
// leading zero digits in the vectors change nothing.
TEST(Rsa, RoundTrips) {
  const Key& k = sharedKey();
  uint16_t code = 99;
  const Key other = generate(4, 512, kF4, &code);
  ASSERT_EQ(code, 0);
  const size_t block = k.nbits / 8;
  for (const Bytes& x :
       {patternBlock(block, 1), Bytes{0x01, 0x02}, Bytes{0x00}, patternBlock(block - 1, 9)}) {
    SCOPED_TRACE(test::toHex(x));
    Bytes padded(block - x.size(), 0);
    padded.insert(padded.end(), x.begin(), x.end());
    const Result enc = callPublic(RSAENC, k, x), sig = callPrivate(RSASIGN, k, x);
    ASSERT_EQ(enc.code + enc.rc + sig.code + sig.rc, 0);
    EXPECT_EQ(enc.y, modExp(x, k.e, k.m, block));
    EXPECT_EQ(callPrivate(RSADEC, k, enc.y).y, padded);
    EXPECT_EQ(sig.y, modExp(x, k.d, k.m, block));
    EXPECT_EQ(callPrivate(RSADEC, k, x).y, sig.y);
    EXPECT_EQ(callPublic(RSACHK, k, sig.y).y, padded);
  }
  for (const Key* key : {&k, &other, &k}) {
    for (uint8_t i = 0; i < 40; ++i) {
      const Bytes x = patternBlock(key->nbits / 8, i);
      EXPECT_EQ(callPrivate(RSASIGN, *key, x).y, modExp(x, key->d, key->m, key->nbits / 8))
          << int(i);
    }
  }
  const Bytes x = patternBlock(block, 77), want = modExp(x, k.d, k.m, block);
  EXPECT_EQ(callPrivate(YRSASIGN, k, x).y, want);  // a refused call leaves y as it was
  EXPECT_EQ(callPublic(YRSACHK, k, want).y, x);
  Key zeros = k;
  for (Usv* v : {&zeros.e, &zeros.m, &zeros.p, &zeros.q, &zeros.exp1, &zeros.exp2, &zeros.crt}) {
    v->insert(v->begin() + 1, 100, 0);
    v->front() = static_cast<uint16_t>(v->front() + 100);
  }
  EXPECT_EQ(callPrivate(RSASIGN, zeros, x).y, want);
  EXPECT_EQ(callPublic(RSACHK, zeros, want).y, x);
  // The smallest and largest sizes, on moduli 2^nbits - 1: 2^3 is 8.
  for (uint32_t nbits : {SIGILLO_RSA_MIN_BITS, SIGILLO_RSA_MAX_BITS}) {
    Key big{nbits, usvOf("3"), Usv(1 + nbits / 16, 0xFFFF)};
    big.m[0] = static_cast<uint16_t>(nbits / 16);
    Bytes eight(nbits / 8, 0);
    eight.back() = 8;
    EXPECT_EQ(callPublic(RSAENC, big, Bytes{0x02}).y, eight) << nbits;
  }
}

// A generated key is a valid key of exactly nbits bits with p > q, both of
// nbits / 2 bits and far apart, d the inverse of e modulo lcm(p - 1, q - 1).
void expectConsistentKey(const Key& k) {
  std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
  Bn e = bn(k.e), m = bn(k.m), d = bn(k.d), p = bn(k.p), q = bn(k.q), crt = bn(k.crt);
  Bn t(BN_new(), BN_clear_free), pm1(BN_new(), BN_clear_free), qm1(BN_new(), BN_clear_free);
  Bn g(BN_new(), BN_clear_free), lcm(BN_new(), BN_clear_free);
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
  EXPECT_EQ(k.exp1, usv((BN_mod(t.get(), d.get(), pm1.get(), ctx.get()), t.get())));
  EXPECT_EQ(k.exp2, usv((BN_mod(t.get(), d.get(), qm1.get(), ctx.get()), t.get())));
  BN_mod_mul(t.get(), crt.get(), q.get(), p.get(), ctx.get());
  EXPECT_TRUE(BN_is_one(t.get()));
  EXPECT_LT(BN_cmp(crt.get(), p.get()), 0);
}

// The same seed gives the same key; another seed, size or exponent an
// unrelated one.
TEST(Rsa, KeyGeneration) {
  uint16_t code = 99;
  const Key again = generate(1, 1024, kF4, &code);
  ASSERT_EQ(code, 0);
  for (auto part : {&Key::m, &Key::d, &Key::p, &Key::q, &Key::exp1, &Key::exp2, &Key::crt})
    EXPECT_EQ(sharedKey().*part, again.*part);
  expectConsistentKey(again);
  std::vector<Usv> moduli = {again.m};
  const std::tuple<uint8_t, uint32_t, Usv> cases[] = {
      {2, 1024, kF4}, {1, 528, usvOf("3")}, {1, 512, usvOf("0x80" + std::string(60, '0') + "01")}};
  for (const auto& [seed, nbits, e] : cases) {
    SCOPED_TRACE(nbits);
    const Key k = generate(seed, nbits, e, &code);
    ASSERT_EQ(code, 0);
    expectConsistentKey(k);
    for (const Usv& seen : moduli) EXPECT_NE(seen, k.m);
    moduli.push_back(k.m);
  }
}

// ---- Argument and component checks ---------------------------------------------

const std::map<std::string, Usv Key::*> kParts = {
    {"e", &Key::e},       {"m", &Key::m},       {"p", &Key::p},    {"q", &Key::q},
    {"exp1", &Key::exp1}, {"exp2", &Key::exp2}, {"crt", &Key::crt}};

// `sum`: parts of `k` and numbers joined by + and -.
Bn evaluate(const Key& k, const std::string& sum) {
  Bn total(BN_new(), BN_clear_free);
  std::istringstream in("+ " + sum);
  for (std::string op, term; in >> op >> term;) {
    const Bn value = bn(kParts.count(term) ? k.*kParts.at(term) : usvOf(term));
    (op == "+" ? BN_add : BN_sub)(total.get(), total.get(), value.get());
  }
  return total;
}

// The rows of rsa_checks.txt, each spoiling the valid call of one entry point.
TEST(Rsa, ArgumentAndComponentChecks) {
  const Key& valid = sharedKey();
  std::map<std::string, size_t> rows;
  for (const test::Vector& v : test::loadVectors("primitives/rsa_checks.txt")) {
    SCOPED_TRACE(v.where() + " " + v.text("what"));
    Key k = valid;
    Bytes x = patternBlock(128, 4);
    if (v.has("nbits")) k.nbits = static_cast<uint32_t>(v.number("nbits"));
    if (v.has("insz")) x.resize(static_cast<size_t>(v.number("insz")));
    if (v.has("x")) BN_bn2binpad(evaluate(valid, v.text("x")).get(), x.data(), 128);
    for (const auto& [name, part] : kParts) {
      if (v.has(name)) k.*part = usv(evaluate(valid, v.text(name)).get());
    }
    const bool second = rows[v.group]++ % 2 == 1;
    const int null = v.has("null") ? static_cast<int>(v.number("null")) : 0;
    if (v.group == "generate") {
      const auto seed = seedOf(3);
      Usv out[7];
      for (Usv& o : out) o.assign(65, 0);
      auto arg = [&](int i, auto* p) { return i == null ? nullptr : p; };
      Result r{0, 99, {}};
      r.code =
          RSAGENK(arg(1, seed.data()), arg(2, &k.nbits), arg(3, k.e.data()), arg(4, out[0].data()),
                  arg(5, out[1].data()), arg(6, out[2].data()), arg(7, out[3].data()),
                  arg(8, out[4].data()), arg(9, out[5].data()), arg(10, out[6].data()), &r.rc);
      expectError(r, static_cast<uint16_t>(v.number("code")), v.text("message"));
      for (const Usv& o : out) EXPECT_EQ(o, Usv(65, 0));
      continue;
    }
    const Result r = v.group == "public" ? callPublic(second ? RSACHK : RSAENC, k, x, null)
                                         : callPrivate(second ? RSASIGN : RSADEC, k, x, null);
    expectError(r, static_cast<uint16_t>(v.number("code")), v.text("message"));
    EXPECT_EQ(r.y, Bytes(k.nbits / 8, kUntouched));
  }
  EXPECT_EQ(rows["public"], 16u);
  EXPECT_EQ(rows["private"], 38u);
  EXPECT_EQ(rows["generate"], 15u);
}

TEST(Rsa, HardwareEntryPointsAreUnavailable) {
  auto refused = [](auto entry) {
    const Result r = callPrivate(entry, sharedKey(), patternBlock(128, 8));
    expectError(r, 301, "Support hardware non disponibile");
    EXPECT_EQ(r.y, Bytes(128, kUntouched));
  };
  refused(sRSADEC), refused(sRSASIGN), refused(YsRSADEC), refused(YsRSASIG);
}

}  // namespace
}  // namespace sigillo
