// Prime search and key assembly for RSAGENK, after FIPS 186-4 B.3.3 with
// an incremental search from each random start.
#include "primitives/rsa_keygen.h"

#include <openssl/bn.h>

#include <initializer_list>
#include <new>
#include <vector>

#include "framework/secure.h"

namespace sigillo {
namespace {

// Odd primes below this bound sieve the candidates before libcrypto's test.
constexpr uint32_t kSieveLimit = 1 << 14;
// A start is followed by the odd numbers below start + kWindow.
constexpr uint32_t kWindow = 1 << 16;
// Random starts tried for one prime, and whole keys tried, before giving up;
// a 256-bit or larger window holds a prime with overwhelming probability.
constexpr int kMaxStarts = 64;
constexpr int kMaxKeyAttempts = 16;
// |p - q| must exceed 2^(nbits/2 - kCloseBits).
constexpr int kCloseBits = 100;

enum class Search { kFound, kNone, kError };

using Residues = std::vector<uint32_t, WipingAllocator<uint32_t>>;

const std::vector<uint32_t>& smallPrimes() {
  static const std::vector<uint32_t> primes = [] {
    std::vector<bool> composite(kSieveLimit, false);
    std::vector<uint32_t> list;
    for (uint32_t i = 3; i < kSieveLimit; i += 2) {
      if (composite[i]) continue;
      list.push_back(i);
      for (uint32_t j = i * i; j < kSieveLimit; j += 2 * i) composite[j] = true;
    }
    return list;
  }();
  return primes;
}

// `bits` bits from the generator with the top two bits and the low bit set:
// the product of two such numbers has exactly 2 * bits bits.
bool drawStart(HmacDrbg& drbg, uint32_t bits, BIGNUM* start) {
  SecureBytes bytes(bits / 8);
  if (!drbg.generate(bytes.data(), bytes.size())) return false;
  bytes.front() |= 0xC0;
  bytes.back() |= 0x01;
  if (BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), start) == nullptr) {
    throw std::bad_alloc();
  }
  return true;
}

bool divisibleBySmallPrime(const Residues& residues, uint32_t delta) {
  const std::vector<uint32_t>& primes = smallPrimes();
  for (size_t i = 0; i < primes.size(); ++i) {
    if ((residues[i] + delta) % primes[i] == 0) return true;
  }
  return false;
}

// 1 when gcd(e, candidate - 1) = 1 and the candidate is prime, 0 when not,
// -1 when libcrypto fails.
int acceptable(const BIGNUM* candidate, const BIGNUM* e, BN_CTX* ctx) {
  BnPtr less = newBn();
  BnPtr gcd = newBn();
  if (BN_copy(less.get(), candidate) == nullptr || !BN_sub_word(less.get(), 1) ||
      !BN_gcd(gcd.get(), less.get(), e, ctx)) {
    return -1;
  }
  if (!BN_is_one(gcd.get())) return 0;
  return BN_check_prime(candidate, ctx, nullptr);
}

// The first acceptable start + delta (delta even, below kWindow) that still
// has `bits` bits.
Search scanWindow(const BIGNUM* start, uint32_t bits, const BIGNUM* e, BN_CTX* ctx, BIGNUM* out) {
  const std::vector<uint32_t>& primes = smallPrimes();
  Residues residues(primes.size());
  for (size_t i = 0; i < primes.size(); ++i) {
    BN_ULONG r = BN_mod_word(start, primes[i]);
    if (r == static_cast<BN_ULONG>(-1)) return Search::kError;
    residues[i] = static_cast<uint32_t>(r);
  }
  for (uint32_t delta = 0; delta < kWindow; delta += 2) {
    if (divisibleBySmallPrime(residues, delta)) continue;
    if (BN_copy(out, start) == nullptr || !BN_add_word(out, delta)) return Search::kError;
    if (static_cast<uint32_t>(BN_num_bits(out)) != bits) return Search::kNone;
    int verdict = acceptable(out, e, ctx);
    if (verdict < 0) return Search::kError;
    if (verdict == 1) return Search::kFound;
  }
  return Search::kNone;
}

// |a - b| > 2^(bits - kCloseBits)
bool farApart(const BIGNUM* a, const BIGNUM* b, uint32_t bits) {
  BnPtr diff = newBn();
  BnPtr bound = newBn();
  if (!BN_sub(diff.get(), a, b) || !BN_set_bit(bound.get(), static_cast<int>(bits) - kCloseBits)) {
    throw std::bad_alloc();
  }
  BN_set_negative(diff.get(), 0);
  return BN_cmp(diff.get(), bound.get()) > 0;
}

