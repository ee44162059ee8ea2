// RSA entry points: repeatable key generation, the public-key operation and
// the private-key operation with the Chinese Remainder Theorem.  Numbers
// travel as USV vectors, data blocks as big-endian bytes (docs/rsa.md).
#include <openssl/bn.h>
#include <openssl/err.h>

#include <cstddef>
#include <initializer_list>
#include <new>

#include "framework/entry.h"
#include "framework/trace.h"
#include "primitives/rsa_keygen.h"
#include "primitives/usvbn.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "rsa";

// A component that is malformed by itself, and one that disagrees with the
// other components or with nbits.
constexpr uint16_t kMalformed = 22;
constexpr uint16_t kInconsistent = 23;
constexpr uint16_t kFailed = 301;

constexpr const char* kCalcError = "Errore di calcolo";
// Public exponents of RSAGENK: up to 256 bits.
constexpr int kMaxGenExponentBits = 256;

struct PublicArgs {
  const uint8_t* x;
  const uint32_t* insz;
  const uint16_t* e;
  const uint16_t* mod;
  const uint32_t* nbits;
  uint8_t* y;
};

struct PrivateArgs {
  const uint8_t* x;
  const uint32_t* insz;
  const uint16_t* e;
  const uint16_t* m;
  const uint16_t* p;
  const uint16_t* q;
  const uint16_t* exp1;
  const uint16_t* exp2;
  const uint16_t* crt;
  const uint32_t* nbits;
  uint8_t* y;
};

struct KeygenArgs {
  const uint8_t* seed;
  const uint32_t* nbits;
  const uint16_t* e;
  uint16_t* m;
  uint16_t* d;
  uint16_t* p;
  uint16_t* q;
  uint16_t* exp1;
  uint16_t* exp2;
  uint16_t* crt;
};

// A vector argument and the name its errors give.
template <class T>
struct Named {
  T* usv;
  const char* name;
};

bool nbitsAllowed(const uint32_t* nbits) {
  return nbits != nullptr && *nbits >= SIGILLO_RSA_MIN_BITS && *nbits <= SIGILLO_RSA_MAX_BITS &&
         *nbits % 16 == 0;
}

// What an entry point returns once its frame is closed.
uint16_t finish(uint16_t code) {
  uint16_t first = TRout();
  return code == 0 ? 0 : firstOr(first, code);
}

void setConstTime(std::initializer_list<BIGNUM*> numbers) {
  for (BIGNUM* bn : numbers) BN_set_flags(bn, BN_FLG_CONSTTIME);
}

// ---- Reading components ---------------------------------------------------

// A number from 1 to 2^maxBits - 1, or code 22 with `message`.  Vectors are
// read by value, so leading zero digits do not count.
uint16_t readNumber(const uint16_t* usv, int maxBits, const char* message, BIGNUM* out) {
  if (!usvToBn(usv, out) || BN_is_zero(out) || BN_num_bits(out) > maxBits) {
    return TRFAIL(kMalformed, "%s", message);
  }
  return 0;
}

// An odd number of at least 3: a public exponent or a prime.
uint16_t readOdd(const uint16_t* usv, int maxBits, const char* message, BIGNUM* out) {
  if (uint16_t rc = readNumber(usv, maxBits, message, out)) return rc;
  if (!BN_is_odd(out) || BN_is_one(out)) return TRFAIL(kMalformed, "%s", message);
  return 0;
}

// An odd modulus of exactly nbits/8 bytes.
uint16_t readModulus(const uint16_t* usv, uint32_t nbits, BIGNUM* m) {
  static constexpr const char* kMessage = "Modulo non corretto";
  if (uint16_t rc = readOdd(usv, static_cast<int>(nbits), kMessage, m)) return rc;
  if (static_cast<uint32_t>(BN_num_bytes(m)) != nbits / 8) {
    return TRFAIL(kInconsistent, "%s", kMessage);
  }
  return 0;
}

