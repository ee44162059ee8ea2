// Throughput of the cipher entry points over 16 KiB buffers, the size
// `openssl speed -bytes 16384` is compared at.
#include <benchmark/benchmark.h>

#include <vector>

#include "sigillo/sigillo.h"

namespace {

constexpr uint32_t kBuffer = 16384;

using AesEntry = uint16_t (*)(const uint8_t*, uint8_t*, const uint32_t*, const uint16_t*,
                              const uint8_t*, const uint32_t*, uint8_t*, const uint16_t*,
                              uint16_t*);

void runAes(benchmark::State& state, AesEntry entry, uint32_t keyLength, uint16_t mode) {
  std::vector<uint8_t> in(kBuffer, 0x5A), out(kBuffer);
  uint8_t key[32] = {1, 2, 3}, iv[16] = {};
  uint32_t len = kBuffer;
  uint16_t init = 1, keep = 0, rc = 0;
  entry(in.data(), out.data(), &len, &init, key, &keyLength, iv, &mode, &rc);
  for (auto _ : state) entry(in.data(), out.data(), &len, &keep, key, &keyLength, iv, &mode, &rc);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBuffer);
}

uint16_t aesEcbAsChained(const uint8_t* bufi, uint8_t* bufo, const uint32_t* insz,
                         const uint16_t* init, const uint8_t* pssw, const uint32_t* lpssw, uint8_t*,
                         const uint16_t* mode, uint16_t* rc) {
  return AESECB(bufi, bufo, insz, init, pssw, lpssw, mode, rc);
}

void runDes(benchmark::State& state, bool triple) {
  std::vector<uint8_t> in(kBuffer, 0x5A), out(kBuffer);
  const uint8_t k1[8] = {1, 2, 3, 4, 5, 6, 7, 8}, k2[8] = {9}, k3[8] = {7};
  uint8_t iv[8] = {};
  uint32_t len = kBuffer;
  uint16_t init = 1, keep = 0, enc = 0, rc = 0;
  auto call = [&](const uint16_t* i) {
    if (triple) {
      DEA3CBC(in.data(), out.data(), &len, i, k1, k2, k3, iv, &enc, &rc);
    } else {
      DEACBC(in.data(), out.data(), &len, i, k1, iv, &enc, &rc);
    }
  };
  call(&init);
  for (auto _ : state) call(&keep);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBuffer);
}

#define AES_BENCH(name, entry, bits, mode)                             \
  void name(benchmark::State& s) { runAes(s, entry, bits / 8, mode); } \
  BENCHMARK(name);

AES_BENCH(BM_aes_128_ecb, aesEcbAsChained, 128, 0)
AES_BENCH(BM_aes_128_cbc, AESCBC, 128, 0)
AES_BENCH(BM_aes_128_cbc_dec, AESCBC, 128, 1)
AES_BENCH(BM_aes_128_cfb, AESCFB, 128, 0)
AES_BENCH(BM_aes_128_ofb, AESOFB, 128, 0)
AES_BENCH(BM_aes_256_ecb, aesEcbAsChained, 256, 0)
AES_BENCH(BM_aes_256_cbc, AESCBC, 256, 0)
AES_BENCH(BM_aes_256_cfb, AESCFB, 256, 0)
AES_BENCH(BM_aes_256_ofb, AESOFB, 256, 0)
#undef AES_BENCH

// Any entry point, called once with init set and then with init 0.
template <class Call>
void runCalls(benchmark::State& state, Call call) {
  std::vector<uint8_t> in(kBuffer, 0x5A), out(kBuffer);
  const uint16_t init = 1, keep = 0;
  call(in.data(), out.data(), &init);
  for (auto _ : state) call(in.data(), out.data(), &keep);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBuffer);
}

const uint8_t kKey[32] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
const uint32_t kLen = kBuffer, kKey16 = 16;
const uint16_t kEnc = 0;

void BM_idea_cbc(benchmark::State& s) {
  uint8_t iv[8] = {};
  uint16_t rc = 0;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    IDEACBC(in, out, &kLen, init, kKey, &kEnc, iv, &rc);
  });
}
void BM_rc2_cbc(benchmark::State& s) {
  uint8_t iv[8] = {};
  uint16_t rc = 0, bits = 128;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    RC2CBC(in, out, &kLen, init, kKey, &kKey16, &bits, iv, &kEnc, &rc);
  });
}
void BM_rc4(benchmark::State& s) {
  uint16_t rc = 0;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    RC4(in, out, &kLen, init, kKey, &kKey16, &kEnc, &rc);
  });
}
void BM_rc5_cbc(benchmark::State& s) {
  uint8_t iv[8] = {};
  uint16_t rc = 0, rounds = 12;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    RC5CBC(in, out, &kLen, init, kKey, &kKey16, &rounds, iv, &kEnc, &rc);
  });
}
void BM_feal(benchmark::State& s) {
  uint16_t rc = 0;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    FEAL(in, out, &kLen, init, kKey, &kEnc, &rc);
  });
}
void BM_desx(benchmark::State& s) {
  uint16_t rc = 0;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    DESX(in, out, &kLen, init, kKey, kKey + 8, kKey + 16, &kEnc, &rc);
  });
}
void BM_des_cfb8(benchmark::State& s) {
  uint8_t iv[8] = {};
  uint16_t rc = 0, bits = 8;
  runCalls(s, [&](const uint8_t* in, uint8_t* out, const uint16_t* init) {
    DEACFB(in, out, &kLen, init, kKey, &bits, iv, &kEnc, &rc);
  });
}
BENCHMARK(BM_idea_cbc);
BENCHMARK(BM_rc2_cbc);
BENCHMARK(BM_rc4);
BENCHMARK(BM_rc5_cbc);
BENCHMARK(BM_feal);
BENCHMARK(BM_desx);
BENCHMARK(BM_des_cfb8);

void BM_des_ede3_cbc(benchmark::State& s) { runDes(s, true); }
void BM_des_cbc(benchmark::State& s) { runDes(s, false); }
BENCHMARK(BM_des_ede3_cbc);
BENCHMARK(BM_des_cbc);

}  // namespace
