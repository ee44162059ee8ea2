// The RSA entry points with a 2048-bit key, beside libcrypto's own raw RSA
// on the same key: the private operation (RSASIGN) and the public one
// (RSAENC) on one full block.
#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

#include "sigillo/sigillo.h"

namespace {

constexpr uint32_t kBits = 2048;
constexpr size_t kBlock = kBits / 8;

using Usv = std::vector<uint16_t>;

struct Key {
  uint32_t nbits = kBits;
  Usv e{2, 0x0001, 0x0001};  // 65537
  Usv m, d, p, q, exp1, exp2, crt;
};

// One key for every benchmark, from a fixed seed.
const Key& benchKey() {
  static const Key key = [] {
    Key k;
    std::array<uint8_t, SIGILLO_RSA_SEED_SIZE> seed{};
    seed.fill(0x42);
    for (Usv* v : {&k.m, &k.d}) v->assign(1 + kBits / 16, 0);
    for (Usv* v : {&k.p, &k.q, &k.exp1, &k.exp2, &k.crt}) v->assign(1 + kBits / 32, 0);
    uint16_t rc = 0;
    RSAGENK(seed.data(), &k.nbits, k.e.data(), k.m.data(), k.d.data(), k.p.data(), k.q.data(),
            k.exp1.data(), k.exp2.data(), k.crt.data(), &rc);
    if (rc != 0) std::abort();
    return k;
  }();
  return key;
}

std::vector<uint8_t> block() {
  std::vector<uint8_t> x(kBlock);
  for (size_t i = 0; i < x.size(); ++i) x[i] = static_cast<uint8_t>(i * 37 + 11);
  x[0] = 0x00;
  return x;
}

void BM_RSASIGN(benchmark::State& state) {
  const Key& k = benchKey();
  std::vector<uint8_t> x = block(), y(kBlock);
  uint32_t insz = kBlock;
  uint16_t rc = 0;
  for (auto _ : state) {
    RSASIGN(x.data(), &insz, k.e.data(), k.m.data(), k.p.data(), k.q.data(), k.exp1.data(),
            k.exp2.data(), k.crt.data(), &k.nbits, y.data(), &rc);
    benchmark::DoNotOptimize(y.data());
  }
  if (rc != 0) state.SkipWithError("RSASIGN failed");
}

void BM_RSAENC(benchmark::State& state) {
  const Key& k = benchKey();
  std::vector<uint8_t> x = block(), y(kBlock);
  uint32_t insz = kBlock;
  uint16_t rc = 0;
  for (auto _ : state) {
    RSAENC(x.data(), &insz, k.e.data(), k.m.data(), &k.nbits, y.data(), &rc);
    benchmark::DoNotOptimize(y.data());
  }
  if (rc != 0) state.SkipWithError("RSAENC failed");
}

// ---- libcrypto on the same key -------------------------------------------------

struct PkeyFree {
  void operator()(EVP_PKEY* pkey) const { EVP_PKEY_free(pkey); }
};
struct PkeyCtxFree {
  void operator()(EVP_PKEY_CTX* ctx) const { EVP_PKEY_CTX_free(ctx); }
};
struct BnFree {
  void operator()(BIGNUM* bn) const { BN_clear_free(bn); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;

Bn toBn(const Usv& usv) {
  std::vector<uint8_t> bytes;
  for (size_t i = 1; i <= usv[0]; ++i) {
    bytes.push_back(static_cast<uint8_t>(usv[i] >> 8));
    bytes.push_back(static_cast<uint8_t>(usv[i]));
  }
  return Bn(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

std::unique_ptr<EVP_PKEY, PkeyFree> libcryptoKey(const Key& k) {
  const std::pair<const char*, const Usv*> parts[] = {{OSSL_PKEY_PARAM_RSA_N, &k.m},
                                                      {OSSL_PKEY_PARAM_RSA_E, &k.e},
                                                      {OSSL_PKEY_PARAM_RSA_D, &k.d},
                                                      {OSSL_PKEY_PARAM_RSA_FACTOR1, &k.p},
                                                      {OSSL_PKEY_PARAM_RSA_FACTOR2, &k.q},
                                                      {OSSL_PKEY_PARAM_RSA_EXPONENT1, &k.exp1},
                                                      {OSSL_PKEY_PARAM_RSA_EXPONENT2, &k.exp2},
                                                      {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, &k.crt}};
  std::vector<Bn> numbers;
  OSSL_PARAM_BLD* build = OSSL_PARAM_BLD_new();
  for (const auto& [name, usv] : parts) {
    numbers.push_back(toBn(*usv));
    OSSL_PARAM_BLD_push_BN(build, name, numbers.back().get());
  }
  OSSL_PARAM* params = OSSL_PARAM_BLD_to_param(build);
  std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree> ctx(
      EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  EVP_PKEY* pkey = nullptr;
  if (EVP_PKEY_fromdata_init(ctx.get()) <= 0 ||
      EVP_PKEY_fromdata(ctx.get(), &pkey, EVP_PKEY_KEYPAIR, params) <= 0) {
    std::abort();
  }
  OSSL_PARAM_free(params);
  OSSL_PARAM_BLD_free(build);
  return std::unique_ptr<EVP_PKEY, PkeyFree>(pkey);
}

// Raw RSA (no padding) through EVP: decrypt is the private operation.
void runLibcrypto(benchmark::State& state, bool priv) {
  auto pkey = libcryptoKey(benchKey());
  std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree> ctx(EVP_PKEY_CTX_new(pkey.get(), nullptr));
  if ((priv ? EVP_PKEY_decrypt_init(ctx.get()) : EVP_PKEY_encrypt_init(ctx.get())) <= 0 ||
      EVP_PKEY_CTX_set_rsa_padding(ctx.get(), RSA_NO_PADDING) <= 0) {
    state.SkipWithError("libcrypto set-up failed");
    return;
  }
  std::vector<uint8_t> x = block(), y(kBlock);
  int ok = 1;
  for (auto _ : state) {
    size_t length = y.size();
    ok &= priv ? EVP_PKEY_decrypt(ctx.get(), y.data(), &length, x.data(), x.size())
               : EVP_PKEY_encrypt(ctx.get(), y.data(), &length, x.data(), x.size());
    benchmark::DoNotOptimize(y.data());
  }
  if (ok != 1) state.SkipWithError("libcrypto failed");
}

void BM_LibcryptoPrivate(benchmark::State& state) { runLibcrypto(state, true); }
void BM_LibcryptoPublic(benchmark::State& state) { runLibcrypto(state, false); }

BENCHMARK(BM_RSASIGN);
BENCHMARK(BM_LibcryptoPrivate);
BENCHMARK(BM_RSAENC);
BENCHMARK(BM_LibcryptoPublic);

}  // namespace