// The input block as a number below the modulus.
uint16_t readInput(const uint8_t* x, uint32_t insz, const BIGNUM* m, BIGNUM* out) {
  if (BN_bin2bn(x, static_cast<int>(insz), out) == nullptr) throw std::bad_alloc();
  if (BN_cmp(out, m) >= 0) return TRFAIL(kInconsistent, "x (1) non inferiore al modulo");
  return 0;
}

// The result, left-padded with zeros to nbits/8 bytes.
uint16_t writeOutput(const BIGNUM* value, uint32_t nbits, uint8_t* y) {
  if (BN_bn2binpad(value, y, static_cast<int>(nbits / 8)) < 0) {
    return TRFAIL(kFailed, "%s", kCalcError);
  }
  return 0;
}

// ---- Public-key operation -------------------------------------------------

uint16_t checkPublicArgs(const PublicArgs& a) {
  if (a.x == nullptr) return TRFAIL(2, "x (1)");
  if (a.insz == nullptr || *a.insz == 0) return TRFAIL(5, "insz (2)");
  if (a.e == nullptr) return TRFAIL(2, "e (3)");
  if (a.mod == nullptr) return TRFAIL(2, "mod (4)");
  if (!nbitsAllowed(a.nbits)) return TRFAIL(12, "nbits (5)");
  if (a.y == nullptr) return TRFAIL(3, "y (6)");
  if (*a.insz > *a.nbits / 8) return TRFAIL(5, "insz (2)");
  return 0;
}

// The Montgomery form of the modulus used last: a batch that checks many
// blocks under one key prepares it once.
BN_MONT_CTX* publicMont(const BIGNUM* m, BN_CTX* ctx) {
  static BnPtr lastModulus;
  static BnMontPtr lastMont;
  if (lastModulus == nullptr || BN_cmp(lastModulus.get(), m) != 0) {
    BnMontPtr mont(BN_MONT_CTX_new());
    BnPtr copy(BN_dup(m));
    if (mont == nullptr || copy == nullptr || !BN_MONT_CTX_set(mont.get(), m, ctx)) return nullptr;
    lastMont = std::move(mont);
    lastModulus = std::move(copy);
  }
  return lastMont.get();
}

uint16_t publicOperation(const PublicArgs& a) {
  static constexpr const char* kBadExponent = "Valore esponente non valido";
  if (uint16_t rc = checkPublicArgs(a)) return rc;
  const uint32_t nbits = *a.nbits;
  BnPtr e = newBn();
  BnPtr m = newBn();
  BnPtr x = newBn();
  BnPtr y = newBn();
  if (uint16_t rc = readOdd(a.e, static_cast<int>(nbits), kBadExponent, e.get())) return rc;
  if (uint16_t rc = readModulus(a.mod, nbits, m.get())) return rc;
  if (BN_cmp(e.get(), m.get()) >= 0) return TRFAIL(kInconsistent, "%s", kBadExponent);
  if (uint16_t rc = readInput(a.x, *a.insz, m.get(), x.get())) return rc;
  BnCtxPtr ctx(BN_CTX_new());
  BN_MONT_CTX* mont = ctx != nullptr ? publicMont(m.get(), ctx.get()) : nullptr;
  if (mont == nullptr || !BN_mod_exp_mont(y.get(), x.get(), e.get(), m.get(), ctx.get(), mont)) {
    return TRFAIL(kFailed, "%s", kCalcError);
  }
  return writeOutput(y.get(), nbits, a.y);
}

uint16_t publicEntry(const TrDesc& desc, const PublicArgs& a) {
  TRclrerr();
  TRin(&desc, a.x, a.insz, a.e, a.mod, a.nbits, a.y);
  return finish(publicOperation(a));
}

// ---- Private-key operation ------------------------------------------------