// A prime of `bits` bits with gcd(e, prime - 1) = 1, far from `other` when
// that is not null.
Search generatePrime(HmacDrbg& drbg, uint32_t bits, const BIGNUM* e, const BIGNUM* other,
                     BN_CTX* ctx, BIGNUM* out) {
  BnPtr start = newBn();
  for (int i = 0; i < kMaxStarts; ++i) {
    if (!drawStart(drbg, bits, start.get())) return Search::kError;
    Search found = scanWindow(start.get(), bits, e, ctx, out);
    if (found == Search::kError) return found;
    if (found == Search::kFound && (other == nullptr || farApart(out, other, bits))) {
      return found;
    }
  }
  return Search::kNone;
}

void setConstTime(std::initializer_list<BIGNUM*> numbers) {
  for (BIGNUM* bn : numbers) BN_set_flags(bn, BN_FLG_CONSTTIME);
}

// Fills the key's other components from p > q; false when libcrypto fails.
// d is the inverse of e modulo lcm(p - 1, q - 1).
bool completeKey(const BIGNUM* e, BN_CTX* ctx, RsaKey& key) {
  BnPtr pm1 = newBn();
  BnPtr qm1 = newBn();
  BnPtr gcd = newBn();
  BnPtr product = newBn();
  BnPtr lcm = newBn();
  setConstTime({pm1.get(), qm1.get(), product.get(), lcm.get(), key.d.get()});
  return BN_sub(pm1.get(), key.p.get(), BN_value_one()) &&
         BN_sub(qm1.get(), key.q.get(), BN_value_one()) &&
         BN_gcd(gcd.get(), pm1.get(), qm1.get(), ctx) &&
         BN_mul(product.get(), pm1.get(), qm1.get(), ctx) &&
         BN_div(lcm.get(), nullptr, product.get(), gcd.get(), ctx) &&
         BN_mod_inverse(key.d.get(), e, lcm.get(), ctx) != nullptr &&
         BN_mul(key.n.get(), key.p.get(), key.q.get(), ctx) &&
         BN_mod(key.exp1.get(), key.d.get(), pm1.get(), ctx) &&
         BN_mod(key.exp2.get(), key.d.get(), qm1.get(), ctx) &&
         BN_mod_inverse(key.crt.get(), key.q.get(), key.p.get(), ctx) != nullptr;
}

}  // namespace

bool rsaGenerateKey(HmacDrbg& drbg, uint32_t nbits, const BIGNUM* e, RsaKey& key) {
  BnCtxPtr ctx = newSecureBnCtx();
  for (BnPtr* part : {&key.n, &key.d, &key.p, &key.q, &key.exp1, &key.exp2, &key.crt}) {
    *part = newBn();
  }
  const uint32_t half = nbits / 2;
  for (int attempt = 0; attempt < kMaxKeyAttempts; ++attempt) {
    if (generatePrime(drbg, half, e, nullptr, ctx.get(), key.p.get()) != Search::kFound ||
        generatePrime(drbg, half, e, key.p.get(), ctx.get(), key.q.get()) != Search::kFound) {
      return false;
    }
    if (BN_cmp(key.p.get(), key.q.get()) < 0) BN_swap(key.p.get(), key.q.get());
    setConstTime({key.p.get(), key.q.get()});
    if (!completeKey(e, ctx.get(), key)) return false;
    // A private exponent below 2^(nbits/2) is open to small-exponent attacks.
    if (static_cast<uint32_t>(BN_num_bits(key.d.get())) > half) return true;
  }
  return false;
}

bool rsaKeyFromSeed(const uint8_t* seed, uint32_t nbits, const BIGNUM* e, RsaKey& key) {
  static constexpr char kLabel[] = "RSAGENK";
  SecureBytes personal(kLabel, kLabel + sizeof kLabel - 1);
  for (int shift = 24; shift >= 0; shift -= 8)
    personal.push_back(static_cast<uint8_t>(nbits >> shift));
  size_t labelled = personal.size();
  personal.resize(labelled + static_cast<size_t>(BN_num_bytes(e)));
  BN_bn2bin(e, personal.data() + labelled);
  HmacDrbg drbg;
  drbg.instantiate(seed, kRsaSeedSize, personal.data(), personal.size());
  return rsaGenerateKey(drbg, nbits, e, key);
}

}  // namespace sigillo