struct PrivateKey {
  BnPtr e = newBn(), m = newBn(), p = newBn(), q = newBn();
  BnPtr exp1 = newBn(), exp2 = newBn(), crt = newBn();
  BnPtr pm1 = newBn(), qm1 = newBn();
};

uint16_t checkPrivateArgs(const PrivateArgs& a) {
  if (a.x == nullptr) return TRFAIL(2, "x (1)");
  if (a.insz == nullptr || *a.insz == 0) return TRFAIL(5, "insz (2)");
  const Named<const uint16_t> components[] = {
      {a.e, "e (3)"},       {a.m, "m (4)"},       {a.p, "p (5)"},    {a.q, "q (6)"},
      {a.exp1, "exp1 (7)"}, {a.exp2, "exp2 (8)"}, {a.crt, "crt (9)"}};
  for (const auto& c : components) {
    if (c.usv == nullptr) return TRFAIL(2, "%s", c.name);
  }
  if (!nbitsAllowed(a.nbits)) return TRFAIL(12, "nbits (10)");
  if (a.y == nullptr) return TRFAIL(3, "y (11)");
  if (*a.insz > *a.nbits / 8) return TRFAIL(5, "insz (2)");
  return 0;
}

// a * b mod n == 1, with n's arithmetic in constant time.
bool inverses(const BIGNUM* a, const BIGNUM* b, const BIGNUM* n, BN_CTX* ctx) {
  BnPtr product = newBn();
  if (!BN_mod_mul(product.get(), a, b, n, ctx)) throw std::bad_alloc();
  return BN_is_one(product.get());
}

// A CRT exponent: below prime - 1 and the inverse of e modulo prime - 1.
uint16_t readCrtExponent(const uint16_t* usv, int maxBits, const char* message, const BIGNUM* e,
                         const BIGNUM* primeLess, BN_CTX* ctx, BIGNUM* out) {
  BN_set_flags(out, BN_FLG_CONSTTIME);
  if (uint16_t rc = readNumber(usv, maxBits, message, out)) return rc;
  if (BN_cmp(out, primeLess) >= 0 || !inverses(e, out, primeLess, ctx)) {
    return TRFAIL(kInconsistent, "%s", message);
  }
  return 0;
}

// Each component is checked for its own form (code 22) and against those
// read before it (code 23); every check costs at most a multiplication.
uint16_t readPrivateKey(const PrivateArgs& a, BN_CTX* ctx, PrivateKey& k) {
  static constexpr const char* kBadExponent = "Esponente non corretto";
  static constexpr const char* kBadP = "Valore P non corretto";
  static constexpr const char* kBadQ = "Valore Q non corretto";
  static constexpr const char* kBadCrt = "Valore CRT non corretto";
  const uint32_t nbits = *a.nbits;
  const int bits = static_cast<int>(nbits);
  setConstTime({k.p.get(), k.q.get(), k.pm1.get(), k.qm1.get(), k.crt.get()});
  if (uint16_t rc = readOdd(a.e, bits, kBadExponent, k.e.get())) return rc;
  if (uint16_t rc = readModulus(a.m, nbits, k.m.get())) return rc;
  if (BN_cmp(k.e.get(), k.m.get()) >= 0) return TRFAIL(kInconsistent, "%s", kBadExponent);
  if (uint16_t rc = readOdd(a.p, bits, kBadP, k.p.get())) return rc;
  if (BN_cmp(k.p.get(), k.m.get()) >= 0) return TRFAIL(kInconsistent, "%s", kBadP);
  if (uint16_t rc = readOdd(a.q, bits, kBadQ, k.q.get())) return rc;
  BnPtr product = newBn();
  if (!BN_mul(product.get(), k.p.get(), k.q.get(), ctx)) throw std::bad_alloc();
  if (BN_cmp(product.get(), k.m.get()) != 0) return TRFAIL(kInconsistent, "%s", kBadQ);
  if (!BN_sub(k.pm1.get(), k.p.get(), BN_value_one()) ||
      !BN_sub(k.qm1.get(), k.q.get(), BN_value_one())) {
    throw std::bad_alloc();
  }
  if (uint16_t rc = readCrtExponent(a.exp1, bits, "Valore EXP1 non corretto", k.e.get(),
                                    k.pm1.get(), ctx, k.exp1.get())) {
    return rc;
  }
  if (uint16_t rc = readCrtExponent(a.exp2, bits, "Valore EXP2 non corretto", k.e.get(),
                                    k.qm1.get(), ctx, k.exp2.get())) {
    return rc;
  }
  if (uint16_t rc = readNumber(a.crt, bits, kBadCrt, k.crt.get())) return rc;
  if (BN_cmp(k.crt.get(), k.p.get()) >= 0 || !inverses(k.crt.get(), k.q.get(), k.p.get(), ctx)) {
    return TRFAIL(kInconsistent, "%s", kBadCrt);
  }
  return 0;
}

BnMontPtr newMont(const BIGNUM* modulus, BN_CTX* ctx) {
  BnMontPtr mont(BN_MONT_CTX_new());
  if (mont == nullptr || !BN_MONT_CTX_set(mont.get(), modulus, ctx)) throw std::bad_alloc();
  return mont;
}

// Blinding factors A = r^e and Ai = r^-1 mod m for the key used last, r
// from libcrypto's CSPRNG.  As in libcrypto, a pair is squared after each
// use and replaced after kBlindingUses uses, which spares the inversion of
// a fresh r on every call when a batch signs with one key.
class Blinding {
 public:
  // False when libcrypto fails.
  bool take(const BIGNUM* m, const BIGNUM* e, BN_MONT_CTX* mont, BN_CTX* ctx, BIGNUM* a,
            BIGNUM* ai) {
    if (uses_ >= kBlindingUses || BN_cmp(m, m_.get()) != 0 || BN_cmp(e, e_.get()) != 0) {
      if (!renew(m, e, mont, ctx)) return false;
    } else if (!BN_mod_mul(a_.get(), a_.get(), a_.get(), m, ctx) ||
               !BN_mod_mul(ai_.get(), ai_.get(), ai_.get(), m, ctx)) {
      uses_ = kBlindingUses;
      return false;
    }
    ++uses_;
    return BN_copy(a, a_.get()) != nullptr && BN_copy(ai, ai_.get()) != nullptr;
  }

 private:
  static constexpr int kBlindingUses = 32;

  bool renew(const BIGNUM* m, const BIGNUM* e, BN_MONT_CTX* mont, BN_CTX* ctx) {
    uses_ = kBlindingUses;
    setConstTime({a_.get(), ai_.get()});
    for (int attempt = 0; attempt < 8; ++attempt) {
      // r goes to a_, its inverse to ai_; r shares no factor with m but with
      // negligible probability.
      if (!BN_priv_rand_range(a_.get(), m)) return false;
      if (BN_is_zero(a_.get()) || BN_mod_inverse(ai_.get(), a_.get(), m, ctx) == nullptr) {
        ERR_clear_error();
        continue;
      }
      if (!BN_mod_exp_mont(a_.get(), a_.get(), e, m, ctx, mont) ||
          BN_copy(m_.get(), m) == nullptr || BN_copy(e_.get(), e) == nullptr) {
        return false;
      }
      uses_ = 0;
      return true;
    }
    return false;
  }

  BnPtr m_ = newBn(), e_ = newBn(), a_ = newBn(), ai_ = newBn();
  int uses_ = kBlindingUses;
};

Blinding& processBlinding() {
  static Blinding blinding;
  return blinding;
}

// y = x^d mod m through the CRT, on the blinded input x * r^e, with both
// halves in one constant-time call; the result is released only when
// y^e mod m gives x back, so that a computing fault never leaks a value
// that would factor the modulus.
// Montgomery forms of m, p and q for the private key used last: a batch
// that signs many blocks with one key prepares them once.
struct KeyMonts {
  BnPtr m = newBn(), p = newBn();
  BnMontPtr montM, montP, montQ;

  void prepare(const PrivateKey& k, BN_CTX* ctx) {
    if (montM != nullptr && BN_cmp(m.get(), k.m.get()) == 0 && BN_cmp(p.get(), k.p.get()) == 0) {
      return;
    }
    montM.reset();
    montP = newMont(k.p.get(), ctx);
    montQ = newMont(k.q.get(), ctx);
    BnMontPtr mm = newMont(k.m.get(), ctx);
    if (BN_copy(m.get(), k.m.get()) == nullptr || BN_copy(p.get(), k.p.get()) == nullptr) {
      throw std::bad_alloc();
    }
    montM = std::move(mm);
  }
};

bool privatePower(const PrivateKey& k, const BIGNUM* x, BN_CTX* ctx, BIGNUM* y) {
  static KeyMonts monts;
  monts.prepare(k, ctx);
  BN_MONT_CTX* montM = monts.montM.get();
  BN_MONT_CTX* montP = monts.montP.get();
  BN_MONT_CTX* montQ = monts.montQ.get();
  BnPtr a = newBn(), ai = newBn(), blinded = newBn(), xp = newBn(), xq = newBn();
  BnPtr m1 = newBn(), m2 = newBn(), h = newBn(), check = newBn();
  setConstTime({a.get(), ai.get(), blinded.get(), xp.get(), xq.get(), m1.get(), m2.get(), h.get()});
  bool ok = processBlinding().take(k.m.get(), k.e.get(), montM, ctx, a.get(), ai.get()) &&
            BN_mod_mul(blinded.get(), x, a.get(), k.m.get(), ctx) &&
            BN_nnmod(xp.get(), blinded.get(), k.p.get(), ctx) &&
            BN_nnmod(xq.get(), blinded.get(), k.q.get(), ctx) &&
            BN_mod_exp_mont_consttime_x2(m1.get(), xp.get(), k.exp1.get(), k.p.get(), montP,
                                         m2.get(), xq.get(), k.exp2.get(), k.q.get(), montQ, ctx) &&
            BN_mod_sub(h.get(), m1.get(), m2.get(), k.p.get(), ctx) &&
            BN_mod_mul(h.get(), h.get(), k.crt.get(), k.p.get(), ctx) &&
            BN_mul(y, h.get(), k.q.get(), ctx) && BN_add(y, y, m2.get()) &&
            BN_mod_mul(y, y, ai.get(), k.m.get(), ctx) &&
            BN_mod_exp_mont(check.get(), y, k.e.get(), k.m.get(), ctx, montM);
  return ok && BN_cmp(check.get(), x) == 0;
}

uint16_t privateOperation(const PrivateArgs& a) {
  if (uint16_t rc = checkPrivateArgs(a)) return rc;
  BnCtxPtr ctx = newSecureBnCtx();
  PrivateKey key;
  if (uint16_t rc = readPrivateKey(a, ctx.get(), key)) return rc;
  BnPtr x = newBn();
  BnPtr y = newBn();
  if (uint16_t rc = readInput(a.x, *a.insz, key.m.get(), x.get())) return rc;
  if (!privatePower(key, x.get(), ctx.get(), y.get())) return TRFAIL(kFailed, "%s", kCalcError);
  return writeOutput(y.get(), *a.nbits, a.y);
}

// The trace holds eight arguments: the private operation records the first
// eight, which are the input and the key's vectors by address.
uint16_t privateEntry(const TrDesc& desc, const PrivateArgs& a) {
  TRclrerr();
  TRin(&desc, a.x, a.insz, a.e, a.m, a.p, a.q, a.exp1, a.exp2);
  return finish(privateOperation(a));
}

uint16_t hardwareEntry(const TrDesc& desc, const PrivateArgs& a) {
  TRclrerr();
  TRin(&desc, a.x, a.insz, a.e, a.m, a.p, a.q, a.exp1, a.exp2);
  return finish(TRFAIL(kFailed, "Support hardware non disponibile"));
}

// ---- Key generation -------------------------------------------------------

uint16_t checkKeygenArgs(const KeygenArgs& a) {
  if (a.seed == nullptr) return TRFAIL(2, "seed (1)");
  if (!nbitsAllowed(a.nbits)) return TRFAIL(12, "nbits (2)");
  if (a.e == nullptr) return TRFAIL(2, "e (3)");
  const Named<uint16_t> outputs[] = {{a.m, "m (4)"},     {a.d, "d (5)"},       {a.p, "p (6)"},
                                     {a.q, "q (7)"},     {a.exp1, "exp1 (8)"}, {a.exp2, "exp2 (9)"},
                                     {a.crt, "crt (10)"}};
  for (const auto& o : outputs) {
    if (o.usv == nullptr) return TRFAIL(3, "%s", o.name);
  }
  return 0;
}

uint16_t generateKey(const KeygenArgs& a) {
  if (uint16_t rc = checkKeygenArgs(a)) return rc;
  const uint32_t nbits = *a.nbits;
  BnPtr e = newBn();
  if (uint16_t rc = readOdd(a.e, kMaxGenExponentBits, "Esponente non valido", e.get())) return rc;
  RsaKey key;
  if (!rsaKeyFromSeed(a.seed, nbits, e.get(), key)) return TRFAIL(kFailed, "%s", kCalcError);
  // The primes and the values reduced modulo them have nbits/2 bits.
  const size_t full = nbits / 16;
  const size_t half = (nbits / 2 + 15) / 16;
  const struct {
    uint16_t* usv;
    const BIGNUM* value;
    size_t maxDigits;
  } outputs[] = {{a.m, key.n.get(), full},       {a.d, key.d.get(), full},
                 {a.p, key.p.get(), half},       {a.q, key.q.get(), half},
                 {a.exp1, key.exp1.get(), half}, {a.exp2, key.exp2.get(), half},
                 {a.crt, key.crt.get(), half}};
  for (const auto& o : outputs) {
    if (!bnToUsv(o.value, o.maxDigits, o.usv)) return TRFAIL(kFailed, "%s", kCalcError);
  }
  return 0;
}

uint16_t keygenEntry(const TrDesc& desc, const KeygenArgs& a) {
  TRclrerr();
  TRin(&desc, a.seed, a.nbits, a.e, a.m, a.d, a.p, a.q, a.exp1);
  return finish(generateKey(a));
}

#define PUBLIC_TYPES kArgPtr, kArgU32, kArgPtr, kArgPtr, kArgU32, kArgPtr
#define PRIVATE_TYPES kArgPtr, kArgU32, kArgPtr, kArgPtr, kArgPtr, kArgPtr, kArgPtr, kArgPtr
const TrDesc kRsaEncDesc = {"RSAENC", 6, {PUBLIC_TYPES}};
const TrDesc kRsaChkDesc = {"RSACHK", 6, {PUBLIC_TYPES}};
const TrDesc kRsaDecDesc = {"RSADEC", 8, {PRIVATE_TYPES}};
const TrDesc kRsaSignDesc = {"RSASIGN", 8, {PRIVATE_TYPES}};
const TrDesc kSRsaDecDesc = {"sRSADEC", 8, {PRIVATE_TYPES}};
const TrDesc kSRsaSignDesc = {"sRSASIGN", 8, {PRIVATE_TYPES}};
const TrDesc kRsaGenkDesc = {
    "RSAGENK", 8, {kArgPtr, kArgU32, kArgPtr, kArgPtr, kArgPtr, kArgPtr, kArgPtr, kArgPtr}};
#undef PUBLIC_TYPES
#undef PRIVATE_TYPES

}  // namespace
}  // namespace sigillo

using sigillo::runEntry;

#define PUBLIC_ENTRY(NAME, YNAME, DESC)                                                           \
  uint16_t NAME(const uint8_t* x, const uint32_t* insz, const uint16_t* e, const uint16_t* mod,   \
                const uint32_t* nbits, uint8_t* y, uint16_t* rc) {                                \
    return runEntry(#NAME, rc, [&] {                                                              \
      return sigillo::publicEntry(sigillo::DESC, sigillo::PublicArgs{x, insz, e, mod, nbits, y}); \
    });                                                                                           \
  }                                                                                               \
  void YNAME(const uint8_t* x, const uint32_t* insz, const uint16_t* e, const uint16_t* mod,      \
             const uint32_t* nbits, uint8_t* y, uint16_t* rc) {                                   \
    NAME(x, insz, e, mod, nbits, y, rc);                                                          \
  }

PUBLIC_ENTRY(RSAENC, YRSAENC, kRsaEncDesc)
PUBLIC_ENTRY(RSACHK, YRSACHK, kRsaChkDesc)
#undef PUBLIC_ENTRY

#define PRIVATE_ENTRY(NAME, YNAME, DESC, RUN)                                                     \
  uint16_t NAME(const uint8_t* x, const uint32_t* insz, const uint16_t* e, const uint16_t* m,     \
                const uint16_t* p, const uint16_t* q, const uint16_t* exp1, const uint16_t* exp2, \
                const uint16_t* crt, const uint32_t* nbits, uint8_t* y, uint16_t* rc) {           \
    return runEntry(#NAME, rc, [&] {                                                              \
      return sigillo::RUN(sigillo::DESC,                                                          \
                          sigillo::PrivateArgs{x, insz, e, m, p, q, exp1, exp2, crt, nbits, y});  \
    });                                                                                           \
  }                                                                                               \
  void YNAME(const uint8_t* x, const uint32_t* insz, const uint16_t* e, const uint16_t* m,        \
             const uint16_t* p, const uint16_t* q, const uint16_t* exp1, const uint16_t* exp2,    \
             const uint16_t* crt, const uint32_t* nbits, uint8_t* y, uint16_t* rc) {              \
    NAME(x, insz, e, m, p, q, exp1, exp2, crt, nbits, y, rc);                                     \
  }

PRIVATE_ENTRY(RSADEC, YRSADEC, kRsaDecDesc, privateEntry)
PRIVATE_ENTRY(RSASIGN, YRSASIGN, kRsaSignDesc, privateEntry)
PRIVATE_ENTRY(sRSADEC, YsRSADEC, kSRsaDecDesc, hardwareEntry)
PRIVATE_ENTRY(sRSASIGN, YsRSASIG, kSRsaSignDesc, hardwareEntry)
#undef PRIVATE_ENTRY

uint16_t RSAGENK(const uint8_t* seed, const uint32_t* nbits, const uint16_t* e, uint16_t* m,
                 uint16_t* d, uint16_t* p, uint16_t* q, uint16_t* exp1, uint16_t* exp2,
                 uint16_t* crt, uint16_t* rc) {
  return runEntry("RSAGENK", rc, [&] {
    return sigillo::keygenEntry(sigillo::kRsaGenkDesc,
                                sigillo::KeygenArgs{seed, nbits, e, m, d, p, q, exp1, exp2, crt});
  });
}
void YRSAGENK(const uint8_t* seed, const uint32_t* nbits, const uint16_t* e, uint16_t* m,
              uint16_t* d, uint16_t* p, uint16_t* q, uint16_t* exp1, uint16_t* exp2, uint16_t* crt,
              uint16_t* rc) {
  RSAGENK(seed, nbits, e, m, d, p, q, exp1, exp2, crt, rc);
}
